#include "trimora/contract/koGeom/Polyline.h"

#include "trimora/contract/koGeom/detail/parameterSearch.h"

#include <algorithm>

namespace koGeom {

Polyline::Polyline(int numVertices, vertex const* const vertices) {
    initialize(numVertices, vertices);
}

Polyline::~Polyline() = default;

void Polyline::initialize(int numVertices, vertex const* const vertices) {
    int const count = vertices != nullptr ? std::max(numVertices, 0) : 0;
    ko::vector<vertex> replaced(vertices, vertices + count);
    vertices_.swap(replaced);
    modified();
}

void Polyline::modified() {
    boundingBox_ = Range3d();
    for (vertex const& v : vertices_)
        boundingBox_.include(v);
}

bool Polyline::getClosed() const {
    return vertices_.size() >= 3 && equivalent(vertices_.front(), vertices_.back(), epsilonTol);
}

Range1d Polyline::getDomain() const {
    if (vertices_.empty())
        return {};
    return {vertices_.front().parameter, vertices_.back().parameter};
}

Point Polyline::eval(double parameter) const {
    if (vertices_.empty())
        return Point::origin;
    return detail::pointAt<Point>(vertices_, detail::findParameter(vertices_, parameter));
}

double Polyline::getLength(double from, double to) const {
    if (vertices_.empty())
        return 0.0;
    detail::ParameterPlace const first = detail::findParameter(vertices_, std::min(from, to));
    detail::ParameterPlace const last = detail::findParameter(vertices_, std::max(from, to));

    double length = 0.0;
    Point reached = detail::pointAt<Point>(vertices_, first);
    for (std::size_t i = first.segment + 1; i <= last.segment; ++i) {
        length += distance(reached, vertices_[i]);
        reached = vertices_[i];
    }
    return length + distance(reached, detail::pointAt<Point>(vertices_, last));
}

}  // namespace koGeom
