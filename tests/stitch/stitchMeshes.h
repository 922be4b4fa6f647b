#pragma once

#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/repair/meshManifold.h"
#include "trimora/stitch/meshStitch.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

/// Surfaces with borders that run beside each other, and what becomes of them.
namespace stitchTest {

inline constexpr double pi = 3.141592653589793;

inline std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Triangles of a tube whose vertices come ring by ring.
inline std::vector<int> tubeTriangles(int sides, int rows) {
    std::vector<int> triangles;
    for (int row = 0; row < rows; ++row)
        for (int i = 0; i < sides; ++i) {
            int const a = row * sides + i;
            int const b = row * sides + (i + 1) % sides;
            triangles.insert(triangles.end(), {a, b, b + sides, a, b + sides, a + sides});
        }
    return triangles;
}

/// An open tube round the z axis, wound outward, with the given number of vertices round it.
inline koGeom::CompactMesh tube(int sides, double radius, double low, double high, int rows = 1) {
    std::vector<float> coordinates;
    for (int row = 0; row <= rows; ++row)
        for (int i = 0; i < sides; ++i) {
            double const angle = 2.0 * pi * (i + 0.3) / sides;
            for (double const c : {radius * std::cos(angle), radius * std::sin(angle),
                                   low + (high - low) * row / rows})
                coordinates.push_back(static_cast<float>(c));
        }
    return support::meshOf(coordinates, tubeTriangles(sides, rows));
}

/// A tube that a fan closes at the end away from `rim`; wound outward.
inline koGeom::CompactMesh cup(int sides, double radius, double rim, double floor) {
    koGeom::CompactMesh const wall =
        rim > floor ? tube(sides, radius, floor, rim) : tube(sides, radius, rim, floor);
    std::vector<float> coordinates = support::coordinatesOf(wall);
    std::vector<int> triangles = support::trianglesOf(wall);
    coordinates.insert(coordinates.end(), {0.0f, 0.0f, static_cast<float>(floor)});
    for (int i = 0; i < sides; ++i) {
        int const a = i;
        int const b = (i + 1) % sides;
        if (rim > floor)
            triangles.insert(triangles.end(), {b, a, 2 * sides});
        else
            triangles.insert(triangles.end(), {a + sides, b + sides, 2 * sides});
    }
    return support::meshOf(coordinates, triangles);
}

inline double volumeOf(koGeom::CompactMesh const& mesh) {
    double six = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        koLinear::Vector const a = mesh.getVertices()[corners[0]].asPoint().asVector();
        koLinear::Vector const b = mesh.getVertices()[corners[1]].asPoint().asVector();
        koLinear::Vector const c = mesh.getVertices()[corners[2]].asPoint().asVector();
        six += dot(a, cross(b, c));
    }
    return six / 6.0;
}

/// Edges of one triangle, of more than two, and of two that run the same way, straight from the triangles.
struct EdgeCounts {
    int open = 0;
    int crowded = 0;
    int alike = 0;
};

inline EdgeCounts countEdges(koGeom::CompactMesh const& mesh) {
    std::map<std::pair<int, int>, std::pair<int, int>> uses;  // each way
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k) {
            int const a = mesh.getTriangles()[t][k];
            int const b = mesh.getTriangles()[t][(k + 1) % 3];
            ++(a < b ? uses[{a, b}].first : uses[{b, a}].second);
        }
    EdgeCounts counts;
    for (auto const& [edge, ways] : uses) {
        counts.open += ways.first + ways.second == 1;
        counts.crowded += ways.first + ways.second > 2;
        counts.alike += ways.first == 2 || ways.second == 2;
    }
    return counts;
}

/// Empty when the mesh is manifold, oriented and has the given number of open edges.
inline std::string faultOfSurface(koGeom::CompactMesh const& mesh, int numOpen) {
    if (std::string const fault = support::faultOf(mesh); !fault.empty())
        return fault;
    EdgeCounts const counts = countEdges(mesh);
    if (counts.open != numOpen)
        return std::to_string(counts.open) + " open edges";
    if (counts.crowded + counts.alike > 0)
        return std::to_string(counts.crowded) + " crowded, " + std::to_string(counts.alike) +
               " alike";
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::MeshManifoldResult manifold;
    koGeom::meshManifold(mesh, adjTris, manifold);
    return manifold.count == 0 ? "" : "vertices that are not manifold";
}

inline std::vector<int> allOf(koGeom::MeshBoundaries const& boundaries) {
    std::vector<int> all(at(boundaries.size()));
    std::iota(all.begin(), all.end(), 0);
    return all;
}

/// Stitches with tables of the mesh as it is; all boundaries unless some are named.
inline bool stitch(koGeom::CompactMesh& mesh, double distance, double tolerance,
                   koGeom::MeshStitchReport* report = nullptr,
                   std::vector<int> const* chosen = nullptr) {
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh);
    auto const boundaries = cache.getBoundaries(mesh);
    koGeom::MeshStitchReport ignored;
    return koGeom::meshStitch(mesh, adjTris, boundaries,
                              chosen != nullptr ? *chosen : allOf(*boundaries), distance, tolerance,
                              report != nullptr ? *report : ignored);
}

inline int numSewn(koGeom::MeshStitchReport const& report) {
    return static_cast<int>(
        std::count_if(report.seams.begin(), report.seams.end(), [](auto const& seam) {
            return seam.outcome == koGeom::MeshStitchReport::Outcome::Sewn;
        }));
}

/// The grid's squares shrunk to unit size and moved.
inline koGeom::CompactMesh sheet(int numX, int numY, double width, double height, double x,
                                 double y) {
    koGeom::CompactMesh mesh = support::grid(numX, numY);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshVertex& p = mesh.getVertices()[v];
        p.x = static_cast<float>(x + width * double(p.x) / numX);
        p.y = static_cast<float>(y + height * double(p.y) / numY);
    }
    return mesh;
}

}  // namespace stitchTest
