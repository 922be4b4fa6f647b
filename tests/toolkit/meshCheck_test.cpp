// The report and the stepwise repair over the zoo: counts against brute force, and nothing that was asked for left.

#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshGeneration.h"
#include "toolkit/sampleMeshes.h"

#include <algorithm>
#include <doctest/doctest.h>

using koGeom::CompactMesh;

namespace {

trimora::CheckResult checked(CompactMesh const& mesh) {
    koUtil::Progress progress;
    return trimora::checkMesh(mesh, {}, progress);
}

trimora::RepairOutcome repaired(CompactMesh& mesh, trimora::RepairOptions const& options) {
    koUtil::Progress progress;
    return trimora::repairMesh(mesh, options, progress);
}

bool hasStep(trimora::RepairOutcome const& outcome, char const* what) {
    return std::any_of(outcome.steps.begin(), outcome.steps.end(),
                       [what](trimora::RepairStep const& step) { return step.what == what; });
}

}  // namespace

TEST_CASE("countsAgreeWithBruteForceOverTheZoo") {
    for (support::NamedMesh const& named : support::zoo()) {
        CAPTURE(named.name);
        // Brute force counts an edge (a, a) of a degenerate triangle as an edge; the report does not.
        if (named.name == "degenerate triangles" || named.name.find("lattice") != std::string::npos)
            continue;
        trimora::CheckResult const result = checked(named.mesh);
        CHECK(result.components == support::numComponents(named.mesh));
        CHECK(result.boundaryEdges == support::numBorderEdges(named.mesh));
        CHECK(result.eulerCharacteristic == support::eulerNumber(named.mesh));
        CHECK(result.closed == (named.mesh.getNumTriangles() > 0 && result.boundaryEdges == 0));
        CHECK(result.nonManifoldVertices.has_value() == (result.nonManifoldEdges == 0));
    }
}

TEST_CASE("cleanMeshesAreClean") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        CAPTURE(named.name);
        trimora::CheckResult const result = checked(named.mesh);
        CHECK(result.clean);
        CHECK(result.offences.empty());
    }
}

TEST_CASE("seamsThatCoincideAreNoIntersections") {
    trimora::CheckResult const result = checked(support::soup(support::sphere(3)));
    CHECK(result.intersectingTriangles == 0);
    CHECK(result.coincidentVertices == 3 * 512 - 258);
    CHECK(checked(support::joined(support::sphere(2), support::sphere(2), 0.7f))
              .intersectingTriangles > 0);
}

// A weld keeps vertices apart that differ in their normals; the triangles there touch all the same.
TEST_CASE("seamsOfNormalsAreNoIntersections") {
    trimora::Shape const& shape = *trimora::findShape("cube");
    CompactMesh mesh = trimora::generateShape(shape, trimora::shapeValues(shape, {})).mesh;
    trimora::CheckResult const result = checked(mesh);
    CHECK(result.intersectingTriangles == 0);
    CHECK(result.coincidentVertices == 16);
    CHECK(result.clean);

    trimora::RepairOptions options;
    options.selfIntersections = true;
    CHECK(repaired(mesh, options).refusal.find("leave out --self-intersections") !=
          std::string::npos);
    CHECK(mesh.getNumTriangles() == 12);
    options.selfIntersections = false;
    CHECK(repaired(mesh, options).fullyRepaired);
    CHECK(mesh.getNumTriangles() == 12);
}

TEST_CASE("damagedScanHasEveryDefectAndIsRepaired") {
    CompactMesh mesh = trimora::makeDamagedScan(5, 3);
    trimora::RepairOptions options;
    options.selfIntersections = true;
    trimora::RepairOutcome const outcome = repaired(mesh, options);
    CHECK(outcome.fullyRepaired);
    for (char const* const what :
         {"weld coincident vertices", "remove duplicate and degenerate triangles",
          "remove surplus triangles on non-manifold edges", "split non-manifold vertices", "orient",
          "remove a Moebius strip"}) {
        CAPTURE(what);
        CHECK(hasStep(outcome, what));
    }
    trimora::CheckResult const result = checked(mesh);
    CHECK(result.clean);
    CHECK(result.boundaryEdges > 0);

    trimora::CheckResult const scan = checked(trimora::makeScan(5, 3));
    CHECK(scan.clean);
    CHECK(scan.closed);
    CHECK(scan.eulerCharacteristic == 2);
}

TEST_CASE("repairLeavesNothingThatWasAskedFor") {
    for (bool const everything : {false, true}) {
        for (support::NamedMesh const& named : support::zoo()) {
            CAPTURE(named.name);
            trimora::RepairOptions options;
            options.selfIntersections = everything;
            if (everything)
                options.foldAngle = 15.0;
            CompactMesh mesh(named.mesh);
            trimora::RepairOutcome const outcome = repaired(mesh, options);
            CHECK(support::faultOf(mesh).empty());
            int removed = 0;
            for (trimora::RepairStep const& step : outcome.steps)
                removed += step.trianglesRemoved;
            CHECK(named.mesh.getNumTriangles() - removed == mesh.getNumTriangles());
            if (!outcome.fullyRepaired) {
                CHECK(named.name == "moebius");
                continue;
            }
            trimora::CheckResult const result = checked(mesh);
            CHECK(result.duplicateTriangles == 0);
            CHECK(result.degenerateTriangles == 0);
            CHECK(result.nonManifoldEdges == 0);
            CHECK(result.nonManifoldVertices == 0);
            CHECK(result.oriented);
        }
    }
}

// Two squares, a speck, and a vertex of nothing, each vertex with a texture coordinate of its own.
TEST_CASE("repairLeavesDustAndUnusedVerticesOut") {
    CompactMesh const speck = support::meshOf({0, 0, 0, 0.01f, 0, 0, 0, 0.01f, 0}, {0, 1, 2});
    CompactMesh const all =
        support::joined(support::joined(support::joined(support::grid(1, 1), speck, 3.0f),
                                        support::grid(1, 1), 6.0f),
                        support::meshOf({9, 9, 9}, {}));
    std::vector<koGeom::MeshUV> uvs(12);
    for (std::size_t v = 0; v < uvs.size(); ++v)
        uvs[v].u = static_cast<float>(v);
    CompactMesh const source(12, all.getVertices(), nullptr, uvs.data(), nullptr);
    auto const repaired = [&](std::optional<double> dustShare, bool dropUnused) {
        CompactMesh mesh(source);
        mesh.copyTriangles(all.getNumTriangles(), all.getTrianglesRaw());
        trimora::RepairOptions options;
        options.dustShare = dustShare;
        options.dropUnused = dropUnused;
        koUtil::Progress progress;
        trimora::RepairOutcome const outcome = trimora::repairMesh(mesh, options, progress);
        CHECK(outcome.refusal.empty() == (dustShare.value_or(0.1) < 0.9));
        return mesh;
    };
    auto const numbersOf = [](CompactMesh const& mesh) {
        std::vector<int> numbers;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            numbers.push_back(static_cast<int>(mesh.getUVs()[v].u));
        return numbers;
    };
    using Numbers = std::vector<int>;
    CHECK(numbersOf(repaired({}, false)).size() == 12);
    CHECK(numbersOf(repaired({}, true)) == Numbers({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    CHECK(numbersOf(repaired(0.01, false)) == Numbers({0, 1, 2, 3, 7, 8, 9, 10, 11}));
    CompactMesh const tidy = repaired(0.01, true);
    CHECK(numbersOf(tidy) == Numbers({0, 1, 2, 3, 7, 8, 9, 10}));
    CHECK(support::trianglesOf(tidy) ==
          support::trianglesOf(support::joined(support::grid(1, 1), support::grid(1, 1), 6.0f)));
    for (double const share : {0.9, 1.0, 7.0, double(NAN)})  // every part is less; no share
        CHECK(numbersOf(repaired(share, true)).size() == 12);
    CHECK(numbersOf(repaired(0.4999, false)).size() == 9);
}

TEST_CASE("progressOfACheckRisesToItsEnd") {
    koUtil::ThreadPool single(
        1);  // of several threads the first alone speaks, when it gets its turn
    koUtil::ThreadPool::setShared(&single);
    for (bool const withIntersections : {true, false}) {
        std::vector<double> values;
        koUtil::Progress progress;
        progress.setListener([&values](double value, char const*) { values.push_back(value); });
        trimora::CheckOptions options;
        options.testIntersections = withIntersections;
        trimora::checkMesh(support::sphere(4), options, progress);
        CHECK(std::is_sorted(values.begin(), values.end()));
        CHECK(values.back() == 1.0);
        // No stretch of the work is silent for more than a quarter of the bar.
        for (std::size_t i = 1; i < values.size(); ++i)
            CHECK(values[i] - values[i - 1] <= 0.25 + 1e-9);
    }
    koUtil::ThreadPool::setShared(nullptr);
}

TEST_CASE("cancelledCheckAndRepairSaySo") {
    koUtil::Progress progress;
    progress.cancel();
    CompactMesh mesh = trimora::makeDamagedScan(4, 1);
    CHECK(trimora::checkMesh(mesh, {}, progress).cancelled);
    trimora::RepairOutcome const outcome = trimora::repairMesh(mesh, {}, progress);
    CHECK(outcome.cancelled);
    CHECK_FALSE(outcome.fullyRepaired);
    CHECK(support::faultOf(mesh).empty());
}
