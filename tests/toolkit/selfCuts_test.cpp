// Cuts of a mesh with itself: every order of corners, common vertices, and all pairs in whole numbers.

#include "support/builders.h"
#include "toolkit/detail/selfCuts.h"

#include "trimora/repair/triIntersect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <set>

using koGeom::CompactMesh;
using koLinear::Point;
using support::meshOf;
using Ids = std::vector<int>;

namespace {

struct Corners {
    Point p[3];
};

Corners cornersOf(CompactMesh const& mesh, int triangle, int turn = 0) {
    Corners corners;
    for (int k = 0; k < 3; ++k)
        corners.p[k] = mesh.getVertices()[mesh.getTriangles()[triangle][(k + turn) % 3]].asPoint();
    return corners;
}

/// The library's test for one order of the corners of both.
bool cutAsTurned(CompactMesh const& mesh, int a, int turnA, int b, int turnB) {
    Corners const x = cornersOf(mesh, a, turnA);
    Corners const y = cornersOf(mesh, b, turnB);
    Point start;
    Point end;
    return koGeom::intersect(x.p[0], x.p[1], x.p[2], y.p[0], y.p[1], y.p[2], start, end);
}

using Whole = long long;

struct WholeVector {
    Whole x, y, z;

    WholeVector operator-(WholeVector const& other) const {
        return {x - other.x, y - other.y, z - other.z};
    }
};

WholeVector whole(Point const& p) {
    return {static_cast<Whole>(p.x), static_cast<Whole>(p.y), static_cast<Whole>(p.z)};
}

WholeVector crossed(WholeVector const& u, WholeVector const& v) {
    return {u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x};
}

Whole dotted(WholeVector const& u, WholeVector const& v) {
    return u.x * v.x + u.y * v.y + u.z * v.z;
}

/// Sign of six times the volume of a tetrahedron with whole coordinates.
int sign(Point const& a, Point const& b, Point const& c, Point const& d) {
    Whole const volume =
        dotted(crossed(whole(b) - whole(a), whole(c) - whole(a)), whole(d) - whole(a));
    return (volume > 0) - (volume < 0);
}

struct Fraction {
    Whole above;
    Whole below;  // positive

    bool operator<(Fraction const& other) const {
        return above * other.below < other.above * below;
    }
};

/// Where a triangle meets a plane, along a direction within it; false where it does not, or lies in it.
bool meetPlane(Corners const& corners, WholeVector const& origin, WholeVector const& normal,
               WholeVector const& along, std::vector<Fraction>& ends, int& numOn) {
    Whole height[3];
    for (int i = 0; i < 3; ++i)
        height[i] = dotted(whole(corners.p[i]) - origin, normal);
    numOn = static_cast<int>(std::count(height, height + 3, 0));
    for (int i = 0; i < 3; ++i) {
        int const k = (i + 1) % 3;
        Whole const from = dotted(whole(corners.p[i]), along);
        Whole const to = dotted(whole(corners.p[k]), along);
        if (height[i] == 0)
            ends.push_back({from, 1});
        if ((height[i] < 0 && height[k] > 0) || (height[i] > 0 && height[k] < 0)) {
            Whole const below = height[i] - height[k];
            Whole const above = from * below + (to - from) * height[i];
            ends.push_back(below > 0 ? Fraction{above, below} : Fraction{-above, -below});
        }
    }
    std::sort(ends.begin(), ends.end());
    return !ends.empty() && numOn < 3;
}

enum class Common { Nothing, SegmentOfEdge, Segment };

/// What two triangles without a common vertex have in common, in whole numbers.
Common commonOf(CompactMesh const& mesh, int a, int b) {
    Corners const x = cornersOf(mesh, a);
    Corners const y = cornersOf(mesh, b);
    auto const normalOf = [](Corners const& c) {
        return crossed(whole(c.p[1]) - whole(c.p[0]), whole(c.p[2]) - whole(c.p[0]));
    };
    WholeVector const along = crossed(normalOf(x), normalOf(y));
    std::vector<Fraction> onX;
    std::vector<Fraction> onY;
    int numOnX = 0;
    int numOnY = 0;
    bool const isCut = meetPlane(x, whole(y.p[0]), normalOf(y), along, onX, numOnX) &&
                       meetPlane(y, whole(x.p[0]), normalOf(x), along, onY, numOnY) &&
                       std::max(onX.front(), onY.front()) < std::min(onX.back(), onY.back());
    if (!isCut)
        return Common::Nothing;
    return numOnX == 2 || numOnY == 2 ? Common::SegmentOfEdge : Common::Segment;
}

/// Whether the edge a-b has a point inside the angle c-s-d, as far as c-d, that is not s.
bool meetsInside(Point const& a, Point const& b, Point const& s, Point const& c, Point const& d) {
    int const sideA = sign(s, c, d, a);
    int const sideB = sign(s, c, d, b);
    if ((sideA == 0 && sideB == 0) || sideA == sideB)
        return false;
    // With a above and b below, the triangle is seen counter-clockwise from a where all three are positive. The edge may meet a side
    // of the angle when it goes on beyond it.
    int const up = sideA != 0 ? sideA : -sideB;
    int const first = up * sign(a, b, c, s);
    int const last = up * sign(a, b, s, d);
    int const least = sideA * sideB < 0 ? 0 : 1;
    return std::min(first, last) >= least && std::max(first, last) > 0 &&
           up * sign(a, b, d, c) >= 0;
}

std::vector<int> commonVertices(CompactMesh const& mesh, int a, int b) {
    std::set<int> common;
    for (int const v : mesh.getTriangles()[a].vertices)
        for (int const w : mesh.getTriangles()[b].vertices)
            if (v == w)
                common.insert(v);
    return {common.begin(), common.end()};
}

bool hasArea(CompactMesh const& mesh, int triangle) {
    Corners const x = cornersOf(mesh, triangle);
    return cross(x.p[1] - x.p[0], x.p[2] - x.p[0]).length() > 0.0;
}

bool cutAtCommonVertex(CompactMesh const& mesh, int a, int b, int vertex) {
    auto const turned = [&](int t) {
        int const* const c = mesh.getTriangles()[t].vertices;
        return cornersOf(mesh, t, c[0] == vertex ? 0 : c[1] == vertex ? 1 : 2);
    };
    Corners const x = turned(a);
    Corners const y = turned(b);
    return meetsInside(x.p[1], x.p[2], x.p[0], y.p[1], y.p[2]) ||
           meetsInside(y.p[1], y.p[2], x.p[0], x.p[1], x.p[2]);
}

using Pairs = std::vector<std::array<int, 2>>;

/// The pairs that have to be found, and those that may be: where an edge lies in the other triangle's plane rounding decides.
struct ExpectedCuts {
    Pairs certain;
    Pairs possible;
};

ExpectedCuts cutsByBruteForce(CompactMesh const& mesh) {
    ExpectedCuts cuts;
    for (int b = 0; b < mesh.getNumTriangles(); ++b)
        for (int a = 0; a < b; ++a) {
            std::vector<int> const shared = commonVertices(mesh, a, b);
            if (shared.size() > 1 || !hasArea(mesh, a) || !hasArea(mesh, b))
                continue;
            Common const common = shared.empty()                             ? commonOf(mesh, a, b)
                                  : cutAtCommonVertex(mesh, a, b, shared[0]) ? Common::Segment
                                                                             : Common::Nothing;
            if (common == Common::Segment)
                cuts.certain.push_back({a, b});
            if (common != Common::Nothing)
                cuts.possible.push_back({a, b});
        }
    return cuts;
}

bool areBetween(ExpectedCuts cuts, Pairs found) {
    for (Pairs* const pairs : {&cuts.certain, &cuts.possible, &found})
        std::sort(pairs->begin(), pairs->end());
    return std::includes(found.begin(), found.end(), cuts.certain.begin(), cuts.certain.end()) &&
           std::includes(cuts.possible.begin(), cuts.possible.end(), found.begin(), found.end());
}

Pairs cutsOf(CompactMesh const& mesh) {
    koUtil::Progress progress;
    Pairs pairs;
    for (trimora::SelfCut const& cut : trimora::findSelfCuts(mesh, progress))
        pairs.push_back({cut.triangle, cut.other});
    return pairs;
}

/// To a size where absolute tolerances would hide every cut.
CompactMesh shrunk(CompactMesh mesh) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = std::ldexp(mesh.getVerticesRaw()[i], -60);
    return mesh;
}

/// Distinct points of a lattice, so that nothing coincides and much lies in one plane; triangles name three of them.
CompactMesh latticeTriangles(int numTriangles, std::uint64_t seed) {
    support::Random random(seed);
    std::vector<float> coordinates;
    for (int i = 0; i < 125; ++i)
        for (int const c : {i % 5, i / 5 % 5, i / 25})
            coordinates.push_back(static_cast<float>(c));
    Ids triangles;
    while (static_cast<int>(triangles.size()) < 3 * numTriangles) {
        int const a = random.index(125);
        int const b = random.index(125);
        int const c = random.index(125);
        if (a != b && b != c && c != a)
            triangles.insert(triangles.end(), {a, b, c});
    }
    return meshOf(coordinates, triangles);
}

}  // namespace

//          2
//        /   \         and 3-4-5 stands on it: 3 lies in its plane, inside, 4 above and 5 below
//      /   3   \       in each order of the corners of both
//    0 --------- 1
TEST_CASE("aCornerInThePlaneIsSeenInEveryOrder") {
    std::vector<float> const coordinates = {0, 0, 0, 4, 0, 0, 2, 4, 0, 2, 1, 0, 3, 1, 1, 3, 1, -1};
    int numMissedByLibrary = 0;
    for (int turnA = 0; turnA < 3; ++turnA)
        for (int turnB = 0; turnB < 3; ++turnB) {
            Ids triangles = {0, 1, 2, 3, 4, 5};
            std::rotate(triangles.begin(), triangles.begin() + turnA, triangles.begin() + 3);
            std::rotate(triangles.begin() + 3, triangles.begin() + 3 + turnB, triangles.end());
            CompactMesh const mesh = meshOf(coordinates, triangles);
            CHECK(cutsOf(mesh) == Pairs({{0, 1}}));
            numMissedByLibrary += cutAsTurned(mesh, 1, 0, 0, 0) ? 0 : 1;
        }
    CHECK(numMissedByLibrary == 3);
}

//      2 ---- 1
//       \   /        0-1-2 lies flat; 0-3-4 shares the vertex 0 and passes through it, or beside it
//         0
TEST_CASE("trianglesWithACommonVertexAreAsked") {
    auto const fan = [](float y) {
        return meshOf({0, 0, 0, 2, 2, 0, -2, 2, 0, 0, y, 1, 0, y, -1}, {0, 1, 2, 0, 3, 4});
    };
    CHECK(cutsOf(fan(1)) == Pairs({{0, 1}}));
    CHECK(cutsOf(fan(2)) == Pairs({{0, 1}}));
    CHECK(cutsOf(fan(3)) ==
          Pairs({{0, 1}}));  // beyond the far edge, which passes through the other one
    CHECK(cutsOf(fan(-1)) == Pairs());
    // The spread wings of a fan that meet in their vertex alone.
    CHECK(cutsOf(meshOf({0, 0, 0, 2, 2, 0, -2, 2, 0, 1, -1, 1, -1, -1, -1}, {0, 1, 2, 0, 3, 4})) ==
          Pairs());
}

//      2 -3-- 1
//       \ | /        0-3-4 stands on 0-1-2 along its edge 0-3, which ends within, on the far side, or beyond; or runs along 0-1
//         0
TEST_CASE("anEdgeFromTheCommonVertexThatRunsWithinCuts") {
    auto const standing = [](float x, float y) {
        return meshOf({0, 0, 0, 2, 2, 0, -2, 2, 0, x, y, 0, x, y, 1}, {0, 1, 2, 0, 3, 4});
    };
    for (float const y : {1.0f, 2.0f, 3.0f})
        CHECK(cutsOf(standing(0, y)) == Pairs({{0, 1}}));
    for (float const y : {1.0f, 2.0f, 3.0f, -1.0f})
        CHECK(cutsOf(standing(y, y)) == Pairs());
}

TEST_CASE("cutsAgreeWithBruteForce") {
    int numFound = 0;
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        CAPTURE(seed);
        CompactMesh const mesh = latticeTriangles(60, seed);
        ExpectedCuts const expected = cutsByBruteForce(mesh);
        CHECK(areBetween(expected, cutsOf(mesh)));
        numFound += static_cast<int>(expected.certain.size());
        CHECK(areBetween(expected, cutsOf(shrunk(mesh))));
    }
    CHECK(numFound > 1000);
}

TEST_CASE("cutsOfSpheresAreThoseOfTheLibrary") {
    CompactMesh const mesh =
        support::joined(support::sphere(2), support::sphere(2), 0.7f, 0.1f, 0.05f);
    Pairs expected;
    for (int b = 0; b < mesh.getNumTriangles(); ++b)
        for (int a = 0; a < b; ++a)
            if (commonVertices(mesh, a, b).empty() && cutAsTurned(mesh, b, 0, a, 0))
                expected.push_back({a, b});
    CHECK_FALSE(expected.empty());
    CHECK(cutsOf(mesh) == expected);
}

TEST_CASE("hugeFansAreAskedInTime") {
    // A cone of 100,000 triangles, and one triangle from its tip that passes through it.
    int const count = 100000;
    std::vector<float> coordinates = {0, 0, 0};
    Ids triangles;
    for (int i = 0; i < count; ++i) {
        double const angle = 6.283185307179586 * i / count;
        for (double const c : {std::cos(angle), std::sin(angle), 1.0})
            coordinates.push_back(static_cast<float>(c));
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % count});
    }
    for (float const c : {0.3f, 0.0013f, 1.0f, 3.0f, 0.013f, 1.0f})
        coordinates.push_back(c);
    triangles.insert(triangles.end(), {0, count + 1, count + 2});
    Pairs const pairs = cutsOf(meshOf(coordinates, triangles));
    REQUIRE(pairs.size() == 1);
    CHECK(pairs[0][1] == count);
}
