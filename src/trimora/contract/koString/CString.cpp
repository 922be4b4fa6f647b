#include "trimora/contract/koString/CString.h"

#include <cstdarg>
#include <cstdio>

namespace koString {

CString& CString::format(char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);

    std::string text;  // built aside: the arguments may point into the old text
    try {
        text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    } catch (...) {
        va_end(again);
        throw;
    }
    if (length > 0)
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    text_ = std::move(text);
    return *this;
}

CString& CString::append(char const* text) {
    if (text != nullptr)
        text_.append(text);
    return *this;
}

CString& CString::append(CString const& text) {
    text_.append(text.text_);
    return *this;
}

bool equal(CString const& a, CString const& b) {
    return a.length() == b.length() && std::string_view(a.asChar()) == b.asChar();
}

bool notEqual(CString const& a, CString const& b) {
    return !equal(a, b);
}

bool less(CString const& a, CString const& b) {
    return std::string_view(a.asChar()) < b.asChar();
}

CString plus(CString const& a, CString const& b) {
    CString both(a);
    both.append(b);
    return both;
}

}  // namespace koString
