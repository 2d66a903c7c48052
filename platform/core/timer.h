// xcTimer: a stopwatch on the steady clock, reading in milliseconds.
//
// A timer accumulates the time it has been running: start() begins from zero, stop() freezes
// the reading, resume() goes on accumulating after a stop, reset() returns to zero and
// stopped. elapsed() may be read at any time, running or not. A timer belongs to one thread
// at a time (no internal locking).
#pragma once

#include <chrono>

class xcTimer {
public:
    // A stopped timer reading 0, or a running one when `start` is true.
    explicit xcTimer(bool start = false);

    // Restarts from zero and runs.
    void start();
    // Stops; elapsed() keeps the reading. Stopping a stopped timer changes nothing.
    void stop();
    // Runs again from the current reading. Resuming a running timer changes nothing.
    void resume();
    // Stops and reads zero.
    void reset();

    bool isRunning() const { return m_running; }
    // Milliseconds accumulated so far (including the current run).
    double elapsed() const;
    // The same in seconds.
    double elapsedSeconds() const { return elapsed() * 1e-3; }

private:
    using Clock = std::chrono::steady_clock;
    Clock::duration m_accumulated{};
    Clock::time_point m_started{};
    bool m_running = false;
};
