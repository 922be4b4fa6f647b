#include "trimora/reduce/detail/HoleFill.h"

#include "trimora/contract/koGeom/MeshCoord.h"

#include <algorithm>
#include <cmath>

namespace koGeom::detail {

namespace {

/// Of the tolerance and of the largest coordinate: far above the rounding of a projection and of the distance to it, so
/// that boxes reject nothing that measuring would find near.
constexpr double roundingMargin = 1e-12;

}  // namespace

HoleFill::HoleFill(double tolerance) : tolerance_(tolerance) {}

void HoleFill::assign(ko::vector<TrianglePoints> const& triangles) {
    triangles_.clear();
    likeliest_ = 0;
    for (TrianglePoints const& corners : triangles) {
        auto const [a, b, c] = corners;
        Triangle triangle{
            corners,
            {std::min({a.x, b.x, c.x}), std::min({a.y, b.y, c.y}), std::min({a.z, b.z, c.z})},
            {std::max({a.x, b.x, c.x}), std::max({a.y, b.y, c.y}), std::max({a.z, b.z, c.z})}};
        double largest = 0.0;
        for (int axis = 0; axis < 3; ++axis)
            largest =
                std::max({largest, std::abs(triangle.low[axis]), std::abs(triangle.high[axis])});
        double const reach = tolerance_ + roundingMargin * (tolerance_ + largest);
        for (int axis = 0; axis < 3; ++axis) {
            triangle.low[axis] -= reach;
            triangle.high[axis] += reach;
        }
        triangles_.push_back(triangle);
    }
}

bool HoleFill::isNear(Point const& point) {
    std::size_t const count = triangles_.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (isNear(triangles_[likeliest_], point))
            return true;
        likeliest_ = likeliest_ + 1 < count ? likeliest_ + 1 : 0;
    }
    return false;
}

bool HoleFill::isNear(Triangle const& triangle, Point const& point) const {
    if (triangle.isBeyond(point))
        return false;
    TrianglePoints const& corners = triangle.corners;
    MeshCoordBase nearest;
    nearest.projectBase(point, corners[0], corners[1], corners[2]);
    return distance2(nearest.evaluateBase(corners.data()), point) <= tolerance_ * tolerance_;
}

}  // namespace koGeom::detail
