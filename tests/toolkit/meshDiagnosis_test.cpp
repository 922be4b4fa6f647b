// The diagnosis: one small mesh for each kind of finding, and nothing but notes on what is sound.

#include "diagnoses.h"
#include "support/corpus.h"
#include "support/oracles.h"
#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"

#include <algorithm>
#include <limits>

using koLinear::Point;
using namespace diagnoses;

namespace {

float const notANumber = std::numeric_limits<float>::quiet_NaN();
float const infinity = std::numeric_limits<float>::infinity();

}  // namespace

TEST_CASE("soundMeshesHaveNotesAlone") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        CAPTURE(named.name);
        Diagnosis const diagnosis = diagnosed(named.mesh);
        CHECK(diagnosis.isSound());
        CHECK(faultsIn(diagnosis) == Kinds());
        CHECK(diagnosis.area == doctest::Approx(support::area(named.mesh)));
        CHECK(diagnosis.volume.has_value() == (support::numBorderEdges(named.mesh) == 0));
        if (diagnosis.volume)
            CHECK(*diagnosis.volume == doctest::Approx(support::volume(named.mesh)));
    }
    CHECK(notesIn(diagnosed(support::cube())) == Kinds());
    CHECK(notesIn(diagnosed(support::grid(3, 2))) == Kinds({"openBorders", "flat"}));
    CHECK(notesIn(diagnosed(support::triangle())) == Kinds({"openBorders", "flat"}));
    CHECK(notesIn(diagnosed(support::joined(support::cube(), support::cube(), 3.0f))) ==
          Kinds({"parts"}));
}

TEST_CASE("aMeshWithoutTrianglesIsNoSurface") {
    CHECK(faultsIn(diagnosed(CompactMesh())) == Kinds({"noTriangles"}));
    CHECK(faultsIn(diagnosed(meshOf({1, 2, 3}, {}))) == Kinds({"noTriangles"}));
    CHECK(findingOf(diagnosed(CompactMesh()), "noTriangles").severity == Severity::Fatal);
}

// 3---2
// | / |   and the third corner of one more triangle is no vertex, or one before the first
// 0---1
TEST_CASE("indicesOutOfRangeAreLeftOut") {
    CompactMesh mesh = withTriangles(support::grid(1, 1), {0, 1, 4, 0, -1, 2, 1 << 30, 0, 1});
    Diagnosis const diagnosis = diagnosed(mesh);
    Finding const finding = findingOf(diagnosis, "badIndices");
    CHECK(faultsIn(diagnosis) == Kinds({"badIndices"}));
    CHECK(finding.severity == Severity::Fatal);
    CHECK(finding.count == 3);
    REQUIRE(finding.places.size() == 3);
    CHECK(finding.places[0].triangles == Ids({2}));
    CHECK(finding.places[0].centre == std::array<double, 3>{0.5, 0.0, 0.0});
    CHECK(finding.places[2].triangles == Ids({4}));
    CHECK(diagnosis.triangles == 5);
    CHECK(diagnosis.area == 1.0);
}

TEST_CASE("theReadersReportIsToldFirst") {
    trimora::ReadReport report;
    report.dropped.tooFewCorners = 2;
    report.dropped.outOfRange = 1;
    report.dropped.nonfinite = 4;
    report.incompleteVertices = 1;
    report.unknownLines = 3;
    report.cutShort = {{"vertices", 4, 8}, {"faces", 0, 12}, {"facets", 3}};
    report.numProblems = 1;
    report.problems.push_back({7, "a corner names vertex 9 of 8", -1});
    Diagnosis const diagnosis = diagnosed(support::cube(), {}, report);
    CHECK(faultsIn(diagnosis) == Kinds({"cutShort", "unreadableFaces", "incompleteVertices"}));
    Finding const end = findingOf(diagnosis, "cutShort");
    CHECK(end.severity == Severity::Fatal);
    CHECK(end.count == 4 + 12 + 1);
    CHECK(end.title ==
          "The file was cut short: 4 of 8 vertices, 0 of 12 faces, 3 of more than 3 facets");
    CHECK(notesIn(diagnosis) == Kinds({"leftOutFaces", "ignoredContent"}));
    Finding const faces = findingOf(diagnosis, "unreadableFaces");
    CHECK(faces.count == 3);
    CHECK(faces.meaning.find("2 with fewer than three corners") != std::string::npos);
    CHECK(faces.meaning.find("line 7: a corner names vertex 9 of 8") != std::string::npos);

    trimora::ReadReport other;
    other.cutShort = {{"faces", 1, 3, 233}};
    other.doubts = {"ends without endsolid", "has a second list of faces"};
    Diagnosis const doubted = diagnosed(support::cube(), {}, other);
    CHECK(faultsIn(doubted) == Kinds({"cutShort", "doubtfulFile"}));
    CHECK(findingOf(doubted, "cutShort").title ==
          "The file makes no sense from byte 233 on: 1 of 3 faces");
    CHECK(findingOf(doubted, "cutShort").advice.find("badly written") != std::string::npos);
    CHECK(findingOf(doubted, "doubtfulFile").severity == Severity::Moderate);
    CHECK(findingOf(doubted, "doubtfulFile")
              .meaning.find("The file ends without endsolid. It has a second list of faces.") == 0);
}

TEST_CASE("trianglesThatAreNotFiniteAreFound") {
    CompactMesh mesh = support::grid(2, 2);
    mesh.getVertices()[0].x = notANumber;  // a corner of the grid, on both triangles of its square
    Diagnosis const diagnosis = diagnosed(mesh);
    Finding const finding = findingOf(diagnosis, "nonfiniteTriangles");
    CHECK(finding.severity == Severity::Fatal);
    CHECK(finding.count == 2);
    CHECK(finding.places[0].triangles == Ids({0}));
    CHECK(finding.places[0].vertices == Ids({1, 4}));
    CHECK(finding.remedy == "trimora convert IN OUT --drop-nonfinite");
    checkForm(mesh, diagnosis);
}

TEST_CASE("soupIsToldOnceAndLookedAtAsWelded") {
    CompactMesh const ball = support::soup(support::sphere(2));
    Diagnosis const diagnosis = diagnosed(ball);
    CHECK(faultsIn(diagnosis) == Kinds({"triangleSoup"}));
    CHECK(notesIn(diagnosis) == Kinds());
    CHECK(findingOf(diagnosis, "triangleSoup").count == 3 * 128 - 66);
    CHECK(diagnosis.parts == 1);
    CHECK(diagnosis.boundaries == 0);
    CHECK(diagnosis.volume.has_value());

    // What is wrong with the welded surface is told in the numbers of the soup.
    Diagnosis const opened = diagnosed(support::soup(without(support::sphere(2), {5})));
    CHECK(faultsIn(opened) == Kinds({"triangleSoup", "holes"}));
    Finding const hole = findingOf(opened, "holes");
    CHECK(hole.count == 1);
    REQUIRE(hole.places[0].edges.size() == 3);
    checkForm(ball, opened);

    trimora::ReadReport stl;
    stl.format = "stl";
    CHECK(diagnosed(ball, {}, stl).isSound());
}

// 6---7---8 8'--9
// |   |   | |   |   two grids side by side, their vertices at x = 2 in equal places
// 3---4---5 5'--.
// |   |   | |   |
// 0---1---2 2'--.
TEST_CASE("aSeamThatIsNotWeldedIsNoHole") {
    CompactMesh const mesh = support::joined(support::grid(2, 2), support::grid(2, 2), 2.0f);
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"coincidentVertices"}));
    Finding const finding = findingOf(diagnosis, "coincidentVertices");
    CHECK(finding.severity == Severity::Moderate);
    CHECK(finding.count == 3);
    REQUIRE(finding.places.size() == 3);
    CHECK(finding.places[0].vertices == Ids({2, 9}));
    CHECK(finding.places[0].centre == std::array<double, 3>{2.0, 0.0, 0.0});
    CHECK(finding.remedy == "trimora weld IN OUT");

    // Two closed cubes that touch along an edge have no seam.
    Diagnosis const cubes =
        diagnosed(support::joined(support::cube(), support::cube(), 1.0f, 1.0f));
    CHECK(cubes.isSound());
    CHECK(notesIn(cubes) == Kinds({"coincidentVertices", "parts"}));
}

TEST_CASE("unusedVerticesAreFound") {
    Diagnosis const diagnosis =
        diagnosed(support::joined(support::cube(), meshOf({9, 9, 9, notANumber, 0, 0}, {})));
    CHECK(faultsIn(diagnosis) == Kinds({"unusedVertices"}));
    Finding const finding = findingOf(diagnosis, "unusedVertices");
    CHECK(finding.count == 2);
    CHECK(finding.places[0].vertices == Ids({8}));
    CHECK(finding.meaning.find("1 are NaN") != std::string::npos);
    CHECK(finding.remedy == "trimora repair IN OUT --drop-unused");
}

TEST_CASE("badTrianglesAreToldOnceAndTakenOutOfTheWay") {
    // The cube's first triangle again, turned round; one with a vertex twice.
    Ids const first = support::trianglesOf(support::cube());
    CompactMesh const mesh =
        withTriangles(support::cube(), {first[1], first[0], first[2], 3, 3, 4});
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"duplicateTriangles", "degenerateTriangles"}));
    CHECK(findingOf(diagnosis, "duplicateTriangles").places[0].triangles == Ids({12}));
    CHECK(findingOf(diagnosis, "degenerateTriangles").places[0].triangles == Ids({13}));
    CHECK(diagnosis.volume == doctest::Approx(1.0));
}

//        2
//    .       .         vertex 3 is a hair below the edge 0-1
// 0 ----- 3 ---- 1
TEST_CASE("needlesAreMeasured") {
    CompactMesh const mesh =
        meshOf({0, 0, 0, 2, 0, 0, 1, 1, 0, 1, -0.0001f, 0}, {0, 1, 2, 0, 3, 1});
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"needleTriangles"}));
    Finding const finding = findingOf(diagnosis, "needleTriangles");
    CHECK(finding.severity == Severity::Slight);
    CHECK(finding.places[0].triangles == Ids({1}));
    CHECK(*finding.places[0].measure == doctest::Approx(0.00005));
    trimora::DiagnosisOptions strict;
    strict.needleRatio = 0.00004;
    CHECK(diagnosed(mesh, strict).isSound());
}

TEST_CASE("edgesOfThreeTrianglesAreFound") {
    Diagnosis const diagnosis = diagnosed(support::threeOnAnEdge());
    Finding const finding = findingOf(diagnosis, "crowdedEdges");
    CHECK(finding.severity == Severity::Severe);
    CHECK(finding.count == 1);
    CHECK(finding.places[0].edges[0] == std::array<int, 2>{0, 1});
    CHECK(finding.places[0].triangles == Ids({0, 1, 2}));
    CHECK(*finding.places[0].measure == 3.0);
}

TEST_CASE("bowTiesAreFound") {
    CompactMesh const mesh = support::bowTie();
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"bowTies"}));
    Finding const finding = findingOf(diagnosis, "bowTies");
    CHECK(finding.count == 1);
    CHECK(finding.places[0].triangles.size() == 6);
    CHECK(*finding.places[0].measure == 2.0);
    // Beside a bad edge, too, where the library's own test does not look for them.
    Diagnosis const both = diagnosed(support::joined(mesh, support::threeOnAnEdge(), 9.0f));
    CHECK(findingOf(both, "bowTies").count == 1);
    CHECK(findingOf(both, "crowdedEdges").count == 1);
}

// 6---7---8
// | / | / |     the square 1-2-5-4 turned over: it is opposed at its three inner edges, 1-4, 4-5 and its diagonal is alike
// 3---4---5
// | / | / |
// 0---1---2
TEST_CASE("windingIsToldByEdgesAndTrianglesToTurn") {
    CompactMesh mesh = support::grid(2, 2);
    for (int const t : {2, 3})
        std::swap(mesh.getTriangles()[t][0], mesh.getTriangles()[t][1]);
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"opposedNeighbours"}));
    Finding const finding = findingOf(diagnosis, "opposedNeighbours");
    CHECK(finding.count == 2);
    CHECK(finding.places[0].edges[0] == std::array<int, 2>{1, 4});
    CHECK(finding.places[1].edges[0] == std::array<int, 2>{4, 5});
    CHECK(finding.meaning.find("2 triangles have to be turned") != std::string::npos);
    // Its outer border is one, whatever the winding.
    CHECK(findingOf(diagnosis, "openBorders").count == 1);
    CHECK(diagnosis.boundaries == 1);
}

TEST_CASE("insideOutPartsAndCavitiesAreToldApart") {
    CompactMesh const outer = scaled(support::sphere(2), 4.0f);
    CompactMesh const inner = support::sphere(2);
    CHECK(faultsIn(diagnosed(reversed(outer))) == Kinds({"insideOutParts"}));
    CHECK(notesIn(diagnosed(support::joined(outer, reversed(inner)))) ==
          Kinds({"cavities", "parts"}));
    CHECK(notesIn(diagnosed(support::joined(outer, inner))) == Kinds({"nestedParts", "parts"}));
    // Beside the outer part, but in its box.
    CompactMesh const ring = support::torus(24, 12, 4.0, 1.5);
    CHECK(faultsIn(diagnosed(support::joined(ring, reversed(inner)))) == Kinds({"insideOutParts"}));
    // A wall within a wall within a wall: solid, hollow, solid, hollow.
    CompactMesh shells = support::joined(scaled(inner, 8.0f), reversed(outer));
    shells = support::joined(shells, scaled(inner, 2.0f));
    shells = support::joined(shells, reversed(inner));
    Diagnosis const diagnosis = diagnosed(shells);
    CHECK(diagnosis.isSound());
    CHECK(findingOf(diagnosis, "cavities").count == 2);
    CHECK(findingOf(diagnosis, "nestedParts").count == 0);
    // The whole of it turned inside out.
    CHECK(findingOf(diagnosed(reversed(shells)), "insideOutParts").count == 2);
}

// 0-----3-----1      folded over 0-1: 2 and 3 on the same side
TEST_CASE("foldsAreMeasured") {
    auto const hinge = [](double degrees) {
        double const angle = degrees / 57.29577951308232;
        return meshOf({0, 0, 0, 1, 0, 0, 0.5f, 1, 0, 0.5f, static_cast<float>(std::cos(angle)),
                       static_cast<float>(std::sin(angle))},
                      {0, 1, 2, 1, 0, 3});
    };
    Diagnosis const diagnosis = diagnosed(hinge(10.0));
    Finding const finding = findingOf(diagnosis, "folds");
    CHECK(finding.count == 1);
    CHECK(*finding.places[0].measure == doctest::Approx(10.0));
    CHECK(finding.places[0].triangles == Ids({0, 1}));
    CHECK(finding.remedy == "");  // it would leave nothing
    CHECK(findingOf(diagnosed(support::joined(hinge(10.0), support::sphere(2), 9.0f)), "folds")
              .remedy == "trimora repair IN OUT --angle 15");
    CHECK(findingOf(diagnosed(hinge(20.0)), "folds").count == 0);
}

TEST_CASE("dustIsSmallBesideTheWhole") {
    CompactMesh const mesh =
        support::joined(support::sphere(3), scaled(support::triangle(), 0.01f), 3.0f);
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"dust"}));
    Finding const finding = findingOf(diagnosis, "dust");
    CHECK(finding.count == 1);
    CHECK(finding.places[0].triangles == Ids({512}));
    CHECK(finding.remedy == "trimora repair IN OUT --dust 0.0001");
}

TEST_CASE("scaleIsToldWhereItHurts") {
    CHECK(faultsIn(diagnosed(scaled(support::sphere(2), 1e-6f))) == Kinds({"extremeScale"}));
    CHECK(faultsIn(diagnosed(scaled(support::sphere(2), 1e9f))) == Kinds({"extremeScale"}));
    CHECK(faultsIn(diagnosed(scaled(support::sphere(2), 1.0f, 30000.0f))) ==
          Kinds({"farFromOrigin"}));
    CHECK(diagnosed(scaled(support::sphere(2), 1.0f, 300.0f)).isSound());
}

TEST_CASE("crowdedVerticesAreANote") {
    std::vector<float> coordinates = {0, 0, 0};
    Ids triangles;
    int const count = 1500;
    for (int i = 0; i < count; ++i) {
        double const angle = 6.283185307179586 * i / count;
        for (double const c : {std::cos(angle), std::sin(angle), 0.1 * std::cos(9.0 * angle)})
            coordinates.push_back(static_cast<float>(c));
        for (int const v : {0, 1 + i, 1 + (i + 1) % count})
            triangles.push_back(v);
    }
    Finding const finding = findingOf(diagnosed(meshOf(coordinates, triangles)), "crowdedVertices");
    CHECK(finding.severity == Severity::Slight);
    CHECK(finding.places[0].vertices == Ids({0}));
    CHECK(*finding.places[0].measure == 1500.0);
}

TEST_CASE("cuttingPairsAreToldWithTheirPlace") {
    CompactMesh const mesh = support::soup(
        meshOf({-1, -1, 0, 1, -1, 0, 0, 2, 0, 0, 0, -1, 0, 0, 1, 0, 5, 0}, {0, 1, 2, 3, 4, 5}));
    Finding const finding = findingOf(diagnosed(mesh), "selfIntersections");
    REQUIRE(finding.count == 1);
    CHECK(finding.places[0].triangles == Ids({0, 1}));
    CHECK(*finding.places[0].measure == doctest::Approx(2.0));
    CHECK(finding.places[0].centre[1] == doctest::Approx(1.0));
    trimora::DiagnosisOptions options;
    options.testIntersections = false;
    CHECK(findingOf(diagnosed(mesh, options), "selfIntersections").count == 0);
}

//          2
//        /   \         and 3-4-5 stands on it: 3 lies in its plane, inside, 4 above and 5 below
//      /   3   \       and in two orders of its corners
//    0 --------- 1
TEST_CASE("cutsThatTheRepairDoesNotSeeHaveNoRemedy") {
    std::vector<float> const coordinates = {0, 0, 0, 4, 0, 0, 2, 4, 0, 2, 1, 0, 3, 1, 1, 3, 1, -1};
    auto const besideABall = [&coordinates](std::vector<int> const& triangles) {
        return support::joined(meshOf(coordinates, triangles), support::sphere(2), 9.0f);
    };
    Finding const unseen =
        findingOf(diagnosed(besideABall({0, 1, 2, 3, 4, 5})), "selfIntersections");
    CHECK(unseen.count == 1);
    CHECK(unseen.remedy == "");
    Finding const seen = findingOf(diagnosed(besideABall({0, 1, 2, 4, 5, 3})), "selfIntersections");
    CHECK(seen.remedy == "trimora repair IN OUT --self-intersections");
}

TEST_CASE("hostileMeshesAreDiagnosed") {
    std::vector<support::NamedMesh> meshes = support::zoo();
    meshes.push_back({"all NaN", meshOf(std::vector<float>(12, notANumber), {0, 1, 2, 1, 3, 2})});
    meshes.push_back({"infinite", meshOf({infinity, 0, 0, 1, -infinity, 0, 0, 1, 0}, {0, 1, 2})});
    meshes.push_back({"one point", meshOf(std::vector<float>(12, 1), {0, 1, 2, 1, 3, 2})});
    meshes.push_back({"denormal", scaled(support::sphere(1), 1e-40f)});
    meshes.push_back({"huge", scaled(support::sphere(1), 3e38f)});
    meshes.push_back({"bad indices alone", meshOf({0, 0, 0}, {7, 8, 9, -1, -2, -3})});
    meshes.push_back({"fan on an edge", [] {
                          std::vector<float> coordinates = {0, 0, 0, 1, 0, 0};
                          Ids triangles;
                          for (int i = 0; i < 300; ++i) {
                              for (double const c : {0.5, std::cos(0.02 * i), std::sin(0.02 * i)})
                                  coordinates.push_back(static_cast<float>(c));
                              for (int const v : {0, 1, i + 2})
                                  triangles.push_back(v);
                          }
                          return meshOf(coordinates, triangles);
                      }()});
    meshes.push_back({"damaged scan", trimora::makeDamagedScan(3, 5)});
    for (support::NamedMesh const& named : meshes) {
        CAPTURE(named.name);
        CompactMesh const before = named.mesh;
        checkForm(named.mesh, diagnosed(named.mesh));
        CHECK(support::trianglesOf(before) == support::trianglesOf(named.mesh));
    }
    CHECK(faultsIn(diagnosed(scaled(support::sphere(1), 3e38f))) == Kinds({"extremeScale"}));
}

TEST_CASE("theOutcomeDoesNotDependOnThreads") {
    CompactMesh const mesh = trimora::makeDamagedScan(4, 2);
    CompactMesh const spheres = support::joined(support::sphere(4), support::sphere(4), 0.7f);
    std::string first;
    support::withPools([&](int numThreads) {
        CAPTURE(numThreads);
        std::string const text = textOf(diagnosed(mesh)) + textOf(diagnosed(spheres));
        if (first.empty())
            first = text;
        CHECK(text == first);
    });
}

TEST_CASE("aCancelledDiagnosisSaysSo") {
    CompactMesh const mesh = support::joined(support::sphere(3), support::sphere(3), 0.7f);
    for (int const stop : {0, 1, 3, 7, 11}) {
        koUtil::Progress progress;
        int calls = 0;
        progress.setListener([&](double, char const*) {
            if (calls++ == stop)
                progress.cancel();
        });
        CHECK(trimora::diagnoseMesh(mesh, {}, {}, progress).cancelled);
    }
}

TEST_CASE("mostPlacesBoundsTheListNotTheCount") {
    trimora::DiagnosisOptions options;
    options.mostPlaces = 2;
    Finding const finding =
        findingOf(diagnosed(support::joined(support::sphere(3), support::sphere(3), 0.7f), options),
                  "selfIntersections");
    CHECK(finding.count > 10);
    CHECK(finding.places.size() == 2);
    CHECK(*finding.places[0].measure >= *finding.places[1].measure);
}

TEST_CASE("realMeshesAreDiagnosed") {
    for (std::string const& path : support::corpus()) {
        CAPTURE(path);
        CompactMesh mesh;
        trimora::ReadReport report;
        REQUIRE(trimora::readMesh(path, mesh, report));
        if (mesh.getNumTriangles() > 20000)
            continue;
        checkForm(mesh, diagnosed(mesh, {}, report));
    }
}
