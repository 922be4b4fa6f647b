#pragma once

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koLinear/vectors2.h"

/// Points, vectors and unit normals of space, in doubles and in floats.
///
/// All are plain values: fields in the order x, y, z (w), copied word by word, 0 by default. Floats
/// widen to doubles by themselves; narrowing is written out. Nothing here throws or allocates.
namespace koLinear {

struct Point;
struct Vector;
struct Normal;

struct PointFlt {
    float x = 0.0f, y = 0.0f, z = 0.0f;

    constexpr PointFlt() = default;
    constexpr PointFlt(float px, float py, float pz) : x(px), y(py), z(pz) {}
    explicit constexpr PointFlt(Point const& p);
    constexpr void set(float px, float py, float pz) { x = px, y = py, z = pz; }
    constexpr void set(float const* const xyz) { x = xyz[0], y = xyz[1], z = xyz[2]; }
    constexpr bool operator==(PointFlt const&) const = default;

    static PointFlt const origin;
};

struct VectorFlt {
    float x = 0.0f, y = 0.0f, z = 0.0f;

    constexpr VectorFlt() = default;
    constexpr VectorFlt(float vx, float vy, float vz) : x(vx), y(vy), z(vz) {}
    explicit constexpr VectorFlt(Vector const& v);
    constexpr void set(float vx, float vy, float vz) { x = vx, y = vy, z = vz; }
    constexpr float length2() const { return x * x + y * y + z * z; }
    float length() const { return std::sqrt(length2()); }
    constexpr bool operator==(VectorFlt const&) const = default;

    static VectorFlt const zero;
};

struct Point {
    double x = 0.0, y = 0.0, z = 0.0;

    constexpr Point() = default;
    constexpr Point(double px, double py, double pz) : x(px), y(py), z(pz) {}
    constexpr Point(PointFlt const& p) : x(p.x), y(p.y), z(p.z) {}
    /// z is 0.
    explicit constexpr Point(Point2 const& p) : x(p.x), y(p.y) {}
    constexpr void set(double px, double py, double pz) { x = px, y = py, z = pz; }
    /// The vector from the origin to here.
    constexpr Vector asVector() const;
    constexpr Point& operator+=(Vector const& v);
    constexpr Point& operator-=(Vector const& v);
    constexpr bool operator==(Point const&) const = default;

    static Point const origin;
};

struct Vector {
    double x = 0.0, y = 0.0, z = 0.0;

    constexpr Vector() = default;
    constexpr Vector(double vx, double vy, double vz) : x(vx), y(vy), z(vz) {}
    constexpr Vector(VectorFlt const& v) : x(v.x), y(v.y), z(v.z) {}
    constexpr Vector(Normal const& n);
    constexpr void set(double vx, double vy, double vz) { x = vx, y = vy, z = vz; }
    constexpr Point asPoint() const { return {x, y, z}; }
    /// Turns the vector round, in place.
    constexpr void reverse() { x = -x, y = -y, z = -z; }
    constexpr double length2() const { return x * x + y * y + z * z; }
    double length() const { return std::sqrt(length2()); }
    /// Brings the length to 1; false, and the vector is as it was, when it has no direction: when
    /// its squared length is 0, subnormal or not finite.
    bool normalize();
    Normal normalized() const;
    /// A unit vector at right angles to this one: in the xy plane, the x axis for a vector along z,
    /// a zero vector or one that is not finite.
    TRIMORA_API Vector orthogonalVector() const;
    constexpr Vector& operator+=(Vector const& v) { return x += v.x, y += v.y, z += v.z, *this; }
    constexpr Vector& operator-=(Vector const& v) { return x -= v.x, y -= v.y, z -= v.z, *this; }
    constexpr Vector& operator*=(double s) { return x *= s, y *= s, z *= s, *this; }
    constexpr Vector& operator/=(double s) { return x /= s, y /= s, z /= s, *this; }
    constexpr bool operator==(Vector const&) const = default;

    static Vector const zero, xAxis, yAxis, zAxis;
};

/// A unit vector that knows whether it is one.
///
/// Invalid when what it was made from has no direction, that is when the squared length is 0,
/// subnormal or not finite; the components are 0 then, never NaN. No tolerance takes part.
struct Normal {
    double x = 0.0, y = 0.0, z = 0.0;
    bool valid = false;

    constexpr Normal() = default;
    /// Takes three components that are of unit length already, as they are.
    constexpr Normal(double nx, double ny, double nz) { set(nx, ny, nz); }
    /// Normalises.
    explicit Normal(Vector const& v) { *this = v; }
    constexpr void set(double nx, double ny, double nz);
    constexpr void set(double const* const xyz) { set(xyz[0], xyz[1], xyz[2]); }
    /// Normalises.
    Normal& operator=(Vector const& v);
    constexpr Point asPoint() const { return {x, y, z}; }
    constexpr Vector asVector() const { return {x, y, z}; }
    constexpr bool operator==(Normal const&) const = default;

    static Normal const xAxis, yAxis, zAxis;
};

constexpr void Normal::set(double nx, double ny, double nz) {
    valid = isNormalizable(nx * nx + ny * ny + nz * nz);
    x = valid ? nx : 0.0, y = valid ? ny : 0.0, z = valid ? nz : 0.0;
}

inline Normal& Normal::operator=(Vector const& v) {
    double const squared = v.length2();
    valid = isNormalizable(squared);
    // A division a component instead of one reciprocal keeps the axes and other exact directions
    // exact.
    double const divisor = valid ? std::sqrt(squared) : 1.0;
    x = valid ? v.x / divisor : 0.0, y = valid ? v.y / divisor : 0.0,
    z = valid ? v.z / divisor : 0.0;
    return *this;
}

constexpr PointFlt::PointFlt(Point const& p)
    : x(static_cast<float>(p.x)), y(static_cast<float>(p.y)), z(static_cast<float>(p.z)) {}
constexpr VectorFlt::VectorFlt(Vector const& v)
    : x(static_cast<float>(v.x)), y(static_cast<float>(v.y)), z(static_cast<float>(v.z)) {}
constexpr Vector Point::asVector() const {
    return {x, y, z};
}
constexpr Point& Point::operator+=(Vector const& v) {
    return x += v.x, y += v.y, z += v.z, *this;
}
constexpr Point& Point::operator-=(Vector const& v) {
    return x -= v.x, y -= v.y, z -= v.z, *this;
}
constexpr Vector::Vector(Normal const& n) : x(n.x), y(n.y), z(n.z) {}
inline Normal Vector::normalized() const {
    return Normal(*this);
}
inline bool Vector::normalize() {
    double const squared = length2();
    if (!isNormalizable(squared))
        return false;
    *this /= std::sqrt(squared);
    return true;
}

inline constexpr PointFlt PointFlt::origin{0.0f, 0.0f, 0.0f};
inline constexpr VectorFlt VectorFlt::zero{0.0f, 0.0f, 0.0f};
inline constexpr Point Point::origin{0.0, 0.0, 0.0};
inline constexpr Vector Vector::zero{0.0, 0.0, 0.0};
inline constexpr Vector Vector::xAxis{1.0, 0.0, 0.0};
inline constexpr Vector Vector::yAxis{0.0, 1.0, 0.0};
inline constexpr Vector Vector::zAxis{0.0, 0.0, 1.0};
inline constexpr Normal Normal::xAxis{1.0, 0.0, 0.0};
inline constexpr Normal Normal::yAxis{0.0, 1.0, 0.0};
inline constexpr Normal Normal::zAxis{0.0, 0.0, 1.0};

constexpr Vector operator-(Point const& p, Point const& q) {
    return {p.x - q.x, p.y - q.y, p.z - q.z};
}
constexpr Point operator+(Point const& p, Vector const& v) {
    return {p.x + v.x, p.y + v.y, p.z + v.z};
}
constexpr Point operator-(Point const& p, Vector const& v) {
    return {p.x - v.x, p.y - v.y, p.z - v.z};
}
constexpr Vector operator+(Vector const& v, Vector const& w) {
    return {v.x + w.x, v.y + w.y, v.z + w.z};
}
constexpr Vector operator-(Vector const& v, Vector const& w) {
    return {v.x - w.x, v.y - w.y, v.z - w.z};
}
constexpr Vector operator-(Vector const& v) {
    return {-v.x, -v.y, -v.z};
}
constexpr Vector operator*(Vector const& v, double s) {
    return {v.x * s, v.y * s, v.z * s};
}
constexpr Vector operator*(double s, Vector const& v) {
    return {s * v.x, s * v.y, s * v.z};
}
constexpr Vector operator/(Vector const& v, double s) {
    return {v.x / s, v.y / s, v.z / s};
}
/// An invalid normal stays invalid.
constexpr Normal operator-(Normal const& n) {
    return {-n.x, -n.y, -n.z};
}

constexpr VectorFlt operator-(PointFlt const& p, PointFlt const& q) {
    return {p.x - q.x, p.y - q.y, p.z - q.z};
}
constexpr PointFlt operator+(PointFlt const& p, VectorFlt const& v) {
    return {p.x + v.x, p.y + v.y, p.z + v.z};
}
constexpr PointFlt operator-(PointFlt const& p, VectorFlt const& v) {
    return {p.x - v.x, p.y - v.y, p.z - v.z};
}
constexpr VectorFlt operator+(VectorFlt const& v, VectorFlt const& w) {
    return {v.x + w.x, v.y + w.y, v.z + w.z};
}
constexpr VectorFlt operator-(VectorFlt const& v, VectorFlt const& w) {
    return {v.x - w.x, v.y - w.y, v.z - w.z};
}
constexpr VectorFlt operator-(VectorFlt const& v) {
    return {-v.x, -v.y, -v.z};
}
constexpr VectorFlt operator*(VectorFlt const& v, float s) {
    return {v.x * s, v.y * s, v.z * s};
}
constexpr VectorFlt operator*(float s, VectorFlt const& v) {
    return {s * v.x, s * v.y, s * v.z};
}

constexpr double dot(Vector const& v, Vector const& w) {
    return v.x * w.x + v.y * w.y + v.z * w.z;
}
constexpr float dot(VectorFlt const& v, VectorFlt const& w) {
    return v.x * w.x + v.y * w.y + v.z * w.z;
}

/// The right-handed vector product; a `Normal` serves as either operand.
constexpr Vector cross(Vector const& v, Vector const& w) {
    return {v.y * w.z - v.z * w.y, v.z * w.x - v.x * w.z, v.x * w.y - v.y * w.x};
}
constexpr VectorFlt cross(VectorFlt const& v, VectorFlt const& w) {
    return {v.y * w.z - v.z * w.y, v.z * w.x - v.x * w.z, v.x * w.y - v.y * w.x};
}

/// a p + b q.
constexpr Point combine(double a, Point const& p, double b, Point const& q) {
    return {a * p.x + b * q.x, a * p.y + b * q.y, a * p.z + b * q.z};
}
constexpr PointFlt combine(float a, PointFlt const& p, float b, PointFlt const& q) {
    return {a * p.x + b * q.x, a * p.y + b * q.y, a * p.z + b * q.z};
}
constexpr Vector combine(double a, Vector const& v, double b, Vector const& w) {
    return {a * v.x + b * w.x, a * v.y + b * w.y, a * v.z + b * w.z};
}
constexpr Vector combine(double a, Normal const& n, double b, Normal const& m) {
    return combine(a, Vector(n), b, Vector(m));
}
/// The midpoint.
constexpr Point combine(Point const& p, Point const& q) {
    return {(p.x + q.x) * 0.5, (p.y + q.y) * 0.5, (p.z + q.z) * 0.5};
}
/// The sum of n vectors, first to last; zero for n below 1.
TRIMORA_API Vector combine(int n, Vector const* const vectors);
/// The sum of n vectors, each times its weight, first to last; zero for n below 1.
TRIMORA_API Vector combine(int n, double const* const weights, Vector const* const vectors);

/// The vector turned by `angle` radians about the axis, counterclockwise when the axis points at
/// the viewer; unchanged when the axis is invalid.
TRIMORA_API Vector rotate(Vector const& v, Normal const& axis, double angle);

/// The angle between two unit directions in radians, 0 to pi. The cosine is clamped, so the result
/// is never NaN; angle(n, m) and angle(m, n) are the same bits. pi / 2 when one is invalid.
TRIMORA_API double angle(Normal const& n, Normal const& m);

/// The part of the vector in the plane at right angles to the normal.
constexpr Vector project(Vector const& v, Normal const& n) {
    return v - dot(v, n) * Vector(n);
}

constexpr double distance2(Point const& p, Point const& q) {
    return (p - q).length2();
}
inline double distance(Point const& p, Point const& q) {
    return (p - q).length();
}
/// Points in floats are compared in doubles.
constexpr double distance2(PointFlt const& p, PointFlt const& q) {
    return distance2(Point(p), Point(q));
}
inline double distance(PointFlt const& p, PointFlt const& q) {
    return distance(Point(p), Point(q));
}

/// True when no component differs by more than the tolerance; NaN is equivalent to nothing.
inline bool equivalent(Vector const& v, Vector const& w, double tolerance) {
    return std::abs(v.x - w.x) <= tolerance && std::abs(v.y - w.y) <= tolerance &&
           std::abs(v.z - w.z) <= tolerance;
}
inline bool equivalent(Point const& p, Point const& q, double tolerance) {
    return equivalent(p.asVector(), q.asVector(), tolerance);
}
inline bool equivalent(Normal const& n, Normal const& m, double tolerance) {
    return equivalent(n.asVector(), m.asVector(), tolerance);
}
inline bool equivalent(PointFlt const& p, PointFlt const& q, float tolerance) {
    return std::abs(p.x - q.x) <= tolerance && std::abs(p.y - q.y) <= tolerance &&
           std::abs(p.z - q.z) <= tolerance;
}

/// True when |n . m| is at least the tolerance, which is a cosine: `parallelTol`, not a small
/// number. Opposite directions are parallel.
inline bool isParallel(Normal const& n, Normal const& m, double tolerance) {
    return std::abs(dot(n, m)) >= tolerance;
}

/// Four numbers without a meaning of their own: a row times a `ProjMatrix`.
struct Tuple4 {
    double x = 0.0, y = 0.0, z = 0.0, w = 0.0;

    constexpr Tuple4() = default;
    constexpr Tuple4(double tx, double ty, double tz, double tw) : x(tx), y(ty), z(tz), w(tw) {}
    constexpr bool operator==(Tuple4 const&) const = default;
};

/// A point in homogeneous coordinates.
struct HPoint {
    double x = 0.0, y = 0.0, z = 0.0, w = 1.0;

    constexpr HPoint() = default;
    constexpr HPoint(double px, double py, double pz, double pw) : x(px), y(py), z(pz), w(pw) {}
    constexpr HPoint(Point const& p) : x(p.x), y(p.y), z(p.z) {}
    /// Divides by w; not finite when w is 0.
    constexpr Point asPoint() const { return {x / w, y / w, z / w}; }
    /// True when the point lies in the view volume: x and y from -w to w, bounds included, and with
    /// `depth` z as well (in front of the far plane and behind the near one). NaN is outside.
    constexpr bool insideView(bool depth) const {
        return -w <= x && x <= w && -w <= y && y <= w && (!depth || (-w <= z && z <= w));
    }
    constexpr bool operator==(HPoint const&) const = default;
};

}  // namespace koLinear
