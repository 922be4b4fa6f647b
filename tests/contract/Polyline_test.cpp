#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koLinear/tolerances.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <type_traits>
#include <vector>

using namespace koGeom;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

using Vertices = std::vector<Polyline::vertex>;

Polyline make(Vertices const& vertices) {
    return {static_cast<int>(vertices.size()), vertices.data()};
}

//           . 2 (4, 3)
//           |
//  0 ------ 1 (4, 0)         parameters 10, 12, 13
Vertices const corner{{0, 0, 0, 10}, {4, 0, 0, 12}, {4, 3, 0, 13}};

}  // namespace

static_assert(sizeof(Polyline::vertex) == 4 * sizeof(double));
static_assert(std::is_trivially_copyable_v<Polyline::vertex>);
static_assert(std::has_virtual_destructor_v<Polyline>);

TEST_CASE("polylinesEvaluateBetweenTheirParameters") {
    Polyline const polyline = make(corner);
    CHECK(polyline.getDomain() == Range1d(10, 13));
    CHECK(polyline.eval(10.5) == Point(1, 0, 0));
    CHECK(polyline.eval(12.0) == Point(4, 0, 0));
    CHECK(polyline.eval(12.5) == Point(4, 1.5, 0));
    for (double before : {-infinity, 0.0, 10.0})
        CHECK(polyline.eval(before) == Point(0, 0, 0));
    for (double behind : {13.0, 99.0, infinity})
        CHECK(polyline.eval(behind) == Point(4, 3, 0));
}

TEST_CASE("polylineLengthsRunAlongTheSegments") {
    Polyline const polyline = make(corner);
    CHECK(polyline.getLength(10, 13) == 7.0);
    CHECK(polyline.getLength(11, 12.5) == 3.5);
    CHECK(polyline.getLength(12.5, 11) == 3.5);
    CHECK(polyline.getLength(10.5, 11) == 1.0);
    CHECK(polyline.getLength(12, 12) == 0.0);
    CHECK(polyline.getLength(-5, 11) == 2.0);
    CHECK(polyline.getLength(20, 30) == 0.0);
}

TEST_CASE("verticesOfAPolylineAreReplacedAndChanged") {
    Polyline polyline = make(corner);
    CHECK(polyline.getBoundingBox() == Range3d(Point(0, 0, 0), Point(4, 3, 0)));
    polyline.getVertex(1) = {9, 9, 9, 12};
    polyline.modified();
    CHECK(polyline.getBoundingBox() == Range3d(Point(0, 0, 0), Point(9, 9, 9)));
    polyline.initialize(2, &polyline.getVertex(1));  // a part of itself
    CHECK(polyline.getNumVertices() == 2);
    CHECK(polyline.getVertex(0) == Polyline::vertex(9, 9, 9, 12));
    CHECK(polyline.getVertex(1) == Polyline::vertex(4, 3, 0, 13));
    CHECK(polyline.getBoundingBox() == Range3d(Point(4, 3, 0), Point(9, 9, 9)));
}

TEST_CASE("polylinesAreClosedFromThreeVerticesOn") {
    Polyline::vertex const a{1, 2, 3, 0};
    Polyline::vertex const b{5, 2, 3, 1};
    CHECK_FALSE(make({a}).getClosed());
    CHECK_FALSE(make({a, a}).getClosed());
    CHECK_FALSE(make({a, b, {1, 2, 3.1, 2}}).getClosed());
    CHECK(make({a, b, {1, 2, 3, 2}}).getClosed());
    CHECK(make({{0, 0, 0, 0}, b, {0, epsilonTol, -epsilonTol, 2}}).getClosed());
    CHECK_FALSE(make({{0, 0, 0, 0}, b, {0, 0, 2.0 * epsilonTol, 2}}).getClosed());
    CHECK_FALSE(make({{noNumber, 0, 0, 0}, b, {noNumber, 0, 0, 2}}).getClosed());
}

TEST_CASE("polylinesOfFewOrOddVerticesAnswerToo") {
    for (Polyline const& empty : {make({}), Polyline(-3, nullptr), Polyline(3, nullptr)}) {
        CHECK(empty.getNumVertices() == 0);
        CHECK(empty.getDomain().isEmpty());
        CHECK(empty.getBoundingBox() == Range3d());
        CHECK(empty.eval(1.0) == Point::origin);
        CHECK(empty.getLength(0, 1) == 0.0);
        CHECK_FALSE(empty.getClosed());
    }
    Polyline const single = make({{1, 2, 3, 7}});
    CHECK(single.eval(-1.0) == Point(1, 2, 3));
    CHECK(single.getLength(0, 9) == 0.0);

    // Parameters that stand still, fall or are no numbers: some place of the polyline.
    double const odd[] = {noNumber, infinity, -infinity, 3.0, 3.0, 1.0};
    for (double a : odd)
        for (double b : odd)
            for (double c : odd) {
                Polyline const polyline = make({{0, 0, 0, a}, {1, 0, 0, b}, {2, 0, 0, c}});
                for (double t : odd) {
                    CHECK(polyline.eval(t).x >= 0.0);
                    CHECK(polyline.eval(t).x <= 2.0);
                    CHECK(polyline.getLength(t, 2.0) <= 2.0);
                }
            }
    Polyline const holed = make({{0, 0, 0, 0}, {noNumber, 9, noNumber, 1}, {2, 0, 0, 2}});
    CHECK(holed.getBoundingBox() == Range3d(Point(0, 0, 0), Point(2, 9, 0)));
}

//  3 +---+ 2
//    |   |
//  0 +---+ 1
TEST_CASE("planePolylinesGrowByVertices") {
    Polyline2d square;
    CHECK(square.getNumVertices() == 0);
    CHECK(square.getBoundingBox() == Range2d());
    CHECK(square.eval(1.0) == Point2(0, 0));
    for (Point2 const& p : {Point2(0, 0), Point2(1, 0), Point2(1, 1), Point2(0, 1)}) {
        square.appendVertex(p);
        CHECK_FALSE(square.getClosed());
    }
    square.appendVertex({0, epsilonTol});
    CHECK(square.getClosed());
    CHECK(square.getBoundingBox() == Range2d(0, 0, 1, 1));
    CHECK(square.getFirstVertex() == Polyline2d::vertex2d(0, 0, 0));
    CHECK(square.getVertex(3) == Polyline2d::vertex2d(0, 1, 3));
    CHECK(square.eval(1.25) == Point2(1, 0.25));
    CHECK(square.eval(9.0) == Point2(0, epsilonTol));

    // Behind the repeated vertex comes the second one.
    CHECK(square.getVertex(4).parameter == 4.0);
    CHECK(square.getVertex(5) == square.getVertex(1));
    CHECK(square.getVertex(8) == square.getVertex(0));
}

TEST_CASE("planePolylinesKeepTheParametersTheyAreGiven") {
    ko::vector<Point2> const points{{0, 0}, {2, 0}, {2, 2}, {0, 2}};
    Polyline2d const open(points, {0.5, 2.5});
    CHECK(open.getVertex(1).parameter == 2.5);
    CHECK(open.getVertex(2).parameter == 3.0);  // the next whole ones
    CHECK(open.getVertex(3).parameter == 4.0);
    CHECK(open.getVertex(4) == open.getVertex(0));
    CHECK(open.eval(1.5) == Point2(1, 0));
    CHECK_FALSE(open.getClosed());

    Polyline2d a = open;
    Polyline2d b;
    a.swap(b);
    CHECK(a.getNumVertices() == 0);
    CHECK(b.getBoundingBox() == Range2d(0, 0, 2, 2));
    a = b;
    CHECK(a.getNumVertices() == 4);
    CHECK(Polyline2d({{1, 1}}, {1, 2, 3}).getNumVertices() == 1);
}

TEST_CASE("planeTrianglesNeedARepeatedVertex") {
    CHECK_FALSE(Polyline2d({{0, 0}, {1, 0}, {0, 0}}, {0, 1, 2}).getClosed());
    CHECK_FALSE(Polyline2d({{0, 0}, {1, 0}, {0, 1}}, {0, 1, 2}).getClosed());
    CHECK(Polyline2d({{0, 0}, {1, 0}, {0, 1}, {0, 0}}, {0, 1, 2, 3}).getClosed());
}
