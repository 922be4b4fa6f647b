#pragma once

#include "trimora/contract/koLinear/vectors.h"

/// Lines and planes, and where they meet. Degenerate input is told by the flags and results named;
/// nothing here throws.
namespace koLinear {

/// A line that runs from its origin through `direction` to the end point, parameter 0 to 1.
struct ParamLine {
    Point origin;
    Vector direction;

    constexpr ParamLine() = default;
    constexpr ParamLine(Point const& start, Point const& end)
        : origin(start), direction(end - start) {}
    /// Parameter 1 lies at start + along; a unit vector makes the parameter a length.
    constexpr ParamLine(Point const& start, Vector const& along)
        : origin(start), direction(along) {}
    constexpr Point eval(double t) const { return origin + t * direction; }
    /// The parameter of the point of the stretch lower..upper that is nearest to p.
    double projectBounded(Point const& p, double lower, double upper) const;
};

/// A line with a unit direction: its parameter is a length.
struct Line {
    Point origin;
    Normal direction;

    constexpr Line() = default;
    constexpr Line(Point const& start, Normal const& along) : origin(start), direction(along) {}
    Line(Point const& start, Vector const& along) : origin(start), direction(along) {}
    /// From one point through another.
    Line(Point const& start, Point const& end) : origin(start), direction(end - start) {}
    explicit Line(ParamLine const& line) : origin(line.origin), direction(line.direction) {}
    constexpr Point eval(double t) const { return origin + t * Vector(direction); }
    /// False when the line was made without a direction.
    constexpr bool isValid() const { return direction.valid; }
};

/// A plane through a point, with the side that its normal points to called above.
struct Plane {
    Point origin;
    Normal normal;

    constexpr Plane() = default;
    constexpr Plane(Point const& point, Normal const& up) : origin(point), normal(up) {}
    /// The signed distance: above 0 on the side of the normal.
    constexpr double eval(Point const& p) const { return dot(normal, p - origin); }
    /// The constant of the plane's equation normal . p + d = 0.
    constexpr double calculateD() const { return -dot(normal, origin.asVector()); }
    constexpr bool isValid() const { return normal.valid; }
};

/// A plane with coordinates: origin + u uAxis + v vAxis.
struct ParamPlane {
    Point origin;
    Normal normal;
    Normal uAxis;
    Normal vAxis;

    constexpr Point eval(double u, double v) const {
        return origin + u * Vector(uAxis) + v * Vector(vAxis);
    }
};

/// True when the point lies higher above the plane than the tolerance.
constexpr bool isAbove(Point const& p, Plane const& plane, double tolerance) {
    return plane.eval(p) > tolerance;
}

/// A length from the line's origin; 0 on a line without direction.
constexpr double projectParam(Point const& p, Line const& line) {
    return dot(p - line.origin, line.direction);
}
/// A fraction of the line's direction; 0 on a line without length.
constexpr double projectParam(Point const& p, ParamLine const& line) {
    double const squared = line.direction.length2();
    return isNormalizable(squared) ? dot(p - line.origin, line.direction) / squared : 0.0;
}

/// The nearest point of the line; its origin when it has no direction.
constexpr Point project(Point const& p, Line const& line) {
    return line.eval(projectParam(p, line));
}
/// The nearest point of the line, and its parameter.
constexpr Point project(Point const& p, ParamLine const& line, double& param) {
    param = projectParam(p, line);
    return line.eval(param);
}

inline double ParamLine::projectBounded(Point const& p, double lower, double upper) const {
    double const t = projectParam(p, *this);
    return t > lower ? (t < upper ? t : upper) : lower;
}

/// The distance to the line; to its origin when it has no direction.
inline double distance(Point const& p, Line const& line) {
    return distance(p, project(p, line));
}
/// Not negative.
inline double distance(Point const& p, Plane const& plane) {
    return std::abs(plane.eval(p));
}

/// The point of the first line that is closest to the second. `success` is false when the lines are
/// parallel, that is when the squared sine between them is below `tolerance` or one has no
/// direction; the result is the first line's origin then.
TRIMORA_API Point intersect(Line const& first, Line const& second, bool& success, double tolerance);

/// Where the line pierces the plane. `success` is false when the squared cosine between direction
/// and normal is below `tolerance` or one of them is invalid; the result is the line's origin then.
TRIMORA_API Point intersect(Line const& line, Plane const& plane, bool& success, double tolerance);

/// The line that two planes share: unit direction along cross(first, second), origin at its point
/// nearest to the first plane's origin. `success` is false when the squared sine between the
/// normals is below `perpendicular2Tol`; the result is a line without direction at the first origin
/// then.
TRIMORA_API Line intersect(Plane const& first, Plane const& second, bool& success);

/// Where a line cuts an infinite cylinder.
///
/// roots      out: room for two parameters of `line`, ascending; only the counted ones are written
/// returns    2 for a cut, 1 for a tangent (the line passes at the radius, within `epsilonTol`
///            times it), 0 for a miss and for a line parallel to the axis (squared sine below
///            `perpendicular2Tol`), without length, or an axis without direction
TRIMORA_API int intersectCylinder(ParamLine const& line, Line const& axis, double radius,
                                  double* const roots);

/// Whether the segments a0-a1 and b0-b1 of the plane meet.
///
/// tolerance  a length: an end that comes this near to the other segment touches it, which is a hit
/// t          out, on a hit: fraction of the way from a0 to a1, within 0 to 1
/// point      out, on a hit: the point there
/// unique     out: false when the segments run along each other for more than the tolerance; t and
///            point are then the first point of the common stretch, going from a0 to a1
TRIMORA_API bool doLineSegmentsIntersect(Point2 const& a0, Point2 const& a1, Point2 const& b0,
                                         Point2 const& b1, double& t, Point2& point, bool& unique,
                                         double tolerance);

/// Whether the ray from `origin` along `direction` meets the segment p0-p1 of the plane.
///
/// tolerance  a length, as above; a ray without direction meets nothing
/// t          out, on a hit: parameter on the ray in units of `direction`, not negative
/// s          out, on a hit: fraction of the way from p0 to p1, within 0 to 1
/// unique     out: false when the ray runs along the segment for more than the tolerance; t and s
///            are then those of the first point of the common stretch, going along the ray
TRIMORA_API bool doesRayIntersectLineSegment(Point2 const& origin, Vector2 const& direction,
                                             Point2 const& p0, Point2 const& p1, double& t,
                                             double& s, bool& unique, double tolerance);

}  // namespace koLinear
