#pragma once

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"

namespace koGeom::detail {

/// One piece of a common stretch: it runs from a0 to a1 on the first polyline and from b0 to b1 on the second one.
struct OverlapPiece {
    double a0 = 0.0, a1 = 0.0;
    double b0 = 0.0, b1 = 0.0;
    double area = 0.0;
    double maxDistance = 0.0;
};

/// A candidate stretch that two polylines share, pieced together along the first one.
struct OverlapTrack {
    Polyline const* polyline;  // the second one, on which the length is measured
    bool sameDirectionOnly;    // no change of direction along it
    bool guardLength;          // a range below 1e-6 on it counts as no length
    double maxDistance = -1.0;
    double area = 0.0;
    Range1d rangeA;  // empty: so is the track
    Range1d rangeB;
    double length = -1.0;  // negative: not known
    bool forward = true;
    double maxGap;  // largest jump along the second polyline's parameters

    OverlapTrack(Polyline const& b, bool hasOneDirection, bool guardsLength);

    bool isEmpty() const { return rangeA.isEmpty(); }
    /// The length on the second polyline, computed once after each change; 0 when empty.
    double measure();
    /// Lengthens the track by a piece; an empty one becomes it. Returns false, with nothing changed, when the
    /// piece turns or jumps.
    bool add(OverlapPiece const& piece);
};

/// Walks along candidates and keeps the longest track.
class LongestTrack {
public:
    explicit LongestTrack(OverlapTrack const& empty)
        : empty_(empty), current_(empty), best_(empty) {}

    /// The piece that was found next, or null for none, which ends the current track.
    void merge(OverlapPiece const* piece);
    /// Ends the last track.
    void finish();

    OverlapTrack& best() { return best_; }
    /// After `finish` not negative.
    double bestLength() const { return bestLength_; }

private:
    OverlapTrack empty_;
    OverlapTrack current_;
    OverlapTrack best_;
    double bestLength_ = -1.0;
};

}  // namespace koGeom::detail
