#include "trimora/contract/koGeom/TopoMesh.h"

#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"

#include <cassert>

/// The half-edge mesh: queries and building. The edits stand in TopoMesh_subdivide.cpp (splitting faces and edges),
/// TopoMesh_open.cpp (parting the surface), TopoMesh_join.cpp (swapping, collapsing, merging) and TopoMesh_delete.cpp.
///
/// Every vertex chains all half-edges that leave it, whatever faces they belong to. That is what finds a twin at once,
/// also while a vertex still consists of loose fans, and what keeps every question about a vertex exact where the
/// surface is not manifold.
namespace koGeom {

using namespace detail;

namespace {

/// The address tells meshes apart. Two live ones are further apart than 16 bytes, and stale tags are 0.
std::uint32_t tagOf(TopoMesh const* mesh) {
    auto const address = reinterpret_cast<std::uintptr_t>(mesh);
    return static_cast<std::uint32_t>(address >> 4) | 0x80000000u;
}

}  // namespace

namespace {

/// One half-edge and what it links to, without a walk.
bool isConsistentAt(E const* e) {
    E const* const twin = e->twin;
    bool const sameWay = twin != nullptr && twin->origin == e->origin && twin->end() == e->end();
    return e->owner != 0 && e->origin->owner != 0 && e->face->owner != 0 && e->next->prev == e &&
           e->prev->next == e && (e->nextLeaving == nullptr || e->nextLeaving->prevLeaving == e) &&
           (e->prevLeaving == nullptr ? e->origin->firstLeaving : e->prevLeaving->nextLeaving) ==
               e &&
           (twin == nullptr || (twin->twin == e && twin->owner != 0)) &&
           (twin == nullptr || sameWay || e->opposite() != nullptr);
}

}  // namespace

bool detail::isConsistentAround(V const* v) {
    for (E const* e = v->firstLeaving; e != nullptr; e = e->nextLeaving)
        if (e->origin != v || !isConsistentAt(e))
            return false;
    return true;
}

bool detail::isConsistentAround(F const* f) {
    E const* e = f->edge;
    do {
        if (e->face != f || !isConsistentAt(e))
            return false;
        e = e->next;
    } while (e != f->edge);
    return true;
}

TopoMesh::TopoMesh() : tag_(tagOf(this)) {}

TopoMesh::~TopoMesh() = default;

TopoMeshEdge TopoMesh::findEdge(TopoMeshVertex a, TopoMeshVertex b) {
    if (!a || !b)
        return TopoMeshEdge();
    return TopoMeshEdge(findHalfEdge<false>(a.record(), b.record()));
}

TopoMeshVertex TopoMesh::allocVertex(Point const& point) {
    vertices_.reserve(1);
    V* const v = vertices_.create(tag_);
    v->position = point;
    return TopoMeshVertex(v);
}

// Corners c[0] .. c[n - 1]; half-edge i runs from c[i] to c[i + 1]. The partners are looked up before any new half-edge is
// attached to its origin, so that a face does not become its own neighbour.
TopoMeshFace TopoMesh::allocRing(TopoMeshVertex const* corners, std::size_t count) {
    if (count < 3)
        return TopoMeshFace();
    for (std::size_t i = 0; i < count; ++i)
        if (!contains(corners[i]))
            return TopoMeshFace();
    edges_.reserve(count);
    faces_.reserve(1);

    F* const f = faces_.create(tag_);
    E* last = nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        V* const from = corners[i].record();
        V* const to = corners[i + 1 < count ? i + 1 : 0].record();
        E* const e = edges_.create(tag_);
        e->face = f;
        e->origin = from;
        if (i == 0)
            f->edge = e;
        else
            join(last, e);
        last = e;
        E* const partner = findHalfEdge<true>(to, from);
        if (partner != nullptr)
            makeTwins(e, partner);
    }
    join(last, f->edge);

    E* e = f->edge;
    do {
        attach(e, e->origin);
        e = e->next;
    } while (e != f->edge);
    assert(isConsistentAround(f));
    return TopoMeshFace(f);
}

TopoMeshFace TopoMesh::allocTriangle(TopoMeshVertex v0, TopoMeshVertex v1, TopoMeshVertex v2) {
    TopoMeshVertex const corners[] = {v0, v1, v2};
    return allocRing(corners, 3);
}

TopoMeshFace TopoMesh::allocQuad(TopoMeshVertex v0, TopoMeshVertex v1, TopoMeshVertex v2,
                                 TopoMeshVertex v3) {
    TopoMeshVertex const corners[] = {v0, v1, v2, v3};
    return allocRing(corners, 4);
}

TopoMeshFace TopoMesh::allocFace(ko::vector<TopoMeshVertex> const& vertices) {
    return allocRing(vertices.data(), vertices.size());
}

bool TopoMesh::canSetTwins(TopoMeshEdge a, TopoMeshEdge b) const {
    if (!contains(a) || !contains(b) || a == b)
        return false;
    E const* const e = a.record();
    E const* const f = b.record();
    bool const against = e->origin == f->end() && e->end() == f->origin;
    bool const alike = e->origin == f->origin && e->end() == f->end();
    return against || alike;
}

void TopoMesh::setTwins(TopoMeshEdge a, TopoMeshEdge b) {
    if (!canSetTwins(a, b) || a.twin() == b)
        return;
    makeTwins(nullptr, a.record()->twin);
    makeTwins(nullptr, b.record()->twin);
    makeTwins(a.record(), b.record());
}

void TopoMesh::setPoint(TopoMeshVertex vertex, Point const& point) {
    if (contains(vertex))
        vertex.record()->position = point;
}

void TopoMesh::modified(TopoMeshModification& modification) {
    sendMessage(modification);
}

}  // namespace koGeom
