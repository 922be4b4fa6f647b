#include "polylineBuilders.h"

#include "trimora/planar/PolylineProjectPt.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;
using planarTest::Points;
using planarTest::polylineOf;

TEST_CASE("projectsOnInsideAndEndsOfSegments") {
    Polyline const bent = polylineOf({{0, 0, 0}, {4, 0, 0}, {4, 2, 0}});
    PolylineProjectPt const projector(bent);
    Point closest;
    double away = 0.0;
    CHECK(projector.project(Point(1, -3, 0), closest, away) == 0.25);
    CHECK(closest == Point(1, 0, 0));
    CHECK(away == 3.0);
    CHECK(projector.project(Point(-3, -4, 0), closest, away) == 0.0);
    CHECK(away == 5.0);
    CHECK(projector.project(Point(6, 5, 0), closest) == 2.0);
    CHECK(closest == Point(4, 2, 0));
    CHECK(projector.project(Point(9, -1, 0)) == 1.0);
    // As far from both segments: the first.
    CHECK(projector.project(Point(3, 1, 0)) == 0.75);
}

TEST_CASE("withoutASegmentThereIsNoPlace") {
    Point closest(7, 7, 7);
    double away = 0.0;
    for (Points const& points : {Points(), Points{{1, 2, 3}}}) {
        Polyline const tooShort = polylineOf(points);
        CHECK(PolylineProjectPt(tooShort).project(Point::origin, closest, away) == -1.0);
        CHECK(away == 1e150);
    }
    CHECK(PolylineProjectPt().project(Point::origin) == -1.0);
    Polyline const whole = polylineOf({{0, 0, 0}, {1, 0, 0}});
    double const noNumber = std::numeric_limits<double>::quiet_NaN();
    CHECK(PolylineProjectPt(whole).project(Point(noNumber, 0, 0), closest) == -1.0);
    CHECK(closest == Point(7, 7, 7));
    // A segment without length is its point; one that is no number is passed over.
    Polyline const odd = polylineOf({{noNumber, 0, 0}, {2, 0, 0}, {2, 0, 0}});
    CHECK(PolylineProjectPt(odd).project(Point::origin, closest) == 1.0);
    CHECK(closest == Point(2, 0, 0));
}

TEST_CASE("projectingAgreesWithDenseSampling") {
    support::Random random(13);
    for (int round = 0; round < 40; ++round) {
        Polyline const walk = polylineOf(planarTest::randomWalk(random, 12));
        Point const query = planarTest::randomWalk(random, 6).back();
        Point closest;
        double away = 0.0;
        double const u = PolylineProjectPt(walk).project(query, closest, away);
        double least = 1e300;
        for (int k = 0; k <= 4000; ++k)
            least = std::min(least, distance(query, walk.eval(11.0 * k / 4000.0)));
        CHECK(away <= least + 1e-12);
        CHECK(away >= least - 0.01);
        CHECK(distance(closest, query) == doctest::Approx(away));
        CHECK(distance(closest, walk.eval(u)) < 1e-12);
    }
}

//  3 +---+ 2     the seam is at the parameters 0 and 4
//    |   |
//  0 +---+ 1
TEST_CASE("parametersMeetOnOneSideOfTheSeam") {
    Polyline const square = polylineOf({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 0}});
    PolylineProjectPt const projector(square);
    struct Case {
        double first, second, adjustedFirst, adjustedSecond;
        bool result;
    };
    for (Case const& each : {
             Case{0.0, 3.9, 4.0, 3.9, true},                                  // to the near side
             Case{4.0, 0.1, 0.0, 0.1, true}, Case{0.0, 0.1, 0.0, 0.1, true},  // there already
             Case{3.9, 0.0, 3.9, 4.0, true}, Case{0.1, 4.0, 0.1, 0.0, true},
             Case{0.0, 2.0, 4.0, 2.0, true},    // in the middle
             Case{0.0, 4.0, 0.0, 4.0, false},   // both on the seam
             Case{1.0, 3.0, 1.0, 3.0, false},   // neither
             Case{1e-9, 3.9, 1e-9, 3.9, false}  // only near
         }) {
        double first = each.first;
        double second = each.second;
        CHECK(projector.adjust(first, second) == each.result);
        CHECK(first == each.adjustedFirst);
        CHECK(second == each.adjustedSecond);
    }
    Polyline const open = polylineOf({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}});
    double first = 0.0;
    double second = 1.9;
    CHECK_FALSE(PolylineProjectPt(open).adjust(first, second));
    CHECK_FALSE(PolylineProjectPt().adjust(first, second));
    CHECK(first == 0.0);
}
