#include "trimora/planar/fit.h"

#include "trimora/contract/koGeom/PointMesh.h"

#include <cmath>
#include <numbers>
#include <utility>

/// The scatter matrix M of points in a plane with the normal n has M n = 0. Elimination with row pivoting on its first
/// two columns leaves rows from which n can be read off: with z taken as free, x and y follow. Points of both forms,
/// doubles and the floats of a mesh, go through the same sums in doubles.
namespace koGeom {

namespace {

struct PointArray {
    Point const* points;
    Point operator[](int i) const { return points[i]; }
};

struct MeshPoints {
    MeshVertex const* vertices;
    Point operator[](int i) const { return vertices[i].asPoint(); }
};

template <typename Points>
Point meanOf(int count, Points points) {
    Vector sum;
    for (int i = 0; i < count; ++i)
        sum += points[i].asVector();
    return (sum / static_cast<double>(count)).asPoint();
}

/// A symmetric 3 by 3 matrix on its way to reduced form.
class Elimination {
public:
    template <typename Points>
    Elimination(int count, Points points, Point const& origin) {
        double xx = 0.0, xy = 0.0, xz = 0.0, yy = 0.0, yz = 0.0, zz = 0.0;
        for (int i = 0; i < count; ++i) {
            Vector const d = points[i] - origin;
            xx += d.x * d.x;
            xy += d.x * d.y;
            xz += d.x * d.z;
            yy += d.y * d.y;
            yz += d.y * d.z;
            zz += d.z * d.z;
        }
        setRow(0, xx, xy, xz);
        setRow(1, xy, yy, yz);
        setRow(2, xz, yz, zz);
        hasPivot_[0] = reduceColumn(0);
        hasPivot_[1] = reduceColumn(1);
    }

    /// 1 without a pivot in the first two columns, else 2: the third column counts as free when both have one, and as
    /// a direction of its own otherwise.
    int rank() const { return hasPivot_[0] || hasPivot_[1] ? 2 : 1; }

    Vector normal() const {
        if (hasPivot_[0] && hasPivot_[1])
            return {-m_[0][2], -m_[1][2], 1.0};
        if (hasPivot_[0])
            return {-m_[0][1], 1.0, 0.0};
        return hasPivot_[1] ? Vector(1.0, 0.0, 0.0) : Vector(1.0, 1.0, 0.0);
    }

private:
    void setRow(int row, double x, double y, double z) {
        m_[row][0] = x;
        m_[row][1] = y;
        m_[row][2] = z;
    }

    /// Brings the column's pivot into the row of the same number; false when all of it is negligible.
    bool reduceColumn(int column) {
        int pivot = column;
        for (int row = 0; row < 3; ++row)
            if (row != column && !hasPivot_[row] &&
                std::abs(m_[row][column]) > std::abs(m_[pivot][column]))
                pivot = row;
        std::swap(m_[column], m_[pivot]);
        double const divisor = m_[column][column];
        if (std::abs(divisor) < epsilonTol)
            return false;

        for (double& entry : m_[column])
            entry /= divisor;
        for (int row = 0; row < 3; ++row) {
            double const factor = m_[row][column];
            for (int k = 0; row != column && k < 3; ++k)
                m_[row][k] -= factor * m_[column][k];
        }
        return true;
    }

    double m_[3][3];
    bool hasPivot_[3] = {false, false, false};  // by row, which is by column
};

template <typename Points>
int fitPoints(int count, Points points, Plane& plane) {
    if (count <= 0) {
        plane = Plane(Point::origin, Normal::zAxis);
        return 0;
    }
    Point const origin = meanOf(count, points);
    Elimination const elimination(count, points, origin);
    plane = Plane(origin, Normal(elimination.normal()));
    return elimination.rank();
}

template <typename Points>
bool recognizePoints(int count, Points points, Plane& plane, double tolerance) {
    if (count < 3)
        return false;
    Plane found;
    fitPoints(count, points, found);
    if (!found.isValid())
        return false;
    for (int i = 3; i < count; ++i)
        if (distance(points[i], found) > tolerance)
            return false;
    plane = found;
    return true;
}

}  // namespace

int fit(int count, Point const* points, Plane& plane) {
    return fitPoints(count, PointArray{points}, plane);
}

int fit(PointMesh const& mesh, Plane& plane) {
    return fitPoints(mesh.getNumVertices(), MeshPoints{mesh.getVertices()}, plane);
}

bool recognizePlane(ko::vector<Point> const& points, Plane& plane, double tolerance) {
    return recognizePoints(static_cast<int>(points.size()), PointArray{points.data()}, plane,
                           tolerance);
}

bool recognizePlane(PointMesh const& mesh, Plane& plane, double tolerance) {
    return recognizePoints(mesh.getNumVertices(), MeshPoints{mesh.getVertices()}, plane, tolerance);
}

void fitWithEndsOnPlane(int count, Point const* points, Plane& plane) {
    plane = Plane(Point::origin, Normal());
    if (count <= 2)
        return;
    Point const a = points[0];
    Normal const chord(points[count - 1] - a);
    if (!chord.valid)
        return;

    // Seen along the chord the plane is a line through the origin: the one with the least sum of squares.
    Vector const u = chord.asVector().orthogonalVector();
    Vector const v = cross(chord, u);
    double sxx = 0.0, sxy = 0.0, syy = 0.0;
    for (int i = 1; i + 1 < count; ++i) {
        Vector const d = points[i] - a;
        double const x = dot(d, u);
        double const y = dot(d, v);
        sxx += x * x;
        sxy += x * y;
        syy += y * y;
    }
    double const t = (std::atan2(2.0 * sxy, sxx - syy) + std::numbers::pi) * 0.5;
    Normal const normal(std::cos(t) * u + std::sin(t) * v);
    if (normal.valid)
        plane = Plane(a, normal);
}

}  // namespace koGeom
