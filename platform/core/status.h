// Conversion of C-level statuses into exceptions.
//
// A C-level call reports a signed 32-bit status: zero or positive is success, negative is a
// failure whose value names the reason (0x800013EC is the 32-bit pattern of a negative status).
// Libraries register converters that know their own failure statuses; xfThrowExceptionOnFailure
// hands every negative status to them and falls back on xcStatusError.
//
// Registration and conversion may run on any thread at any time; registration is serialised,
// and converters run outside the registry's lock, so a converter may itself register.
#pragma once

#include <cstdint>
#include <functional>

// A converter receives a negative status. It throws the exception matching the status when it
// knows it, and returns normally when it does not. Since the status is a signed 32-bit value,
// compare it with the status pattern cast to std::int32_t (or compare unsigned):
//     if (status == static_cast<std::int32_t>(0x800013ECu)) throw ...;
using xcExceptionConverter = std::function<void(std::int32_t status)>;

// Registers `converter` under `id`, replacing any converter already registered under that id.
// Converters are consulted in increasing order of id. Throws xcBadArgument for an empty
// converter (nothing is changed then).
void xfRegisterExceptionConverter(long id, xcExceptionConverter converter);

// Removes the converter registered under `id`; returns false when there was none.
bool xfUnregisterExceptionConverter(long id);

// Returns `status` as a signed 32-bit value when it is >= 0. A negative status is handed to
// each registered converter in turn; when none throws, throws xcStatusError whose message names
// the status in hexadecimal and whose status() is the signed value.
//
// `status` may be given either as the signed 32-bit value or as its unsigned 32-bit pattern
// (0x800013EC and -2147478548 are the same status). A value outside both ranges is not a status:
// xcBadArgument.
std::int32_t xfThrowExceptionOnFailure(long status);
