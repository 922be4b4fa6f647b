// A run is cancelled at its first question, its second and so on to its last: each time the mesh is as it was, or valid, as it was promised,
// and the invariants hold. The questions are counted in a run that is left alone.

#include "exhaustion.h"
#include "operationTable.h"
#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/detail/selfCuts.h"
#include "toolkit/meshDiagnosis.h"
#include "toolkit/meshInvariants.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koUtil/detail/CancelAtQuestion.h"
#include "trimora/measure/MeshDeviation.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"
#include "trimora/parameterize/reparameterizeMesh.h"
#include "trimora/planar/triangulatePolygon.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/meshHoleFill.h"
#include "trimora/stitch/MeshMerge.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>

using koGeom::CompactMesh;
using koUtil::Progress;
using koUtil::detail::CancelAtQuestion;
using operations::Operation;
using trimora::InvariantDepth;
using trimora::MeshState;
using trimora::stateOf;

namespace {

constexpr std::int64_t mostOfSlowOnes = 10;
constexpr std::int64_t mostOnLargerMeshes = 6;

/// Tells whether a run has been cancelled by now, without being a question itself.
using IsCancelled = std::function<bool()>;

/// Runs a call once and then once for each of its questions.
std::int64_t atEveryQuestion(exhaustion::Tally& tally,
                             std::function<void(Progress&, IsCancelled const&)> const& call,
                             std::int64_t most = exhaustion::mostTries()) {
    std::int64_t numQuestions = 0;
    {
        Progress progress;
        CancelAtQuestion const counter(progress, CancelAtQuestion::never);
        call(progress, [] { return false; });
        numQuestions = counter.numAsked();
    }
    std::int64_t const step = tally.stepOver(numQuestions, most);
    for (std::int64_t k = 1; k <= numQuestions; k += step) {
        CAPTURE(k);
        Progress progress;
        CancelAtQuestion const canceller(progress, k);
        call(progress, [&canceller, k] { return canceller.numAsked() >= k; });
    }
    return numQuestions;
}

std::int64_t mostFor(Operation const& operation) {
    return operation.isSlow ? std::min(mostOfSlowOnes, exhaustion::mostTries())
                            : exhaustion::mostTries();
}

struct OneThread {
    OneThread() { koUtil::ThreadPool::setShared(&pool); }
    ~OneThread() { koUtil::ThreadPool::setShared(nullptr); }
    koUtil::ThreadPool pool{1};
};

/// An entry point of the core on a mesh, and whether a cancelled run leaves the mesh as it was.
struct CoreCall {
    std::string name;
    bool isWholeOrNothing;
    std::int64_t fewestQuestions;
    std::function<CompactMesh()> sample;
    std::function<void(CompactMesh&, Progress&)> run;
};

void selectAll(CompactMesh& mesh) {
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedVertices().setAllBits();
}

void fillHoles(CompactMesh& mesh, Progress& progress) {
    koGeom::SimpleMeshCache cache;
    auto const boundaries = cache.getBoundaries(mesh);
    ko::list<int> holes;
    for (int i = 0; i < boundaries->size(); ++i)
        holes.push_back(i);
    koGeom::meshHoleFill(mesh, *cache.getAdjTris(mesh), *cache.getAdjVertices(mesh), *boundaries,
                         holes, koGeom::HoleQualityFair, progress);
}

std::vector<CoreCall> const coreCalls = {
    {"meshCompact", true, 0, [] { return support::soup(support::sphere(1)); },
     [](CompactMesh& mesh, Progress& progress) {
         progress.cancel();  // a weld cannot be stopped
         koGeom::meshCompact(mesh, progress);
         CHECK(mesh.getNumVertices() == 18);
     }},
    {"selfIntersect", true, 1,
     [] { return support::joined(support::sphere(2), support::sphere(2), 0.7f); },
     [](CompactMesh& mesh, Progress& progress) {
         koGeom::SimpleMeshCache cache;
         koGeom::MeshIntersect intersect(mesh, *cache.getOctree(mesh, 10),
                                         *cache.getOctreeTris(mesh));
         std::deque<koGeom::MeshIntersectPair> pairs;
         intersect.selfIntersect(progress, pairs);
     }},
    {"meshHoleFill", false, 3, [] { return support::holed(support::sphere(2), 0.9, 2); },
     fillHoles},
    {"meshSmoothLaplacian", true, 1, [] { return support::terrain(40, 40, 3); },
     [](CompactMesh& mesh, Progress& progress) {
         koGeom::SimpleMeshCache cache;
         auto const adjVertices = cache.getAdjVertices(mesh);
         selectAll(mesh);
         koGeom::meshSmoothLaplacian(mesh, *adjVertices, progress);
     }},
    {"meshSmoothBilateral", true, 1, [] { return support::terrain(40, 40, 3); },
     [](CompactMesh& mesh, Progress& progress) {
         koGeom::SimpleMeshCache cache;
         auto const adjVertices = cache.getAdjVertices(mesh);
         selectAll(mesh);
         mesh.allocNormalArray();
         for (int v = 0; v < mesh.getNumVertices(); ++v)
             mesh.getNormals()[v].z = 1.0f;
         koGeom::meshSmoothBilateral(mesh, *adjVertices, 1.5, progress);
     }},
    {"meshReduceToFraction", false, 2, [] { return support::terrain(20, 20, 3); },
     [](CompactMesh& mesh, Progress& progress) {
         ko::vector<koLinear::Point> removed;
         koGeom::meshReduceToFraction(mesh, 0.3, progress, removed);
     }},
    {"meshReduceWithTolerance", false, 2, [] { return support::terrain(12, 12, 3); },
     [](CompactMesh& mesh, Progress& progress) {
         ko::vector<koLinear::Point> removed;
         koGeom::meshReduceWithTolerance(mesh, 0.2, progress, removed);
     }},
    {"reparameterizeMesh", true, 10, [] { return support::terrain(6, 6, 3); },
     [](CompactMesh& mesh, Progress& progress) {
         koGeom::reparameterizeMesh(mesh).flatten(progress);
     }},
    {"intersect", true, 1, [] { return support::sphere(2); },
     [](CompactMesh& mesh, Progress& progress) {
         koGeom::SimpleMeshCache cache;
         auto const octree = cache.getOctree(mesh, 10);
         auto const octreeTris = cache.getOctreeTris(mesh);
         koGeom::MeshIntersect intersect(mesh, *octree, *octreeTris);
         koLinear::AffineMatrix matrix(1.0);
         matrix.setFrame({0.5, 0.1, 0.2}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1});
         std::deque<koGeom::MeshIntersectPair> pairs;
         std::deque<koGeom::MeshIntersectPair> ofOther;
         intersect.intersect(mesh, *octree, *octreeTris, matrix, progress, pairs, ofOther);
     }},
    {"MeshDeviation", true, 1, [] { return support::sphere(2); },
     [](CompactMesh& mesh, Progress& progress) {
         koGeom::SimpleMeshCache cache;
         auto const octree = cache.getOctree(mesh, 10);
         auto const octreeTris = cache.getOctreeTris(mesh);
         koLinear::AffineMatrix matrix(1.0);
         std::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
         koGeom::MeshDeviation(mesh, matrix, *octree, *octreeTris, &progress)
             .calculate(&mesh, matrix, values.data(), false, false);
     }},
    {"diagnoseMesh", true, 5,
     [] { return support::joined(support::sphere(2), support::sphere(2), 0.7f); },
     [](CompactMesh& mesh, Progress& progress) { trimora::diagnoseMesh(mesh, {}, {}, progress); }},
    {"findSelfCuts", true, 1,
     [] { return support::joined(support::sphere(2), support::sphere(2), 0.7f); },
     [](CompactMesh& mesh, Progress& progress) { trimora::findSelfCuts(mesh, progress); }},
    {"MeshMerge", false, 0, [] { return support::sphere(1); },
     [](CompactMesh& mesh, Progress& progress) {
         CompactMesh const other = support::cube();
         ko::list<koGeom::MeshPlacement> placed;
         placed.push_back({koGeom::AffineMatrixFlt::Identity, &other});
         koGeom::MeshMerge(mesh, placed, 0.0f).merge(progress);
     }},
};

/// One operation on one mesh, cancelled at its questions.
void cancelEverywhere(exhaustion::Tally& tally, Operation const& operation,
                      CompactMesh const& sample, std::int64_t most) {
    CAPTURE(operation.name);
    operations::Run const run = operation.prepare(sample);
    MeshState const before = stateOf(sample, InvariantDepth::Arrays);
    atEveryQuestion(
        tally,
        [&](Progress& progress, IsCancelled const& isCancelled) {
            CompactMesh mesh(sample);
            support::ModificationCounter const notices(mesh);
            operations::Result const result = operations::outcomeOf(run, mesh, progress);
            bool const isSame = before.isSameAs(stateOf(mesh, InvariantDepth::Arrays));
            CHECK_MESSAGE(result.refusal.find("internal fault") == std::string::npos,
                          result.refusal);
            CHECK(support::faultOf(mesh).empty());
            CHECK(notices.total() == (isSame ? 0 : 1));
            if (result.cancelled) {
                CHECK(isCancelled());
                if (operation.isWholeOrNothing)
                    CHECK(isSame);
            }
        },
        most);
}

}  // namespace

TEST_CASE("everyOperationCanBeCancelledAtEveryQuestion") {
    OneThread const oneThread;
    exhaustion::Tally tally("operations", "questions");
    for (Operation const& operation : operations::all())
        cancelEverywhere(tally, operation, operation.sample(), mostFor(operation));
}

TEST_CASE("operationsAskBetweenTheirSteps") {
    struct Row {
        char const* name;
        std::int64_t fewestQuestions;
    };
    constexpr Row rows[] = {{"weld", 2},       {"cut", 5},
                            {"extrude", 7},    {"curvature", 4},
                            {"find holes", 3}, {"plane section", 4},
                            {"silhouette", 4}, {"merge", 3},
                            {"strips", 6},     {"strips for a cache", 6},
                            {"subdivide", 6},  {"verify", 6}};
    OneThread const oneThread;
    exhaustion::Tally tally("operations", "questions");
    for (Row const& row : rows) {
        CAPTURE(row.name);
        auto const operation =
            std::find_if(operations::all().begin(), operations::all().end(),
                         [&row](Operation const& each) { return each.name == row.name; });
        REQUIRE(operation != operations::all().end());
        CompactMesh const sample = operation->sample();
        operations::Run const run = operation->prepare(sample);
        std::int64_t const numQuestions =
            atEveryQuestion(tally, [&](Progress& progress, IsCancelled const& isCancelled) {
                CompactMesh mesh(sample);
                operations::Result const result = operations::outcomeOf(run, mesh, progress);
                CHECK(result.cancelled == isCancelled());
                CHECK(result.refusal.empty());
            });
        CHECK(numQuestions >= row.fewestQuestions);
    }
}

// On some hundred triangles most loops end before they ask.
TEST_CASE("operationsOnLargerMeshesCanBeCancelled") {
    OneThread const oneThread;
    exhaustion::Tally tally("operations", "questions");
    CompactMesh const cutting =
        support::joined(support::holed(support::sphere(4), 0.99, 3), support::sphere(3), 0.7f);
    CompactMesh const field = support::terrain(48, 48, 3);
    std::int64_t const most = std::min(mostOnLargerMeshes, exhaustion::mostTries());
    for (Operation const& operation : operations::all())
        if (!operation.isSlow)
            for (CompactMesh const& mesh : {cutting, field})
                cancelEverywhere(tally, operation, mesh, most);
}

TEST_CASE("everyCallOfTheCoreCanBeCancelledAtEveryQuestion") {
    OneThread const oneThread;
    exhaustion::Tally tally("calls", "questions");
    for (CoreCall const& call : coreCalls) {
        CAPTURE(call.name);
        CompactMesh const sample = call.sample();
        std::vector<float> const positions = support::coordinatesOf(sample);
        std::int64_t const numQuestions =
            atEveryQuestion(tally, [&](Progress& progress, IsCancelled const& isCancelled) {
                CompactMesh mesh(sample);
                call.run(mesh, progress);
                CHECK(support::faultOf(mesh).empty());
                if (!isCancelled())
                    return;
                if (call.isWholeOrNothing) {
                    CHECK(support::coordinatesOf(mesh) == positions);
                    CHECK(support::trianglesOf(mesh) == support::trianglesOf(sample));
                    CHECK(mesh.getUVs() == nullptr);
                }
                CHECK(trimora::censusOf(mesh).isOriented() ==
                      trimora::censusOf(sample).isOriented());
            });
        CHECK(numQuestions >= call.fewestQuestions);
    }
}

TEST_CASE("aTriangulationCanBeCancelledAtEveryQuestion") {
    exhaustion::Tally tally("calls", "questions");
    ko::vector<koLinear::Point> ring;
    for (int i = 0; i < 60; ++i)
        ring.emplace_back(std::cos(0.1 * i), std::sin(0.1 * i), 0.01 * (i % 7));
    std::int64_t const numQuestions =
        atEveryQuestion(tally, [&](Progress& progress, IsCancelled const& isCancelled) {
            ko::vector<int> triangles;
            bool const isWhole = koGeom::triangulatePolygon(ring, triangles, nullptr, &progress);
            CHECK(isWhole == !isCancelled());
            CHECK(triangles.size() == (isWhole ? 3 * (ring.size() - 2) : 0));
        });
    CHECK(numQuestions >= 1);
}

TEST_CASE("workersAreCancelledToo") {
    exhaustion::Tally tally("operations", "questions");
    support::withPools([&tally](int numThreads) {
        CAPTURE(numThreads);
        for (Operation const& operation : operations::all()) {
            bool const waits = operation.name == "deviation" || operation.name == "check" ||
                               operation.name == "distance" || operation.name == "render";
            if (!waits)
                continue;
            CAPTURE(operation.name);
            CompactMesh const sample = operation.sample();
            operations::Run const run = operation.prepare(sample);
            atEveryQuestion(tally, [&](Progress& progress, IsCancelled const& isCancelled) {
                CompactMesh mesh(sample);
                operations::Result const result = operations::outcomeOf(run, mesh, progress);
                CHECK(result.cancelled == isCancelled());
            });
        }
    });
}
