#pragma once

#include "support/builders.h"

namespace support {

/// A grid of 5 x 4 squares whose upper half has vertices of its own, 30 and 31, where the middle line has 14 and 15, higher by
/// `gap`: a slit of 6 edges between 13 and 16.
///
///       ......................
///       .      30    31      .
///      12 13              16 17
///       .      14    15      .
inline koGeom::CompactMesh slitGrid(float gap) {
    koGeom::CompactMesh const whole = grid(5, 4);
    std::vector<float> coordinates = coordinatesOf(whole);
    std::vector<int> corners = trianglesOf(whole);
    coordinates.insert(coordinates.end(), {2.0f, 2.0f + gap, 0.0f, 3.0f, 2.0f + gap, 0.0f});
    for (std::size_t i = corners.size() / 2; i < corners.size(); ++i)
        corners[i] += corners[i] == 14 || corners[i] == 15 ? 16 : 0;
    return meshOf(coordinates, corners);
}

}  // namespace support
