#include "numbers.h"

#include <charconv>
#include <cmath>
#include <utility>

namespace app {

namespace {

bool parseNumber(std::string_view text, double& value) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-')
        text.remove_prefix(1);
    char const* const end = text.data() + text.size();
    auto const [stopped, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stopped == end && std::isfinite(value);
}

bool takePercentSign(std::string& text) {
    bool const isThere = !text.empty() && text.back() == '%';
    if (isThere)
        text.pop_back();
    return isThere;
}

}  // namespace

std::vector<double> parseNumbers(std::string const& text, std::size_t count) {
    std::vector<double> numbers;
    std::string_view rest = text;
    for (bool goesOn = true; goesOn;) {
        std::size_t const comma = rest.find(',');
        double value = 0.0;
        if (!parseNumber(rest.substr(0, comma), value))
            return {};
        numbers.push_back(value);
        goesOn = comma != std::string_view::npos;
        rest.remove_prefix(goesOn ? comma + 1 : rest.size());
    }
    return numbers.size() == count ? numbers : std::vector<double>();
}

std::string faultOfDirection(std::string const& text) {
    auto const numbers = parseNumbers(text, 3);
    bool const isWay =
        std::any_of(numbers.begin(), numbers.end(), [](double x) { return x != 0.0; });
    return isWay ? std::string() : "takes x,y,z, not all 0, not '" + text + "'";
}

std::optional<std::int64_t> parseCount(std::string_view text) {
    std::int64_t number = 0;
    char const* const end = text.data() + text.size();
    auto const [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end && number >= 0 ? std::optional(number)
                                                                 : std::nullopt;
}

bool parseRanges(std::string_view text, Ranges& ranges) {
    for (bool goesOn = true; goesOn;) {
        std::size_t const comma = text.find(',');
        std::string_view const word = text.substr(0, comma);
        std::size_t const dash = word.find('-');
        auto const first = parseCount(word.substr(0, dash));
        auto const last =
            dash == std::string_view::npos ? first : parseCount(word.substr(dash + 1));
        if (!first || !last || *first > *last)
            return false;
        ranges.emplace_back(*first, *last);
        goesOn = comma != std::string_view::npos;
        text.remove_prefix(goesOn ? comma + 1 : text.size());
    }
    return true;
}

std::optional<std::int64_t> numberBeyond(Ranges const& ranges, std::int64_t count) {
    for (auto const& [first, last] : ranges) {
        if (first < 1 || last > count)
            return first < 1 ? first : last;
    }
    return std::nullopt;
}

std::optional<double> parseFraction(std::string text) {
    double const whole = takePercentSign(text) ? 100.0 : 1.0;
    double value = 0.0;
    if (!parseNumber(text, value) || !(value > 0.0) || value > whole || value / whole == 0.0)
        return std::nullopt;
    return value / whole;
}

std::optional<Length> parseLength(std::string text) {
    auto const length = parseSignedLength(std::move(text));
    return length && length->value > 0.0 ? length : std::nullopt;
}

std::string faultOfLength(std::string const& text) {
    return parseLength(text)
               ? std::string()
               : "takes a length above 0, or like 1% of the box's diagonal, not '" + text + "'";
}

std::optional<Length> parseSignedLength(std::string text) {
    Length length;
    length.isPercentage = takePercentSign(text);
    if (!parseNumber(text, length.value) || length.value == 0.0)
        return std::nullopt;
    return length;
}

}  // namespace app
