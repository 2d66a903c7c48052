// The timer thread that posts expired deadlines to the threads that attached them.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/core/attention_state.h"

namespace {

struct xc_TimerService {
    std::mutex mutex;
    std::condition_variable wake;
    std::multimap<std::int64_t, xc_ThreadRecord*> deadlines;  // earliest first
    bool started = false;
    bool failed = false;  // the thread could not be started: do without it

    void run() {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            if (deadlines.empty()) {
                wake.wait(lock);
                continue;
            }
            auto first = deadlines.begin();
            const std::int64_t now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                         std::chrono::steady_clock::now().time_since_epoch())
                                         .count();
            if (first->first <= now) {
                xc_ThreadRecord* record = first->second;
                record->pending.fetch_or(xc_ThreadRecord::kTimeout, std::memory_order_release);
                record->timerScheduled = false;
                deadlines.erase(first);
                continue;
            }
            wake.wait_until(lock, std::chrono::steady_clock::time_point(
                                      std::chrono::nanoseconds(first->first)));
        }
    }
};

// Never destroyed: the thread may be waiting on it while the process exits.
xc_TimerService& service() {
    static xc_TimerService* s = new xc_TimerService;
    return *s;
}

}  // namespace

void xf_ScheduleTimeout(xc_ThreadRecord& record, std::int64_t deadline) noexcept {
    xc_TimerService& s = service();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (record.timerScheduled) {
        if (deadline != INT64_MAX && record.timerEntry->first == deadline) return;
        s.deadlines.erase(record.timerEntry);
        record.timerScheduled = false;
    }
    if (deadline == INT64_MAX || s.failed) return;
    try {
        if (!s.started) {
            std::thread(&xc_TimerService::run, &s).detach();
            s.started = true;
        }
        record.timerEntry = s.deadlines.emplace(deadline, &record);
        record.timerScheduled = true;
        if (record.timerEntry == s.deadlines.begin()) s.wake.notify_one();
    } catch (...) {
        // No thread or no memory: check() still reads the clock itself.
        if (!s.started) s.failed = true;
    }
}
