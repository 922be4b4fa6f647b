#include "trimora/assembly/primitives.h"

#include "trimora/assembly/detail/shapeArrays.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>
#include <numbers>
#include <vector>

// Straight generators: counts first, so that what cannot be held fails before anything is written, then the arrays. Vertex order,
// winding and the sets that come along are what callers rely on.

namespace koGeom {

namespace {

using detail::ShapeAxes;
using detail::shapeVertexCount;

constexpr float unitRange[2] = {0.0f, 1.0f};

// Room for vertices with normals of zero and perhaps UVs, and for triangles. Without memory for all no triangle is left that names a vertex that is gone.
void resizeForTriangles(CompactMesh& mesh, int numVertices, int numTriangles, bool withUVs) {
    try {
        mesh.resizeVertexArray(numVertices);
        mesh.resizeTriangleArray(numTriangles);
        mesh.allocNormalArray();
        if (withUVs)
            mesh.allocUVArray();
    } catch (std::bad_alloc const&) {
        mesh.resizeTriangleArray(0);
        throw;
    }
}

// A unit normal along a coordinate; the record is zero before.
void setNormal(MeshNormal& normal, int coordinate, float value) {
    (&normal.x)[coordinate] = value;
}

void tellTopology(TopoMesh& mesh) {
    TopoMeshModification modification(mesh, TopoMeshModification::Topology);
    mesh.modified(modification);
}

// The place within a range as a fraction of it, carried over to another range.
float inProportion(float value, float const* range, float const* target) {
    return target[0] + (value - range[0]) / (range[1] - range[0]) * (target[1] - target[0]);
}

class SphereGrid {
public:
    SphereGrid(Point const& center, float radius, int n, CompactMesh& mesh)
        : center_(center),
          radius_(radius),
          step_(std::numbers::pi / (2.0 * n)),
          numLongitudes_(4 * n),
          numRings_(n > 0 ? 2 * n - 1 : 0),
          vertices_(mesh.getVertices()),
          normals_(mesh.getNormals()),
          triangle_(mesh.getTriangles()) {}

    void writeVertices();
    void writeTriangles();

private:
    int ring(int k) const { return 2 + (k - 1) * numLongitudes_; }
    void setPole(int v, float side);
    void setVertex(int v, MeshNormal const& normal);
    void add(int a, int b, int c) { *triangle_++ = MeshTriangle{{a, b, c}}; }

    Point center_;
    float radius_;
    double step_;
    int numLongitudes_;
    int numRings_;
    MeshVertex* vertices_;
    MeshNormal* normals_;
    MeshTriangle* triangle_;  // the next one
};

void SphereGrid::setPole(int v, float side) {
    normals_[v] = MeshNormal{0.0f, 0.0f, side};
    vertices_[v].set(static_cast<float>(center_.x), static_cast<float>(center_.y),
                     static_cast<float>(center_.z + side * radius_));
}

void SphereGrid::setVertex(int v, MeshNormal const& normal) {
    normals_[v] = normal;
    vertices_[v].set(static_cast<float>(radius_ * normal.x + center_.x),
                     static_cast<float>(radius_ * normal.y + center_.y),
                     static_cast<float>(radius_ * normal.z + center_.z));
}

void SphereGrid::writeVertices() {
    struct Direction {
        double sine, cosine;
    };
    std::vector<Direction> longitudes;  // the same on every ring
    longitudes.reserve(static_cast<std::size_t>(numLongitudes_));
    double phi = 0.0;
    for (int j = 0; j < numLongitudes_; ++j, phi += step_)
        longitudes.push_back({std::sin(phi), std::cos(phi)});

    setPole(0, 1.0f);
    setPole(1, -1.0f);
    int v = 2;
    double theta = step_;
    for (int k = 0; k < numRings_; ++k, theta += step_) {
        double const sine = std::sin(theta);
        float const height = static_cast<float>(std::cos(theta));
        for (Direction const& longitude : longitudes)
            setVertex(v++, {static_cast<float>(longitude.sine * sine),
                            static_cast<float>(longitude.cosine * sine), height});
    }
}

void SphereGrid::writeTriangles() {
    int const last = numLongitudes_ - 1;
    for (int j = 0; j < numLongitudes_; ++j)
        add(0, ring(1) + j, ring(1) + (j > 0 ? j - 1 : last));
    for (int k = 1; k < numRings_; ++k) {
        for (int j = 0; j < numLongitudes_; ++j) {
            int const a = ring(k) + j;
            int const p = ring(k) + (j > 0 ? j - 1 : last);
            add(p, a, a + numLongitudes_);
            add(p, a + numLongitudes_, p + numLongitudes_);
        }
    }
    for (int j = 0; j < numLongitudes_; ++j)
        add(ring(numRings_) + j, 1, ring(numRings_) + (j > 0 ? j - 1 : last));
}

}  // namespace

void constructRectangle(float const* const r0, float const* const r1, float z, int axis,
                        CompactMesh& mesh, bool withUVs, float const* const uRange,
                        float const* const vRange) {
    resizeForTriangles(mesh, 4, 2, withUVs);
    ShapeAxes const axes(axis);
    for (int k = 0; k < 4; ++k) {
        axes.place(&mesh.getVertices()[k].x, r0[k & 1], r1[k >> 1], z);
        setNormal(mesh.getNormals()[k], axes.height, 1.0f);
        if (withUVs)
            mesh.getUVs()[k] = {uRange[k & 1], vRange[k >> 1]};
    }
    mesh.getTriangles()[0] = MeshTriangle{{0, 1, 2}};
    mesh.getTriangles()[1] = MeshTriangle{{3, 2, 1}};
}

void constructRectangle(float const* const r0, float const* const r1, float z, int axis,
                        CompactMesh& mesh, bool withUVs) {
    constructRectangle(r0, r1, z, axis, mesh, withUVs, unitRange, unitRange);
}

void constructRectangle(float const* const r0, float const* const r1, float z, int axis,
                        TopoMesh& mesh) {
    ShapeAxes const axes(axis);
    TopoMeshVertex corners[4];
    for (int k = 0; k < 4; ++k) {
        float xyz[3];
        axes.place(xyz, r0[k & 1], r1[k >> 1], z);
        corners[k] = mesh.allocVertex(Point(xyz[0], xyz[1], xyz[2]));
    }
    mesh.allocQuad(corners[0], corners[1], corners[2], corners[3]);
    tellTopology(mesh);
}

void constructRectangle(ParamPlane const& plane, CompactMesh& mesh) {
    constexpr float corners[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    resizeForTriangles(mesh, 4, 2, true);
    for (int k = 0; k < 4; ++k) {
        PointFlt const corner(plane.eval(corners[k][0], corners[k][1]));
        mesh.getVertices()[k].set(corner.x, corner.y, corner.z);
        mesh.getNormals()[k] = plane.normal;
        mesh.getUVs()[k] = {corners[k][0], corners[k][1]};
    }
    mesh.getTriangles()[0] = MeshTriangle{{0, 1, 2}};
    mesh.getTriangles()[1] = MeshTriangle{{2, 3, 0}};
}

void constructSquare(float const* const r, float z, int axis, CompactMesh& mesh, bool withUVs) {
    constructRectangle(r, r, z, axis, mesh, withUVs);
}

void constructSquare(float const* const r, float z, int axis, TopoMesh& mesh) {
    constructRectangle(r, r, z, axis, mesh);
}

void constructRectangularCorner(float const* const r0, float const* const r1, float const* const r2,
                                CompactMesh& mesh, bool withUVs, float const* const uRange,
                                float const* const vRange) {
    resizeForTriangles(mesh, 6, 4, withUVs);
    float const x[6] = {r2[0], r0[1], r0[1], r0[0], r0[0], r2[0]};
    float const y[6] = {r1[0], r1[0], r1[1], r1[1], r2[1], r2[1]};
    for (int k = 0; k < 6; ++k) {
        mesh.getVertices()[k].set(x[k], y[k], 0.0f);
        setNormal(mesh.getNormals()[k], 2, 1.0f);
    }
    for (int k = 0; k < 4; ++k)
        mesh.getTriangles()[k] = MeshTriangle{{5, k, k + 1}};
    if (!withUVs)
        return;
    float const ur = inProportion(r2[0], r0, uRange);
    float const vr = inProportion(r2[1], r1, vRange);
    float const u[6] = {ur, uRange[1], uRange[1], uRange[0], uRange[0], ur};
    float const v[6] = {vRange[0], vRange[0], vRange[1], vRange[1], vr, vr};
    for (int k = 0; k < 6; ++k)
        mesh.getUVs()[k] = {u[k], v[k]};
}

void constructRectangularCorner(float const* const r0, float const* const r1, float const* const r2,
                                CompactMesh& mesh, bool withUVs) {
    constructRectangularCorner(r0, r1, r2, mesh, withUVs, unitRange, unitRange);
}

void constructDisk(Point const& center, float radius, int axis, int segments, CompactMesh& mesh) {
    int const numSegments = std::max(segments, 0);
    resizeForTriangles(mesh, shapeVertexCount(std::int64_t(numSegments) + 1), numSegments, true);

    detail::ShapeCircle const circle(center, radius, axis);
    MeshVertex* const vertices = mesh.getVertices();
    MeshNormal* const normals = mesh.getNormals();
    MeshUV* const uvs = mesh.getUVs();
    MeshTriangle* const triangles = mesh.getTriangles();
    vertices[0].set(static_cast<float>(center.x), static_cast<float>(center.y),
                    static_cast<float>(center.z));
    uvs[0] = {0.5f, 0.5f};
    float const step = detail::circleStep(numSegments);
    for (int i = 1; i <= numSegments; ++i) {
        float const angle = static_cast<float>(i) * step;
        float const cosine = std::cos(angle);
        float const sine = std::sin(angle);
        circle.place(vertices[i], cosine, sine);
        setNormal(normals[i], circle.axis(), 1.0f);
        uvs[i] = detail::circleUV(cosine, sine);
        triangles[i - 1] = MeshTriangle{{0, i, i < numSegments ? i + 1 : 1}};
    }
}

void constructCuboid(float const (*const ranges)[2], CompactMesh& mesh) {
    // Bits 0, 1 and 2 choose the second number of x, y and z.
    constexpr int corners[24] = {1, 5, 3, 7, 4, 0, 6, 2, 2, 3, 6, 7,
                                 4, 5, 0, 1, 5, 4, 7, 6, 0, 1, 2, 3};
    resizeForTriangles(mesh, 24, 12, false);
    for (int v = 0; v < 24; ++v) {
        int const corner = corners[v];
        mesh.getVertices()[v].set(ranges[0][corner & 1], ranges[1][(corner >> 1) & 1],
                                  ranges[2][corner >> 2]);
        setNormal(mesh.getNormals()[v], v / 8, v / 4 % 2 == 0 ? 1.0f : -1.0f);
    }
    MeshTriangle* triangle = mesh.getTriangles();
    for (int b = 0; b < 24; b += 4) {
        *triangle++ = MeshTriangle{{b + 2, b + 1, b}};
        *triangle++ = MeshTriangle{{b + 1, b + 2, b + 3}};
    }
}

void constructCube(float const* const r, CompactMesh& mesh) {
    float const ranges[3][2] = {{r[0], r[1]}, {r[0], r[1]}, {r[0], r[1]}};
    constructCuboid(ranges, mesh);
}

void constructQuadCube(float const* const r, TopoMesh& mesh) {
    constexpr int quads[6][4] = {{0, 1, 5, 4}, {1, 3, 7, 5}, {3, 2, 6, 7},
                                 {2, 0, 4, 6}, {4, 5, 7, 6}, {0, 2, 3, 1}};
    TopoMeshVertex corners[8];
    for (int k = 0; k < 8; ++k)
        corners[k] = mesh.allocVertex(Point(r[k & 1], r[(k >> 1) & 1], r[k >> 2]));
    for (auto const& [a, b, c, d] : quads)
        mesh.allocQuad(corners[a], corners[b], corners[c], corners[d]);
    tellTopology(mesh);
}

void constructSphere(Point const& center, float radius, int n, CompactMesh& mesh) {
    constexpr int mostInQuarter = 16384;  // too many to hold; their products fit 64 bits
    std::int64_t const quarter = std::clamp(n, 0, mostInQuarter);
    std::int64_t const grid = 4 * quarter * std::max<std::int64_t>(2 * quarter - 1, 0);
    int const numVertices = shapeVertexCount(grid + 2);
    resizeForTriangles(mesh, numVertices, 2 * (numVertices - 2), false);

    SphereGrid sphere(center, radius, static_cast<int>(quarter), mesh);
    sphere.writeVertices();
    sphere.writeTriangles();
}

void constructAnnularArc(float inner, float outer, double angle, int n, CompactMesh& mesh) {
    if (n < 1)
        return;
    int const numVertices = shapeVertexCount(2 * std::int64_t(n));
    resizeForTriangles(mesh, numVertices, numVertices - 2, true);
    MeshUV* const uvs = mesh.getUVs();
    for (int i = 0; i < n; ++i) {
        float const u = static_cast<float>(i) / static_cast<float>(n - 1);  // one pair: 0 / 0
        uvs[2 * i] = {u, 0.0f};
        uvs[2 * i + 1] = {u, 1.0f};
    }
    MeshTriangle* triangle = mesh.getTriangles();
    for (int i = 1; i < n; ++i) {
        int const e = 2 * i;
        *triangle++ = MeshTriangle{{e - 2, e, e - 1}};
        *triangle++ = MeshTriangle{{e - 1, e, e + 1}};
    }
    updateAnnularArc(inner, outer, angle, mesh);
}

void updateAnnularArc(float inner, float outer, double angle, CompactMesh& mesh) {
    int const numVertices = mesh.getNumVertices();
    if (numVertices % 2 != 0 || mesh.getNumTriangles() != numVertices - 2)
        return;

    MeshVertex* const vertices = mesh.getVertices();
    MeshNormal* const normals = mesh.getNormals();
    float const step = static_cast<float>(angle / static_cast<double>(numVertices - 2));
    for (int k = 0; k < numVertices; k += 2) {
        float const turn = static_cast<float>(k) * step;
        float const cosine = std::cos(turn);
        float const sine = std::sin(turn);
        vertices[k].set(cosine * inner, sine * inner, 0.0f);
        vertices[k + 1].set(cosine * outer, sine * outer, 0.0f);
    }
    if (normals != nullptr)
        std::fill_n(normals, numVertices, MeshNormal{0.0f, 0.0f, angle >= 0.0 ? -1.0f : 1.0f});
}

ko::Reference<CompactMesh> constructPolygonFromConvexBoundary(Polyline2d const& boundary) {
    int const numVertices = boundary.getNumVertices();
    ko::Reference<CompactMesh> mesh(new CompactMesh);
    mesh->resizeVertexArray(numVertices);
    mesh->resizeTriangleArray(std::max(numVertices - 2, 0));
    for (int i = 0; i < numVertices; ++i) {
        Point2 const& corner = boundary.getVertex(i);
        mesh->getVertices()[i].set(static_cast<float>(corner.x), static_cast<float>(corner.y),
                                   0.0f);
    }
    for (int k = 1; k < numVertices - 1; ++k)
        mesh->getTriangles()[k - 1] = MeshTriangle{{0, k, k + 1}};
    return mesh;
}

}  // namespace koGeom
