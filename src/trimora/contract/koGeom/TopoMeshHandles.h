#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMeshRecords.h"

/// The elements of a `TopoMesh` as values one pointer wide.
///
/// A handle stays valid until its element is deleted: no other edit moves a record. Two handles are equal when they
/// name the same element; `ko::less` and `ko::hash` go by the order of creation, so that sets and maps of handles come
/// out alike in every run (null comes first). The links of a null handle are null, its numbers 0, its point the
/// origin. Reading the links of a deleted element gives what they were, or null, until the mesh goes.
namespace koGeom {

class TopoMeshEdge;
class TopoMeshFace;

/// A vertex.
class TopoMeshVertex {
public:
    using Record = TopoMeshVertexRecord;
    static constexpr int numBlindSlots = Record::numBlindSlots;

    constexpr TopoMeshVertex() = default;
    explicit constexpr TopoMeshVertex(Record* record) : record_(record) {}
    explicit constexpr operator bool() const { return record_ != nullptr; }
    constexpr bool operator==(TopoMeshVertex const&) const = default;

    Point point() const { return record_ != nullptr ? record_->position : Point(); }
    /// The vertex's own edge, one of those that leave it; null for an isolated vertex.
    TopoMeshEdge edge() const;
    /// The next vertex of the mesh, null at the end.
    TopoMeshVertex nextInList() const {
        return TopoMeshVertex(record_ != nullptr ? TopoMeshPool<Record>::after(record_) : nullptr);
    }
    /// Slot 0 to numBlindSlots - 1; on a null handle or outside that range a slot that nobody reads.
    BlindData& blind(int slot) const;

    /// Number of half-edges that leave the vertex, over all its fans. O(valence).
    TRIMORA_API int valence() const;
    /// True when a half-edge that leaves or arrives has no twin; an isolated vertex is inside. O(valence).
    TRIMORA_API bool onBoundary() const;
    /// A face that holds both vertices, or null. O(valence times the sides of the faces).
    TRIMORA_API TopoMeshFace adjacent(TopoMeshVertex other) const;

    constexpr Record* record() const { return record_; }

private:
    Record* record_ = nullptr;
};

/// A half-edge: runs from its origin to the origin of its next.
class TopoMeshEdge {
public:
    using Record = TopoMeshEdgeRecord;
    static constexpr int numBlindSlots = Record::numBlindSlots;

    constexpr TopoMeshEdge() = default;
    explicit constexpr TopoMeshEdge(Record* record) : record_(record) {}
    explicit constexpr operator bool() const { return record_ != nullptr; }
    constexpr bool operator==(TopoMeshEdge const&) const = default;

    TopoMeshVertex origin() const {
        return TopoMeshVertex(record_ != nullptr ? record_->origin : nullptr);
    }
    /// Next and previous round the face, in winding order.
    TopoMeshEdge next() const { return TopoMeshEdge(record_ != nullptr ? record_->next : nullptr); }
    TopoMeshEdge prev() const { return TopoMeshEdge(record_ != nullptr ? record_->prev : nullptr); }
    /// The half-edge on the other side, null on the boundary. On an inconsistently wound mesh it may run the same way.
    TopoMeshEdge twin() const { return TopoMeshEdge(record_ != nullptr ? record_->twin : nullptr); }
    TopoMeshFace face() const;
    /// The next half-edge of the mesh, null at the end.
    TopoMeshEdge nextInList() const {
        return TopoMeshEdge(record_ != nullptr ? TopoMeshPool<Record>::after(record_) : nullptr);
    }
    /// Slot 0 to numBlindSlots - 1, of this half-edge alone: what holds for the whole edge is written to the twin as
    /// well.
    BlindData& blind(int slot) const;

    constexpr Record* record() const { return record_; }

private:
    Record* record_ = nullptr;
};

/// A face: a ring of three or more half-edges.
class TopoMeshFace {
public:
    using Record = TopoMeshFaceRecord;
    static constexpr int numBlindSlots = Record::numBlindSlots;

    constexpr TopoMeshFace() = default;
    explicit constexpr TopoMeshFace(Record* record) : record_(record) {}
    explicit constexpr operator bool() const { return record_ != nullptr; }
    constexpr bool operator==(TopoMeshFace const&) const = default;

    /// The first edge of the ring. It stays the first for as long as it lives in this face.
    TopoMeshEdge edge() const { return TopoMeshEdge(record_ != nullptr ? record_->edge : nullptr); }
    /// The next face of the mesh, null at the end.
    TopoMeshFace nextInList() const {
        return TopoMeshFace(record_ != nullptr ? TopoMeshPool<Record>::after(record_) : nullptr);
    }
    BlindData& blind(int slot) const;

    /// Number of sides, which is the number of corners.
    TRIMORA_API int numVertices() const;
    /// Mean of the corners.
    TRIMORA_API Point centroid() const;
    /// The edge of this face that leaves the vertex (the first from the first edge), or null.
    TRIMORA_API TopoMeshEdge adjacent(TopoMeshVertex vertex) const;

    constexpr Record* record() const { return record_; }

private:
    Record* record_ = nullptr;
};

inline TopoMeshEdge TopoMeshVertex::edge() const {
    return TopoMeshEdge(record_ != nullptr ? record_->edge : nullptr);
}
inline TopoMeshFace TopoMeshEdge::face() const {
    return TopoMeshFace(record_ != nullptr ? record_->face : nullptr);
}

/// A vertex, a half-edge or a face, in one type.
struct TopoMeshEntity {
    enum Kind : int { Vertex = 0, Edge = 1, Face = 2 };

    int kind = Vertex;
    void* pointer = nullptr;

    TopoMeshEntity() = default;
    TopoMeshEntity(TopoMeshVertex vertex) : kind(Vertex), pointer(vertex.record()) {}
    TopoMeshEntity(TopoMeshEdge edge) : kind(Edge), pointer(edge.record()) {}
    TopoMeshEntity(TopoMeshFace face) : kind(Face), pointer(face.record()) {}
    explicit operator bool() const { return pointer != nullptr; }
    bool operator==(TopoMeshEntity const&) const = default;

    /// The handle when the kind is this one, else a null handle.
    TopoMeshVertex asVertex() const {
        return TopoMeshVertex(kind == Vertex ? static_cast<TopoMeshVertexRecord*>(pointer)
                                             : nullptr);
    }
    TopoMeshEdge asEdge() const {
        return TopoMeshEdge(kind == Edge ? static_cast<TopoMeshEdgeRecord*>(pointer) : nullptr);
    }
    TopoMeshFace asFace() const {
        return TopoMeshFace(kind == Face ? static_cast<TopoMeshFaceRecord*>(pointer) : nullptr);
    }
};

namespace detail {

/// The slot of a misuse: written and forgotten.
TRIMORA_API BlindData& discardedBlindData();

template <typename Record>
BlindData& blindSlot(Record* record, int slot) {
    if (record == nullptr || slot < 0 || slot >= Record::numBlindSlots) [[unlikely]]
        return discardedBlindData();
    return TopoMeshPool<Record>::blind(record, slot);
}

/// Place in the order of creation; 0 for null.
template <typename Handle>
std::size_t creationRank(Handle handle) {
    return handle ? std::size_t(handle.record()->number) + 1 : 0;
}

}  // namespace detail

inline BlindData& TopoMeshVertex::blind(int slot) const {
    return detail::blindSlot(record_, slot);
}
inline BlindData& TopoMeshEdge::blind(int slot) const {
    return detail::blindSlot(record_, slot);
}
inline BlindData& TopoMeshFace::blind(int slot) const {
    return detail::blindSlot(record_, slot);
}

}  // namespace koGeom

namespace ko {

template <>
struct less<koGeom::TopoMeshVertex> {
    bool operator()(koGeom::TopoMeshVertex a, koGeom::TopoMeshVertex b) const {
        return koGeom::detail::creationRank(a) < koGeom::detail::creationRank(b);
    }
};
template <>
struct less<koGeom::TopoMeshEdge> {
    bool operator()(koGeom::TopoMeshEdge a, koGeom::TopoMeshEdge b) const {
        return koGeom::detail::creationRank(a) < koGeom::detail::creationRank(b);
    }
};
template <>
struct less<koGeom::TopoMeshFace> {
    bool operator()(koGeom::TopoMeshFace a, koGeom::TopoMeshFace b) const {
        return koGeom::detail::creationRank(a) < koGeom::detail::creationRank(b);
    }
};

template <>
struct hash<koGeom::TopoMeshVertex> {
    std::size_t operator()(koGeom::TopoMeshVertex v) const {
        return koGeom::detail::creationRank(v);
    }
};
template <>
struct hash<koGeom::TopoMeshEdge> {
    std::size_t operator()(koGeom::TopoMeshEdge e) const { return koGeom::detail::creationRank(e); }
};
template <>
struct hash<koGeom::TopoMeshFace> {
    std::size_t operator()(koGeom::TopoMeshFace f) const { return koGeom::detail::creationRank(f); }
};

/// Entities go by kind, then by creation.
template <>
struct hash<koGeom::TopoMeshEntity> {
    std::size_t operator()(koGeom::TopoMeshEntity const& e) const {
        std::size_t const rank = koGeom::detail::creationRank(e.asVertex()) +
                                 koGeom::detail::creationRank(e.asEdge()) +
                                 koGeom::detail::creationRank(e.asFace());
        return 3 * rank + static_cast<std::size_t>(e.kind);
    }
};
template <>
struct less<koGeom::TopoMeshEntity> {
    bool operator()(koGeom::TopoMeshEntity const& a, koGeom::TopoMeshEntity const& b) const {
        return a.kind != b.kind
                   ? a.kind < b.kind
                   : hash<koGeom::TopoMeshEntity>()(a) < hash<koGeom::TopoMeshEntity>()(b);
    }
};

}  // namespace ko
