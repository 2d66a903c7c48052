// xcThreadID: the identity of a thread as the attention and thread calls see it.
//
// An ID is a small copyable value sharing the thread's record (its pending abort and the
// errors its workers left for it). It stays valid after the thread ends: aborting a finished
// thread does nothing, waiting for it returns at once. A default ID is null (names no thread).
// IDs come from xfCreateThreadLib (a worker) and xfGetCurrentThreadID (the calling thread).
#pragma once

#include <memory>

struct xc_ThreadRecord;  // defined in attention_state.h, private to the core library

class xcThreadID {
public:
    // The null ID.
    xcThreadID() = default;
    explicit xcThreadID(std::shared_ptr<xc_ThreadRecord> record) : m_record(std::move(record)) {}

    bool isNull() const { return !m_record; }
    // A number unique among the threads of this process (1, 2, ...); 0 for the null ID. For
    // messages and logs only.
    unsigned long value() const;

    bool operator==(const xcThreadID& o) const { return m_record == o.m_record; }
    bool operator!=(const xcThreadID& o) const { return m_record != o.m_record; }

    // The record itself, for the core library.
    const std::shared_ptr<xc_ThreadRecord>& record_() const { return m_record; }

private:
    std::shared_ptr<xc_ThreadRecord> m_record;
};
