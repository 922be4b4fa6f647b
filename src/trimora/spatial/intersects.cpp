#include "trimora/spatial/intersects.h"

#include "trimora/contract/koLinear/matrices.h"
#include "trimora/spatial/detail/BoxTriangleTest.h"

#include <algorithm>
#include <cmath>

// Separating-axis tests in single precision for boxes against triangles and segments, plain
// distances and signs for the rest. Touching counts as overlap, so every rejection needs a strict
// inequality.

namespace koGeom {

namespace {

struct Interval {
    float low, high;
};

Interval scaled(float factor, float low, float high) {
    float const p = factor * low;
    float const q = factor * high;
    return {std::min(p, q), std::max(p, q)};
}

// Whether all eight corners of the frustum lie strictly beyond one face of the box.
bool beyondOneFace(Frustum const& frustum, BoundingBox const& box) {
    int beyond[6] = {};
    for (Point const& corner : frustum.corners) {
        double const position[3] = {corner.x, corner.y, corner.z};
        bool inside = true;
        for (int axis = 0; axis < 3; ++axis) {
            bool const below = position[axis] < static_cast<double>(box.bounds[axis]);
            bool const above = position[axis] > static_cast<double>(box.bounds[axis + 3]);
            beyond[axis] += below;
            beyond[axis + 3] += above;
            inside = inside && !below && !above;
        }
        if (inside)
            return false;
    }
    return std::find(beyond, beyond + 6, 8) != beyond + 6;
}

double lesserNumber(double a, double b) {
    return a < b || std::isnan(b) ? a : b;
}

// Whether some corner of the box is not above the plane. Rounding is monotonic, so the corner that
// takes the lesser term on each axis is the lowest of the eight, to the last bit.
bool reachesBelow(BoundingBox const& box, Plane const& plane) {
    double const normal[3] = {plane.normal.x, plane.normal.y, plane.normal.z};
    double const origin[3] = {plane.origin.x, plane.origin.y, plane.origin.z};
    double term[3];
    for (int axis = 0; axis < 3; ++axis)
        term[axis] = lesserNumber((box.bounds[axis] - origin[axis]) * normal[axis],
                                  (box.bounds[axis + 3] - origin[axis]) * normal[axis]);
    return term[0] + term[1] + term[2] <= 0.0;
}

// Whether the ball reaches a line, in space; touching is not enough.
bool reaches(Sphere const& sphere, Line const& line) {
    return sphere.radius * sphere.radius > distance2(sphere.center, project(sphere.center, line));
}

// Whether c lies on the left of the way from `start` to `end`, or on it, seen in the xy plane.
bool onLeft(Point const& start, Point const& end, Point const& c) {
    Vector2 const way(end.x - start.x, end.y - start.y);
    return cross(way, Vector2(c.x - start.x, c.y - start.y)) >= 0.0;
}

// The line that a triangle shrinks to when corners coincide; false when none do.
bool degenerateLine(Point const& p0, Point const& p1, Point const& p2, Line& line) {
    if (equivalent(p0, p1, epsilonTol))
        line = Line(p1, p2 - p1);
    else if (equivalent(p1, p2, epsilonTol))
        line = Line(p0, p1 - p0);
    else if (equivalent(p2, p0, epsilonTol))
        line = Line(p2, p2 - p1);
    else
        return false;
    return true;
}

// The last steps of sphereTriIntersect, for three corners that are apart.
bool sphereReachesTriangle(Sphere const& sphere, Point const& p0, Point const& p1,
                           Point const& p2) {
    Normal const x(p1 - p0);
    Normal const z = -Normal(cross(p1 - p0, p0 - p2));
    if (!z.valid)  // three corners on one line
        return reaches(sphere, Line(p0, p1));

    AffineMatrix toPlane;
    toPlane.setFrame(p0, x, cross(z, x), z);
    toPlane.invert();
    Point const c = sphere.center * toPlane;
    if (c.z * c.z > sphere.radius * sphere.radius)
        return false;

    Point const q0 = p0 * toPlane;
    Point const q1 = p1 * toPlane;
    Point const q2 = p2 * toPlane;
    bool const left0 = onLeft(q0, q1, c);
    bool const left1 = onLeft(q1, q2, c);
    bool const left2 = onLeft(q2, q0, c);
    if (left0 == left1 && left1 == left2)
        return true;
    // The odd one out. Beyond a corner that is the edge across, though a nearer one exists.
    if (left1 == left2)
        return reaches(sphere, Line(p0, p1));
    return reaches(sphere, left0 == left2 ? Line(p1, p2) : Line(p2, p0));
}

}  // namespace

bool intersects(BoundingBox const& box, Frustum const& frustum) {
    if (beyondOneFace(frustum, box))
        return false;
    return std::all_of(frustum.planes, frustum.planes + 6,
                       [&](Plane const& plane) { return reachesBelow(box, plane); });
}

bool intersects(BoundingBox const& box, Sphere const& sphere) {
    return sphere.radius >= box.distance(PointFlt(sphere.center));
}

bool intersects(BoundingBox const& box, float const* const v0, float const* const v1,
                float const* const v2) {
    return detail::BoxTriangleTest(v0, v1, v2).overlaps(box);
}

bool intersects(BoundingBox const& box, float const* const p0, float const* const p1) {
    float low[3], high[3], d[3];
    for (int axis = 0; axis < 3; ++axis) {
        float const lower = box.bounds[axis];
        float const upper = box.bounds[axis + 3];
        if ((p0[axis] < lower && p1[axis] < lower) || (p0[axis] > upper && p1[axis] > upper))
            return false;
        low[axis] = lower - p0[axis];
        high[axis] = upper - p0[axis];
        d[axis] = p1[axis] - p0[axis];
    }
    // On the axis at right angles to the segment and to the third coordinate the segment is the
    // point 0, which the box has to hold.
    static constexpr int pairs[3][2] = {{1, 2}, {0, 2}, {0, 1}};
    for (auto const [i, j] : pairs) {
        Interval const left = scaled(d[i], low[j], high[j]);
        Interval const right = scaled(d[j], low[i], high[i]);
        if (!(left.low - right.high <= 0.0f && left.high - right.low >= 0.0f))
            return false;
    }
    return true;
}

int intersects(BoundingBox const& box, Plane const& plane) {
    Vector const half(box.halfDiagonal());
    double const reach = std::abs(plane.normal.x) * half.x + std::abs(plane.normal.y) * half.y +
                         std::abs(plane.normal.z) * half.z;
    double const height = plane.eval(box.center());
    if (height - reach > 0.0)
        return 1;
    return height + reach < 0.0 ? -1 : 0;
}

bool contains(Frustum const& frustum, Point const& point) {
    return std::none_of(frustum.planes, frustum.planes + 6,
                        [&](Plane const& plane) { return plane.eval(point) > 0.0; });
}

bool contains(BoundingBox const& box, PointFlt const& point) {
    float const position[3] = {point.x, point.y, point.z};
    for (int axis = 0; axis < 3; ++axis)
        if (box.bounds[axis] > position[axis] || position[axis] > box.bounds[axis + 3])
            return false;
    return true;
}

void project(BoundingBox const& box, VectorFlt const& axis, float& low, float& high) {
    Interval const x = scaled(axis.x, box.bounds[0], box.bounds[3]);
    Interval const y = scaled(axis.y, box.bounds[1], box.bounds[4]);
    Interval const z = scaled(axis.z, box.bounds[2], box.bounds[5]);
    low = x.low + y.low + z.low;
    high = x.high + y.high + z.high;
}

bool pointFrustumIntersect(Point const& point, Frustum const& frustum) {
    return std::none_of(frustum.planes, frustum.planes + 6,
                        [&](Plane const& plane) { return isAbove(point, plane, epsilonTol); });
}

bool sphereTriIntersect(Sphere const& sphere, Point const& p0, Point const& p1, Point const& p2) {
    double const radius2 = sphere.radius * sphere.radius;
    double const d0 = distance2(sphere.center, p0);
    double const d1 = distance2(sphere.center, p1);
    double const d2 = distance2(sphere.center, p2);
    if (radius2 > d0 || radius2 > d1 || radius2 > d2)
        return true;
    if (d0 > distance2(p0, p1) && d1 > distance2(p1, p2) && d2 > distance2(p2, p0))
        return false;
    if (equivalent(p0, p1, epsilonTol) && equivalent(p1, p2, epsilonTol))
        return false;

    Line line;
    if (degenerateLine(p0, p1, p2, line))
        return reaches(sphere, line);
    return sphereReachesTriangle(sphere, p0, p1, p2);
}

}  // namespace koGeom
