#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/planar/detail/Outline.h"

#include <algorithm>
#include <cmath>

// Polygons against polygons. The walk goes along one polygon while it is inside of the other one and changes over to the
// other where it comes out:
//
//               q3 -------------- q2         walked: p1 p2 x  (q3) q0  y
//               |                 |          x, y: crossings. Changing over at x goes back to q3, the start of
//      p3 ----- x ----- p2        |          the edge of the other polygon there, so that x is met a second time.
//      |        |       |         |
//      |        q0 ---- y ------- q1
//      |                |
//      p0 ------------- p1
//
// Both must be wound alike, else changing over leads outside; of a pair that is not, the second one is walked backward.

namespace koGeom {

namespace {

using detail::Outline;
using detail::relationTo;
using detail::stepTolerance;

class BoundaryWalk {
public:
    BoundaryWalk(Outline const& first, Outline const& second, double tolerance)
        : walked_(&first),
          other_(&second),
          tolerance_(tolerance),
          placeTolerance_(std::max(stepTolerance, 1e-12 * largestCoordinate(first, second))) {}

    /// The corners in the order of the walk, which ends where it began if it came back there.
    Polyline2d run() {
        std::size_t const maxSteps = walked_->numEdges() + other_->numEdges();
        goTo(0);
        if (isIn(currentRelation_))
            corners_.appendVertex(current_);
        for (std::size_t i = 0; i < maxSteps && !isBack(); ++i)
            step();
        return corners_;
    }

private:
    static bool isIn(pointPolygonRelation relation) { return relation != pointOutside; }

    static double largestCoordinate(Outline const& first, Outline const& second) {
        double largest = 0.0;
        for (Range2d const& box : {first.box, second.box})
            for (double const each : {box.lower.x, box.lower.y, box.upper.x, box.upper.y})
                largest = std::max(largest, std::abs(each));
        return largest;
    }

    // A crossing is met once on each polygon, and comes out the same but for rounding. Corners that lie that close to the
    // start count once the walk has been well away from it: edges may be as short.
    bool isBack() {
        constexpr double away = 16.0;
        bool isAtStart = false;
        for (; numSeen_ < corners_.getNumVertices(); ++numSeen_) {
            Point2 const& corner = corners_.getVertex(numSeen_);
            isAtStart = isOnePlace(corner, corners_.getFirstVertex());
            wasAway_ |= !equivalent(corner, corners_.getFirstVertex(), away * placeTolerance_);
        }
        return corners_.getClosed() || (isAtStart && wasAway_ && numSeen_ > 3);
    }
    bool isOnePlace(Point2 const& p, Point2 const& q) const {
        return equivalent(p, q, placeTolerance_);
    }

    void step() {
        nextRelation_ = relationTo(*other_, next(), tolerance_);
        if (isIn(currentRelation_) && isIn(nextRelation_)) {
            corners_.appendVertex(next());
            advance();
            return;
        }
        meetOther();
        if (isIn(currentRelation_))
            leave();
        else if (isIn(nextRelation_))
            enter();
        else
            passThrough();
    }

    // From inside to outside. Where the segment meets nothing, or too much to tell, the walk stays on its polygon.
    void leave() {
        if (status_ == segmentCrossing || status_ == segmentTouching) {
            appendCrossings();
            changeOver(edgeOf(parameters_.back()));
        } else if (status_ == segmentAlongEdge) {
            std::size_t const corner = edgeOf(parameters_.front() + 1.0);
            appendOther(corner);
            changeOver(corner);
        } else {
            advance();
        }
    }

    // From outside to inside.
    void enter() {
        if (status_ == segmentCrossing || status_ == segmentTouching)
            appendCrossings();
        else if (status_ == segmentAlongEdge)
            appendOther(edgeOf(parameters_.front()));
        corners_.appendVertex(next());
        advance();
    }

    // Both ends outside: in at one side and out at another, or along an edge, or past a corner.
    void passThrough() {
        if (status_ == segmentCrossing || status_ == segmentTouching) {
            appendCrossings();
            changeOver(edgeOf(parameters_.back()));
        } else if (status_ == segmentAlongEdge) {
            std::size_t const edge = edgeOf(parameters_.front());
            appendOther(edge);
            appendOther(edge + 1);
            changeOver(edge + 1);
        } else {
            advance();
        }
    }

    // Sorts two common points by their distance along the way. One at a corner counts for the edge that begins there,
    // even if rounding puts it at the end of the edge before.
    void meetOther() {
        detail::meetSegment(current_, next(), *other_, status_, points_, parameters_,
                            stepTolerance);
        for (std::size_t i = 0; i < points_.size(); ++i) {
            std::size_t const end = edgeOf(parameters_[i]) + 1;
            if (end <= other_->numEdges() && isOnePlace(points_[i], other_->points[end]))
                parameters_[i] = static_cast<double>(end);
        }
        if (points_.size() == 2 &&
            distance2(points_[1], current_) < distance2(points_[0], current_)) {
            std::swap(points_[0], points_[1]);
            std::swap(parameters_[0], parameters_[1]);
        }
    }

    static std::size_t edgeOf(double parameter) { return static_cast<std::size_t>(parameter); }

    void appendCrossings() {
        for (Point2 const& point : points_)
            corners_.appendVertex(point);
    }

    void appendOther(std::size_t corner) {
        std::size_t const last = other_->numEdges();
        corners_.appendVertex(other_->points[corner > last ? corner - last : corner]);
    }

    Point2 const& next() const { return walked_->points[nextIndex_]; }

    void advance() {
        current_ = next();
        currentRelation_ = nextRelation_;
        nextIndex_ = nextIndex_ == walked_->numEdges() ? 1 : nextIndex_ + 1;
    }

    // To the start of an edge of the other polygon, on which the walk goes on.
    void changeOver(std::size_t edge) {
        std::swap(walked_, other_);
        goTo(edge % walked_->numEdges());
    }

    void goTo(std::size_t edge) {
        current_ = walked_->points[edge];
        nextIndex_ = edge + 1;
        currentRelation_ = relationTo(*other_, current_, tolerance_);
    }

    Outline const* walked_;
    Outline const* other_;
    double tolerance_;       // for the vertices that are met
    double placeTolerance_;  // for being one place
    Polyline2d corners_;
    int numSeen_ = 0;  // of the corners
    bool wasAway_ = false;

    Point2 current_;
    std::size_t nextIndex_ = 1;  // in walked_
    pointPolygonRelation currentRelation_ = pointOutside;
    pointPolygonRelation nextRelation_ = pointOutside;

    ELineSegmentPolygonIntersection status_ = segmentUndetermined;  // of the last meetOther
    ko::vector<Point2> points_;
    ko::vector<double> parameters_;
};

bool isValid(Polyline2d const& polygon) {
    return polygon.getNumVertices() >= 4 && polygon.getClosed() &&
           polygon.getBoundingBox().area() > 0.0;
}

bool isWithin(Outline const& inner, Outline const& outer) {
    return std::all_of(inner.points.begin(), inner.points.end(), [&](Point2 const& point) {
        return relationTo(outer, point, stepTolerance) != pointOutside;
    });
}

Polyline2d walk(Outline const& first, Outline const& second, double tolerance) {
    if (first.area() * second.area() >= 0.0)
        return BoundaryWalk(first, second, tolerance).run();
    Outline turned = second;
    std::reverse(turned.points.begin(), turned.points.end());
    return BoundaryWalk(first, turned, tolerance).run();
}

}  // namespace

void intersectPolygons(Polyline2d const& first, Polyline2d const& second,
                       EPolygonsIntersection& status, Polyline2d& result, double tolerance) {
    Polyline2d common;
    if (!isValid(first) || !isValid(second)) {
        status = polygonsInvalid;
        result.swap(common);
        return;
    }

    Outline const firstOutline(first);
    Outline const secondOutline(second);
    Polyline2d corners = walk(firstOutline, secondOutline, tolerance);
    bool const firstInside = isWithin(firstOutline, secondOutline);
    bool const secondInside = isWithin(secondOutline, firstOutline);
    if (firstInside) {
        status = secondInside ? polygonsEqual : polygonsFirstInSecond;
        common = first;
    } else if (secondInside) {
        status = polygonsSecondInFirst;
        common = second;
    } else if (corners.getNumVertices() >= 3) {
        status = polygonsOverlapping;
        if (!corners.getClosed())
            corners.appendVertex(Point2(corners.getFirstVertex()));
        common.swap(corners);
    } else {
        status = polygonsDisjoint;
    }
    result.swap(common);
}

}  // namespace koGeom
