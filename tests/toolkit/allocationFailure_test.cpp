// Memory runs out at the first allocation of a call, at the second and so on to the last: nothing but std::bad_alloc may leave it (or its
// outcome tells), the mesh is valid, and the address sanitizer sees that nothing is lost. Once memory has run out it stays so until the
// call is left, so that what cleans up has none either.

#include "operationTable.h"
#include "support/TemporaryFolder.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/failingRealloc.h"
#include "support/topoBuilders.h"
#include "toolkit/meshInvariants.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/assembly/MeshTriStrip.h"
#include "trimora/assembly/meshCompact.h"
#include "trimora/assembly/meshConcatenate.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/assembly/meshRemapStripsAndFans.h"
#include "trimora/assembly/primitives.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koGeom/KDTree.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/measure/MeshOffset.h"
#include "trimora/measure/MeshSilhouette.h"
#include "trimora/measure/meshSmoothLaplacian.h"
#include "trimora/parameterize/reparameterizeMesh.h"
#include "trimora/planar/convexHull2d.h"
#include "trimora/planar/meshTriangulate.h"
#include "trimora/planar/polygonRelations.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/MeshRepair.h"
#include "trimora/repair/MeshVerify.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshHoleFill.h"
#include "trimora/repair/meshMakeManifold.h"
#include "trimora/repair/meshReverseWinding.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/MeshPtInside.h"
#include "trimora/stitch/MeshMerge.h"
#include "trimora/stitch/meshCloseSlits.h"
#include "trimora/stitch/meshStitch.h"
#include "trimora/topology/MeshConvertRep.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/computeSubdivMesh.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <filesystem>
#include <functional>
#include <memory>

using koGeom::CompactMesh;
using koGeom::SimpleMeshCache;
using koGeom::TopoMesh;
using koUtil::Progress;
using koUtil::ThreadPool;
using operations::Operation;
using trimora::InvariantDepth;
using trimora::stateOf;

namespace {

constexpr int mostFailures = 300;  // of one call; beyond, allocations all over it are taken

/// Calls with memory for `allowed` allocations. Returns whether std::bad_alloc came out; some calls do without what they were refused.
bool runsOut(int allowed, std::function<void()> const& call) {
    struct Enough {
        ~Enough() { support::allocationsLeft = -1; }
    };
    try {
        Enough const enough;
        support::allocationsLeft = allowed;
        call();
    } catch (std::bad_alloc const&) {
        return true;
    }
    return false;
}

/// `prepare` makes what one call needs, with all memory, and returns the call; `judge` looks at it when it has failed.
struct Trial {
    std::function<void()> call;
    std::function<void(bool hasThrown)> judge;
};

void failEverywhere(std::function<Trial()> const& prepare) {
    int numAllocations = 0;
    {
        Trial const whole = prepare();
        runsOut(INT_MAX, [&] {
            whole.call();
            numAllocations = INT_MAX - support::allocationsLeft;
        });
    }
    REQUIRE(numAllocations >= 0);
    // A step that is no divisor of the lengths of loops.
    int const step = std::max(1, numAllocations / mostFailures) | 1;
    for (int allowed = 0; allowed < numAllocations; allowed += step) {
        CAPTURE(allowed);
        Trial const trial = prepare();
        bool hasThrown = false;
        CHECK_NOTHROW(hasThrown = runsOut(allowed, trial.call));
        trial.judge(hasThrown);
    }
}

/// Everything on this thread, whose allocations are counted.
struct OneThread {
    OneThread() { ThreadPool::setShared(&pool); }
    ~OneThread() { ThreadPool::setShared(nullptr); }
    ThreadPool pool{1};
};

struct CoreCall {
    std::string name;
    std::function<CompactMesh()> sample;
    std::function<void(CompactMesh&)> run;
};

struct TopoCall {
    std::string name;
    std::function<void(TopoMesh&)> run;
};

CompactMesh holedBall() {
    return support::holed(support::sphere(1), 0.85, 2);
}
CompactMesh ball() {
    return support::sphere(1);
}
CompactMesh damagedSoup() {
    return support::flipped(support::holed(support::soup(support::sphere(1)), 0.9, 3), 0.2, 5);
}
CompactMesh bowTies() {
    return support::joined(support::bowTie(), support::threeOnAnEdge(), 5.0f);
}
CompactMesh twoStrips() {
    CompactMesh const strip = support::grid(12, 1);
    return support::joined(strip, strip, 0.0f, 1.05f, 0.0f);
}

void select(CompactMesh& mesh, int count) {
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    for (int i = 0; i < count; ++i) {
        mesh.getSelectedTriangles().setBit(i);
        mesh.getSelectedVertices().setBit(i);
    }
}

std::vector<CoreCall> const tables = {
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
};

std::vector<CoreCall> const edits = {
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
         mesh.resizeTriangleArray(0);
         mesh.polys =
             koGeom::MeshSequence(ko::vector<ko::vector<int>>{{0, 1, 4, 3}, {1, 2, 5, 8, 7, 4}});
         return mesh;
     },
     [](CompactMesh& m) { koGeom::meshTriangulate(m); }},
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
    {"constructSphere", [] { return CompactMesh(); },
     [](CompactMesh& m) {
         koGeom::constructSphere({0, 0, 0}, 1.0f, 6, m);
     }},
};

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
};

void tryMesh(CoreCall const& call, bool isEdit) {
    CAPTURE(call.name);
    CompactMesh const sample = call.sample();
    failEverywhere([&] {
        auto const mesh = std::make_shared<CompactMesh>(sample);
        return Trial{[mesh, &call] { call.run(*mesh); },
                     [mesh, &sample, isEdit](bool) {
                         CHECK(support::faultOf(*mesh) == "");
                         CHECK(trimora::faultOfMesh(*mesh).text == "");
                         if (!isEdit)
                             CHECK(support::trianglesOf(*mesh) == support::trianglesOf(sample));
                     }};
    });
}

}  // namespace

TEST_CASE("everyOperationComesOutOfMemoryWithItsMeshAsItWas") {
    OneThread const oneThread;
    for (Operation const& operation : operations::all()) {
        CAPTURE(operation.name);
        CompactMesh const sample = operation.sample();
        operations::Run const run = operation.prepare(sample);
        trimora::MeshState const before = stateOf(sample, InvariantDepth::Arrays);
        failEverywhere([&] {
            auto const mesh = std::make_shared<CompactMesh>(sample);
            return Trial{[mesh, &run] {
                             Progress progress;
                             run(*mesh, progress);
                         },
                         [mesh, &before](bool hasThrown) {
                             CHECK(support::faultOf(*mesh) == "");
                             if (hasThrown)
                                 CHECK(before.isSameAs(stateOf(*mesh, InvariantDepth::Arrays)));
                         }};
        });
    }
}

TEST_CASE("everyTableOfTheCoreComesOutOfMemory") {
    OneThread const oneThread;
    for (CoreCall const& call : tables)
        tryMesh(call, false);
}

TEST_CASE("everyEditOfTheCoreComesOutOfMemoryWithAValidMesh") {
    OneThread const oneThread;
    for (CoreCall const& call : edits)
        tryMesh(call, true);
}

TEST_CASE("everyHalfEdgeCallComesOutOfMemoryWithAValidMesh") {
    OneThread const oneThread;
    for (TopoCall const& call : halfEdgeCalls) {
        CAPTURE(call.name);
        failEverywhere([&] {
            auto const mesh = std::make_shared<TopoMesh>();
            support::fill(*mesh, support::sphere(1));
            koGeom::meshTwin(*mesh);
            return Trial{[mesh, &call] { call.run(*mesh); },
                         [mesh](bool) { CHECK(support::faultOf(*mesh) == ""); }};
        });
    }
}

TEST_CASE("polygonsComeOutOfMemory") {
    ko::vector<koLinear::Point> ring;
    koGeom::Polyline2d first;
    koGeom::Polyline2d second;
    ko::vector<koLinear::Point2> points;
    for (int i = 0; i < 9; ++i) {
        double const angle = 0.7 * i;
        ring.emplace_back(std::cos(angle), std::sin(angle), 0.1 * i);
        points.emplace_back(std::cos(angle), std::sin(angle));
    }
    for (auto const& [x, y] : {std::pair{0.0, 0.0}, {2.0, 0.0}, {2.0, 2.0}, {0.0, 2.0}}) {
        first.appendVertex({x, y});
        second.appendVertex({x + 1.0, y + 0.5});
    }
    first.appendVertex({0.0, 0.0});
    second.appendVertex({1.0, 0.5});
    std::vector<std::function<void()>> const calls = {
        [&] {
            ko::vector<int> triangles;
            koGeom::triangulatePolygon(ring, triangles, nullptr, nullptr);
        },
        [&] {
            ko::vector<int> hull;
            koGeom::convexHull2d(points, hull);
        },
        [&] {
            koGeom::EPolygonsIntersection status{};
            koGeom::Polyline2d common;
            koGeom::intersectPolygons(first, second, status, common, 1e-9);
        }};
    for (auto const& call : calls)
        failEverywhere([&] { return Trial{call, [](bool) {}}; });
}

TEST_CASE("filesComeOutOfMemory") {
    OneThread const oneThread;
    support::TemporaryFolder const folder;
    CompactMesh mesh = support::sphere(1);
    mesh.allocUVArray();
    for (char const* const format : {"obj", "stl", "off", "ply", "glb"}) {
        CAPTURE(format);
        std::string const path = folder.path(std::string("ball.") + format);
        if (!trimora::writeMesh(path, mesh))
            continue;  // a format that is not built in
        failEverywhere([&] {
            auto const read = std::make_shared<CompactMesh>();
            return Trial{[read, &path] {
                             trimora::ReadReport report;
                             trimora::readMesh(path, *read, report);
                         },
                         [read](bool) { CHECK(!trimora::faultOfMesh(*read)); }};
        });
        auto const size = std::filesystem::file_size(path);
        failEverywhere([&] {
            return Trial{[&path, &mesh] { trimora::writeMesh(path, mesh); },
                         [&path, size](bool) { CHECK(std::filesystem::file_size(path) == size); }};
        });
        int numFiles = 0;
        for (auto const& file : std::filesystem::directory_iterator(folder.path()))
            numFiles += file.path().extension() == std::string(".") + format;
        CHECK(numFiles == 1);  // no half-written one is left behind
    }
}

TEST_CASE("workersCarryTheirFailureToTheCaller") {
    class Hungry : public koUtil::ThreadedAlg {
    public:
        void execute(int threadIndex, int numThreads) override {
            if (threadIndex == numThreads - 1)
                throw std::bad_alloc();
        }
        void finalize() override { isFinalized = true; }
        bool isFinalized = false;
    };
    support::withPools([](int) {
        Hungry alg;
        CHECK_THROWS_AS(ThreadPool::get().run(alg), std::bad_alloc);
        CHECK_FALSE(alg.isFinalized);
    });
}
