#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// A ray as a query: origin in floats, direction in doubles, what the box test needs made ready,
/// and the best hit so far. The hit fields change in const operations: a ray belongs to one thread.
class TRIMORA_API Ray {
public:
    PointFlt origin;
    Vector dir;        ///< need not be of unit length; ray parameters are in units of its length
    float invDir[3];   ///< 1 / component, divided in double; a zero component gives an infinity
    int slabIndex[6];  ///< into a box's six floats: near x, far x, near y, far y, near z, far z
    mutable double
        hitParam;  ///< parameter of the best hit; the largest finite float before the first
    mutable double hitBaryU = 0.0;  ///< weight of its triangle's second corner
    mutable double hitBaryV = 0.0;  ///< weight of the third

    Ray(PointFlt const& origin, Vector const& dir);

    Vector const& direction() const { return dir; }
    double triIntersectionRayParam() const { return hitParam; }
    double triIntersectionBaryU() const { return hitBaryU; }
    double triIntersectionBaryV() const { return hitBaryV; }

    /// Slab test in floats: does the ray pass the box with a parameter less than tMax where it
    /// enters and greater than tMin where it leaves? A NaN (a zero component on a slab through the
    /// origin) rejects nothing: that slab is left out; with three of them there is nothing to pass.
    /// A box without thickness on an axis is passed.
    bool intersects(BoundingBox const& box, float tMin, float tMax) const {
        float const* const bounds = box.bounds;
        float const x[2] = {(bounds[slabIndex[0]] - origin.x) * invDir[0],
                            (bounds[slabIndex[1]] - origin.x) * invDir[0]};
        float const y[2] = {(bounds[slabIndex[2]] - origin.y) * invDir[1],
                            (bounds[slabIndex[3]] - origin.y) * invDir[1]};
        float const z[2] = {(bounds[slabIndex[4]] - origin.z) * invDir[2],
                            (bounds[slabIndex[5]] - origin.z) * invDir[2]};
        return slabsOverlap(x, y, z, tMin, tMax);
    }

    /// The same from the parameters at which the ray meets the near and the far plane of each slab.
    static bool slabsOverlap(float const x[2], float const y[2], float const z[2], float tMin,
                             float tMax) {
        if (x[0] > y[1] || y[0] > x[1])
            return false;
        float const nearXY = greater(x[0], y[0]);
        float const farXY = lesser(x[1], y[1]);
        if (nearXY > z[1] || z[0] > farXY)
            return false;
        return tMax > greater(nearXY, z[0]) && lesser(farXY, z[1]) > tMin;
    }

    /// Does the ray meet the triangle in front of its origin, by more than epsilonTolFlt? A hit
    /// nearer than the best one replaces it; a farther one answers true all the same.
    bool intersects(MeshTriangle const& tri, MeshVertex const* vertices) const;

private:
    // A NaN operand is dropped, as fmax and fmin do.
    static float greater(float a, float b) { return a > b || b != b ? a : b; }
    static float lesser(float a, float b) { return a < b || b != b ? a : b; }
};

}  // namespace koGeom
