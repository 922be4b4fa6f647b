#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/TopoMeshHandles.h"

namespace koGeom {

/// A place in a face by barycentric weights of its first three corners, counted from its first edge.
struct TRIMORA_API TopoMeshCoord {
    double weights[3] = {0.0, 0.0, 0.0};
    TopoMeshFace face;

    /// The weighted sum of the corners; the origin for a null face.
    Point evaluate() const;
    /// Sets the face and the barycentric coordinates of the point (of its projection on the plane of the three corners),
    /// not clamped.
    /// returns   false for a null face, where nothing is written, and for a degenerate one (the squared normal is 0 or
    ///           not finite), where the weights name the nearest point of the longest side
    bool setFromPoint(TopoMeshFace inFace, Point const& point);
};

/// A place on a `TopoMesh`: on a vertex, on an edge, or inside a face. Shared through `ko::Reference`; assignment
/// replaces the content, and everybody who holds the object sees it.
class TRIMORA_API TopoMeshPoint : public ko::ReferenceCount {
public:
    enum Kind : int { OnVertex = 0, OnEdge = 1, InFace = 2 };

    /// Classifies: on the nearest corner of the face if that lies within `tolerance`, else on the nearest side within
    /// `tolerance` (ties: the first from the first edge), else inside. Coordinates and position are kept as they are.
    TopoMeshPoint(TopoMeshCoord const& coord, double tolerance);
    /// On a vertex; the weights are 1 at that corner of the face.
    TopoMeshPoint(TopoMeshVertex onVertex, TopoMeshFace face);
    /// On an edge of the face or the twin of one; the weights go with the edge's origin and far end and sum to 1.
    TopoMeshPoint(TopoMeshEdge onEdge, TopoMeshFace face, double originWeight, double endWeight);
    TopoMeshPoint(TopoMeshPoint const& other) = default;
    TopoMeshPoint& operator=(TopoMeshPoint const& other) = default;
    ~TopoMeshPoint() override;

    /// On a boundary vertex or an edge without a twin.
    bool onBoundary() const;
    /// The same mesh element: the same vertex; the same edge or its twin, the weights at the two ends equal within
    /// `epsilonTol`; the same face.
    bool equivalent(TopoMeshPoint const& other) const;
    /// A face that holds both points (this one's own face if it does), or null.
    TopoMeshFace adjacent(TopoMeshPoint const& other) const;
    /// The weights of the edge's two ends; 0 and 0 for a point that is not on an edge.
    void getEdgeWeights(double& origin, double& end) const;

    TopoMeshCoord coord;
    TopoMeshVertex vertex;  ///< set when on a vertex
    TopoMeshEdge edge;      ///< set when on an edge
    Point position;
    int kind = InFace;

private:
    bool liesIn(TopoMeshFace face) const;
};

}  // namespace koGeom
