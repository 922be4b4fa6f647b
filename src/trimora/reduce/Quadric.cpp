#include "trimora/reduce/detail/Quadric.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>

namespace koGeom {

namespace {

/// Elements from here on are left to the general inverse: the power of two that would scale them is no normal number.
double const veryLarge = 0x1p1000;

/// That of koLinear's inverses: a determinant below this part of what it is the sum of is taken for 0.
double const roundingOfDeterminant = 16.0 * std::numeric_limits<double>::epsilon();

ProjMatrix withUnitColumn(Quadric const& q) {
    ProjMatrix matrix = q.matrix();
    matrix.m[3] = matrix.m[7] = matrix.m[11] = 0.0;
    matrix.m[15] = 1.0;
    return matrix;
}

double valueAt(Point const& p, ProjMatrix const& matrix) {
    koLinear::Tuple4 const row = koLinear::Tuple4(p.x, p.y, p.z, 1.0) * matrix;
    return row.x * p.x + row.y * p.y + row.z * p.z + row.w;
}

bool findMinimumByInverse(Quadric const& q, Point& p) {
    ProjMatrix inverse = withUnitColumn(q);
    if (!inverse.invertFast())
        return false;
    p = Point(inverse.m[12], inverse.m[13], inverse.m[14]);
    return true;
}

}  // namespace

/// The cofactors of ProjMatrix::invertFast that are left when three elements of the last column are 0, in the same order
/// of operations, and only those of the last row.
bool Quadric::findMinimum(Point& p) const {
    double largest = 1.0;
    for (double element : {xx, xy, xz, yy, yz, zz, xw, yw, zw})
        largest = std::max(std::abs(element), largest);
    double const sum = xx + xy + xz + yy + yz + zz + xw + yw + zw;
    if (!(largest < veryLarge) || sum != sum)
        return findMinimumByInverse(*this, p);

    std::uint64_t const exponentBits = std::bit_cast<std::uint64_t>(largest) >> 52;
    double const scale = std::bit_cast<double>((2046 - exponentBits) << 52);
    double const a0 = xx * scale, a1 = xy * scale, a2 = xz * scale;
    double const a5 = yy * scale, a6 = yz * scale, a10 = zz * scale;
    double const a12 = xw * scale, a13 = yw * scale, a14 = zw * scale;

    double const s0 = a0 * a5 - a1 * a1;
    double const s1 = a0 * a6 - a2 * a1;
    double const s3 = a1 * a6 - a2 * a5;
    double const c2 = a2 * scale, c4 = a6 * scale, c5 = a10 * scale;
    double const determinant = s0 * c5 - s1 * c4 + s3 * c2;
    double const sumOfSizes = (std::abs(a0 * a5) + std::abs(a1 * a1)) * std::abs(c5) +
                              (std::abs(a0 * a6) + std::abs(a2 * a1)) * std::abs(c4) +
                              (std::abs(a1 * a6) + std::abs(a2 * a5)) * std::abs(c2);
    if (!(std::abs(determinant) > roundingOfDeterminant * sumOfSizes))
        return false;

    double const c0 = a2 * a13 - a6 * a12;
    double const c1 = a2 * a14 - a10 * a12;
    double const c3 = a6 * a14 - a10 * a13;
    p = Point((-a1 * c3 + a5 * c1 - a6 * c0) / determinant * scale,
              (a0 * c3 - a1 * c1 + a2 * c0) / determinant * scale,
              (-a12 * s3 + a13 * s1 - a14 * s0) / determinant * scale);
    return true;
}

Point Quadric::placeBetween(Point const& a, Point const& b) const {
    Point p;
    if (findMinimum(p))
        return p;
    ProjMatrix const matrix = withUnitColumn(*this);
    Point const middle((a.x + b.x) / 2.0, (a.y + b.y) / 2.0, (a.z + b.z) / 2.0);
    double const atA = valueAt(a, matrix);
    double const atB = valueAt(b, matrix);
    double const atMiddle = valueAt(middle, matrix);
    if (atMiddle <= atA && atMiddle <= atB)
        return middle;
    return atA <= atB && atA <= atMiddle ? a : b;
}

}  // namespace koGeom
