#include "support/builders.h"
#include "support/checks.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshModification.h"
#include "trimora/stitch/MeshStitchSeam.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

using namespace koGeom;

namespace {

using Vertices = std::vector<TopoMeshVertex>;

/// A strip of triangles between a border and a straight far side. Seen from +z it is wound counterclockwise.
///
///     far   +---+---+            far y > 0: the border runs forward from left to right
///           | / | / |            far y < 0: backward
///    border o---o---o
Vertices addStrip(TopoMesh& mesh, std::vector<Point> const& border, double farY) {
    Vertices near;
    Vertices far;
    for (Point const& p : border) {
        near.push_back(mesh.allocVertex(p));
        far.push_back(mesh.allocVertex(Point(p.x, farY, 0.0)));
    }
    for (std::size_t i = 0; i + 1 < near.size(); ++i) {
        if (farY > 0.0) {
            mesh.allocTriangle(near[i], near[i + 1], far[i + 1]);
            mesh.allocTriangle(near[i], far[i + 1], far[i]);
        } else {
            mesh.allocTriangle(near[i], far[i], far[i + 1]);
            mesh.allocTriangle(near[i], far[i + 1], near[i + 1]);
        }
    }
    return near;
}

std::vector<Point> onLine(std::vector<double> const& xs, double y) {
    std::vector<Point> points;
    for (double const x : xs)
        points.push_back(Point(x, y, 0.0));
    return points;
}

/// An open tube round the z axis between two heights, rims first: the upper one, then the lower one.
struct Tube {
    Vertices top;
    Vertices bottom;
};

Tube addTube(TopoMesh& mesh, int sides, double radius, double low, double high, double turn) {
    Tube tube;
    for (int i = 0; i < sides; ++i) {
        double const angle = turn + 2.0 * 3.141592653589793 * i / sides;
        Point const p(radius * std::cos(angle), radius * std::sin(angle), low);
        tube.bottom.push_back(mesh.allocVertex(p));
        tube.top.push_back(mesh.allocVertex(Point(p.x, p.y, high)));
    }
    for (std::size_t i = 0; i < tube.top.size(); ++i) {
        std::size_t const j = (i + 1) % tube.top.size();
        mesh.allocTriangle(tube.bottom[i], tube.bottom[j], tube.top[j]);
        mesh.allocTriangle(tube.bottom[i], tube.top[j], tube.top[i]);
    }
    return tube;
}

/// Listens to a seam, and to its mesh.
class Listener {
public:
    Listener(TopoMesh& mesh, MeshStitchSeam& seam) : mesh_(mesh) {
        seam.addCallback(
            new koRTB::FunctionArgMember<TopoMeshVertex, Listener>(this, &Listener::discarded));
        connection_ = mesh.modificationSignal().addCallback(
            new koRTB::FunctionArgMember<EntityModification&, Listener>(this, &Listener::modified));
    }
    ~Listener() { connection_->disconnect(); }

    bool allGone() const {
        for (TopoMeshVertex const v : named)
            if (mesh_.contains(v))
                return false;
        return true;
    }

    Vertices named;
    int numNotices = 0;
    bool namedLiving = true;

private:
    void discarded(TopoMeshVertex v) {
        namedLiving = namedLiving && mesh_.contains(v);
        named.push_back(v);
    }
    void modified(EntityModification& modification) {
        auto const* const news = dynamic_cast<TopoMeshModification*>(&modification);
        if (news != nullptr && news->getType() == TopoMeshModification::Topology)
            ++numNotices;
    }

    TopoMesh& mesh_;
    koRTB::Connection* connection_;
};

/// The x of the vertices along a boundary, forward.
std::vector<double> xsForward(TopoMeshVertex from, TopoMeshVertex to) {
    std::vector<double> xs = {from.point().x};
    TopoMeshBoundaryIterator walk;
    walk.reset(from, true);
    while (from != to && xs.size() < 1000) {
        from = walk.nextEdge().next().origin();
        xs.push_back(from.point().x);
    }
    return xs;
}

/// Pairs of vertices with more than two faces between them.
int numCrowded(TopoMesh const& mesh) {
    std::map<std::pair<void const*, void const*>, int> uses;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList())
        ++uses[std::minmax<void const*>(e.origin().record(), e.next().origin().record())];
    return static_cast<int>(
        std::count_if(uses.begin(), uses.end(), [](auto const& use) { return use.second > 2; }));
}

std::vector<Point> pointsForward(TopoMeshVertex from, TopoMeshVertex to) {
    std::vector<Point> points = {from.point()};
    TopoMeshBoundaryIterator walk;
    walk.reset(from, true);
    while (from != to && points.size() < 100000) {
        from = walk.nextEdge().next().origin();
        points.push_back(from.point());
    }
    return points;
}

}  // namespace

//   A   o---o---o---o       equal places: every pair is passed by both chains
//   B   o---o---o---o
TEST_CASE("joinsEqualChainsPairByPair") {
    TopoMesh mesh;
    Vertices const a = addStrip(mesh, onLine({0, 1, 2, 3}, 0.0), 1.0);
    Vertices const b = addStrip(mesh, onLine({0, 1, 2, 3}, 0.0), -1.0);
    int const open = support::numOpenEdges(mesh);
    MeshStitchSeam seam(mesh);
    Listener listener(mesh, seam);
    CHECK(seam.preservedA());
    REQUIRE(seam.canStitch(a.front(), a.back(), b.front(), b.back()));
    seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.1, true);

    CHECK(support::faultOf(mesh) == "");
    CHECK(mesh.numFaces() == 12);
    CHECK(mesh.numVertices() == 12);
    CHECK(support::numOpenEdges(mesh) == open - 6);
    CHECK(seam.preservedA());
    CHECK(seam.numOpenPairs() == 0);
    CHECK(listener.numNotices == 1);
    CHECK(listener.namedLiving);
    // The first pair names both ends of B's edge, each later one its new end.
    CHECK(listener.named == b);
    CHECK(listener.allGone());
    for (TopoMeshVertex const v : a)
        CHECK(mesh.contains(v));
}

//   x:  0 1   4       8     A, the longer one          0 1 3 4     8    both, on A's line
//       o-o---o-------o                          ->    o-o-o-o-----o
//       o-----o-------o     B, half a unit below
//   x:  0     3       8
TEST_CASE("givesEachChainWhatTheOtherHas") {
    TopoMesh mesh;
    Vertices const a = addStrip(mesh, onLine({0, 1, 4, 8}, 0.0), 1.0);
    Vertices const b = addStrip(mesh, onLine({0, 3, 8}, -0.5), -2.0);
    MeshStitchSeam seam(mesh);
    seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.1, false);

    CHECK(support::faultOf(mesh) == "");
    std::vector<double> const expected = {0, 1, 3, 4, 8};
    CHECK(xsForward(a.front(), a.back()) == expected);
    CHECK(xsForward(b.back(), b.front()) ==
          std::vector<double>(expected.rbegin(), expected.rend()));
    for (Point const& p : pointsForward(b.back(), b.front()))
        CHECK(p.y == 0.0);
    CHECK(mesh.numFaces() == 10 + 3);
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList())
        CHECK(f.numVertices() == 3);
}

TEST_CASE("oneEdgeGetsTheNineVerticesOfTen") {
    for (bool const longFirst : {true, false}) {
        TopoMesh mesh;
        std::vector<double> const ten = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        Vertices const upper =
            addStrip(mesh, onLine(longFirst ? ten : std::vector<double>{0, 10}, 0.25), 1.0);
        Vertices const lower =
            addStrip(mesh, onLine(longFirst ? std::vector<double>{0, 10} : ten, 0.0), -1.0);
        Vertices const& master = longFirst ? upper : lower;
        int const numFaces = mesh.numFaces();
        MeshStitchSeam seam(mesh);
        Listener listener(mesh, seam);
        seam.stitch(upper.front(), upper.back(), lower.front(), lower.back(), 0.1, true);

        CHECK(support::faultOf(mesh) == "");
        CHECK(seam.preservedA() == longFirst);
        CHECK(mesh.numFaces() == numFaces + 9);
        CHECK(listener.named.size() == 11);
        CHECK(listener.allGone());
        for (std::size_t i = 0; i < master.size(); ++i) {
            CHECK(mesh.contains(master[i]));
            CHECK(master[i].point().y == (longFirst ? 0.25 : 0.0));
        }
    }
}

//   A   0 ------------ 10 ------------ 20
//   B   0 -.                     .---- 20      the second vertex of B is hardly past the start: it goes half way from the
//           '(0.5, -3) ---------'              first vertex ahead on A to that same vertex
TEST_CASE("aFirstVertexThatLagsGoesToTheFirstOneAhead") {
    TopoMesh mesh;
    Vertices const a = addStrip(mesh, onLine({0, 10, 20}, 0.0), 1.0);
    Vertices const b = addStrip(mesh, {Point(0, 0, 0), Point(0.5, -3, 0), Point(20, 0, 0)}, -5.0);
    MeshStitchSeam seam(mesh);
    seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.1, false);
    CHECK(support::faultOf(mesh) == "");
    CHECK(b[1].point().x == 10.0);
    CHECK(b[1].point().y == 0.0);
    CHECK(xsForward(a.front(), a.back()) == std::vector<double>{0, 10, 10, 20});
}

//   A   0 .5 .6 .7 ---------------------- 10     beside A's last edge every vertex of B goes half way from the latest
//   B   0 ----- 2 ----- 4 ----- 6 ------- 10     place to the end
TEST_CASE("besideTheLastEdgeVerticesHalveWhatIsLeft") {
    TopoMesh mesh;
    Vertices const a = addStrip(mesh, onLine({0, 0.5, 0.625, 0.75, 10}, 0.0), 1.0);
    Vertices const b = addStrip(mesh, onLine({0, 2, 4, 6, 10}, -0.5), -2.0);
    MeshStitchSeam seam(mesh);
    seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.1, false);
    std::vector<double> const expected = {0, 0.5, 0.625, 0.75, 5.375, 7.6875, 8.84375, 10};
    CHECK(xsForward(a.front(), a.back()) == expected);
    CHECK(b[1].point().x == 5.375);
    CHECK(b[2].point().x == 7.6875);
    CHECK(b[3].point().x == 8.84375);
    CHECK(support::faultOf(mesh) == "");
}

//   A   0 ---- 10 ---- 20     tolerance 0.1: at 0.5 past the start of A's second edge the vertex of B goes half way along
//   B   0 --- 9.5, 10.5 -20   it, at 0.5 before the end of the first one it goes to that end
TEST_CASE("nearAnEndMeansThatEndAheadAndHalfWayBehind") {
    TopoMesh mesh;
    Vertices const a = addStrip(mesh, onLine({0, 10, 20, 30}, 0.0), 1.0);
    Vertices const b = addStrip(mesh, onLine({0, 9.5, 10.5, 30}, -0.5), -2.0);
    MeshStitchSeam seam(mesh);
    seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.1, false);
    CHECK(b[1].point().x == 10.0);
    CHECK(b[2].point().x == 15.0);
    CHECK(xsForward(a.front(), a.back()) == std::vector<double>{0, 10, 15, 20, 30});
    CHECK(support::faultOf(mesh) == "");
}

TEST_CASE("edgesThatTurnAwayAreContracted") {
    // A spike on A: up to (5, 3) and back. Its edges turn away from B by more than 85 degrees.
    TopoMesh mesh;
    Vertices const a = addStrip(mesh,
                                {Point(0, 0, 0), Point(5, 0, 0), Point(5.01, 3, 0),
                                 Point(5.02, 0, 0), Point(10, 0, 0), Point(15, 0, 0)},
                                8.0);
    Vertices const b = addStrip(mesh, onLine({0, 5, 10, 15}, -0.1), -1.0);
    MeshStitchSeam seam(mesh);
    seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.05, true);
    CHECK(support::faultOf(mesh) == "");
    CHECK(seam.numOpenPairs() == 0);
    CHECK(!mesh.contains(a[2]));
    CHECK(mesh.contains(a[1]));
}

//   .---.---.---.          a hole that six edges go round: its left corner is the start of both chains, its right corner
//   | /h o---o  |          their end
//   |/  o     o |
//   '---.o---o--'
TEST_CASE("closesAHoleBetweenTwoOfItsVertices") {
    CompactMesh const source = support::grid(6, 4);
    for (bool const sameStart : {true, false}) {
        TopoMesh mesh;
        Vertices const v = support::fill(mesh, source);
        // The squares (2, 1) and (3, 1), numbers as in the grid: vertex (i, j) is 7 j + i.
        for (int const square : {8, 9})
            for (int const half : {0, 1}) {
                MeshTriangle const& t = source.getTriangles()[2 * square + half];
                mesh.deleteFace(
                    v[static_cast<std::size_t>(t[0])].adjacent(v[static_cast<std::size_t>(t[1])]));
            }
        REQUIRE(support::numOpenEdges(mesh) == 20 + 6);
        REQUIRE(support::faultOf(mesh) == "");
        MeshStitchSeam seam(mesh);
        Listener listener(mesh, seam);
        // A loop round a hole runs clockwise: forward along its upper side from left to right.
        TopoMeshVertex const left = v[7 + 2];
        TopoMeshVertex const right = v[7 + 4];
        if (sameStart)
            seam.stitch(left, right, left, right, 0.1, true);
        else
            seam.stitch(right, left, right, left, 0.1, true);
        CHECK(support::faultOf(mesh) == "");
        CHECK(seam.numOpenPairs() == 0);
        CHECK(support::numOpenEdges(mesh) == 20);
        CHECK_FALSE(listener.named.empty());
        CHECK(listener.allGone());
    }
}

TEST_CASE("sewsRimsOfTwelveAndThirtyOneEdges") {
    for (double const gap : {0.0, 0.01, 0.1, 0.3}) {
        TopoMesh mesh;
        Tube const coarse = addTube(mesh, 12, 1.0, -1.0, 0.0, 0.0);
        Tube const fine = addTube(mesh, 31, 1.0, gap, 1.0 + gap, 0.4);
        MeshStitchSeam seam(mesh);
        Listener listener(mesh, seam);
        REQUIRE(seam.canStitchCircular(coarse.top[3], fine.bottom[5]));
        seam.stitchCircular(coarse.top[3], fine.bottom[5], 0.1, true);
        CHECK(support::faultOf(mesh) == "");
        CHECK(support::numOpenEdges(mesh) == 12 + 31);
        CHECK_FALSE(seam.preservedA());
        CHECK(seam.numOpenPairs() == 0);
        CHECK(listener.numNotices == 1);
        CHECK(listener.allGone());
        int const numEdges = (mesh.numEdges() + support::numOpenEdges(mesh)) / 2;
        CHECK(mesh.numVertices() - numEdges + mesh.numFaces() == 0);
    }
}

TEST_CASE("theSecondHalfOfACircleIsLedByTheOtherLoop") {
    TopoMesh mesh;
    Tube const narrow = addTube(mesh, 40, 1.0, 0.1, 1.0, 0.0);
    Tube const wide = addTube(mesh, 24, 1.5, -1.0, 0.0, 0.0);
    MeshStitchSeam seam(mesh);
    seam.stitchCircular(narrow.bottom[0], wide.top[0], 0.05, false);
    CHECK(support::faultOf(mesh) == "");
    // Half of the places come from the narrow rim at 0.1, half from the wide one at 0, but for the way from one to the
    // other at the ends.
    int numNarrow = 0;
    int numWide = 0;
    for (TopoMeshVertex const rim : {narrow.bottom[0], narrow.bottom[20]})
        REQUIRE(mesh.contains(rim));
    for (Point const& p : pointsForward(narrow.bottom[0], narrow.bottom[20])) {
        numNarrow += p.z == 0.1;
        numWide += p.z == 0.0;
    }
    CHECK(numWide == 0);
    CHECK(numNarrow >= 15);
    int numLed = 0;
    for (Point const& p : pointsForward(narrow.bottom[20], narrow.bottom[0]))
        numLed += p.z == 0.0;
    CHECK(numLed >= 10);
}

TEST_CASE("oneNearestVertexForBothEndsIsMadeTwo") {
    // The small loop is far off: one of its vertices is nearest to all of the large one.
    TopoMesh mesh;
    Tube const large = addTube(mesh, 16, 1.0, 0.0, 1.0, 0.0);
    Tube const small = addTube(mesh, 8, 0.01, -5.0, -4.0, 0.0);
    Vertices moved = small.top;
    for (TopoMeshVertex const v : moved)
        mesh.setPoint(v, Point(v.point().x + 50.0, v.point().y, v.point().z));
    MeshStitchSeam seam(mesh);
    seam.stitchCircular(large.bottom[0], small.top[0], 0.1, true);
    CHECK(support::faultOf(mesh) == "");
    CHECK(support::numOpenEdges(mesh) == 24);
}

TEST_CASE("refusesWhatAreNoChainsAndChangesNothing") {
    TopoMesh mesh;
    TopoMesh other;
    Vertices const v = support::fill(mesh, support::grid(4, 4));
    Vertices const foreign = support::fill(other, support::grid(4, 4));
    Vertices const far = addStrip(mesh, onLine({0, 1, 2, 3}, -3.0), -4.0);
    TopoMeshVertex const stale = mesh.allocVertex(Point());
    mesh.deleteVertex(stale);
    TopoMeshVertex const lone = mesh.allocVertex(Point());
    TopoMeshVertex const inner = v[12];
    auto const before = support::stateOf(mesh);
    MeshStitchSeam seam(mesh);
    Listener listener(mesh, seam);

    // Every one of the four places in turn is none.
    for (TopoMeshVertex const bad : {TopoMeshVertex(), stale, lone, inner, foreign[0]})
        for (int place = 0; place < 4; ++place) {
            TopoMeshVertex ends[4] = {v[0], v[4], far[0], far[3]};
            ends[place] = bad;
            CHECK_FALSE(seam.canStitch(ends[0], ends[1], ends[2], ends[3]));
            seam.stitch(ends[0], ends[1], ends[2], ends[3], 0.1, true);
            CHECK_FALSE(seam.canStitchCircular(bad, v[0]));
            CHECK_FALSE(seam.canStitchCircular(v[0], bad));
            seam.stitchCircular(bad, v[0], 0.1, true);
            seam.stitchCircular(v[0], bad, 0.1, true);
        }
    // No edge; ends on two loops; stretches of one loop that overlap; a loop and itself.
    seam.stitch(v[0], v[0], far[0], far[3], 0.1, true);
    seam.stitch(v[0], v[4], far[3], far[3], 0.1, true);
    seam.stitch(v[0], far[0], far[1], far[3], 0.1, true);
    seam.stitch(v[0], v[4], v[3], v[2], 0.1, true);
    seam.stitch(v[0], v[4], v[4], v[0], 0.1, true);
    seam.stitchCircular(v[0], v[4], 0.1, true);

    CHECK(support::stateOf(mesh) == before);
    CHECK(listener.numNotices == 0);
    CHECK(listener.named.empty());
}

TEST_CASE("pairsThatWouldFoldTheSurfaceStayOpen") {
    // The two sides of one triangle's corner: joined they would lay it on itself.
    TopoMesh mesh;
    Vertices const v = support::fill(mesh, support::grid(1, 1));
    MeshStitchSeam seam(mesh);
    Listener listener(mesh, seam);
    seam.stitch(v[0], v[3], v[0], v[3], 0.1, true);
    CHECK(support::faultOf(mesh) == "");
    CHECK(seam.numOpenPairs() == 2);
    CHECK(listener.named.empty());
    CHECK(mesh.numFaces() == 2);
}

TEST_CASE("strangeTolerancesAreNone") {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    for (double const tolerance : {0.0, -1.0, nan}) {
        TopoMesh mesh;
        Vertices const a = addStrip(mesh, onLine({0, 1, 4, 8}, 0.0), 1.0);
        Vertices const b = addStrip(mesh, onLine({0, 3, 8}, -0.5), -2.0);
        MeshStitchSeam seam(mesh);
        seam.stitch(a.front(), a.back(), b.front(), b.back(), tolerance, true);
        CHECK(support::faultOf(mesh) == "");
        CHECK(seam.numOpenPairs() == 0);
        CHECK(mesh.numFaces() == 10 + 3);
    }
    // The same seam as with a small tolerance where no two places are one, and no two are where they are: a vertex of B that
    // lies on one of A gets a partner behind it, half way to the end.
    double const small = 0.01;
    for (double const tolerance : {small, 0.0, -1.0, nan}) {
        for (bool const haveEqual : {false, true}) {
            TopoMesh mesh;
            std::vector<double> const ofB =
                haveEqual ? std::vector<double>{0, 4, 8} : std::vector<double>{0, 3, 8};
            Vertices const a = addStrip(mesh, onLine({0, 1, 4, 8}, 0.0), 1.0);
            Vertices const b = addStrip(mesh, onLine(ofB, -0.5), -2.0);
            MeshStitchSeam seam(mesh);
            seam.stitch(a.front(), a.back(), b.front(), b.back(), tolerance, false);
            std::vector<double> expected = {0, 1, 3, 4, 8};
            if (haveEqual)
                expected = tolerance == small ? std::vector<double>{0, 1, 4, 8}
                                              : std::vector<double>{0, 1, 4, 6, 8};
            CHECK(xsForward(a.front(), a.back()) == expected);
            CHECK(support::faultOf(mesh) == "");
        }
    }
    double const wild[] = {nan, std::numeric_limits<double>::infinity(), 1e308};
    for (double const x : wild) {
        TopoMesh mesh;
        Vertices const a = addStrip(mesh, onLine({0, x, 4, 8}, 0.0), 1.0);
        Vertices const b = addStrip(mesh, onLine({0, 3, x, 7, 8}, -0.5), -2.0);
        MeshStitchSeam seam(mesh);
        seam.stitch(a.front(), a.back(), b.front(), b.back(), 0.1, true);
        CHECK(support::faultOf(mesh) == "");
    }
}

TEST_CASE("randomSeamsMatchAndClose") {
    support::Random random(711);
    for (int round = 0; round < 400; ++round) {
        auto const border = [&random](double y) {
            std::vector<Point> points = {Point(0.0, y, 0.0)};
            int const count = random.index(30);
            for (int i = 0; i < count; ++i)
                points.push_back(Point(100.0 * (i + random.real(0.05, 0.95)) / count + 1e-3,
                                       y + random.real(-0.2, 0.2), random.real(-0.2, 0.2)));
            points.push_back(Point(101.0, y, 0.0));
            return points;
        };
        TopoMesh mesh;
        Vertices const a = addStrip(mesh, border(0.3), 3.0);
        Vertices const b = addStrip(mesh, border(-0.3), -3.0);
        double const tolerance = random.real(0.0, 0.4);
        MeshStitchSeam seam(mesh);
        Listener listener(mesh, seam);
        bool const merge = random.index(4) > 0;
        seam.stitch(a.front(), a.back(), b.front(), b.back(), tolerance, merge);
        REQUIRE(support::faultOf(mesh) == "");
        CHECK(seam.preservedA() == (a.size() >= b.size()));
        CHECK(listener.allGone());
        if (merge) {
            CHECK(seam.numOpenPairs() == 0);
        } else {
            TopoMeshVertex const lowerEnd = mesh.contains(b.back()) ? b.back() : TopoMeshVertex();
            if (!lowerEnd || !mesh.contains(b.front()) || !mesh.contains(a.front()))
                continue;
            std::vector<Point> const upper = pointsForward(a.front(), a.back());
            std::vector<Point> lower = pointsForward(b.back(), b.front());
            REQUIRE(upper.size() == lower.size());
            for (std::size_t i = 0; i < upper.size(); ++i)
                CHECK(distance(upper[i], lower[lower.size() - 1 - i]) == 0.0);
        }
    }
}

TEST_CASE("anySeamOfAnyMeshLeavesItSound") {
    support::Random random(2024);
    int numSewn = 0;
    for (int round = 0; round < 600; ++round) {
        TopoMesh mesh;
        CompactMesh const source =
            round % 3 == 0
                ? support::latticeSoup(12, 20, random.next())
                : support::holed(support::terrain(6, 6, random.next()), 0.8, random.next());
        Vertices const v = support::fill(mesh, source);
        MeshStitchSeam seam(mesh);
        Listener listener(mesh, seam);
        for (int step = 0; step < 12; ++step) {
            auto const any = [&] {
                return v[static_cast<std::size_t>(random.index(int(v.size())))];
            };
            double const tolerance = random.real(-0.1, 0.5);
            CAPTURE(round);
            CAPTURE(step);
            int const crowded = numCrowded(mesh);
            if (random.index(3) == 0)
                seam.stitchCircular(any(), any(), tolerance, random.index(4) > 0);
            else
                seam.stitch(any(), any(), any(), any(), tolerance, random.index(4) > 0);
            REQUIRE(support::faultOf(mesh) == "");
            REQUIRE(listener.allGone());
            CHECK(numCrowded(mesh) <= crowded);
        }
        numSewn += listener.numNotices;
    }
    CHECK(numSewn > 100);
}
