#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"

#include <immintrin.h>

namespace koGeom::detail {

/// One triangle made ready to be tested against many boxes: `intersects(box, v0, v1, v2)` with all
/// that does not depend on the box worked out once.
///
/// The axes are those of a separating-axis test: nine cross products of an edge and a coordinate
/// axis, the three coordinate axes, the normal. They go three at a time, one edge or one triple of
/// coordinates to a packet, the fourth lane idle at 0; each lane does the same single-precision
/// operations in the same order as one axis alone would, so packets change no answer.
class BoxTriangleTest {
public:
    BoxTriangleTest(float const* v0, float const* v1, float const* v2) {
        origin_ = load(v0);
        __m128 const a = _mm_sub_ps(load(v1), origin_);
        __m128 const b = _mm_sub_ps(load(v2), origin_);
        __m128 const c = _mm_sub_ps(load(v2), load(v1));
        edges_[0] = EdgeAxes(a, a, b);
        edges_[1] = EdgeAxes(b, a, b);
        edges_[2] = EdgeAxes(c, a, b);
        extent_ = spanOf0And(a, b);

        normal_ = _mm_sub_ps(_mm_mul_ps(yzx(a), zxy(b)), _mm_mul_ps(zxy(a), yzx(b)));
    }

    /// True when the box and the triangle touch or overlap.
    bool overlaps(BoundingBox const& box) const {
        return overlaps(load(box.bounds), load(box.bounds + 3));
    }
    /// The same for a box in registers: x, y, z and a 0.
    bool overlaps(__m128 lower, __m128 upper) const {
        Span const relative{_mm_sub_ps(lower, origin_), _mm_sub_ps(upper, origin_)};
        Span const yzxOfBox{yzx(relative.low), yzx(relative.high)};
        Span const zxyOfBox{zxy(relative.low), zxy(relative.high)};
        for (EdgeAxes const& edge : edges_)
            if (apart(edge.box(yzxOfBox, zxyOfBox), edge.triangle))
                return false;
        return !apart(relative, extent_) && crossesPlane(relative);
    }

private:
    struct Span {
        __m128 low, high;
    };

    /// The three axes that an edge e makes with the coordinate axes: on axis (i, j) a point p lies
    /// at e[i] p[j] - e[j] p[i], with (i, j) = (z, y), (x, z), (y, x) in the lanes.
    struct EdgeAxes {
        EdgeAxes() = default;
        EdgeAxes(__m128 e, __m128 a, __m128 b) : first(zxy(e)), second(yzx(e)) {
            triangle = spanOf0And(place(a), place(b));
        }
        __m128 place(__m128 p) const {
            return _mm_sub_ps(_mm_mul_ps(first, yzx(p)), _mm_mul_ps(second, zxy(p)));
        }
        Span box(Span const& yzxOfBox, Span const& zxyOfBox) const {
            Span const left = scaled(first, yzxOfBox);
            Span const right = scaled(second, zxyOfBox);
            return {_mm_sub_ps(left.low, right.high), _mm_sub_ps(left.high, right.low)};
        }

        __m128 first, second;
        Span triangle;
    };

    // x, y, z and a 0; never reads a fourth float.
    static __m128 load(float const* xyz) {
        __m128 const xy = _mm_castsi128_ps(_mm_loadu_si64(xyz));
        return _mm_movelh_ps(xy, _mm_load_ss(xyz + 2));
    }
    static __m128 yzx(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 0, 2, 1)); }
    static __m128 zxy(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 1, 0, 2)); }

    static Span spanOf0And(__m128 p, __m128 q) {
        __m128 const zero = _mm_setzero_ps();
        return {_mm_min_ps(_mm_min_ps(p, q), zero), _mm_max_ps(_mm_max_ps(p, q), zero)};
    }
    static Span scaled(__m128 factor, Span const& span) {
        __m128 const p = _mm_mul_ps(factor, span.low);
        __m128 const q = _mm_mul_ps(factor, span.high);
        return {_mm_min_ps(p, q), _mm_max_ps(p, q)};
    }
    // Strictly apart on one of the axes.
    static bool apart(Span const& p, Span const& q) {
        __m128 const gap = _mm_or_ps(_mm_cmpgt_ps(p.low, q.high), _mm_cmpgt_ps(q.low, p.high));
        return _mm_movemask_ps(gap) != 0;
    }
    // The box on the triangle's normal, summed in the order x, y, z: does it hold 0?
    bool crossesPlane(Span const& relative) const {
        Span const parts = scaled(normal_, relative);
        return sum(parts.low) <= 0.0f && sum(parts.high) >= 0.0f;
    }
    static float sum(__m128 v) {
        __m128 const xy = _mm_add_ss(v, _mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1)));
        return _mm_cvtss_f32(_mm_add_ss(xy, _mm_movehl_ps(v, v)));
    }

    __m128 origin_;
    EdgeAxes edges_[3];
    Span extent_;
    __m128 normal_;
};

}  // namespace koGeom::detail
