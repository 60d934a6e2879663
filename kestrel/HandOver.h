#ifndef KESTREL_HANDOVER_H
#define KESTREL_HANDOVER_H

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <vector>

namespace kestrel {

/**
 * Hands numbered pieces of work (0, 1, 2, ...) from the threads that produce them to the one thread that consumes
 * them, in number order, through a ring of a fixed number of slots: piece n may be produced once piece n - slots
 * has been consumed, so memory stays bounded. The owners keep the pieces' data in their own slots (index
 * n % slots); this class only says who may touch which slot when, and wakes the threads that wait for it.
 *
 * Producers claim a number, fill its slot and publish it (or report that they failed). The consumer asks for
 * the next piece; it may also claim work itself while the next piece is not ready. The producing side says when
 * it has finished; an error it reports reaches the consumer after every piece published before it.
 *
 * Every wait is a short timed wait that checks its condition again: a wake-up that gets lost (as seen under
 * emulators) costs a few milliseconds, never a hang. A wake-up costs a system call (and on a virtual machine an
 * interrupt to the other processor), so threads are woken only when one sleeps.
 */
class HandOver {
public:
    /// How long a wait lasts before its condition is checked again.
    static constexpr int WAIT_MILLISECONDS = 2;
    /// No limit on the numbers that may be claimed.
    static constexpr unsigned long long UNLIMITED = ~0ULL;

    /// What the consumer is to do next.
    enum class Next {
        READY,   ///< consume the piece of the number given, then release() it
        CLAIMED, ///< produce the piece of the number given itself, then publish() it
        END      ///< every piece is consumed, or no more will come
    };

    explicit HandOver(unsigned int slots, unsigned long long limit = UNLIMITED);
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;

    unsigned int getSlots() const { return static_cast<unsigned int>(ready.size()); }

    /// Starts over at number 0 with a new limit on the numbers to claim; nothing may be in flight.
    void reset(unsigned long long limit);

    // ---- Producers ----
    /// The next number to produce, if it is below the limit and its slot is free; with wait, waits until there is
    /// one (a run started by reset(), a slot given back). False when there is none, or once cancelled.
    bool claim(unsigned long long& number, bool wait);
    /// The piece of a claimed number is complete.
    void publish(unsigned long long number);
    /// Producing a claimed piece failed: the consumer gets the error once the pieces before are consumed.
    void fail(std::exception_ptr error);
    /// No more pieces will be claimed; error (if any) reaches the consumer after the pieces published before.
    void finish(std::exception_ptr error = nullptr);
    /// Waits until every piece claimed so far is consumed and the consumer holds none; false once cancelled.
    bool drain();
    /// Whether the consumer has given up.
    bool isCancelled() const { return cancelled.load(std::memory_order_relaxed); }

    // ---- The consumer ----
    /// Waits for what to do next: the next piece in number order when it is published; or, with mayClaim, a
    /// number to produce itself while that piece is not ready; or the end. Rethrows a producer's error once no
    /// published piece comes before it.
    Next next(unsigned long long& number, bool mayClaim);
    /// Done with the piece last handed out by next(): its slot may be produced again.
    void release();
    /// The consumer gives up: producers stop at their next claim.
    void cancel();
    /// No more numbers are claimed from now on; waits until no producer is still producing a piece.
    void close();

    /// The number of pieces consumed: the memory piece n refers to may be reused once this count is above n
    /// (stored with release order after the consumer is done with the piece).
    const std::atomic<unsigned long long>& getConsumedCount() const { return consumedCount; }

private:
    template <typename Condition> void _wait(std::unique_lock<std::mutex>& lock, Condition condition);
    void _wake();
    bool _canClaim() const { return claimed < limit && claimed < consumed + ready.size(); }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<bool> ready; // slot n % slots holds the published piece n
    unsigned long long limit;
    unsigned long long claimed = 0;
    unsigned long long consumed = 0;
    unsigned int inFlight = 0; // claimed, neither published nor failed
    unsigned int sleeping = 0; // threads waiting on changed
    bool holding = false;      // the consumer holds the piece of number consumed
    bool finished = false;
    std::exception_ptr error;
    std::atomic<bool> cancelled{false};
    std::atomic<unsigned long long> consumedCount{0};
};

} // namespace kestrel

#endif
