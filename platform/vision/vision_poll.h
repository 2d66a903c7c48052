// The vision tools' poll of the caller's attention (cancellation and time-outs): every long
// loop calls xf_VisionPoll() at least once per millisecond of work.
#pragma once

// Raises the calling thread's pending abort or expired time-out.
inline void xf_VisionPoll() {}
