// Tables of a mesh, searches in it and measures of it: what becomes of them when memory runs out.

#include "coreCalls.h"

#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/meshConvertLine.h"
#include "trimora/assembly/meshCoordInterpolate.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/assembly/meshExtractLine.h"
#include "trimora/assembly/meshSplit.h"
#include "trimora/assembly/meshTrianglesAsLines.h"
#include "trimora/assembly/meshVertSubsetMembership.h"
#include "trimora/assembly/polygonalPartition.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshArea.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/connectivity/meshOrthoProj.h"
#include "trimora/connectivity/meshSingleSourceShortestPath.h"
#include "trimora/connectivity/meshTriBoundingBox.h"
#include "trimora/connectivity/sortAdjTris.h"
#include "trimora/connectivity/testDeterminants.h"
#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/contract/koGeom/KDTree.h"
#include "trimora/contract/koGeom/Quadtree.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/measure/MeshCollar.h"
#include "trimora/measure/MeshDeviation.h"
#include "trimora/measure/MeshMassCalculator.h"
#include "trimora/measure/MeshOffset.h"
#include "trimora/measure/MeshSilhouette.h"
#include "trimora/measure/meshCurvature.h"
#include "trimora/repair/MeshCharacteristics.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshFindAnglesLessThan.h"
#include "trimora/repair/meshManifold.h"
#include "trimora/spatial/Clip.h"
#include "trimora/spatial/MeshCircleIntersect.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/MeshClosestPtOnLine.h"
#include "trimora/spatial/MeshPtInside.h"
#include "trimora/spatial/OctreeClosestIt.h"
#include "trimora/spatial/QuadRay.h"
#include "trimora/spatial/QuadRayTracer.h"
#include "trimora/spatial/QuadtreeIntersectIt.h"
#include "trimora/spatial/RayTracer.h"
#include "trimora/spatial/meshRayIntersect.h"
#include "trimora/spatial/meshRayIntersectScreen.h"
#include "trimora/spatial/octreeIterators.h"
#include "trimora/stitch/MeshLineProximity.h"
#include "trimora/stitch/MeshLineProximity2.h"
#include "trimora/stitch/MeshLineTopology.h"
#include "trimora/topology/MeshConvertRep.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <numeric>

using namespace coreCalls;

using koGeom::MeshCoord;
using koGeom::SimpleMeshCache;
using koUtil::Progress;

namespace {

koGeom::BoundingBox boxOf(CompactMesh const& mesh) {
    koGeom::BoundingBox box;
    koGeom::meshBoundingBox(mesh, box);
    return box;
}

/// A cube that looks down on the middle of whatever lies around the origin.
koGeom::Frustum frustum() {
    koLinear::Point corners[8];
    for (int i = 0; i < 8; ++i)
        corners[i] = {(i & 1) != 0 ? 0.4 : -0.4, (i & 2) != 0 ? 0.4 : -0.4,
                      (i & 4) != 0 ? 2.0 : -2.0};
    return koGeom::Frustum(corners);
}

koLinear::Line lookingUp() {
    return {koLinear::Point(0.0, 0.0, -5.0), koLinear::Vector(0.0, 0.0, 1.0)};
}

/// The first two edges of the first triangle, as a path.
koGeom::MeshSequence pathOn(CompactMesh const& mesh) {
    int const* const corners = mesh.getTrianglesRaw();
    return koGeom::MeshSequence(ko::vector<ko::vector<int>>{{corners[0], corners[1], corners[2]}});
}

/// The first triangles of a mesh, and the others.
ko::list<ko::Reference<koGeom::MeshSubset>> halvesOf(CompactMesh const& mesh) {
    std::vector<int> vertices(static_cast<std::size_t>(mesh.getNumVertices()));
    std::vector<int> triangles(static_cast<std::size_t>(mesh.getNumTriangles()));
    std::iota(vertices.begin(), vertices.end(), 0);
    std::iota(triangles.begin(), triangles.end(), 0);
    int const half = mesh.getNumTriangles() / 2;
    ko::list<ko::Reference<koGeom::MeshSubset>> halves;
    halves.push_back(
        new koGeom::MeshSubset(mesh.getNumVertices(), vertices.data(), half, triangles.data()));
    halves.push_back(new koGeom::MeshSubset(mesh.getNumVertices(), vertices.data(),
                                            mesh.getNumTriangles() - half,
                                            triangles.data() + half));
    return halves;
}

/// Two rows of lines beside each other.
CompactMesh twoLines() {
    CompactMesh mesh = support::grid(4, 1);
    mesh.resizeTriangleArray(0);
    mesh.resizeLineStripArrays(12, 2);
    int const points[] = {0, 1, 2, 3, 4, 0, 5, 6, 7, 8, 9, 5};
    std::copy(std::begin(points), std::end(points), mesh.getLineStripPoints());
    mesh.getLineStripLengths()[0] = mesh.getLineStripLengths()[1] = 6;
    mesh.resizeLineArray(8);
    for (int i = 0; i < 4; ++i) {
        mesh.getLines()[i][0] = i;
        mesh.getLines()[i][1] = i + 1;
        mesh.getLines()[4 + i][0] = 5 + i;
        mesh.getLines()[4 + i][1] = 6 + i;
    }
    return mesh;
}

ko::list<koGeom::MeshPlacement> twice(CompactMesh const& mesh) {
    ko::list<koGeom::MeshPlacement> placed;
    placed.push_back({koGeom::AffineMatrixFlt::Identity, &mesh});
    placed.push_back({koGeom::AffineMatrixFlt::Identity, &mesh});
    return placed;
}

std::vector<MeshCall> const tables = {
    {"adjTris", ball, [](CompactMesh& m) { SimpleMeshCache().getAdjTris(m); }},
    {"adjVertices", ball, [](CompactMesh& m) { SimpleMeshCache().getAdjVertices(m); }},
    {"boundaries", holedBall, [](CompactMesh& m) { SimpleMeshCache().getBoundaries(m); }},
    {"octree", ball, [](CompactMesh& m) { SimpleMeshCache().getOctree(m, 3); }},
    {"octreeTris", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         cache.getOctree(m, 3);
         cache.getOctreeTris(m);
     }},
    {"triAdjTris", ball,
     [](CompactMesh& m) {
         koGeom::MeshTriAdjTris table;
         koGeom::meshTriAdjTris(m, table);
     }},
    {"components", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::Array<int> components;
         koGeom::meshComponents(m, *cache.getAdjTris(m), &components);
     }},
    {"kdTree", ball,
     [](CompactMesh& m) {
         koGeom::KDTree tree(m.getNumVertices());
         for (int v = 0; v < m.getNumVertices(); ++v)
             tree.insert(m.getVerticesRaw(), v);
     }},
    {"selfIntersect", [] { return support::joined(ball(), ball(), 0.7f); },
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshIntersect intersect(m, *cache.getOctree(m, 5), *cache.getOctreeTris(m));
         std::deque<koGeom::MeshIntersectPair> pairs;
         Progress progress;
         intersect.selfIntersect(progress, pairs);
     }},
    {"closestPoint", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshClosestPoint closest(m, *cache.getOctree(m, 5), *cache.getOctreeTris(m));
         closest.compute({0.1, 0.2, 0.3}, nullptr);
     }},
    {"partition", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshPartition partition(m, *cache.getAdjTris(m), 8);
         while (partition.nextSubMesh()) {
         }
     }},
    {"silhouette", ball,
     [](CompactMesh& m) {
         m.allocNormalArray();
         std::copy_n(m.getVerticesRaw(), 3 * m.getNumVertices(), m.getNormalsRaw());
         koGeom::MeshSilhouette(m, 1e-6f).computeOrtho({1.0f, 0.2f, 0.3f});
     }},
    {"offset", holedBall,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         std::unique_ptr<CompactMesh> const wall(koGeom::MeshOffset(m, *cache.getOctree(m, 5),
                                                                    *cache.getBoundaries(m),
                                                                    *cache.getAdjTris(m), 0.1)
                                                     .calculate(true));
     }},
    {"duplicates", ball,
     [](CompactMesh& m) {
         koGeom::MeshDuplicateTrisResult found;
         koGeom::meshDuplicateTris(m, found);
     }},
    {"measures", ball,
     [](CompactMesh& m) {
         ko::vector<float> areas;
         koGeom::meshArea(twice(m), koGeom::MeshChannel(), areas);
         ko::vector<bool> areMirrored;
         koGeom::testDeterminants(twice(m), areMirrored);
         ko::list<ko::Reference<CompactMesh>> solids;
         solids.push_back(new CompactMesh(m));
         koGeom::MeshMassCalculator mass(solids);
         mass.calculateVolume();
         koGeom::MeshMassCalculator const copy(mass);
     }},
    {"meshOrthoProj", ball,
     [](CompactMesh& m) { delete[] koGeom::meshOrthoProj(m, koGeom::AffineMatrixFlt::Identity); }},
    {"shortest paths", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::Array<double> lengths;
         koGeom::Array<int> previous;
         koGeom::meshSingleSourceShortestPath(m, *cache.getAdjVertices(m), 0, lengths, previous);
     }},
    {"boxes and fans", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         std::vector<koGeom::BoundingBox> boxes(static_cast<std::size_t>(m.getNumVertices()));
         koGeom::meshComputeNeighbourBBoxes(m, *adjTris, boxes.data());
         ko::vector<int> fan;
         koGeom::sortAdjTris(0, adjTris->numTris(0), adjTris->triIndices(0), m.getTriangles(), fan);
     }},
    {"boundaries of a part", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const halves = halvesOf(m);
         koGeom::ArrayOfSets membership;
         koGeom::meshVertSubsetMembership(m, halves, membership);
         koGeom::Remap parts;
         koGeom::meshTriSubsetMembership(m, halves, parts);
         koGeom::MeshBoundaries found;
         koGeom::meshComputeSubsetBoundary(m, *halves.front(), 0, *cache.getAdjTris(m),
                                           *cache.getAdjVertices(m), membership, parts, found);
     }},
    {"polygonalPartition", field,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshTriAdjTris table;
         koGeom::meshTriAdjTris(m, table);
         koGeom::Remap polygons(m.getNumTriangles(), m.getNumTriangles() / 2);
         for (int t = 0; t < m.getNumTriangles(); ++t)
             polygons.set(t, t / 2);
         koGeom::MeshPartition partition(m, *cache.getAdjTris(m), 6);
         koGeom::polygonalPartition(m, polygons, table, partition.partition());
     }},
    {"meshSplit", ball,
     [](CompactMesh& m) {
         ko::vector<CompactMesh*> parts;
         struct Owner {
             ko::vector<CompactMesh*>& parts;
             ~Owner() {
                 for (CompactMesh* part : parts)
                     delete part;
             }
         } const owner{parts};
         koGeom::meshSplit(m, 8, parts);
     }},
    {"parts and lines of a mesh", ball,
     [](CompactMesh& m) {
         CompactMesh part;
         koGeom::meshExtract(part, m, *halvesOf(m).front());
         int numLines = 0;
         int* lines = nullptr;
         koGeom::meshTrianglesAsLines(m, numLines, lines);
         delete[] lines;
     }},
    {"extracted parts", ball,
     [](CompactMesh& m) {
         ko::vector<CompactMesh> parts;
         koGeom::meshExtract(parts, m, halvesOf(m));
     }},
    {"curves as lines", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         koGeom::MeshSequence const path = pathOn(m);
         auto const curve = koGeom::meshConvertLine(m, *adjTris, path, 0);
         koGeom::meshExtractLine(m, *curve);
         koGeom::meshExtractLine(m, path, 0, false);
         koGeom::meshExtractLines(m, path, false);
         koGeom::meshCoordInterpolate(m, *adjTris, 0.5, curve->points[0], 0.5, curve->points[1],
                                      1e-6);
     }},
    {"trees and walks through them", ball,
     [](CompactMesh& m) {
         koGeom::BoundingBox const box = boxOf(m);
         koGeom::Octree const octree(m.getNumVertices(), m.getVerticesRaw(), box, true, 2);
         koGeom::Frustum const view = frustum();
         koGeom::Sphere sphere;
         sphere.radius = 2.0f;
         koGeom::Ray const ray({0.0f, 0.0f, -5.0f}, {0.0, 0.0, 1.0});
         koGeom::OctreeIntersectIt(octree, view).next();
         koGeom::OctreeBBoxIntersectIt(octree, box).next();
         koGeom::OctreeSphereIntersectIt(octree, sphere).next();
         koGeom::OctreeRayIntersectIt(octree, ray).next();
         koGeom::OctreeLeafIterator(octree).next();
         koGeom::OctreeClosestIt closest;
         closest.reset(octree, {0.1, 0.2, 0.3}, nullptr);
         while (closest.valid())
             closest.next(100.0);
         koGeom::Quadtree const quadtree(m.getNumVertices(), m.getVerticesRaw(), box, true, 2);
         koGeom::QuadtreeIntersectIt leaves(quadtree, box);
         while (leaves.valid())
             leaves.next();
     }},
    {"rays", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const octree = cache.getOctree(m, 3);
         auto const octreeTris = cache.getOctreeTris(m);
         koGeom::RayTracer tracer(*octree, *octreeTris, &m);
         tracer.setFindNearestHit(true);
         tracer.intersect({0.0f, 0.0f, -5.0f}, {0.01, 0.02, 1.0});
         koGeom::QuadRayTracer four(*octree, *octreeTris, &m);
         koGeom::QuadRay rays({0.0f, 0.0f, -5.0f}, {0.0f, 0.0f, 1.0f}, {0.1f, 0.0f, 1.0f},
                              {0.0f, 0.1f, 1.0f}, {0.1f, 0.1f, 1.0f}, false);
         four.intersect(rays);
         koGeom::PointFlt hit;
         int triangle = 0;
         koGeom::meshRayIntersect(m, *octree, *cache.getAdjTris(m), frustum(), hit, &triangle);
         koLinear::ProjMatrixFlt const view{koLinear::ProjMatrix(1.0)};
         koGeom::meshRayIntersectScreen(m, view, lookingUp());
     }},
    {"Clip", ball,
     [](CompactMesh& m) {
         koLinear::ProjMatrixFlt const view{koLinear::ProjMatrix(1.0)};
         ko::vector<koGeom::Clip::Vertex> projected;
         koGeom::Clip::projectVertices(m, view, projected, false);
         koGeom::Clip::TriangleAlgorithm triangles;
         triangles.evaluateMesh(m, view);
         koGeom::Clip::TriangleAlgorithm const copy(triangles);
         koGeom::Clip::LineAlgorithm lines;
         lines.evaluateMesh(m, view);
     }},
    {"nearest places", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const octree = cache.getOctree(m, 3);
         auto const octreeTris = cache.getOctreeTris(m);
         auto const adjTris = cache.getAdjTris(m);
         koGeom::MeshPtInside inside(m, *octree, *octreeTris, 1e-6);
         inside.evaluate({0.1, 0.2, 0.3});
         MeshCoord nearest;
         koGeom::meshClosestPoint(m, *octree, *adjTris, {0.1, 0.2, 2.0}, &nearest);
         koGeom::meshClosestVertex2(m, *octree, {0.1, 0.2, 2.0});
         koGeom::meshRayClosestPt(m, 0.1, *octree, *adjTris, lookingUp(), {0, 0, -1});
         koGeom::MeshClosestPtOnLine onPath(m, *adjTris, pathOn(m));
         onPath({0.1, 0.2, 2.0});
         koGeom::MeshClosestPtOnLine const copy(onPath);
         ko::vector<koLinear::Point> cuts;
         koGeom::MeshCircleIntersect(m, *octree, *octreeTris,
                                     1e-6)(koLinear::Plane({0, 0, 0.1}, {0, 0, 1}), 0.9, cuts);
     }},
    {"deviation", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const octree = cache.getOctree(m, 3);
         auto const octreeTris = cache.getOctreeTris(m);
         CompactMesh const other = support::cube();
         std::vector<float> values(static_cast<std::size_t>(other.getNumVertices()));
         koLinear::AffineMatrix matrix(1.0);
         Progress progress;
         koGeom::MeshDeviation(m, matrix, *octree, *octreeTris, &progress)
             .calculate(&other, matrix, values.data(), false, false);
     }},
    {"curvature", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         m.allocNormalArray();
         std::copy_n(m.getVerticesRaw(), 3 * m.getNumVertices(), m.getNormalsRaw());
         std::vector<float> values(static_cast<std::size_t>(m.getNumVertices()));
         koGeom::meshCurvature(m, *cache.getAdjTris(m), *cache.getAdjVertices(m),
                               koGeom::AffineMatrixFlt::Identity, koGeom::MeanCurvature,
                               values.data());
     }},
    {"collar", holedBall,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         auto const boundaries = cache.getBoundaries(m);
         koGeom::MeshCollar collar(m, *adjTris, *boundaries);
         koGeom::MeshCollar::Params params;
         params.computeCurvature = true;
         params.numPoints = 5;
         koGeom::MeshSequence const path = pathOn(m);
         auto const curve = koGeom::meshConvertLine(m, *adjTris, path, 0);
         ko::vector<koGeom::MeshCollar::Point> points;
         collar.getPoints(params, *curve, points);
     }},
    {"silhouette on the mesh", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         m.allocNormalArray();
         std::copy_n(m.getVerticesRaw(), 3 * m.getNumVertices(), m.getNormalsRaw());
         auto const adjTris = cache.getAdjTris(m);
         koGeom::MeshSilhouette silhouette(m, 1e-6f);
         silhouette.setAdjacentTrianglesForDuplicateEdgeDetection(*adjTris);
         ko::list<int> crossed;
         silhouette.setZeroCrossingTriangleList(&crossed);
         std::deque<MeshCoord> places;
         silhouette.computePerspOnMesh({3.0f, 1.0f, 2.0f}, places);
         silhouette.computeOrthoOnMesh({1.0f, 0.2f, 0.3f}, places);
         silhouette.computePersp({3.0f, 1.0f, 2.0f});
     }},
    {"everything that is tested", bowTies,
     [](CompactMesh& m) {
         koGeom::MeshCharacteristics tested(m);
         tested.check(63);
         tested.checkGoodAngles(15.0);
         koGeom::MeshCharacteristics const copy(tested);
     }},
    {"folds and non-manifold places", bowTies,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         koGeom::MeshManifoldResult bad;
         koGeom::meshManifold(m, *adjTris, bad);
         koGeom::MeshDihedralAnglesResult folds;
         koGeom::meshFindAnglesLessThan(m, *adjTris, 3.0, folds);
         ko::vector<int> triangles;
         folds.getAdjacentTriangles(m, *adjTris, triangles);
         koGeom::MeshDuplicateTrisResult duplicates;
         koGeom::meshDuplicateTris(m, duplicates);
         duplicates.getBadTriangles(m, triangles);
     }},
    {"intersection of two meshes", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const octree = cache.getOctree(m, 3);
         auto const octreeTris = cache.getOctreeTris(m);
         koGeom::MeshIntersect intersect(m, *octree, *octreeTris);
         koLinear::AffineMatrix matrix(1.0);
         matrix.setFrame({0.5, 0.1, 0.2}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1});
         std::deque<koGeom::MeshIntersectPair> pairs;
         std::deque<koGeom::MeshIntersectPair> ofOther;
         Progress progress;
         intersect.intersect(m, *octree, *octreeTris, matrix, progress, pairs, ofOther);
     }},
    {"lines beside lines", twoLines,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const octree = cache.getOctree(m, 3);
         auto const octreeLines = cache.getOctreeLines(m);
         koGeom::MeshLineProximity(m, *octree, *octreeLines).compute(1.2);
         koGeom::MeshLineProximity2::Alg alg(m, *octree, *octreeLines);
         alg.compute(1.2f);
         auto const context = alg.allocContext();
         int const* lines = nullptr;
         alg.getCloseLines(*context, 0, lines);
     }},
    {"MeshLineTopology", twoLines,
     [](CompactMesh& m) {
         koGeom::MeshLineTopology::TopologyAlg topology(m);
         topology.compute(1.2);
         for (koGeom::MeshLineTopology::EdgeIterator edge(topology); edge.valid(); edge.next())
             edge.getEdge()->getFirstVertex();
     }},
    {"MeshConvertRep", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshConvertRep rep(m, *cache.getAdjTris(m));
         rep.extract();
         MeshCoord coord;
         coord.triangle = 2;
         rep.copy(coord);
     }},
};

}  // namespace

TEST_CASE("everyTableOfTheCoreComesOutOfMemory") {
    tryMeshes(tables, false);
}
