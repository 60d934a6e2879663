#include "kestrel/Lock.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <sys/time.h>

namespace kestrel {

struct Lock::Block {
    pthread_mutex_t mutex;
    pthread_cond_t condition;
};

namespace {

// Reports a non-zero result of the thread library through perror.
void check(int result, const char* text) {
    if (result != 0) {
        errno = result;
        perror(text);
    }
}

} // namespace

Lock::Lock() : block(static_cast<Block*>(malloc(sizeof(Block)))) {
    if (block == nullptr) {
        fputs("Lock: cannot allocate the mutex\n", stderr);
        return;
    }
    check(pthread_mutex_init(&block->mutex, nullptr), "pthread_mutex_init() error");
    check(pthread_cond_init(&block->condition, nullptr), "pthread_cond_init() error");
}

Lock::~Lock() {
    if (block == nullptr) {
        return;
    }
    pthread_mutex_destroy(&block->mutex);
    pthread_cond_destroy(&block->condition);
    free(block);
}

void Lock::lock() {
    if (block != nullptr) {
        check(pthread_mutex_lock(&block->mutex), "pthread_mutex_lock() error");
    }
}

void Lock::unlock() {
    if (block != nullptr) {
        check(pthread_mutex_unlock(&block->mutex), "pthread_mutex_unlock() error");
    }
}

void Lock::wait() {
    if (block != nullptr) {
        check(pthread_cond_wait(&block->condition, &block->mutex), "pthread_cond_wait() error");
    }
}

void Lock::wait(int milliseconds) {
    if (block == nullptr) {
        return;
    }
    if (milliseconds < 0) {
        milliseconds = 0; // a deadline in the past: return at once
    }
    // pthread_cond_timedwait wants an absolute deadline on the real-time clock.
    struct timeval now;
    gettimeofday(&now, nullptr);
    struct timespec deadline;
    deadline.tv_sec = now.tv_sec + milliseconds / 1000;
    deadline.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000L + static_cast<long>(now.tv_usec) * 1000L;
    if (deadline.tv_nsec > 999999999L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    int result = pthread_cond_timedwait(&block->condition, &block->mutex, &deadline);
    if (result != ETIMEDOUT) {
        check(result, "pthread_cond_timedwait() error");
    }
}

void Lock::notify() {
    if (block != nullptr) {
        check(pthread_cond_signal(&block->condition), "pthread_cond_signal() error");
    }
}

void Lock::notifyAll() {
    if (block != nullptr) {
        check(pthread_cond_broadcast(&block->condition), "pthread_cond_broadcast() error");
    }
}

} // namespace kestrel
