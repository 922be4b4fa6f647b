#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koLinear {
struct Point;
}

namespace koGeom {

class Polyline;

/// Finds the closest point of a polyline, and keeps parameters on one side of a closed one's seam.
///
/// threads    const calls may run together
class TRIMORA_API PolylineProjectPt {
public:
    Polyline const* polyline = nullptr;  // not owned, must outlive the projector

    PolylineProjectPt() = default;
    explicit PolylineProjectPt(Polyline const& of) : polyline(&of) {}

    void initialize(Polyline const& of) { polyline = &of; }

    /// The closest point of the polyline, O(n).
    ///
    /// closest    out: the place; as it was when there is no segment, or the query is not finite
    /// distance   out: to it; 1e150 when there is none
    /// returns    the parameter there; -1 when there is none
    /// order      the first of equally close segments
    double project(Point const& point, Point& closest, double& distance) const;
    double project(Point const& point, Point& closest) const;
    double project(Point const& point) const;

    /// Brings two parameters of a closed polyline to one side of its seam, whose point has two parameters, the first and the last.
    ///
    /// The one of the two that stands on the seam, exactly, gets that of the seam's parameters to which the other one is nearer; the
    /// last one when it lies in the middle.
    /// returns   false, and both are as they were, when the polyline is open, both parameters stand on the seam or none
    bool adjust(double& first, double& second) const;
};

}  // namespace koGeom
