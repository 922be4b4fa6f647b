#include "trimora/contract/koGeom/Frustum.h"

#include <algorithm>

namespace koGeom {

namespace {

/// Corners of each face, in order round it.
constexpr int faceCorners[6][4] = {{0, 1, 2, 3}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                   {1, 2, 6, 5}, {2, 3, 7, 6}, {3, 0, 4, 7}};

Point middleOf(Point const* corners, int count) {
    Vector sum;
    for (int i = 0; i < count; ++i)
        sum += corners[i] - corners[0];
    return corners[0] + sum / count;
}

/// The plane of a face: the diagonals' cross product serves for faces that have shrunk to a triangle, too. Turned away from
/// the middle of the body, so that the winding of the corners does not matter.
Plane facePlane(Point const corners[8], int const face[4], Point const& middle) {
    Point const& origin = corners[face[0]];
    Normal const normal(cross(corners[face[2]] - origin, corners[face[3]] - corners[face[1]]));
    Plane const plane(origin, normal);
    return plane.eval(middle) > 0.0 ? Plane(origin, -normal) : plane;
}

}  // namespace

Frustum::Frustum(Point const eightCorners[8]) {
    std::copy_n(eightCorners, 8, corners);
    Point const middle = middleOf(corners, 8);
    for (int face = 0; face < 6; ++face)
        planes[face] = facePlane(corners, faceCorners[face], middle);
}

Line Frustum::getRay() const {
    return Line(middleOf(corners, 4), middleOf(corners + 4, 4));
}

Vector Frustum::getVector() const {
    return getRay().direction;
}

}  // namespace koGeom
