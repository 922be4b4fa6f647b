#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"

#include <cassert>
#include <vector>

/// Edits of the half-edge mesh that open the surface. All of them part edges from their twins and give the edges that
/// leave a vertex on one side of the cut a vertex of their own; they differ in where that side begins and ends.
namespace koGeom {

using namespace detail;

namespace {

/// The edges that follow e clockwise up to the boundary: the far side of a cut along e, at its origin.
std::vector<E*> clockwiseFrom(E* e) {
    std::vector<E*> edges;
    for (E* step = e->prevAround(); step != nullptr; step = step->prevAround())
        edges.push_back(step);
    return edges;
}

/// e and those that follow it counterclockwise, up to the boundary or to `stop`, which is left out.
std::vector<E*> counterclockwiseFrom(E* e, E const* stop) {
    std::vector<E*> edges;
    for (E* step = e; step != nullptr && step != stop; step = step->nextAround())
        edges.push_back(step);
    return edges;
}

/// True when the open fan of e ends at edges without twins on both sides. A twin that runs the same way ends a walk too, but
/// would keep the old vertex when this side gets another one.
bool endsWithoutTwins(E const* e) {
    E const* first = e;
    while (E const* const step = first->prevAround())
        first = step;
    E const* last = e;
    while (E const* const step = last->nextAround())
        last = step;
    return first->twin == nullptr && last->prev->twin == nullptr;
}

void part(E* e) {
    e->twin->twin = nullptr;
    e->twin = nullptr;
}

}  // namespace

/// A copy of v that takes over the edges given, which leave v.
TopoMeshVertexRecord* TopoMesh::detachSide(V const* v, std::vector<E*> const& edges) {
    V* const copy = vertices_.create(tag_);
    copy->position = v->position;
    for (E* e : edges)
        moveOrigin(e, copy);
    return copy;
}

bool TopoMesh::canSplitEdge(TopoMeshEdge edge) const {
    if (!contains(edge))
        return false;
    E const* const e = edge.record();
    E const* const t = e->opposite();
    return t != nullptr && e->origin != t->origin && isFanOpen(e) && isFanOpen(t) &&
           endsWithoutTwins(e) && endsWithoutTwins(t);
}

//   --- b ---          --- b   b' ---
//       |                  |   |
//    f  e  g      ->    f  e   t  g         a' takes the edges clockwise from e, b' t and those counterclockwise from it
//       |                  |   |
//   --- a ---          --- a   a' ---
void TopoMesh::splitEdge(TopoMeshEdge edge) {
    if (!canSplitEdge(edge))
        return;
    E* const e = edge.record();
    E* const t = e->twin;
    V* const a = e->origin;
    V* const b = t->origin;
    std::vector<E*> const atA = clockwiseFrom(e);
    std::vector<E*> const atB = counterclockwiseFrom(t, nullptr);
    vertices_.reserve(2);

    part(e);
    detachSide(a, atA);
    detachSide(b, atB);

    assert(isConsistentAround(e->face) && isConsistentAround(t->face));
}

bool TopoMesh::canSplitVertex(TopoMeshVertex v, TopoMeshEdge edge) const {
    if (!contains(v) || !contains(edge) || edge.origin() != v)
        return false;
    E const* const e = edge.record();
    E const* const t = e->opposite();
    return t != nullptr && e->origin != t->origin && isFanOpen(e) && !isFanOpen(t) &&
           endsWithoutTwins(e);
}

//   --- b ---          --- b ---
//       |                 / \            .
//    f  e  g      ->   f e   t g           b is inside and stays whole: the cut ends there
//       |               /     \          .
//   --- v ---       -- v       v' --
TopoMeshVertex TopoMesh::splitVertex(TopoMeshVertex v, TopoMeshEdge edge) {
    if (!canSplitVertex(v, edge))
        return TopoMeshVertex();
    E* const e = edge.record();
    E* const t = e->twin;
    std::vector<E*> const side = clockwiseFrom(e);
    vertices_.reserve(1);

    part(e);
    V* const copy = detachSide(v.record(), side);

    assert(isConsistentAround(e->face) && isConsistentAround(t->face));
    static_cast<void>(t);
    return TopoMeshVertex(copy);
}

bool TopoMesh::canSplitVertex(TopoMeshEdge first, TopoMeshEdge second) const {
    if (!contains(first) || !contains(second))
        return false;
    E const* const a = first.record();
    E const* const b = second.record();
    E const* const ta = a->opposite();
    E const* const tb = b->opposite();
    if (ta == nullptr || tb == nullptr || ta == b || ta->origin != b->origin)
        return false;
    V const* const x = a->origin;
    V const* const v = b->origin;
    V const* const y = tb->origin;
    if (x == v || y == v || x == y || isFanOpen(a) || isFanOpen(tb))
        return false;
    // Both edges must belong to one closed fan of v: going round from b comes past a's twin and back to b.
    bool meetsA = false;
    E const* step = b->nextAround();
    for (; step != nullptr && step != b; step = step->nextAround())
        meetsA = meetsA || step == ta;
    return step == b && meetsA;
}

//        y                       y
//        ^                     //  \            .
//        b                    b/    \           .
//   -----v-----     ->   ----- v     v' -----      v' takes the edges between a's twin and b, counterclockwise:
//        ^                    a\    /              the right-hand side of the path a, b
//        a                     \\  /            .
//        x                       x
void TopoMesh::splitVertex(TopoMeshEdge first, TopoMeshEdge second) {
    if (!canSplitVertex(first, second))
        return;
    E* const a = first.record();
    E* const b = second.record();
    E* const ta = a->twin;
    V* const v = b->origin;
    std::vector<E*> const side = counterclockwiseFrom(ta, b);
    vertices_.reserve(1);

    part(a);
    part(b);
    V* const copy = detachSide(v, side);

    assert(isConsistentAround(v) && isConsistentAround(copy));
    static_cast<void>(copy);
}

}  // namespace koGeom
