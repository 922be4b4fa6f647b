#pragma once

#include "trimora/spatial/OctreeStackWalk.h"

#include <cstddef>

namespace koGeom::detail {

/// Squared distances from a point to the boxes of triangles, four at a time and in floats: less
/// than (g + d) (1 + 2^-20) squared, when g is the true distance of the point to the box and d how
/// far the point moved when it was narrowed. Anything for a triangle with a NaN.
class TriangleBoxDistances {
public:
    TriangleBoxDistances(float const* vertices, int const* triangles, PointFlt const& point)
        : vertices_(vertices),
          triangles_(triangles),
          point_(_mm_setr_ps(point.x, point.y, point.z, 0.0f)) {}

    /// Of the triangles numbered in tris[0] to tris[count - 1], at most four; the lanes beyond
    /// repeat the last one.
    __m128 squares(int const* tris, int count) const {
        __m128 x = gap2(tris[0]);
        __m128 y = gap2(tris[count > 1 ? 1 : 0]);
        __m128 z = gap2(tris[count > 2 ? 2 : count - 1]);
        __m128 w = gap2(tris[count > 3 ? 3 : count - 1]);
        _MM_TRANSPOSE4_PS(x, y, z, w);
        return _mm_add_ps(_mm_add_ps(x, y), z);
    }

    /// Asks for what the tests of these triangles read, so that the memory is waited for once.
    void prefetch(int const* tris, int count) const {
        for (int i = 0; i < count; ++i)
            touch(cornersOf(tris[i]));
        for (int i = 0; i < count; ++i)
            for (int corner = 0; corner < 3; ++corner)
                touch(positionOf(cornersOf(tris[i])[corner]));
    }

private:
    static void touch(void const* memory) {
        _mm_prefetch(static_cast<char const*>(memory), _MM_HINT_T0);
    }
    int const* cornersOf(int triangle) const {
        return triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
    }
    float const* positionOf(int vertex) const {
        return vertices_ + 3 * static_cast<std::ptrdiff_t>(vertex);
    }
    __m128 cornerOf(int const* triangle, int corner) const {
        return OctreeCell::loadXyz(positionOf(triangle[corner]));
    }
    /// The square of the gap on each axis.
    __m128 gap2(int triangle) const {
        int const* const corners = cornersOf(triangle);
        __m128 const a = cornerOf(corners, 0);
        __m128 const b = cornerOf(corners, 1);
        __m128 const c = cornerOf(corners, 2);
        __m128 const below = _mm_sub_ps(_mm_min_ps(_mm_min_ps(a, b), c), point_);
        __m128 const above = _mm_sub_ps(point_, _mm_max_ps(_mm_max_ps(a, b), c));
        __m128 const gap = _mm_max_ps(_mm_max_ps(below, above), _mm_setzero_ps());
        return _mm_mul_ps(gap, gap);
    }

    float const* vertices_;
    int const* triangles_;
    __m128 point_;
};

}  // namespace koGeom::detail
