#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koRTB/signals.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

/// Decides which edges of a triangulation are swapped, by callbacks that may each forbid it.
///
///          c                     c
///        /   \                 / | \        An edge e from a to b lies in the triangles (a, b, c) and (b, a, d);
///       /     \               /  |  \       a swap puts the diagonal c-d in its place.
///      a - e -> b     ->     a   |   b
///       \     /               \  |  /
///        \   /                 \ | /
///          d                     d
///
/// A callback gets the edge and a flag, and sets the flag to forbid the swap. Four criteria are ready to be connected:
///
///     swapper.getVetoSignal().addCallback(
///         new koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>(&MeshEdgeSwapper::minimizeOppositeAngleSum));
class TRIMORA_API MeshEdgeSwapper {
public:
    using VetoSignal = koRTB::Signal2Args<TopoMeshEdge, bool&>;

    MeshEdgeSwapper();
    MeshEdgeSwapper(MeshEdgeSwapper const&) = delete;
    MeshEdgeSwapper& operator=(MeshEdgeSwapper const&) = delete;
    virtual ~MeshEdgeSwapper();

    /// Asks all callbacks, in the order in which they were connected, also after one has forbidden the swap; blocked ones
    /// are passed over.
    /// returns   true when none forbids it. False when none is connected, and without a twin
    virtual bool shouldSwap(TopoMeshEdge edge);

    /// Where callbacks are connected; made on first use.
    koRTB::Signal2Args<TopoMeshEdge, bool&>& getVetoSignal();
    /// Drops all callbacks and the signal itself: the swapper then agrees to nothing.
    void clearVetoSignal();

    // Ready criteria. They only ever set the flag, look at nothing when it is set already, and forbid any swap of an edge
    // without a twin. Normals and angles are those of unit vectors; what has no direction has angles of pi / 2.

    /// Allows only what makes the sum of the two angles opposite the diagonal smaller; a tie is forbidden. On the plane
    /// this leads to the Delaunay triangulation [lawson1977].
    static void minimizeOppositeAngleSum(TopoMeshEdge edge, bool& veto);
    /// Forbids to remove or to make an edge between two vertices of the boundary.
    static void preserveBoundary(TopoMeshEdge edge, bool& veto);
    /// Allows only what keeps the crease: the signed angle between the normals at the edge, upward folds negative, must
    /// change by less than 2.5 degrees. Forbids where one of the four triangles has no normal.
    static void preserveFeatures(TopoMeshEdge edge, bool& veto);
    /// Forbids two new triangles whose normals are more than pi / 2 apart, and ones without a normal.
    static void preventFoldover(TopoMeshEdge edge, bool& veto);

    /// True when all callbacks that would be asked now are ready criteria, and this class itself asks them: the decision
    /// then depends on nothing but the mesh.
    bool decidesByMeshAlone();

private:
    class Signal;

    std::unique_ptr<Signal> vetoSignal_;  // null until first asked for
};

/// Swaps edges where the swapper agrees and TopoMesh::swapEdge does not refuse.
///
/// mesh      edited in place; one modification of type Topology if an edge was swapped
/// order     without `edges`: all edges in list order, each pair of twins once, at the half-edge that was created first.
///           With `edges`: those that have a twin, in the order of the vector or set; an edge and its twin are two
/// returns   the number of swaps
/// cost      O(edges) and what the callbacks take; on the calling thread
TRIMORA_API int meshSwapEdgesOnce(TopoMesh& mesh, MeshEdgeSwapper& swapper);
TRIMORA_API int meshSwapEdgesOnce(TopoMesh& mesh, ko::vector<TopoMeshEdge> const& edges,
                                  MeshEdgeSwapper& swapper);
TRIMORA_API int meshSwapEdgesOnce(TopoMesh& mesh,
                                  ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>> const& edges,
                                  MeshEdgeSwapper& swapper);

/// The same pass again and again, until one swaps nothing; one modification for all of them.
///
/// ends      when the callbacks let it end: the angle criterion does, others may swap an edge to and fro. While a plain
///           MeshEdgeSwapper has only ready criteria connected, passes that would go on for ever are noticed after some
///           64 of them, by the connectivity that returns, and the work stops there
TRIMORA_API int meshSwapEdgesRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper);
TRIMORA_API int meshSwapEdgesRepeatedly(TopoMesh& mesh, ko::vector<TopoMeshEdge> const& edges,
                                        MeshEdgeSwapper& swapper);
TRIMORA_API int meshSwapEdgesRepeatedly(TopoMesh& mesh,
                                        ko::set<TopoMeshEdge, ko::less<TopoMeshEdge>> const& edges,
                                        MeshEdgeSwapper& swapper);

}  // namespace koGeom
