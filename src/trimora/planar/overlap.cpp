#include "trimora/planar/overlap.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/planar/PolylineBBoxCache.h"
#include "trimora/planar/detail/OverlapTrack.h"
#include "trimora/planar/detail/segmentOverlap.h"

#include <algorithm>
#include <cassert>
#include <utility>

/// A search in three levels: two segments (segmentOverlap.cpp); a segment of the first polyline against all of the
/// second one, which gives at most one piece; and the pieces joined along the first one. The two upper levels keep
/// the longest track in the same way (OverlapTrack.cpp).
///
/// Segments of the second polyline are visited in their order, as joining depends on it; a tree over their boxes leaps over those that
/// lie far away.
namespace koGeom {

namespace {

using detail::LongestTrack;
using detail::OverlapPiece;
using detail::OverlapTrack;

/// Boxes of consecutive segments, of eight such groups, and so on up to one.
class BoxTree {
public:
    /// The boxes are not copied.
    explicit BoxTree(ko::vector<Range3d> const& boxes, int count);

    int size() const { return count_; }
    /// The first segment from k on whose box meets the given one within the tolerance; the count when there is none.
    int next(int k, Range3d const& box, double tolerance) const;

private:
    static constexpr int groupSize = 8;

    Range3d const& boxAt(std::size_t level, int i) const {
        return level == 0 ? segments_[i] : groups_[level - 1][static_cast<std::size_t>(i)];
    }
    int sizeOf(std::size_t level) const {
        return level == 0 ? count_ : static_cast<int>(groups_[level - 1].size());
    }

    Range3d const* segments_;
    int count_;
    ko::vector<ko::vector<Range3d>> groups_;
};

BoxTree::BoxTree(ko::vector<Range3d> const& boxes, int count)
    : segments_(boxes.data()), count_(count) {
    for (std::size_t level = 0; sizeOf(level) > 1; ++level) {
        int const size = sizeOf(level);
        ko::vector<Range3d> groups(static_cast<std::size_t>((size - 1) / groupSize) + 1);
        for (int i = 0; i < size; ++i)
            groups[static_cast<std::size_t>(i / groupSize)].include(boxAt(level, i));
        groups_.push_back(std::move(groups));
    }
}

int BoxTree::next(int k, Range3d const& box, double tolerance) const {
    std::size_t level = 0;
    int i = k;
    auto const climb = [&] {
        for (; i % groupSize == 0 && level < groups_.size(); ++level)
            i /= groupSize;
    };
    climb();
    while (i < sizeOf(level)) {
        if (boxAt(level, i).intersects(box, tolerance)) {
            if (level == 0)
                return i;
            --level;
            i *= groupSize;
            continue;
        }
        ++i;
        climb();
    }
    return count_;
}

/// One segment of a: its ends with their parameters, and whether it is the first or the last.
struct SegmentAlongA {
    Polyline::vertex const& start;
    Polyline::vertex const& end;
    bool isAtEnd;
};

double interpolate(double from, double to, double fraction) {
    return (1.0 - fraction) * from + fraction * to;  // exact at both ends
}

class OverlapAlg {
public:
    OverlapAlg(Polyline const& b, ko::vector<Range3d> const& boxes, double tolerance,
               bool sameDirectionOnly)
        : b_(b),
          numSegments_(std::max(b.getNumVertices() - 1, 0)),
          tree_(boxes, std::min(numSegments_, static_cast<int>(boxes.size()))),
          tolerance_(tolerance),
          sameDirectionOnly_(sameDirectionOnly),
          emptyLocal_(b, sameDirectionOnly, false) {}

    /// Finds the longest track along a.
    LongestTrack run(Polyline const& a) const;

private:
    bool findPiece(SegmentAlongA const& segment, OverlapPiece& piece) const;

    Polyline const& b_;
    int numSegments_;
    BoxTree tree_;
    double tolerance_;
    bool sameDirectionOnly_;
    OverlapTrack emptyLocal_;
};

LongestTrack OverlapAlg::run(Polyline const& a) const {
    LongestTrack tracks(OverlapTrack(b_, sameDirectionOnly_, true));
    int const last = a.getNumVertices() - 2;
    for (int i = 0; i <= last; ++i) {
        OverlapPiece piece;
        bool const isHit =
            findPiece({a.getVertex(i), a.getVertex(i + 1), i == 0 || i == last}, piece);
        tracks.merge(isHit ? &piece : nullptr);
    }
    tracks.finish();
    return tracks;
}

/// The longest track along one segment of a, as one piece.
bool OverlapAlg::findPiece(SegmentAlongA const& segment, OverlapPiece& piece) const {
    Range3d box;
    box.set(segment.start);
    box.include(segment.end);
    detail::SegmentOfA const onA(segment.start, segment.end);
    if (!box.intersects(b_.getBoundingBox(), tolerance_) || onA.length < epsilonTol)
        return false;

    LongestTrack tracks(emptyLocal_);
    for (int k = tree_.next(0, box, tolerance_); k < tree_.size();
         k = tree_.next(k + 1, box, tolerance_)) {
        Polyline::vertex const& q0 = b_.getVertex(k);
        Polyline::vertex const& q1 = b_.getVertex(k + 1);
        bool const mayExtendEnds = segment.isAtEnd || k == 0 || k == numSegments_ - 1;
        detail::SegmentOverlap found;
        bool const isHit =
            detail::overlapSegments(onA, q0, q1, tolerance_ - epsilonTol, mayExtendEnds, found);
        OverlapPiece const next{
            interpolate(segment.start.parameter, segment.end.parameter, found.t0),
            interpolate(segment.start.parameter, segment.end.parameter, found.t1),
            interpolate(q0.parameter, q1.parameter, found.u0),
            interpolate(q0.parameter, q1.parameter, found.u1),
            found.area,
            found.maxDistance};
        tracks.merge(isHit ? &next : nullptr);
    }
    tracks.finish();

    OverlapTrack const& best = tracks.best();
    if (best.isEmpty())
        return false;
    bool const forward = best.forward;
    piece = {best.rangeA.lower,
             best.rangeA.upper,
             forward ? best.rangeB.lower : best.rangeB.upper,
             forward ? best.rangeB.upper : best.rangeB.lower,
             best.area,
             best.maxDistance};
    return true;
}

/// Moves the bounds that lie near the ends of a polyline there.
void snapToEnds(Range1d& range, Polyline const& polyline, double endTolerance) {
    Range1d const domain = polyline.getDomain();
    if (distance(polyline.eval(range.lower), polyline.eval(domain.lower)) < endTolerance)
        range.lower = domain.lower;
    if (distance(polyline.eval(range.upper), polyline.eval(domain.upper)) < endTolerance)
        range.upper = domain.upper;
}

}  // namespace

bool overlap(Polyline const& a, Polyline const& b, PolylineBBoxCache& cacheOfB, double tolerance,
             double endTolerance, bool sameDirectionOnly, Range1d& rangeA, Range1d& rangeB,
             double& area, double& maxDistance, double& length, bool& reversed) {
    assert(cacheOfB.polyline == nullptr || cacheOfB.polyline == &b);
    assert(cacheOfB.boxes.empty() ||
           cacheOfB.boxes.size() + 1 == static_cast<std::size_t>(b.getNumVertices()));
    if (!a.getBoundingBox().intersects(b.getBoundingBox(), tolerance))
        return false;

    cacheOfB.getSegmentBBox(0);  // builds the boxes
    OverlapAlg const alg(b, cacheOfB.boxes, tolerance, sameDirectionOnly);
    LongestTrack tracks = alg.run(a);
    if (!(tracks.bestLength() > 0.0))
        return false;

    OverlapTrack& best = tracks.best();
    snapToEnds(best.rangeA, a, endTolerance);
    snapToEnds(best.rangeB, b, endTolerance);
    rangeA = best.rangeA;
    rangeB = best.rangeB;
    area = best.area;
    maxDistance = best.maxDistance;
    length = tracks.bestLength();
    reversed = !best.forward;
    return true;
}

bool overlap(Polyline const& a, Polyline const& b, double tolerance, double endTolerance,
             bool sameDirectionOnly, Range1d& rangeA, Range1d& rangeB, double& area,
             double& maxDistance, double& length, bool& reversed) {
    PolylineBBoxCache cache(b);
    return overlap(a, b, cache, tolerance, endTolerance, sameDirectionOnly, rangeA, rangeB, area,
                   maxDistance, length, reversed);
}

}  // namespace koGeom
