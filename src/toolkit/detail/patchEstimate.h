#pragma once

#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// What a patch over a loop will come to, roughly.
struct PatchEstimate {
    double area = 0.0;
    double flatTriangles = 0.0;
    double refinedTriangles = 0.0;
};

/// Cuts a loop of space into triangles by taking off the shortest ear again and again, and measures them: near enough to
/// the best triangulation to foretell its size, at a fraction of the price.
///
/// loop         points in order, the last one joined to the first
/// edgeLengths  one a point, of the surface around it: what a refined patch will be as dense as
/// cost         O(n log n)
TRIMORA_API PatchEstimate estimatePatch(std::vector<koLinear::Point> const& loop,
                                        std::vector<double> const& edgeLengths);

}  // namespace trimora
