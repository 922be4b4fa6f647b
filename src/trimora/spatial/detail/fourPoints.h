#pragma once

#include "trimora/contract/koLinear/matrices.h"

#include <algorithm>
#include <cstddef>
#include <emmintrin.h>

namespace koGeom::detail {

/// Four points, one in each lane.
struct FourPoints {
    __m128 x, y, z;

    /// From twelve floats in a row.
    static FourPoints packed(float const* xyz) {
        __m128 const a = _mm_loadu_ps(xyz), b = _mm_loadu_ps(xyz + 4), c = _mm_loadu_ps(xyz + 8);
        __m128 const yz01 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 0, 2, 1));
        __m128 const xy23 = _mm_shuffle_ps(b, c, _MM_SHUFFLE(2, 1, 3, 2));
        return {_mm_shuffle_ps(a, xy23, _MM_SHUFFLE(2, 0, 3, 0)),
                _mm_shuffle_ps(yz01, xy23, _MM_SHUFFLE(3, 1, 2, 0)),
                _mm_shuffle_ps(yz01, c, _MM_SHUFFLE(3, 0, 3, 1))};
    }
    /// From points that lie apart; the last one stands in the lanes that are left. count is 1 to 4.
    static FourPoints gathered(float const* xyz, std::ptrdiff_t stride, int count) {
        float const* p[4];
        for (int i = 0; i < 4; ++i)
            p[i] = xyz + stride * std::min(i, count - 1);
        return {_mm_setr_ps(p[0][0], p[1][0], p[2][0], p[3][0]),
                _mm_setr_ps(p[0][1], p[1][1], p[2][1], p[3][1]),
                _mm_setr_ps(p[0][2], p[1][2], p[2][2], p[3][2])};
    }
};

/// A projective map of four points at once; each lane has the roundings of the sum written out from left to right.
class FourfoldMatrix {
public:
    explicit FourfoldMatrix(ProjMatrixFlt const& matrix) {
        for (int i = 0; i < 16; ++i)
            m_[i] = _mm_set1_ps(matrix.m[i]);
    }
    /// i   0 to 3 for x, y, z and w
    __m128 component(FourPoints const& p, int i) const {
        __m128 const xy = _mm_add_ps(_mm_mul_ps(m_[i], p.x), _mm_mul_ps(m_[i + 4], p.y));
        return _mm_add_ps(_mm_add_ps(xy, _mm_mul_ps(m_[i + 8], p.z)), m_[i + 12]);
    }

private:
    __m128 m_[16];
};

/// Goes through points begin to end - 1 in fours; the last four may be fewer.
///
/// visit   called with four points, the number of the first, and how many there are; true ends the walk
template <class Visit>
void forFours(float const* xyz, std::ptrdiff_t stride, int begin, int end, Visit const& visit) {
    for (int first = begin; first < end;) {
        int const count = std::min(end - first, 4);
        float const* const at = xyz + stride * first;
        if (visit(count == 4 && stride == 3 ? FourPoints::packed(at)
                                            : FourPoints::gathered(at, stride, count),
                  first, count))
            return;
        first += count;
    }
}

}  // namespace koGeom::detail
