// Shapes of lines: literal tables, closed strips of both kinds, how far an arc goes, and what passes through unchecked.

#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/linePrimitives.h"
#include "trimora/contract/koGeom/BoundingBox.h"

#include <array>
#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>
#include <new>
#include <numbers>
#include <set>

using namespace koGeom;
using support::coordinatesOf;

namespace {

using Floats = std::vector<float>;
using Ints = std::vector<int>;

constexpr float pi = std::numbers::pi_v<float>;
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinite = std::numeric_limits<float>::infinity();

Ints linesOf(CompactMesh const& mesh) {
    Ints lines;
    for (int i = 0; i < mesh.getNumLines(); ++i)
        lines.insert(lines.end(), {mesh.getLines()[i][0], mesh.getLines()[i][1]});
    return lines;
}

Ints stripPointsOf(CompactMesh const& mesh) {
    return {mesh.lineStrips.points.begin(), mesh.lineStrips.points.end()};
}

Ints stripLengthsOf(CompactMesh const& mesh) {
    return {mesh.lineStrips.lengths.begin(), mesh.lineStrips.lengths.end()};
}

Floats attributeOf(CompactMesh const& mesh, char const* name) {
    MeshAttributes const* const set = mesh.getAttributes(name);
    REQUIRE(set != nullptr);
    CHECK(set->dimension == 1);
    return Floats(set->asFloat(), set->asFloat() + set->getNumElements());
}

int numVerticesOfArc(float start, float end, int resolution) {
    CompactMesh mesh;
    constructArc(Point(), 1.0f, start, end, 2, resolution, mesh);
    CHECK(mesh.getNumLines() == mesh.getNumVertices() - 1);
    return mesh.getNumVertices();
}

double lengthOf(CompactMesh const& mesh) {
    double length = 0.0;
    for (int v = 1; v < mesh.getNumVertices(); ++v)
        length += distance(mesh.getVertices()[v - 1].asPoint(), mesh.getVertices()[v].asPoint());
    return length;
}

/// Twice the area that the vertices run round, as a vector.
Vector turnOf(CompactMesh const& mesh, Point const& center) {
    Vector sum;
    for (int v = 1; v < mesh.getNumVertices(); ++v)
        sum += cross(mesh.getVertices()[v - 1].asPoint() - center,
                     mesh.getVertices()[v].asPoint() - center);
    return sum;
}

double along(Vector const& v, int axis) {
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

}  // namespace

TEST_CASE("segmentsJoinTheirEnds") {
    CompactMesh mesh;
    constructLineSegment(Point(1.0, 2.0, 3.0), Point(-4.0, 5.0, 6.0), mesh);
    CHECK(coordinatesOf(mesh) == Floats{1, 2, 3, -4, 5, 6});
    CHECK(linesOf(mesh) == Ints{0, 1});

    CompactMesh parametric;
    ParamLine const line(Point(1.0, 2.0, 3.0), Vector(1.0, 0.0, -1.0));
    constructLineSegment(line, parametric, 0.25f, 8.0f);
    CHECK(coordinatesOf(parametric) == Floats{1, 2, 3, 2, 2, 2});  // the parameters move nothing
    CHECK(attributeOf(parametric, "T") == Floats{0.25f, 8.0f});
}

TEST_CASE("anInfiniteLineEndsInDirections") {
    ko::Reference<CompactMesh> const mesh =
        constructInfiniteLine(Line(Point(10.0, 20.0, 30.0), Vector(0.0, 3.0, 4.0)));
    CHECK(coordinatesOf(*mesh) == Floats{0, -0.6f, -0.8f, 10, 20, 30, 0, 0.6f, 0.8f});
    CHECK(linesOf(*mesh) == Ints{0, 1, 1, 2});
    CHECK(attributeOf(*mesh, "W") == Floats{0, 1, 0});
    CHECK(coordinatesOf(*constructInfiniteLine(Line())) == Floats(9, 0.0f));
}

TEST_CASE("anArcEndsExactlyAtItsEnd") {
    CompactMesh mesh;
    constructArc(Point(1.0, 2.0, 3.0), 2.0f, 0.0f, pi, 2, 4, mesh);
    REQUIRE(mesh.getNumVertices() == 5);
    CHECK(linesOf(mesh) == Ints{0, 1, 1, 2, 2, 3, 3, 4});
    float const expected[5][2] = {
        {3, 2}, {2.41421f, 3.41421f}, {1, 4}, {-0.41421f, 3.41421f}, {-1, 2}};
    for (int v = 0; v < 5; ++v) {
        CHECK(mesh.getVertices()[v].x == doctest::Approx(expected[v][0]));
        CHECK(mesh.getVertices()[v].y == doctest::Approx(expected[v][1]));
        CHECK(mesh.getVertices()[v].z == 3.0f);
    }
    for (float const end : {0.7f, 2.3f, 6.1f}) {
        constructArc(Point(0.1, 0.2, 0.3), 0.7f, -1.3f, end, 1, 97, mesh);
        int const n = mesh.getNumLines();
        float const step = (end + 1.3f) / static_cast<float>(n);
        for (int i = 0; i <= n; ++i) {  // angles in single precision
            float const angle = i < n ? static_cast<float>(i) * step + -1.3f : end;
            CHECK(mesh.getVertices()[i].z == static_cast<float>(std::cos(angle) * 0.7f + 0.3));
            CHECK(mesh.getVertices()[i].x == static_cast<float>(std::sin(angle) * 0.7f + 0.1));
            CHECK(mesh.getVertices()[i].y == 0.2f);
        }
    }
}

TEST_CASE("anArcHasWholeLinesOnly") {
    CHECK(numVerticesOfArc(0.0f, 0.5f * pi, 4) == 3);
    CHECK(numVerticesOfArc(0.0f, 2.0f, 3) == 2);    // 1.9 lines
    CHECK(numVerticesOfArc(0.0f, 1.0f, 3) == 1);    // 0.95 lines
    CHECK(numVerticesOfArc(1.0f, 0.0f, 100) == 1);  // the end below the start
    CHECK(numVerticesOfArc(0.0f, 1.0f, INT_MIN) == 1);
    CHECK(numVerticesOfArc(1.0f, 0.0f, -100) == 32);  // twice backwards
    CHECK(numVerticesOfArc(0.0f, 1.0f, 0) == 1);
    CHECK(numVerticesOfArc(0.0f, notANumber, 10) == 1);
    CHECK(numVerticesOfArc(infinite, infinite, 10) == 1);
    CHECK(numVerticesOfArc(0.0f, -infinite, 10) == 1);

    CompactMesh mesh = support::cube();
    constructArc(Point(1.0, 2.0, 3.0), 2.0f, 0.0f, 0.5f, 0, 1, mesh);
    REQUIRE(mesh.getNumVertices() == 1);  // it stands at the end
    CHECK(mesh.getVertices()[0].y == doctest::Approx(2.0 + 2.0 * std::cos(0.5)));
    CHECK(mesh.getVertices()[0].z == doctest::Approx(3.0 + 2.0 * std::sin(0.5)));
    CHECK(mesh.getNumTriangles() == 12);
}

// The strip ends at the doubled vertex, where that of constructLineStrip goes back to vertex 0.
TEST_CASE("aCircleEndsAtACopyOfItsFirstVertex") {
    CompactMesh mesh;
    constructCircle(Point(1.0, 2.0, 3.0), 2.0f, 2, 4, mesh);
    REQUIRE(mesh.getNumVertices() == 5);
    CHECK(stripPointsOf(mesh) == Ints{0, 1, 2, 3, 4});
    CHECK(stripLengthsOf(mesh) == Ints{5});
    float const expected[5][2] = {{3, 2}, {1, 4}, {-1, 2}, {1, 0}, {3, 2}};
    for (int v = 0; v < 5; ++v) {
        CHECK(mesh.getVertices()[v].x == doctest::Approx(expected[v][0]));
        CHECK(mesh.getVertices()[v].y == doctest::Approx(expected[v][1]));
        CHECK(mesh.getUVs()[v].u == doctest::Approx((expected[v][0] - 1.0f) / 4.0f + 0.5f));
        CHECK(mesh.getUVs()[v].v == doctest::Approx((expected[v][1] - 2.0f) / 4.0f + 0.5f));
    }
    Floats const xyz = coordinatesOf(mesh);
    CHECK(Floats(xyz.begin(), xyz.begin() + 3) == Floats(xyz.end() - 3, xyz.end()));
    CHECK(mesh.getNumLines() == 0);

    float const step =
        static_cast<float>(2.0 * std::numbers::pi / 97);  // angles in single precision
    constructCircle(Point(0.1, 0.2, 0.3), 0.7f, 1, 97, mesh);
    for (int i = 0; i <= 97; ++i) {
        float const angle = static_cast<float>(i % 97) * step;
        CHECK(mesh.getVertices()[i].z == static_cast<float>(std::cos(angle) * 0.7f + 0.3));
        CHECK(mesh.getVertices()[i].x == static_cast<float>(std::sin(angle) * 0.7f + 0.1));
        CHECK(mesh.getVertices()[i].y == 0.2f);
        CHECK(mesh.getUVs()[i].u == std::cos(angle) * 0.5f + 0.5f);
        CHECK(mesh.getUVs()[i].v == std::sin(angle) * 0.5f + 0.5f);
    }

    for (int const segments : {0, -1, INT_MIN}) {
        constructCircle(Point(1.0, 2.0, 3.0), 2.0f, 2, segments, mesh);
        CHECK(coordinatesOf(mesh) == Floats{3, 2, 3});
        CHECK(stripPointsOf(mesh) == Ints{0});
        CHECK(stripLengthsOf(mesh) == Ints{1});
    }
}

TEST_CASE("arcsAndCirclesTurnLeftOnEveryAxisAndConverge") {
    Point const center(1.0, 2.0, 3.0);
    for (int axis = 0; axis < 3; ++axis) {
        CAPTURE(axis);
        double circleError = 0.0;
        double arcError = 0.0;
        for (int n = 8; n <= 512; n *= 4) {
            CompactMesh circle;
            constructCircle(center, 1.0f, axis, n, circle);
            CompactMesh arc;
            constructArc(center, 1.0f, 0.5f, 2.5f, axis, n * 2, arc);
            for (CompactMesh const* mesh : {&circle, &arc}) {
                Vector const turn = turnOf(*mesh, center);
                CHECK(along(turn, axis) > 0.0);
                CHECK(along(turn, axis) == doctest::Approx(turn.length()));
            }
            double const newCircleError = 2.0 * std::numbers::pi - lengthOf(circle);
            double const newArcError =
                (2.0 - lengthOf(arc)) * std::pow(arc.getNumLines() / 8.0, 2.0);  // constant
            if (n > 8) {
                CHECK(circleError / newCircleError == doctest::Approx(16.0).epsilon(0.15));
                CHECK(arcError / newArcError == doctest::Approx(1.0).epsilon(0.15));
            }
            circleError = newCircleError;
            arcError = newArcError;
        }
        CompactMesh same;
        CompactMesh strange;
        constructArc(center, 1.0f, 0.0f, 1.0f, axis, 9, same);
        for (int const other : {axis - 3, axis + 3}) {
            constructArc(center, 1.0f, 0.0f, 1.0f, other, 9, strange);
            CHECK(coordinatesOf(strange) == coordinatesOf(same));
        }
        constructCircle(center, 1.0f, axis == 0 ? INT_MIN : INT_MAX, 9, strange);
    }
}

TEST_CASE("fourStripsDrawEachEdgeOfABoxOnce") {
    CompactMesh mesh;
    constructBoxEdgeLineStrips(BoundingBox(PointFlt(0, 0, 0), PointFlt(1, 2, 3)), mesh);
    CHECK(coordinatesOf(mesh) ==
          Floats{0, 0, 0, 1, 0, 0, 0, 2, 0, 1, 2, 0, 0, 0, 3, 1, 0, 3, 0, 2, 3, 1, 2, 3});
    CHECK(stripPointsOf(mesh) == Ints{0, 1, 5, 7, 2, 0, 4, 5, 1, 3, 2, 6, 3, 7, 6, 4});
    CHECK(stripLengthsOf(mesh) == Ints{4, 4, 4, 4});
    std::set<std::array<int, 2>> edges;
    for (int strip = 0; strip < 4; ++strip) {
        for (int k = 1; k < 4; ++k) {
            int const a = stripPointsOf(mesh)[std::size_t(4 * strip + k - 1)];
            int const b = stripPointsOf(mesh)[std::size_t(4 * strip + k)];
            CHECK(((a ^ b) & ((a ^ b) - 1)) == 0);  // along one axis
            edges.insert({std::min(a, b), std::max(a, b)});
        }
    }
    CHECK(edges.size() == 12);
}

TEST_CASE("aClosedStripGoesBackToVertexZero") {
    ko::vector<Point> const points = {{0.0, 0.0, 0.0}, {1.0, 0.0, 0.5}, {1.0, 1.0, 1.0 / 3.0}};
    ko::Reference<CompactMesh> const open = constructLineStrip(points, false);
    CHECK(coordinatesOf(*open) == Floats{0, 0, 0, 1, 0, 0.5, 1, 1, 1.0f / 3.0f});
    CHECK(stripPointsOf(*open) == Ints{0, 1, 2});
    CHECK(stripLengthsOf(*open) == Ints{3});

    ko::Reference<CompactMesh> const closed = constructLineStrip(points, true);
    CHECK(coordinatesOf(*closed) == Floats{0, 0, 0, 1, 0, 0.5, 1, 1, 1.0f / 3.0f, 0, 0, 0});
    CHECK(stripPointsOf(*closed) == Ints{0, 1, 2, 0});  // the copy stays unused
    CHECK(stripLengthsOf(*closed) == Ints{4});

    ko::vector<Point2> const flat = {{1.0, 2.0}, {3.0, 4.0}};
    CHECK(coordinatesOf(*constructLineStrip(flat, true)) == Floats{1, 2, 0, 3, 4, 0, 1, 2, 0});
    ko::vector<Point2Flt> const flatFloats = {{1.0f, 2.0f}, {3.0f, 4.0f}};
    CHECK(coordinatesOf(*constructLineStrip(flatFloats, false)) == Floats{1, 2, 0, 3, 4, 0});

    CHECK(!constructLineStrip(ko::vector<Point>(), true));
    CHECK(!constructLineStrip(ko::vector<Point>(1), true));
    CHECK(!constructLineStrip(ko::vector<Point2>(1), false));
    CHECK(!constructLineStrip(ko::vector<Point2Flt>(1), true));
}

TEST_CASE("lineShapesSendNothingAndLeaveOtherArraysAlone") {
    std::function<void(CompactMesh&)> const builders[] = {
        [](CompactMesh& m) { constructLineSegment(Point(), Point(1.0, 0.0, 0.0), m); },
        [](CompactMesh& m) { constructLineSegment(ParamLine(), m, 0.0f, 1.0f); },
        [](CompactMesh& m) { constructArc(Point(), 1.0f, 0.0f, 1.0f, 2, 12, m); },
        [](CompactMesh& m) { constructCircle(Point(), 1.0f, 2, 12, m); },
        [](CompactMesh& m) { constructBoxEdgeLineStrips(BoundingBox(), m); }};
    for (auto const& build : builders) {
        CompactMesh mesh = support::grid(1, 1);
        mesh.allocAttributes("heat", 1)->asFloat()[0] = 7.0f;
        mesh.resizeTriStripArrays(3, 1);
        std::vector<int> const triangles = support::trianglesOf(mesh);
        support::ModificationCounter const notices(mesh);
        build(mesh);
        CHECK(notices.total() == 0);
        CHECK(support::trianglesOf(mesh) == triangles);
        CHECK(mesh.getNumTriStripPoints() == 3);
        CHECK(mesh.getAttributes("heat")->getNumElements() == mesh.getNumVertices());
        CHECK(mesh.getAttributes("heat")->asFloat()[0] == 7.0f);
    }
}

TEST_CASE("lineCountsBeyondTheArraysFailBeforeAnythingIsWritten") {
    CompactMesh mesh = support::cube();
    mesh.allocAttributes("heat", 1);
    Floats const before = coordinatesOf(mesh);
    for (int const count : {INT_MAX, INT_MAX - 1, INT_MAX / 3}) {
        CHECK_THROWS_AS(constructCircle(Point(), 1.0f, 2, count, mesh), std::bad_alloc);
        CHECK_THROWS_AS(constructArc(Point(), 1.0f, 0.0f, 4.0f, 2, count, mesh), std::bad_alloc);
    }
    CHECK_THROWS_AS(constructArc(Point(), 1.0f, 0.0f, infinite, 2, 1, mesh), std::bad_alloc);
    CHECK_THROWS_AS(constructArc(Point(), 1.0f, 0.0f, 1e30f, 2, INT_MAX, mesh), std::bad_alloc);
    CHECK(coordinatesOf(mesh) == before);
    CHECK(mesh.getNumLines() == 0);
    CHECK(mesh.getNumLineStrips() == 0);
    CHECK(mesh.getAttributes("heat")->getNumElements() == 8);
}
