#include "trimora/reduce/detail/VoxelTriangles.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <emmintrin.h>

// A removed point lies near the surface that it is measured against, nearly always so much nearer than to the faces of its
// leaf that one leaf is all there is to look at. Leaf by leaf the triangles are then read once for all points, instead of
// once a point, and no walk has to be set up. What is left out lies beyond the nearest by more than all rounding: it
// neither wins nor ties, so the first of equals in the order of the list wins as in a full search.

namespace koGeom::detail {

namespace {

/// Of the largest coordinate: far above the rounding of a weighted sum of corners.
constexpr double measuringMargin = 1e-12;
/// For squares in floats, above their rounding.
constexpr double squareFactor = 1.0 + 0x1p-18;
constexpr float smallestSquare = std::numeric_limits<float>::min();

/// The square beyond which a box holds nothing as near as the given squared distance.
float beyond(double distance2, double margin) {
    double const reach = std::sqrt(distance2) + margin;
    double const square = reach * reach * squareFactor;
    return square < std::numeric_limits<float>::max() ? static_cast<float>(square) + smallestSquare
                                                      : std::numeric_limits<float>::infinity();
}

}  // namespace

VoxelTriangles::VoxelTriangles(CompactMesh const& mesh, Octree const& octree,
                               OctreeTris const& octreeTris)
    : mesh_(mesh), octree_(octree), octreeTris_(octreeTris) {}

bool VoxelTriangles::compute(Point const& p, MeshCoord& coord, double& distance) {
    if (!(Point(PointFlt(p)) == p))
        return false;
    if (!(gapToFaces(p) > 0.0))
        enter(p);
    double const gap = gapToFaces(p);
    if (!(gap > 0.0) || numTriangles_ == 0)
        return false;

    double const margin =
        measuringMargin * std::max({largest_, std::abs(p.x), std::abs(p.y), std::abs(p.z)});
    int const probed = lastNearest_;  // of the point before, which was near
    Measured const probe = measure(probed, p);
    float skip2 = beyond(probe.distance2, margin);
    Measured best;
    for (int first = 0; first < numTriangles_; first += 4) {
        for (unsigned near = nearBoxes(first / 4, p, skip2); near != 0; near &= near - 1) {
            int const place = first + std::countr_zero(near);
            Measured const measured = place == probed ? probe : measure(place, p);
            if (measured.distance2 < best.distance2) {
                best = measured;
                lastNearest_ = place;
                skip2 = beyond(std::min(best.distance2, probe.distance2), margin);
            }
        }
    }
    // Leaves beyond a face lie as far as the face; the margin covers how a walk rounds that.
    if (!(gap * gap > best.distance2 * squareFactor + smallestSquare))
        return false;
    coord = best.coord;
    distance = std::sqrt(best.distance2);
    return true;
}

/// How far inside the leaf in hand the point lies; at most 0 outside, and where there is none.
double VoxelTriangles::gapToFaces(Point const& p) const {
    float const* const bounds = leaf_.box.bounds;
    return std::min({p.x - bounds[0], p.y - bounds[1], p.z - bounds[2], bounds[3] - p.x,
                     bounds[4] - p.y, bounds[5] - p.z});
}

/// Takes the leaf of the point in hand and lays out its triangles.
void VoxelTriangles::enter(Point const& p) {
    OctreeIterator place = octree_.getRoot();
    while (place.node->isLeaf == 0) {
        float const* const bounds = place.box.bounds;
        int const child = (p.x > octreeCut(bounds[0], bounds[3]) ? 1 : 0) |
                          (p.y > octreeCut(bounds[1], bounds[4]) ? 2 : 0) |
                          (p.z > octreeCut(bounds[2], bounds[5]) ? 4 : 0);
        place.descend(child);
    }
    if (place.node == leaf_.node)
        return;
    leaf_ = place;
    numTriangles_ = octreeTris_.numTris(place.node->voxelIndex);
    numbers_ = octreeTris_.firstTri(place.node->voxelIndex);

    layOut();
}

void VoxelTriangles::layOut() {
    std::size_t const count = static_cast<std::size_t>(numTriangles_);
    corners_.resize(3 * count);
    boxes_.assign((count + 3) / 4, FourBoxes());
    lastNearest_ = 0;
    largest_ = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        MeshTriangle const& triangle = mesh_.getTriangles()[numbers_[i]];
        BoundingBox box;
        for (std::size_t k = 0; k < 3; ++k) {
            MeshVertex const& corner = mesh_.getVertices()[triangle[static_cast<int>(k)]];
            corners_[3 * i + k] = corner.asPoint();
            box.extend(PointFlt(corner.x, corner.y, corner.z));
        }
        for (int side = 0; side < 6; ++side) {
            boxes_[i / 4].bounds[side][i % 4] = box.bounds[side];
            largest_ = std::max(largest_, std::abs(static_cast<double>(box.bounds[side])));
        }
    }
}

/// Which of four boxes, as bits, lie no farther than the square root of skip2; those with a NaN among them.
unsigned VoxelTriangles::nearBoxes(int group, Point const& p, float skip2) const {
    FourBoxes const& boxes = boxes_[static_cast<std::size_t>(group)];
    float const at[3] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
    __m128 squares = _mm_setzero_ps();
    for (int axis = 0; axis < 3; ++axis) {
        __m128 const point = _mm_set1_ps(at[axis]);
        __m128 const below = _mm_sub_ps(_mm_load_ps(boxes.bounds[axis]), point);
        __m128 const above = _mm_sub_ps(point, _mm_load_ps(boxes.bounds[axis + 3]));
        __m128 const gap = _mm_max_ps(_mm_max_ps(below, above), _mm_setzero_ps());
        squares = _mm_add_ps(squares, _mm_mul_ps(gap, gap));
    }
    int const far = _mm_movemask_ps(_mm_cmpgt_ps(squares, _mm_set1_ps(skip2)));
    int const inUse = std::min(4, numTriangles_ - 4 * group);
    return ~static_cast<unsigned>(far) & ((1u << inUse) - 1);
}

VoxelTriangles::Measured VoxelTriangles::measure(int place, Point const& p) const {
    Point const* const corners = corners_.data() + 3 * static_cast<std::ptrdiff_t>(place);
    Measured measured;
    measured.coord.triangle = numbers_[place];
    measured.coord.projectBase(p, corners[0], corners[1], corners[2]);
    if (measured.coord.valid())
        measured.distance2 = distance2(measured.coord.evaluateBase(corners), p);
    return measured;
}

}  // namespace koGeom::detail
