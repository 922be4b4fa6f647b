#pragma once

#include <charconv>
#include <string_view>

namespace trimora {

/// A whole token that koString::nearestFloat does not settle: many digits, the ends of the range, NaN and infinities as
/// the common C libraries print them ("nan", "-nan(ind)", "inf", "Infinity", "1.#INF", "-1.#IND"). Too large becomes
/// infinite, too small 0. False: no number.
bool parseUnusualFloat(std::string_view token, float& value);

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

}  // namespace trimora
