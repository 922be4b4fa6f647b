#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"

#include <string>
#include <string_view>

namespace koString {

/// Narrow string, ended by NUL. Null pointers count as the empty string.
class TRIMORA_API CString {
public:
    CString() = default;
    CString(char const* text) : text_(text == nullptr ? "" : text) {}

    /// Valid until the string changes or dies.
    char const* asChar() const { return text_.c_str(); }
    int length() const { return static_cast<int>(text_.size()); }
    bool isEmpty() const { return text_.empty(); }

    /// Replaces the text by what printf would print; the arguments may point into this string.
    CString& format(char const* format, ...) __attribute__((format(printf, 2, 3)));
    CString& append(char const* text);
    CString& append(CString const& text);

private:
    std::string text_;
};

/// Comparison byte by byte, as unsigned characters.
TRIMORA_API bool equal(CString const& a, CString const& b);
TRIMORA_API bool notEqual(CString const& a, CString const& b);
TRIMORA_API bool less(CString const& a, CString const& b);
/// a followed by b.
TRIMORA_API CString plus(CString const& a, CString const& b);

inline bool operator==(CString const& a, CString const& b) {
    return equal(a, b);
}
inline bool operator<(CString const& a, CString const& b) {
    return less(a, b);
}

}  // namespace koString

namespace ko {

/// Orders by koString::less.
template <>
struct less<koString::CString> {
    bool operator()(koString::CString const& a, koString::CString const& b) const {
        return koString::less(a, b);
    }
};

template <>
struct hash<koString::CString> {
    std::size_t operator()(koString::CString const& key) const {
        return std::hash<std::string_view>()(key.asChar());
    }
};

}  // namespace ko
