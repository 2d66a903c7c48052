#include "platform/core/thread.h"

#include <algorithm>
#include <exception>
#include <string>
#include <system_error>

#include "platform/core/attention_state.h"
#include "platform/core/char_code.h"

XC_EXCEPTION_DEFINE(xcThreadError, xcExceptionWithString, "xcThreadError")

namespace {

struct xc_WorkerStart {
    xcThreadFunction function;
    void* argument;
    std::shared_ptr<xc_ThreadRecord> record;
    xc_InheritedTimeout timeout;
};

// Hands an error that escaped a worker to its creator, whose next check() raises it. The
// first error waiting there wins.
void postToCreator(const xc_ThreadRecord& worker, std::exception_ptr error) {
    std::shared_ptr<xc_ThreadRecord> creator = worker.parent.lock();
    if (!creator) return;  // the creator is gone: nobody is left to tell
    std::lock_guard<std::mutex> lock(creator->mutex);
    if (creator->workerError) return;
    creator->workerError = std::move(error);
    creator->pending.fetch_or(xc_ThreadRecord::kWorkerError, std::memory_order_release);
}

void runWorker(xc_WorkerStart start) {
    xc_AttentionAccess::adoptRecord(start.record);
    std::exception_ptr error;
    try {
        xcAttentionTag inherited;
        xc_AttentionAccess::attach(inherited, start.timeout);
        start.function(start.argument);
    } catch (...) {
        error = std::current_exception();
    }
    if (error) postToCreator(*start.record, std::move(error));
    std::lock_guard<std::mutex> lock(start.record->mutex);
    start.record->ended = true;
}

}  // namespace

xcThreadID xfCreateThreadLib(xcThreadFunction function, void* argument, long /*priority*/,
                             long /*stack*/) {
    if (!function) throw xcBadArgument(L"xfCreateThreadLib: the thread function is null");

    std::shared_ptr<xc_ThreadRecord> creator = xc_AttentionAccess::currentRecord();
    auto record = std::make_shared<xc_ThreadRecord>();
    record->isWorker = true;
    record->parent = creator;
    {
        // Registered before it starts, so that an abort of the creator from now on reaches it.
        std::lock_guard<std::mutex> lock(creator->mutex);
        auto& children = creator->children;
        children.erase(std::remove_if(children.begin(), children.end(),
                                      [](const std::weak_ptr<xc_ThreadRecord>& w) {
                                          auto c = w.lock();
                                          if (!c) return true;
                                          std::lock_guard<std::mutex> childLock(c->mutex);
                                          return c->ended;
                                      }),
                       children.end());
        children.push_back(record);
        if (creator->pending.load(std::memory_order_relaxed) & xc_ThreadRecord::kAbort)
            record->pending.fetch_or(xc_ThreadRecord::kAbort, std::memory_order_relaxed);
    }

    xc_WorkerStart start{function, argument, record, xc_AttentionAccess::currentTimeout()};
    try {
        std::lock_guard<std::mutex> joinLock(record->joinMutex);
        record->thread = std::thread(runWorker, std::move(start));
    } catch (const std::system_error& e) {
        {
            std::lock_guard<std::mutex> lock(creator->mutex);
            auto& children = creator->children;
            children.erase(std::remove_if(children.begin(), children.end(),
                                          [&](const std::weak_ptr<xc_ThreadRecord>& w) {
                                              return w.lock() == record;
                                          }),
                           children.end());
        }
        throw xcThreadError(L"xfCreateThreadLib: cannot start a thread: " + xfFromUtf8(e.what()));
    }
    return xcThreadID(std::move(record));
}

void xfWaitForThreadTermination(const xcThreadID& thread) {
    if (thread.isNull()) throw xcBadArgument(L"xfWaitForThreadTermination: null thread ID");
    const std::shared_ptr<xc_ThreadRecord>& record = thread.record_();
    if (!record->isWorker) {
        throw xcBadArgument(
            L"xfWaitForThreadTermination: the thread was not started by xfCreateThreadLib");
    }
    if (record == xc_AttentionAccess::currentRecord())
        throw xcBadArgument(L"xfWaitForThreadTermination: a thread cannot wait for itself");
    std::lock_guard<std::mutex> joinLock(record->joinMutex);
    if (record->thread.joinable()) record->thread.join();
}

xcThreadID xfGetCurrentThreadID() { return xcThreadID(xc_AttentionAccess::currentRecord()); }

bool xfThreadHasEnded(const xcThreadID& thread) {
    if (thread.isNull()) throw xcBadArgument(L"xfThreadHasEnded: null thread ID");
    std::lock_guard<std::mutex> lock(thread.record_()->mutex);
    return thread.record_()->ended;
}
