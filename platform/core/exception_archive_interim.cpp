// Interim: the archive exchange of the exception bases. Replaced when the archive lands.
#include "platform/core/exception.h"
#include "platform/core/rect.h"

void xcException::dispatchSerialize(xcArchive&) {}
void xcExceptionWithString::dispatchSerialize(xcArchive&) {}
void xf_SerializeExceptionLevel(xcArchive&, const void*, std::size_t, const char*,
                                void (*)(xcArchive&, void*)) {}
void xcRect::dispatchSerialize(xcArchive&) {}
