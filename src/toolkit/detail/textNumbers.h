#pragma once

#include "trimora/contract/koString/decimals.h"

#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>

namespace trimora {

/// A whole token that koString::nearestFloat does not settle: many digits, the ends of the range, NaN and infinities as
/// the common C libraries print them ("nan", "-nan(ind)", "inf", "Infinity", "1.#INF", "-1.#IND"). Too large becomes
/// infinite, too small 0. False: no number.
bool parseUnusualFloat(std::string_view token, float& value);
/// The same for what koString::nearestDouble does not settle.
bool parseUnusualDouble(std::string_view token, double& value);

enum class NumberToken { Good, Bad };

/// Reads the token at p as a coordinate and moves p behind it; what is no number is NaN. ends(p) tells where a token ends. A shift
/// other than 0 is taken off in double precision; exceedsFloat is set then when the token has more digits than print the nearest
/// float to its last decimal place.
template <class Ends>
NumberToken readCoordinate(char const*& p, Ends ends, double shift, float& value,
                           bool& exceedsFloat);

inline constexpr std::size_t maxFloatSize = 16;
inline constexpr std::size_t maxIntSize = 11;

/// Writes the shortest decimal that reads back to the same float, maxFloatSize characters at most, and returns its end.
inline char* printFloat(char* p, float value) {
    return std::to_chars(p, p + maxFloatSize, value).ptr;
}

/// The same for an int, maxIntSize characters at most.
inline char* printInt(char* p, int value) {
    return std::to_chars(p, p + maxIntSize, value).ptr;
}

/// What is left of readCoordinate where the fast way does not settle a token; `decimal` is all of it where isPlain.
NumberToken readWholeToken(std::string_view token, koString::Decimal const& decimal, bool isPlain,
                           double shift, float& value, bool& exceedsFloat);

template <class Ends>
inline NumberToken readCoordinate(char const*& p, Ends ends, double shift, float& value,
                                  bool& exceedsFloat) {
    char const* const first = p;
    koString::Decimal const decimal = koString::scanDecimal(p);
    bool const isPlain = decimal.numDigits > 0 && ends(p);
    if (isPlain && shift == 0.0 && koString::nearestFloat(decimal, value))
        return NumberToken::Good;
    while (!ends(p))
        ++p;
    return readWholeToken({first, static_cast<std::size_t>(p - first)}, decimal, isPlain, shift,
                          value, exceedsFloat);
}

}  // namespace trimora
