#pragma once

#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// A point on a triangle by its barycentric weights.
class TRIMORA_API MeshCoordBase {
public:
    double weights[3];  // of the first, second and third corner; they sum to 1 on the triangle

    MeshCoordBase() : weights{0.0, 0.0, 0.0} {}
    MeshCoordBase(double weight0, double weight1, double weight2)
        : weights{weight0, weight1, weight2} {}

    /// Weights finite and not all 0.
    bool valid() const;
    /// The weighted sum of three corners.
    Point evaluateBase(Point const* const corners) const;
    /// Takes the nearest point of the closed triangle: weights 0 to 1, summing to 1. False for a
    /// degenerate triangle (squared normal 0 or not finite); the weights are then those of the
    /// nearest point on its longest edge.
    bool projectBase(Point const& point, Point const& corner0, Point const& corner1,
                     Point const& corner2);
};

/// A point on a mesh: triangle and weights. On a vertex the weight of its corner is 1. Meshes are
/// given by their raw arrays, positions xyz and three indices a triangle.
class TRIMORA_API MeshCoord : public MeshCoordBase {
public:
    int triangle;  // -1: on no triangle

    MeshCoord() : triangle(-1) {}
    MeshCoord(int onTriangle, double weight0, double weight1, double weight2)
        : MeshCoordBase(weight0, weight1, weight2), triangle(onTriangle) {}

    /// Valid weights and a triangle of at least 0.
    bool valid() const { return triangle >= 0 && MeshCoordBase::valid(); }

    /// The position; the origin when it is on no triangle.
    Point evaluate(MeshVertex const* vertices, MeshTriangle const* triangles) const;
    Point evaluate(float const* vertices, int const* triangles) const;

    /// Takes the nearest point of the given triangle, see projectBase. Below 0: false, nothing is
    /// read or changed.
    bool project(int onTriangle, float const* vertices, int const* triangles, Point const& point);

    /// Takes the barycentric weights of the point's foot in the triangle's plane, which may lie
    /// outside 0 to 1. False for a degenerate triangle, with the weights that `project` gives
    /// there. Below 0: false, nothing is read or changed.
    bool setFromPoint(int onTriangle, float const* vertices, int const* triangles,
                      Point const& point);

    /// Whether an edge's segment lies within `tolerance` of the point, and which (the nearest; the
    /// lowest of equals): edge k, 0 to 2, runs from corner k to the next. `edge` is written only
    /// then, and may be null.
    bool onEdge(float const* vertices, int const* triangles, double tolerance, int* edge) const;

    /// The same for corners, 0 to 2.
    bool onVertex(float const* vertices, int const* triangles, double tolerance, int* corner) const;
};

}  // namespace koGeom
