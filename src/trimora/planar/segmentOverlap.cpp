#include "trimora/planar/detail/segmentOverlap.h"

#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koLinear/tolerances.h"

#include <algorithm>
#include <cmath>

namespace koGeom::detail {

namespace {

Range1d const wholeSegment(0.0, 1.0);

Range1d rangeOf(double first, double second) {
    Range1d range;
    range.include(first);
    range.include(second);
    return range;
}

/// One end of a stretch: its fraction on a segment, and the point there.
struct End {
    double parameter = 0.0;
    Point point;

    void moveTo(ParamLine const& line, double to) {
        parameter = to;
        point = line.eval(to);
    }
    bool isAt(double place) const { return std::abs(parameter - place) <= epsilonTol; }
};

/// The two segments and their stretch, from index 0 to 1, as it is cut down and extended.
class Stretch {
public:
    Stretch(SegmentOfA const& a, Point const& q0, Point const& q1, double radius)
        : a_(a), q0_(q0), q1_(q1), lineB_(q0, q1), axis_(q0, q1), radius_(radius) {}

    bool find() { return axis_.isValid() && cutByCylinder() && projectOnB() && clipToB(); }
    /// Takes the points and distances at both ends, for all that follows.
    void measureEnds();
    void extendEnds();
    bool write(SegmentOverlap& overlap) const;

private:
    bool cutByCylinder();
    bool rangeInCylinder(Range1d& range) const;
    bool projectOnB();
    bool clipToB();
    bool clip(End& onA, End& onB, double const (&t)[2], double const (&u)[2]) const;
    void extendEnd(int side, double placeOnB, double lengthA, double lengthB);
    void extendTo(ParamLine const& line, End& moved, End const& other, double place, double span,
                  double gap) const;

    SegmentOfA const& a_;
    Point q0_;
    Point q1_;
    ParamLine lineB_;
    Line axis_;
    double radius_;
    End onA_[2];
    End onB_[2];
    double distance_[2] = {0.0, 0.0};
};

/// Where the infinite lines are near each other, in fractions of a.
bool Stretch::rangeInCylinder(Range1d& range) const {
    double roots[2];
    int const numRoots = intersectCylinder(a_.rule, axis_, radius_, roots);
    if (numRoots == 2) {
        range.set(roots[0] / a_.length, roots[1] / a_.length);
        return true;
    }
    // A line that misses the cylinder gives 0 roots as well as one parallel to it; but then no point
    // of the axis is within the radius.
    double const s0 = projectParam(q0_, a_.line);
    if (numRoots != 0 || distance(q0_, a_.line.eval(s0)) > radius_)
        return false;
    range = rangeOf(s0, projectParam(q1_, a_.line));
    return true;
}

bool Stretch::cutByCylinder() {
    Range1d range;
    if (!rangeInCylinder(range))
        return false;
    range = intersect(range, wholeSegment, epsilonTol);
    if (range.size() < epsilonTol)
        return false;
    onA_[0].moveTo(a_.line, range.lower);
    onA_[1].moveTo(a_.line, range.upper);
    return true;
}

bool Stretch::projectOnB() {
    onB_[0].parameter = projectParam(onA_[0].point, lineB_);
    onB_[1].parameter = projectParam(onA_[1].point, lineB_);
    Range1d const range = rangeOf(onB_[0].parameter, onB_[1].parameter);
    return range.intersects(wholeSegment, 0.0) && !(range.size() < epsilonTol);
}

/// Cuts off what lies beside b's ends, both ends in proportion to the stretch before.
bool Stretch::clipToB() {
    double const t[2] = {onA_[0].parameter, onA_[1].parameter};
    double const u[2] = {onB_[0].parameter, onB_[1].parameter};
    bool const isClipped0 = clip(onA_[0], onB_[0], t, u);
    bool const isClipped1 = clip(onA_[1], onB_[1], t, u);
    bool const isClipped = isClipped0 || isClipped1;
    return !(isClipped && std::abs(onA_[1].parameter - onA_[0].parameter) < epsilonTol);
}

bool Stretch::clip(End& onA, End& onB, double const (&t)[2], double const (&u)[2]) const {
    if (onB.parameter >= 0.0 && onB.parameter <= 1.0)
        return false;
    double const bound = onB.parameter < 0.0 ? 0.0 : 1.0;
    onB.parameter = bound;
    onA.parameter = (bound - u[0]) / (u[1] - u[0]) * (t[1] - t[0]) + t[0];
    return true;
}

void Stretch::measureEnds() {
    for (int side = 0; side < 2; ++side) {
        onA_[side].moveTo(a_.line, onA_[side].parameter);
        onB_[side].moveTo(lineB_, onB_[side].parameter);
        distance_[side] = distance(onA_[side].point, onB_[side].point);
    }
}

void Stretch::extendEnds() {
    double const lengthA = distance(onA_[0].point, onA_[1].point);
    double const lengthB = distance(onB_[0].point, onB_[1].point);
    bool const isForward = onB_[1].parameter > onB_[0].parameter;
    extendEnd(0, isForward ? 0.0 : 1.0, lengthA, lengthB);
    extendEnd(1, isForward ? 1.0 : 0.0, lengthA, lengthB);
}

/// Where just one of the segments is at its end, moves the other one there.
void Stretch::extendEnd(int side, double placeOnB, double lengthA, double lengthB) {
    double const placeOnA = side;
    double const gap = distance_[side];
    if (!(radius_ > gap))
        return;
    bool const isAtEndOfA = onA_[side].isAt(placeOnA);
    bool const isAtEndOfB = onB_[side].isAt(placeOnB);
    if (isAtEndOfB && !isAtEndOfA)
        extendTo(a_.line, onA_[side], onB_[side], placeOnA, lengthA, gap);
    if (isAtEndOfA && !isAtEndOfB)
        extendTo(lineB_, onB_[side], onA_[side], placeOnB, lengthB, gap);
}

/// Moves an end to its segment's end when that is near the other one, and the way is shorter than
/// the stretch and than the gap across.
void Stretch::extendTo(ParamLine const& line, End& moved, End const& other, double place,
                       double span, double gap) const {
    Point const target = line.eval(place);
    double const way = distance(moved.point, target);
    if (radius_ >= distance(other.point, target) && span > way && gap > way)
        moved.moveTo(line, place);
}

bool Stretch::write(SegmentOverlap& overlap) const {
    constexpr double lean = 1.1;  // a stretch may lean a little past the radius at its ends
    double const farthest = std::max(distance_[0], distance_[1]);
    if (!(radius_ * lean > farthest))
        return false;
    double const width = distance(onB_[0].point, onB_[1].point);
    overlap.t0 = onA_[0].parameter, overlap.t1 = onA_[1].parameter;
    overlap.u0 = onB_[0].parameter, overlap.u1 = onB_[1].parameter;
    overlap.area = (distance_[1] - distance_[0]) * 0.5 * width + width * distance_[0];
    overlap.maxDistance = farthest;
    return true;
}

}  // namespace

bool overlapSegments(SegmentOfA const& a, Point const& q0, Point const& q1, double radius,
                     bool mayExtendEnds, SegmentOverlap& overlap) {
    Stretch stretch(a, q0, q1, radius);
    if (!stretch.find())
        return false;
    stretch.measureEnds();
    if (mayExtendEnds)
        stretch.extendEnds();
    return stretch.write(overlap);
}

}  // namespace koGeom::detail
