// What a diagnosis tells of borders: holes, cracks, T-junctions, fins and strips of one side.

#include "diagnoses.h"

#include <algorithm>

using namespace diagnoses;

namespace {

CompactMesh withoutUnused(CompactMesh const& mesh) {
    Ids numbers(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<float> coordinates;
    Ids triangles = support::trianglesOf(mesh);
    for (int& v : triangles) {
        int& number = numbers[static_cast<std::size_t>(v)];
        if (number < 0) {
            number = static_cast<int>(coordinates.size()) / 3;
            for (int k = 0; k < 3; ++k)
                coordinates.push_back(mesh.getVerticesRaw()[3 * v + k]);
        }
        v = number;
    }
    return meshOf(coordinates, triangles);
}

/// A ball cut along its equator, the upper half lifted.
CompactMesh cutBall(float gap) {
    CompactMesh const ball = support::sphere(4);
    std::set<int> upper;
    std::set<int> lower;
    for (int t = 0; t < ball.getNumTriangles(); ++t) {
        float height = 0.0f;
        for (int const v : ball.getTriangles()[t].vertices)
            height += ball.getVertices()[v].z;
        (height > 0.0f ? upper : lower).insert(t);
    }
    return support::joined(withoutUnused(without(ball, upper)), withoutUnused(without(ball, lower)),
                           0.0f, 0.0f, gap);
}

}  // namespace

TEST_CASE("moebiusStripsAreNoWinding") {
    Diagnosis const alone = diagnosed(support::moebius(9));
    CHECK(faultsIn(alone) == Kinds({"moebiusStrips"}));
    Finding const finding = findingOf(alone, "moebiusStrips");
    CHECK(finding.count == 1);
    CHECK(finding.places[0].triangles.size() == 18);
    CHECK(finding.places[0].edges.size() == 1);
    CHECK(finding.remedy == "");  // it would leave nothing
    CHECK(alone.boundaries == 1);
    Finding const border = findingOf(alone, "openBorders");
    CHECK(border.count == 1);
    CHECK(border.places[0].edges.size() == 18);  // once round is only half of it

    Diagnosis const beside =
        diagnosed(support::joined(support::sphere(2), support::moebius(9), 9.0f));
    CHECK(findingOf(beside, "moebiusStrips").remedy == "trimora repair IN OUT");
}

TEST_CASE("holesAreMeasured") {
    CompactMesh const mesh = without(support::sphere(3), {0, 100});
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"holes"}));
    Finding const finding = findingOf(diagnosis, "holes");
    CHECK(finding.count == 2);
    CHECK(finding.remedy == "trimora fill IN OUT");
    CHECK(diagnosis.boundaries == 2);
    CHECK_FALSE(diagnosis.volume.has_value());
    for (auto const& place : finding.places) {
        CHECK(place.edges.size() == 3);
        double length = 0.0;
        for (auto const& edge : place.edges)
            length += distance(mesh.getVertices()[edge[0]].asPoint(),
                               mesh.getVertices()[edge[1]].asPoint());
        CHECK(*place.measure == doctest::Approx(length));
    }
    CHECK(*finding.places[0].measure >= *finding.places[1].measure);
}

TEST_CASE("cracksComeWithTheDistanceThatSewsThem") {
    CompactMesh const mesh = support::joined(support::grid(8, 8), support::grid(8, 8), 8.02f);
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"cracks"}));
    Finding const finding = findingOf(diagnosis, "cracks");
    CHECK(finding.count == 2);
    REQUIRE(finding.places.size() == 2);
    for (auto const& place : finding.places) {
        CHECK(place.edges.size() == 8);
        CHECK(*place.measure == doctest::Approx(0.02).epsilon(0.01));
    }
    CHECK(finding.remedy.rfind("trimora stitch IN OUT --distance ", 0) == 0);
    // Half an edge away is no crack, and the sides of a ribbon are none.
    CHECK(diagnosed(support::joined(support::grid(8, 8), support::grid(8, 8), 8.5f)).isSound());
    CompactMesh ribbon = support::grid(20, 1);
    for (int v = 0; v < ribbon.getNumVertices(); ++v)
        ribbon.getVertices()[v].y *= 0.05f;
    CHECK(diagnosed(ribbon).isSound());
}

//    .--.
//   |____|   the gap between the halves is shorter than the edges along it, or as long
//   |    |
//    '--'
TEST_CASE("loopsThatFaceEachOtherAreCracksWhateverTheirEdges") {
    for (float const gap : {0.001f, 0.03f, 0.1f}) {
        CAPTURE(gap);
        Diagnosis const diagnosis = diagnosed(cutBall(gap));
        CHECK(faultsIn(diagnosis) == Kinds({"cracks"}));
        CHECK(notesIn(diagnosis) == Kinds({"parts"}));
        Finding const finding = findingOf(diagnosis, "cracks");
        CHECK(finding.count == 2);
        CHECK(finding.places[0].edges.size() == 64);
        CHECK(*finding.places[0].measure == doctest::Approx(gap).epsilon(0.02));
    }
    CHECK(diagnosed(cutBall(0.3f)).isSound());
    // The loops of one part may face each other, too: a torus that is cut through once.
    CompactMesh const ring = support::torus(96, 24);
    std::set<int> slice;
    for (int t = 0; t < 48; ++t)
        slice.insert(t);
    Diagnosis const cut = diagnosed(withoutUnused(without(ring, slice)));
    CHECK(findingOf(cut, "holes").count + findingOf(cut, "openBorders").count == 2);
    CompactMesh narrow = ring;  // the slice is squeezed to a twentieth
    for (int v = 24; v < 48; ++v)
        for (int k = 0; k < 3; ++k)
            narrow.getVerticesRaw()[3 * v + k] = 0.95f * narrow.getVerticesRaw()[3 * (v - 24) + k] +
                                                 0.05f * narrow.getVerticesRaw()[3 * v + k];
    narrow = withoutUnused(without(narrow, slice));
    CHECK(findingOf(diagnosed(narrow), "cracks").count == 2);
}

TEST_CASE("sheetsThatLieAboveEachOtherAreNoCracks") {
    CompactMesh const sheet = support::terrain(16, 16, 1);
    CHECK(diagnosed(support::joined(sheet, sheet, 0.0f, 0.0f, 0.4f)).isSound());
    // The two borders of a ring that is narrow beside its length.
    std::vector<float> coordinates;
    Ids triangles;
    int const count = 40;
    for (int i = 0; i < count; ++i) {
        double const angle = 6.283185307179586 * i / count;
        for (double const radius : {1.0, 1.05})
            for (double const c : {radius * std::cos(angle), radius * std::sin(angle), 0.0})
                coordinates.push_back(static_cast<float>(c));
        int const a = 2 * i;
        int const b = 2 * ((i + 1) % count);
        triangles.insert(triangles.end(), {a, a + 1, b, b, a + 1, b + 1});
    }
    CHECK(findingOf(diagnosed(meshOf(coordinates, triangles)), "cracks").count == 0);
}

// . . . . . .
// 6-7-8-9-.-.     a sheet that is torn open along the row of 7 8 9, between two vertices that stay whole
// . . . . . .
TEST_CASE("aTearIsACrackAndNoHoleAsWell") {
    CompactMesh const sheet = support::grid(10, 10);
    std::vector<float> coordinates = support::coordinatesOf(sheet);
    Ids triangles = support::trianglesOf(sheet);
    int const numBelow = 3 * 5 * 20;  // corners
    for (int i = 3; i < 8; ++i) {
        int const copy = static_cast<int>(coordinates.size()) / 3;
        coordinates.insert(coordinates.end(), {static_cast<float>(i), 5.05f, 0.0f});
        std::replace(triangles.begin() + numBelow, triangles.end(), 5 * 11 + i, copy);
    }
    Diagnosis const diagnosis = diagnosed(meshOf(coordinates, triangles));
    CHECK(faultsIn(diagnosis) == Kinds({"cracks"}));
}

//         2
//       / | \ .       a tetrahedron; the face 0-1-2 is cut at 4 in the middle of 0-1, the face below it is not
//     /   |   \   .
//   0 --- 4 --- 1
TEST_CASE("verticesOnEdgesAreTJunctions") {
    CompactMesh const mesh = meshOf({0, 0, 0, 2, 0, 0, 1, 2, 0, 1, 1, -2, 1, 0, 0},
                                    {0, 4, 2, 4, 1, 2, 1, 0, 3, 2, 1, 3, 0, 2, 3});
    Diagnosis const diagnosis = diagnosed(mesh);
    CHECK(faultsIn(diagnosis) == Kinds({"tJunctions"}));
    CHECK(diagnosis.boundaries == 1);
    Finding const finding = findingOf(diagnosis, "tJunctions");
    CHECK(finding.count == 1);
    CHECK(finding.places[0].vertices == Ids({4}));
    CHECK(finding.places[0].edges == std::vector<std::array<int, 2>>({{0, 1}}));
    CHECK(finding.places[0].triangles == Ids({2}));
    // Pulled away from the edge it is a hole.
    CompactMesh open = mesh;
    open.getVertices()[4].y = 0.3f;
    CHECK(faultsIn(diagnosed(open)) == Kinds({"holes"}));
}

TEST_CASE("finsAreNoHoles") {
    CompactMesh const ball = support::sphere(2);
    Ids const first = {ball.getTriangles()[0][0], ball.getTriangles()[0][1]};
    std::vector<float> coordinates = support::coordinatesOf(ball);
    coordinates.insert(coordinates.end(), {2, 2, 2});
    int const tip = ball.getNumVertices();
    CompactMesh const finned =
        withTriangles(meshOf(coordinates, support::trianglesOf(ball)), {first[1], first[0], tip});
    Diagnosis const diagnosis = diagnosed(finned);
    CHECK(faultsIn(diagnosis) == Kinds({"crowdedEdges"}));
    CHECK(diagnosis.boundaries == 0);
    // A hole elsewhere is one.
    Diagnosis const holed = diagnosed(without(finned, {100}));
    CHECK(faultsIn(holed) == Kinds({"crowdedEdges", "holes"}));
    CHECK(holed.boundaries == 1);
}
