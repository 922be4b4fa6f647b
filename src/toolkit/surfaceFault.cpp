#include "toolkit/surfaceFault.h"

#include "toolkit/meshCounts.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/meshManifold.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koLinear::Point;

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

bool isFinite(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

SurfaceFault faultAt(std::string const& what, Point const& place, std::string const& rest = {}) {
    return {what + " at " + positionInWords(place) + rest, {{place.x, place.y, place.z}}};
}

/// The place is that of another corner of the triangle, where it has a finite one.
SurfaceFault nonfiniteFault(CompactMesh const& mesh, koGeom::MeshTriangle const& corners) {
    for (int const v : corners.vertices) {
        Point const p = pointOf(mesh, v);
        if (isFinite(p))
            return {"a triangle at " + positionInWords(p) + " has a corner that is NaN or infinite",
                    {{p.x, p.y, p.z}},
                    true};
    }
    return {"a triangle has corners that are all NaN or infinite", {}, true};
}

bool hasFiniteCorners(CompactMesh const& mesh, koGeom::MeshTriangle const& corners) {
    return std::all_of(corners.vertices, corners.vertices + 3,
                       [&mesh](int v) { return isFinite(pointOf(mesh, v)); });
}

SurfaceFault faultOfTriangles(CompactMesh const& mesh) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        if (!hasFiniteCorners(mesh, corners))
            return nonfiniteFault(mesh, corners);
        if (corners[0] == corners[1] || corners[1] == corners[2] || corners[2] == corners[0])
            return faultAt("a triangle names a vertex twice", pointOf(mesh, corners[0]));
    }
    return {};
}

/// A part of a mesh as one of its own. It reaches two rings beyond the triangles that were asked for, so that all vertices
/// of those and of the first ring have their whole fans; only these are judged.
struct Part {
    CompactMesh mesh;
    std::vector<char> isJudged;  // one a vertex
};

SurfaceFault faultOfManifold(Part const& part, MeshAdjTris const& adjTris) {
    koGeom::MeshManifoldResult found;
    koGeom::meshManifold(part.mesh, adjTris, found);
    if (!found.badEdgeAdj.empty())
        return faultAt("more than two triangles meet on the edge",
                       pointOf(part.mesh, found.badEdgeAdj.front().first),
                       " (" + countInWords(std::int64_t(found.badEdgeAdj.size()), "such edge") +
                           ")");
    std::vector<int> bad;
    for (int v = 0; found.count > 0 && v < part.mesh.getNumVertices(); ++v) {
        if (found.isBitSet(v) != 0 && part.isJudged[static_cast<std::size_t>(v)] != 0)
            bad.push_back(v);
    }
    if (bad.empty())
        return {};
    return faultAt("parts of the surface touch in a point only", pointOf(part.mesh, bad.front()),
                   " (" + countInWords(std::int64_t(bad.size()), "such vertex", "such vertices") +
                       ")");
}

// Of a manifold; the lowest edge that two triangles run the same way tells the place.
SurfaceFault faultOfOrientation(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
    if (koGeom::meshOriented(mesh, adjTris))
        return {};
    std::vector<std::pair<int, int>> edges;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k)
            edges.emplace_back(corners[k], corners[(k + 1) % 3]);
    }
    std::sort(edges.begin(), edges.end());
    auto const twice = std::adjacent_find(edges.begin(), edges.end());
    std::string const what = "neighbouring triangles are wound against one another";
    return twice == edges.end() ? SurfaceFault{what, {}}
                                : faultAt(what, pointOf(mesh, twice->first));
}

std::vector<int> listOf(BitVector const& bits) {
    std::vector<int> list;
    for (int i = 0; i < bits.size; ++i) {
        if (bits.isBitSet(i) != 0)
            list.push_back(i);
    }
    return list;
}

void extractPart(CompactMesh const& mesh, MeshAdjTris const& adjTris, BitVector const& triangles,
                 Part& part) {
    BitVector selected = triangles;
    BitVector vertices(mesh.getNumVertices());
    koGeom::MeshSelect select(mesh, adjTris, selected, vertices);
    select.selectTrianglesRecursive(true);
    select.selectVerticesFromTriangles();
    BitVector const judged = vertices;
    select.selectTrianglesRecursive(true);
    select.selectVerticesFromTriangles();
    std::vector<int> const vertexList = listOf(vertices);
    std::vector<int> const triangleList = listOf(selected);
    koGeom::meshExtract(part.mesh, mesh,
                        koGeom::MeshSubset(static_cast<int>(vertexList.size()), vertexList.data(),
                                           static_cast<int>(triangleList.size()),
                                           triangleList.data()));
    for (int const v : vertexList)
        part.isJudged.push_back(static_cast<char>(judged.isBitSet(v)));
}

}  // namespace

SurfaceFault faultOfCoordinates(CompactMesh const& mesh) {
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (!hasFiniteCorners(mesh, mesh.getTriangles()[t]))
            return nonfiniteFault(mesh, mesh.getTriangles()[t]);
    return {};
}

SurfaceFault faultOfSurface(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                            BitVector const& triangles) {
    Part part;
    extractPart(mesh, adjTris, triangles, part);
    if (SurfaceFault fault = faultOfTriangles(part.mesh))
        return fault;
    MeshAdjTris partAdjTris;
    koGeom::meshAdjTris(part.mesh, partAdjTris);
    if (SurfaceFault fault = faultOfManifold(part, partAdjTris))
        return fault;
    return faultOfOrientation(part.mesh, partAdjTris);
}

}  // namespace trimora
