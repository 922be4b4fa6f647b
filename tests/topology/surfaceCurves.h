#pragma once

#include "support/builders.h"
#include "support/topoBuilders.h"

#include "trimora/topology/MeshCurveTopology.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <string>
#include <vector>

/// Curves on half-edge meshes for the tests of curve graphs and of cutting.
namespace curves {

using namespace koGeom;
using Polyline = std::deque<TopoMeshCoord>;

inline TopoMeshCoord at(TopoMeshFace face, double first, double second, double third) {
    TopoMeshCoord coord;
    coord.face = face;
    coord.weights[0] = first;
    coord.weights[1] = second;
    coord.weights[2] = third;
    return coord;
}

/// A mesh with its vertices and faces as they were at first.
struct Surface {
    TopoMesh mesh;
    std::vector<TopoMeshVertex> vertices;
    std::vector<TopoMeshFace> faces;

    explicit Surface(CompactMesh const& source)
        : vertices(support::fill(mesh, source)), faces(support::listOf(mesh.firstFace())) {}

    /// The first face of a flat mesh that holds the point.
    TopoMeshCoord locate(double x, double y) const {
        for (TopoMeshFace face : faces) {
            TopoMeshCoord coord;
            coord.setFromPoint(face, Point(x, y, 0.0));
            if (coord.weights[0] > -1e-9 && coord.weights[1] > -1e-9 && coord.weights[2] > -1e-9)
                return coord;
        }
        return {};
    }
    Polyline polyline(std::vector<Point2> const& corners) const {
        Polyline coords;
        for (Point2 const& p : corners)
            coords.push_back(locate(p.x, p.y));
        return coords;
    }
    /// Follows the straight line from a to b over a flat mesh: a node at each edge on the way.
    Polyline straight(Point2 const& a, Point2 const& b) const;
};

inline Polyline Surface::straight(Point2 const& a, Point2 const& b) const {
    Vector2 const way(b.x - a.x, b.y - a.y);
    std::vector<double> params{0.0, 1.0};
    for (TopoMeshFace face : faces) {
        TopoMeshEdge e = face.edge();
        for (int k = 0; k < 3; ++k, e = e.next()) {
            Point const p = e.origin().point();
            Point const q = e.next().origin().point();
            double const dx = q.x - p.x;
            double const dy = q.y - p.y;
            double const sine = way.x * dy - way.y * dx;
            if (std::abs(sine) < 1e-12)
                continue;
            double const t = ((p.x - a.x) * dy - (p.y - a.y) * dx) / sine;
            double const s = ((p.x - a.x) * way.y - (p.y - a.y) * way.x) / sine;
            if (t > 1e-9 && t < 1.0 - 1e-9 && s > -1e-9 && s < 1.0 + 1e-9)
                params.push_back(t);
        }
    }
    std::sort(params.begin(), params.end());
    Polyline coords;
    double last = -1.0;
    for (double t : params) {
        if (t - last > 1e-9)
            coords.push_back(locate(a.x + t * way.x, a.y + t * way.y));
        last = t;
    }
    return coords;
}

/// A curve from rim to rim, or closed, along which the plane a x + b y + c z = d parts the mesh, from a half-edge that it
/// cuts; no vertex may lie in the plane.
inline Polyline traceSection(TopoMeshEdge start, Vector const& normal, double d) {
    auto const height = [&](TopoMeshVertex v) { return dot(normal, v.point().asVector()) - d; };
    auto const isCut = [&](TopoMeshEdge e) {
        return (height(e.origin()) < 0.0) != (height(e.next().origin()) < 0.0);
    };
    auto const crossing = [&](TopoMeshEdge e) {
        double const low = height(e.origin());
        double const param = low / (low - height(e.next().origin()));
        TopoMeshCoord coord;
        coord.setFromPoint(
            e.face(), combine(1.0 - param, e.origin().point(), param, e.next().origin().point()));
        return coord;
    };
    // Back to where the section begins, or once round.
    TopoMeshEdge entry = start;
    while (entry.twin()) {
        TopoMeshEdge const t = entry.twin();
        entry = isCut(t.next()) ? t.next() : t.prev();
        if (entry == start)
            break;
    }
    Polyline coords{crossing(entry)};
    TopoMeshEdge const first = entry;
    do {
        TopoMeshEdge const exit = isCut(entry.next()) ? entry.next() : entry.prev();
        coords.push_back(crossing(exit));
        entry = exit.twin();
    } while (entry && entry != first);
    return coords;
}

/// All sections of the mesh by a plane.
inline std::vector<Polyline> traceSections(TopoMesh const& mesh, Vector const& normal, double d) {
    std::vector<Polyline> sections;
    ko::set<TopoMeshFace> seen;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList()) {
        bool const below = dot(normal, e.origin().point().asVector()) < d;
        bool const endsBelow = dot(normal, e.next().origin().point().asVector()) < d;
        if (below == endsBelow || seen.count(e.face()) != 0)
            continue;
        sections.push_back(traceSection(e, normal, d));
        for (TopoMeshCoord const& coord : sections.back())
            seen.insert(coord.face);
    }
    return sections;
}

/// A curve that wanders over the surface from face to face, through edges and vertices, with points inside on the way. On a
/// lattice of weights, so that points meet, or of weights at random.
inline Polyline randomWalk(Surface const& surface, support::Random& random, bool onLattice,
                           int numSteps) {
    auto const weight = [&] {
        return onLattice ? 0.25 * (1 + random.index(3)) : random.real(0.02, 0.98);
    };
    Polyline coords;
    TopoMeshFace face =
        surface
            .faces[static_cast<std::size_t>(random.index(static_cast<int>(surface.faces.size())))];
    int const chattiness = random.index(5);
    for (int step = 0; step < numSteps; ++step) {
        if (random.index(5) < chattiness) {
            double const a = weight();
            double const b = (1.0 - a) * weight();
            coords.push_back(at(face, a, b, 1.0 - a - b));
        }
        int const side = random.index(3);
        TopoMeshEdge e = face.edge();
        for (int k = 0; k < side; ++k)
            e = e.next();
        bool const throughVertex = random.index(5) == 0;
        double const along = throughVertex ? 0.0 : weight();
        double weights[3] = {0.0, 0.0, 0.0};
        weights[side] = 1.0 - along;
        weights[(side + 1) % 3] = along;
        coords.push_back(at(face, weights[0], weights[1], weights[2]));
        for (int turn = throughVertex ? random.index(6) : 0; turn > 0 && e.prev().twin(); --turn)
            e = e.prev().twin();
        if (!throughVertex)
            e = e.twin();
        if (!e)
            break;
        face = e.face();
    }
    return coords;
}

/// The nodes of a curve: v with the vertex's number, e with the numbers of the edge's ends, f with the face's place in the
/// list at first; an asterisk where a point of the graph stands, with its degree.
inline std::string nodesOf(MeshCurveTopology& topology, MeshCurveTopology::Curve const& curve) {
    std::string text;
    for (auto const& point : curve) {
        if (!text.empty())
            text += ' ';
        auto const name = [](TopoMeshVertex v) { return std::to_string(v.record()->number); };
        if (point->kind == TopoMeshPoint::OnVertex)
            text += "v" + name(point->vertex);
        else if (point->kind == TopoMeshPoint::OnEdge)
            text += "e" + name(point->edge.origin()) + "-" + name(point->edge.next().origin());
        else
            text += "f" + std::to_string(point->coord.face.record()->number);
        if (auto const* const at = topology.getIPoint(point))
            text += "*" + std::to_string(at->getDegree());
    }
    return text;
}

}  // namespace curves
