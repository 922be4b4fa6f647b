// Edits of a mesh: what becomes of it when memory runs out under them.

#include "coreCalls.h"
#include "support/TemporaryFolder.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/assembly/MeshTriStrip.h"
#include "trimora/assembly/linePrimitives.h"
#include "trimora/assembly/meshCompact.h"
#include "trimora/assembly/meshConcatenate.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/assembly/meshRead.h"
#include "trimora/assembly/meshReadObj.h"
#include "trimora/assembly/meshRemapStripsAndFans.h"
#include "trimora/assembly/meshSwap.h"
#include "trimora/assembly/meshWrite.h"
#include "trimora/assembly/meshWriteObj.h"
#include "trimora/assembly/primitives.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/connectivity/meshTransform.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/parameterize/reparameterizeMesh.h"
#include "trimora/planar/meshTriangulate.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/MeshRepair.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshHoleFill.h"
#include "trimora/repair/meshMakeManifold.h"
#include "trimora/repair/meshManifold.h"
#include "trimora/repair/meshReverseWinding.h"
#include "trimora/stitch/MeshMerge.h"
#include "trimora/stitch/meshCloseSlits.h"
#include "trimora/stitch/meshStitch.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/meshCut.h"

#include <deque>
#include <memory>

using namespace coreCalls;

using koGeom::MeshCoord;
using koGeom::SimpleMeshCache;
using koGeom::TopoMesh;
using koUtil::Progress;

namespace {

CompactMesh damagedSoup() {
    return support::flipped(support::holed(support::soup(support::sphere(1)), 0.9, 3), 0.2, 5);
}

CompactMesh nothing() {
    return {};
}

/// Made with all memory, in the first run.
support::TemporaryFolder const& folder() {
    static support::TemporaryFolder const once;
    return once;
}

void fillPolygons(CompactMesh& mesh) {
    mesh.resizeTriangleArray(0);
    mesh.polys =
        koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 4, 3}, {1, 2, 5, 8, 7, 4}});
}

/// A curve across a field, from border to border.
std::deque<std::deque<MeshCoord>> acrossTheField(CompactMesh const& mesh) {
    std::deque<std::deque<MeshCoord>> curves(1);
    for (double const y : {0.0, 0.4, 0.8, 1.2, 1.6, 2.0, 2.4, 2.8, 3.0}) {
        koLinear::Point const place(1.3 + 0.05 * y, y, 0.0);
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            MeshCoord coord;
            coord.setFromPoint(t, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), place);
            if (!coord.valid())
                continue;
            curves.front().push_back(coord);
            break;
        }
    }
    return curves;
}

std::vector<MeshCall> const edits = {
    {"meshCompact", damagedSoup,
     [](CompactMesh& m) {
         Progress progress;
         koGeom::meshCompact(m, progress);
     }},
    {"meshComputeNormals", ball, [](CompactMesh& m) { koGeom::meshComputeNormals(m); }},
    {"meshComputeTriangleNormals", ball,
     [](CompactMesh& m) { koGeom::meshComputeTriangleNormals(m); }},
    {"meshExtract", ball,
     [](CompactMesh& m) {
         CompactMesh part;
         koGeom::meshExtract(part, m);
     }},
    {"meshConcatenate", ball,
     [](CompactMesh& m) {
         CompactMesh const other = m;
         ko::list<koGeom::MeshPlacement> placed;
         placed.push_back({koGeom::AffineMatrixFlt::Identity, &other});
         koGeom::meshConcatenate(m, placed, nullptr, nullptr);
     }},
    {"deleteSelected", ball,
     [](CompactMesh& m) {
         select(m, 4);
         koGeom::MeshDeleteSelected remove(m);
         remove();
     }},
    {"triStrips", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshTriStrip strips(m, *cache.getAdjTris(m));
         strips.computeStrips(20, true);
     }},
    {"remapStrips", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshTriStrip(m, *cache.getAdjTris(m)).computeStrips(20, false);
         koGeom::meshRemapStripsAndFans(m, 6);
     }},
    {"meshTriangulate",
     [] {
         CompactMesh mesh = support::grid(2, 2);
         fillPolygons(mesh);
         return mesh;
     },
     [](CompactMesh& m) {
         koGeom::Remap polygons;
         koGeom::meshTriangulate(m, polygons);
     }},
    {"meshMakeManifold", bowTies, [](CompactMesh& m) { koGeom::meshMakeManifold(m); }},
    {"orient", [] { return support::flipped(ball(), 0.3, 7); },
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::meshMakeOriented(m, *cache.getAdjTris(m));
     }},
    {"reverseWinding", ball, [](CompactMesh& m) { koGeom::meshReverseWinding(m, true); }},
    {"MeshRepair", bowTies,
     [](CompactMesh& m) {
         koGeom::MeshRepair repair(m);
         repair.checkSelfIntersection(true);
         repair.repairAll(nullptr);
     }},
    {"meshHoleFill", holedBall,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const boundaries = cache.getBoundaries(m);
         ko::list<int> holes;
         for (int i = 0; i < boundaries->size(); ++i)
             holes.push_back(i);
         Progress progress;
         koGeom::meshHoleFill(m, *cache.getAdjTris(m), *cache.getAdjVertices(m), *boundaries, holes,
                              koGeom::HoleQualityFair, progress);
     }},
    {"meshStitch", twoStrips,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::meshStitch(m, cache.getAdjTris(m), cache.getBoundaries(m), 0.1, 0.01);
     }},
    {"MeshMerge", ball,
     [](CompactMesh& m) {
         CompactMesh const other = support::cube();
         ko::list<koGeom::MeshPlacement> placed;
         placed.push_back({koGeom::AffineMatrixFlt::Identity, &other});
         Progress progress;
         koGeom::MeshMerge(m, placed, 0.01f).merge(progress);
     }},
    {"meshReduceToFraction", [] { return support::terrain(5, 5, 2); },
     [](CompactMesh& m) {
         Progress progress;
         ko::vector<koLinear::Point> removed;
         koGeom::meshReduceToFraction(m, 0.4, progress, removed);
     }},
    {"meshReduceWithTolerance", [] { return support::terrain(4, 4, 2); },
     [](CompactMesh& m) {
         Progress progress;
         ko::vector<koLinear::Point> removed;
         koGeom::meshReduceWithTolerance(m, 0.3, progress, removed);
     }},
    {"meshSmoothLaplacian", ball,
     [](CompactMesh& m) {
         select(m, 6);
         SimpleMeshCache cache;
         Progress progress;
         koGeom::meshSmoothLaplacian(m, *cache.getAdjVertices(m), progress);
     }},
    {"reparameterizeMesh", [] { return support::terrain(3, 3, 3); },
     [](CompactMesh& m) {
         koGeom::reparameterizeMesh flattening(m);
         flattening.flatten();
     }},
    {"cutSurface and reparameterizeMesh", ball,
     [](CompactMesh& m) { koGeom::reparameterizeMesh(m).flatten(); }},
    {"MeshModifyRep", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::MeshModifyRep rep(m, *cache.getAdjTris(m));
         TopoMesh& topo = rep.extract();
         topo.deleteFace(topo.firstFace());
         rep.merge();
     }},
    {"constructSphere", nothing,
     [](CompactMesh& m) {
         koGeom::constructSphere({0, 0, 0}, 1.0f, 6, m);
     }},
    {"meshCompact with a map", damagedSoup,
     [](CompactMesh& m) {
         Progress progress;
         koGeom::Remap remap;
         koGeom::meshCompact(m, progress, remap);
     }},
    {"meshSwap", ball,
     [](CompactMesh& m) {
         CompactMesh other = support::cube();
         koGeom::meshSwap(m, other);
     }},
    {"arrays of a mesh", ball,
     [](CompactMesh& m) {
         m.allocUVArray();
         m.allocSTArray();
         m.allocNormalArray();
         m.allocTriangleNormalArray();
         m.allocAttributes("weight", 2);
         m.resizeLineArray(3);
         m.resizeLineStripArrays(4, 1);
         m.getLineStripLengths()[0] = 4;
         m.resizeTriStripArrays(4, 1);
         m.getTriStripLengths()[0] = 4;
         m.resizeTriFanArrays(4, 1);
         m.getTriFanLengths()[0] = 4;
         m.resizeVertexArray(m.getNumVertices() + 40);
         m.resizeTriangleArray(m.getNumTriangles() - 3);
     }},
    {"copies of a mesh", ball,
     [](CompactMesh& m) {
         m.allocAttributes("weight", 2);
         m.allocUVArray();
         select(m, 3);
         CompactMesh copy(m);
         CompactMesh assigned = support::cube();
         assigned = copy;
         m = assigned;
     }},
    {"texts and files of a mesh", ball,
     [](CompactMesh& m) {
         koOS::Filename const plain(folder().path("m.txt").c_str());
         koGeom::meshWrite(m, plain);
         koGeom::meshRead(m, plain);
         koOS::Filename const obj(folder().path("m.obj").c_str());
         koGeom::meshWriteObj(m, obj);
         koGeom::meshReadObj(m, obj);
     }},
    {"MeshDeleteSelected of a list", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         koGeom::MeshDeleteSelected remove(m);
         remove(*adjTris, {1, 4, 5});
     }},
    {"MeshSelect", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         select(m, 1);
         koGeom::MeshSelect selected(m, *adjTris);
         selected.selectTrianglesRecursive(true);
         selected.selectVerticesFromTriangles();
         selected.selectTrianglesFromVertices(1);
         selected.invertTriangleSelection();
         std::deque<MeshCoord> stroke(2);
         stroke.front().triangle = 0;
         stroke.back().triangle = 1;
         selected.selectAffectedTriangles(stroke, 1e-6);
         selected.selectVertices(koLinear::ProjMatrix(1.0),
                                 {{-0.5, -0.5, 0.0}, {0.5, -0.5, 0.0}, {0.0, 0.5, 0.0}});
     }},
    {"meshTransform", ball,
     [](CompactMesh& m) {
         koGeom::meshComputeNormals(m);
         koGeom::meshTransform(m, koGeom::AffineMatrixFlt::Identity);
         koGeom::addUniformNormals(m, {0.0, 0.0, 1.0});
     }},
    {"meshMakeManifold of what is found", bowTies,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         koGeom::MeshManifoldResult bad;
         koGeom::meshManifold(m, *adjTris, bad);
         koGeom::meshMakeManifold(m, *adjTris, bad);
     }},
    {"meshRemoveDuplicateTris", [] { return support::joined(ball(), ball()); },
     [](CompactMesh& m) {
         Progress progress;
         koGeom::meshCompact(m, progress);
         SimpleMeshCache cache;
         koGeom::meshRemoveDuplicateTris(m, *cache.getAdjTris(m));
     }},
    {"winding of a part", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const adjTris = cache.getAdjTris(m);
         koGeom::meshReverseWinding(m, *adjTris, 3);
         select(m, 4);
         koGeom::meshReverseSelectedWinding(m);
     }},
    {"meshCloseSlits", twoStrips,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         auto const boundaries = cache.getBoundaries(m);
         auto const adjTris = cache.getAdjTris(m);
         ko::vector<koLinear::Point> starts;
         for (int v = 0; v < m.getNumVertices(); ++v)
             starts.push_back(m.getVertices()[v].asPoint());
         ko::vector<double> lengths;
         koGeom::meshCloseSlits(m, adjTris, boundaries, starts, 0.1, 0.01, lengths);
     }},
    {"meshSmoothBilateral", ball,
     [](CompactMesh& m) {
         select(m, 6);
         koGeom::meshComputeNormals(m);
         SimpleMeshCache cache;
         Progress progress;
         koGeom::meshSmoothBilateral(m, *cache.getAdjVertices(m), 0.5, progress);
     }},
    {"cutSurface", ball, [](CompactMesh& m) { koGeom::cutSurface().makeDisk(m); }},
    {"meshCut", field,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         koGeom::meshCut(m, *cache.getAdjTris(m), acrossTheField(m), 1e-6);
     }},
    {"MeshModifyRep of a part", ball,
     [](CompactMesh& m) {
         SimpleMeshCache cache;
         select(m, 6);
         koGeom::MeshModifyRep rep(m, m.getSelectedTriangles(), m.getSelectedVertices(),
                                   *cache.getAdjTris(m));
         TopoMesh& topo = rep.extract();
         koGeom::TopoMeshVertex const extra = topo.allocVertex({1.0, 2.0, 3.0});
         rep.removeVertex(extra);
         koGeom::Array<int> map;
         rep.merge(map, nullptr);
     }},
    {"shapes of triangles", nothing,
     [](CompactMesh& m) {
         float const range[2] = {0, 1};
         koGeom::constructSquare(range, 0.0f, 2, m, true);
         koGeom::constructCube(range, m);
         koGeom::constructDisk({0, 0, 0}, 1.0f, 2, 6, m);
         koGeom::constructAnnularArc(1.0f, 2.0f, 1.0, 4, m);
         koGeom::Polyline2d square;
         for (auto const& [x, y] : {std::pair{0.0, 0.0}, {1.0, 0.0}, {1.0, 1.0}, {0.0, 0.0}})
             square.appendVertex({x, y});
         koGeom::constructPolygonFromConvexBoundary(square);
     }},
    {"shapes of lines", nothing,
     [](CompactMesh& m) {
         koGeom::constructLineSegment({0, 0, 0}, {1, 2, 3}, m);
         koGeom::constructArc({0, 0, 0}, 1.0f, 0.0f, 1.0f, 2, 6, m);
         koGeom::constructCircle({0, 0, 0}, 1.0f, 2, 6, m);
         koGeom::BoundingBox box;
         koGeom::constructBoxEdgeLineStrips(box, m);
         koGeom::constructLineStrip(ko::vector<koLinear::Point>{{0, 0, 0}, {1, 2, 3}, {2, 2, 3}},
                                    true);
     }},
};

}  // namespace

TEST_CASE("everyEditOfTheCoreComesOutOfMemoryWithAValidMesh") {
    tryMeshes(edits, true);
}
