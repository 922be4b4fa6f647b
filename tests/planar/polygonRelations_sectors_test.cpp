#include "planePolygons.h"

#include "trimora/planar/polygonRelations.h"

#include <doctest/doctest.h>

using namespace planar;

namespace {

constexpr double fullTurn = 2.0 * std::numbers::pi;

EPointSectorIntersection placeOf(Point2 const& point, Vector2 const& a, Vector2 const& b,
                                 Point2 const& apex = Point2::origin, double tolerance = 1e-9) {
    EPointSectorIntersection status = pointSectorInvalid;
    isPointInsideSector(point, apex, a, b, status, tolerance);
    return status;
}

Vector2 direction(double angle, double length = 1.0) {
    return {length * std::cos(angle), length * std::sin(angle)};
}

/// Counterclockwise from one direction to another, 0 to a full turn.
double sweep(Vector2 const& from, Vector2 const& to) {
    double const angle = std::atan2(cross(from, to), dot(from, to));
    return angle < 0.0 ? angle + fullTurn : angle;
}

struct Answer {
    ESectorPolygonIntersection status = sectorInvalid;
    Polyline2d result;

    double area() const { return std::abs(areaOf(pointsOf(result))); }
};

Answer meet(Point2 const& apex, Vector2 const& a, Vector2 const& b, Points const& polygon) {
    Answer answer;
    answer.result = polylineOf(rectangle(0, 0, 9, 9));
    isSectorPolygonIntersect(apex, a, b, polylineOf(polygon), answer.status, answer.result, 1e-6);
    return answer;
}

}  // namespace

TEST_CASE("sectorsHoldWhatIsSweptFromTheFirstRayToTheSecond") {
    Vector2 const right(2, 0), up(0, 3), left(-1, 0);
    CHECK(placeOf({1, 1}, right, up) == pointInsideSector);
    CHECK(placeOf({-1, 1}, right, up) == pointOutsideSector);
    CHECK(placeOf({5, 0}, right, up) == pointOnSectorBoundary);
    CHECK(placeOf({0, 5}, right, up) == pointOnSectorBoundary);
    CHECK(placeOf({-5, 0}, right, up) == pointOutsideSector);
    CHECK(placeOf({0, 0}, right, up) == pointOnSectorBoundary);
    CHECK(placeOf({0.05, -0.05}, right, up, {0, 0}, 0.1) == pointOnSectorBoundary);
    // The other way round: three quarters of the plane, the line of a ray behind the apex among them.
    CHECK(placeOf({1, 1}, up, right) == pointOutsideSector);
    CHECK(placeOf({-1, 1}, up, right) == pointInsideSector);
    CHECK(placeOf({-5, 0}, up, right) == pointInsideSector);
    CHECK(placeOf({0, 5}, up, right) == pointOnSectorBoundary);
    // Opposed: the line of both divides the plane.
    CHECK(placeOf({7, 1}, right, left) == pointInsideSector);
    CHECK(placeOf({7, -1}, right, left) == pointOutsideSector);
    CHECK(placeOf({7, 0}, right, left) == pointOnSectorBoundary);
    CHECK(placeOf({-7, 0}, right, left) == pointOnSectorBoundary);
    // Alike: the ray alone.
    CHECK(placeOf({7, 0}, right, right) == pointOnSectorBoundary);
    CHECK(placeOf({-7, 0}, right, right) == pointOutsideSector);
    CHECK(placeOf({7, 1}, right, right) == pointOutsideSector);

    CHECK(placeOf({1, 1}, Vector2(0, 0), up) == pointSectorInvalid);
    CHECK(placeOf({1, 1}, right, Vector2(1e-13, 0)) == pointSectorInvalid);
}

TEST_CASE("sectorsOfAllWidthsAgreeWithTheAngles") {
    support::Random random(1);
    int counts[4] = {};
    for (int round = 0; round < 20000; ++round) {
        double const widths[] = {0.01, random.real(0.0, std::numbers::pi), std::numbers::pi,
                                 random.real(std::numbers::pi, fullTurn), fullTurn - 0.01};
        double const width = widths[round % 5];
        double const start = random.real(0.0, fullTurn);
        Vector2 const a = direction(start, random.real(0.1, 10.0));
        Vector2 const b = direction(start + width, random.real(0.1, 10.0));
        Point2 const apex(random.real(-1, 1), random.real(-1, 1));
        double const turn = round % 2 == 0 ? width * random.real(0.0, 1.0) : random.real(0.0, 6.0);
        Vector2 const w = direction(start + turn, random.real(0.1, 10.0));
        double const angle = sweep(a, w);
        if (std::min(angle, fullTurn - angle) < 1e-6 || std::abs(angle - width) < 1e-6)
            continue;
        auto const place = placeOf(apex + w, a, b, apex);
        CHECK(place == (angle < width ? pointInsideSector : pointOutsideSector));
        ++counts[place];
    }
    CHECK(counts[pointInsideSector] > 5000);
    CHECK(counts[pointOutsideSector] > 4000);
}

//   3 ------- 2
//   |       . |       From the middle of an edge, upward and to the right.
//   |     .   |
//   0 --- x - 1
TEST_CASE("sectorsCutPolygonsInTheOrderOfTheEdges") {
    Points const square = rectangle(0, 0, 4, 4);
    Answer const answer = meet({2, 0}, {1, 0}, {0, 1}, square);
    CHECK(answer.status == sectorPolygonOverlapping);
    CHECK(pointsOf(answer.result) == Points{{2, 0}, {4, 0}, {4, 4}, {2, 4}, {2, 0}});
    CHECK(answer.result.getVertex(3).parameter == 3.0);
    // The apex inside, both rays through one edge.
    CHECK(pointsOf(meet({2, 2}, {2, -1}, {2, 1}, square).result) ==
          Points{{4, 1}, {4, 3}, {2, 2}, {4, 1}});
    // The apex outside, all of the polygon in the sector.
    CHECK(pointsOf(meet({-9, 2}, {1, -1}, {1, 1}, square).result) == square);
    // Parameters of its own kind do not matter.
    Polyline2d const odd(square, {0.0, 0.5, 7.0, 8.0, 10.0});
    Polyline2d result;
    ESectorPolygonIntersection status = sectorInvalid;
    isSectorPolygonIntersect({2, 2}, {2, -1}, {2, 1}, odd, status, result, 1e-6);
    CHECK(pointsOf(result) == Points{{4, 1}, {4, 3}, {2, 2}, {4, 1}});
    // Nor does it matter whether the closing vertex is there.
    Points open = square;
    open.pop_back();
    CHECK(pointsOf(meet({-9, 2}, {1, -1}, {1, 1}, open).result) == square);
}

TEST_CASE("sectorsThatMissTouchOrAreNone") {
    Points const square = rectangle(0, 0, 4, 4);
    Answer const apart = meet({9, 9}, {1, 0}, {0, 1}, square);
    CHECK(apart.status == sectorPolygonDisjoint);
    CHECK(apart.result.getNumVertices() == 0);
    Answer const touching = meet({4, 4}, {1, 0}, {0, 1}, square);
    CHECK(touching.status == sectorPolygonTouching);
    CHECK(touching.result.getNumVertices() == 0);
    CHECK(meet({0, 0}, {0, 0}, {0, 1}, square).status == sectorInvalid);
    CHECK(meet({0, 0}, {1, 0}, {0, 1}, {{0, 0}, {4, 4}}).status == sectorPolygonInvalid);
    CHECK(meet({0, 0}, {1, 0}, {0, 1}, closed({{0, 0}, {4, 0}, {8, 0}})).status ==
          sectorPolygonInvalid);
}

TEST_CASE("convexPolygonsKeepTheShareOfTheSector") {
    support::Random random(2);
    int numOverlapping = 0;
    for (int round = 0; round < 4000; ++round) {
        Points polygon = convex(random, 3 + random.index(12), {0, 0}, 1.0);
        Point2 const apex(random.real(-1.5, 1.5), random.real(-1.5, 1.5));
        double const start = random.real(0.0, fullTurn);
        double const width = round % 3 == 0 ? 0.05 : random.real(0.1, 3.1);
        Vector2 const a = direction(start, random.real(0.2, 2.0));
        Vector2 const b = direction(start + width, random.real(0.2, 2.0));
        Points const expected = leftPart(polygon, apex, apex + a).empty()
                                    ? Points()
                                    : leftPart(leftPart(polygon, apex, apex + a), apex + b, apex);
        if (round % 2 == 0)
            polygon = reversed(polygon);
        Answer const answer = meet(apex, a, b, polygon);
        double const area = expected.empty() ? 0.0 : areaOf(expected);
        CHECK(answer.area() == doctest::Approx(area).epsilon(1e-9));
        CHECK((answer.status == sectorPolygonOverlapping) == (area > 0.0));
        numOverlapping += area > 0.0;
    }
    CHECK(numOverlapping > 1000);
}

TEST_CASE("hostileSectorsComeToAnEnd") {
    support::Random random(3);
    for (int round = 0; round < 4000; ++round) {
        auto const draw = [&] {
            return round % 2 == 0 ? static_cast<double>(random.index(4)) : hostileNumber(random);
        };
        Points const polygon = hostilePolygon(random, 12);
        Answer const answer = meet({draw(), draw()}, {draw(), draw()}, {draw(), draw()}, polygon);
        CHECK((answer.result.getNumVertices() > 0) == (answer.status == sectorPolygonOverlapping));
        placeOf({draw(), draw()}, {draw(), draw()}, {draw(), draw()}, {draw(), draw()});
    }
}
