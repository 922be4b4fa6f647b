#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/MeshTriStrip.h"
#include "trimora/assembly/meshRemapStripsAndFans.h"
#include "trimora/connectivity/MeshAdjTris.h"

#include <algorithm>
#include <array>
#include <climits>
#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

using Ints = std::vector<int>;
using Triangle = std::array<int, 3>;

void computeStrips(CompactMesh& mesh, int maxLength, bool singleStrip) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshTriStrip(mesh, adjTris).computeStrips(maxLength, singleStrip);
}

Ints points(MeshSequence const& strips) {
    return {strips.points.begin(), strips.points.end()};
}

Ints lengths(MeshSequence const& strips) {
    return {strips.lengths.begin(), strips.lengths.end()};
}

/// Turned so that the least corner comes first.
Triangle turned(int a, int b, int c) {
    Triangle t{a, b, c};
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    return t;
}

/// Triangles of strips by a plain walk, without those of a repeated corner.
std::vector<Triangle> drawn(MeshSequence const& strips) {
    std::vector<Triangle> triangles;
    int const* p = strips.points.data();
    for (int run = 0; run < strips.getNumRuns(); p += strips.getLength(run++))
        for (int k = 2; k < strips.getLength(run); ++k) {
            int const a = p[k - 2 + k % 2], b = p[k - 1 - k % 2], c = p[k];
            if (a != b && b != c && c != a)
                triangles.push_back(turned(a, b, c));
        }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

std::vector<Triangle> ofMesh(CompactMesh const& mesh) {
    std::vector<Triangle> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        triangles.push_back(turned(corners[0], corners[1], corners[2]));
    }
    std::sort(triangles.begin(), triangles.end());
    return triangles;
}

/// The renumbering with a plain queue that is searched.
Ints plainOldOf(Ints const& old, int cacheSize) {
    Ints ring(static_cast<std::size_t>(cacheSize) + 1, -1), oldOf;
    std::size_t cursor = 0;
    for (int const v : old) {
        if (std::find(ring.begin(), ring.end() - 1, v) != ring.end() - 1)
            continue;
        oldOf.push_back(v);
        ring[cursor] = v;
        cursor = cursor + 1 == ring.size() ? 0 : cursor + 1;
    }
    return oldOf;
}

}  // namespace

//  3 ---- 4 ---- 5     triangles (0 1 4) (0 4 3) (1 2 5) (1 5 4). From the first one edges 0, 1 and 2 give
//  |  /   |  /   |     4 0 1, 0 1 4 5 and 1 4 0 3: of the two that are alike the later one
//  0 ---- 1 ---- 2
TEST_CASE("longestOfThreeStartsIsTakenAndTheThirdOfEqualOnes") {
    CompactMesh mesh = support::grid(2, 1);
    mesh.resizeTriFanArrays(4, 1);
    {
        support::ModificationCounter counter(mesh);
        support::DebugCapture capture;
        computeStrips(mesh, 100, false);
        CHECK(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Attributes);
        CHECK(capture.text().find("MeshTriStrip: triangles(4) compactness(1.500000): ") !=
              std::string::npos);
    }
    CHECK((points(mesh.triStrips) == Ints{1, 4, 0, 3, 2, 5, 1, 4}));
    CHECK((lengths(mesh.triStrips) == Ints{4, 4}));
    CHECK(mesh.getNumTriFans() == 0);

    computeStrips(mesh, 100, true);
    CHECK((points(mesh.triStrips) == Ints{1, 4, 0, 3, 3, 2, 2, 5, 1, 4}));
    CHECK((lengths(mesh.triStrips) == Ints{10}));
    computeStrips(mesh, 3, false);
    CHECK((lengths(mesh.triStrips) == Ints{3, 3, 3, 3}));

    // Neighbours over the first and second edge only: the third one's start is shorter, and taken.
    CompactMesh fork = support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, -1, 0, 1, 1, 0},
                                       {0, 1, 2, 1, 0, 3, 2, 1, 4});
    computeStrips(fork, 100, false);
    CHECK((points(fork.triStrips) == Ints{1, 2, 0, 0, 3, 1, 1, 4, 2}));
}

TEST_CASE("joinedStripsKeepTheirWinding") {
    CompactMesh pair = support::joined(support::triangle(), support::triangle(), 3.0);
    computeStrips(pair, 100,
                  true);  // the first count is odd: the next strip's first point comes three times
    CHECK((points(pair.triStrips) == Ints{1, 2, 0, 0, 4, 4, 4, 5, 3}));
    CHECK((drawn(pair.triStrips) == ofMesh(pair)));
    CompactMesh nothing;
    computeStrips(nothing, 100, true);
    CHECK(nothing.getNumTriStrips() == 0);
}

TEST_CASE("everyTriangleIsDrawnOnceWithItsWinding") {
    CompactMesh meshes[] = {support::cube(),
                            support::sphere(3),
                            support::torus(9, 7),
                            support::shuffled(support::sphere(3), 4),
                            support::moebius(9),
                            support::holed(support::terrain(20, 20, 2), 0.7, 3),
                            support::latticeSoup(40, 200, 5)};
    for (CompactMesh& mesh : meshes) {
        // A soup may hold triangles of a repeated corner, which no list of drawn ones shows.
        std::vector<Triangle> expected = ofMesh(mesh);
        expected.erase(std::remove_if(expected.begin(), expected.end(),
                                      [](Triangle const& t) {
                                          return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
                                      }),
                       expected.end());
        for (int maxLength : {INT_MIN, 3, 4, 17, INT_MAX})
            for (bool isSingle : {false, true}) {
                computeStrips(mesh, maxLength, isSingle);
                CHECK((drawn(mesh.triStrips) == expected));
                CHECK(mesh.getNumTriStrips() <= (isSingle ? 1 : mesh.getNumTriangles()));
                if (!isSingle)
                    for (int const length : mesh.triStrips.lengths)
                        CHECK(length <= std::max(maxLength, 3));
            }
    }
}

// A fan of as many triangles ends only when its hub is not read for every edge.
TEST_CASE("fansMayBeHuge") {
    int const numTriangles = 200000;
    CompactMesh fan;
    fan.resizeVertexArray(numTriangles + 1);
    fan.resizeTriangleArray(numTriangles);
    for (int t = 0; t < numTriangles; ++t) {
        int* const corners = fan.getTriangles()[t].vertices;
        corners[0] = 0;
        corners[1] = t + 1;
        corners[2] = t + 1 < numTriangles ? t + 2 : 1;
    }
    computeStrips(fan, 100, false);
    CHECK((drawn(fan.triStrips) == ofMesh(fan)));
}

TEST_CASE("copiesShareTheWork") {
    CompactMesh mesh = support::sphere(2);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshTriStrip strips(mesh, adjTris);
    MeshTriStrip copy(strips);
    strips.computeStrips(9, false);
    Ints const first = points(mesh.triStrips);
    copy.computeStrips(9, false);  // nothing counts as used from before
    CHECK((points(mesh.triStrips) == first));
}

TEST_CASE("verticesAreNumberedAsTheyAreDrawn") {
    CompactMesh mesh = support::grid(2, 1);
    mesh.allocNormalArray();
    mesh.allocUVArray();
    mesh.allocSTArray();
    for (int v = 0; v < 6; ++v) {
        mesh.getNormals()[v].x = static_cast<float>(v);
        mesh.getUVs()[v].u = static_cast<float>(v);
    }
    computeStrips(mesh, 100, true);  // 1 4 0 3 3 2 2 5 1 4
    CompactMesh fresh = mesh;

    {
        support::ModificationCounter counter(mesh);
        support::DebugCapture capture;
        meshRemapStripsAndFans(mesh, 3);  // 3 came to the place that is not looked at; 2 is found
        CHECK(counter.total() == 1);
        CHECK(counter.type(0) == MeshModification::Topology);
        CHECK(capture.text().find("meshRemapStripsAndFans: vertex increased 1.500000, ") !=
              std::string::npos);
    }
    CHECK((points(mesh.triStrips) == Ints{0, 1, 2, 3, 4, 5, 5, 6, 7, 8}));
    int const oldOf[] = {1, 4, 0, 3, 3, 2, 5, 1, 4};
    REQUIRE(mesh.getNumVertices() == 9);
    for (int v = 0; v < 9; ++v) {
        CHECK(mesh.getVertices()[v].x == fresh.getVertices()[oldOf[v]].x);
        CHECK(mesh.getNormals()[v].x == static_cast<float>(oldOf[v]));
        CHECK(mesh.getUVs()[v].u == static_cast<float>(oldOf[v]));
    }
    CHECK(mesh.getSTs() == nullptr);
    CHECK((support::trianglesOf(mesh) == std::vector<int>{0, 1, 2, 2, 1, 3, 2, 3, 4, 4, 3, 5,
                                                          4, 5, 5, 5, 5, 6, 5, 6, 7, 7, 6, 8}));

    meshRemapStripsAndFans(fresh, 0);
    CHECK((points(fresh.triStrips) == Ints{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    CompactMesh plain = support::cube();
    meshRemapStripsAndFans(plain, 16);
    CHECK(plain.getNumVertices() == 0);
    CHECK(plain.getNumTriangles() == 0);
}

TEST_CASE("fansFollowTheStripsWithTurnsInTheirWinding") {
    CompactMesh mesh = support::grid(2, 2);
    int const strip[] = {0, 1, 3, 4}, fan[] = {4, 5, 8, 7};
    mesh.resizeTriStripArrays(4, 1);
    mesh.resizeTriFanArrays(4, 1);
    std::copy(strip, strip + 4, mesh.getTriStripPoints());
    std::copy(fan, fan + 4, mesh.getTriFanPoints());
    mesh.getTriStripLengths()[0] = mesh.getTriFanLengths()[0] = 4;
    meshRemapStripsAndFans(mesh, 100);
    CHECK((points(mesh.triStrips) == Ints{0, 1, 2, 3}));
    CHECK((points(mesh.triFans) == Ints{3, 4, 5, 6}));
    CHECK((support::trianglesOf(mesh) == std::vector<int>{0, 1, 2, 2, 1, 3, 3, 4, 5, 5, 3, 6}));
    CHECK(mesh.getNumVertices() == 7);

    CompactMesh two = support::grid(2, 1);  // two strips: one triangle more than they give
    two.resizeTriStripArrays(6, 2);
    int const both[] = {0, 1, 4, 1, 2, 5};
    std::copy(both, both + 6, two.getTriStripPoints());
    two.getTriStripLengths()[0] = two.getTriStripLengths()[1] = 3;
    meshRemapStripsAndFans(two, 100);
    CHECK((support::trianglesOf(two) == std::vector<int>{0, 1, 2, 1, 3, 4, 1, 2, 5, 1, 5, 4}));
}

TEST_CASE("cacheForgetsOnePlaceEarlyEachRound") {
    support::Random random(17);
    for (int cacheSize : {0, 1, 2, 3, 5, 16, 1000, INT_MAX}) {
        CompactMesh mesh = support::meshOf(std::vector<float>(90), {});
        int const numPoints = 400;
        mesh.resizeTriStripArrays(numPoints, 1);
        mesh.getTriStripLengths()[0] = numPoints;
        for (int i = 0; i < numPoints; ++i)
            mesh.getTriStripPoints()[i] = random.index(1 + random.index(30));
        for (int v = 0; v < 30; ++v)
            mesh.getVertices()[v].set(static_cast<float>(v), 0.0f, 0.0f);
        Ints const old = points(mesh.triStrips);
        meshRemapStripsAndFans(mesh, cacheSize);
        Ints oldOf;
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            oldOf.push_back(static_cast<int>(mesh.getVertices()[v].x));
        CHECK((oldOf == plainOldOf(old, std::min(cacheSize, numPoints))));
        for (int i = 0; i < numPoints; ++i)
            CHECK(oldOf[static_cast<std::size_t>(mesh.getTriStripPoints()[i])] ==
                  old[static_cast<std::size_t>(i)]);
    }
}
