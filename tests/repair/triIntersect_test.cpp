#include "support/builders.h"

#include "trimora/repair/triIntersect.h"

#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

using Triangle = std::array<Point, 3>;

struct Segment {
    bool found;
    Point start, end;
};

Segment cut(Triangle const& p, Triangle const& q) {
    Segment segment{false, Point(9, 9, 9), Point(9, 9, 9)};
    segment.found = intersect(p[0], p[1], p[2], q[0], q[1], q[2], segment.start, segment.end);
    return segment;
}

bool near(Point const& a, Point const& b) {
    return distance(a, b) < 1e-12;
}

// In the plane z = 0, around the origin.
Triangle const flat{Point(-4, -4, 0), Point(4, -4, 0), Point(0, 4, 0)};

// In the plane y = 0, with the given heights over z = 0 from left to right.
Triangle upright(double left, double middle, double right) {
    return {Point(-1, 0, left), Point(0, 0, middle), Point(1, 0, right)};
}

double volume(Point const& a, Point const& b, Point const& c, Point const& d) {
    return dot(cross(b - a, c - a), d - a);
}

// Whether the segment pierces the triangle; no two points of the six may be special to each other.
bool pierces(Point const& a, Point const& b, Triangle const& t) {
    if ((volume(t[0], t[1], t[2], a) > 0) == (volume(t[0], t[1], t[2], b) > 0))
        return false;
    bool const side = volume(a, b, t[0], t[1]) > 0;
    return side == (volume(a, b, t[1], t[2]) > 0) && side == (volume(a, b, t[2], t[0]) > 0);
}

bool cutByPiercing(Triangle const& p, Triangle const& q) {
    for (std::size_t k = 0; k < 3; ++k)
        if (pierces(p[k], p[(k + 1) % 3], q) || pierces(q[k], q[(k + 1) % 3], p))
            return true;
    return false;
}

struct PlaneCut {
    int count;
    Point a{7, 7, 7}, b{7, 7, 7};
    double aParam = 7, bParam = 7;
    int aEdge[2] = {7, 7}, bEdge[2] = {7, 7};
};

// The plane z = 0 through a triangle with the given heights.
PlaneCut planeCut(double h0, double h1, double h2, double tolerance = 1e-9) {
    double const plane[4] = {0, 0, 1, 0};
    Point const v[3] = {Point(0, 0, h0), Point(1, 0, h1), Point(0, 1, h2)};
    PlaneCut result{};
    result.count = intersect(plane, v[0], v[1], v[2], tolerance, result.a, result.aParam,
                             result.aEdge, result.b, result.bParam, result.bEdge);
    Point a(7, 7, 7);
    Point b(7, 7, 7);
    CHECK(intersect(plane, v[0], v[1], v[2], tolerance, a, b) == result.count);
    CHECK(a == result.a);
    CHECK(b == result.b);
    if (result.aParam != 7)
        CHECK(near(result.a, combine(result.aParam, v[result.aEdge[0]], 1 - result.aParam,
                                     v[result.aEdge[1]])));
    if (result.bParam != 7)
        CHECK(near(result.b, combine(result.bParam, v[result.bEdge[0]], 1 - result.bParam,
                                     v[result.bEdge[1]])));
    return result;
}

using Signs = std::array<int, 5>;  // count, edge of a, edge of b

Signs edgesOf(PlaneCut const& cut) {
    return {cut.count, cut.aEdge[0], cut.aEdge[1], cut.bEdge[0], cut.bEdge[1]};
}

}  // namespace

TEST_SUITE("triIntersect") {

    //        +1           seen along y: the upright triangle, its cut with z = 0 between the marks
    //       /  \.
    //  ----*----*----
    //     /      \.
    //   -1 ------ -1
    TEST_CASE("segmentRunsAlongTheCrossProductOfTheNormals") {
        Triangle const p = upright(-1, 1, -1);
        Segment const segment = cut(p, flat);
        REQUIRE(segment.found);
        CHECK(near(segment.start, Point(-0.5, 0, 0)) != near(segment.start, Point(0.5, 0, 0)));
        CHECK(near(combine(segment.start, segment.end), Point(0, 0, 0)));
        Vector const along =
            cross(triNormal(p[0], p[1], p[2]), triNormal(flat[0], flat[1], flat[2]));
        CHECK(dot(segment.end - segment.start, along) > 0);
        // The other order of the two triangles runs the other way.
        Segment const back = cut(flat, p);
        REQUIRE(back.found);
        CHECK(near(back.start, segment.end));
        CHECK(near(back.end, segment.start));
    }

    TEST_CASE("shorterOfTwoIntervalsIsTheCut") {
        Triangle const small{Point(0.25, -1, -1), Point(0.25, 1, -1), Point(0.25, 0, 1)};
        Segment const segment = cut(small, upright(-1, 1, -1));
        REQUIRE(segment.found);
        CHECK(std::abs(segment.start.z - segment.end.z) == doctest::Approx(1.5));
        CHECK_FALSE(cut(small, {Point(5, 0, -1), Point(6, 0, 1), Point(7, 0, -1)}).found);
    }

    TEST_CASE("parallelPlanesNeverCut") {
        CHECK_FALSE(cut(flat, flat).found);
        CHECK_FALSE(cut(flat, {flat[0], flat[2], flat[1]}).found);
        CHECK_FALSE(cut(flat, {Point(-1, -1, 0), Point(1, -1, 0), Point(0, 1, 0)}).found);
        CHECK_FALSE(cut(flat, {Point(-4, -4, 1), Point(4, -4, 1), Point(0, 4, 1)}).found);
    }

    TEST_CASE("touchInAPointIsNoCut") {
        CHECK_FALSE(cut(upright(1, 0, 1), flat).found);  // corner on the face
        CHECK_FALSE(cut(upright(1, 0, 2), flat).found);
        CHECK_FALSE(cut({Point(4, -4, 0), Point(5, -4, 1), Point(5, -4, -1)}, flat)
                        .found);  // corner on corner
        CHECK_FALSE(cut({Point(2, 0, -1), Point(2, 0, 1), Point(9, 0, 0)}, flat)
                        .found);  // edge on edge, crosswise
    }

    TEST_CASE("edgeInTheOtherPlaneIsACut") {
        Segment const segment = cut(upright(0, 1, 0), flat);
        REQUIRE(segment.found);
        CHECK(distance(segment.start, segment.end) == doctest::Approx(2.0));
    }

    // With a corner on the plane and the others on either side the cut runs from that corner to the edge
    // across. It is found when the corner is the second or third one, and missed when it is the first: then
    // the first corner counts as alone, and both crossings fall on it.
    TEST_CASE("cornerOnThePlaneIsMissedInTheFirstPlaceOnly") {
        Point const on(0, 0, 0);
        Point const above(1, 0, 1);
        Point const below(1, 0, -1);
        CHECK_FALSE(cut({on, above, below}, flat).found);
        CHECK_FALSE(cut({on, below, above}, flat).found);
        for (Triangle const& triangle : {Triangle{above, on, below}, Triangle{below, on, above},
                                         Triangle{above, below, on}, Triangle{below, above, on}}) {
            Segment const segment = cut(triangle, flat);
            CHECK(segment.found);
            CHECK(distance(segment.start, segment.end) == doctest::Approx(1.0));
            CHECK(cut(flat, triangle).found);
        }
        CHECK_FALSE(cut(flat, {on, above, below}).found);
    }

    TEST_CASE("degenerateTriangleTakesPartWithTheNormalAlongZ") {
        Triangle const needle{Point(0, 0, -1), Point(0, 0, 1), Point(0, 0, 0.5)};
        CHECK_FALSE(cut(needle, flat).found);                // equal normals
        CHECK_FALSE(cut(needle, upright(-1, 1, -1)).found);  // all corners on the plane y = 0
        Triangle const point{Point(0, 0, 0), Point(0, 0, 0), Point(0, 0, 0)};
        CHECK_FALSE(cut(point, upright(-1, 1, -1)).found);
        CHECK_FALSE(cut(point, point).found);
    }

    TEST_CASE("numbersThatAreNotFiniteAreNoCut") {
        for (double const bad : {std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::infinity(), 1e300})
            for (std::size_t corner = 0; corner < 3; ++corner) {
                Triangle triangle = upright(-1, 1, -1);
                triangle[corner].x = bad;
                CHECK_FALSE(cut(triangle, flat).found);
                CHECK_FALSE(cut(flat, triangle).found);
            }
    }

    TEST_CASE("refusalLeavesTheSegmentAlone") {
        Segment const segment = cut(flat, upright(1, 2, 3));
        CHECK_FALSE(segment.found);
        CHECK(segment.start == Point(9, 9, 9));
    }

    TEST_CASE("agreesWithPiercedFacesInGeneralPosition") {
        support::Random random(17);
        int numCuts = 0;
        for (int i = 0; i < 20000; ++i) {
            Triangle p;
            Triangle q;
            for (Triangle* triangle : {&p, &q})
                for (Point& corner : *triangle)
                    corner.set(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
            Segment const segment = cut(p, q);
            CHECK(segment.found == cutByPiercing(p, q));
            CHECK(segment.found == cut(q, p).found);
            CHECK(segment.found == cut({p[1], p[2], p[0]}, {q[2], q[1], q[0]}).found);
            if (!segment.found)
                continue;
            ++numCuts;
            for (Point const& point : {segment.start, segment.end})
                for (Triangle const* triangle : {&p, &q})
                    CHECK(std::abs(dot(triNormal((*triangle)[0], (*triangle)[1], (*triangle)[2]),
                                       point - (*triangle)[0])) < 1e-9);
        }
        CHECK(numCuts > 2000);
    }

    TEST_CASE("planeCutsATriangleByTheSignsOfItsCorners") {
        CHECK(edgesOf(planeCut(1, 2, 3)) == Signs{0, 7, 7, 7, 7});
        CHECK(edgesOf(planeCut(-1, -2, -3)) == Signs{0, 7, 7, 7, 7});
        CHECK(edgesOf(planeCut(0, 0, 0)) == Signs{3, 7, 7, 7, 7});
        // One corner touches.
        CHECK(edgesOf(planeCut(0, 1, 2)) == Signs{1, 0, 0, 7, 7});
        CHECK(edgesOf(planeCut(-1, 0, -2)) == Signs{1, 1, 1, 7, 7});
        CHECK(edgesOf(planeCut(1, 2, 0)) == Signs{1, 2, 2, 7, 7});
        // An edge lies in the plane.
        CHECK(edgesOf(planeCut(0, 0, 1)) == Signs{2, 0, 0, 1, 1});
        CHECK(edgesOf(planeCut(0, -1, 0)) == Signs{2, 0, 0, 2, 2});
        CHECK(edgesOf(planeCut(1, 0, 0)) == Signs{2, 1, 1, 2, 2});
        // From a corner to the edge across, from end to start.
        CHECK(edgesOf(planeCut(0, 1, -1)) == Signs{2, 0, 0, 2, 1});
        CHECK(edgesOf(planeCut(-1, 0, 1)) == Signs{2, 1, 1, 0, 2});
        CHECK(edgesOf(planeCut(1, -1, 0)) == Signs{2, 2, 2, 1, 0});
        // Two edges are crossed.
        CHECK(edgesOf(planeCut(1, 1, -1)) == Signs{2, 2, 1, 0, 2});
        CHECK(edgesOf(planeCut(1, -1, -1)) == Signs{2, 0, 2, 1, 0});
        CHECK(edgesOf(planeCut(1, -1, 1)) == Signs{2, 1, 0, 2, 1});
    }

    TEST_CASE("crossingHasTheWeightOfTheEdgesEnd") {
        PlaneCut const result = planeCut(1, -3, 5);
        CHECK(result.count == 2);
        CHECK(result.aParam == 0.25);
        CHECK(near(result.a, Point(0.25, 0, 0)));
        CHECK(result.bParam == 0.375);
        CHECK(near(result.b, Point(0.625, 0.375, 0)));
        CHECK(planeCut(0, 1, 2).aParam == 1.0);
    }

    TEST_CASE("cornersWithinTheToleranceLieOnThePlane") {
        CHECK(planeCut(0.01, 1, 2, 0.1).count == 1);
        CHECK(planeCut(0.1, 1, 2, 0.1).count == 0);
        CHECK(planeCut(0.01, -0.01, 0.05, 0.1).count == 3);
        CHECK(planeCut(0.01, 1, 2, 0.0).count == 0);
    }
}
