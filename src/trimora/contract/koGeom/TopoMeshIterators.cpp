#include "trimora/contract/koGeom/TopoMeshIterators.h"

/// Walks round vertices and along boundaries. Both rest on one step, `nextAround` and its inverse: as these are one to
/// one, going round a vertex from any of its edges either comes back to it or ends at the boundary on both sides.
namespace koGeom {

namespace {

using E = TopoMeshEdgeRecord;

constexpr int walkingBack = 2;

/// The boundary edge that leaves the end of e, where e itself has no (followed) twin: the last one clockwise from e's next.
E* boundaryNext(E* e) {
    E* leaving = e->next;
    for (E* step = leaving->prevAround(); step != nullptr && step != e->next;
         step = leaving->prevAround())
        leaving = step;
    return leaving;
}

/// The boundary edge that arrives at the origin of e: the one before the last edge counterclockwise from e.
E* boundaryPrev(E* e) {
    E* leaving = e;
    for (E* step = leaving->nextAround(); step != nullptr && step != e;
         step = leaving->nextAround())
        leaving = step;
    return leaving->prev;
}

/// The boundary edge that leaves the vertex: of its own fan if that is open, else of any.
E* boundaryLeaving(TopoMeshVertex vertex) {
    E* const own = vertex.edge().record();
    if (own == nullptr)
        return nullptr;
    E* leaving = own;
    for (E* step = own->prevAround(); step != nullptr && step != own; step = leaving->prevAround())
        leaving = step;
    if (leaving->opposite() == nullptr)
        return leaving;
    for (E* e = vertex.record()->firstLeaving; e != nullptr; e = e->nextLeaving)
        if (e->opposite() == nullptr)
            return e;
    return nullptr;
}

}  // namespace

void TopoMeshEdgeVertexIterator::reset(TopoMeshVertex start) {
    vertex = start;
    edge = start.edge();
    first = 1;
}

void TopoMeshEdgeVertexIterator::next() {
    E* const current = edge.record();
    if (current == nullptr)
        return;
    // Counterclockwise the flag counts down, a guard for walks that began outside the vertex's own fan: those do not
    // come back to its own edge.
    if (first != walkingBack) {
        first = first == 1 ? -1 : first - 1;
        E* const ahead = current->nextAround();
        bool const endless = -first > TopoMeshPool<E>::of(current).size();
        if (ahead != nullptr) {
            edge =
                ahead == vertex.edge().record() || endless ? TopoMeshEdge() : TopoMeshEdge(ahead);
            return;
        }
        first = walkingBack;
        E* const own = vertex.edge().record();
        edge = TopoMeshEdge(own != nullptr ? own->prevAround() : nullptr);
        return;
    }
    edge = TopoMeshEdge(current->prevAround());
}

void TopoMeshBoundaryIterator::reset(TopoMeshVertex vertex, bool /*forward*/) {
    edge = TopoMeshEdge(boundaryLeaving(vertex));
    first = 1;
}

TopoMeshEdge TopoMeshBoundaryIterator::nextEdge() {
    if (edge && first == 0)
        edge = TopoMeshEdge(boundaryNext(edge.record()));
    first = 0;
    return edge;
}

TopoMeshEdge TopoMeshBoundaryIterator::prevEdge() {
    if (!edge)
        return edge;
    if (first == walkingBack)
        edge = TopoMeshEdge(boundaryPrev(edge.record()));
    first = walkingBack;
    return TopoMeshEdge(boundaryPrev(edge.record()));
}

void TopoMeshBoundaryIterator::getPrevNextEdges(TopoMeshVertex vertex, TopoMeshEdge& previous,
                                                TopoMeshEdge& next) {
    E* const leaving = boundaryLeaving(vertex);
    next = TopoMeshEdge(leaving);
    previous = TopoMeshEdge(leaving != nullptr ? boundaryPrev(leaving) : nullptr);
}

}  // namespace koGeom
