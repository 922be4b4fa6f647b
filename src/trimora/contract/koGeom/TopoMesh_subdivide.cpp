#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"

#include <cassert>
#include <vector>

/// Edits of the half-edge mesh that add: new vertices and edges in faces and on edges.
namespace koGeom {

using namespace detail;

bool TopoMesh::canSubdivideFace(TopoMeshFace f) const {
    return contains(f);
}

//        v2                       v2
//       /  \                     / | \         ring[i] runs from v[i] to v[i + 1], in[i] from v[i + 1] to c,
//      / f  \         ->        /  c  \        out[i] from c to v[i]; face i has ring[i], in[i], out[i],
//     /      \                 / /   \ \       and f is face 0
//   v0 ------ v1             v0 -------- v1
TopoMeshVertex TopoMesh::subdivideFace(TopoMeshFace f, Point const& p) {
    if (!canSubdivideFace(f))
        return TopoMeshVertex();
    std::vector<E*> ring;
    E* corner = f.record()->edge;
    do {
        ring.push_back(corner);
        corner = corner->next;
    } while (corner != f.record()->edge);
    std::size_t const n = ring.size();
    vertices_.reserve(1);
    edges_.reserve(2 * n);
    faces_.reserve(n - 1);

    V* const c = vertices_.create(tag_);
    c->position = p;
    E* firstOut = nullptr;
    E* lastIn = nullptr;
    for (std::size_t i = 0; i < n; ++i) {
        F* const face = i == 0 ? f.record() : faces_.create(tag_);
        E* const in = edges_.create(tag_);
        E* const out = edges_.create(tag_);
        V* const end = ring[i + 1 < n ? i + 1 : 0]->origin;

        join(ring[i], in);
        join(in, out);
        join(out, ring[i]);

        attach(in, end);
        attach(out, c);

        ring[i]->face = in->face = out->face = face;
        face->edge = ring[i];

        if (i == 0)
            firstOut = out;
        else
            makeTwins(lastIn, out);
        lastIn = in;
    }
    makeTwins(lastIn, firstOut);

    assert(isConsistentAround(f.record()) && isConsistentAround(c));
    return TopoMeshVertex(c);
}

bool TopoMesh::canSubdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b,
                                int numPoints) const {
    if (!contains(f) || !contains(a) || !contains(b) || numPoints < 0)
        return false;
    E const* const fromA = cornerOf(f.record(), a.record());
    E const* const fromB = cornerOf(f.record(), b.record());
    if (fromA == nullptr || fromB == nullptr)
        return false;
    // No face of fewer than three sides may come of it.
    if (fromA == fromB)
        return numPoints >= 2;
    return numPoints >= 1 || (fromA->next != fromB && fromB->next != fromA);
}

bool TopoMesh::canSubdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b) const {
    return canSubdivideFace(f, a, b, 0);
}

TopoMeshEdge TopoMesh::subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b) {
    if (!canSubdivideFace(f, a, b, 0))
        return TopoMeshEdge();
    return TopoMeshEdge(splitFace(f.record(), a.record(), b.record(), nullptr, 0));
}

TopoMeshFace TopoMesh::subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b,
                                     ko::vector<Point> const& points) {
    if (!canSubdivideFace(f, a, b, static_cast<int>(points.size())))
        return TopoMeshFace();
    splitFace(f.record(), a.record(), b.record(), points.data(), points.size());
    return f;
}

namespace {

/// Newell's normal of a closed polygon; its length is twice the area.
class AreaSum {
public:
    explicit AreaSum(Point const& first) : first_(first), last_(first) {}
    void add(Point const& p) {
        sum_ += cross(last_ - first_, p - first_);
        last_ = p;
    }
    Vector const& normal() const { return sum_; }

private:
    Point first_;
    Point last_;
    Vector sum_;
};

/// Does a chain from the corner over the points back to it run clockwise, seen as the face is?
bool runsClockwise(E const* corner, Point const* points, std::size_t numPoints) {
    AreaSum face(corner->origin->position);
    for (E const* e = corner->next; e != corner; e = e->next)
        face.add(e->origin->position);
    AreaSum chain(corner->origin->position);
    for (std::size_t i = 0; i < numPoints; ++i)
        chain.add(points[i]);
    return dot(face.normal(), chain.normal()) < 0.0;
}

}  // namespace

//      b ------ .                b ------ .        there[i] runs along the chain in f, back[i] is its twin in g;
//     /          \              / \\   f   \       f keeps the ring from b to a, g takes that from a to b.
//    .     f      .     ->     . g \\       .      With a = b one of the two is the bare chain: f when it runs
//     \          /              \   \\     /       counterclockwise, so that f lies to its left either way.
//      . ------ a                . ------ a
TopoMeshEdgeRecord* TopoMesh::splitFace(F* f, V* a, V* b, Point const* points,
                                        std::size_t numPoints) {
    E* const fromA = cornerOf(f, a);
    E* const fromB = cornerOf(f, b);
    E* const beforeA = fromA->prev;
    E* const beforeB = fromB->prev;
    bool const closed = fromA == fromB;
    bool const ringStays = !closed || runsClockwise(fromA, points, numPoints);
    bool const ringGoes = !closed || !ringStays;
    vertices_.reserve(numPoints);
    edges_.reserve(2 * numPoints + 2);
    faces_.reserve(1);

    F* const g = faces_.create(tag_);
    if (ringGoes) {
        // All the ring for a closed chain: the path from a comes back to a.
        E* e = fromA;
        do {
            if (e == f->edge)
                f->edge = fromB;
            e->face = g;
            e = e->next;
        } while (e != fromB);
    }

    E* const firstThere = edges_.create(tag_);
    E* const firstBack = edges_.create(tag_);
    E* there = firstThere;
    E* back = firstBack;
    attach(there, a);
    for (std::size_t i = 0; i < numPoints; ++i) {
        V* const c = vertices_.create(tag_);
        c->position = points[i];
        E* const nextThere = edges_.create(tag_);
        E* const nextBack = edges_.create(tag_);
        join(there, nextThere);
        join(nextBack, back);
        attach(nextThere, c);
        attach(back, c);
        makeTwins(there, back);
        there->face = f;
        back->face = g;
        there = nextThere;
        back = nextBack;
    }
    attach(back, b);
    makeTwins(there, back);
    there->face = f;
    back->face = g;

    if (ringGoes) {
        join(beforeB, back);
        join(firstBack, fromA);
    } else {
        join(firstBack, back);
    }
    if (ringStays) {
        join(beforeA, firstThere);
        join(there, fromB);
    } else {
        join(there, firstThere);
        f->edge = firstThere;
    }
    g->edge = back;

    assert(isConsistentAround(f) && isConsistentAround(g));
    return firstThere;
}

bool TopoMesh::canSubdivideEdge(TopoMeshEdge e) const {
    return contains(e);
}

//       e ->                  e ->     e2 ->
//   a ---------- b    ->   a ------ m ------ b      e and t keep their origins; a twin that runs the same way as e
//         <- t                 <- t2     <- t       is cut likewise, and then e2 belongs to t2
TopoMeshVertex TopoMesh::subdivideEdge(TopoMeshEdge edge, Point const& p) {
    if (!canSubdivideEdge(edge))
        return TopoMeshVertex();
    E* const e = edge.record();
    E* const t = e->twin;
    E* const afterE = e->next;
    E* const afterT = t != nullptr ? t->next : nullptr;
    bool const opposed = e->opposite() != nullptr;
    vertices_.reserve(1);
    edges_.reserve(2);

    V* const m = vertices_.create(tag_);
    m->position = p;
    E* const e2 = edges_.create(tag_);
    join(e, e2);
    join(e2, afterE);
    attach(e2, m);
    e2->face = e->face;
    if (t != nullptr) {
        E* const t2 = edges_.create(tag_);
        join(t, t2);
        join(t2, afterT);
        attach(t2, m);
        t2->face = t->face;
        makeTwins(e, opposed ? t2 : t);
        makeTwins(e2, opposed ? t : t2);
    }

    assert(isConsistentAround(e->face) && isConsistentAround(m));
    return TopoMeshVertex(m);
}

}  // namespace koGeom
