#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/export.h"

namespace koGeom {

class Polyline;
class PolylineBBoxCache;

/// Finds the longest stretch along which two polylines run within a distance of each other.
///
/// cacheOfB           boxes of b's segments, built here if they are not yet; keep it where many polylines are tested
///                    against one b. One call at a time. It must be that of b as it is.
/// tolerance          largest distance, in mesh units. A stretch may lean out to 1.1 times that at its ends.
/// endTolerance       an end of the stretch that lies nearer than this to an end of its polyline becomes that end
/// sameDirectionOnly  true: a change of direction along b ends a stretch; false: a stretch may fold back on b
/// gaps               a stretch ends at a segment of a that is near no part of b or has no length, and where it
///                    jumps along b by more than a tenth of b's parameters
/// rangeA, rangeB     out: the parameters of the stretch on both, lower bounds first
/// area               out: the sum of the areas between the polylines, each piece taken as a trapezium
/// maxDistance        out: the largest distance at the ends of the pieces
/// length             out: the length of b over the stretch, before the ends were moved by endTolerance
/// reversed           out: true when the stretch starts against the direction of b
/// returns            whether there is a stretch with a length; without one no output is written
/// order              of stretches with equal lengths the first along a
/// cost               boxes are compared in a tree over b that is built in the call, O(n) for n segments of b;
///                    O(log n) for a segment of a far from b, and its neighbours along b otherwise
/// source             own construction
TRIMORA_API bool overlap(Polyline const& a, Polyline const& b, PolylineBBoxCache& cacheOfB,
                         double tolerance, double endTolerance, bool sameDirectionOnly,
                         Range1d& rangeA, Range1d& rangeB, double& area, double& maxDistance,
                         double& length, bool& reversed);
/// Without a cache that is kept.
TRIMORA_API bool overlap(Polyline const& a, Polyline const& b, double tolerance,
                         double endTolerance, bool sameDirectionOnly, Range1d& rangeA,
                         Range1d& rangeB, double& area, double& maxDistance, double& length,
                         bool& reversed);

}  // namespace koGeom
