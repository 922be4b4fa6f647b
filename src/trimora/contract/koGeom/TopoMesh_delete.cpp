#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"

#include <algorithm>
#include <cassert>
#include <vector>

/// Edits of the half-edge mesh that delete. Vertices stay where they are not named; twins of what goes are left without.
namespace koGeom {

using namespace detail;

/// Takes a half-edge out of its origin's chain and its twin's link; its ring is the caller's.
void TopoMesh::removeHalfEdge(E* e) {
    if (e->twin != nullptr)
        e->twin->twin = nullptr;
    e->twin = nullptr;
    detach(e);
    edges_.destroy(e);
}

void TopoMesh::deleteFace(TopoMeshFace face) {
    if (!contains(face))
        return;
    F* const f = face.record();
    E* const first = f->edge;

    E* e = first;
    do {
        removeHalfEdge(e);
        e = e->next;
    } while (e != first);
    faces_.destroy(f);
}

bool TopoMesh::canDeleteEdge(TopoMeshEdge e) const {
    return contains(e) && e.record()->opposite() != nullptr && e.face() != e.twin().face();
}

//   . -- b -- .          . -- b -- .
//   | f  |  g |    ->    |    f    |
//   . -- a -- .          . -- a -- .
bool TopoMesh::deleteEdge(TopoMeshEdge edge) {
    if (!canDeleteEdge(edge))
        return false;
    E* const e = edge.record();
    E* const t = e->twin;
    E* const beforeE = e->prev;
    E* const afterE = e->next;
    E* const beforeT = t->prev;
    E* const afterT = t->next;
    F* const f = e->face;
    F* const g = t->face;

    setFaceOfRing(t, f);
    join(beforeE, afterT);
    join(beforeT, afterE);
    if (f->edge == e)
        f->edge = afterE;

    removeHalfEdge(e);
    removeHalfEdge(t);
    faces_.destroy(g);

    assert(isConsistentAround(f));
    return true;
}

namespace {

/// The edges that leave v, counterclockwise; from the boundary on where v has one.
std::vector<E*> fanOf(V const* v) {
    E* first = v->edge;
    for (E* step = first->prevAround(); step != nullptr && step != v->edge;
         step = first->prevAround())
        first = step;
    std::vector<E*> fan;
    E* e = first;
    do {
        fan.push_back(e);
        e = e->nextAround();
    } while (e != nullptr && e != first);
    return fan;
}

template <typename T>
bool sortAndFindRepeat(std::vector<T*>& items) {
    std::sort(items.begin(), items.end(), [](T* a, T* b) { return a->number < b->number; });
    return std::adjacent_find(items.begin(), items.end()) != items.end();
}

bool holds(std::vector<F*> const& sorted, F* f) {
    return std::binary_search(sorted.begin(), sorted.end(), f,
                              [](F* a, F* b) { return a->number < b->number; });
}

/// Do the faces of the fan meet each other along the edges of the fan alone, and is what surrounds them a simple ring?
bool hasSimpleLink(std::vector<E*> const& fan, bool open) {
    std::vector<F*> faces;
    for (E* leaving : fan)
        faces.push_back(leaving->face);
    if (sortAndFindRepeat(faces))
        return false;

    std::vector<V*> link;
    for (E* leaving : fan) {
        for (E* e = leaving->next; e != leaving->prev; e = e->next) {
            if (e->twin != nullptr && holds(faces, e->twin->face))
                return false;
            link.push_back(e->origin);
        }
    }
    if (open)
        link.push_back(fan.back()->prev->origin);
    return link.size() >= 3 && !sortAndFindRepeat(link);
}

}  // namespace

bool TopoMesh::canDeleteVertex(TopoMeshVertex vertex) const {
    if (!contains(vertex))
        return false;
    if (!vertex.edge())
        return true;
    std::vector<E*> const fan = fanOf(vertex.record());
    if (static_cast<int>(fan.size()) != vertex.valence())
        return false;
    bool const open = fan.back()->nextAround() == nullptr;
    return (open && fan.size() == 1) || hasSimpleLink(fan, open);
}

//     x2 --- x1                x2 --- x1       leaving[i] runs from v to x[i], the link of its face from x[i] to x[i + 1].
//    /  \   /  \              /        \       On the boundary the link is not closed: then a new half-edge runs from its
//   x3 -- v --- x0     ->    x3    f    x0     last vertex to its first one.
//    \  /   \  /              \        /
//     x4 --- x5                x4 --- x5
TopoMeshFace TopoMesh::deleteVertex(TopoMeshVertex vertex) {
    if (!canDeleteVertex(vertex))
        return TopoMeshFace();
    V* const v = vertex.record();
    std::vector<E*> const fan = v->edge != nullptr ? fanOf(v) : std::vector<E*>();
    std::size_t const n = fan.size();
    bool const open = n > 0 && fan.back()->nextAround() == nullptr;
    if (n == 0 || (open && n == 1)) {
        deleteFace(vertex.edge().face());
        vertices_.destroy(v);
        return TopoMeshFace();
    }
    F* const f = v->edge->face;
    E* const linkStart = fan.front()->next;
    E* const linkEnd = fan.back()->prev->prev;
    E* first = f->edge;
    while (first->origin == v || first->end() == v)
        first = first->next;
    if (open)
        edges_.reserve(1);

    // Only links of edges that stay are written here, and only those of edges that go are read.
    for (std::size_t i = 0; i + 1 < n; ++i)
        join(fan[i]->prev->prev, fan[i + 1]->next);
    if (open) {
        E* const closing = edges_.create(tag_);
        attach(closing, fan.back()->prev->origin);
        join(linkEnd, closing);
        join(closing, linkStart);
    } else {
        join(linkEnd, linkStart);
    }

    for (E* leaving : fan) {
        if (leaving->face != f)
            faces_.destroy(leaving->face);
        removeHalfEdge(leaving->prev);
        removeHalfEdge(leaving);
    }
    setFaceOfRing(first, f);
    f->edge = first;
    vertices_.destroy(v);

    assert(isConsistentAround(f));
    return TopoMeshFace(f);
}

}  // namespace koGeom
