#include "toolkit/mapDistortion.h"

#include <algorithm>
#include <cmath>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;

/// A vector of the plane.
struct Vector2d {
    double u, v;
};

Vector2d between(koGeom::MeshUV const& from, koGeom::MeshUV const& to) {
    return {static_cast<double>(to.u) - static_cast<double>(from.u),
            static_cast<double>(to.v) - static_cast<double>(from.v)};
}

}  // namespace

TriangleMap mapOfTriangle(CompactMesh const& mesh, CornerUVs const& corners, int triangle) {
    koGeom::MeshTriangle const& vertices = mesh.getTriangles()[triangle];
    Point const p = mesh.getVertices()[vertices[0]].asPoint();
    Vector const a = mesh.getVertices()[vertices[1]].asPoint() - p;
    Vector const b = mesh.getVertices()[vertices[2]].asPoint() - p;
    koGeom::MeshUV const* const uv = corners.data() + 3 * static_cast<std::size_t>(triangle);
    Vector2d const flatA = between(uv[0], uv[1]);
    Vector2d const flatB = between(uv[0], uv[2]);

    TriangleMap map;
    map.area = 0.5 * cross(a, b).length();
    map.uvArea = 0.5 * (flatA.u * flatB.v - flatA.v * flatB.u);
    // In the triangle's own plane a = (base, 0) and b = (foot, height).
    double const base = a.length();
    double const foot = base > 0.0 ? dot(a, b) / base : 0.0;
    double const height = base > 0.0 ? 2.0 * map.area / base : 0.0;
    double const uu = flatA.u / base;
    double const vu = flatA.v / base;
    double const uv2 = (flatB.u - uu * foot) / height;
    double const vv = (flatB.v - vu * foot) / height;
    // A 2 x 2 matrix is the sum of a turn with a scale and of a mirror with a scale; the singular values are their sum and
    // difference.
    double const turned = 0.5 * std::hypot(uu + vv, vu - uv2);
    double const mirrored = 0.5 * std::hypot(uu - vv, vu + uv2);
    map.larger = turned + mirrored;
    map.smaller = std::abs(turned - mirrored);
    map.isMeasured = height > 0.0 && std::isfinite(map.larger);
    return map;
}

MapDistortion measureMap(CompactMesh const& mesh, CornerUVs const& corners) {
    MapDistortion result;
    std::vector<double> ratios;
    double area = 0.0;
    double flippedArea = 0.0;
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        TriangleMap const map = mapOfTriangle(mesh, corners, t);
        if (!map.isMeasured) {
            ++result.degenerateTriangles;
            continue;
        }
        area += map.area;
        result.areaShare += std::abs(map.uvArea);
        if (map.uvArea < 0.0) {
            ++result.flippedTriangles;
            flippedArea += map.area;
        }
        double const ratio = map.ratio();
        if (map.uvArea == 0.0 || !std::isfinite(ratio)) {
            ++result.collapsedTriangles;
            continue;
        }
        ratios.push_back(ratio);
        sum += ratio;
    }
    result.flippedAreaShare = area > 0.0 ? flippedArea / area : 0.0;
    if (ratios.empty())
        return result;
    result.mean = sum / static_cast<double>(ratios.size());
    auto const rank = static_cast<std::ptrdiff_t>((ratios.size() * 95 + 99) / 100 - 1);
    std::nth_element(ratios.begin(), ratios.begin() + rank, ratios.end());
    result.percentile95 = ratios[static_cast<std::size_t>(rank)];
    result.largest = *std::max_element(ratios.begin(), ratios.end());
    return result;
}

}  // namespace trimora
