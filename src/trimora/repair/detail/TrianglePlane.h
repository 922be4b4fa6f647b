#pragma once

#include "trimora/connectivity/triNormal.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"

namespace koGeom {

/// A triangle with its plane: the part of the triangle with triangle test that serves many
/// partners.
struct TrianglePlane {
    Point corners[3];
    Plane plane;
    double d = 0.0;  // of normal . x + d = 0

    /// Computes the plane from the corners.
    void setPlane() {
        plane = Plane(corners[0], triNormal(corners[0], corners[1], corners[2]));
        d = plane.calculateD();
    }
};

/// Heights of a triangle's corners over a plane.
struct CornerHeights {
    double values[3];

    CornerHeights(TrianglePlane const& over, Point const (&corners)[3]) {
        for (int i = 0; i < 3; ++i)
            values[i] = dot(over.plane.normal, corners[i].asVector()) + over.d;
    }
    /// All above the plane or all below it; false when one is NaN.
    bool onOneSide() const {
        return (values[0] > 0.0 && values[1] > 0.0 && values[2] > 0.0) ||
               (values[0] < 0.0 && values[1] < 0.0 && values[2] < 0.0);
    }
};

/// The rest of the test, once the corners of neither triangle lie on one side of the other's plane.
///
/// pHeights   of p's corners over q's plane; qHeights likewise
bool cutAlongCommonLine(TrianglePlane const& p, CornerHeights const& pHeights,
                        TrianglePlane const& q, CornerHeights const& qHeights, Point& start,
                        Point& end);

}  // namespace koGeom
