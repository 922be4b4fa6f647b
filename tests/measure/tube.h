#pragma once

#include "support/builders.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace support {

/// A tube round the z axis without ends, radius 1, rings 0.2 apart; vertex i of ring j has number j * numAround + i.
inline koGeom::CompactMesh tube(int numAround, int numUp) {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int j = 0; j <= numUp; ++j)
        for (int i = 0; i < numAround; ++i) {
            double const angle = 2.0 * std::numbers::pi * i / numAround;
            coordinates.insert(coordinates.end(),
                               {static_cast<float>(std::cos(angle)),
                                static_cast<float>(std::sin(angle)), 0.2f * static_cast<float>(j)});
        }
    for (int j = 0; j < numUp; ++j)
        for (int i = 0; i < numAround; ++i) {
            int const next = (i + 1) % numAround;
            int const a = j * numAround + i, b = j * numAround + next;
            int const c = b + numAround, d = a + numAround;
            triangles.insert(triangles.end(), {a, b, c, a, c, d});
        }
    return meshOf(coordinates, triangles);
}

}  // namespace support
