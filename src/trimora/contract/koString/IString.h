#pragma once

#include "trimora/contract/koString/CString.h"
#include "trimora/export.h"

#include <string>

namespace koString {

/// How the bytes of a narrow string are read and written.
enum class Encoding {
    /// That of file names: UTF-8 in which bytes of no valid sequence are kept as they are.
    Native = 0,
    Utf8 = 1,   ///< UTF-8; every byte of no valid sequence becomes U+FFFD
    Latin1 = 2  ///< one byte a character; characters above U+00FF are written as '?'
};

/// Wide string that remembers the encoding it was made from.
class TRIMORA_API IString {
public:
    IString() = default;
    /// Null counts as the empty string.
    IString(char const* text, Encoding encoding = Encoding::Native);

    /// The text as bytes of the given encoding. Encoding::Native gives back exactly the bytes that an
    /// Encoding::Native string was made from.
    CString asMultibyte(Encoding encoding = Encoding::Native) const;

    Encoding encoding() const { return encoding_; }
    /// Characters, not bytes.
    int length() const { return static_cast<int>(text_.size()); }
    bool isEmpty() const { return text_.empty(); }

    /// Same characters; the encoding they came from does not count.
    friend bool operator==(IString const& a, IString const& b) { return a.text_ == b.text_; }

private:
    std::u32string text_;
    Encoding encoding_ = Encoding::Native;
};

}  // namespace koString
