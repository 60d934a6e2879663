#include "kestrel/Lock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using kestrel::Lock;

TEST(LockTest, TimedWaitEndsAtTheDeadlineWithoutReporting) {
    Lock lock;
    testing::internal::CaptureStderr();
    lock.lock();
    auto start = std::chrono::steady_clock::now();
    lock.wait(0);
    lock.wait(-20);
    lock.wait(60);
    auto waited = std::chrono::steady_clock::now() - start;
    lock.unlock();
    lock.notify(); // nobody waits: nothing happens
    lock.notifyAll();
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    // Only a (rare) spurious wake-up could end the 60 ms wait early.
    EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(waited).count(), 50);
}

TEST(LockTest, NotifyWakesAWaiter) {
    Lock lock;
    bool ready = false;
    bool woken = false;
    std::thread waiter([&] {
        Lock::Guard guard(lock);
        while (!ready) {
            lock.wait();
        }
        woken = true;
    });
    {
        Lock::Guard guard(lock);
        ready = true;
        lock.notify();
    }
    waiter.join();
    EXPECT_TRUE(woken);
}
