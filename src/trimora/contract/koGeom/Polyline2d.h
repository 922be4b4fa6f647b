#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/export.h"

namespace koGeom {

/// A chain of straight segments in the plane, each vertex with a parameter that rises along the
/// chain; a polygon when it is closed.
///
/// closed     the last vertex repeats the first, so a triangle has 4 vertices
/// threads    const calls may run together
class TRIMORA_API Polyline2d {
public:
    /// A position that carries its parameter: x, y, parameter.
    struct vertex2d : Point2 {
        double parameter = 0.0;

        constexpr vertex2d() = default;
        constexpr vertex2d(double px, double py, double param) : Point2(px, py), parameter(param) {}
        constexpr vertex2d(Point2 const& position, double param)
            : Point2(position), parameter(param) {}
        constexpr bool operator==(vertex2d const&) const = default;
    };

    Polyline2d() = default;
    /// One vertex a point. Points that have no parameter get the next whole ones, parameters that
    /// have no point are left out.
    Polyline2d(ko::vector<Point2> const& points, ko::vector<double> const& parameters);

    /// Exchanges the vertices of two polylines, O(1).
    void swap(Polyline2d& other) noexcept;
    /// Adds a vertex at the end with the next whole number as its parameter: 0 for the first one.
    /// O(1) on average.
    void appendVertex(Point2 const& position);

    int getNumVertices() const { return static_cast<int>(vertices_.size()); }
    /// There must be a vertex. An index past the last one goes on from the start, which on a closed
    /// polyline is the vertex after the repeated one.
    vertex2d const& getVertex(int i) const {
        auto const index = static_cast<std::size_t>(i);
        return vertices_[index < vertices_.size() ? index : wrapped(index)];
    }
    /// There must be a vertex.
    vertex2d const& getFirstVertex() const { return vertices_.front(); }

    /// True when there are at least 4 vertices and the last lies where the first does, within
    /// `epsilonTol` a component.
    bool getClosed() const;
    /// The box of all vertices, NaN coordinates left out; the empty range without vertices.
    Range2d const& getBoundingBox() const { return boundingBox_; }
    /// The point at a parameter: exactly the vertex at a vertex's one, the nearer end outside of the
    /// domain, the origin without vertices. O(log n).
    Point2 eval(double parameter) const;

private:
    std::size_t wrapped(std::size_t index) const;

    ko::vector<vertex2d> vertices_;
    Range2d boundingBox_;
};

}  // namespace koGeom
