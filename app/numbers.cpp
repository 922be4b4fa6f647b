#include "numbers.h"

#include <charconv>
#include <cmath>
#include <string_view>

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

std::optional<double> parseFraction(std::string text) {
    double const whole = takePercentSign(text) ? 100.0 : 1.0;
    double value = 0.0;
    if (!parseNumber(text, value) || !(value > 0.0) || value > whole || value / whole == 0.0)
        return std::nullopt;
    return value / whole;
}

std::optional<Length> parseLength(std::string text) {
    Length length;
    length.isPercentage = takePercentSign(text);
    if (!parseNumber(text, length.value) || !(length.value > 0.0))
        return std::nullopt;
    return length;
}

}  // namespace app
