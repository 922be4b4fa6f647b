#pragma once

#include "trimora/contract/koGeom/TopoMeshTriangles.h"
#include "trimora/reduce/detail/CollapseQueue.h"
#include "trimora/reduce/detail/NeighbourLists.h"
#include "trimora/reduce/detail/Quadric.h"
#include "trimora/spatial/VisitStamps.h"

#include <vector>

namespace koUtil {
class ThreadPool;
}

namespace koGeom {

class TopoMesh;

/// One reduction by edge collapse. Works on numbers and brings the outcome back to the mesh at the end; see
/// meshReduceByEdgeCollapse for what that is.
///
///     for (EdgeCollapser c(mesh); ...; c.store())       mesh: triangles only
///         while (c.numFaces() > target && c.collapseNext()) {}
///
/// For each edge in turn: the costs of all edges round its two ends leave the queue, the edge collapses, and those that
/// are left come back with their new costs.
class TRIMORA_API EdgeCollapser {
public:
    using Index = TopoMeshTriangles::Index;

    explicit EdgeCollapser(TopoMesh& mesh);

    int numFaces() const { return links_.numFaces(); }
    /// Collapses the cheapest edge that may go; false when there is none.
    bool collapseNext();
    /// Writes links, places and blind data to the mesh. Once, and nothing is called afterwards. A failed allocation passes
    /// through before anything has changed.
    void store();

    TopoMeshTriangles const& links() const { return links_; }
    CollapseQueue const& queue() const { return queue_; }
    Quadric const& error(Index vertex) const { return vertices_[vertex].error; }
    Point const& position(Index vertex) const { return vertices_[vertex].position; }

private:
    static constexpr Index none = TopoMeshTriangles::none;

    struct alignas(64) Vertex {
        Quadric error;
        Point position;
        bool isOnBoundary = false;
    };
    struct FacePlane {
        Vector normal;
        double d;
    };
    /// An edge with what lies on it.
    struct Edge {
        Index e, t;           ///< the half-edge and its twin
        Index a, b;           ///< where e begins and ends
        Index tip, otherTip;  ///< third vertices of the faces of e and t
    };

    Edge edgeAt(Index e) const;
    FacePlane planeOf(Index face) const;
    Quadric firstErrorOf(Index vertex, std::vector<FacePlane> const& planes) const;
    void addBoundary(Quadric& error, Index h, Vector const& normal) const;
    void findErrors(koUtil::ThreadPool& pool);
    void findBoundary();
    void queueAll(koUtil::ThreadPool& pool);
    std::vector<Index> takeFirstHalves();

    bool mayCollapse(Edge const& edge, VisitStamps const& marked, Index near, Index far) const;
    bool wouldDoubleFace(Edge const& edge) const;
    bool hasFreeLinks(Edge const& edge, VisitStamps const& marked, Index near, Index far) const;
    bool hasFaceOn(Index vertex, Index x, Index y) const;
    bool isLastOfPiece(Edge const& edge) const;
    bool hasMoreEdgesThan(Index vertex, int count) const;
    bool isSound(Edge const& edge) const;
    bool canFold(Index h) const;
    bool isLoose(Index h) const;
    bool isInOpenFan(Index h) const;
    bool hasLoop(Index vertex) const;
    double costOf(Edge const& edge, VisitStamps const& marked, Index near, Index far) const;

    template <typename Function>
    void forEachInFan(Index vertex, Function const& function) const;
    void markNeighbours(Index vertex, VisitStamps& marked) const;
    bool isOpen(Index vertex) const;
    void prefetchAround(Edge const& edge) const;
    void scoutFrom(Index h);
    void scout();
    void gatherLeaving(Index vertex);
    void takeOutAround(Index vertex, Edge const& edge);
    void takeOut(Index h, Edge const& edge);
    void joinNeighbours(Edge const& edge);
    void collapse(Edge const& edge);
    void costAgain(Index vertex);
    void reserveBlindData();

    TopoMesh& mesh_;
    TopoMeshTriangles links_;
    CollapseQueue queue_;
    std::vector<Vertex> vertices_;
    NeighbourLists neighbours_;
    VisitStamps marked_;              // the neighbours of one vertex
    VisitStamps gathered_;            // by half-edge, where a vertex has several fans
    std::vector<Index> leaving_;      // what gatherLeaving found
    std::vector<Index> toCost_;       // half-edges that wait for their new costs
    Index scouts_[2] = {none, none};  // half-edges round the ends of the edge that may be next
};

}  // namespace koGeom
