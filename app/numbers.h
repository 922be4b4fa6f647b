#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace app {

/// The numbers of a text like "0,0,1,-0.5"; empty unless it holds exactly `count` finite ones.
std::vector<double> parseNumbers(std::string const& text, std::size_t count);

/// A length like "0.25", or like "0.1%" of another length.
struct Length {
    double value = 0.0;
    bool isPercentage = false;

    double of(double whole) const { return isPercentage ? value / 100.0 * whole : value; }
};

/// Nothing for a text that is no such length, or not above 0.
std::optional<Length> parseLength(std::string text);

}  // namespace app
