#include "trimora/contract/koGeom/TopoMeshPoint.h"

#include "trimora/contract/koGeom/MeshCoord.h"

#include <algorithm>
#include <cmath>

namespace koGeom {

namespace {

struct Corners {
    Point points[3];
};

Corners cornersOf(TopoMeshFace face) {
    TopoMeshEdge const e = face.edge();
    return {{e.origin().point(), e.next().origin().point(), e.next().next().origin().point()}};
}

/// Number of the first three corners that is the vertex, or -1.
int cornerOf(TopoMeshFace face, TopoMeshVertex vertex) {
    TopoMeshEdge e = face.edge();
    for (int k = 0; k < 3 && e; ++k, e = e.next())
        if (e.origin() == vertex)
            return k;
    return -1;
}

/// How far along the edge, 0 at its origin to 1 at its end, the nearest point of it lies.
double paramAlong(TopoMeshEdge edge, Point const& point) {
    Point const start = edge.origin().point();
    Vector const along = edge.next().origin().point() - start;
    double const param = dot(point - start, along) / along.length2();
    return param > 0.0 ? std::min(param, 1.0) : 0.0;
}

double distanceToEdge(TopoMeshEdge edge, Point const& point) {
    double const param = paramAlong(edge, point);
    return distance(
        point, combine(1.0 - param, edge.origin().point(), param, edge.next().origin().point()));
}

bool isSameEdge(TopoMeshEdge a, TopoMeshEdge b) {
    return a == b || (a && a.twin() == b);
}

}  // namespace

Point TopoMeshCoord::evaluate() const {
    if (!face)
        return Point();
    Corners const corners = cornersOf(face);
    return MeshCoordBase(weights[0], weights[1], weights[2]).evaluateBase(corners.points);
}

bool TopoMeshCoord::setFromPoint(TopoMeshFace inFace, Point const& point) {
    if (!inFace)
        return false;
    auto const [a, b, c] = cornersOf(inFace).points;
    Vector const normal = cross(b - a, c - a);
    double const squared = normal.length2();
    face = inFace;
    if (!(squared > 0.0) || !std::isfinite(squared)) {
        MeshCoordBase onLongestSide;
        onLongestSide.projectBase(point, a, b, c);
        std::copy_n(onLongestSide.weights, 3, weights);
        return false;
    }
    // A corner's weight is the area that the point spans with the opposite side, over the face's.
    weights[0] = dot(cross(b - point, c - point), normal) / squared;
    weights[1] = dot(cross(c - point, a - point), normal) / squared;
    weights[2] = dot(cross(a - point, b - point), normal) / squared;
    return true;
}

TopoMeshPoint::TopoMeshPoint(TopoMeshCoord const& place, double tolerance)
    : coord(place), position(place.evaluate()) {
    TopoMeshEdge const first = coord.face.edge();
    if (!first)
        return;

    double nearestVertex = tolerance;
    double nearestEdge = tolerance;
    TopoMeshEdge e = first;
    do {
        double const toVertex = distance(position, e.origin().point());
        if (vertex ? toVertex < nearestVertex : toVertex <= nearestVertex) {
            nearestVertex = toVertex;
            vertex = e.origin();
        }
        double const toEdge = distanceToEdge(e, position);
        if (edge ? toEdge < nearestEdge : toEdge <= nearestEdge) {
            nearestEdge = toEdge;
            edge = e;
        }
        e = e.next();
    } while (e != first);

    if (vertex)
        edge = TopoMeshEdge();
    kind = vertex ? OnVertex : edge ? OnEdge : InFace;
}

TopoMeshPoint::TopoMeshPoint(TopoMeshVertex onVertex, TopoMeshFace face)
    : vertex(onVertex), position(onVertex.point()), kind(OnVertex) {
    coord.face = face;
    int const corner = cornerOf(face, onVertex);
    if (corner >= 0)
        coord.weights[corner] = 1.0;
}

TopoMeshPoint::TopoMeshPoint(TopoMeshEdge onEdge, TopoMeshFace face, double originWeight,
                             double endWeight)
    : edge(onEdge),
      position(combine(originWeight, onEdge.origin().point(), endWeight,
                       onEdge.next().origin().point())),
      kind(OnEdge) {
    coord.face = face;
    int const originCorner = cornerOf(face, onEdge.origin());
    int const endCorner = cornerOf(face, onEdge.next().origin());
    if (originCorner >= 0)
        coord.weights[originCorner] = originWeight;
    if (endCorner >= 0)
        coord.weights[endCorner] = endWeight;
}

TopoMeshPoint::~TopoMeshPoint() = default;

bool TopoMeshPoint::onBoundary() const {
    if (kind == OnVertex)
        return vertex.onBoundary();
    return kind == OnEdge && edge && !edge.twin();
}

bool TopoMeshPoint::equivalent(TopoMeshPoint const& other) const {
    if (kind != other.kind)
        return false;
    if (kind == OnVertex)
        return vertex == other.vertex;
    if (kind == InFace)
        return coord.face == other.coord.face;
    if (!isSameEdge(edge, other.edge))
        return false;
    double origin = 0.0, end = 0.0, otherOrigin = 0.0, otherEnd = 0.0;
    getEdgeWeights(origin, end);
    other.getEdgeWeights(otherOrigin, otherEnd);
    if (edge.origin() != other.edge.origin())
        std::swap(otherOrigin, otherEnd);
    return std::abs(origin - otherOrigin) <= epsilonTol && std::abs(end - otherEnd) <= epsilonTol;
}

bool TopoMeshPoint::liesIn(TopoMeshFace face) const {
    if (!face)
        return false;
    if (kind == OnVertex)
        return static_cast<bool>(face.adjacent(vertex));
    if (kind == OnEdge)
        return face == edge.face() || face == edge.twin().face();
    return face == coord.face;
}

TopoMeshFace TopoMeshPoint::adjacent(TopoMeshPoint const& other) const {
    if (liesIn(coord.face) && other.liesIn(coord.face))
        return coord.face;
    if (kind == InFace)
        return TopoMeshFace();
    if (kind == OnEdge) {
        if (other.liesIn(edge.face()))
            return edge.face();
        return other.liesIn(edge.twin().face()) ? edge.twin().face() : TopoMeshFace();
    }
    if (other.kind == OnVertex)
        return vertex.adjacent(other.vertex);
    // The other point lies in one face or two: no need to go round the vertex.
    return other.adjacent(*this);
}

void TopoMeshPoint::getEdgeWeights(double& origin, double& end) const {
    origin = end = 0.0;
    if (kind != OnEdge || !edge)
        return;
    int const originCorner = cornerOf(coord.face, edge.origin());
    int const endCorner = cornerOf(coord.face, edge.next().origin());
    if (originCorner < 0 || endCorner < 0 || originCorner == endCorner) {
        // A face of more corners than the coordinates have weights, or none: the position counts.
        end = paramAlong(edge, position);
        origin = 1.0 - end;
        return;
    }
    origin = coord.weights[originCorner];
    end = coord.weights[endCorner];
    // Coordinates near the edge leave a rest to the third corner.
    double const rest = coord.weights[3 - originCorner - endCorner];
    if (rest != 0.0) {
        double const sum = origin + end;
        origin /= sum;
        end /= sum;
    }
}

}  // namespace koGeom
