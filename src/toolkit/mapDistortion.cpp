#include "toolkit/mapDistortion.h"

#include "toolkit/detail/CheckedEdit.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

double lengthOf(Vector2d const& vector) {
    return std::hypot(vector.u, vector.v);
}

/// The distance between neighbouring floats where the coordinates are largest: what they are rounded to.
double floatStepOf(CornerUVs const& corners) {
    double largest = 0.0;
    for (koGeom::MeshUV const& uv : corners)
        largest = std::max(
            {largest, std::abs(static_cast<double>(uv.u)), std::abs(static_cast<double>(uv.v))});
    return 0.5 * largest * std::numeric_limits<float>::epsilon();
}

/// Whether a triangle is not even a step wide in the plane.
bool isCollapsed(TriangleMap const& map, CornerUVs const& corners, int triangle, double step) {
    koGeom::MeshUV const* const uv = corners.data() + 3 * static_cast<std::size_t>(triangle);
    double const longest =
        std::max({lengthOf(between(uv[0], uv[1])), lengthOf(between(uv[1], uv[2])),
                  lengthOf(between(uv[2], uv[0]))});
    return !(2.0 * std::abs(map.uvArea) > longest * step);
}

/// Sums up triangles.
class DistortionMeter {
public:
    void add(TriangleMap const& map, bool isCollapsed);
    MapDistortion result();

private:
    MapDistortion result_;
    std::vector<double> ratios_;
    double area_ = 0.0;
    double flippedArea_ = 0.0;
    double collapsedArea_ = 0.0;
    double sum_ = 0.0;
};

void DistortionMeter::add(TriangleMap const& map, bool isCollapsed) {
    if (!map.isMeasured) {
        ++result_.degenerateTriangles;
        return;
    }
    area_ += map.area;
    result_.areaShare += std::abs(map.uvArea);
    double const ratio = map.ratio();
    if (isCollapsed || !std::isfinite(ratio)) {
        ++result_.collapsedTriangles;
        collapsedArea_ += map.area;
        return;
    }
    if (map.uvArea < 0.0) {
        ++result_.flippedTriangles;
        flippedArea_ += map.area;
    }
    ratios_.push_back(ratio);
    sum_ += ratio;
}

MapDistortion DistortionMeter::result() {
    result_.flippedAreaShare = area_ > 0.0 ? flippedArea_ / area_ : 0.0;
    result_.collapsedAreaShare = area_ > 0.0 ? collapsedArea_ / area_ : 0.0;
    result_.measuredTriangles = static_cast<int>(ratios_.size());
    if (ratios_.empty())
        return result_;
    result_.mean = sum_ / static_cast<double>(ratios_.size());
    auto const rank = static_cast<std::ptrdiff_t>((ratios_.size() * 95 + 99) / 100 - 1);
    std::nth_element(ratios_.begin(), ratios_.begin() + rank, ratios_.end());
    result_.percentile95 = ratios_[static_cast<std::size_t>(rank)];
    result_.largest = *std::max_element(ratios_.begin(), ratios_.end());
    return result_;
}

bool haveCorners(CompactMesh const& mesh, CornerUVs const& corners) {
    return corners.size() == 3 * static_cast<std::size_t>(mesh.getNumTriangles());
}

bool hasTriangle(CompactMesh const& mesh, int triangle) {
    if (triangle < 0 || triangle >= mesh.getNumTriangles())
        return false;
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
    return std::all_of(corners.vertices, corners.vertices + 3,
                       [&mesh](int v) { return v >= 0 && v < mesh.getNumVertices(); });
}

bool areGroups(CompactMesh const& mesh, std::vector<int> const& groups, int numGroups) {
    bool const areInRange = std::all_of(groups.begin(), groups.end(), [numGroups](int group) {
        return group >= 0 && group < numGroups;
    });
    return areInRange && numGroups >= 0 &&
           groups.size() == static_cast<std::size_t>(mesh.getNumTriangles());
}

/// Without groups it measures the whole alone.
DistortionOutcome measure(CompactMesh const& mesh, CornerUVs const& corners,
                          std::vector<int> const* groups, int numGroups) {
    DistortionOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (!haveCorners(mesh, corners))
        outcome.refusal = "texture coordinates of another number of corners";
    else if (groups != nullptr && !areGroups(mesh, *groups, numGroups))
        outcome.refusal = "groups that are not those of the triangles";
    if (!outcome.refusal.empty())
        return outcome;
    double const step = floatStepOf(corners);
    DistortionMeter whole;
    std::vector<DistortionMeter> meters(static_cast<std::size_t>(numGroups));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        TriangleMap const map = mapOfTriangle(mesh, corners, t);
        bool const collapsed = isCollapsed(map, corners, t, step);
        whole.add(map, collapsed);
        if (groups != nullptr)
            meters[static_cast<std::size_t>((*groups)[static_cast<std::size_t>(t)])].add(map,
                                                                                         collapsed);
    }
    outcome.whole = whole.result();
    for (DistortionMeter& meter : meters)
        outcome.ofGroups.push_back(meter.result());
    return outcome;
}

}  // namespace

TriangleMap mapOfTriangle(CompactMesh const& mesh, CornerUVs const& corners, int triangle) {
    if (!hasTriangle(mesh, triangle) || !haveCorners(mesh, corners))
        return {};
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

DistortionOutcome measureMap(CompactMesh const& mesh, CornerUVs const& corners) {
    return measure(mesh, corners, nullptr, 0);
}

DistortionOutcome measureMaps(CompactMesh const& mesh, CornerUVs const& corners,
                              std::vector<int> const& groups, int numGroups) {
    return measure(mesh, corners, &groups, numGroups);
}

CornersOutcome cornersOf(CompactMesh const& mesh) {
    CornersOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (mesh.getUVs() == nullptr && mesh.getNumTriangles() > 0) {
        outcome.refusal = "the mesh has no texture coordinates";
        return outcome;
    }
    outcome.corners.reserve(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    for (std::ptrdiff_t i = 0; i < 3 * std::ptrdiff_t{mesh.getNumTriangles()}; ++i)
        outcome.corners.push_back(mesh.getUVs()[mesh.getTrianglesRaw()[i]]);
    return outcome;
}

}  // namespace trimora
