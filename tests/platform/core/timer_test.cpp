#include "platform/core/timer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

TEST(Timer, AccumulatesOnlyWhileRunning) {
    xcTimer t;
    EXPECT_FALSE(t.isRunning());
    EXPECT_EQ(t.elapsed(), 0.0);
    t.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    t.stop();
    double first = t.elapsed();
    EXPECT_GE(first, 30.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(t.elapsed(), first);  // stopped: frozen
    t.stop();
    EXPECT_EQ(t.elapsed(), first);
    t.resume();
    EXPECT_TRUE(t.isRunning());
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_GE(t.elapsed(), first + 5.0);
    t.start();  // restarts from zero
    EXPECT_LT(t.elapsed(), first);
    t.reset();
    EXPECT_FALSE(t.isRunning());
    EXPECT_EQ(t.elapsed(), 0.0);
    xcTimer running(true);
    EXPECT_TRUE(running.isRunning());
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_GE(running.elapsedSeconds(), 0.002);
}
