#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace trimora {

/// A part of a colour, 0 to 1, as a byte; of those that a byte holds, byte / 255.0f is the part again.
inline std::uint8_t colourByte(float part) {
    return static_cast<std::uint8_t>(std::lround(part * 255.0f));
}

/// Whether bytes hold all the parts without loss.
inline bool areColourBytes(float const* parts, std::size_t count) {
    return std::all_of(parts, parts + count, [](float part) {
        return part >= 0.0f && part <= 1.0f && !std::signbit(part) &&
               static_cast<float>(colourByte(part)) / 255.0f == part;
    });
}

}  // namespace trimora
