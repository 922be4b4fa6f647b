#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/export.h"

namespace koGeom {

/// A chain of straight segments in space, each vertex with a parameter that rises along the chain.
///
/// closed     the last vertex repeats the first
/// threads    const calls may run together: what is derived from the vertices is computed when they
///            are set, not on first request
class TRIMORA_API Polyline : public ko::ReferenceCount {
public:
    /// A position that carries its parameter: x, y, z, parameter, four doubles in this order.
    struct vertex : Point {
        double parameter = 0.0;

        constexpr vertex() = default;
        constexpr vertex(double px, double py, double pz, double param)
            : Point(px, py, pz), parameter(param) {}
        constexpr vertex(Point const& position, double param) : Point(position), parameter(param) {}
        constexpr bool operator==(vertex const&) const = default;
    };

    /// Copies the vertices; a count below 1, or null, makes an empty polyline.
    Polyline(int numVertices, vertex const* const vertices);
    ~Polyline() override;

    /// Replaces all vertices by copies of the given ones, which may be its own.
    void initialize(int numVertices, vertex const* const vertices);

    int getNumVertices() const { return static_cast<int>(vertices_.size()); }
    /// The index is not checked.
    vertex const& getVertex(int i) const { return vertices_[static_cast<std::size_t>(i)]; }
    /// To change a vertex in place; `modified` must follow before the polyline is used again.
    vertex& getVertex(int i) { return vertices_[static_cast<std::size_t>(i)]; }
    /// Derives the bounding box anew, O(n).
    void modified();

    /// True when there are at least 3 vertices and the last lies where the first does, within
    /// `epsilonTol` a component.
    bool getClosed() const;
    /// The box of all vertices, NaN coordinates left out; the empty range without vertices.
    Range3d const& getBoundingBox() const { return boundingBox_; }
    /// The first and the last parameter; the empty range without vertices.
    Range1d getDomain() const;
    /// The point at a parameter: exactly the vertex at a vertex's one, the nearer end outside of the
    /// domain, the origin without vertices. O(log n).
    Point eval(double parameter) const;
    /// The length along the polyline between two parameters, in either order; what lies outside of
    /// the domain has no length. O(log n) and the vertices between them.
    double getLength(double from, double to) const;

private:
    ko::vector<vertex> vertices_;
    Range3d boundingBox_;
};

}  // namespace koGeom
