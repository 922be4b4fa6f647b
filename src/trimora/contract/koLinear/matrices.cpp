#include "trimora/contract/koLinear/matrices.h"

#include <algorithm>
#include <cmath>

// Inverses by cofactors. A determinant is a sum of products; it is taken for 0 when it is smaller
// than what rounding can make of those products, which no scaling of rows or columns changes. The
// elements are first divided by a power of two, which is exact, so that neither tiny nor huge
// matrices fall out of the range of doubles.

namespace koLinear {

namespace {

// A sum of n products of k factors is off by less than (n + k) half units of the sum of their
// sizes.
double const roundingOfDeterminant = 16.0 * std::numeric_limits<double>::epsilon();

// The exponent of the largest element among `count`; false when that is 0 or not finite.
bool largestExponent(double const* elements, int count, int& exponent) {
    double largest = 0.0;
    for (int i = 0; i < count; ++i) {
        if (!std::isfinite(elements[i]))
            return false;
        largest = std::max(largest, std::abs(elements[i]));
    }
    exponent = largest > 0.0 ? std::ilogb(largest) : 0;
    return largest > 0.0;
}

bool isDeterminant(double determinant, double sumOfSizes) {
    return std::abs(determinant) > roundingOfDeterminant * sumOfSizes && std::isfinite(determinant);
}

// The matrix of cofactors of the axis rows r, row by row: its transpose over the determinant is the
// inverse.
void cofactors3x3(double const* r, double* c) {
    for (int i = 0; i < 3; ++i) {
        double const* const p = r + 3 * ((i + 1) % 3);
        double const* const q = r + 3 * ((i + 2) % 3);
        c[3 * i + 0] = p[1] * q[2] - p[2] * q[1];
        c[3 * i + 1] = p[2] * q[0] - p[0] * q[2];
        c[3 * i + 2] = p[0] * q[1] - p[1] * q[0];
    }
}

// The sum of the sizes of the six products that make up the determinant.
double sizeOfProducts3x3(double const* r) {
    double sum = 0.0;
    for (int i = 0; i < 3; ++i) {
        int const j = (i + 1) % 3;
        int const k = (i + 2) % 3;
        sum += std::abs(r[i] * r[3 + j] * r[6 + k]) + std::abs(r[i] * r[3 + k] * r[6 + j]);
    }
    return sum;
}

// The transposed inverse of the axis rows; false when there is none, with the cofactors instead.
bool transposedInverse3x3(double const* rows, double* result) {
    double scaled[9];
    int exponent = 0;
    if (!largestExponent(rows, 9, exponent)) {
        cofactors3x3(rows, result);
        return false;
    }
    for (int i = 0; i < 9; ++i)
        scaled[i] = std::scalbn(rows[i], -exponent);
    cofactors3x3(scaled, result);
    double const determinant =
        scaled[0] * result[0] + scaled[1] * result[1] + scaled[2] * result[2];
    if (!isDeterminant(determinant, sizeOfProducts3x3(scaled)))
        return false;
    for (int i = 0; i < 9; ++i)
        result[i] = std::scalbn(result[i] / determinant, -exponent);
    return std::all_of(result, result + 9, [](double e) { return std::isfinite(e); });
}

template <typename T>
bool equivalentElements(T const* a, T const* b, int count, T tolerance) {
    for (int i = 0; i < count; ++i)
        if (!(std::abs(a[i] - b[i]) <= tolerance))
            return false;
    return true;
}

}  // namespace

double AffineMatrix::det3x3() const {
    return m[0] * (m[4] * m[8] - m[5] * m[7]) + m[1] * (m[5] * m[6] - m[3] * m[8]) +
           m[2] * (m[3] * m[7] - m[4] * m[6]);
}

void AffineMatrix::rotate(Normal const& from, Normal const& to) {
    if (!from.valid || !to.valid)
        return;
    Vector axis = cross(from, to);
    bool const hasAxis = axis.normalize();
    if (!hasAxis && dot(from, to) > 0.0)
        return;
    if (dot(from, to) < 0.0) {
        // Of nearly opposite directions the cross product is mostly rounding and may point anywhere.
        // About any axis at right angles to `from` the turn ends next to `to`.
        axis = project(axis, from);
        if (!hasAxis || axis.length2() < 0.25)
            axis = from.asVector().orthogonalVector();
    }
    // atan2 of sine and cosine is exact near 0 and near pi, where the arc cosine is not.
    double const turn = std::atan2(cross(from, to).length(), dot(from, to));
    Normal const unitAxis(axis);
    AffineMatrix rotation;
    rotation.setFrame(Point::origin, koLinear::rotate(Vector::xAxis, unitAxis, turn),
                      koLinear::rotate(Vector::yAxis, unitAxis, turn),
                      koLinear::rotate(Vector::zAxis, unitAxis, turn));
    *this = *this * rotation;
}

bool AffineMatrix::invert() {
    double t[9];
    if (!transposedInverse3x3(m, t))
        return false;
    Vector const x(t[0], t[3], t[6]);
    Vector const y(t[1], t[4], t[7]);
    Vector const z(t[2], t[5], t[8]);
    Vector const back = -(m[9] * x + m[10] * y + m[11] * z);
    setFrame(back.asPoint(), x, y, z);
    return true;
}

AffineMatrix AffineMatrix::inverse() const {
    AffineMatrix result = *this;
    result.invert();
    return result;
}

AffineMatrix AffineMatrix::normalMatrix(bool& exists) const {
    AffineMatrix result;
    exists = transposedInverse3x3(m, result.m);
    return result;
}

AffineMatrix AffineMatrix::normalMatrix() const {
    bool exists = false;
    return normalMatrix(exists);
}

bool equivalent(AffineMatrix const& a, AffineMatrix const& b, double tolerance) {
    return equivalentElements(a.m, b.m, 12, tolerance);
}

bool equivalent(AffineMatrixFlt const& a, AffineMatrixFlt const& b, float tolerance) {
    return equivalentElements(a.m, b.m, 12, tolerance);
}

AffineMatrix2 AffineMatrix2::inverse() const {
    int exponent = 0;
    if (!largestExponent(m, 4, exponent))
        return *this;
    double const a = std::scalbn(m[0], -exponent);
    double const b = std::scalbn(m[1], -exponent);
    double const c = std::scalbn(m[2], -exponent);
    double const d = std::scalbn(m[3], -exponent);
    double const determinant = a * d - b * c;
    if (!isDeterminant(determinant, std::abs(a * d) + std::abs(b * c)))
        return *this;

    AffineMatrix2 result;
    result.setFrame(
        Point2(),
        {std::scalbn(d / determinant, -exponent), std::scalbn(-b / determinant, -exponent)},
        {std::scalbn(-c / determinant, -exponent), std::scalbn(a / determinant, -exponent)});
    Vector2 const back = -(Vector2(m[4], m[5]) * result);
    result.m[4] = back.x, result.m[5] = back.y;
    return result;
}

ProjMatrix operator*(ProjMatrix const& a, ProjMatrix const& b) {
    ProjMatrix product(0.0);
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            for (int k = 0; k < 4; ++k)
                product.m[4 * row + column] += a.m[4 * row + k] * b.m[4 * k + column];
    return product;
}

bool ProjMatrix::invertFast() {
    int exponent = 0;
    if (!largestExponent(m, 16, exponent))
        return false;
    double a[16];
    for (int i = 0; i < 16; ++i)
        a[i] = std::scalbn(m[i], -exponent);

    // Minors of the upper two rows (s) and of the lower two (c), and the size of their products.
    static constexpr int pairs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
    double s[6], c[6], sizeOfS[6], sizeOfC[6];
    for (int k = 0; k < 6; ++k) {
        int const i = pairs[k][0];
        int const j = pairs[k][1];
        s[k] = a[i] * a[4 + j] - a[j] * a[4 + i];
        c[k] = a[8 + i] * a[12 + j] - a[8 + j] * a[12 + i];
        sizeOfS[k] = std::abs(a[i] * a[4 + j]) + std::abs(a[j] * a[4 + i]);
        sizeOfC[k] = std::abs(a[8 + i] * a[12 + j]) + std::abs(a[8 + j] * a[12 + i]);
    }
    double const determinant =
        s[0] * c[5] - s[1] * c[4] + s[2] * c[3] + s[3] * c[2] - s[4] * c[1] + s[5] * c[0];
    double sumOfSizes = 0.0;
    for (int k = 0; k < 6; ++k)
        sumOfSizes += sizeOfS[k] * sizeOfC[5 - k];
    if (!isDeterminant(determinant, sumOfSizes))
        return false;

    double const adjugate[16] = {
        a[5] * c[5] - a[6] * c[4] + a[7] * c[3],     -a[1] * c[5] + a[2] * c[4] - a[3] * c[3],
        a[13] * s[5] - a[14] * s[4] + a[15] * s[3],  -a[9] * s[5] + a[10] * s[4] - a[11] * s[3],
        -a[4] * c[5] + a[6] * c[2] - a[7] * c[1],    a[0] * c[5] - a[2] * c[2] + a[3] * c[1],
        -a[12] * s[5] + a[14] * s[2] - a[15] * s[1], a[8] * s[5] - a[10] * s[2] + a[11] * s[1],
        a[4] * c[4] - a[5] * c[2] + a[7] * c[0],     -a[0] * c[4] + a[1] * c[2] - a[3] * c[0],
        a[12] * s[4] - a[13] * s[2] + a[15] * s[0],  -a[8] * s[4] + a[9] * s[2] - a[11] * s[0],
        -a[4] * c[3] + a[5] * c[1] - a[6] * c[0],    a[0] * c[3] - a[1] * c[1] + a[2] * c[0],
        -a[12] * s[3] + a[13] * s[1] - a[14] * s[0], a[8] * s[3] - a[9] * s[1] + a[10] * s[0]};
    for (int i = 0; i < 16; ++i)
        m[i] = std::scalbn(adjugate[i] / determinant, -exponent);
    return true;
}

}  // namespace koLinear
