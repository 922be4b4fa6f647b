#pragma once

#include "trimora/spatial/OctreeStackWalk.h"
#include "trimora/spatial/Ray.h"

#include <immintrin.h>
#include <limits>

namespace koGeom::detail {

/// Filter of an OctreeStackWalk: the boxes that the forward half-line of a ray meets.
///
/// The eight boxes of a node share three planes an axis, so nine ray parameters serve them all. They
/// are tested four at a time, x and y in the lanes; each lane does the operations of
/// Ray::intersects(box, 0, largest float) in its order, so the answers are the same.
class OctreeRayFilter {
public:
    explicit OctreeRayFilter(Ray const& query)
        : query_(query),
          origin_(_mm_setr_ps(query.origin.x, query.origin.y, query.origin.z, 0.0f)),
          factor_(_mm_setr_ps(query.invDir[0], query.invDir[1], query.invDir[2], 0.0f)),
          backward_(_mm_cmplt_ps(factor_, _mm_setzero_ps())) {}

    bool passes(OctreeCell const& cell) const {
        return query_.intersects(cell.box(), 0.0f, std::numeric_limits<float>::max());
    }

    unsigned children(OctreeSplit const& split) const {
        __m128 const atLower = parameters(split.lower);
        __m128 const atCut = parameters(split.cut);
        __m128 const atUpper = parameters(split.upper);
        // Of each axis, where the ray enters and leaves the lower and the upper half.
        __m128 const enterLow = OctreeCell::select(backward_, atCut, atLower);
        __m128 const leaveLow = OctreeCell::select(backward_, atLower, atCut);
        __m128 const enterHigh = OctreeCell::select(backward_, atUpper, atCut);
        __m128 const leaveHigh = OctreeCell::select(backward_, atCut, atUpper);

        __m128 const enterXY =
            _mm_unpacklo_ps(enterLow, enterHigh);  // x low, x high, y low, y high
        __m128 const leaveXY = _mm_unpacklo_ps(leaveLow, leaveHigh);
        __m128 const nearX = _mm_movelh_ps(enterXY, enterXY);
        __m128 const farX = _mm_movelh_ps(leaveXY, leaveXY);
        __m128 const nearY = _mm_shuffle_ps(enterXY, enterXY, _MM_SHUFFLE(3, 3, 2, 2));
        __m128 const farY = _mm_shuffle_ps(leaveXY, leaveXY, _MM_SHUFFLE(3, 3, 2, 2));
        __m128 const apart = _mm_or_ps(_mm_cmpgt_ps(nearX, farY), _mm_cmpgt_ps(nearY, farX));
        Packet const columns{greater(nearX, nearY), lesser(farX, farY), apart};

        return passing(columns, thirdLane(enterLow), thirdLane(leaveLow)) |
               passing(columns, thirdLane(enterHigh), thirdLane(leaveHigh)) << 4;
    }

private:
    /// Four boxes that differ in x and y, before z has been looked at.
    struct Packet {
        __m128 near;
        __m128 far;
        __m128 apart;
    };

    __m128 parameters(__m128 planes) const {
        return _mm_mul_ps(_mm_sub_ps(planes, origin_), factor_);
    }

    static unsigned passing(Packet const& columns, __m128 nearZ, __m128 farZ) {
        __m128 const apart = _mm_or_ps(columns.apart, _mm_or_ps(_mm_cmpgt_ps(columns.near, farZ),
                                                                _mm_cmpgt_ps(nearZ, columns.far)));
        __m128 const end = _mm_set1_ps(std::numeric_limits<float>::max());
        __m128 const ahead = _mm_and_ps(_mm_cmpgt_ps(end, greater(columns.near, nearZ)),
                                        _mm_cmpgt_ps(lesser(columns.far, farZ), _mm_setzero_ps()));
        return static_cast<unsigned>(_mm_movemask_ps(_mm_andnot_ps(apart, ahead)));
    }

    static __m128 thirdLane(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(2, 2, 2, 2)); }

    // A NaN operand is dropped, as fmax and fmin do.
    static __m128 greater(__m128 a, __m128 b) { return unlessNaN(b, _mm_max_ps(a, b), a); }
    static __m128 lesser(__m128 a, __m128 b) { return unlessNaN(b, _mm_min_ps(a, b), a); }
    static __m128 unlessNaN(__m128 tested, __m128 value, __m128 otherwise) {
        __m128 const isNaN = _mm_cmpunord_ps(tested, tested);
        return OctreeCell::select(isNaN, otherwise, value);
    }

    Ray const& query_;
    __m128 origin_;
    __m128 factor_;
    __m128 backward_;
};

}  // namespace koGeom::detail
