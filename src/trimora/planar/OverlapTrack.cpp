#include "trimora/planar/detail/OverlapTrack.h"

#include <algorithm>

namespace koGeom::detail {

OverlapTrack::OverlapTrack(Polyline const& b, bool hasOneDirection, bool guardsLength)
    : polyline(&b),
      sameDirectionOnly(hasOneDirection),
      guardLength(guardsLength),
      maxGap(0.1 * b.getDomain().size()) {}

double OverlapTrack::measure() {
    constexpr double shortestRange = 1e-6;
    if (length >= 0.0)
        return length;
    if (isEmpty() || (guardLength && rangeB.size() < shortestRange))
        length = 0.0;
    else
        length = polyline->getLength(rangeB.lower, rangeB.upper);
    return length;
}

bool OverlapTrack::add(OverlapPiece const& piece) {
    bool const goesForward = piece.b1 > piece.b0;
    Range1d onB;
    onB.include(piece.b0);
    onB.include(piece.b1);
    if (isEmpty()) {
        rangeA.set(piece.a0, piece.a1);
        rangeB = onB;
        forward = goesForward;
        area = piece.area;
        maxDistance = piece.maxDistance;
    } else {
        if ((sameDirectionOnly && goesForward != forward) || distance(rangeB, onB) > maxGap)
            return false;
        rangeA.include(piece.a0);
        rangeA.include(piece.a1);
        rangeB.include(onB);
        area += piece.area;
        maxDistance = std::max(maxDistance, piece.maxDistance);
    }
    length = -1.0;
    return true;
}

void LongestTrack::merge(OverlapPiece const* piece) {
    if (piece != nullptr && current_.add(*piece))
        return;
    double const length = current_.measure();
    if (length > 0.0 && length > bestLength_) {
        best_ = current_;
        bestLength_ = length;
    }
    current_ = empty_;
    if (piece != nullptr)
        current_.add(*piece);
}

void LongestTrack::finish() {
    double const length = current_.measure();
    if (length > bestLength_) {
        best_ = current_;
        bestLength_ = length;
    }
}

}  // namespace koGeom::detail
