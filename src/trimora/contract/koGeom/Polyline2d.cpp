#include "trimora/contract/koGeom/Polyline2d.h"

#include "trimora/contract/koGeom/detail/parameterSearch.h"

#include <cmath>
#include <utility>

namespace koGeom {

Polyline2d::Polyline2d(ko::vector<Point2> const& points, ko::vector<double> const& parameters) {
    vertices_.reserve(points.size());
    for (Point2 const& point : points) {
        std::size_t const index = vertices_.size();
        appendVertex(point);
        if (index < parameters.size())
            vertices_.back().parameter = parameters[index];
    }
}

void Polyline2d::swap(Polyline2d& other) noexcept {
    vertices_.swap(other.vertices_);
    std::swap(boundingBox_, other.boundingBox_);
}

void Polyline2d::appendVertex(Point2 const& position) {
    double const parameter = vertices_.empty() ? 0.0 : std::floor(vertices_.back().parameter) + 1.0;
    vertices_.emplace_back(position, parameter);
    boundingBox_.include(vertices_.back());
}

bool Polyline2d::getClosed() const {
    return vertices_.size() >= 4 && equivalent(vertices_.front(), vertices_.back(), epsilonTol);
}

Point2 Polyline2d::eval(double parameter) const {
    if (vertices_.empty())
        return {};
    return detail::pointAt<Point2>(vertices_, detail::findParameter(vertices_, parameter));
}

std::size_t Polyline2d::wrapped(std::size_t index) const {
    return index % (getClosed() ? vertices_.size() - 1 : vertices_.size());
}

}  // namespace koGeom
