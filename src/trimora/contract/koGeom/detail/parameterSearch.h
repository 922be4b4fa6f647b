#pragma once

#include <algorithm>
#include <cstddef>

/// Where a parameter lies on a chain of vertices with rising parameters: what polylines of space
/// and of the plane share. Chains with parameters that do not rise, or are NaN, give some place on
/// the chain.
namespace koGeom::detail {

struct ParameterPlace {
    std::size_t segment;  ///< the number of its first vertex; 0 on a chain of one vertex
    double fraction;      ///< of the way along the segment, 0 to 1
};

/// The chain must have a vertex. A parameter of a vertex gives a fraction of exactly 0 or 1.
template <typename Vertices>
ParameterPlace findParameter(Vertices const& vertices, double parameter) {
    if (vertices.size() < 2)
        return {0, 0.0};
    auto const beyond = std::upper_bound(vertices.begin() + 1, vertices.end() - 1, parameter,
                                         [](double p, auto const& v) { return p < v.parameter; });
    auto const segment = static_cast<std::size_t>(beyond - vertices.begin()) - 1;
    double const start = vertices[segment].parameter;
    double const fraction = (parameter - start) / (vertices[segment + 1].parameter - start);
    // Written so that NaN, which segments without a span of parameters give, is the start.
    return {segment, fraction > 0.0 ? std::min(fraction, 1.0) : 0.0};
}

/// Exactly the vertex at the fractions 0 and 1.
template <typename Position, typename Vertices>
Position pointAt(Vertices const& vertices, ParameterPlace const& place) {
    Position const& start = vertices[place.segment];
    if (place.fraction == 0.0)
        return start;
    Position const& end = vertices[place.segment + 1];
    return place.fraction == 1.0 ? end : start + place.fraction * (end - start);
}

}  // namespace koGeom::detail
