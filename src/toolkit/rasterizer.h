#pragma once

#include "toolkit/camera.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <vector>

namespace trimora {

/// What is seen through one place of a picture.
struct VisiblePoint {
    float depth;    ///< from the eye along the camera's axis; infinite where nothing is seen
    int triangle;   ///< -1 where nothing is seen
    float weight1;  ///< of the triangle's second corner on the surface (not in the picture)
    float weight2;  ///< of the third; the first one's is what is left of 1
};

/// One visible point a pixel, rows from the top.
struct VisibilityBuffer {
    int width = 0;
    int height = 0;
    std::vector<VisiblePoint> points;

    VisiblePoint const& at(int x, int y) const {
        return points[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
};

/// Finds what a camera sees of a mesh, by drawing triangles. Made once for a mesh and a camera, used for any number of pictures
/// whose samples are shifted within the pixels.
///
/// covers     a sample belongs to every triangle that holds it, edges and corners included: the surface has no pin-holes between
///            neighbours, as both compute the side of their edge with the same numbers
/// ties       of equal depths (as floats) the lowest triangle number is seen
/// sides      triangles are seen from both; those seen edge on, without area, or with NaN or infinite corners are not
/// near       what is less deep than the camera's nearest depth is cut off, sample by sample
/// threads    the shared pool; bands of rows are drawn by one thread each, triangles in ascending order: the same bits for any
///            number of threads
/// memory     24 bytes a vertex, and 6 a triangle; as much as 256 for a triangle that spans the picture's height
/// cost       O(vertices + triangles + samples covered); a pixel's bounds are found in doubles, nothing is stepped
/// source     edge functions of homogeneous coordinates: Olano and Greer 1997 [olano1997]
class TRIMORA_API Rasterizer {
public:
    /// The mesh outlives the rasterizer and does not change; triangle indices are in range.
    Rasterizer(koGeom::CompactMesh const& mesh, Camera const& camera);

    /// Samples each pixel at (x + offsetX, y + offsetY), both in [0, 1).
    void draw(double offsetX, double offsetY, VisibilityBuffer& buffer) const;

    /// Of a place in the picture, on the plane of a triangle: how far the three edges' lines are in pixels (opposite the first, second
    /// and third corner; below 0 outside) and, in the same order, how far the corners are from them.
    struct EdgeDistances {
        std::array<double, 3> toEdge;
        std::array<double, 3> heights;
    };
    EdgeDistances edgeDistances(int triangle, double x, double y) const;

    /// The vertex as Camera::project gives it.
    koLinear::Vector const& projected(int vertex) const {
        return projected_[static_cast<std::size_t>(vertex)];
    }
    Camera const& camera() const { return camera_; }

private:
    friend class BandAlg;

    void projectVertices();
    void sortIntoBands();

    koGeom::CompactMesh const& mesh_;
    Camera camera_;
    int numBands_;
    std::vector<koLinear::Vector> projected_;
    std::vector<std::size_t> bandStarts_;  // numBands_ + 1
    std::vector<int> bandTriangles_;       // those that may be seen, ascending within a band
};

}  // namespace trimora
