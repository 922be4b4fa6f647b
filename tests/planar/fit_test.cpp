#include "support/builders.h"

#include "trimora/contract/koGeom/PointMesh.h"
#include "trimora/planar/fit.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <numbers>

using namespace koGeom;

namespace {

using Points = ko::vector<Point>;

int fitTo(Points const& points, Plane& plane) {
    return fit(static_cast<int>(points.size()), points.data(), plane);
}

PointMesh cloudOf(Points const& points) {
    PointMesh mesh(static_cast<int>(points.size()));
    for (std::size_t i = 0; i < points.size(); ++i)
        mesh.getVertices()[i].set(&points[i].x);
    return mesh;
}

Points scattered(support::Random& random, int count) {
    Points points;
    for (int i = 0; i < count; ++i)
        points.emplace_back(random.real(-1.0, 1.0), random.real(-1.0, 1.0), random.real(-1.0, 1.0));
    return points;
}

/// The fit as a general elimination that gives up on the third column: accepted pivots by column, rows swapped into place.
int plainFit(Points const& points, Normal& normal) {
    Vector sum;
    for (Point const& p : points)
        sum += p.asVector();
    Point const origin = (sum / static_cast<double>(points.size())).asPoint();
    double m[3][3] = {};
    for (Point const& p : points) {
        Vector const d = p - origin;
        double const c[3] = {d.x, d.y, d.z};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                m[i][j] += c[i] * c[j];
    }
    int rank = 3;
    bool isAccepted[3] = {true, true, true};
    bool holdsPivot[3] = {};
    for (int column = 0; column < 2; ++column) {
        int best = column;
        for (int row = 0; row < 3; ++row)
            if (!holdsPivot[row] && std::abs(m[row][column]) > std::abs(m[best][column]))
                best = row;
        std::swap(m[column], m[best]);
        double const pivot = m[column][column];
        if (std::abs(pivot) < epsilonTol) {
            isAccepted[column] = false;
            --rank;
            continue;
        }
        holdsPivot[column] = true;
        for (double& entry : m[column])
            entry /= pivot;
        for (int row = 0; row < 3; ++row) {
            double const factor = m[row][column];
            for (int k = 0; row != column && k < 3; ++k)
                m[row][k] -= factor * m[column][k];
        }
    }
    if (rank == 3) {
        rank = 2;
        isAccepted[2] = false;
    }
    if (rank == 1)
        normal = isAccepted[0]   ? Normal(Vector(-m[0][1] - m[0][2], 1, 1))
                 : isAccepted[1] ? Normal(Vector(1, -m[1][2], 1))
                                 : Normal(Vector(1, 1, 0));
    else if (isAccepted[0] && isAccepted[1])
        normal = Normal(Vector(-m[0][2], -m[1][2], 1));
    else if (isAccepted[0] && isAccepted[2])
        normal = Normal(Vector(-m[0][1], 1, 0));
    else
        normal = Normal(Vector(1, 0, 0));
    return rank;
}

double sumOfSquares(Points const& points, Plane const& plane) {
    double sum = 0.0;
    for (std::size_t i = 1; i + 1 < points.size(); ++i)
        sum += plane.eval(points[i]) * plane.eval(points[i]);
    return sum;
}

struct Expected {
    char const* name;
    Points points;
    int rank;
    Vector normal;
};

}  // namespace

TEST_CASE("fitTellsRankAndNormalOfSimpleSets") {
    double const diagonal = std::sqrt(0.5);
    Expected const cases[] = {
        {"plane z", {{0, 0, 3}, {1, 0, 3}, {0, 2, 3}, {4, 5, 3}}, 2, {0, 0, 1}},
        {"plane y", {{0, 3, 0}, {1, 3, 0}, {0, 3, 2}, {4, 3, 5}}, 2, {0, 1, 0}},
        {"plane x", {{3, 0, 0}, {3, 1, 0}, {3, 0, 2}, {3, 4, 5}}, 2, {1, 0, 0}},
        {"plane x = y", {{0, 0, 0}, {1, 1, 0}, {0, 0, 2}, {4, 4, 5}}, 2, {-diagonal, diagonal, 0}},
        {"plane y + z = 0", {{0, 0, 0}, {1, 0, 0}, {0, 2, -2}}, 2, {0, diagonal, diagonal}},
        // Lines count as planes through them, but for one along z.
        {"line x", {{0, 1, 1}, {1, 1, 1}, {5, 1, 1}}, 2, {0, 1, 0}},
        {"line y", {{1, 0, 1}, {1, 1, 1}, {1, 5, 1}}, 2, {1, 0, 0}},
        {"line z", {{1, 1, 0}, {1, 1, 1}, {1, 1, 5}}, 1, {diagonal, diagonal, 0}},
        {"one point", {{1, 2, 3}}, 1, {diagonal, diagonal, 0}},
        {"coincident", {{1, 2, 3}, {1, 2, 3}, {1, 2, 3}}, 1, {diagonal, diagonal, 0}},
        {"spread below the tolerance", {{0, 0, 0}, {1e-7, 0, 0}}, 1, {diagonal, diagonal, 0}},
        {"none", {}, 0, {0, 0, 1}},
    };
    for (Expected const& expected : cases) {
        INFO(expected.name);
        Plane plane;
        CHECK(fitTo(expected.points, plane) == expected.rank);
        CHECK(plane.isValid());
        CHECK(equivalent(plane.normal.asVector(), expected.normal, 1e-15));
        // The floats of a mesh go through the same sums.
        Plane ofMesh;
        CHECK(fit(cloudOf(expected.points), ofMesh) == expected.rank);
        CHECK(equivalent(ofMesh.normal.asVector(), expected.normal, 1e-15));
    }
    Plane plane;
    fitTo(cases[0].points, plane);
    CHECK(plane.origin == Point(1.25, 1.75, 3.0));
}

TEST_CASE("fitFindsThePlaneOfPlanarSetsWhateverItsDirection") {
    support::Random random(7);
    for (int turn = 0; turn < 200; ++turn) {
        Normal const normal(Vector(random.real(-1.0, 1.0), random.real(-1.0, 1.0),
                                   turn % 4 == 0 ? 0.0 : random.real(-1.0, 1.0)));
        Point const center(random.real(-9.0, 9.0), random.real(-9.0, 9.0), random.real(-9.0, 9.0));
        Points points = scattered(random, 3 + random.index(20));
        for (Point& p : points)
            p = center + project(p.asVector(), normal);
        Plane plane;
        CHECK(fitTo(points, plane) == 2);
        for (Point const& p : points)
            CHECK(distance(p, plane) < 1e-10);
        Plane recognized;
        CHECK(recognizePlane(points, recognized, 1e-10));
        CHECK(recognized.normal == plane.normal);
    }
}

TEST_CASE("fitOfScatteredPointsSolvesTwoRowsOfTheScatterMatrix") {
    support::Random random(11);
    for (int turn = 0; turn < 100; ++turn) {
        Points points = scattered(random, 4 + random.index(40));
        double const flatness = turn % 2 == 0 ? 1.0 : 0.1;
        for (Point& p : points)
            p.z *= flatness;
        Plane plane;
        CHECK(fitTo(points, plane) == 2);
        Vector rows[3];
        for (Point const& p : points) {
            Vector const d = p - plane.origin;
            rows[0] += d.x * d;
            rows[1] += d.y * d;
            rows[2] += d.z * d;
        }
        bool solved[3];
        for (int k = 0; k < 3; ++k)
            solved[k] = std::abs(dot(plane.normal, rows[k])) < 1e-12 * rows[k].length();
        CHECK(solved[0] + solved[1] + solved[2] == 2);
        // Of a flat set x and y are solved: that is the plane with the least squares along z.
        CHECK((flatness == 1.0 || !solved[2]));
    }
}

// Extents from far below to far above what a pivot must have, in each direction on its own.
TEST_CASE("fitAgreesWithAPlainElimination") {
    support::Random random(13);
    int numOfRank[3] = {};
    for (int turn = 0; turn < 4000; ++turn) {
        double scales[3];
        for (double& scale : scales)
            scale = turn % 3 == 0 ? 1.0 : std::pow(10.0, random.real(-9.0, 1.0));
        Points points = scattered(random, 2 + random.index(6));
        for (Point& p : points) {
            p = Point(p.x * scales[0], p.y * scales[1], p.z * scales[2]);
            if (turn % 4 == 0)
                p.y = p.x;
            if (turn % 5 == 0)
                p.x = 1e-7 * p.z;
        }
        Plane plane;
        Normal normal;
        int const rank = plainFit(points, normal);
        CHECK(fitTo(points, plane) == rank);
        CHECK(plane.normal == normal);
        ++numOfRank[rank];
    }
    CHECK(numOfRank[1] > 100);
    CHECK(numOfRank[2] > 100);
}

TEST_CASE("fitTakesPivotsFromTheTolerance") {
    for (double const times : {0.999, 1.001}) {
        double const half = std::sqrt(0.5 * times * epsilonTol);  // both squares together
        Plane plane;
        CHECK(fitTo({{-half, 0, 0}, {half, 0, 0}}, plane) == (times < 1.0 ? 1 : 2));
        CHECK(fitTo({{0, -half, 0}, {0, half, 0}}, plane) == (times < 1.0 ? 1 : 2));
        CHECK(fitTo({{0, 0, -half}, {0, 0, half}}, plane) == 1);
    }
}

TEST_CASE("fitOfBrokenNumbersIsInvalid") {
    for (double const bad : {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(), 1e200}) {
        Points const points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {bad, bad, 1}};
        Plane plane;
        fitTo(points, plane);
        CHECK_FALSE(plane.isValid());
        CHECK_FALSE(recognizePlane(points, plane, 1e300));
    }
}

TEST_CASE("recognizePlaneTestsAllButTheFirstThreePoints") {
    // The outliers balance, so that the plane stays z = 0.
    Points points = {{0, 0, 5}, {0, 0, -5}, {1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}};
    Plane plane;
    CHECK(recognizePlane(points, plane, 0.0));
    CHECK(plane.normal == Normal::zAxis);
    CHECK(recognizePlane(cloudOf(points), plane, 0.0));

    // The same points in another order.
    std::swap(points[0], points[5]);
    Plane untouched(Point(7, 7, 7), Normal::xAxis);
    CHECK_FALSE(recognizePlane(points, untouched, 4.9));
    CHECK_FALSE(recognizePlane(cloudOf(points), untouched, 4.9));
    CHECK(untouched.origin == Point(7, 7, 7));
    CHECK(untouched.normal == Normal::xAxis);
    // As far as the tolerance is near enough.
    CHECK(recognizePlane(points, plane, 5.0));

    CHECK(recognizePlane({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, plane, 0.0));
    CHECK_FALSE(recognizePlane({{0, 0, 0}, {1, 0, 0}}, plane, 1.0));
    CHECK_FALSE(recognizePlane(Points(), plane, 1.0));
}

TEST_CASE("fitWithEndsOnPlaneHoldsTheChordAndIsNearestToTheRest") {
    support::Random random(3);
    for (int turn = 0; turn < 60; ++turn) {
        Points const points = scattered(random, 3 + random.index(12));
        Plane plane;
        fitWithEndsOnPlane(static_cast<int>(points.size()), points.data(), plane);
        REQUIRE(plane.isValid());
        CHECK(plane.origin == points.front());
        CHECK(distance(points.back(), plane) < 1e-14);
        Normal const chord(points.back() - points.front());
        CHECK(dot(plane.normal, cross(chord, chord.asVector().orthogonalVector())) >= 0.0);
        // No other plane through the chord is nearer.
        double const sum = sumOfSquares(points, plane);
        for (int step = 1; step < 180; ++step) {
            double const angle = step * std::numbers::pi / 180.0;
            Normal const turned(rotate(plane.normal.asVector(), chord, angle));
            CHECK(sum <= sumOfSquares(points, Plane(points.front(), turned)) + 1e-12);
        }
    }
}

TEST_CASE("fitWithEndsOnPlaneOfAPlanarCurveIsItsPlane") {
    Points const points = {{1, 0, 2}, {2, 3, 2}, {3, -1, 2}, {5, 0, 2}};
    Plane plane;
    fitWithEndsOnPlane(4, points.data(), plane);
    CHECK(std::abs(plane.normal.z) == doctest::Approx(1.0).epsilon(1e-15));

    // On the chord any plane through it will do.
    Points const straight = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}};
    fitWithEndsOnPlane(3, straight.data(), plane);
    CHECK(plane.isValid());
    CHECK(std::abs(plane.normal.z) < 1e-15);
}

TEST_CASE("fitWithEndsOnPlaneRefusesWhatHasNoPlane") {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    Points const refused[] = {{},
                              {{1, 2, 3}},
                              {{1, 2, 3}, {2, 2, 3}},
                              {{1, 2, 3}, {2, 2, 3}, {1, 2, 3}},
                              {{1, 2, 3}, {2, 2, nan}, {1, 5, 3}},
                              {{1, 2, 3}, {2, 2, 3}, {nan, 5, 3}}};
    for (Points const& points : refused) {
        Plane plane(Point(1, 1, 1), Normal::xAxis);
        fitWithEndsOnPlane(static_cast<int>(points.size()), points.data(), plane);
        CHECK_FALSE(plane.isValid());
        CHECK(plane.origin == Point::origin);
        CHECK(plane.normal == Normal());
    }
}
