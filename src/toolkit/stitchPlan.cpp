// Which boundaries can take part in stitching, and how much work it would be.

#include "toolkit/detail/stitchPlan.h"

#include "toolkit/detail/holeLists.h"
#include "toolkit/meshStitching.h"
#include "toolkit/surfaceFault.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

/// As many as koGeom::meshStitch takes; sums of more than ints can count stay so.
std::int64_t countSamples(CompactMesh const& mesh, std::vector<int> const& loop, double distance) {
    double const most = std::numeric_limits<int>::max();
    double count = 0.0;
    Point previous = pointOf(mesh, loop.back());
    for (int const vertex : loop) {
        Point const p = pointOf(mesh, vertex);
        double const pieces =
            std::floor(koLinear::distance(previous, p) / (distance / samplesPerDistance) + 0.5);
        count += pieces > 1.0 ? std::min(pieces, most) : 1.0;
        previous = p;
    }
    return static_cast<std::int64_t>(count);
}

}  // namespace

std::int64_t countNearPairs(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                            std::vector<int> const& loops, double distance) {
    using Cell = std::array<double, 3>;
    double const side = 0.5 * distance;  // what lies in one cell is nearer than the distance
    std::vector<std::pair<Cell, int>> members;
    for (int const loop : loops) {
        for (int const vertex : holes[at(loop)].vertices) {
            Point const p = pointOf(mesh, vertex);
            members.push_back(
                {{std::floor(p.x / side), std::floor(p.y / side), std::floor(p.z / side)}, loop});
        }
    }
    std::sort(members.begin(), members.end());
    members.erase(std::unique(members.begin(), members.end()), members.end());
    std::vector<std::int64_t> numOthers(holes.size(), 0);  // by loop, in the fullest of its cells
    for (auto first = members.begin(); first != members.end();) {
        auto const last = std::find_if(
            first, members.end(), [first](auto const& each) { return each.first != first->first; });
        std::int64_t const others = last - first - 1;
        for (; first != last; ++first)
            numOthers[at(first->second)] = std::max(numOthers[at(first->second)], others);
    }
    return std::accumulate(numOthers.begin(), numOthers.end(), std::int64_t{0});
}

std::vector<StitchBoundary> planStitching(CompactMesh const& mesh,
                                          std::vector<MeshHole> const& holes,
                                          std::vector<int> const& chosen, double distance) {
    requireSoundMesh(mesh);
    requireHoles(mesh, holes, chosen);
    std::vector<StitchBoundary> boundaries;
    for (int const i : chosen) {
        MeshHole const& hole = holes[at(i)];
        StitchBoundary boundary;
        boundary.boundary = i;
        boundary.samples = countSamples(mesh, hole.vertices, distance);
        boundary.words = hole.fault;
        if (boundary.words.empty() && boundary.samples < fewestStitchSamples)
            boundary.words = "is too short: it has " + std::to_string(boundary.samples) +
                             " points a fifth of the distance apart, and " +
                             std::to_string(fewestStitchSamples) + " are needed";
        boundaries.push_back(std::move(boundary));
    }
    return boundaries;
}

}  // namespace trimora
