#pragma once

#include "support/builders.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

/// Meshes of closed line strips.
namespace lineMeshes {

using Loop = std::vector<koGeom::Point>;

/// One strip a loop, its points in order, and its segments, the closing one last.
inline koGeom::CompactMesh meshOfLoops(std::vector<Loop> const& loops) {
    int numPoints = 0;
    for (Loop const& loop : loops)
        numPoints += static_cast<int>(loop.size());
    koGeom::CompactMesh mesh(numPoints, nullptr, nullptr, nullptr, nullptr);
    mesh.resizeLineStripArrays(numPoints, static_cast<int>(loops.size()));
    mesh.resizeLineArray(numPoints);
    int first = 0;
    for (std::size_t strip = 0; strip < loops.size(); ++strip) {
        int const length = static_cast<int>(loops[strip].size());
        mesh.getLineStripLengths()[strip] = length;
        for (int i = 0; i < length; ++i) {
            koGeom::Point const& p = loops[strip][static_cast<std::size_t>(i)];
            mesh.getVertices()[first + i].set(&p.x);
            mesh.getLineStripPoints()[first + i] = first + i;
            mesh.getLines()[first + i] = {{first + i, first + (i + 1) % length}};
        }
        first += length;
    }
    return mesh;
}

/// `count` points round the z axis, counter-clockwise from the angle on.
inline Loop circle(int count, double radius, double height = 0.0, double angle = 0.0) {
    Loop loop;
    for (int i = 0; i < count; ++i) {
        double const a = angle + 2.0 * std::numbers::pi * i / count;
        loop.emplace_back(radius * std::cos(a), radius * std::sin(a), height);
    }
    return loop;
}

/// The outline of a rectangle in z = 0, counter-clockwise from its lower left corner, a point at every
/// `step`; the sides are multiples of it.
inline Loop rectangle(double left, double bottom, double right, double top, double step = 1.0) {
    Loop loop;
    auto const side = [&](double x0, double y0, double x1, double y1) {
        int const n = static_cast<int>(std::lround(std::hypot(x1 - x0, y1 - y0) / step));
        for (int i = 0; i < n; ++i)
            loop.emplace_back(x0 + (x1 - x0) * i / n, y0 + (y1 - y0) * i / n, 0.0);
    };
    side(left, bottom, right, bottom);
    side(right, bottom, right, top);
    side(right, top, left, top);
    side(left, top, left, bottom);
    return loop;
}

inline Loop reversed(Loop loop) {
    std::reverse(loop.begin(), loop.end());
    return loop;
}

/// The loop from another of its points on.
inline Loop rotated(Loop loop, int first) {
    std::rotate(loop.begin(), loop.begin() + first, loop.end());
    return loop;
}

/// Segments between random vertices, on the lattice of whole numbers 0 to 9 or anywhere in that box;
/// mostly short ones, some without length, some doubled.
inline koGeom::CompactMesh randomLines(int numVertices, int numLines, bool onLattice,
                                       std::uint64_t seed) {
    support::Random random(seed);
    koGeom::CompactMesh mesh(numVertices, nullptr, nullptr, nullptr, nullptr);
    for (int i = 0; i < 3 * numVertices; ++i)
        mesh.getVerticesRaw()[i] = onLattice ? static_cast<float>(random.index(10))
                                             : static_cast<float>(random.real(0.0, 9.0));
    mesh.resizeLineArray(numVertices > 0 ? numLines : 0);
    for (int i = 0; i < mesh.getNumLines(); ++i) {
        int const start = random.index(numVertices);
        int const near = std::min(start + random.index(4), numVertices - 1);
        mesh.getLines()[i] = {{start, random.index(10) == 0 ? random.index(numVertices) : near}};
    }
    return mesh;
}

}  // namespace lineMeshes
