#include "platform/clevel/assert.h"

#include <string>

#include "platform/core/char_code.h"
#include "platform/core/exception.h"

void xstd_assert_(long line, const char* what, xstd_SourceLocation where) {
    std::string text = "Assertion failed at ";
    text += where.file_name();
    text += ':';
    text += std::to_string(line);
    if (what && *what) {
        text += ": ";
        text += what;
    }
    throw xcAssertionFailure(xfFromUtf8(text));
}
