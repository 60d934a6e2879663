#include "kestrel/Lock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using kestrel::Lock;

TEST(LockTest, TimedWaitReturnsAfterTheTimeoutWithoutReporting) {
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
    // The deadline is absolute, so even a spurious wake-up cannot end the 60 ms wait much earlier.
    EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(waited).count(), 50);
}

TEST(LockTest, NotifyWakesAWaiterAndGuardsSerialise) {
    Lock lock;
    bool ready = false;
    int counter = 0;
    std::thread waiter([&] {
        Lock::Guard guard(lock);
        while (!ready) {
            lock.wait();
        }
        counter += 1000;
    });
    std::thread adder([&] {
        for (int i = 0; i < 1000; ++i) {
            Lock::Guard guard(lock);
            ++counter;
        }
    });
    adder.join();
    {
        Lock::Guard guard(lock);
        ready = true;
        lock.notifyAll();
    }
    waiter.join();
    EXPECT_EQ(2000, counter);
}
