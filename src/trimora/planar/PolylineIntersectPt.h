#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/export.h"

namespace koLinear {
struct Line;
struct ParamLine;
struct Plane;
}  // namespace koLinear

namespace koGeom {

class Polyline;

/// Picks the point of a polyline that comes closest to a line, or lies on a plane.
///
/// Every call goes through all segments, O(n), and allocates nothing. Without a segment nothing is found. Outputs are written only
/// when the result is true.
class TRIMORA_API PolylineIntersectPt {
public:
    /// Whether a place may be picked, by the line's parameter and the line's point there.
    using Test = bool (*)(PolylineIntersectPt& picker, double t, Point const& linePoint);

    Polyline const* polyline = nullptr;  // not owned, must outlive the picker
    ProjMatrix view;                     // what `inViewTest` asks for; kept from call to call

    PolylineIntersectPt() = default;
    explicit PolylineIntersectPt(Polyline const& of) : polyline(&of) {}

    void initialize(Polyline const& of) { polyline = &of; }

    /// The polyline's point that comes closest to a line.
    ///
    /// line       without end in both directions; t is in units of its direction
    /// t          out: where the line is closest
    /// u          out: the polyline's parameter there
    /// test       refuses places; null accepts all. Each segment offers its one place that is closest to the line.
    /// returns    whether a segment offered a place that was accepted
    /// order      a segment whose squared distance differs from that kept by less than `epsilonTol` is taken when it lies
    ///            closer to the line's origin, otherwise the first of equal ones stays
    /// parallel   a segment parallel to the line, or without length, offers its first vertex
    bool intersect(ParamLine const& line, double& t, double& u, Test test);
    /// Accepts all places.
    bool intersect(ParamLine const& line, double& t, double& u);
    /// With `inFront` accepts places at t above 0 only.
    bool intersect(ParamLine const& line, bool inFront, double& t, double& u);
    /// Accepts places in the view volume of a projection only, which stays in `view`.
    bool intersect(ParamLine const& line, ProjMatrix const& projection, double& t, double& u);

    /// The place at which a polyline pierces a plane.
    ///
    /// u           out: the polyline's parameter there
    /// point       out: the place
    /// reference   of several places the one nearest to this line is taken; null: the one that rounding left nearest to the plane.
    ///             The first of equal ones.
    /// returns     whether there is one; segments along the plane have none
    bool intersect(Plane const& plane, double& u, Point& point, Line const* reference);

    /// t > 0.
    static bool inFrontTest(PolylineIntersectPt& picker, double t, Point const& linePoint);
    /// Whether the point lies in the view volume of `view`, in depth as well.
    static bool inViewTest(PolylineIntersectPt& picker, double t, Point const& linePoint);
};

}  // namespace koGeom
