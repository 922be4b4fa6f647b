// What a diagnosis tells of surface that is there twice, of triangles without area, and of neighbours in one place.

#include "diagnoses.h"

using namespace diagnoses;

TEST_CASE("aSurfaceWrittenTwiceIsDuplicates") {
    for (CompactMesh const& copy : {support::cube(), reversed(support::cube())}) {
        Diagnosis const diagnosis = diagnosed(support::joined(support::cube(), copy));
        CHECK(faultsIn(diagnosis) == Kinds({"duplicateTriangles"}));
        CHECK(notesIn(diagnosis) == Kinds());
        CHECK(diagnosis.parts == 1);
        CHECK(diagnosis.volume == doctest::Approx(1.0));
        Finding const finding = findingOf(diagnosis, "duplicateTriangles");
        CHECK(finding.severity == Severity::Moderate);
        CHECK(finding.count == 12);
        CHECK(finding.places[0].triangles == Ids({12}));
        CHECK(finding.remedy == "trimora repair IN OUT");
    }
    CompactMesh const thrice =
        support::joined(support::joined(support::cube(), support::cube()), support::cube());
    CHECK(findingOf(diagnosed(thrice), "duplicateTriangles").count == 24);
    CHECK(faultsIn(diagnosed(support::joined(support::cube(), support::soup(support::cube())))) ==
          Kinds({"duplicateTriangles"}));
}

// 6---7---8
// | / | / |    a sheet, and its square 0-1-4-3 once more with vertices of its own
// 3---4---5
// | / | / |
// 0---1---2
TEST_CASE("aPieceThatLiesOnASheetIsNoSeam") {
    for (bool const isPieceFirst : {false, true}) {
        CompactMesh const sheet = support::grid(2, 2);
        CompactMesh const piece = support::grid(1, 1);
        Diagnosis const diagnosis =
            diagnosed(isPieceFirst ? support::joined(piece, sheet) : support::joined(sheet, piece));
        CHECK(faultsIn(diagnosis) == Kinds({"duplicateTriangles"}));
        CHECK(notesIn(diagnosis) == Kinds({"openBorders", "flat"}));
        Finding const finding = findingOf(diagnosis, "duplicateTriangles");
        REQUIRE(finding.count == 2);
        CHECK(finding.places[0].triangles == Ids({isPieceFirst ? 0 : 8}));
    }
}

//  +---+---+
//  |   |   |    two closed cubes with a wall of each in one place: without either the other would be open
//  +---+---+
TEST_CASE("wallsThatTouchAreDuplicatesAndClose") {
    Diagnosis const diagnosis = diagnosed(support::joined(support::cube(), support::cube(), 1.0f));
    CHECK(faultsIn(diagnosis) == Kinds({"duplicateTriangles"}));
    CHECK(findingOf(diagnosis, "duplicateTriangles").count == 2);
    CHECK(notesIn(diagnosis) == Kinds({"coincidentVertices", "parts"}));
    CHECK(diagnosis.boundaries == 0);
    CHECK(diagnosis.volume == doctest::Approx(2.0));
}

// A triangle with two corners in one place hangs on an edge: it makes no third triangle there, and no hole.
TEST_CASE("aTriangleInTwoPlacesIsDegenerateAndNothingElse") {
    CompactMesh const ball = support::sphere(2);
    std::vector<float> coordinates = support::coordinatesOf(ball);
    koGeom::MeshTriangle const corners = ball.getTriangles()[0];
    for (int k = 0; k < 3; ++k)
        coordinates.push_back(coordinates[static_cast<std::size_t>(3 * corners[0] + k)]);
    Ids triangles = support::trianglesOf(ball);
    triangles.insert(triangles.end(), {corners[0], ball.getNumVertices(), corners[1]});
    Diagnosis const diagnosis = diagnosed(meshOf(coordinates, triangles));
    CHECK(faultsIn(diagnosis) == Kinds({"degenerateTriangles"}));
    CHECK(notesIn(diagnosis) == Kinds());
    CHECK(diagnosis.boundaries == 0);
}

//     3=4         the tip of a tetrahedron is two vertices with a triangle without area between them
//    / | \   .
//   0 -+- 2
//    \ | /
//      1
TEST_CASE("tipsOfCollapsedQuadsStayClosed") {
    CompactMesh const mesh = meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1},
                                    {0, 2, 1, 0, 1, 3, 1, 2, 4, 1, 4, 3, 2, 0, 3, 2, 3, 4});
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"degenerateTriangles"}));
    CHECK(findingOf(diagnosis, "degenerateTriangles").count == 2);
    CHECK(notesIn(diagnosis) == Kinds());
    CHECK(diagnosis.volume == doctest::Approx(1.0 / 6.0));
}

//        2
//    .       .         vertex 3 is on the edge 0-1
// 0 ----- 3 ---- 1
TEST_CASE("trianglesWithTheirCornersOnALineAreDegenerate") {
    for (float const scale : {1.0f, 1e-30f, 1e18f}) {
        CompactMesh const mesh =
            scaled(meshOf({0, 0, 0, 2, 1, 2, 1, 1, 0, 1, 0.5f, 1}, {0, 1, 2, 0, 3, 1}), scale);
        Finding const finding = findingOf(diagnosed(mesh), "degenerateTriangles");
        CHECK(finding.severity == Severity::Moderate);
        REQUIRE(finding.count == 1);
        CHECK(finding.places[0].triangles == Ids({1}));
        CHECK(findingOf(diagnosed(mesh), "needleTriangles").count == 0);
    }
}

//  .--.--.
//  |  |##|--.    two sheets in one plane, the second half a square farther
//  .--.--.  |
//     '--.--'
TEST_CASE("sheetsInOnePlaneOverlap") {
    CompactMesh const sheets =
        support::joined(support::grid(1, 1), support::grid(1, 1), 0.5f, 0.25f);
    Diagnosis const diagnosis = diagnosed(sheets);
    CHECK(faultsIn(diagnosis) == Kinds({"overlaps"}));
    Finding const finding = findingOf(diagnosis, "overlaps");
    CHECK(finding.severity == Severity::Moderate);
    REQUIRE(finding.count == 3);
    double area = 0.0;
    for (auto const& place : finding.places) {
        CHECK(place.triangles.size() == 2);
        CHECK(place.centre[2] == 0.0);
        area += *place.measure;
    }
    CHECK(area == doctest::Approx(0.5 * 0.75));
    CHECK(*finding.places[0].measure >= *finding.places[1].measure);
    trimora::DiagnosisOptions options;
    options.testIntersections = false;
    CHECK(diagnosed(sheets, options).isSound());
}

TEST_CASE("crowdedVerticesComeWithAdvice") {
    std::vector<float> coordinates = {0, 0, 0};
    Ids triangles;
    int const count = 150;
    for (int i = 0; i < count; ++i) {
        double const angle = 6.283185307179586 * i / count;
        for (double const c : {std::cos(angle), std::sin(angle), 0.1 * std::cos(9.0 * angle)})
            coordinates.push_back(static_cast<float>(c));
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % count});
    }
    Finding const finding = findingOf(diagnosed(meshOf(coordinates, triangles)), "crowdedVertices");
    CHECK(finding.severity == Severity::Note);
    CHECK_FALSE(finding.advice.empty());
}
