// The table of shapes: each row names its parameters with their presets and makes the shape from their numbers by a function of the
// core. What the core places at the origin is moved afterwards.

#include "toolkit/meshGeneration.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/assembly/linePrimitives.h"
#include "trimora/assembly/primitives.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/constructSubdividedOctahedron.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::TopoMesh;
using koLinear::Normal;
using koLinear::Point;
using koLinear::PointFlt;
using koLinear::Vector;
using Kind = ShapeParameterKind;

// Measured at the peak and rounded up, the written text included where it is held as a whole.
constexpr double bytesPerVertex = 100.0;  // with two triangles
constexpr double bytesPerLine = 150.0;
constexpr double bytesPerQuad = 600.0;  // half-edges
constexpr double bytesPerScanTriangle = 100.0;
constexpr double bytesPerDamagedTriangle = 250.0;

constexpr std::int64_t mostVertices = 715827881;  // with three floats each

constexpr ShapeParameter centre = {"centre", Kind::Place, "0,0,0", "where its middle is"};
constexpr ShapeParameter axis = {"axis", Kind::Axis, "z", "the axis that it lies across"};
constexpr ShapeParameter radius = {"radius", Kind::Length, "1", "of the circle or sphere"};
constexpr ShapeParameter side = {"size", Kind::Length, "1", "length of a side"};
constexpr ShapeParameter sides2 = {"size", Kind::Lengths2, "1,1", "lengths of the sides"};
constexpr ShapeParameter sides3 = {"size", Kind::Lengths3, "1,1,1", "extent in x, y and z"};
constexpr ShapeParameter texture = {"uv-size", Kind::Lengths2, "1,1",
                                    "extent of the texture coordinates"};
constexpr ShapeParameter segments = {"segments", Kind::WholeNumber, "32", "corners of the circle",
                                     3,          mostVertices - 1};

double degrees(double angle) {
    return angle / 180.0 * std::numbers::pi;
}

/// A range of that length about 0.
struct Range {
    explicit Range(float length) : ends{-0.5f * length, 0.5f * length} {}
    operator float const*() const { return ends; }
    float ends[2];
};

void moveTo(Point const& middle, CompactMesh& mesh) {
    double const offset[3] = {middle.x, middle.y, middle.z};
    float* const coordinates = mesh.getVerticesRaw();
    for (std::int64_t i = 0; i < 3 * std::int64_t(mesh.getNumVertices()); ++i)
        coordinates[i] = static_cast<float>(coordinates[i] + offset[i % 3]);
}

/// At a length that floats and squares bear.
Normal unitDirection(Point const& way) {
    double const largest = std::max({std::abs(way.x), std::abs(way.y), std::abs(way.z)});
    return Normal(way.asVector() / largest);
}

koLinear::ParamPlane planeAt(Point const& origin, Normal const& normal) {
    koLinear::ParamPlane plane;
    plane.origin = origin;
    plane.normal = normal;
    plane.uAxis = Normal(Vector(normal).orthogonalVector());
    plane.vAxis = Normal(cross(Vector(normal), Vector(plane.uAxis)));
    return plane;
}

void setTextureSize(ShapeValues const& values, CompactMesh& mesh) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        mesh.getUVs()[v].u *= values.length("uv-size", 0);
        mesh.getUVs()[v].v *= values.length("uv-size", 1);
    }
}

void takeOver(ko::Reference<CompactMesh> const& made, CompactMesh& mesh) {
    mesh.swap(*made);
}

// Rectangles and corners.

constexpr ShapeParameter rectangleParameters[] = {sides2, centre, axis, texture};
std::string makeRectangle(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructRectangle(Range(values.length("size", 0)), Range(values.length("size", 1)),
                               0.0f, values.whole("axis"), mesh, true);
    setTextureSize(values, mesh);
    moveTo(values.place("centre"), mesh);
    return {};
}

constexpr ShapeParameter squareParameters[] = {side, centre, axis};
std::string makeSquare(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructSquare(Range(values.length("size")), 0.0f, values.whole("axis"), mesh, true);
    moveTo(values.place("centre"), mesh);
    return {};
}

constexpr ShapeParameter unitSquareParameters[] = {
    {"origin", Kind::Place, "0,0,0", "its first corner"},
    {"normal", Kind::Direction, "0,0,1", "the side that is seen"}};
std::string makeUnitSquare(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructRectangle(
        planeAt(values.place("origin"), unitDirection(values.place("normal"))), mesh);
    return {};
}

constexpr ShapeParameter cornerParameters[] = {
    sides2,
    {"inner", Kind::Lengths2, "0.5,0.5", "width and height of the part that is missing"},
    centre,
    texture};
std::string makeCorner(ShapeValues const& values, CompactMesh& mesh) {
    Range const x(values.length("size", 0));
    Range const y(values.length("size", 1));
    float const inner[2] = {x[0] + values.length("inner", 0), y[0] + values.length("inner", 1)};
    if (!(inner[0] > x[0] && inner[0] < x[1] && inner[1] > y[0] && inner[1] < y[1]))
        return "the part that is missing has to be smaller than the corner; take a smaller --inner "
               "or a larger --size";
    koGeom::constructRectangularCorner(x, y, inner, mesh, true);
    setTextureSize(values, mesh);
    moveTo(values.place("centre"), mesh);
    return {};
}

// Disks and polygons.

constexpr ShapeParameter circleParameters[] = {radius, segments, centre, axis};
double diskBytes(ShapeValues const& values) {
    return bytesPerVertex * values.number("segments");
}
std::string makeDisk(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructDisk(values.place("centre"), values.length("radius"), values.whole("axis"),
                          values.whole("segments"), mesh);
    return {};
}

constexpr ShapeParameter polygonParameters[] = {
    {"point", Kind::FlatPlaces, "0,0 1,0 1,1 0,1",
     "a corner x,y; once for each, counter-clockwise, convex"}};

/// Twice the area of three corners, exact in doubles but for the last rounding.
double turn(PointFlt const& a, PointFlt const& b, PointFlt const& c) {
    return (double(b.x) - a.x) * (double(c.y) - a.y) - (double(b.y) - a.y) * (double(c.x) - a.x);
}

/// Whether each corner turns left, and each lies to the left of the sides at the first one as well: once round.
bool isConvex(std::vector<PointFlt> const& corners) {
    std::size_t const count = corners.size();
    bool isSo = count >= 3;
    for (std::size_t i = 0; i < count; ++i) {
        PointFlt const& next = corners[(i + 1) % count];
        isSo = isSo && turn(corners[i], next, corners[(i + 2) % count]) > 0.0;
        isSo = isSo && (i == 0 || i + 1 == count || turn(corners[0], corners[i], next) > 0.0);
    }
    return isSo;
}

std::string makePolygon(ShapeValues const& values, CompactMesh& mesh) {
    std::vector<double> const& xy = values.all("point");
    koGeom::Polyline2d boundary;
    std::vector<PointFlt> corners;
    for (std::size_t i = 0; i < xy.size(); i += 2) {
        boundary.appendVertex({xy[i], xy[i + 1]});
        corners.emplace_back(static_cast<float>(xy[i]), static_cast<float>(xy[i + 1]), 0.0f);
    }
    if (!isConvex(corners))
        return "the corners of a polygon are at least three, run counter-clockwise and turn left "
               "at "
               "each; change --point";
    takeOver(koGeom::constructPolygonFromConvexBoundary(boundary), mesh);
    return {};
}

// Boxes.

constexpr ShapeParameter cuboidParameters[] = {sides3, centre};
std::string makeCuboid(ShapeValues const& values, CompactMesh& mesh) {
    float ranges[3][2];
    for (std::size_t k = 0; k < 3; ++k) {
        Range const range(values.length("size", k));
        ranges[k][0] = range[0];
        ranges[k][1] = range[1];
    }
    koGeom::constructCuboid(ranges, mesh);
    moveTo(values.place("centre"), mesh);
    return {};
}

constexpr ShapeParameter cubeParameters[] = {side, centre};
std::string makeCube(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructCube(Range(values.length("size")), mesh);
    moveTo(values.place("centre"), mesh);
    return {};
}

std::string makeQuadCube(ShapeValues const& values, CompactMesh& mesh) {
    TopoMesh quads;
    koGeom::constructQuadCube(Range(values.length("size")), quads);
    mesh = polygonMesh(quads);
    moveTo(values.place("centre"), mesh);
    return {};
}

std::string makeBoxEdges(ShapeValues const& values, CompactMesh& mesh) {
    PointFlt const half(0.5f * values.length("size", 0), 0.5f * values.length("size", 1),
                        0.5f * values.length("size", 2));
    koGeom::constructBoxEdgeLineStrips(
        koGeom::BoundingBox(PointFlt(-half.x, -half.y, -half.z), half), mesh);
    moveTo(values.place("centre"), mesh);
    return {};
}

// Round ones.

constexpr ShapeParameter sphereParameters[] = {
    radius, {"segments", Kind::WholeNumber, "16", "of a quarter of a turn", 1, 9459}, centre};
double sphereBytes(ShapeValues const& values) {
    return bytesPerVertex * 8.0 * values.number("segments") * values.number("segments");
}
std::string makeSphere(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructSphere(values.place("centre"), values.length("radius"),
                            values.whole("segments"), mesh);
    return {};
}

constexpr ShapeParameter octahedronParameters[] = {
    radius,
    {"levels", Kind::WholeNumber, "3", "how often it is refined; 0 is the octahedron", 0, 13},
    centre,
    {"normal", Kind::Direction, "0,0,1", "where its first corner lies"}};
double octahedronBytes(ShapeValues const& values) {
    return bytesPerQuad * 24.0 * std::pow(4.0, values.number("levels") - 1.0);
}
std::string makeOctahedron(ShapeValues const& values, CompactMesh& mesh) {
    std::unique_ptr<TopoMesh> const quads(koGeom::constructSubdividedOctahedron(
        planeAt(values.place("centre"), unitDirection(values.place("normal"))),
        values.whole("levels"), values.number("radius")));
    mesh = polygonMesh(*quads);
    return {};
}

constexpr ShapeParameter annularParameters[] = {
    {"inner", Kind::Length, "0.5", "the inner radius"},
    {"outer", Kind::Length, "1", "the outer radius"},
    {"angle", Kind::Angle, "90", "degrees from the x axis on; seen from below where it is above 0"},
    {"segments", Kind::WholeNumber, "32", "along the arc", 1, mostVertices / 2 - 1},
    centre};
double annularBytes(ShapeValues const& values) {
    return bytesPerVertex * 2.0 * values.number("segments");
}
std::string makeAnnularArc(ShapeValues const& values, CompactMesh& mesh) {
    if (!(values.length("inner") < values.length("outer")))
        return "the inner radius has to be below the outer one; change --inner or --outer";
    if (values.number("angle") == 0.0)
        return "an arc of 0 degrees has no area; change --angle";
    koGeom::constructAnnularArc(values.length("inner"), values.length("outer"),
                                degrees(values.number("angle")), values.whole("segments") + 1,
                                mesh);
    moveTo(values.place("centre"), mesh);
    return {};
}

// Lines.

constexpr ShapeParameter segmentParameters[] = {{"from", Kind::Place, "0,0,0", "its start"},
                                                {"to", Kind::Place, "1,0,0", "its end"}};
std::string makeSegment(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructLineSegment(values.place("from"), values.place("to"), mesh);
    return {};
}

constexpr ShapeParameter infiniteLineParameters[] = {
    {"through", Kind::Place, "0,0,0", "a point of it"},
    {"direction", Kind::Direction, "1,0,0", "where it runs"},
    {"reach", Kind::Length, "1000",
     "how far it is drawn either way, as a file has no points at "
     "infinity"}};
std::string makeInfiniteLine(ShapeValues const& values, CompactMesh& mesh) {
    Point const origin = values.place("through");
    takeOver(koGeom::constructInfiniteLine(
                 koLinear::Line(origin, unitDirection(values.place("direction")))),
             mesh);
    float const* const weights = mesh.getAttributes("W")->asFloat();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshVertex& vertex = mesh.getVertices()[v];
        if (weights[v] == 0.0f) {  // a direction
            PointFlt const end(origin + values.number("reach") * vertex.asPoint().asVector());
            vertex.set(end.x, end.y, end.z);
        }
    }
    return {};
}

constexpr ShapeParameter arcParameters[] = {
    radius,
    {"start", Kind::Angle, "0", "degrees from the first axis on"},
    {"end", Kind::Angle, "90", "degrees; above the start"},
    {"resolution", Kind::WholeNumber, "32", "lines in half a turn", 1, mostVertices - 1},
    centre,
    axis};
double linesOfArc(ShapeValues const& values) {
    return (values.number("end") - values.number("start")) / 180.0 * values.number("resolution");
}
double arcBytes(ShapeValues const& values) {
    return bytesPerLine * linesOfArc(values);
}
std::string makeArc(ShapeValues const& values, CompactMesh& mesh) {
    if (!(values.number("end") > values.number("start")))
        return "the end has to be above the start; change --start or --end";
    if (linesOfArc(values) >= double(mostVertices))
        return "the arc would have more lines than can be numbered; take a smaller --resolution";
    koGeom::constructArc(values.place("centre"), values.length("radius"),
                         static_cast<float>(degrees(values.number("start"))),
                         static_cast<float>(degrees(values.number("end"))), values.whole("axis"),
                         values.whole("resolution"), mesh);
    return mesh.getNumLines() > 0 ? std::string()
                                  : "the arc is shorter than one line; take a larger --resolution";
}

double circleBytes(ShapeValues const& values) {
    return bytesPerLine * values.number("segments");
}
std::string makeCircle(ShapeValues const& values, CompactMesh& mesh) {
    koGeom::constructCircle(values.place("centre"), values.length("radius"), values.whole("axis"),
                            values.whole("segments"), mesh);
    return {};
}

constexpr ShapeParameter lineStripParameters[] = {
    {"point", Kind::Places, "0,0,0 1,0,0 1,1,0", "a point x,y,z; once for each"},
    {"closed", Kind::Switch, "", "goes back to the first point"}};
std::string makeLineStrip(ShapeValues const& values, CompactMesh& mesh) {
    std::vector<double> const& xyz = values.all("point");
    ko::vector<Point> points;
    for (std::size_t i = 0; i < xyz.size(); i += 3)
        points.emplace_back(xyz[i], xyz[i + 1], xyz[i + 2]);
    ko::Reference<CompactMesh> const strip =
        koGeom::constructLineStrip(points, values.has("closed"));
    if (!strip)
        return "a line strip has two points at least; give --point more than once";
    takeOver(strip, mesh);
    return {};
}

// Scans.

constexpr ShapeParameter seed = {
    "seed", Kind::WholeNumber, "1", "chooses what is left to chance", 0, std::int64_t(1) << 53};
constexpr ShapeParameter scanParameters[] = {
    {"levels", Kind::WholeNumber, "6", "8 x 4^levels triangles", 0, 10}, seed};
constexpr ShapeParameter damagedScanParameters[] = {
    {"levels", Kind::WholeNumber, "6", "about 8 x 4^levels triangles", 2, 10}, seed};
double scanTriangles(ShapeValues const& values) {
    return 8.0 * std::pow(4.0, values.number("levels"));
}
double scanBytes(ShapeValues const& values) {
    return bytesPerScanTriangle * scanTriangles(values);
}
double damagedBytes(ShapeValues const& values) {
    return bytesPerDamagedTriangle * scanTriangles(values);
}
std::string makeCleanScan(ShapeValues const& values, CompactMesh& mesh) {
    mesh = makeScan(values.whole("levels"), static_cast<std::uint64_t>(values.number("seed")));
    return {};
}
std::string makeDamaged(ShapeValues const& values, CompactMesh& mesh) {
    mesh =
        makeDamagedScan(values.whole("levels"), static_cast<std::uint64_t>(values.number("seed")));
    return {};
}

constexpr Shape table[] = {
    {"rectangle", "two triangles", rectangleParameters, false, nullptr, makeRectangle},
    {"square", "two triangles, all sides alike", squareParameters, false, nullptr, makeSquare},
    {"unit-square", "sides of 1 in any plane", unitSquareParameters, false, nullptr,
     makeUnitSquare},
    {"corner", "an L, a rectangle without its lower left part", cornerParameters, false, nullptr,
     makeCorner},
    {"disk", "triangles round a centre", circleParameters, false, diskBytes, makeDisk},
    {"polygon", "a convex one as a fan", polygonParameters, false, nullptr, makePolygon},
    {"annular-arc", "a ribbon between two circles", annularParameters, false, annularBytes,
     makeAnnularArc},
    {"cuboid", "a box whose faces have corners and normals of their own", cuboidParameters, false,
     nullptr, makeCuboid},
    {"cube", "such a box, all sides alike", cubeParameters, false, nullptr, makeCube},
    {"quad-cube", "a cube of six quads over eight vertices", cubeParameters, false, nullptr,
     makeQuadCube},
    {"sphere", "circles of latitude and two poles", sphereParameters, false, sphereBytes,
     makeSphere},
    {"octahedron", "refined into quads on a sphere", octahedronParameters, false, octahedronBytes,
     makeOctahedron},
    {"scan", "a clean bumpy head, as a scanner might deliver it", scanParameters, false, scanBytes,
     makeCleanScan},
    {"damaged-scan", "the same with every kind of damage", damagedScanParameters, false,
     damagedBytes, makeDamaged},
    {"segment", "one line", segmentParameters, true, nullptr, makeSegment},
    {"infinite-line", "two lines through a point", infiniteLineParameters, true, nullptr,
     makeInfiniteLine},
    {"arc", "lines along a part of a circle", arcParameters, true, arcBytes, makeArc},
    {"circle", "one closed chain of lines", circleParameters, true, circleBytes, makeCircle},
    {"line-strip", "a chain of lines through points", lineStripParameters, true, nullptr,
     makeLineStrip},
    {"box-edges", "the twelve edges of a box in four chains", cuboidParameters, true, nullptr,
     makeBoxEdges}};

}  // namespace

std::span<Shape const> shapes() {
    return table;
}

}  // namespace trimora
