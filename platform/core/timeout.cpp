#include "platform/core/timeout.h"

#include "platform/core/archive.h"

XC_EXCEPTION_DEFINE(xcTimeout::Expired, xcExceptionWithString, "xcTimeout::Expired")

// Version 0: the visited test, the version byte, the base level, then the code as an unsigned
// 32-bit number (a code outside 0 .. 0xFFFFFFFF cannot be stored: the archive throws BadData).
void xcTimeout::InternalExpired::dispatchSerialize(xcArchive& ar) {
    if (ar.haveVisited(this, sizeof(InternalExpired))) return;
    unsigned char version = 0;
    ar || version;
    if (version > 0) throw xcArchive::UnknownVersion("xcTimeout::InternalExpired", 0);
    xcExceptionWithString::dispatchSerialize(ar);
    unsigned long code = static_cast<unsigned long>(m_code);
    ar || code;
    m_code = static_cast<long>(code);
    ar.setVisited(this, sizeof(InternalExpired));
}
xcPersistent* xcTimeout::InternalExpired::make() { return new InternalExpired(); }
const xc_Instantiator xcTimeout::InternalExpired::sExemplar(typeid(InternalExpired),
                                                            &InternalExpired::make);
