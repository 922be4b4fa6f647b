#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>
#include <utility>

namespace trimora {

/// A value in a JSON text, looked into without being copied or taken apart first. What is no JSON gives some value or none, and
/// breaks nothing, however deep it is nested; each look goes through the text again.
class JsonText {
public:
    explicit JsonText(std::string_view text = {}) : text_(takeValue(text)) {}

    bool isThere() const { return !text_.empty(); }
    /// The number; NaN for anything else.
    double number() const {
        double value = 0.0;
        auto const [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), value);
        return error == std::errc() && end == text_.data() + text_.size() && isThere()
                   ? value
                   : std::numeric_limits<double>::quiet_NaN();
    }
    /// What stands between the quotes, escapes as they are written; empty for anything else.
    std::string_view string() const {
        return text_.size() > 1 && text_.front() == '"' ? text_.substr(1, text_.size() - 2)
                                                        : std::string_view();
    }
    /// The first member of that name.
    JsonText member(std::string_view name) const {
        JsonText found;
        forMembers([&](std::string_view key, JsonText value) {
            if (!found.isThere() && key == name)
                found = value;
        });
        return found;
    }
    /// use(name, value) for all members of an object, in their order.
    template <class Use>
    void forMembers(Use use) const {
        std::string_view rest = inside('{');
        for (;;) {
            JsonText const key = take(rest);
            if (!key.isThere() || !takeSign(rest, ':'))
                return;
            use(key.string(), take(rest));
            if (!takeSign(rest, ','))
                return;
        }
    }
    /// use(value) for all items of an array, in their order.
    template <class Use>
    void forItems(Use use) const {
        std::string_view rest = inside('[');
        for (;;) {
            JsonText const item = take(rest);
            if (!item.isThere())
                return;
            use(item);
            if (!takeSign(rest, ','))
                return;
        }
    }

private:
    static constexpr std::string_view blanks = " \t\r\n";

    static void skipBlanks(std::string_view& rest) {
        rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    }
    static bool takeSign(std::string_view& rest, char sign) {
        skipBlanks(rest);
        bool const is = rest.starts_with(sign);
        rest.remove_prefix(is ? 1 : 0);
        return is;
    }
    static JsonText take(std::string_view& rest) {
        JsonText value;
        value.text_ = takeValue(rest);
        return value;
    }
    std::string_view inside(char bracket) const {
        return text_.starts_with(bracket) ? text_.substr(1) : std::string_view();
    }
    /// Takes a whole value off the front.
    static std::string_view takeValue(std::string_view& rest) {
        skipBlanks(rest);
        std::size_t const size = sizeOf(rest);
        std::string_view const value = rest.substr(0, size);
        rest.remove_prefix(size);
        return value;
    }
    static std::size_t sizeOf(std::string_view text) {
        if (text.starts_with('"'))
            return stringSize(text);
        if (!text.starts_with('{') && !text.starts_with('['))
            return std::min(text.find_first_of(",:]} \t\r\n"), text.size());
        std::size_t depth = 0;
        for (std::size_t i = 0; i < text.size();) {
            char const c = text[i];
            if (c == '"') {
                i += stringSize(text.substr(i));
                continue;
            }
            ++i;
            depth += c == '{' || c == '[';
            if ((c == '}' || c == ']') && --depth == 0)
                return i;
        }
        return text.size();
    }
    static std::size_t stringSize(std::string_view text) {
        for (std::size_t i = 1; i < text.size(); i += text[i] == '\\' ? 2 : 1)
            if (text[i] == '"')
                return i + 1;
        return text.size();
    }

    std::string_view text_;
};

}  // namespace trimora
