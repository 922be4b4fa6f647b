#include "harness.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/measure/MeshCollar.h"
#include "trimora/measure/MeshOffset.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>

namespace bench {

namespace {

using namespace koGeom;

/// The mesh brought to a diagonal of 1, as the near test of an offset wants it.
CompactMesh atUnitSize(CompactMesh const& source) {
    CompactMesh mesh(source);
    BoundingBox box;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        MeshVertex const& p = mesh.getVertices()[v];
        box.extend(PointFlt(p.x, p.y, p.z));
    }
    Vector const diagonal(box.max(0) - box.min(0), box.max(1) - box.min(1),
                          box.max(2) - box.min(2));
    auto const scale = static_cast<float>(1.0 / diagonal.length());
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= scale;
    return mesh;
}

void offsetCase(std::string const& name, CompactMesh const& mesh, double distance) {
    SimpleMeshCache cache;
    ko::Reference<Octree> const octree = cache.getOctree(mesh, 8);
    ko::Reference<MeshBoundaries> const boundaries = cache.getBoundaries(mesh);
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    std::unique_ptr<CompactMesh> result;
    Array<int> sourceMap;
    Array<int> offsetMap;
    run({name, smallMesh().name, mesh.getNumTriangles(), 0.0, [] {},
         [&] {
             MeshOffset offset(mesh, *octree, *boundaries, *adjTris, distance);
             result.reset(offset.calculate(sourceMap, offsetMap));
         },
         [&] {
             return figure("removed",
                           static_cast<double>(std::count(offsetMap.begin(), offsetMap.end(), -1)));
         }});
}

/// A strip of that many squares, wavy, cut along its long sides: nearly all of its vertices lie on one border.
CompactMesh strip(int numSquares) {
    CompactMesh mesh(2 * (numSquares + 1), nullptr, nullptr, nullptr, nullptr);
    std::vector<int> triangles;
    for (int i = 0; i <= numSquares; ++i)
        for (int const side : {0, 1}) {
            MeshVertex& p = mesh.getVertices()[2 * i + side];
            p.x = 0.01f * static_cast<float>(i);
            p.y = 0.02f * static_cast<float>(side);
            p.z = 0.2f * std::sin(0.7f * p.x);
        }
    for (int i = 0; i < 2 * numSquares; i += 2)
        triangles.insert(triangles.end(), {i, i + 2, i + 3, i, i + 3, i + 1});
    mesh.copyTriangles(2 * numSquares, triangles.data());
    return mesh;
}

/// From the first vertex along one side and most of the other.
void collarCase(CompactMesh const& mesh, bool computeCurvature) {
    SimpleMeshCache cache;
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    ko::Reference<MeshBoundaries> const boundaries = cache.getBoundaries(mesh);
    MeshCoord const start(0, 1.0, 0.0, 0.0);
    MeshCoord const end(1, 0.0, 0.0, 1.0);
    MeshCollar::Params params;
    params.computeCurvature = computeCurvature;
    ko::vector<MeshCollar::Point> samples;
    std::streambuf* const usual = std::cout.rdbuf();
    run({computeCurvature ? "collar with curvature" : "collar", "strip", mesh.getNumTriangles(),
         static_cast<double>(mesh.getNumVertices()), [&] { std::cout.rdbuf(nullptr); },
         [&] {
             MeshCollar collar(mesh, *adjTris, *boundaries);
             collar.getPoints(start, end, params, 0, true, samples);
             std::cout.rdbuf(usual);
         },
         [&] { return figure("samples", static_cast<double>(samples.size())); }},
        {1});
}

}  // namespace

void collarCases() {
    CompactMesh const mesh = strip(100000);
    collarCase(mesh, false);
    collarCase(mesh, true);
}

void offsetCases() {
    CompactMesh const mesh = atUnitSize(smallMesh().mesh);
    offsetCase("offset 0.005", mesh, 0.005);
    offsetCase("offset 0.02", mesh, 0.02);
    offsetCase("offset 0.05", mesh, 0.05);
    offsetCase("offset -0.02", mesh, -0.02);
}

}  // namespace bench
