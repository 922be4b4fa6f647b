#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/export.h"

namespace koGeom {

class Polyline;

/// The boxes of a polyline's segments, for queries that skip what lies far away.
///
/// stale      the boxes are built once, at the first request, and stay as they are: when the
///            polyline changes and when `initialize` names another one. A new cache is assigned then.
/// threads    a request may build the boxes: one at a time
class TRIMORA_API PolylineBBoxCache {
public:
    Polyline const* polyline = nullptr;  // not owned, must outlive the cache
    ko::vector<Range3d> boxes;           // one a segment; empty until the first request

    PolylineBBoxCache() = default;
    explicit PolylineBBoxCache(Polyline const& of) : polyline(&of) {}

    /// Boxes that are there already stay.
    void initialize(Polyline const& of) { polyline = &of; }

    /// The box of vertices i and i + 1; the empty range for a segment that there is none of. O(1),
    /// the first time O(n).
    Range3d const& getSegmentBBox(int i);

private:
    void build();
};

}  // namespace koGeom
