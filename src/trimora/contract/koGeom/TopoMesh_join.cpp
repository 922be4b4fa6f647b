#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"

#include <cassert>

/// Edits of the half-edge mesh that turn edges and bring vertices together.
namespace koGeom {

using namespace detail;

bool TopoMesh::canSwapEdge(TopoMeshEdge edge) const {
    if (!contains(edge))
        return false;
    E const* const e = edge.record();
    E const* const t = e->opposite();
    if (t == nullptr || t->face == e->face || !isTriangle(e->face) || !isTriangle(t->face))
        return false;
    V const* const a = e->origin;
    V const* const b = t->origin;
    V const* const c = e->prev->origin;
    V const* const d = t->prev->origin;
    bool const distinct = a != b && a != c && a != d && b != c && b != d && c != d;
    return distinct && !areJoined(c, d);
}

//         c                     c
//       /   \                 / | \        n, p are e's next and previous, tn, tp its twin t's; e runs a to b before.
//      p  f  n               p  |  n       Afterwards e runs c to d or d to c, whichever lets it run from the older to the
//     /       \             /   |   \      younger vertex, or from the younger to the older, as it did: so a second swap is
//    a -- e -- b     ->    a    e    b     the inverse of the first. f is what lies left of e, g right of it.
//     \       /             \   |   /
//     tn  g  tp             tn  |  tp
//       \   /                 \ | /
//         d                     d
bool TopoMesh::swapEdge(TopoMeshEdge edge) {
    if (!canSwapEdge(edge))
        return false;
    E* const e = edge.record();
    E* const t = e->twin;
    E* const n = e->next;
    E* const p = e->prev;
    E* const tn = t->next;
    E* const tp = t->prev;
    F* const f = e->face;
    F* const g = t->face;
    V* const a = e->origin;
    V* const b = t->origin;
    V* const c = p->origin;
    V* const d = tp->origin;
    bool const downward = (a->number < b->number) == (c->number < d->number);
    E* const nextOfA = e->nextAround() != nullptr ? e->nextAround() : e->prevAround();
    E* const nextOfB = t->nextAround() != nullptr ? t->nextAround() : t->prevAround();
    bool const ownOfA = a->edge == e;
    bool const ownOfB = b->edge == t;

    // Each face keeps one of its two other edges and gives the other away.
    E* const givenByF = downward ? p : n;
    E* const keptByF = downward ? n : p;
    E* const givenByG = downward ? tp : tn;
    E* const keptByG = downward ? tn : tp;

    if (downward) {  // e: c -> d -> b -> c, t: d -> c -> a -> d
        join(e, givenByG);
        join(givenByG, keptByF);
        join(keptByF, e);
        join(t, givenByF);
        join(givenByF, keptByG);
        join(keptByG, t);
    } else {  // e: d -> c -> a -> d, t: c -> d -> b -> c
        join(e, keptByF);
        join(keptByF, givenByG);
        join(givenByG, e);
        join(t, keptByG);
        join(keptByG, givenByF);
        join(givenByF, t);
    }

    moveOrigin(e, downward ? c : d);
    moveOrigin(t, downward ? d : c);

    givenByF->face = g;
    givenByG->face = f;

    // A first edge that went hands over to the next of the old ring: for n that is p, for p that is e.
    if (f->edge == givenByF)
        f->edge = downward ? e : keptByF;
    if (g->edge == givenByG)
        g->edge = downward ? t : keptByG;
    if (ownOfA)
        a->edge = nextOfA;
    if (ownOfB)
        b->edge = nextOfB;

    assert(isConsistentAround(f) && isConsistentAround(g));
    return true;
}

namespace {

/// True when the ring of f, other than a triangle's, comes past v; triangles are told by the neighbours of v already.
bool isLargeAndHolds(F const* f, V const* v) {
    return !isTriangle(f) && cornerOf(f, v) != nullptr;
}

bool occursOnce(F const* f, V const* v) {
    E const* const corner = cornerOf(f, v);
    for (E const* e = corner->next; e != corner; e = e->next)
        if (e->origin == v)
            return false;
    return true;
}

bool hasFewerLeaving(V const* v, V const* w) {
    E const* e = v->firstLeaving;
    E const* h = w->firstLeaving;
    while (e != nullptr && h != nullptr) {
        e = e->nextLeaving;
        h = h->nextLeaving;
    }
    return e == nullptr;
}

/// Would the two edges beside h, in its triangle, be fit to become one? Their twins must run against them.
bool hasFoldableSides(E const* h) {
    E const* const n = h->next;
    E const* const p = h->prev;
    return (n->twin == nullptr || n->opposite() != nullptr) &&
           (p->twin == nullptr || p->opposite() != nullptr);
}

/// Will nothing of the surface be left beside h once its ends are one?
bool isLooseSide(E const* h) {
    return isTriangle(h->face) && h->next->twin == nullptr && h->prev->twin == nullptr;
}

/// Is the face of h, where it joins ends, simple enough to lose it?
bool canLoseSide(E const* h) {
    if (isTriangle(h->face))
        return hasFoldableSides(h) && h->prev->origin != h->origin && h->prev->origin != h->end();
    return occursOnce(h->face, h->origin) && occursOnce(h->face, h->end());
}

/// Are the ends of e joined by e alone, with no neighbour in common but the tips of the triangles on e, and with no larger
/// face that holds both?
bool satisfiesLinkCondition(E const* e, E const* t) {
    bool const originIsSmaller = hasFewerLeaving(e->origin, e->end());
    V const* const star = originIsSmaller ? e->origin : e->end();
    V const* const far = originIsSmaller ? e->end() : e->origin;
    V const* const tip = isTriangle(e->face) ? e->prev->origin : nullptr;
    V const* const otherTip = t != nullptr && isTriangle(t->face) ? t->prev->origin : nullptr;

    auto const isFine = [&](E const* h, V const* neighbour) {
        if (h == e || h == t || neighbour == tip || neighbour == otherTip)
            return true;
        return neighbour != far && neighbour != star && !areJoined(neighbour, far);
    };
    for (E const* h = star->firstLeaving; h != nullptr; h = h->nextLeaving) {
        if (!isFine(h, h->end()) || !isFine(h->prev, h->prev->origin))
            return false;
        bool const besideE = h->face == e->face || (t != nullptr && h->face == t->face);
        if (!besideE && isLargeAndHolds(h->face, far))
            return false;
    }
    return true;
}

}  // namespace

bool TopoMesh::canCollapseEdge(TopoMeshEdge edge) const {
    if (!contains(edge))
        return false;
    E const* const e = edge.record();
    E const* const t = e->opposite();
    if (e->origin == e->end() || e->twin != t || !canLoseSide(e))
        return false;
    if (t != nullptr) {
        if (t->face == e->face || !canLoseSide(t))
            return false;
        // With both ends on the boundary the parts on the two sides would touch at a point.
        if (isFanOpen(e) && isFanOpen(t) && !isLooseSide(e) && !isLooseSide(t))
            return false;
    }
    return satisfiesLinkCondition(e, t);
}

/// Closes a face that is down to two edges: their twins become each other's.
void TopoMesh::closeDigon(F* f) {
    E* const e = f->edge;
    E* const h = e->next;
    E* const besideE = e->twin;
    E* const besideH = h->twin;

    makeTwins(besideE, besideH);
    detach(e);
    detach(h);
    edges_.destroy(e);
    edges_.destroy(h);
    faces_.destroy(f);
}

/// Takes h, whose ends are one already, out of the ring of its face; closes the face if it was a triangle.
void TopoMesh::dropSide(E* h) {
    F* const f = h->face;
    E* const before = h->prev;
    E* const after = h->next;
    bool const wasTriangle = isTriangle(f);

    join(before, after);
    if (f->edge == h)
        f->edge = after;
    detach(h);
    edges_.destroy(h);
    if (wasTriangle)
        closeDigon(f);
}

/// Removes a vertex that no edge leaves any more; null and one that is gone already are allowed.
void TopoMesh::removeIfLoose(V* v) {
    if (v != nullptr && v->owner != 0 && v->firstLeaving == nullptr)
        vertices_.destroy(v);
}

//      c                    c
//     /|\                   |          b's edges leave a; e and t go, and each triangle on them folds up: the outer halves of
//    / f \                  |          its two other edges become twins. A larger face is a side shorter. A tip that was in
//   a --e-> b       ->      a          its triangle alone goes with it.
//    \ g /                  |
//     \|/                   |
//      d                    d
TopoMeshVertex TopoMesh::collapseEdge(TopoMeshEdge edge) {
    if (!canCollapseEdge(edge))
        return TopoMeshVertex();
    E* const e = edge.record();
    E* const t = e->twin;
    V* const a = e->origin;
    V* const b = e->end();
    V* const c = isTriangle(e->face) ? e->prev->origin : nullptr;
    V* const d = t != nullptr && isTriangle(t->face) ? t->prev->origin : nullptr;

    while (b->firstLeaving != nullptr)
        moveOrigin(b->firstLeaving, a);

    // One side after the other: where the two triangles share an edge the second finds what the first has left.
    dropSide(e);
    if (t != nullptr)
        dropSide(t);
    vertices_.destroy(b);
    removeIfLoose(c);
    removeIfLoose(d);

    assert(isConsistentAround(a));
    return TopoMeshVertex(a);
}

bool TopoMesh::canContractEdge(TopoMeshEdge e) const {
    return contains(e) && !e.twin() && canCollapseEdge(e);
}

TopoMeshVertex TopoMesh::contractEdge(TopoMeshEdge e) {
    return canContractEdge(e) ? collapseEdge(e) : TopoMeshVertex();
}

bool TopoMesh::canMergeVertices(TopoMeshEdge a, TopoMeshEdge b) const {
    if (!contains(a) || !contains(b) || a == b || a.twin() || b.twin())
        return false;
    TopoMeshVertex const a0 = a.origin();
    TopoMeshVertex const a1 = a.next().origin();
    TopoMeshVertex const b0 = b.origin();
    TopoMeshVertex const b1 = b.next().origin();
    if (a0 == a1 || b0 == b1)
        return false;
    // A face that holds two vertices which become one would touch itself.
    return (a0 == b1 || !a0.adjacent(b1)) && (a1 == b0 || !a1.adjacent(b0));
}

/// Lets all edges of `gone` leave `kept`.
void TopoMesh::absorb(V* kept, V* gone) {
    if (kept == gone)
        return;
    while (gone->firstLeaving != nullptr)
        moveOrigin(gone->firstLeaving, kept);
    vertices_.destroy(gone);
}

//   -- b1 <-- b0 --               -- a0 --- a1 --
//                        ->
//   -- a0 --> a1 --          no other edges become twins, though they may now run between the same vertices
void TopoMesh::mergeVertices(TopoMeshEdge first, TopoMeshEdge second) {
    if (!canMergeVertices(first, second))
        return;
    E* const a = first.record();
    E* const b = second.record();
    V* const a0 = a->origin;
    V* const a1 = a->end();
    V* const b0 = b->origin;
    V* const b1 = b->end();

    absorb(a0, b1);
    absorb(a1, b0);
    makeTwins(a, b);

    assert(isConsistentAround(a0) && isConsistentAround(a1));
}

}  // namespace koGeom
