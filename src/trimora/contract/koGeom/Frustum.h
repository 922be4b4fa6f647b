#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// A convex body of eight corners and six planes, as of a camera or of a selection on the screen.
///
///        7------6        corners 0 to 3: one end quad, in order round it (a camera's nearer one)
///       /|     /|        corners 4 to 7: the other end; an edge joins corner i to corner i + 4
///      4------5 |
///      | 3----|-2        planes: 0 the quad 0123, 1 the quad 4567, then the sides on the edges
///      |/     |/                 01, 12, 23, 30; normals point out of the body
///      0------1
class TRIMORA_API Frustum {
public:
    /// The body of eight corners, wound either way; an end quad may be a single point (a pyramid).
    /// The plane of a face without area has a normal of 0 and so bounds nothing.
    explicit Frustum(Point const eightCorners[8]);

    /// Central ray: from the middle of corners 0 to 3 to the middle of corners 4 to 7.
    Line getRay() const;
    /// Viewing direction: the unit direction of the central ray, 0 when the two middles coincide.
    Vector getVector() const;

    Point corners[8];
    Plane planes[6];
};

}  // namespace koGeom
