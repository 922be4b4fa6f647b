#include "trimora/assembly/linePrimitives.h"

#include "trimora/assembly/detail/shapeArrays.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <numeric>

// Straight generators: counts first, so that what cannot be held fails before anything is written, then the arrays. Vertex order
// and strips are what callers rely on.

namespace koGeom {

namespace {

using detail::shapeVertexCount;

PointFlt narrow(Point const& p) {
    return PointFlt(p);
}
PointFlt narrow(Point2 const& p) {
    return PointFlt(Point(p.x, p.y, 0.0));
}
PointFlt narrow(Point2Flt const& p) {
    return PointFlt(p.x, p.y, 0.0f);
}

void setPosition(MeshVertex& vertex, PointFlt const& p) {
    vertex.set(p.x, p.y, p.z);
}

// Lines in an arc, cut down to a whole number; 0 where it does not rise.
std::int64_t numLinesOfArc(float start, float end, int resolution) {
    constexpr double tooMany = 4294967296.0;  // more than shapeVertexCount takes
    double const lines = static_cast<double>(end - start) / std::numbers::pi * resolution;
    return lines >= 1.0 ? static_cast<std::int64_t>(std::min(lines, tooMany)) : 0;
}

template <typename AnyPoint>
ko::Reference<CompactMesh> stripThrough(ko::vector<AnyPoint> const& points, bool closed) {
    if (points.size() < 2)
        return {};
    int const count = shapeVertexCount(static_cast<std::int64_t>(points.size()) + (closed ? 1 : 0));
    ko::Reference<CompactMesh> mesh(new CompactMesh);
    mesh->resizeVertexArray(count);
    mesh->resizeLineStripArrays(count, 1);

    MeshVertex* const vertices = mesh->getVertices();
    for (std::size_t i = 0; i < points.size(); ++i)
        setPosition(vertices[i], narrow(points[i]));
    int* const stripPoints = mesh->getLineStripPoints();
    std::iota(stripPoints, stripPoints + count, 0);
    mesh->getLineStripLengths()[0] = count;
    if (closed) {
        vertices[count - 1] = vertices[0];
        stripPoints[count - 1] = 0;
    }
    return mesh;
}

// Lines from before go first, as do line strips below: without memory for the new ones none names a vertex that is gone.
void resizeForLines(CompactMesh& mesh, int numVertices, int numLines) {
    mesh.resizeLineArray(0);
    mesh.resizeVertexArray(numVertices);
    mesh.resizeLineArray(numLines);
}

}  // namespace

void constructLineSegment(Point const& start, Point const& end, CompactMesh& mesh) {
    resizeForLines(mesh, 2, 1);
    mesh.getLines()[0] = MeshLine{{0, 1}};
    setPosition(mesh.getVertices()[0], narrow(start));
    setPosition(mesh.getVertices()[1], narrow(end));
}

void constructLineSegment(ParamLine const& line, CompactMesh& mesh, float t0, float t1) {
    constructLineSegment(line.origin, line.origin + line.direction, mesh);
    float* const parameters = mesh.allocAttributes("T", 1)->asFloat();
    parameters[0] = t0;
    parameters[1] = t1;
}

ko::Reference<CompactMesh> constructInfiniteLine(Line const& line) {
    ko::Reference<CompactMesh> mesh(new CompactMesh);
    mesh->resizeLineArray(2);
    mesh->resizeVertexArray(3);
    mesh->getLines()[0] = MeshLine{{0, 1}};
    mesh->getLines()[1] = MeshLine{{1, 2}};
    setPosition(mesh->getVertices()[0], narrow((-line.direction).asPoint()));
    setPosition(mesh->getVertices()[1], narrow(line.origin));
    setPosition(mesh->getVertices()[2], narrow(line.direction.asPoint()));
    mesh->allocAttributes("W", 1)->asFloat()[1] = 1.0f;  // the others are 0: at infinity
    return mesh;
}

void constructArc(Point const& center, float radius, float start, float end, int axis,
                  int resolution, CompactMesh& mesh) {
    int const numVertices = shapeVertexCount(numLinesOfArc(start, end, resolution) + 1);
    int const numLines = numVertices - 1;
    resizeForLines(mesh, numVertices, numLines);

    detail::ShapeCircle const circle(center, radius, axis);
    MeshVertex* const vertices = mesh.getVertices();
    MeshLine* const lines = mesh.getLines();
    float const step = numLines > 0 ? (end - start) / static_cast<float>(numLines) : 0.0f;
    for (int i = 0; i < numLines; ++i) {
        float const angle = static_cast<float>(i) * step + start;
        circle.place(vertices[i], std::cos(angle), std::sin(angle));
        lines[i] = MeshLine{{i, i + 1}};
    }
    circle.place(vertices[numLines], std::cos(end), std::sin(end));
}

void constructCircle(Point const& center, float radius, int axis, int segments, CompactMesh& mesh) {
    int const numSegments = std::max(segments, 0);
    int const numVertices = shapeVertexCount(std::int64_t(numSegments) + 1);
    mesh.resizeLineStripArrays(0, 0);
    mesh.resizeVertexArray(numVertices);
    mesh.allocUVArray();
    mesh.resizeLineStripArrays(numVertices, 1);

    detail::ShapeCircle const circle(center, radius, axis);
    MeshVertex* const vertices = mesh.getVertices();
    MeshUV* const uvs = mesh.getUVs();
    float const step = detail::circleStep(numSegments);
    for (int i = 0; i < std::max(numSegments, 1); ++i) {
        float const angle = static_cast<float>(i) * step;
        float const cosine = std::cos(angle);
        float const sine = std::sin(angle);
        circle.place(vertices[i], cosine, sine);
        uvs[i] = detail::circleUV(cosine, sine);
    }
    vertices[numSegments] = vertices[0];
    uvs[numSegments] = uvs[0];
    int* const stripPoints = mesh.getLineStripPoints();
    std::iota(stripPoints, stripPoints + numVertices, 0);
    mesh.getLineStripLengths()[0] = numVertices;
}

void constructBoxEdgeLineStrips(BoundingBox const& box, CompactMesh& mesh) {
    constexpr int points[] = {0, 1, 5, 7, 2, 0, 4, 5, 1, 3, 2, 6, 3, 7, 6, 4};
    mesh.resizeLineStripArrays(0, 0);
    mesh.resizeVertexArray(8);
    mesh.resizeLineStripArrays(16, 4);
    for (int v = 0; v < 8; ++v) {
        mesh.getVertices()[v].set((v & 1) != 0 ? box.max(0) : box.min(0),
                                  (v & 2) != 0 ? box.max(1) : box.min(1),
                                  (v & 4) != 0 ? box.max(2) : box.min(2));
    }
    std::copy(std::begin(points), std::end(points), mesh.getLineStripPoints());
    std::fill_n(mesh.getLineStripLengths(), 4, 4);
}

ko::Reference<CompactMesh> constructLineStrip(ko::vector<Point> const& points, bool closed) {
    return stripThrough(points, closed);
}

ko::Reference<CompactMesh> constructLineStrip(ko::vector<Point2> const& points, bool closed) {
    return stripThrough(points, closed);
}

ko::Reference<CompactMesh> constructLineStrip(ko::vector<Point2Flt> const& points, bool closed) {
    return stripThrough(points, closed);
}

}  // namespace koGeom
