#include "platform/core/timer.h"

xcTimer::xcTimer(bool start) {
    if (start) this->start();
}

void xcTimer::start() {
    m_accumulated = Clock::duration::zero();
    m_started = Clock::now();
    m_running = true;
}

void xcTimer::stop() {
    if (!m_running) return;
    m_accumulated += Clock::now() - m_started;
    m_running = false;
}

void xcTimer::resume() {
    if (m_running) return;
    m_started = Clock::now();
    m_running = true;
}

void xcTimer::reset() {
    m_accumulated = Clock::duration::zero();
    m_running = false;
}

double xcTimer::elapsed() const {
    Clock::duration d = m_accumulated;
    if (m_running) d += Clock::now() - m_started;
    return std::chrono::duration<double, std::milli>(d).count();
}
