// Reduction from the outside: targets, tolerances kept by brute measure, refusals, why it stopped.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshReduction.h"
#include "toolkit/meshTidying.h"

#include <doctest/doctest.h>

using koGeom::CompactMesh;
using trimora::ReduceMethod;
using trimora::ReduceOutcome;

namespace {

ReduceOutcome reduce(CompactMesh& mesh, ReduceMethod method, double value) {
    koUtil::Progress progress;
    return trimora::reduceMesh(mesh, {method, value}, progress);
}

}  // namespace

TEST_CASE("everyMethodReachesItsTarget") {
    for (ReduceMethod const method : {ReduceMethod::Fraction, ReduceMethod::Collapse}) {
        CompactMesh mesh = support::sphere(5);
        ReduceOutcome const outcome = reduce(mesh, method, 0.25);
        REQUIRE(outcome.refusal.empty());
        CHECK(outcome.stopped == "target");
        CHECK(outcome.before.triangles == 8192);
        CHECK(outcome.after.triangles == mesh.getNumTriangles());
        CHECK(mesh.getNumTriangles() <= 2060);
        CHECK(outcome.after.components == 1);
        CHECK(outcome.after.boundaries == 0);
        CHECK(support::eulerNumber(mesh) == 2);
        CHECK(support::faultOf(mesh).empty());
        CHECK(outcome.passes.has_value() == (method == ReduceMethod::Fraction));
        CHECK(support::volume(mesh) == doctest::Approx(4.18879).epsilon(0.02));
    }
}

TEST_CASE("theToleranceHoldsForEveryVertexThatWasThere") {
    for (double const tolerance : {0.3, 0.1, 0.02}) {
        CompactMesh const before = support::terrain(40, 30, 9);
        CompactMesh mesh = before;
        ReduceOutcome const outcome = reduce(mesh, ReduceMethod::Tolerance, tolerance);
        CHECK(outcome.after.triangles < outcome.before.triangles);
        CHECK(outcome.after.boundaries == 1);
        CHECK(outcome.maxDeviation.value() <= tolerance * (1.0 + 1e-6));
        koUtil::Progress progress;
        auto const measured = trimora::measureDistance(before, mesh, progress);
        CHECK(measured.fromFirst.largest <= tolerance * (1.0 + 1e-6));
        CHECK(measured.fromSecond.largest <= 1e-6);  // vertices that stay are where they were
    }
}

TEST_CASE("aTargetBelowFourTrianglesAComponentIsRefused") {
    CompactMesh two = support::joined(support::sphere(2), support::sphere(2), 5.0f);
    ReduceOutcome const outcome = reduce(two, ReduceMethod::Collapse, 7.0 / 256.0);
    CHECK(outcome.refusal ==
          "the target of 7 triangles is below 4 for each of its 2 components; ask for a fraction "
          "of at least 0.03125");
    CHECK(two.getNumTriangles() == 256);
    CHECK(reduce(two, ReduceMethod::Collapse, 8.0 / 256.0).refusal.empty());
    CompactMesh soup = support::soup(support::cube());
    CHECK(reduce(soup, ReduceMethod::Collapse, 0.9).refusal.find("weld") != std::string::npos);
}

TEST_CASE("aSphereGoesDownToATetrahedron") {
    CompactMesh mesh = support::sphere(3);
    ReduceOutcome const outcome = reduce(mesh, ReduceMethod::Collapse, 4.0 / 512.0);
    CHECK(outcome.stopped == "target");
    CHECK(mesh.getNumTriangles() == 4);
    CHECK(mesh.getNumVertices() == 4);
    CHECK(support::eulerNumber(mesh) == 2);
}

TEST_CASE("edgesOfMoreThanTwoTrianglesAreNamedWhereNothingCanGo") {
    CompactMesh const sheet = support::grid(6, 6);
    CompactMesh doubled = sheet;
    std::vector<int> triangles = support::trianglesOf(sheet);
    for (int t = 0; t < sheet.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = sheet.getTriangles()[t];
        triangles.insert(triangles.end(), {corners[0], corners[2], corners[1]});
    }
    doubled = support::meshOf(support::coordinatesOf(sheet), triangles);
    ReduceOutcome const outcome = reduce(doubled, ReduceMethod::Collapse, 0.5);
    CHECK(outcome.stopped == "nothingLeft");
    CHECK(outcome.nonManifoldEdges == 6 * 6 * 3 - 12);  // all but those of the rim
    CHECK(trimora::stopInWords(outcome).find("more than two triangles") != std::string::npos);
    CompactMesh plain = support::grid(3, 1);
    CHECK(reduce(plain, ReduceMethod::Fraction, 0.1).nonManifoldEdges == 0);
}

TEST_CASE("unusedVerticesGoFirstAndDoNotCount") {
    CompactMesh mesh = support::joined(support::sphere(4), support::grid(10, 10), 9.0f);
    mesh.resizeTriangleArray(2048);  // the grid's vertices stay without triangles
    ReduceOutcome const outcome = reduce(mesh, ReduceMethod::Fraction, 0.5);
    CHECK(outcome.unusedVertices == 121);
    CHECK(outcome.stopped == "target");
    CHECK(mesh.getNumVertices() <= 513);
    CHECK(mesh.getNumVertices() > 450);
    CHECK(trimora::removeUnusedVertices(mesh) == 0);
}

TEST_CASE("unusedVerticesAreRemovedInPlace") {
    CompactMesh mesh =
        support::meshOf({9, 9, 9, 0, 0, 0, 8, 8, 8, 1, 0, 0, 0, 1, 0, 7, 7, 7}, {1, 3, 4});
    support::ModificationCounter const counter(mesh);
    CHECK(trimora::removeUnusedVertices(mesh) == 3);
    CHECK(support::coordinatesOf(mesh) == std::vector<float>{0, 0, 0, 1, 0, 0, 0, 1, 0});
    CHECK(support::trianglesOf(mesh) == std::vector<int>{0, 1, 2});
    CHECK(trimora::removeUnusedVertices(mesh) == 0);
    CHECK(counter.total() == 1);
}

TEST_CASE("whyItStoppedIsTold") {
    CompactMesh sheet = support::grid(3, 1);
    CHECK(reduce(sheet, ReduceMethod::Fraction, 0.1).stopped == "nothingLeft");
    CompactMesh flat = support::grid(20, 20);
    CHECK(reduce(flat, ReduceMethod::Tolerance, 0.01).stopped != "target");
    CompactMesh whole = support::sphere(2);
    CHECK(reduce(whole, ReduceMethod::Fraction, 1.0).stopped == "target");
    CHECK(whole.getNumTriangles() == 128);
    CompactMesh empty;
    CHECK(reduce(empty, ReduceMethod::Fraction, 0.5).after.triangles == 0);
    CHECK(reduce(empty, ReduceMethod::Collapse, 0.5).refusal.empty());
    for (char const* const key :
         {"target", "tolerance", "nothingLeft", "onePercent", "cancelled"}) {
        ReduceOutcome outcome;
        outcome.stopped = key;
        CHECK(!trimora::stopInWords(outcome).empty());
    }
}

TEST_CASE("anythingCanBeReduced") {
    for (auto const& [name, mesh] : support::zoo()) {
        CAPTURE_BINDING(name);
        for (ReduceMethod const method :
             {ReduceMethod::Fraction, ReduceMethod::Tolerance, ReduceMethod::Collapse}) {
            CompactMesh reduced = mesh;
            ReduceOutcome const outcome = reduce(reduced, method, 0.3);
            CHECK(support::faultOf(reduced).empty());
            CHECK(reduced.getNumTriangles() <= mesh.getNumTriangles());
            if (!outcome.refusal.empty())
                CHECK(method == ReduceMethod::Collapse);
        }
    }
}

TEST_CASE("setsThatAnEditCannotCarryAreNamed") {
    CompactMesh mesh = support::sphere(4);
    mesh.allocUVArray();
    mesh.allocNormalArray();
    mesh.setNormalsComputed(true);
    ReduceOutcome const outcome = reduce(mesh, ReduceMethod::Fraction, 0.5);
    CHECK(outcome.dropped == std::vector<std::string>{"uvs"});
    CHECK(mesh.getNormals() == nullptr);
    CHECK(trimora::dropVertexSets(mesh).empty());
}

TEST_CASE("setsStayWhereNothingCouldGo") {
    for (ReduceMethod const method :
         {ReduceMethod::Fraction, ReduceMethod::Tolerance, ReduceMethod::Collapse}) {
        CompactMesh mesh = support::sphere(3);
        mesh.allocUVArray();
        mesh.getUVs()[5].u = 0.25f;
        auto const triangles = support::trianglesOf(mesh);
        support::ModificationCounter const counter(mesh);
        double const value = method == ReduceMethod::Tolerance ? 1e-9 : 1.0;
        ReduceOutcome const outcome = reduce(mesh, method, value);
        CHECK(outcome.after.triangles == 512);
        CHECK(outcome.dropped.empty());
        REQUIRE(mesh.getUVs() != nullptr);
        CHECK(mesh.getUVs()[5].u == 0.25f);
        CHECK(support::trianglesOf(mesh) == triangles);
        CHECK(counter.total() == 0);
    }
}

// Once, tolerances of a fixed size made small meshes flat, and squares of floats left the range on large ones.
TEST_CASE("reductionDoesNotDependOnTheSizeOfTheMesh") {
    CompactMesh const mesh = support::terrain(20, 15, 9);  // 25 across
    double const tolerance = 0.1;
    for (ReduceMethod const method :
         {ReduceMethod::Fraction, ReduceMethod::Tolerance, ReduceMethod::Collapse}) {
        CAPTURE(int(method));
        bool const isLength = method == ReduceMethod::Tolerance;
        CompactMesh unscaled = mesh;
        ReduceOutcome const normal = reduce(unscaled, method, isLength ? tolerance : 0.3);
        std::vector<float> expected;
        for (double const scale : {0x1p-100, 0x1p-40, 0x1p-20, 0x1p40, 0x1p80, 0x1p120}) {
            CAPTURE(scale);
            CompactMesh scaled = mesh;
            trimora::scaleVertices(scaled, scale);
            CompactMesh const before = scaled;
            ReduceOutcome const outcome =
                reduce(scaled, method, isLength ? scale * tolerance : 0.3);
            CHECK(std::abs(outcome.after.triangles - normal.after.triangles) < 25);
            koUtil::Progress progress;
            auto const measured = trimora::measureDistance(before, scaled, progress);
            CHECK(measured.fromFirst.vertices == mesh.getNumVertices());
            CHECK(measured.fromFirst.largest > 0.0);
            CHECK(measured.diagonal == doctest::Approx(scale * trimora::diagonalOf(mesh)));
            if (isLength) {
                CHECK(measured.fromFirst.largest <= scale * tolerance * (1.0 + 1e-6));
                CHECK(outcome.maxDeviation.value() <= scale * tolerance * (1.0 + 1e-6));
                CHECK(outcome.maxDeviation.value() > 0.0);
            }
            trimora::scaleVertices(scaled, 1.0 / scale);
            if (expected.empty())
                expected = support::coordinatesOf(scaled);
            CHECK(support::coordinatesOf(scaled) == expected);
        }
    }
}

TEST_CASE("piecesThatCameDownToTwoTrianglesAreCounted") {
    CompactMesh tetrahedra = support::tetrahedron();
    for (int i = 1; i < 3; ++i)
        tetrahedra = support::joined(tetrahedra, support::tetrahedron(), 5.0f * float(i));
    ReduceOutcome const outcome = reduce(tetrahedra, ReduceMethod::Fraction, 0.01);
    CHECK(outcome.flattenedPieces == 3);
    CHECK(outcome.after.triangles == 6);
    // Those that were flat before are not counted again; two triangles that share an edge only are none.
    CHECK(reduce(tetrahedra, ReduceMethod::Fraction, 0.01).flattenedPieces == 0);
    CompactMesh square = support::grid(1, 1);
    CHECK(reduce(square, ReduceMethod::Fraction, 0.5).flattenedPieces == 0);
}

TEST_CASE("aCancelledReductionLeavesAValidMesh") {
    CompactMesh mesh = support::sphere(5);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::reduceMesh(mesh, {ReduceMethod::Fraction, 0.1}, progress).cancelled);
    CHECK(support::faultOf(mesh).empty());
}
