#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koRTB/signals.h"
#include "trimora/topology/MeshCurveTopology.h"
#include "trimora/topology/meshCut.h"

#include <optional>
#include <unordered_map>
#include <vector>

namespace koGeom::detail {

/// Whether slivers and bad angles beside the new boundary are mended. Off is for looking at the bare cut.
enum class Conditioning { Off, On };

/// `meshCut` for a half-edge mesh, with or without its last step.
TRIMORA_API TopoMeshCutResult cutTopoMesh(TopoMesh& mesh, MeshCurveTopology& curves,
                                          koRTB::SignalArg<TopoMeshVertex>* vertexRemoved,
                                          Conditioning conditioning);

/// One cut. Lives for one call.
class MeshCut {
public:
    using Curve = MeshCurveTopology::Curve;
    using PointRef = MeshCurveTopology::PointRef;
    using Path = std::vector<TopoMeshPoint*>;

    MeshCut(TopoMesh& mesh, MeshCurveTopology& curves);

    /// Looks for what cannot be cut. Changes nothing.
    TopoMeshCutResult check();
    /// Only after a check that found nothing.
    void cut();
    /// The vertices on the boundary that were not there before the cut.
    ko::set<TopoMeshVertex> newBoundaryVertices() const;

private:
    /// A face as it was before the cut.
    struct CutFace {
        Normal normal;
        std::vector<TopoMeshFace> parts;
    };

    /// What lies under a segment of a curve: a face that holds both ends, and the edge if both lie on one.
    struct Ground {
        TopoMeshFace face;
        TopoMeshEdge edge;  ///< the older half
    };

    // meshCut_check.cpp
    void findGrounds();
    std::optional<TopoMeshFace> findTrap(Curve& curve, std::vector<Ground> const& grounds);
    std::optional<TopoMeshFace> findTrappedPiece(Path const& nodes);
    bool hasTwoLegs(PointRef const& point);
    std::vector<Path> legsOf(PointRef const& point);

    // meshCut_split.cpp
    void noteBoundary();
    void insertEdgePoints();
    void followEdges();
    std::vector<TopoMeshVertex> passedVertices(TopoMeshEdge edge, TopoMeshVertex from,
                                               TopoMeshVertex to) const;
    void splitFaces();
    void splitAtJoint(PointRef const& point);
    void splitAlong(Path const& path, TopoMeshFace under);
    TopoMeshFace findPart(TopoMeshFace original, TopoMeshVertex a, TopoMeshVertex b,
                          Point const& sample) const;
    void notePart(TopoMeshFace original, TopoMeshFace part);

    // meshCut_open.cpp
    void openEdges();

    // meshCut_triangulate.cpp
    void triangulateFaces();

    TopoMesh& mesh_;
    MeshCurveTopology& topology_;
    MeshCurveTopology::Curves& curves_;
    bool const hadTrianglesOnly_;

    std::vector<std::vector<Ground>> grounds_;  ///< of each segment of each curve
    ko::map<TopoMeshEdge, std::vector<TopoMeshVertex>>
        chains_;  ///< vertices on former edges, ends included
    std::unordered_map<TopoMeshFace, CutFace, ko::hash<TopoMeshFace>>
        cutFaces_;                            ///< looked up only
    ko::set<TopoMeshVertex> formerBoundary_;  ///< those of the curves
    ko::set<TopoMeshFace> touched_;           ///< faces that may have more than 3 corners now
    std::vector<TopoMeshEdge> opened_;        ///< half-edges that have lost their twins
};

/// True when both are one object or lie on one vertex.
inline bool isSamePlace(TopoMeshPoint const& a, TopoMeshPoint const& b) {
    return &a == &b || (a.kind == TopoMeshPoint::OnVertex && b.kind == TopoMeshPoint::OnVertex &&
                        a.vertex == b.vertex);
}

/// Makes a face triangles. Diagonals that exist elsewhere in the mesh are avoided; where that cannot be, a new vertex in the
/// middle is joined to all corners.
TRIMORA_API void triangulateFace(TopoMesh& mesh, TopoMeshFace face);

}  // namespace koGeom::detail
