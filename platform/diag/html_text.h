// Module-private text helpers of the HTML report: escaping and number formatting.
#pragma once

#include <string>

// `text` as UTF-8 that is safe inside HTML and SVG text and attribute values: & < > " ' are
// escaped; a string's trailing NUL characters (the end marker of text streams) are dropped;
// other control characters except tab, line feed and carriage return become their visible
// "control picture" (U+2400 + code, U+2421 for DEL); units that are not code points become
// U+FFFD.
std::string xf_HtmlEscape(const std::wstring& text);
// The same for UTF-8 input (assumed well-formed).
std::string xf_HtmlEscapeUtf8(const std::string& text);

// A number for SVG attributes: at most 3 decimals, trailing zeros and "-0" removed; non-finite
// values become 0.
std::string xf_SvgNumber(double v);
// A number for people: 6 significant digits.
std::string xf_ShortNumber(double v);
