// Half-edge meshes: what becomes of them when memory runs out. Those that make blocks of records find the blocks of the mesh full.

#include "outOfMemory.h"
#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/assembly/meshRead.h"
#include "trimora/assembly/meshSubsetFromEdge.h"
#include "trimora/assembly/meshWrite.h"
#include "trimora/assembly/primitives.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/connectivity/meshTransform.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshPoint.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
#include "trimora/repair/MeshVerify.h"
#include "trimora/stitch/MeshStitchSeam.h"
#include "trimora/topology/ArrayMap.h"
#include "trimora/topology/ExtrudeTopoFace.h"
#include "trimora/topology/MeshConvertRep.h"
#include "trimora/topology/MeshCurveTopology.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/computeSubdivMesh.h"
#include "trimora/topology/constructSubdividedOctahedron.h"
#include "trimora/topology/meshCut.h"
#include "trimora/topology/meshTwin.h"

#include <doctest/doctest.h>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using koGeom::CompactMesh;
using koGeom::TopoMesh;
using koGeom::TopoMeshEdge;
using koGeom::TopoMeshVertex;
using koUtil::Progress;

namespace {

struct TopoCall {
    std::string name;
    std::function<void(TopoMesh&)> run;
};

koLinear::AffineMatrix lift() {
    koLinear::AffineMatrix matrix(1.0);
    matrix.setFrame({0.1, 0.2, 0.7}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1});
    return matrix;
}

std::vector<TopoMeshEdge> edgesOf(TopoMesh& mesh) {
    std::vector<TopoMeshEdge> edges;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList())
        edges.push_back(e);
    return edges;
}

/// More vertices, triangles and polygons than a block of records holds.
void allocMany(TopoMesh& mesh) {
    std::vector<TopoMeshVertex> ring;
    for (int i = 0; i < 3000; ++i) {
        ring.push_back(mesh.allocVertex({0.001 * i, 5.0, 0.0}));
        if (ring.size() < 5)
            continue;
        mesh.allocTriangle(ring[0], ring[1], ring[2]);
        ring.clear();
    }
}

std::vector<TopoCall> const halfEdgeCalls = {
    {"meshTwin", [](TopoMesh& m) { koGeom::meshTwin(m); }},
    {"allocTriangle",
     [](TopoMesh& m) {
         auto const a = m.allocVertex({5, 0, 0});
         auto const b = m.allocVertex({6, 0, 0});
         auto const c = m.allocVertex({5, 1, 0});
         m.allocTriangle(a, b, c);
     }},
    {"deleteFace", [](TopoMesh& m) { m.deleteFace(m.firstFace()); }},
    {"deleteVertex", [](TopoMesh& m) { m.deleteVertex(m.firstVertex()); }},
    {"splitEdge", [](TopoMesh& m) { m.splitEdge(m.firstEdge()); }},
    {"collapseEdge", [](TopoMesh& m) { m.collapseEdge(m.firstEdge()); }},
    {"swapEdge", [](TopoMesh& m) { m.swapEdge(m.firstEdge()); }},
    {"meshReduceByEdgeCollapse",
     [](TopoMesh& m) {
         Progress progress;
         koGeom::meshReduceByEdgeCollapse(m, 0.4, progress);
     }},
    {"computeSubdivMesh",
     [](TopoMesh& m) { std::unique_ptr<TopoMesh> const finer(koGeom::computeSubdivMesh(m)); }},
    {"meshConvertRep",
     [](TopoMesh& m) { std::unique_ptr<CompactMesh> const mesh(koGeom::meshConvertRep(m)); }},
    {"MeshVerify", [](TopoMesh& m) { koGeom::MeshVerify()(m, {}); }},
    {"allocation of many", allocMany},
    {"allocFaces",
     [](TopoMesh& m) {
         CompactMesh const source = support::sphere(3);
         std::vector<koLinear::Point> points;
         for (int v = 0; v < source.getNumVertices(); ++v)
             points.push_back(source.getVertices()[v].asPoint());
         m.allocFaces(static_cast<int>(points.size()), points.data(), source.getNumTriangles(), 3,
                      source.getTrianglesRaw(), nullptr);
     }},
    {"deleteEdge", [](TopoMesh& m) { m.deleteEdge(m.firstEdge()); }},
    {"contractEdge", [](TopoMesh& m) { m.contractEdge(m.firstEdge()); }},
    {"subdivideEdge",
     [](TopoMesh& m) {
         m.subdivideEdge(m.firstEdge(), {0.1, 0.2, 0.3});
     }},
    {"subdivideFace",
     [](TopoMesh& m) {
         m.subdivideFace(m.firstFace(), {0.1, 0.2, 0.3});
     }},
    {"mergeVertices",
     [](TopoMesh& m) {
         m.deleteFace(m.firstFace());
         std::vector<TopoMeshEdge> const edges = edgesOf(m);
         for (TopoMeshEdge const a : edges)
             for (TopoMeshEdge const b : edges)
                 if (m.canMergeVertices(a, b))
                     return static_cast<void>(m.mergeVertices(a, b));
     }},
    {"splitVertex",
     [](TopoMesh& m) {
         for (TopoMeshEdge const a : edgesOf(m))
             for (TopoMeshEdge const b : edgesOf(m))
                 if (m.canSplitVertex(a, b))
                     return static_cast<void>(m.splitVertex(a, b));
     }},
    {"meshTwin of some edges",
     [](TopoMesh& m) {
         std::vector<TopoMeshEdge> const edges = edgesOf(m);
         koGeom::meshTwin(m, ko::vector<TopoMeshEdge>(edges.begin(), edges.end()));
     }},
    {"meshComponents", [](TopoMesh& m) { koGeom::meshComponents(m); }},
    {"meshTransform",
     [](TopoMesh& m) {
         koGeom::meshTransform(m, lift());
         ko::vector<koGeom::TopoMeshEntity> some;
         some.push_back(m.firstFace());
         some.push_back(m.firstVertex());
         koGeom::meshTransform(m, some, lift());
     }},
    {"meshSubsetFromEdge",
     [](TopoMesh& m) {
         ko::vector<TopoMeshEdge> loop;
         bool isClosed = false;
         koGeom::meshSubsetFromEdge(m, m.firstEdge(), loop, isClosed);
     }},
    {"meshSwapEdges",
     [](TopoMesh& m) {
         koGeom::MeshEdgeSwapper swapper;
         koGeom::meshSwapEdgesOnce(m, swapper);
         std::vector<TopoMeshEdge> const edges = edgesOf(m);
         koGeom::meshSwapEdgesRepeatedly(m, ko::vector<TopoMeshEdge>(edges.begin(), edges.end()),
                                         swapper);
         koGeom::meshSwapEdgesRepeatedly(m, swapper);
     }},
    {"extrudeFace", [](TopoMesh& m) { koGeom::extrudeFace(m, m.firstFace(), lift()); }},
    {"ExtrudeTopoFace",
     [](TopoMesh& m) {
         ko::unordered_set<koGeom::TopoMeshFace> faces{m.firstFace()};
         ko::unordered_set<koGeom::TopoMeshFace> region;
         ko::vector<TopoMeshEdge> border;
         koGeom::expandRegion(m, faces, region, border);
         ko::unordered_set<koGeom::TopoMeshFace> lifted;
         koGeom::ExtrudeTopoFace extrude(m);
         extrude(faces, lifted, lift());
     }},
    {"curves over the mesh",
     [](TopoMesh& m) {
         koGeom::MeshCurveTopology::Curves curves;
         std::deque<koGeom::TopoMeshCoord> coords;
         koGeom::TopoMeshFace const face = m.firstFace();
         for (double const weight : {0.2, 0.4, 0.6}) {
             koGeom::TopoMeshCoord coord;
             coord.face = face;
             coord.weights[0] = weight;
             coord.weights[1] = 0.7 - weight;
             coord.weights[2] = 0.3;
             coords.push_back(coord);
         }
         koGeom::MeshCurveTopology::convert(curves, coords, 1e-6);
         koGeom::MeshCurveTopology::extend(curves, 1e-6);
         koGeom::MeshCurveTopology topology(m, curves, 1e-6);
         topology.intersect();
         topology.trimInteriorEndPoints();
         koGeom::meshCut(m, topology, nullptr);
     }},
    {"files of half-edge meshes",
     [](TopoMesh& m) {
         static support::TemporaryFolder const folder;  // made with all memory, in the first run
         koOS::Filename const file(folder.path("m.txt").c_str());
         koGeom::meshWrite(m, file);
         TopoMesh read;
         koGeom::meshRead(read, file);
     }},
    {"quads",
     [](TopoMesh&) {
         TopoMesh quads;
         float const range[2] = {0, 1};
         koGeom::constructQuadCube(range, quads);
         koGeom::constructSquare(range, 2.0f, 2, quads);
         std::unique_ptr<TopoMesh> const ball(
             koGeom::constructSubdividedOctahedron(koLinear::ParamPlane(), 1, 1.0));
     }},
};

}  // namespace

TEST_CASE("everyHalfEdgeCallComesOutOfMemoryWithAValidMesh") {
    outOfMemory::OneThread const oneThread;
    exhaustion::Tally tally("calls", "allocations");
    for (TopoCall const& call : halfEdgeCalls) {
        CAPTURE(call.name);
        outOfMemory::failEverywhere(tally, [&] {
            auto const mesh = std::make_shared<TopoMesh>();
            support::fill(*mesh, support::sphere(1));
            koGeom::meshTwin(*mesh);
            return outOfMemory::Trial{[mesh, &call] { call.run(*mesh); },
                                      [mesh](bool) { CHECK(support::faultOf(*mesh) == ""); }};
        });
    }
}

TEST_CASE("seamsComeOutOfMemoryWithAValidMesh") {
    outOfMemory::OneThread const oneThread;
    exhaustion::Tally tally("calls", "allocations");
    CompactMesh const strip = support::grid(4, 1);
    CompactMesh const strips = support::joined(strip, strip, 0.0f, 1.05f, 0.0f);
    outOfMemory::failEverywhere(tally, [&] {
        auto const mesh = std::make_shared<TopoMesh>();
        auto const vertices =
            std::make_shared<std::vector<TopoMeshVertex>>(support::fill(*mesh, strips));
        koGeom::meshTwin(*mesh);
        return outOfMemory::Trial{[mesh, vertices] {
                                      std::vector<TopoMeshVertex> const& v = *vertices;
                                      koGeom::MeshStitchSeam seam(*mesh);
                                      if (seam.canStitch(v[9], v[5], v[10], v[14]))
                                          seam.stitch(v[9], v[5], v[10], v[14], 0.01, true);
                                  },
                                  [mesh](bool) { CHECK(support::faultOf(*mesh) == ""); }};
    });
}
