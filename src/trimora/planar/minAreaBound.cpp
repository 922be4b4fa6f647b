#include "trimora/planar/minAreaBound.h"

#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/planar/convexHull2d.h"

#include <cmath>
#include <limits>
#include <utility>

/// Rotating calipers: the hull between two pairs of parallel lines, one along an edge. From edge to edge all four
/// touching points move on counterclockwise and never back, so that one way round the hull finds all rectangles on edges.
///
/// The rectangle gets its order of corners, then two steps that the callers rely on as they are: squares are moved by half
/// a side, and the margin is added in a frame of unit axes (decision 0104).
namespace koGeom {

namespace {

constexpr float largestFloat = std::numeric_limits<float>::max();

/// How far the hull reaches along one direction.
struct Extent {
    Point2 origin;
    Vector2 direction;  // unit length
    double lower = 0.0;
    double upper = 0.0;
    std::size_t lowerIndex = 0;  // of the corners that are touched
    std::size_t upperIndex = 0;

    double parameter(Point const& p) const { return dot(Point2(p.x, p.y) - origin, direction); }
    Vector2 span() const { return (upper - lower) * direction; }
};

class Caliper {
public:
    /// The hull must outlive the caliper, which starts without a direction.
    explicit Caliper(ko::vector<Point> const& hull) : hull_(&hull) {}

    /// Goes to the rectangle on an edge. Where the edge has no direction in doubles, nothing changes.
    void moveTo(std::size_t edge);
    bool hasDirection() const { return hasDirection_; }
    double area() const { return std::abs(cross(along_.span(), across_.span())); }
    Rect2 rectangle() const;

private:
    std::size_t following(std::size_t i) const { return i + 1 < hull_->size() ? i + 1 : 0; }
    void measure(Extent& extent) const;
    void walk(Extent& extent) const;

    ko::vector<Point> const* hull_;
    bool hasDirection_ = false;
    Extent along_;
    Extent across_;  // counterclockwise of the edge, where the hull is
};

void Caliper::moveTo(std::size_t edge) {
    Point const& start = (*hull_)[edge];
    Point const& end = (*hull_)[following(edge)];
    Vector2 direction(end.x - start.x, end.y - start.y);
    if (!direction.normalize())
        return;
    along_.origin = across_.origin = Point2(start.x, start.y);
    along_.direction = direction;
    across_.direction = Vector2(-direction.y, direction.x);
    for (Extent* const extent : {&along_, &across_}) {
        if (hasDirection_)
            walk(*extent);
        else
            measure(*extent);
    }
    hasDirection_ = true;
}

/// Looks at all corners; the first of equal extremes counts.
void Caliper::measure(Extent& extent) const {
    extent.lower = extent.upper = extent.parameter(hull_->front());
    for (std::size_t i = 1; i < hull_->size(); ++i) {
        double const parameter = extent.parameter((*hull_)[i]);
        if (parameter < extent.lower)
            extent.lower = parameter, extent.lowerIndex = i;
        if (parameter > extent.upper)
            extent.upper = parameter, extent.upperIndex = i;
    }
}

/// Follows the hull from the corners touched before while that leads strictly farther.
void Caliper::walk(Extent& extent) const {
    ko::vector<Point> const& hull = *hull_;
    auto const follow = [&](std::size_t& index, double& reached, auto isFarther) {
        reached = extent.parameter(hull[index]);
        for (;;) {
            double const parameter = extent.parameter(hull[following(index)]);
            if (!isFarther(parameter, reached))
                return;
            reached = parameter;
            index = following(index);
        }
    };
    follow(extent.lowerIndex, extent.lower, [](double a, double b) { return a < b; });
    follow(extent.upperIndex, extent.upper, [](double a, double b) { return a > b; });
}

/// Whether the side to a corner of a loop, seen from there, leads more along x than that to another.
bool leadsMoreAlongX(Point2 const (&loop)[4], int a, int b) {
    auto const alongX = [&](int corner) {
        Vector2 side = loop[(corner + 3) % 4] - loop[corner];
        return side.normalize() ? side.x : 0.0;
    };
    return alongX(a) > alongX(b);
}

/// The leftmost and the lowest corner are those that p0 is chosen from; the first of equals is meant.
int startCorner(Point2 const (&loop)[4]) {
    int leftmost = 0;
    int lowest = 0;
    for (int i = 1; i < 4; ++i) {
        if (loop[i].x < loop[leftmost].x)
            leftmost = i;
        if (loop[i].y < loop[lowest].y)
            lowest = i;
    }
    return leftmost != lowest && leadsMoreAlongX(loop, leftmost, lowest) ? leftmost : lowest;
}

Rect2 Caliper::rectangle() const {
    Point2 const start = along_.origin + along_.lower * along_.direction;
    Point2 const end = along_.origin + along_.upper * along_.direction;
    Vector2 const up = across_.span();
    Point2 const loop[4] = {start, start + up, end + up, end};  // clockwise

    int const s = startCorner(loop);
    return {loop[s], loop[(s + 3) % 4], loop[(s + 1) % 4], loop[(s + 2) % 4]};
}

/// Tries the rectangles on all edges of a hull of three or more corners. Returns false when none has a direction.
bool boundHull(ko::vector<Point> const& hull, Rect2& rect, float& anisotropy) {
    Caliper caliper(hull);
    Caliper best = caliper;
    double leastArea = 0.0;
    double largestArea = 0.0;
    for (std::size_t edge = 0; edge < hull.size(); ++edge) {
        caliper.moveTo(edge);
        if (!caliper.hasDirection())
            continue;
        double const area = caliper.area();
        bool const isFirst = !best.hasDirection();
        if (isFirst || area > largestArea)
            largestArea = area;
        if (isFirst || leastArea > area)
            leastArea = area, best = caliper;
    }
    if (!best.hasDirection())
        return false;
    double const ratio = largestArea / leastArea;
    anisotropy = ratio <= double(largestFloat) ? static_cast<float>(ratio) : largestFloat;
    rect = best.rectangle();
    return true;
}

/// The rectangle of two corners. Comparing a height with a place on x is meant: callers know the order that comes of it.
void boundSegment(Point const& first, Point const& second, Rect2& rect, float& anisotropy) {
    Point2 start(first.x, first.y);
    Point2 end(second.x, second.y);
    if (!(second.y > first.x))
        std::swap(start, end);
    rect = {start, end, start, end};
    anisotropy = largestFloat;
}

bool bound(ko::vector<Point> const& hull, Rect2& rect, float& anisotropy) {
    if (hull.empty())
        return false;
    if (hull.size() > 2)
        return boundHull(hull, rect, anisotropy);
    if (hull.size() == 2) {
        boundSegment(hull[0], hull[1], rect, anisotropy);
        return true;
    }
    Point2 const point(hull[0].x, hull[0].y);
    rect = {point, point, point, point};
    anisotropy = 1.0f;
    return true;
}

/// Moves each corner outward, along both axes of the plane.
void moveCorners(Rect2& rect, double by) {
    rect.p0 = rect.p0 + Vector2(-by, -by);
    rect.p1 = rect.p1 + Vector2(by, -by);
    rect.p3 = rect.p3 + Vector2(by, by);
    rect.p2 = rect.p2 + Vector2(-by, by);
}

/// Moves the corners of a square by half a side. They are moved from where they are, not from the centre: the
/// outcome is larger than the square it came from. Callers know it so.
void growSquare(Rect2& rect) {
    constexpr double tolerance = 1e-6;  // a length, whatever the unit
    double const sides[4] = {distance(rect.p0, rect.p1), distance(rect.p1, rect.p3),
                             distance(rect.p3, rect.p2), distance(rect.p2, rect.p0)};
    double const mean = (sides[0] + sides[1] + sides[2] + sides[3]) / 4.0;
    for (double const side : sides)
        if (!(std::abs(side - mean) <= tolerance))
            return;
    moveCorners(rect, mean / 2.0);
}

/// The frame of unit axes at p0 along the sides, for a rectangle with at least one side of length.
AffineMatrix2 frameOf(Rect2 const& rect, bool hasNoWidth) {
    Vector2 xAxis = rect.p1 - rect.p0;
    Vector2 yAxis = rect.p2 - rect.p0;
    if (hasNoWidth) {
        yAxis.normalize();
        xAxis = Vector2(yAxis.y, -yAxis.x);
    } else {
        xAxis.normalize();
        yAxis = Vector2(-xAxis.y, xAxis.x);
    }
    AffineMatrix2 frame;
    frame.setFrame(rect.p0, xAxis, yAxis);
    return frame;
}

void addMargin(Rect2& rect, double margin) {
    if (margin == 0.0)
        return;
    bool const hasNoWidth = equivalent(rect.p0, rect.p1, epsilonTol);
    bool const hasNoHeight = equivalent(rect.p2, rect.p0, epsilonTol);
    if (hasNoWidth && hasNoHeight) {
        moveCorners(rect, margin);
        return;
    }
    AffineMatrix2 const frame = frameOf(rect, hasNoWidth);
    AffineMatrix2 const toFrame = frame.inverse();
    Point2* const corners[4] = {&rect.p0, &rect.p1, &rect.p2, &rect.p3};
    for (Point2* const corner : corners)
        *corner = *corner * toFrame;
    moveCorners(rect, margin);
    for (Point2* const corner : corners)
        *corner = *corner * frame;
}

template <typename AnyPolyline>
void boundPolylines(ko::vector<AnyPolyline const*> const& polylines, double margin, Rect2& rect,
                    float& anisotropy) {
    ko::vector<Point> hull;
    if (!convexHull2d(polylines, hull) || !bound(hull, rect, anisotropy)) {
        anisotropy = 0.0f;
        return;
    }
    growSquare(rect);
    addMargin(rect, margin);
}

}  // namespace

void minAreaBound(ko::vector<Polyline const*> const& polylines, double margin, Rect2& rect,
                  float& anisotropy) {
    boundPolylines(polylines, margin, rect, anisotropy);
}

void minAreaBound(ko::vector<Polyline2d const*> const& polylines, double margin, Rect2& rect,
                  float& anisotropy) {
    boundPolylines(polylines, margin, rect, anisotropy);
}

}  // namespace koGeom
