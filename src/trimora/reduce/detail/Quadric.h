#pragma once

#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

using koLinear::Point;
using koLinear::ProjMatrix;
using koLinear::Vector;

/// A sum of squared distances from planes, as a function of a point p: (p, 1) Q (p, 1)^T.
///
/// Q is a symmetric matrix of which ten coefficients are kept; all of it comes out bit for bit as with the sixteen of a
/// `ProjMatrix` and the operations on that.
struct Quadric {
    double xx = 0.0, xy = 0.0, xz = 0.0, xw = 0.0;
    double yy = 0.0, yz = 0.0, yw = 0.0;
    double zz = 0.0, zw = 0.0;
    double ww = 0.0;

    /// Adds the square of n . p + d, the distance from a plane where n is of unit length.
    void addPlane(Vector const& n, double d) {
        xx += n.x * n.x, xy += n.x * n.y, xz += n.x * n.z, xw += n.x * d;
        yy += n.y * n.y, yz += n.y * n.z, yw += n.y * d;
        zz += n.z * n.z, zw += n.z * d;
        ww += d * d;
    }
    Quadric& operator+=(Quadric const& other) {
        xx += other.xx, xy += other.xy, xz += other.xz, xw += other.xw;
        yy += other.yy, yz += other.yz, yw += other.yw;
        zz += other.zz, zw += other.zw;
        ww += other.ww;
        return *this;
    }
    double at(Point const& p) const {
        return (p.x * xx + p.y * xy + p.z * xz + xw) * p.x +
               (p.x * xy + p.y * yy + p.z * yz + yw) * p.y +
               (p.x * xz + p.y * yz + p.z * zz + zw) * p.z + (p.x * xw + p.y * yw + p.z * zw + ww);
    }
    ProjMatrix matrix() const {
        double const rows[16] = {xx, xy, xz, xw, xy, yy, yz, yw, xz, yz, zz, zw, xw, yw, zw, ww};
        return ProjMatrix(rows);
    }

    /// Where the sum is least, when that is one point: the last row of the inverse of the matrix with (0, 0, 0, 1) for its
    /// last column, as ProjMatrix::invertFast finds it. False, and p as it was, when there is no inverse.
    TRIMORA_API bool findMinimum(Point& p) const;
    /// Where the vertex goes when an edge from a to b collapses: to the minimum, or else to the midpoint, a or b, the first
    /// of these at which the matrix with (0, 0, 0, 1) for its last column is at most what it is at the others. (That is not
    /// the sum itself, as the last column is half of its linear part, and 1 stands for its constant.)
    TRIMORA_API Point placeBetween(Point const& a, Point const& b) const;
};

}  // namespace koGeom
