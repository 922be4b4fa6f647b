#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"
#include "trimora/reduce/detail/VertexRemoval.h"

#include <cstddef>

namespace koGeom::detail {

/// Tells which points are near the triangles that would fill a hole.
class TRIMORA_API HoleFill {
public:
    explicit HoleFill(double tolerance);

    void assign(ko::vector<TrianglePoints> const& triangles);

    /// Whether the nearest point of any triangle, by MeshCoordBase::projectBase and evaluateBase, is at most the tolerance
    /// away; false without triangles and for what is not a number.
    bool isNear(Point const& point);

private:
    struct Triangle {
        TrianglePoints corners;
        // Box of the corners, widened by more than the tolerance: what lies outside is not near.
        double low[3];
        double high[3];

        bool isBeyond(Point const& point) const {
            return point.x < low[0] || point.x > high[0] || point.y < low[1] || point.y > high[1] ||
                   point.z < low[2] || point.z > high[2];
        }
    };

    bool isNear(Triangle const& triangle, Point const& point) const;

    double tolerance_;
    ko::vector<Triangle> triangles_;
    std::size_t likeliest_ =
        0;  // the one that the last point was near: points come triangle by triangle
};

}  // namespace koGeom::detail
