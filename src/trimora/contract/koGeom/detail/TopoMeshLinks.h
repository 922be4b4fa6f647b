#pragma once

#include "trimora/contract/koGeom/TopoMeshRecords.h"

#include <cstddef>

/// Links of the half-edge mesh: the small writes that all edits are made of, and the small questions that their guards
/// ask. No write here walks further than one record.
namespace koGeom::detail {

using V = TopoMeshVertexRecord;
using E = TopoMeshEdgeRecord;
using F = TopoMeshFaceRecord;

/// Lets e leave v; as its own edge if it has none.
inline void attach(E* e, V* v) {
    E* const head = v->firstLeaving;
    e->origin = v;
    e->prevLeaving = nullptr;
    e->nextLeaving = head;
    if (head != nullptr)
        head->prevLeaving = e;
    else
        v->edge = e;
    v->firstLeaving = e;
}

/// Takes e off its origin. If it was the own edge, another one of the chain is.
inline void detach(E* e) {
    V* const v = e->origin;
    (e->prevLeaving != nullptr ? e->prevLeaving->nextLeaving : v->firstLeaving) = e->nextLeaving;
    if (e->nextLeaving != nullptr)
        e->nextLeaving->prevLeaving = e->prevLeaving;
    if (v->edge == e)
        v->edge = e->nextLeaving != nullptr ? e->nextLeaving : e->prevLeaving;
}

inline void moveOrigin(E* e, V* to) {
    detach(e);
    attach(e, to);
}

inline void join(E* before, E* after) {
    before->next = after;
    after->prev = before;
}

/// Either may be null: the other one is on the boundary then.
inline void makeTwins(E* e, E* other) {
    if (e != nullptr)
        e->twin = other;
    if (other != nullptr)
        other->twin = e;
}

/// Gives a whole ring, linked already, to a face.
inline void setFaceOfRing(E* first, F* face) {
    E* e = first;
    do {
        e->face = face;
        e = e->next;
    } while (e != first);
}

inline bool isTriangle(F const* f) {
    E const* const e = f->edge;
    return e->next->next->next == e && e->next != e;
}

/// The first edge of the ring that leaves v, or null.
inline E* cornerOf(F const* f, V const* v) {
    E* e = f->edge;
    do {
        if (e->origin == v)
            return e;
        e = e->next;
    } while (e != f->edge);
    return nullptr;
}

inline std::size_t numSides(F const* f) {
    std::size_t count = 0;
    E const* e = f->edge;
    do {
        ++count;
        e = e->next;
    } while (e != f->edge);
    return count;
}

/// True when going clockwise from e meets the boundary.
inline bool isFanOpen(E const* e) {
    E const* step = e->prevAround();
    while (step != nullptr && step != e)
        step = step->prevAround();
    return step == nullptr;
}

/// Up to this many edges that leave a vertex are looked at before the other end is taken into account.
constexpr int fewLeaving = 12;

/// A half-edge from a to b, without a twin where `onlyOpen` asks for that, or null.
///
/// Each edge that arrives at b precedes one that leaves b, so the edge can be met at either end. The search goes round a
/// first, as that reads less; if a turns out to be large it goes round both at once, and the smaller star decides.
template <bool onlyOpen>
E* findHalfEdge(V const* a, V const* b) {
    E* leaving = a->firstLeaving;
    for (int i = 0; i < fewLeaving && leaving != nullptr; ++i, leaving = leaving->nextLeaving)
        if ((!onlyOpen || leaving->twin == nullptr) && leaving->end() == b)
            return leaving;
    for (E* afterArriving = b->firstLeaving; leaving != nullptr && afterArriving != nullptr;
         leaving = leaving->nextLeaving, afterArriving = afterArriving->nextLeaving) {
        if ((!onlyOpen || leaving->twin == nullptr) && leaving->end() == b)
            return leaving;
        E* const arriving = afterArriving->prev;
        if (arriving->origin == a && (!onlyOpen || arriving->twin == nullptr))
            return arriving;
    }
    return nullptr;
}

inline bool areJoined(V const* a, V const* b) {
    return findHalfEdge<false>(a, b) != nullptr || findHalfEdge<false>(b, a) != nullptr;
}

/// For the assertion after an edit: every half-edge of the ring agrees with all that it links to. O(sides).
bool isConsistentAround(F const* f);
/// The same for every half-edge that leaves the vertex. O(valence).
bool isConsistentAround(V const* v);

}  // namespace koGeom::detail
