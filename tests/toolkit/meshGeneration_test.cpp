// Shapes by name: every row of the table with its presets, closed ones closed, texts that are refused, and values that do not go
// together.

#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshGeneration.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koUtil/Progress.h"

#include <cmath>
#include <doctest/doctest.h>
#include <numbers>
#include <set>

using koGeom::CompactMesh;
using koLinear::Point;
using trimora::GeneratedShape;
using trimora::Polyline;
using trimora::Shape;
using trimora::ShapeTexts;

namespace {

GeneratedShape made(std::string const& name, ShapeTexts const& texts = {}) {
    Shape const* const shape = trimora::findShape(name);
    REQUIRE(shape != nullptr);
    auto const fault = trimora::findShapeFault(*shape, texts);
    CAPTURE((fault ? fault->what : std::string()));
    REQUIRE(!fault);
    return trimora::generateShape(*shape, trimora::shapeValues(*shape, texts));
}

std::string refusalOf(std::string const& name, ShapeTexts const& texts) {
    GeneratedShape const shape = made(name, texts);
    CHECK(shape.mesh.getNumVertices() == (shape.refusal.empty() ? shape.mesh.getNumVertices() : 0));
    CHECK(shape.lines.empty());
    return shape.refusal;
}

std::string faultOf(std::string const& name, ShapeTexts const& texts) {
    auto const fault = trimora::findShapeFault(*trimora::findShape(name), texts);
    return fault ? fault->parameter + " " + fault->what : std::string();
}

bool holds(std::string const& text, std::string const& part) {
    CAPTURE(text);
    return text.find(part) != std::string::npos;
}

/// Triangles with shared vertices, polygons cut into fans.
CompactMesh surfaceOf(CompactMesh mesh) {
    std::vector<int> triangles = support::trianglesOf(mesh);
    int const* points = mesh.polys.points.data();
    for (int const length : mesh.polys.lengths) {
        for (int k = 2; k < length; ++k)
            triangles.insert(triangles.end(), {points[0], points[k - 1], points[k]});
        points += length;
    }
    mesh.polys.clear();
    mesh.deleteNormals();
    mesh.deleteUVs();
    mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
    koUtil::Progress progress;
    koGeom::meshCompact(mesh, progress);
    return mesh;
}

double lengthOf(Polyline const& line) {
    double length = 0.0;
    for (std::size_t i = 1; i < line.size(); ++i)
        length += distance(line[i - 1], line[i]);
    return length;
}

}  // namespace

TEST_CASE("everyShapeIsMadeByItsPresets") {
    std::set<std::string_view> names;
    for (Shape const& shape : trimora::shapes()) {
        std::string const name(shape.name);
        CAPTURE(name);
        CHECK(names.insert(shape.name).second);
        CHECK(trimora::findShape(shape.name) == &shape);
        GeneratedShape const result = made(name);
        CHECK(result.refusal == "");
        CHECK(support::faultOf(result.mesh) == "");
        CHECK(trimora::numNonfiniteVertices(result.mesh) == 0);
        CHECK(result.lines.empty() == !shape.isLines);
        CHECK((surfaceOf(result.mesh).getNumTriangles() > 0) == !shape.isLines);
        for (trimora::ShapeParameter const& parameter : shape.parameters) {
            CHECK(!parameter.meaning.empty());
            CHECK(parameter.preset.empty() ==
                  (parameter.kind == trimora::ShapeParameterKind::Switch));
        }
    }
}

TEST_CASE("closedShapesAreClosedAndTurnedOutward") {
    struct Expected {
        char const* name;
        ShapeTexts texts;
        double volume;
        double error;
    };
    double const ball = 4.0 / 3.0 * std::numbers::pi;
    Expected const shapes[] = {
        {"cube", {{"size", {"2"}}}, 8.0, 1e-6},
        {"cuboid", {{"size", {"3,2,1"}}, {"centre", {"5,6,7"}}}, 6.0, 1e-6},
        {"quad-cube", {{"size", {"0.5"}}, {"centre", {"1,0,0"}}}, 0.125, 1e-6},
        {"sphere", {{"radius", {"2"}}, {"centre", {"1,-2,3"}}}, 8.0 * ball, 0.01},
        {"octahedron", {{"levels", {"0"}}, {"radius", {"3"}}}, 36.0, 1e-6},
        {"octahedron", {{"normal", {"1,-2,0.5"}}, {"centre", {"9,9,9"}}}, ball, 0.03},
        {"octahedron", {{"normal", {"0,1e-300,0"}}, {"levels", {"5"}}}, ball, 0.002}};
    for (Expected const& each : shapes) {
        CAPTURE(each.name);
        CompactMesh const surface = surfaceOf(made(each.name, each.texts).mesh);
        CHECK(support::numBorderEdges(surface) == 0);
        CHECK(support::eulerNumber(surface) == 2);
        CHECK(support::volume(surface) == doctest::Approx(each.volume).epsilon(each.error));
    }
    CHECK(made("octahedron").mesh.getNumPolys() == 384);
    CHECK(support::coordinatesOf(made("scan", {{"levels", {"3"}}, {"seed", {"7"}}}).mesh) ==
          support::coordinatesOf(trimora::makeScan(3, 7)));
    CHECK(support::trianglesOf(made("damaged-scan").mesh) ==
          support::trianglesOf(trimora::makeDamagedScan(6, 1)));
}

TEST_CASE("flatShapesLieWhereTheyAreToldAndFaceTheirAxis") {
    for (std::string const name : {"rectangle", "square", "disk"}) {
        for (int axis = 0; axis < 3; ++axis) {
            CompactMesh const mesh =
                made(name, {{"axis", {std::string(1, "xyz"[axis])}}, {"centre", {"1,2,4"}}}).mesh;
            double low[3];
            double high[3];
            koGeom::meshBoundingBox(mesh, low, high);
            double const centre[3] = {1.0, 2.0, 4.0};
            for (int k = 0; k < 3; ++k) {
                CHECK(0.5 * (low[k] + high[k]) == doctest::Approx(centre[k]).epsilon(1e-3));
                CHECK((high[k] - low[k] == 0.0) == (k == axis));
            }
            CHECK((&mesh.getNormals()[1].x)[axis] == 1.0f);
        }
    }
    CompactMesh const rectangle =
        made("rectangle", {{"size", {"4,2"}}, {"uv-size", {"8,0.5"}}}).mesh;
    CHECK(rectangle.getUVs()[3].u == 8.0f);
    CHECK(rectangle.getUVs()[3].v == 0.5f);
    CHECK(support::area(rectangle) == 8.0);
    CHECK(support::area(made("corner", {{"size", {"4,2"}}, {"inner", {"1,1.5"}}}).mesh) ==
          doctest::Approx(6.5));
    CompactMesh const square = made("unit-square", {{"normal", {"3,-4,12"}}}).mesh;
    CHECK(support::area(square) == doctest::Approx(1.0));
    koGeom::MeshTriangle const& corners = square.getTriangles()[0];
    Point const a = square.getVertices()[corners[0]].asPoint();
    koLinear::Vector const facing = cross(square.getVertices()[corners[1]].asPoint() - a,
                                          square.getVertices()[corners[2]].asPoint() - a);
    CHECK(dot(facing, koLinear::Vector(3.0, -4.0, 12.0)) == doctest::Approx(13.0));
    CompactMesh const half = made("annular-arc", {{"angle", {"-180"}}, {"segments", {"200"}}}).mesh;
    CHECK(support::area(half) == doctest::Approx(0.375 * std::numbers::pi).epsilon(1e-3));
    CHECK(half.getNumTriangles() == 400);
    CHECK(made("polygon", {{"point", {"0,0", "2,0", "0,2"}}}).mesh.getNumTriangles() == 1);
}

TEST_CASE("shapesOfLinesAreChains") {
    GeneratedShape const circle = made("circle", {{"segments", {"100"}}, {"radius", {"2"}}});
    REQUIRE(circle.lines.size() == 1);
    CHECK(circle.lines[0].size() == 101);
    CHECK(circle.lines[0].front() == circle.lines[0].back());
    CHECK(lengthOf(circle.lines[0]) == doctest::Approx(4.0 * std::numbers::pi).epsilon(1e-3));

    GeneratedShape const arc = made("arc", {{"start", {"-90"}}, {"end", {"180"}}, {"axis", {"x"}}});
    REQUIRE(arc.lines.size() == 1);
    CHECK(arc.lines[0].size() == 49);
    CHECK(arc.lines[0].front().z == doctest::Approx(-1.0));
    CHECK(arc.lines[0].back().y == doctest::Approx(-1.0));

    GeneratedShape const box = made("box-edges", {{"size", {"1,2,3"}}});
    REQUIRE(box.lines.size() == 4);
    double length = 0.0;
    for (Polyline const& line : box.lines)
        length += lengthOf(line);
    CHECK(length == doctest::Approx(24.0));

    ShapeTexts const points = {{"point", {"0,0,0", "1,0,0", "1,1,0"}}};
    CHECK(made("line-strip", points).lines[0].size() == 3);
    ShapeTexts closed = points;
    closed["closed"] = {};
    GeneratedShape const loop = made("line-strip", closed);
    CHECK(loop.lines[0].size() == 4);
    CHECK(loop.lines[0].back() == Point(0.0, 0.0, 0.0));

    GeneratedShape const line = made(
        "infinite-line", {{"through", {"1,1,1"}}, {"direction", {"0,0,-5"}}, {"reach", {"10"}}});
    CHECK(line.lines == std::vector<Polyline>{{{1, 1, 11}, {1, 1, 1}, {1, 1, -9}}});
    CHECK(made("segment", {{"to", {"3,4,0"}}}).lines == std::vector<Polyline>{{{}, {3, 4, 0}}});
}

TEST_CASE("textsOfParametersAreLookedThrough") {
    CHECK(holds(faultOf("sphere", {{"inner", {"1"}}}), "inner is no parameter of sphere"));
    CHECK(holds(faultOf("sphere", {{"inner", {"1"}}}), "--radius, --segments, --centre"));
    CHECK(holds(faultOf("sphere", {{"radius", {"1", "2"}}}), "more than once"));
    for (char const* radius :
         {"", "0", "-1", "nan", "inf", "1e39", "1e-60", "1x", "1,1", " 1", "1e400"})
        CHECK(holds(faultOf("sphere", {{"radius", {radius}}}), "takes a length above 0"));
    for (char const* count : {"0", "-1", "1.5", "1e3", "9460", "99999999999999999999", "", "x"})
        CHECK(holds(faultOf("sphere", {{"segments", {count}}}), "from 1 to 9459"));
    CHECK(holds(faultOf("circle", {{"segments", {"2"}}}), "from 3 to 715827880"));
    for (char const* place : {"", "1,2", "1,2,3,4", "a,b,c", "nan,0,0", "0,0,1e39"})
        CHECK(holds(faultOf("sphere", {{"centre", {place}}}), "takes x,y,z"));
    for (char const* axis : {"", "w", "X", "xy", "0", "-1"})
        CHECK(holds(faultOf("disk", {{"axis", {axis}}}), "takes x, y or z"));
    for (char const* angle : {"", "nan", "36001", "-1e9", "pi"})
        CHECK(holds(faultOf("arc", {{"end", {angle}}}), "takes degrees"));
    CHECK(holds(faultOf("unit-square", {{"normal", {"0,0,-0"}}}), "not all 0"));
    CHECK(holds(faultOf("polygon", {{"point", {"0,0", "1,0,0"}}}), "takes x,y within"));
    CHECK(holds(faultOf("cuboid", {{"size", {"1,1"}}}), "three lengths"));
    CHECK(holds(faultOf("rectangle", {{"size", {"1,0"}}}), "two lengths"));
    CHECK(holds(faultOf("line-strip", {{"closed", {"yes"}}}), "takes no value"));
    CHECK(faultOf("sphere", {{"radius", {"+1.5e3"}}, {"segments", {"9459"}}}) == "");
    CHECK(faultOf("scan", {{"seed", {"9007199254740992"}}}) == "");
}

TEST_CASE("valuesThatDoNotGoTogetherAreRefusedInWords") {
    CHECK(holds(refusalOf("corner", {{"inner", {"1,0.5"}}}), "--inner"));
    CHECK(holds(refusalOf("corner", {{"inner", {"1e-30,0.5"}}}), "--inner"));
    CHECK(holds(refusalOf("annular-arc", {{"inner", {"1"}}}), "--inner or --outer"));
    CHECK(holds(refusalOf("annular-arc", {{"angle", {"-0"}}}), "--angle"));
    CHECK(holds(refusalOf("arc", {{"start", {"90"}}}), "above the start"));
    CHECK(holds(refusalOf("arc", {{"end", {"5"}}}), "larger --resolution"));
    CHECK(holds(refusalOf("arc", {{"end", {"36000"}}, {"resolution", {"10000000"}}}), "smaller"));
    CHECK(holds(refusalOf("line-strip", {{"point", {"1,2,3"}}}), "two points"));
    CHECK(holds(refusalOf("segment", {{"to", {"0,0,0"}}}), "fall together"));
    CHECK(holds(refusalOf("disk", {{"centre", {"1e20,-1e20,1e20"}}}), "fall together"));
    CHECK(holds(refusalOf("sphere", {{"centre", {"3e38,0,0"}}, {"radius", {"3e38"}}}), "3.4e38"));
    CHECK(holds(refusalOf("quad-cube", {{"centre", {"3e38,0,0"}}, {"size", {"3e38"}}}), "3.4e38"));
    std::vector<std::string> const shapes[] = {
        {"0,0", "1,0"},                                                    // no area
        {"0,0", "0,1", "1,1", "1,0"},                                      // clockwise
        {"0,0", "2,0", "1,0.5", "2,2"},                                    // hollow
        {"0,0", "1,0", "2,0", "0,1"},                                      // three on a line
        {"0,0", "1,0", "1,0", "0,1"},                                      // twice the same
        {"0,1", "-0.59,-0.81", "0.95,0.31", "-0.95,0.31", "0.59,-0.81"}};  // a star, round twice
    for (auto const& points : shapes)
        CHECK(holds(refusalOf("polygon", {{"point", points}}), "turn left"));
}

TEST_CASE("namesNearlyRightAreUnderstood") {
    CHECK(trimora::findShape("ball") == nullptr);
    CHECK(trimora::suggestShape("sphre") == "sphere");
    CHECK(trimora::suggestShape("shpere") == "sphere");
    CHECK(trimora::suggestShape("cubes") == "cube");
    CHECK(trimora::suggestShape("octa") == "octahedron");
    CHECK(trimora::suggestShape("damaged") == "damaged-scan");
    CHECK(trimora::suggestShape("teapot") == "");
    CHECK(trimora::suggestShape("") == "");
    CHECK(trimora::suggestShape(std::string(100000, 'x')) == "");
}
