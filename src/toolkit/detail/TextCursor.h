#pragma once

#include "toolkit/ReadReport.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/readLimits.h"
#include "toolkit/detail/textNumbers.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <string_view>

namespace trimora {

/// A whole text file in memory, with line feeds behind it that are not part of it.
class LoadedText {
public:
    FileOutcome load(InputFile const& file, ReadOptions const& options) {
        if (FileOutcome const fits = requireTextFits(file, options); !fits)
            return fits;
        size_ = static_cast<std::size_t>(file.size());
        bytes_ = std::make_unique_for_overwrite<char[]>(size_ + padding);
        if (!file.fetch(0, size_, bytes_.get()))
            return cannotBeRead(file);
        std::fill_n(bytes_.get() + size_, padding, '\n');
        return FileOutcome::done();
    }
    char const* begin() const { return bytes_.get(); }
    char const* end() const { return bytes_.get() + size_; }
    std::size_t size() const { return size_; }

private:
    static constexpr std::size_t padding = 8;

    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
};

/// Walks through a loaded text word by word, and counts its lines. Words are parted by blanks, tabs and line ends; no test for the
/// end is needed within a line, since a line end follows it.
class TextCursor {
public:
    /// comment    the character from which the rest of a line is passed over; NUL for none
    explicit TextCursor(LoadedText const& text, char comment = '\0')
        : p_(text.begin()), end_(text.end()), comment_(comment) {
        if (std::string_view(p_, end_).starts_with("\xEF\xBB\xBF"))  // a mark of the byte order
            p_ += 3;
    }

    /// From 1; that of the next word, once it was moved to.
    std::int64_t line() const { return line_; }
    /// Of the whole text; to be asked at its end.
    std::int64_t numLines() const { return line_ - (endsInLineEnd_ ? 1 : 0); }

    /// Moves to the next word of the text, over any line ends; false at the end.
    bool toWord() {
        while (isLineAtEnd())
            if (!nextLine())
                return false;
        return true;
    }
    /// Moves to the next word of the line; true when there is none.
    bool isLineAtEnd() {
        while (isBlank(*p_))
            ++p_;
        return isLineEnd(*p_) || isComment();
    }
    /// Passes over the rest of the line; false when no line follows.
    bool nextLine() {
        if (p_ >= end_)
            return false;
        while (!isLineEnd(*p_))
            ++p_;
        if (p_ >= end_)
            return false;
        p_ += *p_ == '\r' && p_[1] == '\n' ? 2 : 1;
        ++line_;
        endsInLineEnd_ = p_ >= end_;
        return !endsInLineEnd_;
    }
    /// The rest of the line without blanks at its ends; the cursor stands at its beginning then.
    std::string_view peekLine() {
        isLineAtEnd();  // moves over the blanks
        char const* end = p_;
        while (!isLineEnd(*end) && !(comment_ != '\0' && *end == comment_))
            ++end;
        while (end > p_ && isBlank(end[-1]))
            --end;
        return {p_, static_cast<std::size_t>(end - p_)};
    }
    /// Moves over so many characters of the line.
    void passOver(std::size_t count) { p_ += count; }
    /// The word here, without moving.
    std::string_view peek() const {
        char const* p = p_;
        while (!endsWord(p))
            ++p;
        return {p_, static_cast<std::size_t>(p - p_)};
    }
    std::string_view word() {
        std::string_view const found = peek();
        p_ += found.size();
        return found;
    }
    /// The word here as a number, with its shift taken off; see readCoordinate.
    NumberToken number(double shift, float& value, bool& exceedsFloat) {
        return readCoordinate(
            p_, [this](char const* p) { return endsWord(p); }, shift, value, exceedsFloat);
    }
    /// The word here as a whole number; one beyond 64 bits becomes the greatest or least. Without one the word is passed over.
    bool integer(std::int64_t& value) {
        std::string_view text = word();
        bool const negative = text.starts_with('-');
        if (text.size() > 1 && text[0] == '+' && text[1] != '-')
            text.remove_prefix(1);
        auto const [stopped, error] =
            std::from_chars(text.data(), text.data() + text.size(), value);
        if (error == std::errc::result_out_of_range)
            value = negative ? INT64_MIN : INT64_MAX;
        return stopped == text.data() + text.size() && error != std::errc::invalid_argument;
    }

private:
    static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\v' || c == '\f'; }
    static bool isLineEnd(char c) { return c == '\n' || c == '\r'; }
    bool isComment() const { return comment_ != '\0' && *p_ == comment_; }
    bool endsWord(char const* p) const {
        return isBlank(*p) || isLineEnd(*p) || (comment_ != '\0' && *p == comment_);
    }

    char const* p_;
    char const* const end_;
    char const comment_;
    std::int64_t line_ = 1;
    bool endsInLineEnd_ = false;
};

/// Counts in the report what is wrong with a vertex of a text file.
///
/// returns   what to say of it; null: nothing
inline char const* countVertexFaults(ReadReport& report, bool isComplete, bool isBad,
                                     bool isFinite) {
    report.incompleteVertices += !isComplete || isBad;
    report.nonfiniteVertices += !isFinite;
    return !isComplete ? "vertex with fewer than three numbers; the others are 0"
           : isBad     ? "vertex with a coordinate that is no number; it is NaN"
           : !isFinite ? "vertex with a coordinate that is NaN or infinite"
                       : nullptr;
}

}  // namespace trimora
