// A run is cancelled at its first question, its second and so on to its last: each time the mesh is as it was, or valid, as it was promised,
// and the invariants hold. The questions are counted in a run that is left alone.

#include "operationTable.h"
#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/meshInvariants.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koUtil/detail/CancelAtQuestion.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"
#include "trimora/parameterize/reparameterizeMesh.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/meshHoleFill.h"
#include "trimora/stitch/MeshMerge.h"

#include <algorithm>
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

constexpr std::int64_t mostRuns = 60;  // of one call; beyond, every n-th question is taken
constexpr std::int64_t mostRunsOnPools = 10;

/// Tells whether a run has been cancelled by now, without being a question itself.
using IsCancelled = std::function<bool()>;

/// Runs a call once and then once for each of its questions.
std::int64_t atEveryQuestion(std::function<void(Progress&, IsCancelled const&)> const& call,
                             std::int64_t runs = mostRuns) {
    std::int64_t numQuestions = 0;
    {
        Progress progress;
        CancelAtQuestion const counter(progress, CancelAtQuestion::never);
        call(progress, [] { return false; });
        numQuestions = counter.numAsked();
    }
    std::int64_t const step = std::max<std::int64_t>(1, numQuestions / runs);
    for (std::int64_t k = 1; k <= numQuestions; k += step) {
        CAPTURE(k);
        Progress progress;
        CancelAtQuestion const canceller(progress, k);
        call(progress, [&canceller, k] { return canceller.numAsked() >= k; });
    }
    return numQuestions;
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
    {"MeshMerge", false, 0, [] { return support::sphere(1); },
     [](CompactMesh& mesh, Progress& progress) {
         CompactMesh const other = support::cube();
         ko::list<koGeom::MeshPlacement> placed;
         placed.push_back({koGeom::AffineMatrixFlt::Identity, &other});
         koGeom::MeshMerge(mesh, placed, 0.0f).merge(progress);
     }},
};

}  // namespace

TEST_CASE("everyOperationCanBeCancelledAtEveryQuestion") {
    OneThread const oneThread;
    for (Operation const& operation : operations::all()) {
        CAPTURE(operation.name);
        CompactMesh const sample = operation.sample();
        operations::Run const run = operation.prepare(sample);
        MeshState const before = stateOf(sample, InvariantDepth::Arrays);
        atEveryQuestion([&](Progress& progress, IsCancelled const& isCancelled) {
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
        });
    }
}

TEST_CASE("everyCallOfTheCoreCanBeCancelledAtEveryQuestion") {
    OneThread const oneThread;
    for (CoreCall const& call : coreCalls) {
        CAPTURE(call.name);
        CompactMesh const sample = call.sample();
        std::vector<float> const positions = support::coordinatesOf(sample);
        std::int64_t const numQuestions = atEveryQuestion([&](Progress& progress,
                                                              IsCancelled const& isCancelled) {
            CompactMesh mesh(sample);
            support::ModificationCounter const notices(mesh);
            call.run(mesh, progress);
            CHECK(support::faultOf(mesh).empty());
            if (!isCancelled())
                return;
            if (call.isWholeOrNothing) {
                CHECK(support::coordinatesOf(mesh) == positions);
                CHECK(support::trianglesOf(mesh) == support::trianglesOf(sample));
                CHECK(mesh.getUVs() == nullptr);
            }
            CHECK(trimora::censusOf(mesh).isOriented() == trimora::censusOf(sample).isOriented());
        });
        CHECK(numQuestions >= call.fewestQuestions);
    }
}

TEST_CASE("workersAreCancelledToo") {
    support::withPools([](int numThreads) {
        CAPTURE(numThreads);
        for (Operation const& operation : operations::all()) {
            if (operation.name != "deviation" && operation.name != "check" &&
                operation.name != "distance" && operation.name != "render")
                continue;
            CAPTURE(operation.name);
            CompactMesh const sample = operation.sample();
            operations::Run const run = operation.prepare(sample);
            atEveryQuestion(
                [&](Progress& progress, IsCancelled const& isCancelled) {
                    CompactMesh mesh(sample);
                    operations::Result const result = operations::outcomeOf(run, mesh, progress);
                    CHECK(result.cancelled == isCancelled());
                },
                mostRunsOnPools);
        }
    });
}
