#include "trimora/contract/koLinear/lines.h"

#include <algorithm>

namespace koLinear {

Point intersect(Line const& first, Line const& second, bool& success, double tolerance) {
    Vector const across = cross(first.direction, second.direction);
    double const sine2 = across.length2();
    success = sine2 >= tolerance && isNormalizable(sine2);
    if (!success)
        return first.origin;
    return first.eval(dot(cross(second.origin - first.origin, second.direction), across) / sine2);
}

Point intersect(Line const& line, Plane const& plane, bool& success, double tolerance) {
    double const cosine = dot(line.direction, plane.normal);
    success = cosine * cosine >= tolerance && isNormalizable(cosine * cosine);
    if (!success)
        return line.origin;
    return line.eval(-plane.eval(line.origin) / cosine);
}

Line intersect(Plane const& first, Plane const& second, bool& success) {
    Vector const along = cross(first.normal, second.normal);
    double const sine2 = along.length2();
    success = sine2 >= perpendicular2Tol && isNormalizable(sine2);
    if (!success)
        return {first.origin, Normal()};
    // From the first origin, within the first plane and at right angles to the line, to the second
    // plane: the way is along the second normal's part in the first plane, whose squared length is
    // the squared sine.
    Vector const way = cross(along, first.normal);
    Point const nearest = first.origin - (second.eval(first.origin) / sine2) * way;
    return {nearest, along};
}

int intersectCylinder(ParamLine const& line, Line const& axis, double radius, double* const roots) {
    double const length2 = line.direction.length2();
    if (!axis.isValid() || !isNormalizable(length2) || !(radius >= 0.0))
        return 0;

    // Seen along the axis the cylinder is a circle: all that runs along the axis falls away.
    Vector const across = project(line.direction, axis.direction);
    double const across2 = across.length2();
    if (!(across2 >= perpendicular2Tol * length2) || !isNormalizable(across2))
        return 0;

    Vector const offset = project(line.origin - axis.origin, axis.direction);
    double const nearest = -dot(offset, across) / across2;
    double const gap = (offset + nearest * across).length();
    if (std::abs(radius - gap) <= epsilonTol * radius) {
        roots[0] = nearest;
        return 1;
    }
    if (!(gap < radius))
        return 0;
    double const half = std::sqrt((radius - gap) * (radius + gap) / across2);
    roots[0] = nearest - half;
    roots[1] = nearest + half;
    return 2;
}

}  // namespace koLinear
