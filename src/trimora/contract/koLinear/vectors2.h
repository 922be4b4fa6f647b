#pragma once

#include <cmath>
#include <limits>

/// Points and vectors of the plane. Included by vectors.h, which is the header to include.
namespace koLinear {

/// True for a squared length that a vector can be divided by the root of: finite and neither zero
/// nor subnormal. NaN gives false. No tolerance takes part, because the cross product of a small
/// triangle is a tiny vector with a good direction.
constexpr bool isNormalizable(double length2) {
    return length2 >= std::numeric_limits<double>::min() &&
           length2 <= std::numeric_limits<double>::max();
}

struct Point2;
struct Vector2;

struct Point2Flt {
    float x = 0.0f, y = 0.0f;

    constexpr Point2Flt() = default;
    constexpr Point2Flt(float px, float py) : x(px), y(py) {}
    explicit constexpr Point2Flt(Point2 const& p);
    constexpr void set(float px, float py) { x = px, y = py; }
    constexpr bool operator==(Point2Flt const&) const = default;
};

struct Vector2Flt {
    float x = 0.0f, y = 0.0f;

    constexpr Vector2Flt() = default;
    constexpr Vector2Flt(float vx, float vy) : x(vx), y(vy) {}
    explicit constexpr Vector2Flt(Vector2 const& v);
    constexpr void set(float vx, float vy) { x = vx, y = vy; }
    constexpr float length2() const { return x * x + y * y; }
    float length() const { return std::sqrt(length2()); }
    constexpr bool operator==(Vector2Flt const&) const = default;
};

struct Point2 {
    double x = 0.0, y = 0.0;

    constexpr Point2() = default;
    constexpr Point2(double px, double py) : x(px), y(py) {}
    constexpr Point2(Point2Flt const& p) : x(p.x), y(p.y) {}
    constexpr void set(double px, double py) { x = px, y = py; }
    constexpr bool operator==(Point2 const&) const = default;

    static Point2 const origin;
};

struct Vector2 {
    double x = 0.0, y = 0.0;

    constexpr Vector2() = default;
    constexpr Vector2(double vx, double vy) : x(vx), y(vy) {}
    constexpr Vector2(Vector2Flt const& v) : x(v.x), y(v.y) {}
    constexpr void set(double vx, double vy) { x = vx, y = vy; }
    constexpr double length2() const { return x * x + y * y; }
    double length() const { return std::sqrt(length2()); }

    /// Brings the length to 1; false, and the vector is as it was, when it has no direction.
    bool normalize() {
        double const squared = length2();
        if (!isNormalizable(squared))
            return false;
        double const divisor = std::sqrt(squared);
        x /= divisor, y /= divisor;
        return true;
    }
    constexpr bool operator==(Vector2 const&) const = default;

    static Vector2 const zero;
};

inline constexpr Point2 Point2::origin{0.0, 0.0};
inline constexpr Vector2 Vector2::zero{0.0, 0.0};

constexpr Point2Flt::Point2Flt(Point2 const& p)
    : x(static_cast<float>(p.x)), y(static_cast<float>(p.y)) {}
constexpr Vector2Flt::Vector2Flt(Vector2 const& v)
    : x(static_cast<float>(v.x)), y(static_cast<float>(v.y)) {}

constexpr Vector2 operator-(Point2 const& p, Point2 const& q) {
    return {p.x - q.x, p.y - q.y};
}
constexpr Point2 operator+(Point2 const& p, Vector2 const& v) {
    return {p.x + v.x, p.y + v.y};
}
constexpr Point2 operator-(Point2 const& p, Vector2 const& v) {
    return {p.x - v.x, p.y - v.y};
}
constexpr Vector2 operator+(Vector2 const& v, Vector2 const& w) {
    return {v.x + w.x, v.y + w.y};
}
constexpr Vector2 operator-(Vector2 const& v, Vector2 const& w) {
    return {v.x - w.x, v.y - w.y};
}
constexpr Vector2 operator-(Vector2 const& v) {
    return {-v.x, -v.y};
}
constexpr Vector2 operator*(Vector2 const& v, double s) {
    return {v.x * s, v.y * s};
}
constexpr Vector2 operator*(double s, Vector2 const& v) {
    return {s * v.x, s * v.y};
}
constexpr Vector2 operator/(Vector2 const& v, double s) {
    return {v.x / s, v.y / s};
}

constexpr Vector2Flt operator-(Point2Flt const& p, Point2Flt const& q) {
    return {p.x - q.x, p.y - q.y};
}
constexpr Point2Flt operator+(Point2Flt const& p, Vector2Flt const& v) {
    return {p.x + v.x, p.y + v.y};
}
constexpr Vector2Flt operator+(Vector2Flt const& v, Vector2Flt const& w) {
    return {v.x + w.x, v.y + w.y};
}
constexpr Vector2Flt operator-(Vector2Flt const& v, Vector2Flt const& w) {
    return {v.x - w.x, v.y - w.y};
}
constexpr Vector2Flt operator*(Vector2Flt const& v, float s) {
    return {v.x * s, v.y * s};
}
constexpr Vector2Flt operator*(float s, Vector2Flt const& v) {
    return {s * v.x, s * v.y};
}

constexpr double dot(Vector2 const& v, Vector2 const& w) {
    return v.x * w.x + v.y * w.y;
}
constexpr float dot(Vector2Flt const& v, Vector2Flt const& w) {
    return v.x * w.x + v.y * w.y;
}

/// The signed area of the parallelogram v, w: above 0 when w lies counterclockwise of v.
constexpr double cross(Vector2 const& v, Vector2 const& w) {
    return v.x * w.y - v.y * w.x;
}
constexpr float cross(Vector2Flt const& v, Vector2Flt const& w) {
    return v.x * w.y - v.y * w.x;
}

/// a p + b q.
constexpr Point2 combine(double a, Point2 const& p, double b, Point2 const& q) {
    return {a * p.x + b * q.x, a * p.y + b * q.y};
}

constexpr double distance2(Point2 const& p, Point2 const& q) {
    return (p - q).length2();
}
inline double distance(Point2 const& p, Point2 const& q) {
    return (p - q).length();
}

/// True when no component differs by more than the tolerance; NaN is equivalent to nothing.
inline bool equivalent(Point2 const& p, Point2 const& q, double tolerance) {
    return std::abs(p.x - q.x) <= tolerance && std::abs(p.y - q.y) <= tolerance;
}
inline bool equivalent(Vector2 const& v, Vector2 const& w, double tolerance) {
    return std::abs(v.x - w.x) <= tolerance && std::abs(v.y - w.y) <= tolerance;
}

}  // namespace koLinear
