#include "trimora/stitch/meshCloseSlits.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/stitch/MeshStitchSeam.h"
#include "trimora/stitch/detail/boundaryRegion.h"
#include "trimora/stitch/detail/openEdges.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <vector>

/// Slits. Two sides leave the start, one forward and one backward along the boundary, and are walked like the edges of a zip: the
/// one whose next vertex is nearer to the edge ahead on the other side goes on. What was met last where both places are nearest to
/// each other is where the seam ends. The seam itself is that of MeshStitchSeam, with the start for both first ends.
namespace koGeom {

namespace {

using namespace detail;

// Cosine of the angle by which the way across may lean along a side where the seam ends: 14 degrees off the right angle.
constexpr double lean = 0.25;
// Of an edge: nearer to its end than this the seam ends in the vertex.
constexpr double nearVertex = 0.01;
// Of the height of the triangles on both sides: a way across that goes farther into both of them crosses a band of surface, not a
// gap. Sides may overlap by less, and by this share of the distance.
constexpr double bandShare = 0.5;
constexpr double overlapShare = 0.01;

/// One side of a slit: the edge ahead, with its ends in the order of the walk.
class Side {
public:
    Side(TopoMeshEdge ahead, bool isForward) : ahead_(ahead), isForward_(isForward) {}

    TopoMeshEdge edge() const { return ahead_; }
    TopoMeshVertex near() const { return isForward_ ? ahead_.origin() : endOf(ahead_); }
    TopoMeshVertex far() const { return isForward_ ? endOf(ahead_) : ahead_.origin(); }
    Side following() const {
        return {isForward_ ? openEdgeAfter(ahead_) : openEdgeBefore(ahead_), isForward_};
    }
    Side before() const {
        return {isForward_ ? openEdgeBefore(ahead_) : openEdgeAfter(ahead_), isForward_};
    }
    Point at(double share) const {
        return combine(1.0 - share, near().point(), share, far().point());
    }
    /// Of the place nearest to the point.
    double shareNearest(Point const& point) const {
        Vector const along = far().point() - near().point();
        double const squared = dot(along, along);
        return squared > 0.0 ? std::clamp(dot(point - near().point(), along) / squared, 0.0, 1.0)
                             : 0.0;
    }

private:
    TopoMeshEdge ahead_;
    bool isForward_;
};

/// A place on a side, at this share of an edge.
struct Place {
    Side side;
    double share;
    Point point() const { return side.at(share); }
};

/// Whether no place beside this one is much nearer to the point.
bool isNearest(Place const& place, Point const& other) {
    if (place.share > 0.0 && place.share < 1.0)
        return true;  // the foot on the edge
    Point const here = place.point();
    Vector const across = other - here;
    double const most = lean * across.length();
    Side const ahead = place.share > 0.0 ? place.side.following() : place.side;
    Side const behind = place.share > 0.0 ? place.side : place.side.before();
    for (Point const& neighbour : {ahead.far().point(), behind.near().point()}) {
        Vector const along = neighbour - here;
        double const length = along.length();
        if (length > 0.0 && dot(across, along) > most * length)
            return false;
    }
    return true;
}

/// How far the way leads into the triangle at the place, in heights of the triangle.
double depthInto(Place const& place, Vector const& way) {
    TopoMeshEdge const e = place.side.edge();
    Vector const along = endOf(e).point() - e.origin().point();
    Vector const toApex = e.prev().origin().point() - e.origin().point();
    double const squared = dot(along, along);
    Vector const height = squared > 0.0 ? toApex - (dot(toApex, along) / squared) * along : toApex;
    double const heightSquared = dot(height, height);
    return heightSquared > 0.0 ? dot(way, height) / heightSquared : 0.0;
}

class SlitSewer {
public:
    SlitSewer(MeshModifyRep& rep, TopoMesh& mesh, double distance, double tolerance)
        : rep_(rep), mesh_(mesh), distance_(distance), tolerance_(tolerance) {}

    /// The length that was sewn.
    double sewFrom(TopoMeshVertex start);

private:
    struct Ends {
        Place a;
        Place b;
    };

    bool isBand(Ends const& ends) const;
    std::optional<Ends> findEnds(TopoMeshEdge leaving) const;
    TopoMeshVertex vertexAt(Place const& place);

    MeshModifyRep& rep_;
    TopoMesh& mesh_;
    double const distance_;
    double const tolerance_;
};

/// Whether surface lies between the two places, and would be squeezed together by the seam.
bool SlitSewer::isBand(Ends const& ends) const {
    if (ends.a.side.edge().face() == ends.b.side.edge().face())
        return true;
    Vector const across = ends.b.point() - ends.a.point();
    return across.length() > overlapShare * distance_ && depthInto(ends.a, across) > bandShare &&
           depthInto(ends.b, -across) > bandShare;
}

//      start o--> near --a--> far             a is walked forward, b backward. When both have the same edge ahead the sides have
//            o<-- near <--b-- far             come together: that edge goes to a, and the seam ends where b stands.
std::optional<SlitSewer::Ends> SlitSewer::findEnds(TopoMeshEdge leaving) const {
    Side a(leaving, true);
    Side b(openEdgeBefore(leaving), false);
    TopoMeshVertex const start = leaving.origin();
    std::optional<Ends> last;
    while (a.edge() != b.edge()) {
        Place const onB = {b, b.shareNearest(a.far().point())};
        Place const onA = {a, a.shareNearest(b.far().point())};
        double const fromA = koLinear::distance(a.far().point(), onB.point());
        double const fromB = koLinear::distance(b.far().point(), onA.point());
        bool const isA = fromA <= fromB;
        if (!(std::min(fromA, fromB) < distance_))
            return last;
        Ends const ends = isA ? Ends{{a, 1.0}, onB} : Ends{onA, {b, 1.0}};
        if (isBand(ends))
            return last;
        bool const haveMoved =
            (ends.a.share > 0.0 || a.near() != start) && (ends.b.share > 0.0 || b.near() != start);
        if (haveMoved && isNearest(ends.a, ends.b.point()) && isNearest(ends.b, ends.a.point()))
            last = ends;
        (isA ? a : b) = (isA ? a : b).following();
    }
    bool const isTogether = a.near() != start && b.near() != start &&
                            koLinear::distance(a.near().point(), a.far().point()) < distance_;
    if (!isTogether)
        return last;
    Ends const ends = {{a, 1.0}, {b.before(), 1.0}};
    return isBand(ends) ? last : std::optional(ends);
}

TopoMeshVertex SlitSewer::vertexAt(Place const& place) {
    if (place.share <= nearVertex)
        return place.side.near();
    if (place.share >= 1.0 - nearVertex || !canSplitOpenEdge(mesh_, place.side.edge()))
        return place.side.far();
    return splitOpenEdge(mesh_, place.side.edge(), place.point());
}

double SlitSewer::sewFrom(TopoMeshVertex start) {
    TopoMeshEdge leaving;
    TopoMeshEdge arriving;
    TopoMeshBoundaryIterator::getPrevNextEdges(start, arriving, leaving);
    if (!leaving)
        return 0.0;
    auto const ends = findEnds(leaving);
    if (!ends)
        return 0.0;
    TopoMeshVertex const a = vertexAt(ends->a);
    TopoMeshVertex const b = vertexAt(ends->b);
    MeshStitchSeam seam(mesh_);
    using Callback = koRTB::FunctionArgMember<TopoMeshVertex, MeshModifyRep>;
    seam.addCallback(new Callback(&rep_, &MeshModifyRep::removeVertex));
    if (!seam.canStitch(start, a, start, b))
        return 0.0;
    seam.stitch(start, a, start, b, tolerance_, true);
    return seam.joinedLength();
}

using FloatPlace = std::array<float, 3>;
using VerticesAt = std::map<FloatPlace, std::vector<TopoMeshVertex>>;

FloatPlace floatsOf(Point const& p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
}

bool isFinite(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

VerticesAt findVertices(TopoMesh const& topo, ko::vector<Point> const& places) {
    VerticesAt vertices;
    for (Point const& place : places)
        if (isFinite(place))
            vertices[floatsOf(place)];
    for (TopoMeshVertex v = topo.firstVertex(); v; v = v.nextInList()) {
        auto const found =
            isFinite(v.point()) ? vertices.find(floatsOf(v.point())) : vertices.end();
        if (found != vertices.end())
            found->second.push_back(v);
    }
    return vertices;
}

}  // namespace

bool meshCloseSlits(CompactMesh& mesh, ko::Reference<MeshAdjTris> adjTris,
                    ko::Reference<MeshBoundaries> boundaries, ko::vector<Point> const& starts,
                    double distance, double tolerance, ko::vector<double>& lengths) {
    lengths.assign(starts.size(), 0.0);
    if (!adjTris || !boundaries || !(distance > 0.0) || starts.empty() ||
        !tablesFit(mesh, *adjTris, *boundaries))
        return false;

    koOS::StopWatch watch;
    watch.start();

    auto const rep = boundaryRegion(mesh, *adjTris, *boundaries);
    TopoMesh& topo = rep->extract();
    VerticesAt vertices = findVertices(topo, starts);
    SlitSewer sewer(*rep, topo, distance, tolerance);
    for (std::size_t i = 0; i < starts.size(); ++i)
        for (TopoMeshVertex const v : vertices[floatsOf(starts[i])])
            if (topo.contains(v))
                lengths[i] += sewer.sewFrom(v);
    auto const numSewn =
        std::count_if(lengths.begin(), lengths.end(), [](double length) { return length > 0.0; });
    if (numSewn > 0) {
        mesh.clearSelection();  // the merge deletes whatever is selected
        rep->merge();
    }

    debugChannel().print("meshCloseSlits: %d of %d, %f s\n", static_cast<int>(numSewn),
                         static_cast<int>(starts.size()), watch.clear());
    return numSewn > 0;
}

}  // namespace koGeom
