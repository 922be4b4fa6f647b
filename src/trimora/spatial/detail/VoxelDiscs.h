#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace koGeom::detail {

/// For the voxels of a tree, discs that hold the triangles listed in them: what a surface looks
/// like from nearby, so that one look at a disc can spare reading all the triangles.
///
///         ______________   high      axis: the mean normal of the triangles, through the middle of
///        |   .--'''--.  |            their corners
///      --|--'----+----`-|-- middle   all corners lie between low and high along the axis, and
///        |______________|   low      within the radius from it
///
/// A disc is made when its voxel is read for the second time: it costs about as much as reading it.
class VoxelDiscs {
public:
    /// Voxels of fewer triangles are read at once.
    static constexpr int leastTriangles = 8;

    explicit VoxelDiscs(int numVoxels)
        : discs_(static_cast<std::size_t>(numVoxels > 0 ? numVoxels : 0)) {}

    /// Whether every triangle of the voxel lies beyond a squared distance; false when in doubt.
    /// Exact but for rounding in doubles.
    bool isBeyond(int voxel, Point const& p, double distance2) const {
        Disc const& disc = discs_[static_cast<std::size_t>(voxel)];
        if (disc.timesRead < 2)
            return false;
        Vector const axis = disc.axis;
        Vector const fromMiddle = p - Point(disc.middle);
        double const height = dot(axis, fromMiddle);
        double const inverse2 = 1.0 / axis.length2();
        double const along = std::max(
            {height - static_cast<double>(disc.high), static_cast<double>(disc.low) - height, 0.0});
        double const across =
            std::max(0.0, std::sqrt(cross(axis, fromMiddle).length2() * inverse2) -
                              static_cast<double>(disc.radius));
        return along * along * inverse2 + across * across > distance2;
    }

    /// To be told of every voxel whose triangles are read.
    void read(int voxel, CompactMesh const& mesh, int const* tris, int numTris) {
        Disc& disc = discs_[static_cast<std::size_t>(voxel)];
        if (disc.timesRead < 2 && ++disc.timesRead == 2)
            enclose(disc, mesh, tris, numTris);
    }

private:
    struct Disc {
        PointFlt middle;
        VectorFlt axis;  ///< of about unit length; heights are products with it as it stands
        float low = 0.0f;
        float high = 0.0f;
        float radius = 0.0f;
        int timesRead = 0;  ///< 2: the disc is made
    };

    static void enclose(Disc& disc, CompactMesh const& mesh, int const* tris, int numTris) {
        Vector sum, normal;
        for (int i = 0; i < numTris; ++i) {
            Point corners[3];
            fetch(mesh, tris[i], corners);
            for (Point const& corner : corners)
                sum += corner.asVector();
            normal += cross(corners[1] - corners[0], corners[2] - corners[0]);
        }
        disc.middle = PointFlt((sum / (3.0 * numTris)).asPoint());
        disc.axis = VectorFlt(normal.normalize() ? normal : Vector::zAxis);

        Point const middle = disc.middle;
        Vector const axis = disc.axis;
        double low = 0.0;
        double high = 0.0;
        double across2 = 0.0;
        for (int i = 0; i < numTris; ++i) {
            Point corners[3];
            fetch(mesh, tris[i], corners);
            for (Point const& corner : corners) {
                double const height = dot(axis, corner - middle);
                low = std::min(low, height);
                high = std::max(high, height);
                across2 = std::max(across2, cross(axis, corner - middle).length2());
            }
        }
        disc.low = -above(-low);
        disc.high = above(high);
        disc.radius = above(std::sqrt(across2 / axis.length2()));
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

    std::vector<Disc> discs_;
};

}  // namespace koGeom::detail
