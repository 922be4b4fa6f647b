#include "trimora/reduce/detail/EdgeCollapser.h"

/// Which edges may collapse. On a manifold mesh the answer takes the list of neighbours of one end and the marks of the
/// other; the rest is for borders and for meshes that are not manifold.
namespace koGeom {

//          c                The edge may go when a and b have no neighbour in common but c and d, and the surface stays what
//        /   \              it is: its border does not come to touch itself (both ends on it, with faces beyond c and d), no
//       /  e  \             two faces come to lie on the same vertices (those beyond c d would, in a tetrahedron), and
//      a ------ b           something is left of the piece. `near` is a or b, the one with its neighbours marked, `far` the
//       \  t  /             other one.
//        \   /
//          d
bool EdgeCollapser::mayCollapse(Edge const& edge, VisitStamps const& marked, Index near,
                                Index far) const {
    if (edge.tip == edge.otherTip || (!links_.isOriented() && !isSound(edge)))
        return false;
    if (vertices_[edge.a].isOnBoundary && vertices_[edge.b].isOnBoundary) {
        bool const pinches =
            edge.t != none && hasMoreEdgesThan(edge.tip, 1) && hasMoreEdgesThan(edge.otherTip, 1);
        if (pinches || isLastOfPiece(edge))
            return false;
    }
    return hasFreeLinks(edge, marked, near, far);
}

/// Are a and b joined by this edge alone, and by no other way than over c and d?
bool EdgeCollapser::hasFreeLinks(Edge const& edge, VisitStamps const& marked, Index near,
                                 Index far) const {
    int numEdges = 0;
    bool hasCommon = false;
    auto const isTip = [&](Index v) { return v == edge.tip || v == edge.otherTip; };
    if (neighbours_.isCrowded(far) && !neighbours_.isCrowded(near)) {
        neighbours_.forEach(near, [&](Index v) {
            numEdges += v == far;
            hasCommon = hasCommon || (v != far && !isTip(v) && neighbours_.areJoined(v, far));
        });
    } else {
        neighbours_.forEach(far, [&](Index v) {
            numEdges += v == near;
            hasCommon |= marked.hasMet(static_cast<int>(v)) && !isTip(v);
        });
    }
    return !hasCommon && numEdges == 1 && !wouldDoubleFace(edge);
}

/// Are there faces a, c, d and b, c, d? On a plain mesh a and b have three neighbours each then; elsewhere c and d are joined
/// at any rate.
bool EdgeCollapser::wouldDoubleFace(Edge const& edge) const {
    if (edge.t == none)
        return false;
    bool const isPlain = neighbours_.isSimple() && links_.isOriented() && links_.hasSingleFans();
    bool const isPossible = isPlain ? neighbours_.size(edge.a) == 3 && neighbours_.size(edge.b) == 3
                                    : neighbours_.areJoined(edge.tip, edge.otherTip);
    return isPossible && hasFaceOn(edge.a, edge.tip, edge.otherTip) &&
           hasFaceOn(edge.b, edge.tip, edge.otherTip);
}

bool EdgeCollapser::hasFaceOn(Index vertex, Index x, Index y) const {
    for (Index h = links_.firstLeaving(vertex); h != none; h = links_.nextLeaving(h)) {
        Index const second = links_.end(h);
        Index const third = links_.origin(TopoMeshTriangles::prev(h));
        if ((second == x && third == y) || (second == y && third == x))
            return true;
    }
    return false;
}

/// A piece hangs together by edges.
bool EdgeCollapser::isLastOfPiece(Edge const& edge) const {
    return isLoose(edge.e) && (edge.t == none || isLoose(edge.t));
}

/// Counts those that leave.
bool EdgeCollapser::hasMoreEdgesThan(Index vertex, int count) const {
    Index h = links_.firstLeaving(vertex);
    for (; h != none && count > 0; --count)
        h = links_.nextLeaving(h);
    return h != none;
}

/// What TopoMesh refuses besides, where twins run the same way or a face has a corner twice.
bool EdgeCollapser::isSound(Edge const& edge) const {
    auto const& [e, t, a, b, c, d] = edge;
    if (a == b || hasLoop(a) || hasLoop(b) || links_.opposite(e) != t || !canFold(e))
        return false;
    if (t == none)
        return true;
    bool const bothOpen = isInOpenFan(e) && isInOpenFan(t);
    return TopoMeshTriangles::faceOf(t) != TopoMeshTriangles::faceOf(e) && canFold(t) &&
           !(bothOpen && !isLoose(e) && !isLoose(t));
}

/// Is there nothing of the surface beside h but its face?
bool EdgeCollapser::isLoose(Index h) const {
    return links_.twin(TopoMeshTriangles::next(h)) == none &&
           links_.twin(TopoMeshTriangles::prev(h)) == none;
}

/// May the two edges beside h become one? Their twins must run against them.
bool EdgeCollapser::canFold(Index h) const {
    for (Index const side : {TopoMeshTriangles::next(h), TopoMeshTriangles::prev(h)})
        if (links_.twin(side) != links_.opposite(side))
            return false;
    Index const tip = links_.origin(TopoMeshTriangles::prev(h));
    return tip != links_.origin(h) && tip != links_.end(h);
}

bool EdgeCollapser::isInOpenFan(Index h) const {
    Index step = links_.prevAround(h);
    while (step != none && step != h)
        step = links_.prevAround(step);
    return step == none;
}

bool EdgeCollapser::hasLoop(Index vertex) const {
    for (Index h = links_.firstLeaving(vertex); h != none; h = links_.nextLeaving(h))
        if (links_.end(h) == vertex)
            return true;
    return false;
}

bool EdgeCollapser::isOpen(Index vertex) const {
    for (Index h = links_.firstLeaving(vertex); h != none; h = links_.nextLeaving(h))
        if (links_.twin(h) == none || links_.twin(TopoMeshTriangles::prev(h)) == none)
            return true;
    return false;
}

}  // namespace koGeom
