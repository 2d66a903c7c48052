#include "platform/diag/html_text.h"

#include <cmath>
#include <cstdio>
#include <type_traits>

namespace {

void appendUtf8(std::string& out, char32_t c) {
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
    appendUtf8(out, c);
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
