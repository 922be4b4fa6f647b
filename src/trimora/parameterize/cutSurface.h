#pragma once

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshCache;

/// A directed edge of a mesh with the triangles beside it.
struct itineraryItem {
    int nextTriangle;  ///< across the edge, -1 at the mesh's boundary
    int triangle;      ///< on this side
    int start;
    int end;
    int newStart;  ///< the vertices once the mesh is cut; at first start and end
    int newEnd;
};

/// Cuts a surface open into a disk, along edges, by doubling the vertices on the cut.
///
/// makeDisk() is the whole job, the other operations are its steps and small helpers. Nothing is kept between calls; all of it
/// runs on the calling thread, but for the table that makeDisk() makes.
///
/// A fan is what `MeshAdjTris` lists at a vertex. Steps on a mesh that has been cut already need its new table. The surface should
/// be manifold and oriented: others are safe to hand in, but may be left in another shape than a disk, of which nothing tells.
///
/// source   the complement of a spanning tree of the triangles: Erickson and Har-Peled 2004 [erickson2004]
class TRIMORA_API cutSurface {
public:
    /// Makes the component of vertex 0 a disk with vertex 0 inside it, or on its border where it lies on one already.
    ///
    /// mesh     edited in place: vertices are appended, triangles keep their places, their number and the positions of their
    ///          corners. One modification of type Topology; of the vertices' sets only the positions are carried over to the new
    ///          ones. Sent as well when there was nothing to cut; when vertex 0 has no triangles the mesh stays and nothing is sent
    /// result   one boundary loop round the component, which has the Euler number 1; other components are left alone, but parts that
    ///          share a vertex count as one component, which is then no disk
    /// cost     O(triangles); of fans of n triangles O(n^2). About 120 bytes a triangle of scratch
    /// order    a vertex met by k pieces of its fan keeps the first one, the others get the next k - 1 numbers, vertices ascending
    void makeDisk(CompactMesh& mesh);

    /// Walks the triangles as a tree, breadth first, from all triangles of vertex 0; what the tree does not cross is the cut.
    ///
    /// cut   out: appended to. A boundary edge comes once, as its triangle runs it; an inner edge twice, the mirrored item behind
    ///       the item
    void findUnresolvedBoundary(ko::list<itineraryItem>& cut, MeshTriangle* triangles,
                                int triangleCount, MeshAdjTris& adjacency);

    /// Finds the triangles across the edges of one, through the fans of its first two corners.
    ///
    /// visited   a flag a triangle
    /// queue     out: appended, the edges to triangles that were not visited, in the order of finding: of the first corner's fan
    ///           edges 2 and 0, until both are found, then of the second's edge 1
    /// cut       out: appended, in ascending order, the edges that no triangle was found across
    void checkNeighborhood(int triangle, MeshAdjTris const& adjacency, MeshTriangle* triangles,
                           bool* const visited, ko::list<itineraryItem>& queue,
                           ko::list<itineraryItem>& cut);

    /// Notes the neighbour across an edge of a triangle, and queues the edge unless the neighbour was visited.
    ///
    /// side         the edge, from corner `side` to the next one
    /// vertices     the triangle's corners
    /// neighbours   out: entry `side`
    void pushNeighbor(int side, int neighbour, int triangle, int* vertices, bool* visited,
                      int* neighbours, ko::list<itineraryItem>& queue);

    /// Orders items as a tour with the surface on its left.
    ///
    /// in    edges of a cut as findUnresolvedBoundary() gives them; the first one starts the tour. Emptied, unless a vertex is
    ///       reached from which no item goes on: what has not come by then stays, in its order
    /// out   appended to
    /// ties  of two items to go on with, one that is the mirror of the very first item loses; otherwise the first one clockwise
    ///       from where the tour came from
    /// cost  O(items), of fans of n triangles O(n^2); 20 bytes an item, 8 a vertex of scratch
    void sequenceEdges(ko::list<itineraryItem>& in, ko::list<itineraryItem>& out,
                       MeshTriangle* triangles, MeshAdjTris const& adjacency);

    /// Gives each vertex of the edges as many copies as it has pieces of its fan beyond the first, and the triangles to them.
    ///
    /// triangles   the mesh's own; all fans are read before the first one is changed
    /// mesh        of new vertices the positions are set; sends nothing
    void processCut(ko::list<itineraryItem>& edges, MeshTriangle* triangles,
                    MeshAdjTris const& adjacency, CompactMesh& mesh);

    /// The pieces into which the edges at a vertex cut its fan.
    ///
    /// partitions   out: appended, the triangles of each piece counterclockwise. At a vertex inside the surface the first piece
    ///              begins behind the first edge in the sorted fan that leaves the vertex (failing that, arrives there) in the list;
    ///              at one with an open fan with the fan
    /// cost         O(fan x list)
    void sortEdgePartitions(int vertex, ko::list<itineraryItem>& edges, MeshTriangle* triangles,
                            MeshAdjTris const& adjacency, ko::vector<ko::vector<int>>& partitions);

    /// Puts a fan into counterclockwise order: neighbours in the array share an edge. A closed fan begins with the triangle that
    /// stood first, an open one at its border.
    ///
    /// fan    `count` triangles of the vertex, reordered by swaps; where several fit, the first one is taken
    /// cost   O(count^2)
    void sortFanTriangles(int vertex, int count, int* fan, MeshTriangle* triangles);

    /// The edge of a sorted fan at one of its triangles (vertex, p, q): to q when the triangle before it in the fan, round the
    /// corner at position 0, holds p; else to p.
    ///
    /// edge   out: start and end, no more
    void getFirstCCEdge(MeshTriangle* triangles, int vertex, int* fan, int position, int count,
                        itineraryItem& edge);

    /// rotated   out: the triangle's corners from the vertex on; one that is neither of the first two counts as the third
    void orientVertices(int vertex, int const* const triangle, int* rotated);
    /// The same three vertices in the same order, beginning with the same one.
    bool sameTriangle(int const* const a, int const* const b);
    /// Whether an item runs from the edge's start to its end.
    bool listContainsEdge(itineraryItem& edge, ko::list<itineraryItem>& edges);
    /// vertices   out: added to, both ends of every item
    void extractVertices(ko::list<itineraryItem>& edges, ko::set<int>& vertices);
    /// Whether any loop passes through the vertex.
    bool boundaryVertex(MeshBoundaries boundaries, int vertex);
    /// Whether exactly one triangle of the fan has the same two vertices at its second and third places, in either order, as the
    /// given one, which may be that triangle itself.
    bool boundaryTriangle(int triangle, MeshTriangle* triangles, int const* fan, int count,
                          int unused);

    /// Appends a walk of four edges from vertex 0, each to the first neighbour of where the walk has come to. It can turn back on
    /// itself, and ends early only at a vertex without neighbours.
    ///
    /// curve   out: appended to; both triangles of an item are 0
    void makeSingleCurveCut(ko::list<itineraryItem>& curve, CompactMesh& mesh, MeshCache& cache);

    /// Opens a mesh along a chain of edges, each of which starts where the one before it ends.
    ///
    /// curve       a vertex inside the chain gets a copy, set as `newStart` of the item that leaves it, unless its fan does not
    ///             turn away from the edge before. Ends get one when they lie on the mesh's boundary; that of the first vertex
    ///             is used by no triangle, and no item names that of the last one
    /// triangles   the mesh's own. The copy takes the triangles counterclockwise from the edge before to the one behind; at the
    ///             last vertex those clockwise from the chain's last edge until boundaryTriangle() holds
    /// mesh        of new vertices the positions are set; sends nothing
    void processSingleCurveCut(ko::list<itineraryItem>& curve, MeshTriangle* triangles,
                               MeshAdjTris const& adjacency, CompactMesh& mesh, MeshCache& cache);

    /// Gives a vertex that items start from more than once a copy for each further time, and the items' triangles to the copies.
    ///
    /// curve   `newStart` of such an item and `newEnd` of the one before it are set
    /// mesh    of new vertices the positions are set; sends nothing
    void updateVertReferences(ko::list<itineraryItem>& curve, MeshTriangle* triangles,
                              CompactMesh& mesh);
};

}  // namespace koGeom
