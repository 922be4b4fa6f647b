// Extrusion from the outside: solids from sheets, walls within surfaces, several borders and regions, refusals; and files
// that select triangles.

#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "toolkit/elementSelection.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/meshVerification.h"
#include "unwatched.h"

#include <doctest/doctest.h>

using koGeom::BitVector;
using koGeom::CompactMesh;
using koLinear::Vector;
using trimora::ExtrudeOutcome;

namespace {

BitVector bitsOf(int size, std::vector<int> const& numbers) {
    BitVector bits(size);
    for (int const number : numbers)
        bits.setBit(number);
    return bits;
}

BitVector allOf(CompactMesh const& mesh) {
    BitVector bits(mesh.getNumTriangles());
    bits.setAllBits();
    return bits;
}

trimora::CheckResult checked(CompactMesh const& mesh) {
    koUtil::Progress progress;
    return trimora::checkMesh(mesh, {}, progress);
}

std::string problemOf(std::string const& text, int numTriangles = 10) {
    BitVector selection;
    return trimora::readTriangleSelectionText(text, "s", numTriangles, selection).message;
}

/// grid(5, 5) without the two triangles of the square in its middle.
CompactMesh frame() {
    CompactMesh const sheet = support::grid(5, 5);
    std::vector<int> corners = support::trianglesOf(sheet);
    corners.erase(corners.begin() + 3 * 24, corners.begin() + 3 * 26);
    return support::meshOf(support::coordinatesOf(sheet), corners);
}

}  // namespace

TEST_CASE("aSheetBecomesABox") {
    for (double const distance : {0.5, -0.5}) {
        CAPTURE(distance);
        CompactMesh mesh = support::grid(3, 2);
        ExtrudeOutcome const outcome = unwatched::extrudeMesh(mesh, allOf(mesh), {distance, {}});
        REQUIRE(outcome.refusal.empty());
        CHECK(outcome.regions == 1);
        CHECK(outcome.freeRegions == 1);
        CHECK(outcome.walls == 10);
        CHECK(support::volume(mesh) == doctest::Approx(3.0));
        CHECK(support::area(mesh) == doctest::Approx(17.0));
        trimora::CheckResult const result = checked(mesh);
        CHECK(result.clean);
        CHECK(result.closed);
        CHECK(unwatched::verifyMesh(mesh, {}).passed);
    }
}

TEST_CASE("aSheetWithAHoleBecomesAFrame") {
    CompactMesh mesh = frame();
    ExtrudeOutcome const outcome = unwatched::extrudeMesh(mesh, allOf(mesh), {2.0, {}});
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.walls == 24);
    CHECK(support::volume(mesh) == doctest::Approx(48.0));
    CHECK(support::eulerNumber(mesh) == 0);
    trimora::CheckResult const result = checked(mesh);
    CHECK(result.clean);
    CHECK(result.closed);
}

TEST_CASE("aPatchWithinASurfaceIsReplaced") {
    CompactMesh mesh = support::grid(5, 5);
    ExtrudeOutcome const outcome = unwatched::extrudeMesh(mesh, bitsOf(50, {24, 25}), {1.0, {}});
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.freeRegions == 0);
    CHECK(outcome.walls == 4);
    CHECK(mesh.getNumTriangles() == 58);
    CHECK(mesh.getNumVertices() == 40);
    CHECK(support::area(mesh) == doctest::Approx(29.0));
    trimora::CheckResult const result = checked(mesh);
    CHECK(result.clean);
    CHECK(result.boundaries == 1);
    CHECK(result.unusedVertices == 0);
}

TEST_CASE("innerVerticesOfAReplacedPatchGo") {
    CompactMesh mesh = support::sphere(4);
    BitVector cap(mesh.getNumTriangles());
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (mesh.getVertices()[mesh.getTriangles()[t][0]].z > 0.7f)
            cap.setBit(t);
    }
    ExtrudeOutcome const outcome = unwatched::extrudeMesh(mesh, cap, {0.5, Vector(0, 0, 3)});
    REQUIRE(outcome.refusal.empty());
    trimora::CheckResult const result = checked(mesh);
    CHECK(result.closed);
    CHECK(result.oriented);
    CHECK(result.nonManifoldEdges == 0);
    CHECK(result.unusedVertices == 0);
    CHECK(result.eulerCharacteristic == 2);
    float highest = 0.0f;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        highest = std::max(highest, mesh.getVertices()[v].z);
    CHECK(highest == doctest::Approx(1.5f));
}

// A ring of triangles round a hole has one border within the surface and one that is the surface's own.
TEST_CASE("aRingBesideTheBorderIsReplacedToo") {
    CompactMesh mesh = frame();
    BitVector ring(mesh.getNumTriangles());
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Vector centre;
        for (int const v : mesh.getTriangles()[t].vertices)
            centre += mesh.getVertices()[v].asPoint().asVector() / 3.0;
        if (centre.x > 1 && centre.x < 4 && centre.y > 1 && centre.y < 4)
            ring.setBit(t);
    }
    ExtrudeOutcome const outcome = unwatched::extrudeMesh(mesh, ring, {1.0, {}});
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.freeRegions == 0);
    CHECK(outcome.walls == 16);
    CHECK(support::area(mesh) == doctest::Approx(24.0 + 16.0));
    trimora::CheckResult const result = checked(mesh);
    CHECK(result.clean);
    CHECK(result.boundaries == 2);
}

TEST_CASE("regionsGoAlongTheirOwnNormals") {
    CompactMesh mesh = support::cube();
    std::vector<int> selected;
    for (int t = 0; t < 12; ++t) {
        bool isLow = true;
        bool isHigh = true;
        for (int const v : mesh.getTriangles()[t].vertices) {
            isLow = isLow && mesh.getVertices()[v].z == 0.0f;
            isHigh = isHigh && mesh.getVertices()[v].z == 1.0f;
        }
        if (isLow || isHigh)
            selected.push_back(t);
    }
    REQUIRE(selected.size() == 4);
    ExtrudeOutcome const outcome = unwatched::extrudeMesh(mesh, bitsOf(12, selected), {1.0, {}});
    REQUIRE(outcome.refusal.empty());
    CHECK(outcome.regions == 2);
    CHECK(support::volume(mesh) == doctest::Approx(3.0));
    CHECK(checked(mesh).clean);
}

TEST_CASE("manyFreeRegionsBecomeSolidsAtOnce") {
    CompactMesh soup = support::soup(support::sphere(4));
    ExtrudeOutcome const outcome = unwatched::extrudeMesh(soup, allOf(soup), {0.1, {}});
    CHECK(outcome.freeRegions == 2048);
    CHECK(soup.getNumTriangles() == 2048 * 8);
    trimora::CheckResult const result = checked(soup);
    CHECK(result.closed);
    CHECK(result.oriented);
    CHECK(support::volume(soup) ==
          doctest::Approx(0.1 * support::area(support::sphere(4))).epsilon(1e-3));
}

TEST_CASE("extrusionsThatCannotBeAreRefusedInWords") {
    CompactMesh closed = support::sphere(2);
    support::ModificationCounter const counter(closed);
    CHECK(unwatched::extrudeMesh(closed, allOf(closed), {1.0, {}}).refusal.find("closed surface") !=
          std::string::npos);
    CHECK(counter.total() == 0);
    CompactMesh tube = support::cube();  // its four sides
    std::vector<int> sides;
    for (int t = 0; t < 12; ++t) {
        float low = 1.0f;
        float high = 0.0f;
        for (int const v : tube.getTriangles()[t].vertices) {
            low = std::min(low, tube.getVertices()[v].z);
            high = std::max(high, tube.getVertices()[v].z);
        }
        if (low != high)
            sides.push_back(t);
    }
    CHECK(unwatched::extrudeMesh(tube, bitsOf(12, sides), {1.0, {}}).refusal.find("cancel out") !=
          std::string::npos);
    CHECK(unwatched::extrudeMesh(tube, bitsOf(12, sides), {1.0, Vector(1, 0, 0)}).refusal.empty());
    CompactMesh broken = support::bowTie();
    CHECK(unwatched::extrudeMesh(broken, bitsOf(8, {0}), {1.0, {}}).refusal.find("repair") !=
          std::string::npos);
}

TEST_CASE("distancesThatFloatsCannotHoldAreRefused") {
    for (double const distance : {1e39, -1e39, 1e308}) {
        CompactMesh sheet = support::grid(3, 2);
        ExtrudeOutcome const outcome = unwatched::extrudeMesh(sheet, allOf(sheet), {distance, {}});
        CHECK(outcome.refusal.find("beyond the range of floats") != std::string::npos);
        CHECK(outcome.problemPoint.has_value());
        CHECK(sheet.getNumTriangles() == 12);
    }
    CompactMesh far = support::grid(3, 2);  // in range by itself, but not from where the mesh lies
    for (int v = 0; v < far.getNumVertices(); ++v)
        far.getVertices()[v].z = 3e38f;
    CHECK(!unwatched::extrudeMesh(far, allOf(far), {1e38, {}}).refusal.empty());
    CHECK(unwatched::extrudeMesh(far, allOf(far), {-1e38, {}}).refusal.empty());
    CompactMesh sheet = support::grid(3, 2);
    for (int v = 0; v < sheet.getNumVertices(); ++v)
        sheet.getVertices()[v].z = 1.0f;
    CHECK(unwatched::extrudeMesh(sheet, allOf(sheet), {1e-9, {}})
              .refusal.find("lost in the rounding") != std::string::npos);
    CHECK(unwatched::extrudeMesh(sheet, allOf(sheet), {1e-6, {}}).refusal.empty());
}

TEST_CASE("directionsOfAnyLengthAreTaken") {
    for (double const length : {1e-300, 1e-200, 1.0, 1e200, 1e308}) {
        CompactMesh sheet = support::grid(3, 2);
        REQUIRE(unwatched::extrudeMesh(sheet, allOf(sheet), {0.5, Vector(0, 0, length)})
                    .refusal.empty());
        CHECK(support::volume(sheet) == doctest::Approx(3.0));
    }
}

TEST_CASE("regionsThatOnlySlideAreCounted") {
    CompactMesh sheet = support::grid(3, 2);
    CHECK(unwatched::extrudeMesh(sheet, allOf(sheet), {0.5, Vector(1, 1, 0)}).flatRegions == 1);
    CompactMesh steep = support::grid(3, 2);
    CHECK(unwatched::extrudeMesh(steep, allOf(steep), {0.5, Vector(1, 1, 0.01)}).flatRegions == 0);
    CompactMesh terrain = support::terrain(6, 6, 3);  // its own slopes leave no direction flat
    CHECK(unwatched::extrudeMesh(terrain, allOf(terrain), {0.5, Vector(1, 0, 0)}).flatRegions == 0);
}

TEST_CASE("openMeshesOfTheZooBecomeSolids") {
    for (auto const& [name, mesh] : support::manifoldZoo()) {
        if (support::numBorderEdges(mesh) == 0)
            continue;
        CAPTURE_BINDING(name);
        CompactMesh solid = mesh;
        ExtrudeOutcome const outcome =
            unwatched::extrudeMesh(solid, allOf(solid), {0.3, Vector(0.1, 0.2, 5.0)});
        if (!outcome.refusal.empty())
            continue;
        CHECK(support::faultOf(solid).empty());
        CHECK(checked(solid).oriented);
        CHECK(support::numBorderEdges(solid) == 0);
    }
}

TEST_CASE("selectionsAreNumbersAndRanges") {
    BitVector selection;
    REQUIRE(trimora::readTriangleSelectionText("7 # seven\r\n1-3,5\n\t2\n", "s", 10, selection));
    CHECK(selection == bitsOf(10, {1, 2, 3, 5, 7}));
    CHECK(problemOf("1\n2 10\n") ==
          "s: line 2: there is no triangle 10; the mesh has 10, numbered from 0");
    CHECK(problemOf("0-99") ==
          "s: line 1: there is no triangle 99; the mesh has 10, numbered from 0");
    CHECK(problemOf("\n-1").find("line 2") != std::string::npos);
    CHECK(problemOf("3-1").find("no range") != std::string::npos);
    CHECK(problemOf("1.5").find("'1.5'") != std::string::npos);
    CHECK(problemOf("99999999999999999999").find("line 1") != std::string::npos);
    CHECK(problemOf("# nothing\n").find("selects no triangle") != std::string::npos);
    std::string many;
    for (int i = 0; i < 20000; ++i)
        many += "0-999999 ";
    CHECK(problemOf(many, 1000000).empty());
}
