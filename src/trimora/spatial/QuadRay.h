#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/contract/koUtil/BitField32.h"
#include "trimora/export.h"

#include <cstdint>
#include <xmmintrin.h>

namespace koGeom {

struct OctreeSplit;

/// Four rays of one origin, one in each lane of a four-wide float, with the best hit of each.
///
/// Only parameters and the fact of a hit are kept: no triangle and no weights. Hits count from parameters greater than
/// `epsilonTolFlt`, back facing ones from the cull distance on.
///
/// precision   single; boxes are tested with reciprocals of about 12 bits, so that rays which only just meet a box can be lost
///             where boxes are small beside their distance from the origin: of random rays through a box 0.005 % at a hundredth
///             of it, 0.5 % at a thousandth, a third at a ten-thousandth
/// values      a plain value of 16-byte alignment
class TRIMORA_API QuadRay {
public:
    // The same value in all four lanes. Tolerances are copied when the library is loaded.
    static __m128 const zero;
    static __m128 const sgn_mask;
    static __m128 const abs_mask;
    static __m128 const eps;
    static __m128 const maxfloat;

    /// origin          of all four
    /// d0 to d3        directions of any length, the units of the parameters. A component of 0 makes box tests along its axis
    ///                 fall as the comparisons with infinity and NaN do
    /// findNearestHit  false: any hit will do, lanes that have one are done
    QuadRay(PointFlt const& origin, VectorFlt const& d0, VectorFlt const& d1, VectorFlt const& d2,
            VectorFlt const& d3, bool findNearestHit);

    /// No lane is of interest any more; never in nearest-hit mode.
    bool allRaysTerminated() const { return !findNearestHit_ && hitMask_ == 0xF; }
    /// lane   0 to 3, also below
    bool triHit(int lane) const { return (hitMask_ >> lane & 1u) != 0; }
    /// Parameter of the lane's best hit; the largest float without one.
    float triIntersectionRayParam(int lane) const;
    VectorFlt const& meanDirection() const { return meanDirection_; }

    /// Which lanes enter a box before their best hit, and not behind the origin.
    ///
    /// lanes   out: bit i for lane i; in any-hit mode without the lanes that have a hit
    void intersect(BoundingBox const& box, koUtil::BitField32& lanes);
    /// Tests a triangle with all lanes and keeps hits that are nearer.
    ///
    /// vertices   of the mesh; no float beyond the corners is read
    /// source     Moeller and Trumbore 1997 [moller1997]
    void intersect(MeshTriangle const& tri, MeshVertex const* const vertices);

    /// From which parameter on back facing hits count, for all packets of the process; `epsilonTolFlt` at the start.
    /// Not while a tracer runs.
    static void setBackfaceCullDistance(float distance);

private:
    friend class OctreeQuadRayIntersectIt;

    static __m128 cullDistance;

    /// The children of an octree's node whose boxes any lane enters, as a bit each: what the box test says of them one by one.
    unsigned enteredChildren(OctreeSplit const& split) const;

    /// The sum of the products of x, y and z, in all lanes.
    static __m128 dot(__m128 a, __m128 b) {
        __m128 const products = _mm_mul_ps(a, b);
        __m128 const x = _mm_shuffle_ps(products, products, _MM_SHUFFLE(0, 0, 0, 0));
        __m128 const y = _mm_shuffle_ps(products, products, _MM_SHUFFLE(1, 1, 1, 1));
        __m128 const z = _mm_shuffle_ps(products, products, _MM_SHUFFLE(2, 2, 2, 2));
        return _mm_add_ps(_mm_add_ps(x, y), z);
    }
    static __m128 cross(__m128 a, __m128 b) {
        constexpr int yzx = _MM_SHUFFLE(3, 0, 2, 1), zxy = _MM_SHUFFLE(3, 1, 0, 2);
        return _mm_sub_ps(_mm_mul_ps(_mm_shuffle_ps(a, a, yzx), _mm_shuffle_ps(b, b, zxy)),
                          _mm_mul_ps(_mm_shuffle_ps(a, a, zxy), _mm_shuffle_ps(b, b, yzx)));
    }

    VectorFlt meanDirection_;
    std::uint32_t hitMask_ = 0;
    __m128 origin_;
    __m128 originX_, originY_, originZ_;
    __m128 dirX_, dirY_, dirZ_;
    __m128 invDirX_, invDirY_, invDirZ_;
    __m128 rayParam_;
    bool findNearestHit_;
};

}  // namespace koGeom
