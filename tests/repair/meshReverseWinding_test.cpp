#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/repair/meshReverseWinding.h"

#include <algorithm>
#include <array>
#include <doctest/doctest.h>
#include <string>
#include <vector>

using namespace koGeom;

namespace {

using Triangle = std::array<int, 3>;

Triangle rotated(int a, int b, int c) {
    Triangle triangle{a, b, c};
    std::rotate(triangle.begin(), std::min_element(triangle.begin(), triangle.end()),
                triangle.end());
    return triangle;
}

// The triangles of all strips, every second one turned, each with its least corner first; sorted.
std::vector<Triangle> stripTriangles(CompactMesh const& mesh) {
    std::vector<Triangle> triangles;
    int const* p = mesh.getTriStripPoints();
    for (int s = 0; s < mesh.getNumTriStrips(); ++s) {
        int const length = mesh.getTriStripLengths()[s];
        for (int i = 0; i + 2 < length; ++i)
            triangles.push_back(i % 2 == 0 ? rotated(p[i], p[i + 1], p[i + 2])
                                           : rotated(p[i + 1], p[i], p[i + 2]));
        p += length;
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

std::vector<Triangle> turnedOver(std::vector<Triangle> triangles) {
    for (Triangle& t : triangles)
        t = rotated(t[0], t[2], t[1]);
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

void setStrips(CompactMesh& mesh, std::vector<std::vector<int>> const& strips) {
    std::size_t numPoints = 0;
    for (auto const& strip : strips)
        numPoints += strip.size();
    mesh.resizeTriStripArrays(static_cast<int>(numPoints), static_cast<int>(strips.size()));
    int* point = mesh.getTriStripPoints();
    for (std::size_t s = 0; s < strips.size(); ++s) {
        mesh.getTriStripLengths()[s] = static_cast<int>(strips[s].size());
        point = std::copy(strips[s].begin(), strips[s].end(), point);
    }
}

std::vector<int> lengthsOf(CompactMesh const& mesh) {
    return {mesh.getTriStripLengths(), mesh.getTriStripLengths() + mesh.getNumTriStrips()};
}

CompactMesh cloud(int numVertices) {
    return support::meshOf(std::vector<float>(static_cast<std::size_t>(3 * numVertices), 0.0f),
                           {0, 1, 2});
}

}  // namespace

TEST_SUITE("meshReverseWinding") {

    TEST_CASE("firstTwoCornersChangePlaces") {
        CompactMesh mesh = support::meshOf(std::vector<float>(12, 0.0f), {0, 1, 2, 3, 2, 1});
        support::ModificationCounter counter(mesh);
        meshReverseWinding(mesh, false);
        CHECK(support::trianglesOf(mesh) == std::vector<int>{1, 0, 2, 2, 3, 1});
        CHECK(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Topology);
    }

    TEST_CASE("stripsOfOddLengthAndOfFourKeepTheirCount") {
        CompactMesh mesh = cloud(12);
        setStrips(mesh, {{0, 1, 2}, {3, 4, 5, 6}, {7, 8, 9, 10, 11}, {4, 5}, {}});
        std::vector<Triangle> const before = stripTriangles(mesh);
        meshReverseWinding(mesh, false);
        CHECK(stripTriangles(mesh) == turnedOver(before));
        CHECK(lengthsOf(mesh) == std::vector<int>{3, 4, 5, 2, 0});
        CHECK(std::vector<int>(mesh.getTriStripPoints(), mesh.getTriStripPoints() + 12) ==
              std::vector<int>{2, 1, 0, 3, 5, 4, 6, 11, 10, 9, 8, 7});
    }

    TEST_CASE("longerEvenStripsAreCutInTwo") {
        CompactMesh mesh = cloud(16);
        setStrips(mesh,
                  {{0, 1, 2}, {3, 4, 5, 6, 7, 8}, {9, 10, 11, 12}, {1, 3, 5, 7, 9, 11, 13, 15}});
        std::vector<Triangle> const before = stripTriangles(mesh);
        meshReverseWinding(mesh, false);
        CHECK(lengthsOf(mesh) == std::vector<int>{3, 3, 5, 4, 3, 7});
        CHECK(stripTriangles(mesh) == turnedOver(before));
        CHECK(std::vector<int>(mesh.getTriStripPoints(), mesh.getTriStripPoints() + 11) ==
              std::vector<int>{2, 1, 0, 5, 4, 3, 4, 5, 6, 7, 8});
        meshReverseWinding(mesh, false);
        CHECK(stripTriangles(mesh) == before);
    }

    TEST_CASE("fansKeepTheirHub") {
        CompactMesh mesh = cloud(9);
        mesh.resizeTriFanArrays(8, 2);
        std::vector<int> const points{0, 1, 2, 3, 4, 5, 6, 7};
        std::copy(points.begin(), points.end(), mesh.getTriFanPoints());
        mesh.getTriFanLengths()[0] = 5;
        mesh.getTriFanLengths()[1] = 3;
        meshReverseWinding(mesh, false);
        CHECK(std::vector<int>(mesh.getTriFanPoints(), mesh.getTriFanPoints() + 8) ==
              std::vector<int>{0, 4, 3, 2, 1, 5, 7, 6});
    }

    TEST_CASE("vertexNormalsAreNegatedOnlyWhenAskedAndTriangleNormalsAlways") {
        for (bool const flip : {false, true}) {
            CompactMesh mesh = support::triangle();
            mesh.allocNormalArray();
            mesh.allocTriangleNormalArray();
            mesh.allocUVArray();
            mesh.getNormals()[1] = Normal(0.0, 1.0, 0.0);
            mesh.getTriangleNormals()[0] = Normal(0.0, 0.0, 1.0);
            meshReverseWinding(mesh, flip);
            REQUIRE(mesh.getNormals() != nullptr);
            REQUIRE(mesh.getTriangleNormals() != nullptr);
            CHECK(mesh.getUVs() != nullptr);
            CHECK(mesh.getNormals()[1].y == (flip ? -1.0f : 1.0f));
            CHECK(mesh.getTriangleNormals()[0].z == -1.0f);
        }
    }

    TEST_CASE("reversalTurnsTheVolumeOver") {
        for (auto& named : support::zoo()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            double const before = support::volume(mesh);
            meshReverseWinding(mesh, true);
            CHECK(support::volume(mesh) == doctest::Approx(-before));
            CHECK(support::faultOf(mesh) == "");
        }
    }

    //   0 - 1 - 2    triangles (0, 1, 4) (0, 4, 3) | (1, 2, 5) (1, 5, 4); the first square is
    //   | \ | \ |    selected, and the normals of its vertices 0, 1, 3 and 4 go over, once each
    //   3 - 4 - 5
    TEST_CASE("selectionTurnsItsTrianglesAndTheNormalsOfTheirVerticesOnce") {
        CompactMesh mesh = support::meshOf({0, 1, 0, 1, 1, 0, 2, 1, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0},
                                           {0, 1, 4, 0, 4, 3, 1, 2, 5, 1, 5, 4});
        mesh.allocNormalArray();
        mesh.allocTriangleNormalArray();
        for (int v = 0; v < 6; ++v)
            mesh.getNormals()[v] = Normal(0.0, 0.0, 1.0);
        for (int t = 0; t < 4; ++t)
            mesh.getTriangleNormals()[t] = Normal(0.0, 0.0, 1.0);
        mesh.getSelectedTriangles().resize(4);
        mesh.getSelectedTriangles().setBit(0);
        mesh.getSelectedTriangles().setBit(1);
        support::ModificationCounter counter(mesh);
        support::DebugCapture capture;
        meshReverseSelectedWinding(mesh);
        CHECK(counter.total() == 1);
        CHECK(capture.text().starts_with("meshReverseSelectedWinding: 4 triangles\n"));
        CHECK(support::trianglesOf(mesh) == std::vector<int>{1, 0, 4, 4, 0, 3, 1, 2, 5, 1, 5, 4});
        float const expected[6] = {-1, -1, 1, -1, -1, 1};
        for (int v = 0; v < 6; ++v)
            CHECK(mesh.getNormals()[v].z == expected[v]);
        CHECK(mesh.getTriangleNormals()[1].z == -1.0f);
        CHECK(mesh.getTriangleNormals()[2].z == 1.0f);
    }

    TEST_CASE("onePartIsTurnedAndStaysSelected") {
        CompactMesh mesh = support::joined(support::cube(), support::tetrahedron(), 3.0f);
        mesh.getSelectedTriangles().resize(16);
        mesh.getSelectedTriangles().setBit(2);  // an older selection does not leak in
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        std::vector<int> const before = support::trianglesOf(mesh);
        meshReverseWinding(mesh, adj, 14);
        std::vector<int> const after = support::trianglesOf(mesh);
        CHECK(std::equal(before.begin(), before.begin() + 36, after.begin()));
        CHECK(mesh.getSelectedTriangles().count == 4);
        for (std::size_t t = 12; t < 16; ++t)
            CHECK(after[3 * t] == before[3 * t + 1]);
    }

    TEST_CASE("callIsToldEvenWhereNothingIsTurned") {
        CompactMesh points = support::meshOf({0, 0, 0, 1, 0, 0}, {});
        points.allocNormalArray();
        points.getNormals()[1] = Normal(0.0, 0.0, 1.0);
        CompactMesh unselected = support::cube();
        std::vector<int> const before = support::trianglesOf(unselected);
        unselected.getSelectedTriangles().resize(12);
        support::DebugCapture capture;
        support::ModificationCounter counter(points);
        support::ModificationCounter other(unselected);
        meshReverseWinding(points, true);
        CHECK(capture.text().starts_with("meshReverseWinding: 0 triangles\n"));
        meshReverseSelectedWinding(unselected);
        CHECK(capture.text().find("meshReverseSelectedWinding: 12 triangles\n") !=
              std::string::npos);
        CHECK(points.getNormals()[1].z == -1.0f);
        CHECK(support::trianglesOf(unselected) == before);
        CHECK(counter.total() == 1);
        CHECK(other.total() == 1);
    }

    TEST_CASE("rangesOfTheNormalsFollow") {
        for (bool const selectedOnly : {false, true}) {
            CompactMesh mesh = support::triangle();
            mesh.allocNormalArray();
            for (int v = 0; v < 3; ++v)
                mesh.getNormals()[v] = Normal(0.0, 0.0, 1.0);
            float lower = 0.0f;
            float upper = 0.0f;
            mesh.getAttributes(PointMesh::NormalsName)->getRange(2, lower, upper);
            CHECK(lower == 1.0f);
            mesh.getSelectedTriangles().resize(1);
            mesh.getSelectedTriangles().setBit(0);
            if (selectedOnly)
                meshReverseSelectedWinding(mesh);
            else
                meshReverseWinding(mesh, true);
            mesh.getAttributes(PointMesh::NormalsName)->getRange(2, lower, upper);
            CHECK(upper == -1.0f);
        }
    }
}
