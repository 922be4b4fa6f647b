#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/contract/koString/decimals.h"
#include "trimora/export.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

namespace koGeom {
class CompactMesh;
class TopoMesh;
}  // namespace koGeom

/// What the plain readers and writers of mesh text share. Nothing depends on the locale of the process.
namespace koGeom::detail {

/// The whole contents of a file; false when it cannot be opened or read (a folder, say).
TRIMORA_API bool readTextFile(koOS::Filename const& name, std::string& text);

/// The readers on text that is in memory already.
TRIMORA_API void readPlainText(CompactMesh& mesh, std::string const& text);
TRIMORA_API void readPlainText(TopoMesh& mesh, std::string const& text);
TRIMORA_API bool readObjText(CompactMesh& mesh, std::string const& text);

inline bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The slow way for a decimal that koString cannot round: [begin, end) is one whole number. Beyond the range of T it is
/// false and an infinity.
bool convertDecimal(char const* begin, char const* end, float& value);
bool convertDecimal(char const* begin, char const* end, double& value);

/// Reads numbers one after the other, white space of any kind between them. What cannot be read leaves its target as
/// it was, and the scanner at an open place: stop then. The byte behind the end has to be readable and part of no
/// number, as a line feed or a string's final 0 is.
class TextScanner {
public:
    TextScanner(char const* begin, char const* end) : p_(begin), end_(end) {}

    bool atEnd() const { return p_ == end_; }
    std::int64_t numBytesLeft() const { return end_ - p_; }
    /// Steps over this character if it comes next.
    bool skip(char c) {
        bool const found = p_ < end_ && *p_ == c;
        p_ += found;
        return found;
    }
    bool isNext(char c) const { return p_ < end_ && *p_ == c; }

    bool readInt(int& value);
    /// A decimal number; one beyond the range of T does not count.
    template <class T>
    bool readDecimal(T& value);
    /// Infinities and NaN too; what is beyond the range of T is infinite.
    template <class T>
    bool readNumber(T& value);

private:
    void skipSpace() {
        while (p_ < end_ && isSpace(*p_))
            ++p_;
    }
    template <class T>
    bool convert(T& value);
    template <class T>
    bool readWord(T& value);
    bool skipWord(std::string_view lowerCaseWord);

    char const* p_;
    char const* const end_;
};

inline bool TextScanner::readInt(int& value) {
    skipSpace();
    bool const negative = *p_ == '-';
    p_ += p_ < end_ && (negative || *p_ == '+');
    if (!koString::isDigit(*p_))
        return false;
    constexpr std::int64_t beyond = std::int64_t(1) << 32;
    std::int64_t magnitude = 0;
    for (; koString::isDigit(*p_); ++p_)
        magnitude = std::min<std::int64_t>(magnitude * 10 + (*p_ - '0'), beyond);
    std::int64_t const number = negative ? -magnitude : magnitude;
    if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max())
        return false;
    value = static_cast<int>(number);
    return true;
}

template <class T>
bool TextScanner::convert(T& value) {
    char const* const begin = p_;
    koString::Decimal const decimal = koString::scanDecimal(p_);
    // An exponent mark without digits spoils the number that it follows.
    if (decimal.numDigits == 0 || (!decimal.hasExponent && (*p_ == 'e' || *p_ == 'E')))
        return false;
    bool isNearest = false;
    if constexpr (sizeof(T) == sizeof(float))
        isNearest = koString::nearestFloat(decimal, value);
    else
        isNearest = koString::nearestDouble(decimal, value);
    return isNearest || convertDecimal(begin, p_, value);
}

template <class T>
bool TextScanner::readDecimal(T& value) {
    skipSpace();
    T read{};
    if (!convert(read))
        return false;
    value = read;
    return true;
}

template <class T>
bool TextScanner::readNumber(T& value) {
    skipSpace();
    if (readWord(value))
        return true;
    T read{};
    if (!convert(read) && read == T{})
        return false;
    value = read;
    return true;
}

template <class T>
bool TextScanner::readWord(T& value) {
    char const* const begin = p_;
    bool const negative = skip('-');
    if (!negative)
        skip('+');
    T magnitude{};
    if (skipWord("infinity") || skipWord("inf")) {
        magnitude = std::numeric_limits<T>::infinity();
    } else if (skipWord("nan")) {
        magnitude = std::numeric_limits<T>::quiet_NaN();
    } else {
        p_ = begin;
        return false;
    }
    value = negative ? -magnitude : magnitude;
    return true;
}

/// Text that goes to a file as it grows. Errors after the opening are not looked at.
class TextWriter {
public:
    explicit TextWriter(koString::CString const& path);
    ~TextWriter();
    TextWriter(TextWriter const&) = delete;
    TextWriter& operator=(TextWriter const&) = delete;

    bool isOpen() const { return file_ != nullptr; }

    TextWriter& operator<<(std::string_view text);
    TextWriter& operator<<(char c) { return *this << std::string_view(&c, 1); }
    TextWriter& operator<<(int value);
    /// As printf's %g of that many significant digits does in the C locale.
    TextWriter& number(double value, int numDigits);

private:
    static constexpr std::size_t flushSize = 1u << 16;

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
    std::string pending_;
};

}  // namespace koGeom::detail
