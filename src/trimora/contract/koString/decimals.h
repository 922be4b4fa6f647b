#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <limits>

/// Decimal numbers in text, in any locale of the process.
namespace koString {

inline bool isDigit(char c) {
    return static_cast<unsigned char>(c - '0') < 10;
}

/// A decimal number as it is written: mantissa x 10^exponent.
struct Decimal {
    std::uint64_t mantissa = 0;  ///< wrapped around when there are more than 19 digits
    std::int64_t exponent = 0;
    std::int64_t numDigits = 0;  ///< leading zeros included; 0 when there is no number
    bool negative = false;
    bool hasExponent = false;  ///< an exponent of at least one digit was written
};

/// Reads [sign] digits [. digits] [e [sign] digits] and moves `p` behind it, or behind as much of it as there is. The
/// text has to end in a character that is no part of a number: nothing else ends the reading.
inline Decimal scanDecimal(char const*& p) {
    Decimal result;
    result.negative = *p == '-';
    p += *p == '-' || *p == '+';
    char const* const first = p;
    for (; isDigit(*p); ++p)
        result.mantissa = result.mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
    result.numDigits = p - first;
    if (*p == '.') {
        char const* const point = p++;
        for (; isDigit(*p); ++p)
            result.mantissa = result.mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
        result.exponent = point + 1 - p;
        result.numDigits -= result.exponent;
    }
    if ((*p == 'e' || *p == 'E') && result.numDigits > 0) {
        bool const hasSign = p[1] == '-' || p[1] == '+';
        if (isDigit(p[hasSign ? 2 : 1])) {
            bool const negative = p[1] == '-';
            constexpr std::int64_t farBeyond = 1'000'000'000'000;
            std::int64_t exponent = 0;
            for (p += hasSign ? 2 : 1; isDigit(*p); ++p)
                exponent = std::min(exponent * 10 + (*p - '0'), farBeyond);
            result.exponent += negative ? -exponent : exponent;
            result.hasExponent = true;
        }
    }
    return result;
}

/// Powers of ten that a double holds exactly.
inline constexpr std::array<double, 23> exactPowersOfTen = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// mantissa x 10^exponent in double arithmetic; the exponent is -22 to 22.
inline double scaled(std::uint64_t mantissa, std::int64_t exponent) {
    double const value = static_cast<double>(mantissa);
    return exponent < 0 ? value / exactPowersOfTen[static_cast<std::size_t>(-exponent)]
                        : value * exactPowersOfTen[static_cast<std::size_t>(exponent)];
}

inline bool isShort(Decimal const& decimal) {
    return decimal.numDigits <= 19 && decimal.exponent <= 22 && decimal.exponent >= -22;
}

/// The double nearest to a short decimal; false when this way cannot be sure of it: a mantissa that a double does not
/// hold, or a large power of ten. Else both factors are exact and one rounding is left.
inline bool nearestDouble(Decimal const& decimal, double& value) {
    if (!isShort(decimal) || decimal.mantissa > (1ull << 53))
        return false;
    double const magnitude = scaled(decimal.mantissa, decimal.exponent);
    value = decimal.negative ? -magnitude : magnitude;
    return true;
}

/// The float nearest to a short decimal; false when this way cannot be sure of it.
///
/// The mantissa as a double is off by half a unit in the last place at most, the power of ten by nothing, and their
/// product or quotient adds another half. Narrowing that double gives the nearest float unless it lies within these
/// units of the middle between two floats, or the float is subnormal or overflows.
inline bool nearestFloat(Decimal const& decimal, float& value) {
    if (!isShort(decimal))
        return false;
    double const magnitude = scaled(decimal.mantissa, decimal.exponent);
    constexpr std::uint64_t narrowedBits = (1ull << 29) - 1;
    constexpr std::uint64_t middle = 1ull << 28;
    constexpr std::uint64_t margin = 4;
    std::uint64_t const narrowed = std::bit_cast<std::uint64_t>(magnitude) & narrowedBits;
    bool const isNearMiddle = narrowed - (middle - margin) <= 2 * margin;
    bool const isNormal = magnitude >= static_cast<double>(std::numeric_limits<float>::min()) &&
                          magnitude <= static_cast<double>(std::numeric_limits<float>::max());
    if (isNearMiddle || (!isNormal && decimal.mantissa != 0))
        return false;
    value = static_cast<float>(decimal.negative ? -magnitude : magnitude);
    return true;
}

}  // namespace koString
