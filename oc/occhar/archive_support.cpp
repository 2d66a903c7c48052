#include "oc/occhar/archive_support.h"

#include <cstdint>

xcArchive::UnknownVersion xf_OCCharUnknownVersion(long number) {
    return xcArchive::UnknownVersion(std::string("oc/occhar"), number);
}

void xf_OCCharArchiveCodes(xcArchive& ar, std::u32string& s) {
    xcArchive::Exchange ex(ar);
    if (ar.isStoring()) {
        if (s.size() > 0xFFFFFFFFu) ar.badData(L"code string too long for a 32-bit count");
        ar.put32(static_cast<std::uint32_t>(s.size()));
        for (char32_t c : s) ar.put32(static_cast<std::uint32_t>(c));
    } else {
        const std::uint32_t n = ar.get32(L"code string length");
        ar.checkCount(n, 4, L"code string");
        std::u32string read(n, U'\0');
        for (char32_t& c : read) c = static_cast<char32_t>(ar.get32(L"code string"));
        s.swap(read);
    }
    ex.commit();
}
