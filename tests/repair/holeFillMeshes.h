#pragma once

#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/meshHoleFill.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numeric>
#include <vector>

/// Meshes with holes, and how to fill them in one line.
namespace holes {

using namespace koGeom;
using support::meshOf;
using support::trianglesOf;

inline constexpr HoleQuality qualities[] = {HoleQualityFlat, HoleQualityRefined, HoleQualityFair};

struct Tables {
    MeshAdjTris adjTris;
    MeshAdjVertices adjVertices;
    MeshBoundaries boundaries;

    explicit Tables(CompactMesh const& mesh) {
        meshAdjTris(mesh, adjTris);
        meshAdjVertices(mesh, adjTris, adjVertices);
        meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
    }
    std::vector<int> all() const {
        std::vector<int> holes(static_cast<std::size_t>(boundaries.size()));
        std::iota(holes.begin(), holes.end(), 0);
        return holes;
    }
};

inline int fill(CompactMesh& mesh, std::vector<int> const& holes, HoleQuality quality) {
    Tables const tables(mesh);
    koUtil::Progress progress;
    return meshHoleFill(mesh, tables.adjTris, tables.adjVertices, tables.boundaries,
                        ko::list<int>(holes.begin(), holes.end()), quality, progress);
}

inline int fillAll(CompactMesh& mesh, HoleQuality quality) {
    return fill(mesh, Tables(mesh).all(), quality);
}

using Predicate = std::function<bool(Point const&)>;

/// The mesh without the triangles whose centroid is marked, and without the vertices that those alone used.
inline CompactMesh without(CompactMesh mesh, Predicate const& isMarked) {
    BitVector& doomed = mesh.getSelectedTriangles();
    doomed.resize(mesh.getNumTriangles());
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Vector sum(0.0, 0.0, 0.0);
        for (int const v : mesh.getTriangles()[t].vertices)
            sum += mesh.getVertices()[v].asPoint().asVector();
        if (isMarked((sum / 3.0).asPoint()))
            doomed.setBit(t);
    }
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshSelect(mesh, adjTris).selectVerticesFromTriangles();
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
    return mesh;
}

/// All that a caller can see of a mesh; all NaN are one.
inline std::vector<std::uint32_t> bytesOf(CompactMesh const& mesh) {
    std::vector<std::uint32_t> bytes = {static_cast<std::uint32_t>(mesh.getNumVertices()),
                                        static_cast<std::uint32_t>(mesh.getNumTriangles())};
    for (float const coordinate : support::coordinatesOf(mesh))
        bytes.push_back(std::isnan(coordinate) ? 0x7FC00000u
                                               : std::bit_cast<std::uint32_t>(coordinate));
    for (int const vertex : trianglesOf(mesh))
        bytes.push_back(static_cast<std::uint32_t>(vertex));
    for (BitVector const* bits : {&mesh.getSelectedVertices(), &mesh.getSelectedTriangles()}) {
        bytes.push_back(static_cast<std::uint32_t>(bits->size));
        bytes.insert(bytes.end(), bits->words, bits->words + bits->numWords());
    }
    return bytes;
}

/// The boundary that passes through the place.
inline int holeAt(CompactMesh const& mesh, Point const& place) {
    Tables const tables(mesh);
    for (int hole = 0; hole < tables.boundaries.size(); ++hole)
        for (int const* v = tables.boundaries.getStart(hole); v != tables.boundaries.getEnd(hole);
             ++v)
            if (distance(mesh.getVertices()[*v].asPoint(), place) < 1e-6)
                return hole;
    return -1;
}

/// A frame of 4 by 4 with a hole of 2 by 2 in its middle, and what hangs into the hole or bridges it.
///
///     (0,4)---(1,4)---(3,4)---(4,4)
///       |   /   |   /   |   /   |
///     (0,3)---(1,3)---(3,3)---(4,3)
///       |   /   |       |   /   |
///     (0,1)---(1,1)---(3,1)---(4,1)
///       |   /   |   /   |   /   |
///     (0,0)---(1,0)---(3,0)---(4,0)
struct Frame {
    std::vector<float> coordinates;
    std::vector<int> triangles;

    Frame() {
        float const steps[] = {0.0f, 1.0f, 3.0f, 4.0f};
        for (float const y : steps)
            for (float const x : steps)
                coordinates.insert(coordinates.end(), {x, y, 0.0f});
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 3; ++i) {
                int const a = 4 * j + i;
                if (i != 1 || j != 1)
                    triangles.insert(triangles.end(), {a, a + 1, a + 5, a, a + 5, a + 4});
            }
    }
    /// A triangle on the edge that the hole's rim runs from a to b, with its tip at (x, y).
    void addFin(int a, int b, float x, float y) {
        triangles.insert(triangles.end(), {b, a, static_cast<int>(coordinates.size() / 3)});
        coordinates.insert(coordinates.end(), {x, y, 0.0f});
    }
    /// Two triangles behind the hole that have an edge from a to b in common.
    void addBridge(int a, int b) {
        int const apex = static_cast<int>(coordinates.size() / 3);
        triangles.insert(triangles.end(), {a, b, apex, b, a, apex + 1});
        coordinates.insert(coordinates.end(), {2, 2, -1, 2, 2, -2});
    }
    CompactMesh mesh() const { return meshOf(coordinates, triangles); }
};

// The corners of the hole, counter-clockwise. Its rim runs clockwise.
inline constexpr int lowerLeft = 5;
inline constexpr int lowerRight = 6;
inline constexpr int upperLeft = 9;
inline constexpr int upperRight = 10;

inline int holeOfFrame(CompactMesh const& mesh) {
    return holeAt(mesh, Point(1, 1, 0));
}

}  // namespace holes
