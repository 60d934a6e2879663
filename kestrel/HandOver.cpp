#include "kestrel/HandOver.h"

#include <chrono>

namespace kestrel {

HandOver::HandOver(unsigned int slots, unsigned long long limit) : ready(slots < 1 ? 1 : slots, false), limit(limit) {}

void HandOver::reset(unsigned long long newLimit) {
    std::lock_guard<std::mutex> lock(mutex);
    ready.assign(ready.size(), false);
    limit = newLimit;
    claimed = 0;
    consumed = 0;
    inFlight = 0;
    holding = false;
    finished = false;
    error = nullptr;
    cancelled.store(false, std::memory_order_relaxed);
    consumedCount.store(0, std::memory_order_release);
    _wake();
}

template <typename Condition> void HandOver::_wait(std::unique_lock<std::mutex>& lock, Condition condition) {
    while (!condition()) {
        ++sleeping;
        changed.wait_for(lock, std::chrono::milliseconds(WAIT_MILLISECONDS));
        --sleeping;
    }
}

void HandOver::_wake() {
    if (sleeping > 0)
        changed.notify_all();
}

bool HandOver::claim(unsigned long long& number, bool wait) {
    std::unique_lock<std::mutex> lock(mutex);
    if (wait)
        _wait(lock, [this] { return isCancelled() || _canClaim(); });
    if (isCancelled() || !_canClaim())
        return false;
    number = claimed++;
    ++inFlight;
    return true;
}

void HandOver::publish(unsigned long long number) {
    std::lock_guard<std::mutex> lock(mutex);
    ready[number % ready.size()] = true;
    --inFlight;
    _wake();
}

void HandOver::fail(std::exception_ptr thrown) {
    std::lock_guard<std::mutex> lock(mutex);
    if (!error)
        error = thrown;
    --inFlight;
    _wake();
}

void HandOver::finish(std::exception_ptr thrown) {
    std::lock_guard<std::mutex> lock(mutex);
    if (thrown && !error)
        error = thrown;
    finished = true;
    _wake();
}

bool HandOver::drain() {
    std::unique_lock<std::mutex> lock(mutex);
    _wait(lock, [this] { return isCancelled() || (consumed + inFlight == claimed && !holding); });
    return !isCancelled();
}

HandOver::Next HandOver::next(unsigned long long& number, bool mayClaim) {
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        if (ready[consumed % ready.size()]) {
            holding = true;
            number = consumed;
            return Next::READY;
        }
        if (error) {
            std::exception_ptr thrown = error;
            lock.unlock();
            std::rethrow_exception(thrown);
        }
        if (mayClaim && !isCancelled() && _canClaim()) {
            number = claimed++;
            ++inFlight;
            return Next::CLAIMED;
        }
        if (consumed >= limit || (finished && inFlight == 0 && consumed == claimed) || isCancelled())
            return Next::END;
        ++sleeping;
        changed.wait_for(lock, std::chrono::milliseconds(WAIT_MILLISECONDS));
        --sleeping;
    }
}

void HandOver::release() {
    std::lock_guard<std::mutex> lock(mutex);
    ready[consumed % ready.size()] = false;
    ++consumed;
    holding = false;
    consumedCount.store(consumed, std::memory_order_release);
    _wake();
}

void HandOver::cancel() {
    std::lock_guard<std::mutex> lock(mutex);
    cancelled.store(true, std::memory_order_relaxed);
    _wake();
}

void HandOver::close() {
    std::unique_lock<std::mutex> lock(mutex);
    limit = claimed;
    _wake();
    _wait(lock, [this] { return inFlight == 0; });
}

} // namespace kestrel
