#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace koGeom::detail {

/// A disc that holds the triangles listed in a voxel: what a surface looks like from nearby, so that one look at a disc can
/// spare reading all the triangles.
///
///         ______________   high      axis: the mean normal of the triangles, through the middle of
///        |   .--'''--.  |            their corners
///      --|--'----+----`-|-- middle   all corners lie between low and high along the axis, and
///        |______________|   low      within the radius from it
struct VoxelDisc {
    PointFlt middle;
    VectorFlt axis;  ///< of about unit length; heights are products with it as it stands
    float low = 0.0f;
    float high = 0.0f;
    float radius = 0.0f;

    VoxelDisc() = default;
    /// Of one triangle or more.
    VoxelDisc(CompactMesh const& mesh, int const* tris, int numTris) {
        Vector sum, normal;
        for (int i = 0; i < numTris; ++i) {
            Point corners[3];
            fetch(mesh, tris[i], corners);
            for (Point const& corner : corners)
                sum += corner.asVector();
            normal += cross(corners[1] - corners[0], corners[2] - corners[0]);
        }
        middle = PointFlt((sum / (3.0 * numTris)).asPoint());
        axis = VectorFlt(normal.normalize() ? normal : Vector::zAxis);
        enclose(mesh, tris, numTris);
    }

    /// Whether every triangle lies beyond a distance; false when in doubt. Exact but for rounding in doubles.
    bool isBeyond(Point const& p, double reach) const {
        Vector const direction = axis;
        Vector const fromMiddle = p - Point(middle);
        double const height = dot(direction, fromMiddle);
        double const inverse2 = 1.0 / direction.length2();
        double const along =
            std::max({height - static_cast<double>(high), static_cast<double>(low) - height, 0.0});
        double const across =
            std::max(0.0, std::sqrt(cross(direction, fromMiddle).length2() * inverse2) -
                              static_cast<double>(radius));
        return along * along * inverse2 + across * across > reach * reach;
    }

private:
    void enclose(CompactMesh const& mesh, int const* tris, int numTris) {
        Point const center = middle;
        Vector const direction = axis;
        double least = 0.0;
        double greatest = 0.0;
        double across2 = 0.0;
        for (int i = 0; i < numTris; ++i) {
            Point corners[3];
            fetch(mesh, tris[i], corners);
            for (Point const& corner : corners) {
                double const height = dot(direction, corner - center);
                least = std::min(least, height);
                greatest = std::max(greatest, height);
                across2 = std::max(across2, cross(direction, corner - center).length2());
            }
        }
        low = -above(-least);
        high = above(greatest);
        radius = above(std::sqrt(across2 / direction.length2()));
    }

    static void fetch(CompactMesh const& mesh, int triangle, Point corners[3]) {
        MeshTriangle const& numbers = mesh.getTriangles()[triangle];
        for (int k = 0; k < 3; ++k)
            corners[k] = mesh.getVertices()[numbers[k]].asPoint();
    }
    /// A float above the number, and above what its computation may have lost.
    static float above(double number) {
        return std::nextafter(static_cast<float>(number), std::numeric_limits<float>::infinity());
    }
};

}  // namespace koGeom::detail
