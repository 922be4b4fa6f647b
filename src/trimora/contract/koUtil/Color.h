#pragma once

namespace koUtil {

/// Red, green and blue, 0 to 1 each.
struct Color {
    float red = 0.0f;
    float green = 0.0f;
    float blue = 0.0f;

    constexpr bool operator==(Color const&) const = default;
};

}  // namespace koUtil
