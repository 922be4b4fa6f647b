#include "trimora/contract/koGeom/TopoMeshTriangles.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"
#include "trimora/contract/koOS/largePages.h"

/// The half-edge mesh of triangles in numbers. The faces of the mesh are walked twice in the same order, when the links
/// are read and when they are written back; that order is what joins records and numbers, so that no table of records is
/// kept meanwhile.
namespace koGeom {

using namespace detail;

namespace {

/// Calls function(face record, number of its triangle) for all faces.
template <typename Function>
void forEachFace(TopoMesh const& mesh, Function const& function) {
    TopoMeshTriangles::Index number = 0;
    for (TopoMeshFace f = mesh.firstFace(); f;) {
        TopoMeshFace const following = f.nextInList();
        function(f.record(), number++);
        f = following;
    }
}

}  // namespace

bool TopoMeshTriangles::canHold(TopoMesh const& mesh) {
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList())
        if (!isTriangle(f.record()))
            return false;
    return true;
}

/// The number here of each half-edge, by its creation number there.
std::vector<TopoMeshTriangles::Index> TopoMeshTriangles::numberHalfEdges() const {
    std::vector<Index> numbers(mesh_.edges_.numCreated(), none);
    forEachFace(mesh_, [&](F const* f, Index face) {
        E const* e = f->edge;
        for (Index k = 0; k < 3; ++k, e = e->next)
            numbers[e->number] = 4 * face + k;
    });
    return numbers;
}

TopoMeshTriangles::TopoMeshTriangles(TopoMesh& mesh)
    : mesh_(mesh),
      vertices_(mesh.vertices_.numCreated()),
      listOrder_(numberHalfEdges()),
      numFaces_(mesh.numFaces()) {
    koOS::resizeInLargePages(triangles_, static_cast<std::size_t>(mesh.numFaces()));
    auto const numberOf = [&](E const* e) { return e != nullptr ? listOrder_[e->number] : none; };

    forEachFace(mesh_, [&](F const* f, Index face) {
        E const* e = f->edge;
        for (HalfEdge& h : triangles_[face].halfEdges) {
            h = {e->origin->number, numberOf(e->twin), numberOf(e->nextLeaving),
                 numberOf(e->prevLeaving)};
            e = e->next;
        }
    });
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList())
        vertices_[v.record()->number] = {numberOf(v.record()->edge),
                                         numberOf(v.record()->firstLeaving), true};

    std::erase(listOrder_, none);
    isOriented_ = findOriented();
    hasSingleFans_ = findSingleFans();
}

bool TopoMeshTriangles::findOriented() const {
    for (Index h = 0; h < numHalfEdges(); h += 4) {
        Index const a = origin(h);
        Index const b = origin(h + 1);
        Index const c = origin(h + 2);
        if (a == b || b == c || c == a)
            return false;
        for (Index k = 0; k < 3; ++k)
            if (twin(h + k) != none && opposite(h + k) == none)
                return false;
    }
    return true;
}

bool TopoMeshTriangles::findSingleFans() const {
    for (Index v = 0; v < numVertices(); ++v) {
        int numLeaving = 0;
        for (Index h = firstLeaving(v); h != none; h = nextLeaving(h))
            ++numLeaving;
        if (numLeaving != sizeOfOwnFan(v))
            return false;
    }
    return true;
}

int TopoMeshTriangles::sizeOfOwnFan(Index vertex) const {
    Index const own = ownEdge(vertex);
    int size = 0;
    for (Index h = own; h != none; h = nextAround(h)) {
        if (h == own && size > 0)
            return size;
        ++size;
    }
    for (Index h = own != none ? prevAround(own) : none; h != none; h = prevAround(h))
        ++size;
    return size;
}

/// Lets h leave the vertex; as its own edge if it has none.
void TopoMeshTriangles::attach(Index h, Index vertex) {
    Vertex& v = vertices_[vertex];
    HalfEdge& e = at(h);
    e.origin = vertex;
    e.prevLeaving = none;
    e.nextLeaving = v.firstLeaving;
    if (v.firstLeaving != none)
        at(v.firstLeaving).prevLeaving = h;
    else
        v.ownEdge = h;
    v.firstLeaving = h;
}

/// Takes h off its origin. If it was the own edge, another one of the chain is.
void TopoMeshTriangles::detach(Index h) {
    HalfEdge const& e = at(h);
    Vertex& v = vertices_[e.origin];
    (e.prevLeaving != none ? at(e.prevLeaving).nextLeaving : v.firstLeaving) = e.nextLeaving;
    if (e.nextLeaving != none)
        at(e.nextLeaving).prevLeaving = e.prevLeaving;
    if (v.ownEdge == h)
        v.ownEdge = e.nextLeaving != none ? e.nextLeaving : e.prevLeaving;
}

/// Either may be none: the other one is on the boundary then.
void TopoMeshTriangles::makeTwins(Index h, Index other) {
    if (h != none)
        at(h).twin = other;
    if (other != none)
        at(other).twin = h;
}

/// Removes the triangle of h, whose ends are one already: the twins of its other two edges become each other's. The order
/// in which its half-edges leave the chains decides which edges become the vertices' own.
void TopoMeshTriangles::fold(Index h) {
    makeTwins(twin(next(h)), twin(prev(h)));
    detach(h);
    detach(next(h));
    detach(prev(h));
    for (HalfEdge& e : triangles_[faceOf(h)].halfEdges)
        e.origin = none;
    --numFaces_;
}

void TopoMeshTriangles::removeIfLoose(Index vertex) {
    if (vertex != none && firstLeaving(vertex) == none)
        vertices_[vertex].isAlive = false;
}

//      c                    c
//     /|\                   |          b's edges leave a; e and t go, and each triangle on them folds up: the outer halves of
//    / f \                  |          its two other edges become twins.
//   a --e-> b       ->      a
//    \ g /                  |
//     \|/                   |
//      d                    d
void TopoMeshTriangles::collapse(Index e) {
    Index const t = twin(e);
    Index const a = origin(e);
    Index const b = end(e);
    Index const c = origin(prev(e));
    Index const d = t != none ? origin(prev(t)) : none;

    for (Index h = firstLeaving(b); h != none;) {
        Index const following = nextLeaving(h);
        attach(h, a);
        h = following;
    }
    vertices_[b] = Vertex();

    fold(e);
    if (t != none)
        fold(t);
    removeIfLoose(c);
    removeIfLoose(d);
}

void TopoMeshTriangles::store() {
    std::vector<E*> records(3 * triangles_.size());
    forEachFace(mesh_, [&](F const* f, Index face) {
        E* e = f->edge;
        for (std::size_t k = 0; k < 3; ++k, e = e->next)
            records[3 * std::size_t(face) + k] = e;
    });
    std::vector<V*> vertices(vertices_.size());
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList())
        vertices[v.record()->number] = v.record();
    records_.swap(records);

    forEachFace(mesh_, [&](F* f, Index face) {
        bool const isAlive = isFaceAlive(face);
        for (Index k = 0; k < 3; ++k) {
            HalfEdge const& h = triangles_[face].halfEdges[k];
            E* const e = recordOf(4 * face + k);
            if (!isAlive) {
                mesh_.edges_.destroy(e);
                continue;
            }
            e->origin = vertices[h.origin];
            e->twin = recordOf(h.twin);
            e->nextLeaving = recordOf(h.nextLeaving);
            e->prevLeaving = recordOf(h.prevLeaving);
        }
        if (!isAlive)
            mesh_.faces_.destroy(f);
    });
    for (Index v = 0; v < numVertices(); ++v) {
        V* const record = vertices[v];
        if (record == nullptr)
            continue;
        record->edge = recordOf(ownEdge(v));
        record->firstLeaving = recordOf(firstLeaving(v));
        if (!vertices_[v].isAlive)
            mesh_.vertices_.destroy(record);
    }
}

}  // namespace koGeom
