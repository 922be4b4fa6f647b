#include "trimora/contract/koGeom/TopoMeshHandles.h"

namespace koGeom {

namespace {

TopoMeshEdgeRecord const* firstLeaving(TopoMeshVertexRecord const* v) {
    return v != nullptr ? v->firstLeaving : nullptr;
}

}  // namespace

int TopoMeshVertex::valence() const {
    int count = 0;
    for (TopoMeshEdgeRecord const* e = firstLeaving(record_); e != nullptr; e = e->nextLeaving)
        ++count;
    return count;
}

bool TopoMeshVertex::onBoundary() const {
    for (TopoMeshEdgeRecord const* e = firstLeaving(record_); e != nullptr; e = e->nextLeaving)
        if (e->twin == nullptr || e->prev->twin == nullptr)
            return true;
    return false;
}

TopoMeshFace TopoMeshVertex::adjacent(TopoMeshVertex other) const {
    // Both stars at once, so that a vertex of a million faces costs no more than its neighbour.
    TopoMeshEdgeRecord const* mine = firstLeaving(record_);
    TopoMeshEdgeRecord const* theirs = firstLeaving(other.record());
    for (; mine != nullptr && theirs != nullptr;
         mine = mine->nextLeaving, theirs = theirs->nextLeaving) {
        if (TopoMeshFace(mine->face).adjacent(other))
            return TopoMeshFace(mine->face);
        if (TopoMeshFace(theirs->face).adjacent(*this))
            return TopoMeshFace(theirs->face);
    }
    return TopoMeshFace();
}

int TopoMeshFace::numVertices() const {
    TopoMeshEdgeRecord const* const first = edge().record();
    if (first == nullptr)
        return 0;
    int count = 1;
    for (TopoMeshEdgeRecord const* e = first->next; e != first; e = e->next)
        ++count;
    return count;
}

Point TopoMeshFace::centroid() const {
    TopoMeshEdgeRecord const* const first = edge().record();
    if (first == nullptr)
        return Point();
    Vector sum = first->origin->position.asVector();
    int count = 1;
    for (TopoMeshEdgeRecord const* e = first->next; e != first; e = e->next) {
        sum += e->origin->position.asVector();
        ++count;
    }
    return (sum / count).asPoint();
}

TopoMeshEdge TopoMeshFace::adjacent(TopoMeshVertex vertex) const {
    TopoMeshEdgeRecord* const first = edge().record();
    TopoMeshEdgeRecord* e = first;
    if (e == nullptr || !vertex)
        return TopoMeshEdge();
    do {
        if (e->origin == vertex.record())
            return TopoMeshEdge(e);
        e = e->next;
    } while (e != first);
    return TopoMeshEdge();
}

BlindData& detail::discardedBlindData() {
    static thread_local BlindData slot;
    slot = BlindData();
    return slot;
}

}  // namespace koGeom
