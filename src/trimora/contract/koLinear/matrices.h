#pragma once

#include "trimora/contract/koLinear/vectors.h"

/// Matrices for row vectors, which are multiplied from the left: p * A * B first maps by A.
///
/// An affine matrix holds, three numbers each, the rows of the x axis, the y axis, the z axis and
/// the translation: x' = x m[0] + y m[3] + z m[6] + m[9], and so on. All are plain values, identity
/// by default.
namespace koLinear {

struct AffineMatrixFlt;

struct AffineMatrix {
    double m[12] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};

    constexpr AffineMatrix() = default;
    /// Scale on the diagonal, no translation.
    explicit constexpr AffineMatrix(double scale)
        : m{scale, 0.0, 0.0, 0.0, scale, 0.0, 0.0, 0.0, scale, 0.0, 0.0, 0.0} {}
    constexpr AffineMatrix(AffineMatrixFlt const& matrix);

    /// The map that takes the unit axes to x, y, z and the origin to `origin`.
    constexpr void setFrame(Point const& origin, Vector const& x, Vector const& y, Vector const& z);
    /// Makes this matrix act after the other one: this = matrix * this.
    constexpr void preMult(AffineMatrix const& matrix);
    /// Follows this map by the shortest turn of `from` onto `to`: this = this * turn. Opposite
    /// directions turn about `from`'s `orthogonalVector`; an invalid one changes nothing.
    TRIMORA_API void rotate(Normal const& from, Normal const& to);
    /// False, and the matrix is as it was, when it has no inverse: when its determinant is 0 as far
    /// as rounding lets one tell, or not finite. The scale of the matrix does not matter.
    TRIMORA_API bool invert();
    /// The inverse; a copy of this matrix when it has none.
    TRIMORA_API AffineMatrix inverse() const;
    /// The determinant of the three axis rows: below 0 for a map that mirrors.
    TRIMORA_API double det3x3() const;
    /// The matrix that transforms normals: the transposed inverse of the axis rows, no translation.
    /// `exists` is false when there is no inverse; the result is then the matrix of cofactors,
    /// which still gives the direction of a flattened surface's normals.
    TRIMORA_API AffineMatrix normalMatrix(bool& exists) const;
    TRIMORA_API AffineMatrix normalMatrix() const;

    constexpr bool operator==(AffineMatrix const&) const = default;

    static AffineMatrix const Identity;
};

struct AffineMatrixFlt {
    float m[12] = {1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f};

    constexpr AffineMatrixFlt() = default;
    explicit constexpr AffineMatrixFlt(AffineMatrix const& matrix);
    /// Becomes the identity.
    constexpr void identity() { *this = AffineMatrixFlt(); }
    constexpr bool operator==(AffineMatrixFlt const&) const = default;

    static AffineMatrixFlt const Identity;
};

inline constexpr AffineMatrix AffineMatrix::Identity{};
inline constexpr AffineMatrixFlt AffineMatrixFlt::Identity{};

constexpr AffineMatrix::AffineMatrix(AffineMatrixFlt const& matrix) {
    for (int i = 0; i < 12; ++i)
        m[i] = matrix.m[i];
}

constexpr AffineMatrixFlt::AffineMatrixFlt(AffineMatrix const& matrix) {
    for (int i = 0; i < 12; ++i)
        m[i] = static_cast<float>(matrix.m[i]);
}

/// A vector has no place, so the translation is left out.
constexpr Vector operator*(Vector const& v, AffineMatrix const& a) {
    return {v.x * a.m[0] + v.y * a.m[3] + v.z * a.m[6], v.x * a.m[1] + v.y * a.m[4] + v.z * a.m[7],
            v.x * a.m[2] + v.y * a.m[5] + v.z * a.m[8]};
}
constexpr Point operator*(Point const& p, AffineMatrix const& a) {
    return {p.x * a.m[0] + p.y * a.m[3] + p.z * a.m[6] + a.m[9],
            p.x * a.m[1] + p.y * a.m[4] + p.z * a.m[7] + a.m[10],
            p.x * a.m[2] + p.y * a.m[5] + p.z * a.m[8] + a.m[11]};
}
constexpr VectorFlt operator*(VectorFlt const& v, AffineMatrixFlt const& a) {
    return {v.x * a.m[0] + v.y * a.m[3] + v.z * a.m[6], v.x * a.m[1] + v.y * a.m[4] + v.z * a.m[7],
            v.x * a.m[2] + v.y * a.m[5] + v.z * a.m[8]};
}
constexpr PointFlt operator*(PointFlt const& p, AffineMatrixFlt const& a) {
    return {p.x * a.m[0] + p.y * a.m[3] + p.z * a.m[6] + a.m[9],
            p.x * a.m[1] + p.y * a.m[4] + p.z * a.m[7] + a.m[10],
            p.x * a.m[2] + p.y * a.m[5] + p.z * a.m[8] + a.m[11]};
}

constexpr void AffineMatrix::setFrame(Point const& origin, Vector const& x, Vector const& y,
                                      Vector const& z) {
    m[0] = x.x, m[1] = x.y, m[2] = x.z;
    m[3] = y.x, m[4] = y.y, m[5] = y.z;
    m[6] = z.x, m[7] = z.y, m[8] = z.z;
    m[9] = origin.x, m[10] = origin.y, m[11] = origin.z;
}

/// The map by a, followed by the map by b.
constexpr AffineMatrix operator*(AffineMatrix const& a, AffineMatrix const& b) {
    AffineMatrix product;
    product.setFrame(Point(a.m[9], a.m[10], a.m[11]) * b, Vector(a.m[0], a.m[1], a.m[2]) * b,
                     Vector(a.m[3], a.m[4], a.m[5]) * b, Vector(a.m[6], a.m[7], a.m[8]) * b);
    return product;
}

constexpr void AffineMatrix::preMult(AffineMatrix const& matrix) {
    *this = matrix * *this;
}

/// True when no element differs by more than the tolerance.
TRIMORA_API bool equivalent(AffineMatrix const& a, AffineMatrix const& b, double tolerance);
TRIMORA_API bool equivalent(AffineMatrixFlt const& a, AffineMatrixFlt const& b, float tolerance);

/// An affine frame of the plane: the rows of the x axis, the y axis and the translation.
struct AffineMatrix2 {
    double m[6] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};

    constexpr AffineMatrix2() = default;
    /// The map that takes the unit axes to x, y and the origin to `origin`.
    constexpr void setFrame(Point2 const& origin, Vector2 const& x, Vector2 const& y) {
        m[0] = x.x, m[1] = x.y, m[2] = y.x, m[3] = y.y, m[4] = origin.x, m[5] = origin.y;
    }
    /// The inverse; a copy of this matrix when it has none.
    TRIMORA_API AffineMatrix2 inverse() const;
    constexpr bool operator==(AffineMatrix2 const&) const = default;
};

constexpr Vector2 operator*(Vector2 const& v, AffineMatrix2 const& a) {
    return {v.x * a.m[0] + v.y * a.m[2], v.x * a.m[1] + v.y * a.m[3]};
}
constexpr Point2 operator*(Point2 const& p, AffineMatrix2 const& a) {
    return {p.x * a.m[0] + p.y * a.m[2] + a.m[4], p.x * a.m[1] + p.y * a.m[3] + a.m[5]};
}

/// A projective map, four rows of four: x' = x m[0] + y m[4] + z m[8] + w m[12], and so on.
struct ProjMatrix {
    double m[16] = {1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0};

    constexpr ProjMatrix() = default;
    /// The value on all four places of the diagonal, 0 elsewhere.
    explicit constexpr ProjMatrix(double diagonal)
        : m{diagonal, 0.0, 0.0,      0.0, 0.0, diagonal, 0.0, 0.0,
            0.0,      0.0, diagonal, 0.0, 0.0, 0.0,      0.0, diagonal} {}
    /// 16 numbers, row by row.
    explicit constexpr ProjMatrix(double const* const elements) {
        for (int i = 0; i < 16; ++i)
            m[i] = elements[i];
    }
    explicit constexpr ProjMatrix(AffineMatrix const& a)
        : m{a.m[0], a.m[1], a.m[2], 0.0, a.m[3], a.m[4],  a.m[5],  0.0,
            a.m[6], a.m[7], a.m[8], 0.0, a.m[9], a.m[10], a.m[11], 1.0} {}

    constexpr ProjMatrix& operator+=(ProjMatrix const& other) {
        for (int i = 0; i < 16; ++i)
            m[i] += other.m[i];
        return *this;
    }
    /// By cofactors. False, and the matrix is as it was, when it has no inverse: when its
    /// determinant is 0 as far as rounding lets one tell, or not finite.
    TRIMORA_API bool invertFast();
    constexpr bool operator==(ProjMatrix const&) const = default;
};

struct ProjMatrixFlt {
    float m[16] = {1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f,
                   0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};

    constexpr ProjMatrixFlt() = default;
    explicit constexpr ProjMatrixFlt(ProjMatrix const& matrix) {
        for (int i = 0; i < 16; ++i)
            m[i] = static_cast<float>(matrix.m[i]);
    }
    constexpr bool operator==(ProjMatrixFlt const&) const = default;
};

constexpr Tuple4 operator*(Tuple4 const& t, ProjMatrix const& a) {
    return {t.x * a.m[0] + t.y * a.m[4] + t.z * a.m[8] + t.w * a.m[12],
            t.x * a.m[1] + t.y * a.m[5] + t.z * a.m[9] + t.w * a.m[13],
            t.x * a.m[2] + t.y * a.m[6] + t.z * a.m[10] + t.w * a.m[14],
            t.x * a.m[3] + t.y * a.m[7] + t.z * a.m[11] + t.w * a.m[15]};
}
constexpr HPoint operator*(HPoint const& p, ProjMatrix const& a) {
    Tuple4 const row = Tuple4(p.x, p.y, p.z, p.w) * a;
    return {row.x, row.y, row.z, row.w};
}
/// The map by a, followed by the map by b.
TRIMORA_API ProjMatrix operator*(ProjMatrix const& a, ProjMatrix const& b);

}  // namespace koLinear
