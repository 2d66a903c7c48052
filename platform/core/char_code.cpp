#include "platform/core/char_code.h"

#include "platform/core/exception.h"
#include "platform/core/text.h"

namespace {

void appendUtf8(std::string& out, std::uint32_t c) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

[[noreturn]] void notRepresentable(std::uint32_t code, const wchar_t* type) {
    throw xcCharCodeDefs::NotRepresentable(L"Character code 0x" + xfHex(code, 4) +
                                           L" cannot be represented as " + type);
}

}  // namespace

char xcCharCode::getAsChar() const {
    if (!isRepresentableAsChar()) notRepresentable(m_code, L"char");
    return static_cast<char>(static_cast<unsigned char>(m_code));
}

wchar_t xcCharCode::getAsWChar() const {
    if (!isRepresentableAsWChar()) notRepresentable(m_code, L"wchar_t");
    return static_cast<wchar_t>(m_code);
}

xcTChar xcCharCode::getAsTChar() const {
    if (!isRepresentableAsTChar()) notRepresentable(m_code, L"TChar");
    return static_cast<xcTChar>(m_code);
}

bool xcCharCode::isSpace() const {
    const std::uint32_t c = m_code;
    if (c <= 0xFF) return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0;
    return c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 ||
           c == 0x202F || c == 0x205F || c == 0x3000;
}

int xcCharCode::toUtf16(char16_t out[2]) const {
    std::uint32_t c = m_code;
    if (c > 0x10FFFF) c = 0xFFFD;
    if (c <= 0xFFFF) {
        out[0] = static_cast<char16_t>(c);
        return 1;
    }
    c -= 0x10000;
    out[0] = static_cast<char16_t>(0xD800 + (c >> 10));
    out[1] = static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    return 2;
}

std::u16string xfToUtf16(const std::wstring& s) {
    std::u16string out;
    out.reserve(s.size());
    char16_t units[2];
    for (wchar_t w : s) {
        const int n = xcCharCode(static_cast<std::uint32_t>(w)).toUtf16(units);
        out.append(units, static_cast<std::size_t>(n));
    }
    return out;
}

std::wstring xfFromUtf16(const std::u16string& s) {
    std::wstring out;
    out.reserve(s.size());
    const std::size_t n = s.size();
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t u = s[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < n && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
            const std::uint32_t lo = s[i + 1];
            out += static_cast<wchar_t>(0x10000 + ((u - 0xD800) << 10) + (lo - 0xDC00));
            ++i;
        } else {
            out += static_cast<wchar_t>(u);
        }
    }
    return out;
}

std::string xfToUtf8(const std::wstring& s) {
    std::string out;
    out.reserve(s.size());
    for (wchar_t w : s) appendUtf8(out, static_cast<std::uint32_t>(w));
    return out;
}

std::wstring xfFromUtf8(const std::string& s) {
    std::wstring out;
    out.reserve(s.size());
    std::size_t i = 0;
    const std::size_t n = s.size();
    while (i < n) {
        unsigned char b = static_cast<unsigned char>(s[i]);
        int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
        if (extra < 0 || i + static_cast<std::size_t>(extra) >= n) {
            out += L'\xFFFD';
            ++i;
            continue;
        }
        std::uint32_t c = extra == 0   ? b
                          : extra == 1 ? (b & 0x1F)
                          : extra == 2 ? (b & 0x0F)
                                       : (b & 0x07);
        bool ok = true;
        for (int k = 1; k <= extra; ++k) {
            unsigned char cb = static_cast<unsigned char>(s[i + k]);
            if ((cb & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            c = (c << 6) | (cb & 0x3F);
        }
        static const std::uint32_t kMin[4] = {0, 0x80, 0x800, 0x10000};
        if (!ok || c < kMin[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out += L'\xFFFD';
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(c);
        i += static_cast<std::size_t>(extra) + 1;
    }
    return out;
}

void xfAppendUtf8(std::string& out, std::uint32_t code) { appendUtf8(out, code); }
