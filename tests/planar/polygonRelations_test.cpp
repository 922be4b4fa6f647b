#include "planePolygons.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/planar/polygonRelations.h"

#include <doctest/doctest.h>
#include <iostream>
#include <sstream>

using namespace planar;

namespace {

pointPolygonRelation relationOf(Point2 const& point, Points const& polygon, double tolerance) {
    pointPolygonRelation relation = pointInside;
    isPointInPolygon(point, polygon, relation, tolerance);
    return relation;
}

pointPolygonRelation relationOf(Point2 const& point, Polyline2d const& polygon, double tolerance) {
    pointPolygonRelation relation = pointInside;
    intersectPointWithPolygon(point, polygon, relation, tolerance);
    return relation;
}

/// Both passes, one after the other: edges beyond the box round the point are left out of the second.
pointPolygonRelation plainRelation(Point2 const& p, Points const& polygon, double tolerance) {
    if (polygon.empty())
        return pointOutside;
    bool isInside = false;
    bool above = polygon[0].y > p.y;
    for (std::size_t i = 0; i + 1 < polygon.size(); ++i) {
        Point2 const& a = polygon[i];
        Point2 const& b = polygon[i + 1];
        if (above == (b.y > p.y))
            continue;
        above = !above;
        double const x = (b.x - a.x) * (p.y - a.y) / (b.y - a.y) + a.x;
        if (std::abs(x - p.x) < tolerance)
            return pointOnBoundary;
        if (x > p.x)
            isInside = !isInside;
    }
    for (std::size_t i = 0; i + 1 < polygon.size(); ++i) {
        Point2 const& a = polygon[i];
        Point2 const& b = polygon[i + 1];
        bool const isFar = (a.x > p.x + tolerance && b.x > p.x + tolerance) ||
                           (a.x < p.x - tolerance && b.x < p.x - tolerance) ||
                           (a.y > p.y + tolerance && b.y > p.y + tolerance) ||
                           (a.y < p.y - tolerance && b.y < p.y - tolerance);
        if (!isFar && isPointOnEdge(a, b, p, tolerance))
            return pointOnBoundary;
    }
    return isInside ? pointInside : pointOutside;
}

struct SegmentAnswer {
    ELineSegmentPolygonIntersection status = segmentUndetermined;
    Points points;
    ko::vector<double> parameters;
    std::string printed;
};

SegmentAnswer segmentIn(Points const& polygon, Point2 const& a, Point2 const& b,
                        double tolerance = 1e-9) {
    SegmentAnswer answer;
    answer.points.emplace_back(9, 9);
    answer.parameters.push_back(9);
    std::ostringstream printed;
    std::streambuf* const usual = std::cout.rdbuf(printed.rdbuf());
    intersectLineSegmentWithPolygon(a, b, polylineOf(polygon), answer.status, answer.points,
                                    answer.parameters, tolerance);
    std::cout.rdbuf(usual);
    answer.printed = printed.str();
    return answer;
}

Points const square = rectangle(0, 0, 4, 4);

}  // namespace

TEST_CASE("edgesHoldABandRoundThem") {
    Point2 const a(1, 1), b(5, 4);  // of length 5
    CHECK(isPointOnEdge(a, b, {3, 2.5}, 1e-9));
    CHECK(isPointOnEdge(a, b, a, 1e-9));
    CHECK(isPointOnEdge(a, b, {1 - 0.6 * 0.09, 1 + 0.8 * 0.09}, 0.1));
    CHECK_FALSE(isPointOnEdge(a, b, {1 - 0.6 * 0.11, 1 + 0.8 * 0.11}, 0.1));
    CHECK(isPointOnEdge(a, b, {5 + 0.8 * 0.09, 4 + 0.6 * 0.09}, 0.1));
    CHECK_FALSE(isPointOnEdge(a, b, {5 + 0.8 * 0.11, 4 + 0.6 * 0.11}, 0.1));
    CHECK_FALSE(isPointOnEdge(a, b, {3, 2.5}, 0.0));
    CHECK(isPointOnEdge(a, a, {1.1, 0.9}, 0.125));
    CHECK_FALSE(isPointOnEdge(a, a, {1.2, 1}, 0.125));
}

//   3 ----- 2
//   |       |      levels of corners and edges are where parities go wrong
//   0 ----- 1
TEST_CASE("pointsAtCornersAndLevelEdgesAreOnTheBoundary") {
    for (Points const& polygon : {square, reversed(square)}) {
        CHECK(relationOf({2, 2}, polygon, 1e-9) == pointInside);
        CHECK(relationOf({2, 0}, polygon, 1e-9) == pointOnBoundary);
        CHECK(relationOf({2, 4}, polygon, 1e-9) == pointOnBoundary);
        CHECK(relationOf({0, 2}, polygon, 1e-9) == pointOnBoundary);
        CHECK(relationOf({4, 4}, polygon, 1e-9) == pointOnBoundary);
        CHECK(relationOf({-1, 0}, polygon, 1e-9) == pointOutside);
        CHECK(relationOf({-1, 4}, polygon, 1e-9) == pointOutside);
        CHECK(relationOf({5, 2}, polygon, 1e-9) == pointOutside);
        CHECK(relationOf({2, -0.05}, polygon, 0.1) == pointOnBoundary);
        CHECK(relationOf({2, -0.15}, polygon, 0.1) == pointOutside);
        CHECK(relationOf({2, 0.15}, polygon, 0.1) == pointInside);
    }
    CHECK(relationOf({0, 0}, Points(), 1.0) == pointOutside);
    CHECK(relationOf({0, 0}, Points(1), 1.0) == pointOutside);
    CHECK(relationOf({0, 0}, Polyline2d(), 1.0) == pointOutside);
    // An open polyline is closed by an edge of its own.
    Points open = square;
    open.pop_back();
    CHECK(relationOf({0, 2}, polylineOf(open), 1e-9) == pointOnBoundary);
    CHECK(relationOf({0.5, 3}, polylineOf(open), 1e-9) == pointInside);
}

TEST_CASE("relationsFollowTheWindingNumberAndTheBand") {
    support::Random random(1);
    constexpr double band = 0.01;
    int counts[3] = {};
    for (int round = 0; round < 200; ++round) {
        Points polygon = star(random, 3 + random.index(60), {0.5, -0.25}, 1.0);
        if (round % 2 == 0)
            polygon = reversed(polygon);
        Polyline2d const polyline = polylineOf(polygon);
        for (int i = 0; i < 100; ++i) {
            Point2 const p(random.real(-0.6, 1.6), random.real(-1.4, 0.9));
            double const gap = distanceToBoundary(p, polygon);
            auto const relation = relationOf(p, polygon, band);
            CHECK(relationOf(p, polyline, band) == relation);
            ++counts[relation];
            if (gap < 0.999 * band)
                CHECK(relation == pointOnBoundary);
            else if (gap > 1.001 * band * std::numbers::sqrt2)
                CHECK(relation == (windingNumber(p, polygon) != 0 ? pointInside : pointOutside));
        }
    }
    for (int const count : counts)
        CHECK(count > 500);
}

TEST_CASE("longRunsBeyondThePointChangeNothing") {
    support::Random random(2);
    for (int round = 0; round < 3000; ++round) {
        Points polygon = round % 3 == 0 ? star(random, 3 + random.index(300), {0, 0}, 3.0)
                                        : hostilePolygon(random, 60);
        for (int i = 0; i < 10; ++i) {
            Point2 p(random.index(4), random.index(4));
            if (round % 3 == 2)
                p.set(hostileNumber(random), hostileNumber(random));
            double const tolerances[] = {1e-9, 0.5, 0.0, -1.0, hostileNumber(random)};
            double const tolerance = tolerances[random.index(5)];
            CHECK(relationOf(p, polygon, tolerance) == plainRelation(p, polygon, tolerance));
        }
    }
}

//   3 ----- 2
//   |   c   |      number of an edge: that of its first corner
//   0 ----- 1
TEST_CASE("segmentsAreToldApartByCommonPointsAndEnds") {
    CHECK(segmentIn(square, {5, 0}, {6, 3}).status == segmentOutside);
    CHECK(segmentIn(square, {1, 1}, {2, 3}).status == segmentInside);
    CHECK(segmentIn(square, {1, 1}, {2, 3}).points.empty());

    SegmentAnswer const out = segmentIn(square, {2, 2}, {2, -1});
    CHECK(out.status == segmentCrossing);
    CHECK(out.points == Points{{2, 0}});
    CHECK(out.parameters == ko::vector<double>{0.5});

    SegmentAnswer const through = segmentIn(square, {1, 5}, {1, -1});
    CHECK(through.status == segmentCrossing);
    CHECK(through.points == Points{{1, 0}, {1, 4}});
    CHECK(through.parameters == ko::vector<double>{0.25, 2.75});

    SegmentAnswer const corner = segmentIn(square, {3, 5}, {5, 3});
    CHECK(corner.status == segmentTouching);
    CHECK(corner.points == Points{{4, 4}});
    CHECK(corner.parameters == ko::vector<double>{2.0});
    CHECK(segmentIn(square, {2, 4}, {2, 5}).status == segmentTouching);
    CHECK(segmentIn(square, {2, 4}, {2, 3}).status == segmentCrossing);

    for (auto const& [a, b] : {std::pair{Point2(1, 0), Point2(3, 0)}, {Point2(-1, 0), {5, 0}}}) {
        SegmentAnswer const along = segmentIn(square, a, b);
        CHECK(along.status == segmentAlongEdge);
        CHECK(along.points.empty());
        CHECK(along.parameters == ko::vector<double>{std::max(a.x, 0.0) / 4.0});
    }
    CHECK(segmentIn(square, {4, 3}, {4, 1}).parameters == ko::vector<double>{1.25});
    // An edge met first does not matter.
    CHECK(segmentIn(square, {0, 3}, {0, 0}).parameters == ko::vector<double>{3.25});
    // A point on the boundary.
    CHECK(segmentIn(square, {2, 0}, {2, 0}).status == segmentUndetermined);
}

//   3 --- 2 5 --- 4        the comb is crossed at x = 0, 1, 2, 3
//   |     | |     |
//   |     1-6     |    (numbers are not those of the corners)
//   0 ----------- 7
TEST_CASE("moreThanTwoPointsAreUndeterminedAndPrinted") {
    Points const comb = closed({{0, 0}, {3, 0}, {3, 2}, {2, 2}, {2, 1}, {1, 1}, {1, 2}, {0, 2}});
    SegmentAnswer const answer = segmentIn(comb, {-1, 1.5}, {4, 1.5});
    CHECK(answer.status == segmentUndetermined);
    CHECK(answer.points == Points{{3, 1.5}, {2, 1.5}, {1, 1.5}, {0, 1.5}});
    CHECK(answer.parameters == ko::vector<double>{1.75, 3.5, 5.5, 7.25});
    CHECK(answer.printed == "Too many intersection points!\n"
                            "polygon:\n"
                            "intersectionPoint[0]: (3.000000, 1.500000)\n"
                            "intersectionPoint[1]: (2.000000, 1.500000)\n"
                            "intersectionPoint[2]: (1.000000, 1.500000)\n"
                            "Too many intersection points!\n"
                            "polygon:\n"
                            "intersectionPoint[0]: (3.000000, 1.500000)\n"
                            "intersectionPoint[1]: (2.000000, 1.500000)\n"
                            "intersectionPoint[2]: (1.000000, 1.500000)\n"
                            "intersectionPoint[3]: (0.000000, 1.500000)\n");
    CHECK(segmentIn(comb, {0.5, 1.5}, {2.5, 1.5}).status == segmentCrossing);
    CHECK(segmentIn(comb, {1.25, 1.5}, {1.75, 1.5}).status == segmentOutside);
    // Inside at both ends, with a reflex corner on the way.
    CHECK(segmentIn(comb, {0.5, 1.5}, {1.5, 0.5}).status == segmentUndetermined);
}

TEST_CASE("segmentsMeetTheEdgesThatAPlainSearchMeets") {
    support::Random random(3);
    int counts[6] = {};
    for (int round = 0; round < 2000; ++round) {
        double const tolerance = round % 2 == 0 ? 1e-9 : 0.05;
        Points const polygon = round % 4 == 0 ? star(random, 3 + random.index(20), {2, 2}, 2.0)
                                              : convex(random, 3 + random.index(20), {2, 2}, 2.0);
        auto const draw = [&] { return Point2(random.real(-1, 5), random.real(-1, 5)); };
        Point2 const a = round % 5 == 0 ? polygon[0] : draw();
        Point2 const b = round % 10 == 0 ? polygon[1] : draw();
        SegmentAnswer const answer = segmentIn(polygon, a, b, tolerance);
        ++counts[answer.status];

        Points expected;
        bool runsAlong = false;
        for (std::size_t i = 0; i + 1 < polygon.size() && !runsAlong; ++i) {
            double t = 0.0;
            Point2 point;
            bool unique = true;
            if (!doLineSegmentsIntersect(polygon[i], polygon[i + 1], a, b, t, point, unique,
                                         tolerance))
                continue;
            runsAlong = !unique;
            bool isNew = true;
            for (Point2 const& known : expected)
                isNew &= !equivalent(known, point, tolerance);
            if (isNew)
                expected.push_back(point);
        }
        CHECK((answer.status == segmentAlongEdge) == runsAlong);
        if (!runsAlong)
            CHECK(answer.points == expected);
    }
    for (int const status :
         {segmentOutside, segmentInside, segmentCrossing, segmentTouching, segmentAlongEdge})
        CHECK(counts[status] > 20);
}

TEST_CASE("hostileSegmentsComeToAnEnd") {
    support::Random random(4);
    for (int round = 0; round < 5000; ++round) {
        Points const polygon = hostilePolygon(random, 12);
        auto const draw = [&] {
            return round % 2 == 0 ? Point2(random.index(4), random.index(4))
                                  : Point2(hostileNumber(random), hostileNumber(random));
        };
        SegmentAnswer const answer = segmentIn(polygon, draw(), draw(), 1e-6);
        for (double const parameter : answer.parameters) {
            CHECK(parameter >= 0.0);
            CHECK(parameter <= static_cast<double>(polygon.size()));
        }
    }
}
