// Memory runs out in the operations of the toolkit: the mesh is as it was, and no file is left behind.

#include "coreCalls.h"
#include "operationTable.h"
#include "support/TemporaryFolder.h"
#include "support/sanitizers.h"
#include "toolkit/diagnosisPage.h"
#include "toolkit/elementSelection.h"
#include "toolkit/flatPicture.h"
#include "toolkit/mapDistortion.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshDiagnosis.h"
#include "toolkit/meshGeneration.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshStitching.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"
#include "toolkit/pngFile.h"
#include "toolkit/polylines.h"
#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"
#include "toolkit/surfacePaint.h"
#include "toolkit/vertexValues.h"
#include "toolkit/writeMesh.h"
#include "toolkit/writeText.h"
#include "unwatched.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <filesystem>
#include <memory>
#include <new>
#include <numeric>
#include <string_view>

using koGeom::CompactMesh;
using koUtil::Progress;
using koUtil::ThreadPool;
using operations::Operation;
using outOfMemory::failEverywhere;
using outOfMemory::OneThread;
using outOfMemory::Trial;
using trimora::InvariantDepth;
using trimora::stateOf;

namespace {

std::vector<int> allOf(std::vector<trimora::MeshHole> const& holes) {
    std::vector<int> chosen(holes.size());
    std::iota(chosen.begin(), chosen.end(), 0);
    return chosen;
}

CompactMesh mapped() {
    CompactMesh mesh = support::terrain(3, 3, 3);
    mesh.allocUVArray();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        mesh.getUVs()[v].u = mesh.getVertices()[v].x;
        mesh.getUVs()[v].v = mesh.getVertices()[v].y;
    }
    return mesh;
}

trimora::Diagnosis diagnosisOf(CompactMesh const& mesh) {
    Progress progress;
    return trimora::diagnoseMesh(mesh, {}, {}, progress);
}

/// What is asked of meshes beside the operations.
std::vector<coreCalls::MeshCall> const furtherCalls = {
    {"diagnoseMesh", coreCalls::bowTies, [](CompactMesh& m) { diagnosisOf(m); }},
    {"diagnoseMesh of what cuts itself", coreCalls::twoBalls,
     [](CompactMesh& m) { diagnosisOf(m); }},
    {"writeDiagnosisPage", coreCalls::holedBall,
     [](CompactMesh& m) {
         trimora::Diagnosis const diagnosis = diagnosisOf(m);
         trimora::DiagnosisPage page;
         page.title = "holed";
         page.mesh = &m;
         page.diagnosis = &diagnosis;
         trimora::writeDiagnosisPage(page);
     }},
    {"paints", coreCalls::bowTies,
     [](CompactMesh& m) {
         Progress progress;
         trimora::paintDefects(m, trimora::checkMesh(m, {}, progress));
         trimora::paintSelection(m, koGeom::BitVector(m.getNumTriangles()));
         std::vector<float> values(static_cast<std::size_t>(m.getNumVertices()), 0.5f);
         std::vector<trimora::SurfacePaint> both{trimora::paintDeviation(values),
                                                 trimora::paintDistance(values)};
         trimora::shareScale(both);
     }},
    {"plans", coreCalls::twoStrips,
     [](CompactMesh& m) {
         auto const holes = unwatched::findHoles(m);
         trimora::planFilling(m, holes, allOf(holes), {});
         trimora::planStitching(m, holes, allOf(holes), 0.1);
         trimora::suggestStitchDistance(m, holes, allOf(holes));
     }},
    {"parts and copies", coreCalls::twoBalls,
     [](CompactMesh& m) {
         trimora::splitIntoParts(m);
         CompactMesh bare = trimora::bareCopy(m);
         bare.allocUVArray();
         trimora::dropVertexSets(bare);
         bare.resizeVertexArray(m.getNumVertices() + 2);
         trimora::removeUnusedVertices(bare);
     }},
    {"maps", mapped,
     [](CompactMesh& m) {
         trimora::CornerUVs const corners = trimora::cornersOf(m).corners;
         trimora::measureMap(m, corners);
         trimora::measureMaps(
             m, corners, std::vector<int>(static_cast<std::size_t>(m.getNumTriangles()), 0), 1);
         trimora::drawFlatMap(m, corners);
     }},
    {"polygons", coreCalls::ball,
     [](CompactMesh& m) {
         koGeom::TopoMesh topo;
         trimora::fillTopoMesh(topo, m, {});
         trimora::polygonMesh(topo);
     }},
    {"scans", coreCalls::ball,
     [](CompactMesh&) {
         trimora::makeScan(1, 3);
         trimora::makeDamagedScan(1, 3);
     }},
    {"shapes", coreCalls::ball,
     [](CompactMesh&) {
         for (char const* const name : {"rectangle", "arc", "quad-cube", "polygon", "octahedron"}) {
             trimora::Shape const* const shape = trimora::findShape(name);
             if (shape != nullptr)
                 trimora::generateShape(*shape, trimora::shapeValues(*shape, {}));
         }
         trimora::suggestShape("spere");
     }},
};

/// Writes a file whole or not at all: `write` gets its path.
void tryFile(exhaustion::Tally& tally, std::string const& name,
             std::function<void(std::string const& path)> const& write) {
    CAPTURE(name);
    support::TemporaryFolder const folder;
    std::string const path = folder.path(name);
    write(path);
    auto const size = std::filesystem::file_size(path);
    failEverywhere(tally, [&] {
        return Trial{[&] { write(path); },
                     [&](bool) { CHECK(std::filesystem::file_size(path) == size); }};
    });
    auto const files = std::filesystem::directory_iterator(folder.path());
    CHECK(std::distance(begin(files), end(files)) == 1);  // no half-written one is left behind
}

}  // namespace

TEST_CASE("everyOperationComesOutOfMemoryWithItsMeshAsItWas") {
    OneThread const oneThread;
    exhaustion::Tally tally("operations", "allocations");
    for (Operation const& operation : operations::all()) {
        if (operation.isSlow && support::hasThreadSanitizer)
            continue;
        CAPTURE(operation.name);
        CompactMesh const sample = operation.sample();
        operations::Run const run = operation.prepare(sample);
        trimora::MeshState const before = stateOf(sample, InvariantDepth::Arrays);
        failEverywhere(tally, [&] {
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

TEST_CASE("whatElseIsAskedOfMeshesComesOutOfMemory") {
    coreCalls::tryMeshes(furtherCalls, false);
}

TEST_CASE("filesComeOutOfMemory") {
    OneThread const oneThread;
    exhaustion::Tally tally("calls", "allocations");
    CompactMesh const mesh = mapped();
    support::TemporaryFolder const folder;
    for (char const* const format : {"obj", "stl", "off", "ply", "glb"}) {
        CAPTURE(format);
        std::string const path = folder.path(std::string("ball.") + format);
        if (!trimora::writeMesh(path, mesh))
            continue;  // a format that is not built in
        // Read in a process of its own: forks of a process with threads are not what the thread sanitizer is for.
        if (std::string_view(format) == "glb" && support::hasThreadSanitizer)
            continue;
        failEverywhere(tally, [&] {
            auto const read = std::make_shared<CompactMesh>();
            return Trial{[read, &path] {
                             trimora::ReadReport report;
                             trimora::ReadOptions options;
                             options.weld = true;
                             trimora::readMesh(path, *read, report, options);
                         },
                         [read](bool) { CHECK(!trimora::faultOfMesh(*read)); }};
        });
        tryFile(tally, std::string("written.") + format,
                [&](std::string const& to) { trimora::writeMesh(to, mesh); });
    }
}

TEST_CASE("filesBesideMeshesComeOutOfMemory") {
    OneThread const oneThread;
    exhaustion::Tally tally("calls", "allocations");
    CompactMesh const mesh = mapped();
    std::vector<float> const values(static_cast<std::size_t>(mesh.getNumVertices()), 0.5f);
    std::vector<trimora::Polyline> const lines{{{0, 0, 0}, {1, 2, 3}}, {{0, 0, 1}, {1, 2, 4}}};
    tryFile(tally, "values.csv", [&](std::string const& path) {
        trimora::writeVertexValues(path, mesh, "height", values);
    });
    tryFile(tally, "values.ply", [&](std::string const& path) {
        CompactMesh valued = mesh;
        trimora::FileOutcome outcome;
        trimora::addVertexValues(valued, *trimora::findValueFormat(path, outcome), "height",
                                 values);
        trimora::writeMesh(path, valued);
    });
    tryFile(tally, "lines.obj", [&](std::string const& path) {
        trimora::writePolylines(path, lines);
        std::vector<trimora::Polyline> read;
        trimora::readPolylines(path, read);
    });
    tryFile(tally, "picture.png",
            [&](std::string const& path) { trimora::writePng(path, trimora::Picture(5, 4)); });
    tryFile(tally, "selection.txt", [&](std::string const& path) {
        trimora::writeText(path, "0 2-5, 7");
        koGeom::BitVector selection;
        trimora::readTriangleSelection(path, 9, selection);
        trimora::readVertexSelection(path, 9, selection);
    });
    tryFile(tally, "text.txt",
            [&](std::string const& path) { trimora::writeText(path, "as it stands"); });
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
