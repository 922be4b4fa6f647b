#pragma once

#include "support/builders.h"
#include "support/oracles.h"
#include "support/plainDistance.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCoord.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

/// What the tests of reductions have in common.
namespace reduction {

using Position = std::array<float, 3>;

inline Position positionOf(koGeom::CompactMesh const& mesh, int vertex) {
    koGeom::MeshVertex const& v = mesh.getVertices()[vertex];
    return {v.x, v.y, v.z};
}

inline std::multiset<Position> positionsOf(koGeom::CompactMesh const& mesh) {
    std::multiset<Position> positions;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        positions.insert(positionOf(mesh, v));
    return positions;
}

/// The border edges with their direction, by position.
inline std::multiset<std::array<Position, 2>> bordersOf(koGeom::CompactMesh const& mesh) {
    std::map<support::Edge, std::vector<int>> const table = support::edgeTable(mesh);
    std::multiset<std::array<Position, 2>> borders;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& triangle = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            int const a = triangle[k];
            int const b = triangle[(k + 1) % 3];
            if (table.at({std::min(a, b), std::max(a, b)}).size() == 1)
                borders.insert({positionOf(mesh, a), positionOf(mesh, b)});
        }
    }
    return borders;
}

/// Every edge has one or two triangles, and two run along it in opposite directions.
inline bool isOrientedManifold(koGeom::CompactMesh const& mesh) {
    std::set<std::array<int, 2>> directed;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& triangle = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            if (!directed.insert({triangle[k], triangle[(k + 1) % 3]}).second)
                return false;
        }
    }
    return true;
}

/// The largest distance of a vertex that triangles use from the other mesh, by looking at all pairs.
inline double farthestVertex(koGeom::CompactMesh const& from, koGeom::CompactMesh const& to) {
    std::vector<bool> used(static_cast<std::size_t>(from.getNumVertices()));
    for (int const v : support::trianglesOf(from))
        used[static_cast<std::size_t>(v)] = true;
    double farthest2 = 0.0;
    for (int v = 0; v < from.getNumVertices(); ++v) {
        koGeom::Point const p = from.getVertices()[v].asPoint();
        if (used[static_cast<std::size_t>(v)])
            farthest2 = std::max(farthest2, support::distance2ToMesh(p, to, farthest2));
    }
    return std::sqrt(farthest2);
}

/// A grid whose inner vertices are moved within the plane. (In a regular one most vertices stay: they lie on the lines
/// between their neighbours, and a swap would make a triangle without area.)
inline koGeom::CompactMesh jitteredGrid(int numX, int numY) {
    koGeom::CompactMesh mesh = support::grid(numX, numY);
    support::Random random(5);
    for (int j = 1; j < numY; ++j) {
        for (int i = 1; i < numX; ++i) {
            koGeom::MeshVertex& vertex = mesh.getVertices()[j * (numX + 1) + i];
            vertex.x += static_cast<float>(random.real(-0.2, 0.2));
            vertex.y += static_cast<float>(random.real(-0.2, 0.2));
        }
    }
    return mesh;
}

/// A closed and an open mesh of a few thousand vertices: beyond what the sorts and pools do on one thread alone.
inline std::vector<support::NamedMesh> largerMeshes() {
    koGeom::CompactMesh ball = support::sphere(5);
    support::Random random(3);
    for (int i = 0; i < 3 * ball.getNumVertices(); ++i)
        ball.getVerticesRaw()[i] += static_cast<float>(random.real(-0.004, 0.004));
    return {{"rough sphere", ball}, {"terrain", support::terrain(70, 60, 9)}};
}

}  // namespace reduction
