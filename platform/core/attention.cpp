#include "platform/core/attention.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <iomanip>
#include <limits>
#include <sstream>

#include "platform/core/attention_state.h"

namespace {

// Clock reads aim at one per kReadIntervalNs of the caller's work, and are never more than
// kMaxStride calls apart (so a sudden slow-down of the caller delays a read by at most
// kMaxStride slow calls).
constexpr std::int64_t kReadIntervalNs = 50'000;
constexpr std::int32_t kMaxStride = 64;
// Calls between clock reads while no time-out is attached: practically never.
constexpr std::int32_t kIdleStride = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kNoDeadline = INT64_MAX;

// Requests of a thread that has no record yet: never any.
const std::atomic<unsigned> gNoRequests{0};

// The per-thread state of the fast path. Plain data with a constant initialiser, so that the
// access is a single thread-pointer-relative load, with no guard or registration. The
// initial-exec model puts these 48 bytes in the static TLS block: always there for a library
// loaded with the program; a library dlopen'ed later uses glibc's spare static TLS for it.
struct xc_AttentionTls {
    const std::atomic<unsigned>* pending;  // the record's requests, or gNoRequests
    std::int64_t deadline;                 // effective deadline, steady-clock ns
    std::int64_t lastRead;                 // time of the last clock read
    std::int32_t countdown;                // calls left before the next clock read
    std::int32_t stride;                   // calls between the last read and the next
    xcAttentionTag* innermost;             // most recently attached tag
    xcAttentionTag* firing;                // the tag whose deadline is effective
};

constinit thread_local xc_AttentionTls tTls __attribute__((tls_model("initial-exec"))) = {
    &gNoRequests, kNoDeadline, 0, kIdleStride, kIdleStride, nullptr, nullptr};

// Owns the calling thread's record; marks it ended and unhooks the fast path at thread exit.
struct xc_RecordOwner {
    std::shared_ptr<xc_ThreadRecord> record;
    ~xc_RecordOwner() {
        tTls.pending = &gNoRequests;
        if (record) {
            std::lock_guard<std::mutex> lock(record->mutex);
            record->ended = true;
        }
    }
};
thread_local xc_RecordOwner tOwner;

std::atomic<unsigned long> gNextThreadNumber{1};

std::int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// now + seconds in ns, saturating at kNoDeadline. Throws for negative or NaN seconds.
std::int64_t deadlineAfter(double seconds, std::int64_t now) {
    if (std::isnan(seconds) || seconds < 0.0) {
        std::wostringstream os;
        os << L"A time-out must be a non-negative number of seconds, not " << seconds;
        throw xcBadArgument(os.str());
    }
    double ns = seconds * 1e9;
    if (!(ns < static_cast<double>(kNoDeadline - now))) return kNoDeadline;
    return now + static_cast<std::int64_t>(ns);
}

std::wstring expiryMessage(double seconds, bool custom, long code) {
    std::wostringstream os;
    os << L"Time-out of " << seconds << L" s expired";
    if (custom) {
        os << L" (code 0x" << std::hex << std::uppercase << std::setw(8) << std::setfill(L'0')
           << code << L")";
    }
    return os.str();
}

}  // namespace

XC_EXCEPTION_DEFINE(xcAttention::Aborted, xcExceptionWithString, "xcAttention::Aborted")

// ---- thread records ---------------------------------------------------------------------------

xc_ThreadRecord::xc_ThreadRecord()
    : number(gNextThreadNumber.fetch_add(1, std::memory_order_relaxed)) {}

xc_ThreadRecord::~xc_ThreadRecord() {
    xf_ScheduleTimeout(*this, INT64_MAX);
    // Nobody waited for this worker: let it finish on its own.
    if (thread.joinable()) thread.detach();
}

unsigned long xcThreadID::value() const { return m_record ? m_record->number : 0; }

std::shared_ptr<xc_ThreadRecord> xc_AttentionAccess::currentRecord() {
    if (!tOwner.record) adoptRecord(std::make_shared<xc_ThreadRecord>());
    return tOwner.record;
}

void xc_AttentionAccess::adoptRecord(std::shared_ptr<xc_ThreadRecord> record) {
    tOwner.record = std::move(record);
    tTls.pending = &tOwner.record->pending;
}

xc_InheritedTimeout xc_AttentionAccess::currentTimeout() {
    xc_InheritedTimeout r;
    const xc_AttentionTls& t = tTls;
    if (t.firing) {
        r.deadline = t.deadline;
        r.seconds = t.firing->m_seconds;
        r.custom = t.firing->m_custom;
        r.code = t.firing->m_code;
    }
    return r;
}

void xc_AttentionAccess::attach(xcAttentionTag& tag, const xc_InheritedTimeout& timeout) {
    if (timeout.deadline == kNoDeadline) return;
    tag.attachDeadline_(timeout.deadline, timeout.seconds, timeout.custom, timeout.code);
}

void xc_AttentionAccess::requestAbort(const std::shared_ptr<xc_ThreadRecord>& record) {
    std::vector<std::shared_ptr<xc_ThreadRecord>> children;
    {
        std::lock_guard<std::mutex> lock(record->mutex);
        record->pending.fetch_or(xc_ThreadRecord::kAbort, std::memory_order_release);
        for (const auto& weak : record->children) {
            if (auto child = weak.lock()) children.push_back(std::move(child));
        }
    }
    // Outside the lock: a child never locks its parent while holding its own lock, but keep
    // lock nesting out of the picture altogether.
    for (const auto& child : children) requestAbort(child);
}

// ---- xcAttention ------------------------------------------------------------------------------

void xcAttention::check() {
    xc_AttentionTls& t = tTls;
    if (t.pending->load(std::memory_order_relaxed) != 0) [[unlikely]]
        raisePending_();
    if (--t.countdown <= 0) [[unlikely]]
        checkClock_();
}

void xcAttention::raisePending_() {
    xc_ThreadRecord* record = tOwner.record.get();
    if (!record) return;
    if (record->pending.fetch_and(~xc_ThreadRecord::kAbort, std::memory_order_acquire) &
        xc_ThreadRecord::kAbort) {
        throw Aborted(L"The operation was aborted");
    }
    if (record->pending.load(std::memory_order_acquire) & xc_ThreadRecord::kWorkerError) {
        std::exception_ptr error;
        {
            std::lock_guard<std::mutex> lock(record->mutex);
            record->pending.fetch_and(~xc_ThreadRecord::kWorkerError, std::memory_order_relaxed);
            error = std::move(record->workerError);
            record->workerError = nullptr;
        }
        if (error) std::rethrow_exception(error);
    }
    if (record->pending.fetch_and(~xc_ThreadRecord::kTimeout, std::memory_order_acquire) &
        xc_ThreadRecord::kTimeout) {
        // The timer thread saw the deadline pass: read the clock now. (The deadline may have
        // moved since; then this is only an early read.)
        tTls.countdown = 1;
    }
}

void xcAttention::checkClock_() {
    xc_AttentionTls& t = tTls;
    if (t.deadline == kNoDeadline) {
        t.countdown = t.stride = kIdleStride;
        return;
    }
    const std::int64_t now = nowNs();
    if (now >= t.deadline) {
        // Stay expired: every later check() reads the clock again and raises again.
        t.countdown = t.stride = 1;
        t.lastRead = now;
        const xcAttentionTag& tag = *t.firing;
        std::wstring message = expiryMessage(tag.m_seconds, tag.m_custom, tag.m_code);
        if (tag.m_custom) throw xcTimeout::InternalExpired(tag.m_code, message);
        throw xcTimeout::Expired(message);
    }
    // Pace of the caller over the calls since the last read, and the number of calls that
    // fits in the read interval or in the time left, whichever is shorter.
    const std::int64_t perCall = (now - t.lastRead) / (t.stride > 0 ? t.stride : 1);
    const std::int64_t budget = std::min(kReadIntervalNs, t.deadline - now);
    std::int64_t n = perCall > 0 ? budget / perCall : kMaxStride;
    n = std::clamp<std::int64_t>(n, 1, kMaxStride);
    t.lastRead = now;
    t.countdown = t.stride = static_cast<std::int32_t>(n);
}

void xcAttention::abort(const xcThreadID& thread) {
    if (thread.isNull()) throw xcBadArgument(L"Cannot abort the null thread ID");
    xc_AttentionAccess::requestAbort(thread.record_());
}

bool xcAttention::clearAbort() {
    xc_ThreadRecord* record = tOwner.record.get();
    if (!record) return false;
    return (record->pending.fetch_and(~xc_ThreadRecord::kAbort, std::memory_order_relaxed) &
            xc_ThreadRecord::kAbort) != 0;
}

// ---- xcAttentionTag ---------------------------------------------------------------------------

xcAttentionTag::xcAttentionTag() {
    xc_AttentionTls& t = tTls;
    m_thread = &t;
    m_outer = t.innermost;
    t.innermost = this;
}

xcAttentionTag::~xcAttentionTag() {
    xc_AttentionTls& t = tTls;
    // A tag lives on the thread that made it; unhooking it from another thread's list would
    // race with that thread, so this misuse ends the program.
    if (m_thread != &t) {
        std::fputs("xcAttentionTag destroyed on a thread other than its own\n", stderr);
        std::terminate();
    }
    if (t.innermost == this) {
        t.innermost = m_outer;
    } else {
        // Destroyed out of order (tags held by pointers): unlink it where it is.
        for (xcAttentionTag* tag = t.innermost; tag; tag = tag->m_outer) {
            if (tag->m_outer == this) {
                tag->m_outer = m_outer;
                break;
            }
        }
    }
    if (hasTimeout()) recompute_();
}

void xcAttentionTag::attachTimeout(double seconds) {
    attachDeadline_(deadlineAfter(seconds, nowNs()), seconds, false, 0);
}

void xcAttentionTag::attachTimeoutCustom(double seconds, long code) {
    attachDeadline_(deadlineAfter(seconds, nowNs()), seconds, true, code);
}

void xcAttentionTag::detachTimeout() {
    if (!hasTimeout()) return;
    m_deadline = kNoDeadline;
    recompute_();
}

bool xcAttentionTag::expired() const { return hasTimeout() && nowNs() >= m_deadline; }

double xcAttentionTag::secondsLeft() const {
    if (!hasTimeout()) return std::numeric_limits<double>::infinity();
    return static_cast<double>(m_deadline - nowNs()) * 1e-9;
}

void xcAttentionTag::attachDeadline_(std::int64_t deadline, double seconds, bool custom,
                                     long code) {
    // The timer thread posts to the thread's record: make it now (this may throw; nothing
    // has changed yet).
    xc_AttentionAccess::currentRecord();
    m_deadline = deadline;
    m_seconds = seconds;
    m_custom = custom;
    m_code = code;
    recompute_();
}

void xcAttentionTag::recompute_() {
    xc_AttentionTls& t = tTls;
    t.deadline = kNoDeadline;
    t.firing = nullptr;
    for (xcAttentionTag* tag = t.innermost; tag; tag = tag->m_outer) {
        if (tag->m_deadline < t.deadline) {
            t.deadline = tag->m_deadline;
            t.firing = tag;
        }
    }
    if (t.firing) {
        // Read the clock at the next check() and learn the caller's pace from there.
        t.lastRead = nowNs();
        t.countdown = t.stride = 1;
    } else {
        t.countdown = t.stride = kIdleStride;
    }
    if (tOwner.record) xf_ScheduleTimeout(*tOwner.record, t.deadline);
}
