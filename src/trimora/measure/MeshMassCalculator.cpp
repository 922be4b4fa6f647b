// Volume and moments by the divergence theorem: the integral of a polynomial over the solid is one of
// a polynomial of one degree more over the surface, and over a triangle that has a closed form in
// the coordinates of the corners. With S the sum over the corners and h the complete homogeneous
// polynomial of their coordinates, the mean of x^2 over a triangle is h2 / 6 and that of x^3 is
// h3 / 10; 2 h2 = P + S^2 and 3 h3 = Q + S^3 below.

#include "trimora/measure/MeshMassCalculator.h"

#include "trimora/connectivity/meshArea.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <cmath>

namespace koGeom {

namespace {

struct Corners {
    float at[3][3];  // by axis, then by corner

    Corners(MeshTriangle const& triangle, MeshVertex const* vertices) {
        for (int k = 0; k < 3; ++k) {
            MeshVertex const& vertex = vertices[triangle[k]];
            at[0][k] = vertex.x, at[1][k] = vertex.y, at[2][k] = vertex.z;
        }
    }

    /// In floats, as all sums of coordinates here.
    float sum(int axis) const { return at[axis][0] + at[axis][1] + at[axis][2]; }

    /// P: of the products of two coordinates, in floats too.
    float sumOfProducts(int a, int b) const {
        return at[a][0] * at[b][0] + at[a][1] * at[b][1] + at[a][2] * at[b][2];
    }

    /// Q: (2 a0 a0 - a1 a2) b0 and the same for the other corners.
    double cubic(int a, int b) const {
        double const a0 = at[a][0], a1 = at[a][1], a2 = at[a][2];
        return (2.0 * a0 * a0 - a1 * a2) * at[b][0] + (2.0 * a1 * a1 - a2 * a0) * at[b][1] +
               (2.0 * a2 * a2 - a0 * a1) * at[b][2];
    }

    double edge(int axis, int corner) const {
        return static_cast<double>(at[axis][corner]) - static_cast<double>(at[axis][0]);
    }

    /// A component of the normal whose length is twice the area.
    double normal(int axis) const {
        int const next = (axis + 1) % 3, last = (axis + 2) % 3;
        return edge(next, 1) * edge(last, 2) - edge(last, 1) * edge(next, 2);
    }
};

template <int axis>
void addFirstMoments(Corners const& corners, double* const moments[3]) {
    double const normal = corners.normal(axis);
    double const along = static_cast<double>(corners.sum(axis));
    for (int k = 0; k < 3; ++k) {
        double const products = static_cast<double>(corners.sumOfProducts(k, axis));
        double const sums = static_cast<double>(corners.sum(k)) * along;
        *moments[k] += (products + sums) * normal / (k == axis ? 48.0 : 24.0);
    }
}

template <int axis>
void addSecondMoments(Corners const& corners, double* const moments[3]) {
    double const normal = corners.normal(axis);
    double const along = static_cast<double>(corners.sum(axis));
    for (int k = 0; k < 3; ++k) {
        double const sum = static_cast<double>(corners.sum(k));
        double const sums = sum * sum * along;
        *moments[k] += (corners.cubic(k, axis) + sums) * normal / (k == axis ? 180.0 : 60.0);
    }
}

}  // namespace

MeshMassCalculator::MeshMassCalculator(ko::list<ko::Reference<CompactMesh>>& meshes)
    : meshes_(meshes) {}
MeshMassCalculator::MeshMassCalculator(MeshMassCalculator const& other) = default;
MeshMassCalculator& MeshMassCalculator::operator=(MeshMassCalculator const& other) = default;
MeshMassCalculator::~MeshMassCalculator() = default;

template <class Visit>
void MeshMassCalculator::forEachTriangle(Visit const& visit) const {
    for (ko::Reference<CompactMesh> const& mesh : meshes_) {
        assert(!mesh || detail::hasTrianglesInRange(*mesh));
        int const numTriangles = mesh ? mesh->getNumTriangles() : 0;
        for (int t = 0; t < numTriangles; ++t)
            visit(mesh->getTriangles() + t, mesh->getVertices());
    }
}

double MeshMassCalculator::calculateArea() {
    double area = 0.0;
    for (ko::Reference<CompactMesh> const& mesh : meshes_)
        area += static_cast<double>(
            meshArea(MeshPlacement{AffineMatrixFlt::Identity, mesh.get()}, MeshChannelVertices));
    return area;
}

double MeshMassCalculator::integrate(MeshTriangle const* triangle, MeshVertex const* vertices,
                                     double xRef) const {
    Corners const corners(*triangle, vertices);
    double const sum = static_cast<double>(corners.at[0][0]) + corners.at[0][1] + corners.at[0][2];
    return corners.normal(0) * (sum - 3.0 * xRef) / 6.0;
}

double MeshMassCalculator::calculateVolume() {
    BoundingBox box;
    for (ko::Reference<CompactMesh> const& mesh : meshes_)
        if (mesh)
            meshBoundingBox(*mesh, box);
    double const xRef = (static_cast<double>(box.min(0)) + static_cast<double>(box.max(0))) / 2.0;
    double volume = 0.0;
    forEachTriangle([&](MeshTriangle const* triangle, MeshVertex const* vertices) {
        volume += integrate(triangle, vertices, xRef);
    });
    return volume;
}

void MeshMassCalculator::firstMomentTriX(MeshTriangle const* triangle, MeshVertex const* vertices,
                                         double& x, double& y, double& z) const {
    double* const moments[3] = {&x, &y, &z};
    addFirstMoments<X>(Corners(*triangle, vertices), moments);
}

void MeshMassCalculator::firstMomentTriY(MeshTriangle const* triangle, MeshVertex const* vertices,
                                         double& x, double& y, double& z) const {
    double* const moments[3] = {&x, &y, &z};
    addFirstMoments<Y>(Corners(*triangle, vertices), moments);
}

void MeshMassCalculator::firstMomentTriZ(MeshTriangle const* triangle, MeshVertex const* vertices,
                                         double& x, double& y, double& z) const {
    double* const moments[3] = {&x, &y, &z};
    addFirstMoments<Z>(Corners(*triangle, vertices), moments);
}

void MeshMassCalculator::secondMomentTriX(MeshTriangle const* triangle, MeshVertex const* vertices,
                                          double& x, double& y, double& z) const {
    double* const moments[3] = {&x, &y, &z};
    addSecondMoments<X>(Corners(*triangle, vertices), moments);
}

void MeshMassCalculator::secondMomentTriY(MeshTriangle const* triangle, MeshVertex const* vertices,
                                          double& x, double& y, double& z) const {
    double* const moments[3] = {&x, &y, &z};
    addSecondMoments<Y>(Corners(*triangle, vertices), moments);
}

void MeshMassCalculator::secondMomentTriZ(MeshTriangle const* triangle, MeshVertex const* vertices,
                                          double& x, double& y, double& z) const {
    double* const moments[3] = {&x, &y, &z};
    addSecondMoments<Z>(Corners(*triangle, vertices), moments);
}

void MeshMassCalculator::calculateFirstMom(double& x, double& y, double& z, Axis axis) {
    x = y = z = 0.0;
    forEachTriangle([&, axis](MeshTriangle const* triangle, MeshVertex const* vertices) {
        if (axis == X)
            firstMomentTriX(triangle, vertices, x, y, z);
        else if (axis == Y)
            firstMomentTriY(triangle, vertices, x, y, z);
        else
            firstMomentTriZ(triangle, vertices, x, y, z);
    });
}

void MeshMassCalculator::calculateSecondMom(double& x, double& y, double& z, Axis axis) {
    x = y = z = 0.0;
    forEachTriangle([&, axis](MeshTriangle const* triangle, MeshVertex const* vertices) {
        if (axis == X)
            secondMomentTriX(triangle, vertices, x, y, z);
        else if (axis == Y)
            secondMomentTriY(triangle, vertices, x, y, z);
        else
            secondMomentTriZ(triangle, vertices, x, y, z);
    });
}

double MeshMassCalculator::triangleCentroid(MeshTriangle const* triangle,
                                            MeshVertex const* vertices, double& x, double& y,
                                            double& z) const {
    Corners const corners(*triangle, vertices);
    x = static_cast<double>(corners.sum(0)) / 3.0;
    y = static_cast<double>(corners.sum(1)) / 3.0;
    z = static_cast<double>(corners.sum(2)) / 3.0;
    double const nx = corners.normal(0), ny = corners.normal(1), nz = corners.normal(2);
    return std::sqrt(nx * nx + ny * ny + nz * nz);
}

void MeshMassCalculator::meshCentroid(double& x, double& y, double& z) const {
    for (ko::Reference<CompactMesh> const& mesh : meshes_) {
        double sum[3] = {0.0, 0.0, 0.0};
        double total = 0.0;
        int const numTriangles = mesh ? mesh->getNumTriangles() : 0;
        for (int t = 0; t < numTriangles; ++t) {
            double at[3];
            double const weight = triangleCentroid(mesh->getTriangles() + t, mesh->getVertices(),
                                                   at[0], at[1], at[2]);
            for (int axis = 0; axis < 3; ++axis)
                sum[axis] += weight * at[axis];
            total += weight;
        }
        x += sum[0] / total;
        y += sum[1] / total;
        z += sum[2] / total;
    }
}

void MeshMassCalculator::calculateCentroid(double& x, double& y, double& z) {
    x = y = z = 0.0;
    meshCentroid(x, y, z);
    double const numMeshes = static_cast<double>(meshes_.size());
    x /= numMeshes;
    y /= numMeshes;
    z /= numMeshes;
}

}  // namespace koGeom
