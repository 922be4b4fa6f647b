#include "trimora/contract/koLinear/lines.h"

#include <algorithm>
#include <limits>

// Segments and rays of the plane meeting. One routine serves both: a ray is a stretch without end.
// Three cases, from the outside in: one of the two has no length; both lie along one line within
// the tolerance; all the rest, which cross or touch by an end.

namespace koLinear {

namespace {

// origin + t direction, t from 0 to `end`.
struct Stretch {
    Point2 origin;
    Vector2 direction;
    double end = 1.0;

    bool hasLength() const { return isNormalizable(direction.length2()); }
    Point2 eval(double t) const { return origin + t * direction; }
    // The parameter of the nearest point of the stretch.
    double project(Point2 const& p) const {
        double const squared = direction.length2();
        if (!isNormalizable(squared))
            return 0.0;
        return std::clamp(dot(p - origin, direction) / squared, 0.0, end);
    }
    // Distance to the whole line, which must have length.
    double distanceToLine(Point2 const& p) const {
        return std::abs(cross(direction, p - origin)) / direction.length();
    }
};

enum class Meeting { None, Point, Along };

struct Outcome {
    Meeting meeting = Meeting::None;
    double t = 0.0;
    double s = 0.0;
};

// The nearest of the ends to the other stretch, if it is near enough.
Outcome touch(Stretch const& a, Stretch const& b, double tolerance) {
    Outcome best;
    double bestDistance = std::numeric_limits<double>::infinity();
    auto const offer = [&](double t, double s) {
        double const gap = distance(a.eval(t), b.eval(s));
        if (gap <= tolerance && gap < bestDistance) {
            best = {Meeting::Point, t, s};
            bestDistance = gap;
        }
    };
    offer(0.0, b.project(a.origin));
    if (a.end == 1.0)
        offer(1.0, b.project(a.eval(1.0)));
    offer(a.project(b.origin), 0.0);
    offer(a.project(b.eval(1.0)), 1.0);
    return best;
}

// Whether the shorter of the two lies on the other's line within the tolerance, and leans against it by less than half a right angle:
// one of a few tolerances that stands across has no part in common with it.
bool alongOneLine(Stretch const& a, Stretch const& b, double tolerance) {
    bool const aIsShorter = a.end == 1.0 && a.direction.length2() < b.direction.length2();
    Stretch const& shorter = aIsShorter ? a : b;
    Stretch const& longer = aIsShorter ? b : a;
    double const along = dot(a.direction, b.direction);
    return longer.distanceToLine(shorter.origin) <= tolerance &&
           longer.distanceToLine(shorter.eval(1.0)) <= tolerance &&
           2.0 * along * along >= a.direction.length2() * b.direction.length2();
}

// The common part of two stretches of one line, as parameters of a: a stretch, a point or nothing.
Outcome overlap(Stretch const& a, Stretch const& b, double tolerance) {
    double const squared = a.direction.length2();
    double const length = std::sqrt(squared);
    double const t0 = dot(b.origin - a.origin, a.direction) / squared;
    double const t1 = dot(b.eval(1.0) - a.origin, a.direction) / squared;
    double const lower = std::max(0.0, std::min(t0, t1));
    double const upper = std::min(a.end, std::max(t0, t1));
    if (!((lower - upper) * length <= tolerance))
        return {};

    double const t = std::min(lower, a.end);
    bool const unique = !((upper - lower) * length > tolerance);
    return {unique ? Meeting::Point : Meeting::Along, t, b.project(a.eval(t))};
}

Outcome meet(Stretch const& a, Stretch const& b, double tolerance) {
    if (!a.hasLength() || !b.hasLength())
        return touch(a, b, tolerance);
    if (alongOneLine(a, b, tolerance))
        return overlap(a, b, tolerance);

    double const turn = cross(a.direction, b.direction);
    Vector2 const between = b.origin - a.origin;
    double const t = cross(between, b.direction) / turn;
    double const s = cross(between, a.direction) / turn;
    if (t >= 0.0 && t <= a.end && s >= 0.0 && s <= 1.0)
        return {Meeting::Point, t, s};
    return touch(a, b, tolerance);
}

}  // namespace

bool doLineSegmentsIntersect(Point2 const& a0, Point2 const& a1, Point2 const& b0, Point2 const& b1,
                             double& t, Point2& point, bool& unique, double tolerance) {
    Stretch const a{a0, a1 - a0};
    Outcome const outcome = meet(a, {b0, b1 - b0}, tolerance);
    unique = outcome.meeting != Meeting::Along;
    if (outcome.meeting == Meeting::None)
        return false;
    t = outcome.t;
    point = t == 1.0 ? a1 : a.eval(t);
    return true;
}

bool doesRayIntersectLineSegment(Point2 const& origin, Vector2 const& direction, Point2 const& p0,
                                 Point2 const& p1, double& t, double& s, bool& unique,
                                 double tolerance) {
    Stretch const ray{origin, direction, std::numeric_limits<double>::infinity()};
    unique = true;
    if (!ray.hasLength())
        return false;
    Outcome const outcome = meet(ray, {p0, p1 - p0}, tolerance);
    unique = outcome.meeting != Meeting::Along;
    if (outcome.meeting == Meeting::None)
        return false;
    t = outcome.t;
    s = outcome.s;
    return true;
}

}  // namespace koLinear
