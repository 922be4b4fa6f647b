#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace app {

/// The numbers of a text like "0,0,1,-0.5"; empty unless it holds exactly `count` finite ones.
std::vector<double> parseNumbers(std::string const& text, std::size_t count);

/// Check of an option that takes a way x,y,z other than 0: what is wrong with the text, or nothing.
std::string faultOfDirection(std::string const& text);

/// A whole number from 0 on.
std::optional<std::int64_t> parseCount(std::string_view text);

/// First and last of each.
using Ranges = std::vector<std::pair<std::int64_t, std::int64_t>>;

/// Numbers and ranges like "1,3,5-9"; false for a text that is none.
bool parseRanges(std::string_view text, Ranges& ranges);

/// A number of the ranges that is not in 1 to `count`, if there is one.
std::optional<std::int64_t> numberBeyond(Ranges const& ranges, std::int64_t count);

/// A length like "0.25", or like "0.1%" of another length.
struct Length {
    double value = 0.0;
    bool isPercentage = false;

    /// Finite whatever the whole, as long as that is.
    double of(double whole) const {
        return isPercentage ? std::min(value / 100.0 * whole, std::numeric_limits<double>::max())
                            : value;
    }
};

/// A part of a whole like "0.5" or "50%"; nothing for a text that is none, not above 0, or above 1.
std::optional<double> parseFraction(std::string text);

/// Nothing for a text that is no such length, or not above 0.
std::optional<Length> parseLength(std::string text);

/// Check of an option that takes such a length: what is wrong with the text, or nothing.
std::string faultOfLength(std::string const& text);

/// The same as parseLength with a sign: nothing for 0.
std::optional<Length> parseSignedLength(std::string text);

}  // namespace app
