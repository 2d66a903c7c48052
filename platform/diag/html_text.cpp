#include "platform/diag/html_text.h"

#include "platform/core/char_code.h"

#include <cmath>
#include <cstdio>
#include <type_traits>

namespace {

// Appends one code point, escaped.
void appendEscaped(std::string& out, char32_t c) {
    switch (c) {
        case U'&':
            out += "&amp;";
            return;
        case U'<':
            out += "&lt;";
            return;
        case U'>':
            out += "&gt;";
            return;
        case U'"':
            out += "&quot;";
            return;
        case U'\'':
            out += "&#39;";
            return;
        case U'\t':
        case U'\n':
        case U'\r':
            out += static_cast<char>(c);
            return;
        default:
            break;
    }
    if (c < 0x20)
        c = 0x2400 + c;
    else if (c == 0x7F)
        c = 0x2421;
    else if ((c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF)
        c = 0xFFFD;
    xfAppendUtf8(out, static_cast<std::uint32_t>(c));
}

}  // namespace

std::string xf_HtmlEscape(const std::wstring& text) {
    std::size_t n = text.size();
    while (n > 0 && text[n - 1] == L'\0') --n;
    std::string out;
    out.reserve(n + n / 8);
    for (std::size_t i = 0; i < n; ++i) {
        appendEscaped(out,
                      static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(text[i])));
    }
    return out;
}

std::string xf_HtmlEscapeUtf8(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c >= 0x80) {
            out += ch;  // part of a multi-byte sequence: passed through
        } else {
            appendEscaped(out, c);
        }
    }
    return out;
}

std::string xf_SvgNumber(double v) {
    if (!std::isfinite(v)) return "0";
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.3f", v);
    std::string s = buf;
    if (s.find('.') != std::string::npos) {
        while (s.back() == '0') s.pop_back();
        if (s.back() == '.') s.pop_back();
    }
    if (s == "-0") s = "0";
    return s;
}

std::string xf_ShortNumber(double v) {
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.6g", v);
    return buf;
}
