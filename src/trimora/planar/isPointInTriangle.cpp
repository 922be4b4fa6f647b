#include "trimora/planar/isPointInTriangle.h"

#include <cmath>

// In the plane: two equations in u and v,
//
//     u ab.x + v ac.x = ap.x
//     u ab.y + v ac.y = ap.y
//
// of which v is eliminated first. Where ac.x vanishes the first equation gives u by itself, and the second one v.
// What vanishes is the caller's to say, which is all that tells the two tests apart.

namespace koGeom {

namespace {

template <typename Vanishes>
bool solve(Vector2Flt const& ab, Vector2Flt const& ac, Vector2Flt const& ap, Vanishes vanishes,
           float& u, float& v) {
    if (vanishes(ac.x)) {
        if (vanishes(ab.x) || vanishes(ac.y))
            return false;
        u = ap.x / ab.x;
        v = (ap.y - u * ab.y) / ac.y;
        return true;
    }
    float const determinant = ab.x * ac.y - ac.x * ab.y;
    if (vanishes(determinant))
        return false;
    u = (ap.x * ac.y - ac.x * ap.y) / determinant;
    v = (ap.x - u * ab.x) / ac.x;
    return true;
}

bool isWithin(float u, float v) {
    return u >= 0.0f && u <= 1.0f && v >= 0.0f && u + v <= 1.0f;
}

// Whether the triangle from the point to two of the corners, wound as they are, weighs too little.
bool isOutside(Vector const& toFirst, Vector const& toSecond, Normal const& up, double area) {
    constexpr double slack = 1e-5;
    Vector const half = 0.5 * cross(toFirst, toSecond);
    return dot(half, up) < 0.0 && half.length() / area >= slack;
}

}  // namespace

bool isPointInTriangleInclusive(Point2Flt const& point, Point2Flt const& a, Point2Flt const& b,
                                Point2Flt const& c, float& u, float& v) {
    auto const vanishes = [](float value) { return value == 0.0f; };
    return solve(b - a, c - a, point - a, vanishes, u, v) && isWithin(u, v);
}

bool isPointInTriangleDefinitive(Point2Flt const& point, Point2Flt const& a, Point2Flt const& b,
                                 Point2Flt const& c, float& u, float& v) {
    auto const vanishes = [](float value) { return std::abs(value) < epsilonTolFlt; };
    if (!solve(b - a, c - a, point - a, vanishes, u, v)) {
        u = v = 1.0f / 3.0f;
        return false;
    }
    return isWithin(u, v);
}

bool isPointInTriangleInclusive(Point const& point, Point const& a, Point const& b, Point const& c,
                                Vector const& normal) {
    Normal const up(normal);
    if (!up.valid)
        return false;
    double const area = normal.length();
    Vector const toA = a - point;
    Vector const toB = b - point;
    Vector const toC = c - point;
    return !isOutside(toB, toC, up, area) && !isOutside(toC, toA, up, area) &&
           !isOutside(toA, toB, up, area);
}

bool isPointInTriangleInclusive(Point const& point, Point const& a, Point const& b,
                                Point const& c) {
    return isPointInTriangleInclusive(point, a, b, c, 0.5 * cross(b - a, c - a));
}

}  // namespace koGeom
