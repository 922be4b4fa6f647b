#pragma once

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/measure/MeshCollar.h"
#include "trimora/topology/MeshConvertRep.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace koGeom::detail {

/// The triangles near a stretch as half-edges. Those at the vertices that matter are all there, so that an edge without a twin at
/// one of them is one of the mesh's boundary.
class CollarRegion {
public:
    /// The triangles at a boundary's vertices, [begin, end).
    CollarRegion(CompactMesh const& mesh, MeshAdjTris const& adjTris, int const* begin,
                 int const* end);
    /// The triangles at the corners of a curve's triangles.
    CollarRegion(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshCurve const& curve);

    TopoMeshVertex vertex(int number) const { return rep_->getTopoMeshVertex(number); }
    /// Null when the coordinate is on no triangle of the region.
    ko::Reference<TopoMeshPoint> pointAt(MeshCoord const& coord) const;

private:
    void extract(CompactMesh const& mesh, MeshAdjTris const& adjTris);

    BitVector triangles_;
    BitVector vertices_;
    std::unique_ptr<MeshConvertRep> rep_;
};

/// A way along a boundary or a curve.
struct CollarPath {
    using PointRef = ko::Reference<TopoMeshPoint>;

    std::vector<PointRef> points;
    bool isClosed = false;
    bool isForward = true;  // runs as the boundary does, or as the curve was given

    std::size_t numSegments() const;
    PointRef const& segmentEnd(std::size_t segment) const {
        return points[(segment + 1) % points.size()];
    }
    double segmentLength(std::size_t segment) const;
    double length() const;
};

/// The stretch of a boundary, [begin, end); empty when one of the ends is not on it.
CollarPath boundaryStretch(CollarRegion const& region, int const* begin, int const* end,
                           TopoMeshPoint const& from, TopoMeshPoint const& to, bool forward);
CollarPath curvePath(CollarRegion const& region, MeshCurve const& curve);
/// The part of a path between the places nearest to two points, from the first to the second.
CollarPath partBetween(CollarPath const& path, Point const& from, Point const& to);
/// Replaces the points by some at equal steps, where there is a way to be cut.
void resample(CollarPath& path, int numPieces);

/// The sample at a point of a path.
MeshCollar::Point collarSample(CollarPath const& path, std::size_t index, double cornerAngle);
/// How the surface bends in the plane of the sample's direction and normal.
double collarCurvature(TopoMeshPoint const& place, MeshCollar::Point const& sample);

}  // namespace koGeom::detail
