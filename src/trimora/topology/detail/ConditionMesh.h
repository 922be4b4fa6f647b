#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koRTB/signals.h"
#include "trimora/export.h"
#include "trimora/topology/MeshEdgeSwapper.h"

#include <vector>

namespace koGeom::detail {

/// Mends what a cut leaves beside the new boundary: swaps edges for better angles and takes slivers away, as far as neither
/// the shape nor the outline changes.
class TRIMORA_API ConditionMesh {
public:
    static constexpr int maxPasses = 5;

    /// vertices   those to work on
    ConditionMesh(TopoMesh& mesh, ko::set<TopoMeshVertex> vertices, double tolerance);

    /// Those of the vertices that are still there.
    ko::set<TopoMeshVertex> const& getVertices() const { return vertices_; }

    /// Raised with a vertex before it is deleted.
    koRTB::SignalArg<TopoMeshVertex>& vertexRemoved() { return vertexRemoved_; }

    /// Up to `maxPasses` rounds, the last one without a removal.
    /// returns   the number of rounds
    int run();

    /// A sliver touches the vertex, and the outline stays when it goes.
    bool canGo(TopoMeshVertex v) const;
    /// Swaps edges away from the vertex until it can be deleted, and deletes it; or puts everything back.
    bool remove(TopoMeshVertex v);

private:
    void swapForAngles();
    bool swapOnce(std::vector<TopoMeshEdge> const& edges, std::vector<char>& asks);
    bool removeVertices();
    std::vector<TopoMeshEdge> edgesNearby() const;
    bool isInSet(TopoMeshVertex v) const { return members_.count(v) != 0; }
    bool swapOneAway(TopoMeshVertex v, int valence, std::vector<TopoMeshEdge>& swapped);
    void near(TopoMeshEdge edge, bool& veto);

    TopoMesh& mesh_;
    ko::set<TopoMeshVertex> vertices_;
    ko::unordered_set<TopoMeshVertex> members_;  ///< the same, for asking
    double const tolerance_;
    koRTB::SignalArg<TopoMeshVertex> vertexRemoved_;
    MeshEdgeSwapper angleSwapper_;
    MeshEdgeSwapper removalSwapper_;
    MeshEdgeSwapper lastSwapper_;  ///< for the swap that leaves a vertex of the boundary one face
};

}  // namespace koGeom::detail
