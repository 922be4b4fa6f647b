#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace trimora {

/// A picture of 8 bits a channel in the sRGB colour space: rows from the top, three bytes a pixel, red first.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;  ///< 3 * width * height

    Picture() = default;
    /// All black.
    Picture(int w, int h)
        : width(w), height(h), rgb(3 * static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}

    /// The three bytes of a pixel of the picture.
    std::uint8_t* at(int x, int y) {
        return rgb.data() + 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                 static_cast<std::size_t>(x));
    }
    std::uint8_t const* at(int x, int y) const { return const_cast<Picture*>(this)->at(x, y); }
};

}  // namespace trimora
