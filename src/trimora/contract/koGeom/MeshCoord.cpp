#include "trimora/contract/koGeom/MeshCoord.h"

#include <algorithm>
#include <cmath>

// The weight of a corner is the signed area that the point spans with the opposite edge, over the
// area of the triangle. Where one is negative the nearest point of the triangle lies on its border:
// the nearest of the nearest points of the three edges.

namespace koGeom {

namespace {

using Corners = Point[3];

// The weights times the squared normal.
struct ScaledWeights {
    double values[3];
    double sum;  // the squared normal; 0 or not finite for a degenerate triangle

    bool isDegenerate() const { return !(sum > 0.0) || !std::isfinite(sum); }
};

ScaledWeights scaledWeights(Corners const& corners, Point const& point) {
    Vector const normal = cross(corners[1] - corners[0], corners[2] - corners[0]);
    ScaledWeights weights{};
    for (int k = 0; k < 3; ++k) {
        Vector const toStart = corners[(k + 1) % 3] - point;
        Vector const toEnd = corners[(k + 2) % 3] - point;
        weights.values[k] = dot(cross(toStart, toEnd), normal);
    }
    weights.sum = normal.length2();
    return weights;
}

// The nearest point of edge k, as the weight of the edge's end, 0 to 1; 0 on an edge without
// length.
double paramOnEdge(Corners const& corners, int k, Point const& point) {
    Vector const along = corners[(k + 1) % 3] - corners[k];
    double const param = dot(point - corners[k], along) / along.length2();
    return param > 0.0 ? std::min(param, 1.0) : 0.0;
}

double distance2ToEdgeAt(Corners const& corners, int k, double param, Point const& point) {
    return distance2(point, combine(1.0 - param, corners[k], param, corners[(k + 1) % 3]));
}

double distance2ToEdge(Corners const& corners, int k, Point const& point) {
    return distance2ToEdgeAt(corners, k, paramOnEdge(corners, k, point), point);
}

struct EdgePlace {
    int edge;
    double param;
};

EdgePlace nearestOnEdges(Corners const& corners, Point const& point) {
    EdgePlace nearest = {0, paramOnEdge(corners, 0, point)};
    double least = distance2ToEdgeAt(corners, 0, nearest.param, point);
    for (int k = 1; k < 3; ++k) {
        double const param = paramOnEdge(corners, k, point);
        double const squared = distance2ToEdgeAt(corners, k, param, point);
        bool const isNearer = squared < least;
        least = isNearer ? squared : least;
        nearest.edge = isNearer ? k : nearest.edge;
        nearest.param = isNearer ? param : nearest.param;
    }
    return nearest;
}

int nearestCorner(Corners const& corners, Point const& point) {
    int nearest = 0;
    for (int k = 1; k < 3; ++k) {
        if (distance2(point, corners[k]) < distance2(point, corners[nearest]))
            nearest = k;
    }
    return nearest;
}

int longestEdge(Corners const& corners) {
    int longest = 0;
    for (int k = 1; k < 3; ++k) {
        if (distance2(corners[k], corners[(k + 1) % 3]) >
            distance2(corners[longest], corners[(longest + 1) % 3]))
            longest = k;
    }
    return longest;
}

void setOnEdge(double* weights, EdgePlace const& place) {
    weights[place.edge] = 1.0 - place.param;
    weights[(place.edge + 1) % 3] = place.param;
    weights[(place.edge + 2) % 3] = 0.0;
}

void setOnLongestEdge(double* weights, Corners const& corners, Point const& point) {
    int const longest = longestEdge(corners);
    setOnEdge(weights, {longest, paramOnEdge(corners, longest, point)});
}

void fetchCorners(float const* vertices, int const* triangle, Corners& corners) {
    for (int k = 0; k < 3; ++k) {
        float const* const xyz = vertices + 3 * static_cast<std::ptrdiff_t>(triangle[k]);
        corners[k] = PointFlt(xyz[0], xyz[1], xyz[2]);
    }
}

int const* triangleAt(int const* triangles, int triangle) {
    return triangles + 3 * static_cast<std::ptrdiff_t>(triangle);
}

}  // namespace

bool MeshCoordBase::valid() const {
    bool const finite =
        std::isfinite(weights[0]) && std::isfinite(weights[1]) && std::isfinite(weights[2]);
    return finite && (weights[0] != 0.0 || weights[1] != 0.0 || weights[2] != 0.0);
}

Point MeshCoordBase::evaluateBase(Point const* const corners) const {
    Point const partial = combine(weights[0], corners[0], weights[1], corners[1]);
    return combine(1.0, partial, weights[2], corners[2]);
}

bool MeshCoordBase::projectBase(Point const& point, Point const& corner0, Point const& corner1,
                                Point const& corner2) {
    Corners const corners = {corner0, corner1, corner2};
    ScaledWeights const scaled = scaledWeights(corners, point);
    if (scaled.isDegenerate()) {
        setOnLongestEdge(weights, corners, point);
        return false;
    }
    // The three are divided by their own sum, not by the squared normal, so that no weight passes 1
    // by rounding.
    double const sum = scaled.values[0] + scaled.values[1] + scaled.values[2];
    bool const isInside = scaled.values[0] >= 0.0 && scaled.values[1] >= 0.0 &&
                          scaled.values[2] >= 0.0 && sum > 0.0 && std::isfinite(sum);
    if (!isInside) {
        setOnEdge(weights, nearestOnEdges(corners, point));
        return true;
    }
    for (int k = 0; k < 3; ++k)
        weights[k] = scaled.values[k] / sum;
    return true;
}

Point MeshCoord::evaluate(MeshVertex const* vertices, MeshTriangle const* triangles) const {
    return evaluate(reinterpret_cast<float const*>(vertices),
                    reinterpret_cast<int const*>(triangles));
}

Point MeshCoord::evaluate(float const* vertices, int const* triangles) const {
    if (triangle < 0)
        return Point();
    Corners corners;
    fetchCorners(vertices, triangleAt(triangles, triangle), corners);
    return evaluateBase(corners);
}

bool MeshCoord::project(int onTriangle, float const* vertices, int const* triangles,
                        Point const& point) {
    if (onTriangle < 0)
        return false;
    Corners corners;
    fetchCorners(vertices, triangleAt(triangles, onTriangle), corners);
    triangle = onTriangle;
    return projectBase(point, corners[0], corners[1], corners[2]);
}

bool MeshCoord::setFromPoint(int onTriangle, float const* vertices, int const* triangles,
                             Point const& point) {
    if (onTriangle < 0)
        return false;
    Corners corners;
    fetchCorners(vertices, triangleAt(triangles, onTriangle), corners);
    triangle = onTriangle;
    ScaledWeights const scaled = scaledWeights(corners, point);
    if (scaled.isDegenerate()) {
        setOnLongestEdge(weights, corners, point);
        return false;
    }
    for (int k = 0; k < 3; ++k)
        weights[k] = scaled.values[k] / scaled.sum;
    return true;
}

bool MeshCoord::onEdge(float const* vertices, int const* triangles, double tolerance,
                       int* edge) const {
    if (triangle < 0)
        return false;
    Corners corners;
    fetchCorners(vertices, triangleAt(triangles, triangle), corners);
    Point const point = evaluateBase(corners);
    int const nearest = nearestOnEdges(corners, point).edge;
    bool const isNear = std::sqrt(distance2ToEdge(corners, nearest, point)) <= tolerance;
    if (isNear && edge != nullptr)
        *edge = nearest;
    return isNear;
}

bool MeshCoord::onVertex(float const* vertices, int const* triangles, double tolerance,
                         int* corner) const {
    if (triangle < 0)
        return false;
    Corners corners;
    fetchCorners(vertices, triangleAt(triangles, triangle), corners);
    Point const point = evaluateBase(corners);
    int const nearest = nearestCorner(corners, point);
    bool const isNear = distance(point, corners[nearest]) <= tolerance;
    if (isNear && corner != nullptr)
        *corner = nearest;
    return isNear;
}

}  // namespace koGeom
