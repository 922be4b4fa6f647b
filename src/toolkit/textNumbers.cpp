#include "toolkit/detail/textNumbers.h"

#include "trimora/contract/koString/decimals.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace trimora {

namespace {

/// True when the text goes on with the lower-case word, in any case.
bool startsWithWord(std::string_view text, std::string_view word) {
    if (text.size() < word.size())
        return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
        bool const isUpper = text[i] >= 'A' && text[i] <= 'Z';
        if (static_cast<char>(isUpper ? text[i] - 'A' + 'a' : text[i]) != word[i])
            return false;
    }
    return true;
}

template <class Number>
bool parseUnusual(std::string_view token, Number& value) {
    if (token.empty())
        return false;
    bool const negative = token[0] == '-';
    std::string_view const number = token.substr(negative || token[0] == '+' ? 1 : 0);
    auto const signedValue = [negative](Number magnitude) {
        return negative ? -magnitude : magnitude;
    };

    constexpr Number infinity = std::numeric_limits<Number>::infinity();
    constexpr Number nan = std::numeric_limits<Number>::quiet_NaN();
    if (startsWithWord(number, "nan") || startsWithWord(number, "1.#qnan") ||
        startsWithWord(number, "1.#snan") || startsWithWord(number, "1.#ind")) {
        value = signedValue(nan);
        return true;
    }
    if (startsWithWord(number, "inf") || startsWithWord(number, "1.#inf")) {
        value = signedValue(infinity);
        return true;
    }

    if (number.empty() || !(koString::isDigit(number[0]) || number[0] == '.'))
        return false;
    Number magnitude = 0;
    auto const [end, error] =
        std::from_chars(number.data(), number.data() + number.size(), magnitude);
    if (end != number.data() + number.size())
        return false;
    if (error == std::errc::result_out_of_range) {
        // Far outside the range: the place of the first digit that counts tells on which side.
        std::size_t const firstDigit = number.find_first_of("123456789");
        std::size_t const exponentMark = std::min(number.find_first_of("eE"), number.size());
        std::size_t const point = std::min(number.find('.'), exponentMark);
        auto place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(firstDigit);
        if (exponentMark < number.size()) {
            std::string_view const digits = number.substr(exponentMark + 1);
            bool const up = digits[0] != '-';
            std::int64_t exponent = 0;
            for (char const c : digits.substr(koString::isDigit(digits[0]) ? 0 : 1))
                exponent = std::min<std::int64_t>(exponent * 10 + (c - '0'), 1'000'000'000'000);
            place += up ? exponent : -exponent;
        }
        magnitude = firstDigit < exponentMark && place > 0 ? infinity : Number(0);
    } else if (error != std::errc{}) {
        return false;
    }
    value = signedValue(magnitude);
    return true;
}

/// Half a unit in the last place of a decimal as it is written.
double halfLastPlace(koString::Decimal const& decimal) {
    return 0.5 * std::pow(10.0, static_cast<double>(decimal.exponent));
}

}  // namespace

bool parseUnusualFloat(std::string_view token, float& value) {
    return parseUnusual(token, value);
}

bool parseUnusualDouble(std::string_view token, double& value) {
    return parseUnusual(token, value);
}

NumberToken readWholeToken(std::string_view token, koString::Decimal const& decimal, bool isPlain,
                           double shift, float& value, bool& exceedsFloat) {
    double exact = 0.0;
    bool const isNumber = shift == 0.0 ? parseUnusualFloat(token, value)
                                       : (isPlain && koString::nearestDouble(decimal, exact)) ||
                                             parseUnusualDouble(token, exact);
    if (!isNumber) {
        value = std::numeric_limits<float>::quiet_NaN();
        return NumberToken::Bad;
    }
    if (shift != 0.0) {
        double const told = std::abs(exact - static_cast<double>(static_cast<float>(exact)));
        double const rounding = std::abs(exact) * std::numeric_limits<double>::epsilon();
        exceedsFloat = exceedsFloat || told > halfLastPlace(decimal) + rounding;
        value = static_cast<float>(exact - shift);
    }
    return NumberToken::Good;
}

}  // namespace trimora
