#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Entity.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/contract/koGeom/TopoMeshIterators.h"
#include "trimora/contract/koGeom/TopoMeshModification.h"
#include "trimora/contract/koGeom/TopoMeshPoint.h"

namespace koGeom {

/// A mesh that is made for editing: half-edges, vertices, and faces of any number of sides.
///
///              c
///            /   \            the half-edges of a face run counterclockwise round it;
///       prev/  f  \next       e runs from a to b, its twin from b to a in the face below;
///          /       \          an edge on the boundary has no twin, and the boundary no
///         a ---e--> b         half-edges of its own
///          <--twin--
///
/// lists      three, of vertices, faces and half-edges, each in order of creation; deletion keeps the order and is O(1).
///            A walk reads `nextInList` before it deletes an element.
/// handles    stay good until their element is deleted. Nothing is used again while the mesh lives, so a handle of a
///            deleted element is told apart and refused.
/// refusals   every operation is checked first, against its `can...` predicate where it has one. A null or stale handle,
///            a handle of another mesh or a case that the operation is not made for changes nothing, and the result is
///            null or false.
/// failure    a failed allocation passes through as std::bad_alloc and leaves the mesh as it was
/// memory     48 bytes a vertex, 64 a half-edge, 16 a face: 232 a triangle of a closed mesh
/// threads    not shared between threads while it is edited, and not while blind data is first used
/// degenerate faces with repeated vertices, several fans on a vertex, more than two faces on an edge and twins that run
///            the same way can be built and walked; the edits refuse where these take part
class TRIMORA_API TopoMesh : public Entity {
    friend class TopoMeshBulk;

public:
    TopoMesh();
    ~TopoMesh() override;
    TopoMesh(TopoMesh const&) = delete;
    TopoMesh& operator=(TopoMesh const&) = delete;

    // Queries.

    int numVertices() const { return vertices_.size(); }
    int numFaces() const { return faces_.size(); }
    /// Counts half-edges.
    int numEdges() const { return edges_.size(); }
    TopoMeshVertex firstVertex() const { return TopoMeshVertex(vertices_.first()); }
    TopoMeshFace firstFace() const { return TopoMeshFace(faces_.first()); }
    TopoMeshEdge firstEdge() const { return TopoMeshEdge(edges_.first()); }
    /// The half-edge that runs from a to b, or null; of several one. Looks at both ends at once: O(the lesser valence).
    static TopoMeshEdge findEdge(TopoMeshVertex a, TopoMeshVertex b);

    // Building.

    /// A new vertex without edges.
    TopoMeshVertex allocVertex(Point const& point);
    /// A new face with a ring of new half-edges in the given order, from the first vertex on. Each becomes the twin of a
    /// half-edge that runs the opposite way between its two vertices and has no twin yet, if there is one.
    /// returns   null when a vertex is null, or when there are fewer than three; vertices may repeat
    TopoMeshFace allocTriangle(TopoMeshVertex v0, TopoMeshVertex v1, TopoMeshVertex v2);
    TopoMeshFace allocQuad(TopoMeshVertex v0, TopoMeshVertex v1, TopoMeshVertex v2,
                           TopoMeshVertex v3);
    TopoMeshFace allocFace(ko::vector<TopoMeshVertex> const& vertices);
    /// Many new vertices and faces at once, all faces with the same number of sides: what allocVertex for each point and
    /// then allocFace for each face would make, only faster.
    ///
    /// points    the new vertices; the corners count from the first of them
    /// corners   `sides` (3 or more) a face; half-edge i runs from corner i to the next one of its face
    /// twins     for each half-edge its twin, or -1; null: found as allocFace finds them
    /// threads   writes the records on the shared pool when they are many; the outcome does not depend on it
    /// returns   the first new face; null, and nothing is changed, when a count is too small, a corner is out of range or
    ///           twins do not name each other between the same two vertices
    TopoMeshFace allocFaces(int numPoints, Point const* points, int numFaces, int sides,
                            int const* corners, int const* twins = nullptr);
    /// Makes two half-edges between the same two vertices each other's twin, whichever way they run; former twins of
    /// theirs are left without.
    void setTwins(TopoMeshEdge a, TopoMeshEdge b);
    bool canSetTwins(TopoMeshEdge a, TopoMeshEdge b) const;
    void setPoint(TopoMeshVertex vertex, Point const& point);
    /// Tells observers of a change.
    virtual void modified(TopoMeshModification& modification);

    // Splitting faces and edges.

    /// A new vertex at p, joined to every corner of f. f stays one of the new faces (the one on its first edge), the
    /// edges of its ring keep their handles.
    TopoMeshVertex subdivideFace(TopoMeshFace f, Point const& p);
    bool canSubdivideFace(TopoMeshFace f) const;
    /// A new edge across f between two corners that are not neighbours. The result runs from a to b and f is its face;
    /// the new face is on the other side.
    TopoMeshEdge subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b);
    bool canSubdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b) const;
    /// A chain of new vertices across f, from a over the points to b; a and b may be neighbours once there is a point,
    /// and the same vertex once there are two. f's ring runs a, chain, b; the new face is on the other side. A closed
    /// chain takes f inside when it runs counterclockwise in f, outside when clockwise.
    /// returns   f
    TopoMeshFace subdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b,
                               ko::vector<Point> const& points);
    bool canSubdivideFace(TopoMeshFace f, TopoMeshVertex a, TopoMeshVertex b, int numPoints) const;
    /// A new vertex at p on e and its twin. Both keep their origins; e ends at the new vertex and the new half-edge is
    /// e's next. The faces gain a corner each.
    TopoMeshVertex subdivideEdge(TopoMeshEdge e, Point const& p);
    bool canSubdivideEdge(TopoMeshEdge e) const;

    // Opening the surface. The side of the given edge keeps its vertices, the twin's side gets new ones in their places.

    /// Parts e from its twin, where both ends are on the boundary: two new vertices.
    void splitEdge(TopoMeshEdge e);
    bool canSplitEdge(TopoMeshEdge e) const;
    /// Parts e, which leaves v, from its twin, where v is on the boundary and the far end is inside.
    /// returns   the new vertex, in the place of v
    TopoMeshVertex splitVertex(TopoMeshVertex v, TopoMeshEdge e);
    bool canSplitVertex(TopoMeshVertex v, TopoMeshEdge e) const;
    /// Parts a and b from their twins, where a ends at the vertex that b leaves, and that vertex and the two far ends,
    /// which differ, are inside: one new vertex, in the place of the middle one.
    void splitVertex(TopoMeshEdge a, TopoMeshEdge b);
    bool canSplitVertex(TopoMeshEdge a, TopoMeshEdge b) const;

    // Changing and closing.

    /// Turns e, which lies between two triangles, so that it joins their opposite vertices; e and its twin keep their
    /// faces. Of the two ways to run it takes the one that makes a second swap restore the mesh link for link, but for
    /// own and first edges. A vertex whose own edge was turned away gets the one that the iterator reaches next.
    /// returns   false without a twin, beside other faces than two triangles, when the opposite vertices are one, or
    ///           when they are joined already
    bool swapEdge(TopoMeshEdge e);
    bool canSwapEdge(TopoMeshEdge e) const;
    /// Joins the ends of e and removes it, with the triangles on it; a larger face loses a side. e's origin survives,
    /// where it is, and the far end goes; so does the tip of a triangle that was in no other face.
    /// returns   the surviving vertex; null when the ends have a common neighbour other than the tips of those triangles,
    ///           or when two parts of the surface would come to touch at a point only
    TopoMeshVertex collapseEdge(TopoMeshEdge e);
    bool canCollapseEdge(TopoMeshEdge e) const;
    /// The same for an edge without a twin, and no other.
    TopoMeshVertex contractEdge(TopoMeshEdge e);
    bool canContractEdge(TopoMeshEdge e) const;
    /// Makes two boundary edges that run against each other twins. a's vertices survive, where they are; those ends of b
    /// that differ go. Refused when a face holds two vertices that would become one.
    void mergeVertices(TopoMeshEdge a, TopoMeshEdge b);
    bool canMergeVertices(TopoMeshEdge a, TopoMeshEdge b) const;

    // Deleting.

    /// Removes v and its edges; the faces round it become one. Round an inner vertex the ring is what surrounded it; on
    /// the boundary a new half-edge without twin closes it. At a boundary vertex of valence 1 the face goes too; an
    /// isolated vertex just goes.
    /// returns   the face of v's own edge, now the union; null when it went
    /// refused   when faces round v share more than the edges at v, and when fewer than three sides would be left
    TopoMeshFace deleteVertex(TopoMeshVertex v);
    bool canDeleteVertex(TopoMeshVertex v) const;
    /// Removes e and its twin; e's face takes over the other one. False on the boundary and with one face on both sides.
    bool deleteEdge(TopoMeshEdge e);
    bool canDeleteEdge(TopoMeshEdge e) const;
    /// Removes f and its half-edges; their twins are left without, the vertices stay.
    void deleteFace(TopoMeshFace f);

    /// True when the handle names a living element of this mesh.
    bool contains(TopoMeshVertex v) const { return owns(v.record()); }
    bool contains(TopoMeshEdge e) const { return owns(e.record()); }
    bool contains(TopoMeshFace f) const { return owns(f.record()); }

private:
    using V = TopoMeshVertexRecord;
    using E = TopoMeshEdgeRecord;
    using F = TopoMeshFaceRecord;

    friend class TopoMeshTriangles;

    template <typename Record>
    bool owns(Record const* record) const {
        return record != nullptr && record->owner == tag_;
    }

    TopoMeshFace allocRing(TopoMeshVertex const* corners, std::size_t count);
    E* splitFace(F* f, V* a, V* b, Point const* points, std::size_t numPoints);
    V* detachSide(V const* v, std::vector<E*> const& edges);
    void closeDigon(F* f);
    void dropSide(E* h);
    void removeIfLoose(V* v);
    void absorb(V* kept, V* gone);
    void removeHalfEdge(E* e);

    TopoMeshPool<V> vertices_;
    TopoMeshPool<E> edges_;
    TopoMeshPool<F> faces_;
    std::uint32_t const tag_;  ///< marks this mesh's living records; never 0
};

}  // namespace koGeom
