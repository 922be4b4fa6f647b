#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/measure/detail/CollarPath.h"
#include "trimora/repair/triIntersect.h"

#include <algorithm>

/// What stands at a sample: normal, direction and curvature, from the triangles around the vertex or on the edge.
namespace koGeom::detail {

namespace {

/// Not brought to unit length: twice the area.
Vector faceVector(TopoMeshEdge edge) {
    Point const start = edge.origin().point();
    return cross(edge.next().origin().point() - start, edge.prev().origin().point() - start);
}

Normal faceNormal(TopoMeshEdge edge) {
    return Normal(faceVector(edge));
}

template <typename Function>
void forEachAround(TopoMeshVertex vertex, Function const& use) {
    for (TopoMeshEdgeVertexIterator i = {vertex, vertex.edge(), 1}; i.edge; i.next())
        use(i.edge);
}

Vector sumOfNormals(TopoMeshVertex vertex) {
    Vector sum;
    forEachAround(vertex, [&sum](TopoMeshEdge edge) { sum += Vector(faceNormal(edge)); });
    return sum;
}

Vector sumOfFaceVectors(TopoMeshVertex vertex) {
    Vector sum;
    forEachAround(vertex, [&sum](TopoMeshEdge edge) { sum += faceVector(edge); });
    return sum;
}

Normal directionOf(TopoMeshEdge edge) {
    return Normal(edge.next().origin().point() - edge.origin().point());
}

/// The boundary edges at a vertex, both or none.
struct BorderEdges {
    TopoMeshEdge before;
    TopoMeshEdge after;

    explicit BorderEdges(TopoMeshVertex vertex) {
        TopoMeshBoundaryIterator::getPrevNextEdges(vertex, before, after);
    }
    explicit operator bool() const { return before && after; }
};

/// own    the sample's edge, which decides at a corner; null where there is none
Normal vertexNormal(TopoMeshVertex vertex, TopoMeshEdge own, double cornerAngle) {
    BorderEdges const border(vertex);
    if (!border)
        return Normal(sumOfNormals(vertex));
    bool const isCorner =
        !isParallel(directionOf(border.before), directionOf(border.after), 1.0 - cornerAngle);
    if (isCorner && (own == border.before || own == border.after))
        return faceNormal(own);
    return Normal(Vector(faceNormal(border.before)) + Vector(faceNormal(border.after)));
}

bool isOnBorderEdge(TopoMeshPoint const& place) {
    return place.kind == TopoMeshPoint::OnEdge && !place.edge.twin();
}

/// The boundary edge at a sample on the side asked for; its own edge when it lies in the middle of one. Null in the interior.
TopoMeshEdge borderEdge(TopoMeshPoint const& place, bool isBefore) {
    if (place.kind == TopoMeshPoint::OnEdge)
        return isOnBorderEdge(place) ? place.edge : TopoMeshEdge();
    if (place.kind != TopoMeshPoint::OnVertex)
        return TopoMeshEdge();
    BorderEdges const border(place.vertex);
    return isBefore ? border.before : border.after;
}

Normal normalAt(CollarPath const& path, std::size_t index, double cornerAngle) {
    TopoMeshPoint const& place = *path.points[index];
    bool const isFirst = index == 0;
    bool const isLast = index + 1 == path.points.size();
    if (!path.isClosed && (isFirst || isLast)) {
        // What lies outside the stretch: before its first sample, as the boundary runs.
        bool const isBefore = isFirst == path.isForward;
        if (TopoMeshEdge const outside = borderEdge(place, isBefore))
            return faceNormal(outside);
    }
    if (place.kind == TopoMeshPoint::OnVertex)
        return vertexNormal(place.vertex, borderEdge(place, !path.isForward), cornerAngle);
    if (place.kind == TopoMeshPoint::InFace)
        return faceNormal(place.coord.face.edge());
    double originWeight = 0.0;
    double endWeight = 0.0;
    place.getEdgeWeights(originWeight, endWeight);
    return Normal(combine(originWeight, vertexNormal(place.edge.origin(), place.edge, cornerAngle),
                          endWeight,
                          vertexNormal(place.edge.next().origin(), place.edge, cornerAngle)));
}

/// Positions are floats: what is shorter is their rounding, on flat ground.
Vector unitOrZero(Vector const& v) {
    return v.length() <= double(epsilonTolFlt) ? Vector() : Vector(Normal(v));
}

/// The part of the lean of the triangles that lies in the tangent plane, turned round.
Vector awayFromLean(TopoMeshVertex vertex, Normal const& n) {
    return unitOrZero(cross(n, cross(n, sumOfNormals(vertex))));
}

Vector awayFromLean(TopoMeshEdge edge, Normal const& n) {
    Vector const difference =
        awayFromLean(edge.next().origin(), n) - awayFromLean(edge.origin(), n);
    return unitOrZero(cross(cross(n, difference), n));
}

/// At right angles to the border and to the normal: the surface lies on the left of a border edge. Zero in the interior.
Vector offTheBorder(TopoMeshPoint const& place, Normal const& n) {
    if (place.kind == TopoMeshPoint::OnEdge)
        return isOnBorderEdge(place) ? Vector(Normal(cross(directionOf(place.edge), n))) : Vector();
    BorderEdges const border(place.vertex);
    if (!border)
        return Vector();
    Vector const off = cross(directionOf(border.before), n) + cross(directionOf(border.after), n);
    // On a spike the two sides cancel: it points on.
    return off.length() > double(epsilonTolFlt) ? Vector(Normal(off))
                                                : Vector(directionOf(border.before));
}

Vector meanCornerNormal(TopoMeshFace face) {
    TopoMeshEdge const first = face.edge();
    Vector sum;
    for (TopoMeshEdge const edge : {first, first.next(), first.prev()})
        sum += Vector(Normal(sumOfFaceVectors(edge.origin())));
    return Vector(Normal(sum));
}

Vector directionAt(TopoMeshPoint const& place, Normal const& n) {
    if (place.kind == TopoMeshPoint::InFace)
        return meanCornerNormal(place.coord.face);
    Vector const told = place.kind == TopoMeshPoint::OnVertex ? awayFromLean(place.vertex, n)
                                                              : awayFromLean(place.edge, n);
    return told == Vector() ? offTheBorder(place, n) : told;
}

/// In order of creation, each once.
std::vector<TopoMeshFace> facesAround(TopoMeshPoint const& place) {
    std::vector<TopoMeshFace> faces;
    if (place.kind == TopoMeshPoint::OnVertex)
        forEachAround(place.vertex, [&faces](TopoMeshEdge edge) { faces.push_back(edge.face()); });
    else if (place.kind == TopoMeshPoint::OnEdge)
        faces = {place.edge.face(), place.edge.twin().face()};
    else
        faces = {place.coord.face};
    std::erase(faces, TopoMeshFace());
    std::sort(faces.begin(), faces.end(), ko::less<TopoMeshFace>());
    faces.erase(std::unique(faces.begin(), faces.end()), faces.end());
    return faces;
}

/// Where the plane cuts the triangles around a place; first its own point, where the place is.
std::vector<Point> cutAround(TopoMeshPoint const& place, Plane const& plane) {
    double const equation[4] = {plane.normal.x, plane.normal.y, plane.normal.z, plane.calculateD()};
    std::vector<Point> points = {plane.origin};
    for (TopoMeshFace const face : facesAround(place)) {
        TopoMeshEdge const edge = face.edge();
        Point a, b;
        if (intersect(equation, edge.origin().point(), edge.next().origin().point(),
                      edge.prev().origin().point(), epsilonTol, a, b) == 2)
            points.insert(points.end(), {a, b});
    }
    return points;
}

}  // namespace

MeshCollar::Point collarSample(CollarPath const& path, std::size_t index, double cornerAngle) {
    TopoMeshPoint const& place = *path.points[index];
    Normal const normal = normalAt(path, index, cornerAngle);
    return {place.position, directionAt(place, normal), Vector(normal), 0.0};
}

/// The second derivative of the parabola through three points of the cut, over its speed: the nearest, the middle one and the
/// farthest of the eight that are nearest.
double collarCurvature(TopoMeshPoint const& place, MeshCollar::Point const& sample) {
    // A sample counted as on a vertex stands a rounding beside it, which would count as a bend.
    Point const center =
        place.kind == TopoMeshPoint::OnVertex ? place.vertex.point() : place.position;
    Plane const plane(center, Normal(cross(sample.direction, sample.normal)));
    if (!plane.isValid())
        return 0.0;
    std::vector<Point> points = cutAround(place, plane);
    auto const isNearer = [&center](Point const& p, Point const& q) {
        return distance2(p, center) < distance2(q, center);
    };
    std::stable_sort(points.begin(), points.end(), isNearer);
    points.resize(std::min<std::size_t>(points.size(), 8));
    auto const isSame = [](Point const& p, Point const& q) { return equivalent(p, q, epsilonTol); };
    points.erase(std::unique(points.begin(), points.end(), isSame), points.end());
    if (points.size() < 3)
        return 0.0;

    Point const& b = points[points.size() / 2];
    Vector const u = 2.0 * (b - points.front());
    Vector const v = 2.0 * (points.back() - b) - u;
    double const speed = u.length();
    return cross(u, v).length() / (speed * speed * speed);
}

}  // namespace koGeom::detail
