#include "trimora/spatial/QuadRay.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/OctreeStackWalk.h"

#include <cassert>
#include <cstddef>
#include <emmintrin.h>

namespace koGeom {

namespace {

__m128 bits(std::uint32_t word) {
    return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(word)));
}

template <int Lane>
__m128 spread(__m128 v) {
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(Lane, Lane, Lane, Lane));
}

struct Slab {
    __m128 enters, leaves;

    /// From where the lanes pass the lower and the upper bound.
    Slab(__m128 atLower, __m128 atUpper)
        : enters(_mm_min_ps(atLower, atUpper)), leaves(_mm_max_ps(atLower, atUpper)) {}
    Slab(float lower, float upper, __m128 origin, __m128 inverse)
        : Slab(passing(_mm_set1_ps(lower), origin, inverse),
               passing(_mm_set1_ps(upper), origin, inverse)) {}

    static __m128 passing(__m128 bound, __m128 origin, __m128 inverse) {
        return _mm_mul_ps(_mm_sub_ps(bound, origin), inverse);
    }
    __m128 meets(Slab const& other) const {
        return _mm_and_ps(_mm_cmple_ps(enters, other.leaves), _mm_cmple_ps(other.enters, leaves));
    }
};

}  // namespace

__m128 const QuadRay::zero = _mm_setzero_ps();
__m128 const QuadRay::sgn_mask = bits(0x80000000u);
__m128 const QuadRay::abs_mask = bits(0x7FFFFFFFu);
__m128 const QuadRay::eps = _mm_set1_ps(epsilonTolFlt);
__m128 const QuadRay::maxfloat = bits(0x7F7FFFFFu);
__m128 QuadRay::cullDistance = _mm_set1_ps(epsilonTolFlt);

QuadRay::QuadRay(PointFlt const& origin, VectorFlt const& d0, VectorFlt const& d1,
                 VectorFlt const& d2, VectorFlt const& d3, bool findNearestHit)
    : meanDirection_(0.25f * (d0.x + d1.x + d2.x + d3.x), 0.25f * (d0.y + d1.y + d2.y + d3.y),
                     0.25f * (d0.z + d1.z + d2.z + d3.z)),
      origin_(_mm_setr_ps(origin.x, origin.y, origin.z, 0.0f)),
      originX_(_mm_set1_ps(origin.x)),
      originY_(_mm_set1_ps(origin.y)),
      originZ_(_mm_set1_ps(origin.z)),
      dirX_(_mm_setr_ps(d0.x, d1.x, d2.x, d3.x)),
      dirY_(_mm_setr_ps(d0.y, d1.y, d2.y, d3.y)),
      dirZ_(_mm_setr_ps(d0.z, d1.z, d2.z, d3.z)),
      invDirX_(_mm_rcp_ps(dirX_)),
      invDirY_(_mm_rcp_ps(dirY_)),
      invDirZ_(_mm_rcp_ps(dirZ_)),
      rayParam_(maxfloat),
      findNearestHit_(findNearestHit) {}

float QuadRay::triIntersectionRayParam(int lane) const {
    assert(lane >= 0 && lane < 4);
    alignas(16) float params[4];
    _mm_store_ps(params, rayParam_);
    return params[lane & 3];
}

void QuadRay::setBackfaceCullDistance(float distance) {
    cullDistance = _mm_set1_ps(distance);
}

void QuadRay::intersect(BoundingBox const& box, koUtil::BitField32& lanes) {
    lanes.word = 0;
    float const* const b = box.bounds;
    Slab const x(b[0], b[3], originX_, invDirX_), y(b[1], b[4], originY_, invDirY_);
    __m128 alive = x.meets(y);
    if (_mm_movemask_ps(alive) == 0)
        return;

    Slab xy = x;
    xy.enters = _mm_max_ps(x.enters, y.enters);
    xy.leaves = _mm_min_ps(x.leaves, y.leaves);
    Slab const z(b[2], b[5], originZ_, invDirZ_);
    alive = _mm_and_ps(alive, xy.meets(z));
    if (_mm_movemask_ps(alive) == 0)
        return;

    alive = _mm_and_ps(alive, _mm_cmplt_ps(_mm_max_ps(xy.enters, z.enters), rayParam_));
    alive = _mm_and_ps(alive, _mm_cmplt_ps(zero, _mm_min_ps(xy.leaves, z.leaves)));
    lanes.word = static_cast<std::uint32_t>(_mm_movemask_ps(alive));
    if (!findNearestHit_)
        lanes.word &= ~hitMask_;
}

// Neighbours share their planes: nine planes for eight boxes, and four columns of two.
unsigned QuadRay::enteredChildren(OctreeSplit const& split) const {
    struct Halves {
        Slab half[2];

        Halves(__m128 lower, __m128 cut, __m128 upper, __m128 origin, __m128 inverse)
            : Halves(Slab::passing(lower, origin, inverse), Slab::passing(cut, origin, inverse),
                     Slab::passing(upper, origin, inverse)) {}
        Halves(__m128 atLower, __m128 atCut, __m128 atUpper)
            : half{Slab(atLower, atCut), Slab(atCut, atUpper)} {}
    };
    __m128 const low = split.lower, cut = split.cut, up = split.upper;
    Halves const x(spread<0>(low), spread<0>(cut), spread<0>(up), originX_, invDirX_);
    Halves const y(spread<1>(low), spread<1>(cut), spread<1>(up), originY_, invDirY_);
    Halves const z(spread<2>(low), spread<2>(cut), spread<2>(up), originZ_, invDirZ_);
    unsigned const ended = findNearestHit_ ? 0u : hitMask_;
    unsigned children = 0;
    for (int column = 0; column < 4; ++column) {
        Slab const& inX = x.half[column & 1];
        Slab const& inY = y.half[column >> 1];
        __m128 const meets = inX.meets(inY);
        if (_mm_movemask_ps(meets) == 0)
            continue;
        Slab xy = inX;
        xy.enters = _mm_max_ps(inX.enters, inY.enters);
        xy.leaves = _mm_min_ps(inX.leaves, inY.leaves);
        for (int k = 0; k < 2; ++k) {
            Slab const& inZ = z.half[k];
            __m128 alive = _mm_and_ps(meets, xy.meets(inZ));
            alive = _mm_and_ps(alive, _mm_cmplt_ps(_mm_max_ps(xy.enters, inZ.enters), rayParam_));
            alive = _mm_and_ps(alive, _mm_cmplt_ps(zero, _mm_min_ps(xy.leaves, inZ.leaves)));
            bool const isEntered = (static_cast<unsigned>(_mm_movemask_ps(alive)) & ~ended) != 0;
            children |= (isEntered ? 1u : 0u) << (column + 4 * k);
        }
    }
    return children;
}

// As for a single ray, with the determinant's sign taken out of the comparisons. The origin is the same in all lanes,
// so that what does not depend on the direction is worked out once.
void QuadRay::intersect(MeshTriangle const& tri, MeshVertex const* const vertices) {
    auto const corner = [&](int i) {
        return OctreeCell::loadXyz(&vertices[static_cast<std::ptrdiff_t>(tri[i])].x);
    };
    __m128 const v0 = corner(0);
    __m128 const e1 = _mm_sub_ps(corner(1), v0), e2 = _mm_sub_ps(corner(2), v0);
    auto const sum = [](__m128 x, __m128 y, __m128 z) { return _mm_add_ps(_mm_add_ps(x, y), z); };

    __m128 const e2x = spread<0>(e2), e2y = spread<1>(e2), e2z = spread<2>(e2);
    __m128 const px = _mm_sub_ps(_mm_mul_ps(dirY_, e2z), _mm_mul_ps(dirZ_, e2y));
    __m128 const py = _mm_sub_ps(_mm_mul_ps(dirZ_, e2x), _mm_mul_ps(dirX_, e2z));
    __m128 const pz = _mm_sub_ps(_mm_mul_ps(dirX_, e2y), _mm_mul_ps(dirY_, e2x));
    __m128 const det = sum(_mm_mul_ps(spread<0>(e1), px), _mm_mul_ps(spread<1>(e1), py),
                           _mm_mul_ps(spread<2>(e1), pz));
    __m128 const absDet = _mm_and_ps(det, abs_mask), sign = _mm_and_ps(det, sgn_mask);
    __m128 alive = _mm_cmple_ps(eps, absDet);
    if (_mm_movemask_ps(alive) == 0)
        return;

    __m128 const s = _mm_sub_ps(origin_, v0);
    __m128 const u = _mm_xor_ps(sum(_mm_mul_ps(spread<0>(s), px), _mm_mul_ps(spread<1>(s), py),
                                    _mm_mul_ps(spread<2>(s), pz)),
                                sign);
    alive = _mm_andnot_ps(_mm_cmplt_ps(absDet, u), alive);
    alive = _mm_andnot_ps(_mm_cmplt_ps(u, zero), alive);
    if (_mm_movemask_ps(alive) == 0)
        return;

    __m128 const q = cross(s, e1);
    __m128 const v =
        _mm_xor_ps(sum(_mm_mul_ps(spread<0>(q), dirX_), _mm_mul_ps(spread<1>(q), dirY_),
                       _mm_mul_ps(spread<2>(q), dirZ_)),
                   sign);
    alive = _mm_andnot_ps(_mm_cmplt_ps(absDet, _mm_add_ps(u, v)), alive);
    alive = _mm_andnot_ps(_mm_cmplt_ps(v, zero), alive);
    if (_mm_movemask_ps(alive) == 0)
        return;

    __m128 const scaledT = dot(q, e2);
    __m128 const signedT = _mm_xor_ps(scaledT, sign);
    if (_mm_movemask_ps(signedT) == 0xF)
        return;

    __m128 const t = _mm_div_ps(scaledT, det);
    __m128 const counts = _mm_or_ps(_mm_cmple_ps(cullDistance, t), _mm_cmple_ps(eps, det));
    __m128 const isBehind = _mm_castsi128_ps(_mm_srai_epi32(_mm_castps_si128(signedT), 31));
    __m128 const hit =
        _mm_andnot_ps(isBehind, _mm_and_ps(_mm_cmplt_ps(eps, t), _mm_and_ps(alive, counts)));
    hitMask_ |= static_cast<std::uint32_t>(_mm_movemask_ps(hit));
    rayParam_ = _mm_min_ps(rayParam_, _mm_max_ps(t, _mm_andnot_ps(hit, maxfloat)));
}

}  // namespace koGeom
