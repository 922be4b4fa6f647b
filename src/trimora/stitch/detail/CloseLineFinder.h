#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/spatial/VisitStamps.h"
#include "trimora/spatial/octreeIterators.h"

namespace koGeom::detail {

/// Whether a line is near one point: the cheap tests first.
class CloseTest {
public:
    CloseTest(PointFlt const& p, BoundingBox const& box, float distance2)
        : p_(p), box_(box), distance2_(distance2) {}

    bool isClose(PointFlt const& a, PointFlt const& b) const {
        if (areBeyondOneFace(a, b))
            return false;
        if ((p_ - a).length2() < distance2_ || (p_ - b).length2() < distance2_)
            return true;
        Point const p = p_;
        ParamLine const segment{Point(a), Point(b)};
        return distance2_ > distance2(p, segment.eval(segment.projectBounded(p, 0.0, 1.0)));
    }

private:
    bool areBeyondOneFace(PointFlt const& a, PointFlt const& b) const {
        float const* const box = box_.bounds;
        return (a.x < box[0] && b.x < box[0]) || (a.y < box[1] && b.y < box[1]) ||
               (a.z < box[2] && b.z < box[2]) || (a.x > box[3] && b.x > box[3]) ||
               (a.y > box[4] && b.y > box[4]) || (a.z > box[5] && b.z > box[5]);
    }

    PointFlt p_;
    BoundingBox const& box_;
    float distance2_;
};

/// The lines near one vertex after the other: what MeshLineProximity lists.
class CloseLineFinder {
public:
    /// distance   above 0
    CloseLineFinder(CompactMesh const& mesh, Octree const& octree, OctreeLines const& octreeLines,
                    double distance)
        : vertices_(mesh.getVertices()),
          lines_(mesh.getLines()),
          octreeLines_(octreeLines),
          distance_(static_cast<float>(distance)),
          distance2_(static_cast<float>(distance * distance)),
          met_(mesh.getNumLines()),
          voxels_(octree) {}

    /// Calls `visit(line)` for each that passes within the distance and does not end in the vertex, by
    /// voxel and ascending within a voxel.
    template <class Visit>
    void find(int vertex, Visit const& visit) {
        findAt(vertex, [this, vertex, &visit](int line) {
            auto const [a, b] = lines_[line].vertices;
            if (a != vertex && b != vertex)
                visit(line);
        });
    }

    /// The same with the lines that end in the vertex: found alike by all vertices in its place.
    template <class Visit>
    void findAt(int vertex, Visit const& visit) {
        BoundingBox const box(&vertices_[vertex].x, distance_);
        CloseTest const test(pointOf(vertex), box, distance2_);
        met_.nextQuery();
        for (voxels_.reset(box); voxels_.valid(); voxels_.next()) {
            int const voxel = voxels_.get().node->voxelIndex;
            int const* const voxelLines = octreeLines_.firstLine(voxel);
            int const numLines = octreeLines_.numLines(voxel);
            for (int i = 0; i < numLines; ++i) {
                int const line = voxelLines[i];
                auto const [a, b] = lines_[line].vertices;
                if (met_.meet(line) && test.isClose(pointOf(a), pointOf(b)))
                    visit(line);
            }
        }
    }

private:
    PointFlt pointOf(int vertex) const { return vertices_[vertex].asPointFlt(); }

    MeshVertex const* vertices_;
    MeshLine const* lines_;
    OctreeLines const& octreeLines_;
    float distance_;
    float distance2_;
    VisitStamps met_;  ///< lines that the vertex in hand has met
    OctreeBBoxIntersectIt voxels_;
};

}  // namespace koGeom::detail
