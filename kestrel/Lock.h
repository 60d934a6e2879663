#ifndef KESTREL_LOCK_H
#define KESTREL_LOCK_H

namespace kestrel {

// Mutual exclusion: one POSIX mutex (not recursive) with one condition variable bound to it.
// Errors of the thread library are written to standard error and otherwise ignored.
class Lock {
public:
    Lock();
    virtual ~Lock();

    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock();
    void unlock();

    // Both waits require the caller to hold the lock. They return on notification, on a spurious
    // wake-up or, for the timed form, when the time-out has passed; the caller cannot tell which.
    void wait();
    void wait(int milliseconds);

    void notify();
    void notifyAll();

    // Holds a lock for the lifetime of a scope.
    class Guard {
    public:
        explicit Guard(Lock& lock) : held(lock) { held.lock(); }
        ~Guard() { held.unlock(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        Lock& held;
    };

private:
    struct Block;
    // Mutex and condition variable in one malloc'd block; null when the allocation failed, in which
    // case every operation does nothing.
    Block* block;
};

} // namespace kestrel

#endif
