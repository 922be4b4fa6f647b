#pragma once

#include "trimora/spatial/OctreeStackWalk.h"
#include "trimora/spatial/Ray.h"
#include "trimora/spatial/intersectRayTriangle.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace koGeom::detail {

/// Tells cheaply, in floats, that a ray misses a triangle by so much that intersectRayTriangle
/// finds no hit.
///
/// Seen along the ray's greatest direction component the ray is a point: the corners are sheared
/// along that axis, and the point has to lie in the box of the sheared corners, but for a margin.
///
/// margin      of position: the differences of coordinates are rounded to floats here and there.
///             Of the weights: each is a sum of products in doubles over a determinant that is no
///             less than its tolerance; that error, in units of the triangle's size, shifts the hit
class TriangleRayFilter {
public:
    /// largest     no coordinate of the triangles and of the origin is greater in size; infinite
    ///             when that is not known, and then all pass
    TriangleRayFilter(float const* vertices, int const* triangles, Ray const& ray, double largest)
        : vertices_(vertices),
          triangles_(triangles),
          axis_(greatestAxis(ray.dir)),
          origin_(_mm_setr_ps(ray.origin.x, ray.origin.y, ray.origin.z, 0.0f)) {
        float const origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
        originOnAxis_ = origin[axis_];
        double const components[3] = {ray.dir.x, ray.dir.y, ray.dir.z};
        float shear[4] = {0.0f, 0.0f, 0.0f, 0.0f};
        for (int i = 0; i < 3; ++i)
            if (i != axis_)
                shear[i] = static_cast<float>(components[i] / components[axis_]);
        shear_ = _mm_loadu_ps(shear);
        lanes_ = 7 & ~(1 << axis_);
        margin_ = _mm_set1_ps(static_cast<float>(0x1p-18 * largest));
        double const perArea = 0x1p-42 / rayDeterminantTolerance * ray.dir.length() * largest;
        marginPerArea_ = _mm_set_ss(static_cast<float>(perArea));
    }

    bool mayHit(int triangle) const {
        int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
        __m128 const a = sheared(corners[0]);
        __m128 const b = sheared(corners[1]);
        __m128 const c = sheared(corners[2]);
        __m128 const low = _mm_min_ps(_mm_min_ps(a, b), c);
        __m128 const high = _mm_max_ps(_mm_max_ps(a, b), c);
        __m128 const size = _mm_sub_ps(high, low);
        __m128 const size2 = _mm_mul_ps(size, size);
        __m128 const area = _mm_add_ss(_mm_add_ss(size2, _mm_shuffle_ps(size2, size2, 1)),
                                       _mm_movehl_ps(size2, size2));
        __m128 const perSize = _mm_mul_ss(area, marginPerArea_);
        __m128 const margin = _mm_add_ps(margin_, _mm_shuffle_ps(perSize, perSize, 0));
        __m128 const misses = _mm_or_ps(_mm_cmpgt_ps(low, margin),
                                        _mm_cmplt_ps(high, _mm_sub_ps(_mm_setzero_ps(), margin)));
        return (_mm_movemask_ps(misses) & lanes_) == 0;
    }

    /// Asks for what the test of these triangles reads, so that the memory is waited for once.
    void prefetch(int const* tris, int count) const {
        for (int i = 0; i < count; ++i)
            _mm_prefetch(reinterpret_cast<char const*>(triangles_ +
                                                       3 * static_cast<std::ptrdiff_t>(tris[i])),
                         _MM_HINT_T0);
    }

private:
    static int greatestAxis(Vector const& dir) {
        double const x = std::abs(dir.x), y = std::abs(dir.y), z = std::abs(dir.z);
        return x >= y && x >= z ? 0 : (y >= z ? 1 : 2);
    }
    __m128 sheared(int vertex) const {
        float const* const xyz = vertices_ + 3 * static_cast<std::ptrdiff_t>(vertex);
        __m128 const alongAxis = _mm_set1_ps(xyz[axis_] - originOnAxis_);
        return _mm_sub_ps(_mm_sub_ps(OctreeCell::loadXyz(xyz), origin_),
                          _mm_mul_ps(shear_, alongAxis));
    }

    float const* vertices_;
    int const* triangles_;
    int axis_;
    float originOnAxis_;
    int lanes_;  ///< those across the axis
    __m128 origin_;
    __m128 shear_;
    __m128 margin_;
    __m128 marginPerArea_;
};

}  // namespace koGeom::detail
