#include "trimora/topology/detail/MeshCutImpl.h"
#include "trimora/topology/detail/edgesAround.h"

#include <algorithm>
#include <iterator>

/// What cannot be cut, found before anything changes: ends inside a face, and pieces of curve that have no way out of one
/// face to two different places of its rim.
namespace koGeom::detail {

namespace {

using IPoint = MeshCurveTopology::IPoint;

bool isInFace(TopoMeshPoint const& point) {
    return point.kind == TopoMeshPoint::InFace;
}

/// The ends of a curve count; a point that another curve has left in the middle of one does not.
bool isLooseEnd(IPoint const& at) {
    if (at.getDegree() >= 2 || !isInFace(*at.point))
        return false;
    return std::all_of(at.uses.begin(), at.uses.end(), [](MeshCurveTopology::CurveUse const& use) {
        return use.node == use.curve->begin() || std::next(use.node) == use.curve->end();
    });
}

/// The face in which all nodes from `first` to `last` lie, if there are any and it is one.
std::optional<TopoMeshFace> commonFace(MeshCut::Path const& nodes, std::size_t first,
                                       std::size_t last) {
    if (first > last)
        return {};
    TopoMeshFace const face = nodes[first]->coord.face;
    for (std::size_t i = first; i <= last; ++i)
        if (!isInFace(*nodes[i]) || nodes[i]->coord.face != face)
            return {};
    return face;
}

bool isEndOf(TopoMeshVertex v, TopoMeshEdge edge) {
    return v && (edge.origin() == v || edge.next().origin() == v);
}

/// The edge, by its older half, on which both points lie, or null.
TopoMeshEdge commonEdge(TopoMeshPoint const& a, TopoMeshPoint const& b) {
    TopoMeshEdge edge;
    if (a.vertex && b.vertex) {
        TopoMeshEdge const there = TopoMesh::findEdge(a.vertex, b.vertex);
        edge = there ? there : TopoMesh::findEdge(b.vertex, a.vertex);
    } else if (a.edge &&
               (isEndOf(b.vertex, a.edge) || (b.edge && olderHalf(a.edge) == olderHalf(b.edge)))) {
        edge = a.edge;
    } else if (b.edge && isEndOf(a.vertex, b.edge)) {
        edge = b.edge;
    }
    return olderHalf(edge);
}

}  // namespace

void MeshCut::findGrounds() {
    for (Curve& curve : curves_) {
        std::vector<Ground>& grounds = grounds_.emplace_back();
        for (auto node = curve.begin(); std::next(node) != curve.end(); ++node) {
            TopoMeshPoint const& start = **node;
            TopoMeshPoint const& end = **std::next(node);
            TopoMeshFace const face = start.adjacent(end);
            grounds.push_back({face, commonEdge(start, end)});
            if (!face || cutFaces_.count(face) != 0)
                continue;
            Point const first = face.edge().origin().point();
            Point const second = face.edge().next().origin().point();
            Point const third = face.edge().next().next().origin().point();
            cutFaces_.emplace(face, CutFace{Normal(cross(third - second, first - second)), {face}});
        }
    }
}

TopoMeshCutResult MeshCut::check() {
    TopoMeshCutResult result;
    for (auto const& [point, at] : topology_.getIPoints()) {
        if (isLooseEnd(at)) {
            result.setError(TopoMeshCutResult::CutEndInFace, point->coord);
            return result;
        }
    }
    auto grounds = grounds_.begin();
    for (Curve& curve : curves_) {
        std::optional<TopoMeshFace> const trap = findTrap(curve, *grounds++);
        if (trap) {
            result.setError(TopoMeshCutResult::CutInsideFace, *trap);
            return result;
        }
    }
    return result;
}

std::optional<TopoMeshFace> MeshCut::findTrap(Curve& curve, std::vector<Ground> const& grounds) {
    Path nodes;
    for (PointRef const& point : curve)
        nodes.push_back(point.get());
    if (auto const trap = findTrappedPiece(nodes))
        return trap;

    // From a place of a face's rim through the face back to the same place, over points of the graph or not.
    std::size_t rim = nodes.size();
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (isInFace(*nodes[i]))
            continue;
        if (rim + 1 < i && isSamePlace(*nodes[rim], *nodes[i]))
            return nodes[rim + 1]->coord.face;
        rim = i;
    }
    for (PointRef const& end : {curve.front(), curve.back()})
        if (isInFace(*end) && !hasTwoLegs(end))
            return end->coord.face;
    // Neighbours without a common face: a jump that nothing can be cut along.
    auto const jump = std::find_if(grounds.begin(), grounds.end(),
                                   [](Ground const& ground) { return !ground.face; });
    if (jump != grounds.end())
        return nodes[static_cast<std::size_t>(jump - grounds.begin())]->coord.face;
    return {};
}

std::optional<TopoMeshFace> MeshCut::findTrappedPiece(Path const& nodes) {
    auto const isOnGraph = [&](std::size_t i) {
        IPoint const* const at = topology_.getIPoint(nodes[i]);
        bool const isEnd = i == 0 || i + 1 == nodes.size();
        return at != nullptr && (isEnd || at->getDegree() >= 2);
    };
    std::size_t start = 0;
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        if (!isOnGraph(i))
            continue;
        bool const isLoop = nodes[start] == nodes[i];
        bool const hasLength = !isLoop || i > start + 1;
        auto const whole = hasLength ? commonFace(nodes, start, i) : std::nullopt;
        if (whole)
            return whole;
        auto const inner = isLoop && hasLength ? commonFace(nodes, start + 1, i - 1) : std::nullopt;
        if (inner)
            return inner;
        start = i;
    }
    return {};
}

/// Ways from a point inside a face to its rim: for each use, the nodes after the point up to the first that is not inside,
/// forward and backward.
std::vector<MeshCut::Path> MeshCut::legsOf(PointRef const& point) {
    std::vector<Path> legs;
    auto const walk = [&legs](auto first, auto last) {
        auto const rim = std::find_if(first, last, [](auto const& p) { return !isInFace(*p); });
        if (rim == last)
            return;
        Path& leg = legs.emplace_back();
        for (auto node = first; node != std::next(rim); ++node)
            leg.push_back(node->get());
    };
    IPoint const* const at = topology_.getIPoint(point);
    if (at == nullptr)
        return legs;
    for (MeshCurveTopology::CurveUse const& use : at->uses) {
        walk(std::next(use.node), use.curve->end());
        walk(std::make_reverse_iterator(use.node), use.curve->rend());
    }
    return legs;
}

bool MeshCut::hasTwoLegs(PointRef const& point) {
    std::vector<Path> const legs = legsOf(point);
    return std::any_of(legs.begin(), legs.end(), [&legs](Path const& leg) {
        return !isSamePlace(*leg.back(), *legs.front().back());
    });
}

}  // namespace koGeom::detail
