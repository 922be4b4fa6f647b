#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace trimora {

/// Hands out the lines of a small text file one by one: without comment, whatever ends them.
class TextLines {
public:
    explicit TextLines(std::string_view text) : rest_(text) {}

    /// Moves to the next line; false at the end.
    bool next() {
        if (rest_.empty())
            return false;
        std::size_t const end = rest_.find_first_of("\r\n");
        line_ = rest_.substr(0, end);
        std::size_t const comment = line_.find('#');
        hasComment_ = comment != std::string_view::npos;
        line_ = line_.substr(0, comment);
        bool const isCrLf = end != std::string_view::npos && rest_.substr(end, 2) == "\r\n";
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + (isCrLf ? 2 : 1));
        ++number_;
        return true;
    }

    bool hasComment() const { return hasComment_; }
    /// From 1.
    std::int64_t number() const { return number_; }

    /// Takes the next word off the line, words being parted by blanks, tabs and commas; empty when there is none.
    std::string_view word() {
        constexpr std::string_view separators = " \t,\v\f";
        line_.remove_prefix(std::min(line_.find_first_not_of(separators), line_.size()));
        std::string_view const found = line_.substr(0, line_.find_first_of(separators));
        line_.remove_prefix(found.size());
        return found;
    }

private:
    std::string_view rest_;
    std::string_view line_;
    std::int64_t number_ = 0;
    bool hasComment_ = false;
};

/// The whole word as a number, with an optional plus sign.
template <typename Number>
bool parseWhole(std::string_view word, Number& value) {
    if (word.size() > 1 && word[0] == '+' && word[1] != '-')
        word.remove_prefix(1);
    char const* const end = word.data() + word.size();
    auto const [stopped, error] = std::from_chars(word.data(), end, value);
    return error == std::errc() && stopped == end && !word.empty();
}

}  // namespace trimora
