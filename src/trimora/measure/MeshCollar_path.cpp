#include "trimora/assembly/MeshSelect.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCurve.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/measure/detail/CollarPath.h"

#include <algorithm>
#include <cmath>
#include <limits>

/// Ways along boundaries and curves: where they begin and end, and places at equal steps on them.
namespace koGeom::detail {

CollarRegion::CollarRegion(CompactMesh const& mesh, MeshAdjTris const& adjTris, int const* begin,
                           int const* end)
    : triangles_(mesh.getNumTriangles()), vertices_(mesh.getNumVertices()) {
    vertices_.setBits(static_cast<int>(end - begin), begin);
    extract(mesh, adjTris);
}

CollarRegion::CollarRegion(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                           MeshCurve const& curve)
    : triangles_(mesh.getNumTriangles()), vertices_(mesh.getNumVertices()) {
    for (MeshCoord const& coord : curve.points) {
        if (!coord.valid() || coord.triangle >= mesh.getNumTriangles())
            continue;
        for (int const corner : mesh.getTriangles()[coord.triangle].vertices)
            vertices_.setBit(corner);
    }
    extract(mesh, adjTris);
}

/// Takes what lies around the vertices that are set.
void CollarRegion::extract(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
    MeshSelect select(mesh, adjTris, triangles_, vertices_);
    select.selectAllTrianglesFromVertices();
    select.selectVerticesFromTriangles();
    rep_ = std::make_unique<MeshConvertRep>(mesh, triangles_, vertices_, adjTris);
    rep_->extract();
}

CollarPath::PointRef CollarRegion::pointAt(MeshCoord const& coord) const {
    TopoMeshCoord const place = coord.valid() ? rep_->copy(coord) : TopoMeshCoord();
    return place.face ? CollarPath::PointRef(new TopoMeshPoint(place, epsilonTol))
                      : CollarPath::PointRef();
}

std::size_t CollarPath::numSegments() const {
    if (points.size() < 2)
        return 0;
    return isClosed ? points.size() : points.size() - 1;
}

double CollarPath::segmentLength(std::size_t segment) const {
    return distance(points[segment]->position, segmentEnd(segment)->position);
}

double CollarPath::length() const {
    double sum = 0.0;
    for (std::size_t i = 0; i < numSegments(); ++i)
        sum += segmentLength(i);
    return sum;
}

namespace {

using PointRef = CollarPath::PointRef;

PointRef pointOn(TopoMeshVertex vertex) {
    return PointRef(new TopoMeshPoint(vertex, vertex.edge().face()));
}

/// A boundary's vertices, by place along it; a place may lie beyond the end and counts on from the start.
struct Loop {
    std::vector<TopoMeshVertex> vertices;

    std::size_t size() const { return vertices.size(); }
    TopoMeshVertex operator[](std::size_t place) const { return vertices[place % size()]; }
};

/// On the vertex at a place, or on the edge from there to the next one.
struct LoopPlace {
    bool isOnLoop = false;
    bool isOnEdge = false;
    std::size_t place = 0;
    double param = 0.0;  // along the edge
};

LoopPlace locate(Loop const& loop, TopoMeshPoint const& point) {
    LoopPlace found;
    TopoMeshVertex const from = point.edge.origin();
    TopoMeshVertex const to = point.edge.next().origin();
    for (std::size_t i = 0; i < loop.size() && !found.isOnLoop; ++i) {
        if (point.kind == TopoMeshPoint::OnVertex)
            found.isOnLoop = loop[i] == point.vertex;
        else if (point.kind == TopoMeshPoint::OnEdge)
            // Badly wound triangles may run against the loop.
            found.isOnLoop =
                (loop[i] == from && loop[i + 1] == to) || (loop[i] == to && loop[i + 1] == from);
        found.place = i;
    }
    found.isOnEdge = point.kind == TopoMeshPoint::OnEdge;
    if (found.isOnLoop && found.isOnEdge) {
        double originWeight = 0.0;
        double endWeight = 0.0;
        point.getEdgeWeights(originWeight, endWeight);
        found.param = loop[found.place] == from ? endWeight : originWeight;
    }
    return found;
}

}  // namespace

///     forward:   from . first - ... - last . to        an end on an edge comes before, or after, the vertices
CollarPath boundaryStretch(CollarRegion const& region, int const* begin, int const* end,
                           TopoMeshPoint const& from, TopoMeshPoint const& to, bool forward) {
    CollarPath path;
    path.isForward = forward;
    Loop loop;
    for (int const* number = begin; number != end; ++number)
        loop.vertices.push_back(region.vertex(*number));
    LoopPlace const start = locate(loop, from);
    LoopPlace const stop = locate(loop, to);
    bool const isOneVertex = !start.isOnEdge && !stop.isOnEdge && start.place == stop.place;
    if (!start.isOnLoop || !stop.isOnLoop || isOneVertex)
        return path;

    if (start.isOnEdge)
        path.points.push_back(PointRef(new TopoMeshPoint(from)));
    bool const isAhead = forward ? start.param < stop.param : start.param > stop.param;
    bool const isOnOneEdge = start.isOnEdge && stop.isOnEdge && start.place == stop.place;
    if (!isOnOneEdge || !isAhead) {
        std::size_t const stepping = forward ? 1 : loop.size() - 1;
        std::size_t const first = (start.place + (start.isOnEdge && forward ? 1 : 0)) % loop.size();
        std::size_t const last = (stop.place + (stop.isOnEdge && !forward ? 1 : 0)) % loop.size();
        for (std::size_t i = first; i != last; i = (i + stepping) % loop.size())
            path.points.push_back(pointOn(loop[i]));
        path.points.push_back(pointOn(loop[last]));
    }
    if (stop.isOnEdge)
        path.points.push_back(PointRef(new TopoMeshPoint(to)));
    return path;
}

CollarPath curvePath(CollarRegion const& region, MeshCurve const& curve) {
    CollarPath path;
    path.isClosed = curve.closed;
    for (MeshCoord const& coord : curve.points)
        if (PointRef const point = region.pointAt(coord))
            path.points.push_back(point);
    return path;
}

namespace {

bool liesOn(TopoMeshPoint const& point, TopoMeshEdge edge) {
    if (point.kind == TopoMeshPoint::OnVertex)
        return point.vertex == edge.origin() || point.vertex == edge.next().origin();
    return point.kind == TopoMeshPoint::OnEdge && (point.edge == edge || point.edge == edge.twin());
}

/// An edge on which both points lie, or null.
TopoMeshEdge commonEdge(TopoMeshPoint const& a, TopoMeshPoint const& b) {
    if (a.kind == TopoMeshPoint::OnVertex && b.kind == TopoMeshPoint::OnVertex) {
        TopoMeshEdge const along = TopoMesh::findEdge(a.vertex, b.vertex);
        return along ? along : TopoMesh::findEdge(b.vertex, a.vertex);
    }
    if (a.kind == TopoMeshPoint::OnEdge && liesOn(b, a.edge))
        return a.edge;
    if (b.kind == TopoMeshPoint::OnEdge && liesOn(a, b.edge))
        return b.edge;
    return TopoMeshEdge();
}

PointRef pointOn(TopoMeshEdge edge, Point const& position) {
    Point const origin = edge.origin().point();
    double const length = distance(origin, edge.next().origin().point());
    double const along = distance(origin, position);
    if (along <= epsilonTol)
        return pointOn(edge.origin());
    if (length - along <= epsilonTol)
        return pointOn(edge.next().origin());
    double const param = along / length;
    return PointRef(new TopoMeshPoint(edge, edge.face(), 1.0 - param, param));
}

/// The place a fraction of the way from one point to the next. Neighbours on a curve share a face, if not an edge; where they do
/// not, the nearer one lends its place in the mesh.
PointRef pointBetween(TopoMeshPoint const& a, TopoMeshPoint const& b, double param) {
    Point const position = combine(1.0 - param, a.position, param, b.position);
    PointRef point;
    if (TopoMeshEdge const edge = commonEdge(a, b)) {
        point = pointOn(edge, position);
    } else if (TopoMeshFace const face = a.adjacent(b)) {
        TopoMeshCoord coord;
        coord.setFromPoint(face, position);
        point = PointRef(new TopoMeshPoint(coord, epsilonTol));
    } else {
        point = PointRef(new TopoMeshPoint(param < 0.5 ? a : b));
    }
    point->position = position;
    return point;
}

/// A place on a path: the fraction `param`, below 1, of the way from a point to the next.
struct PathPlace {
    std::size_t segment = 0;
    double param = 0.0;

    bool operator==(PathPlace const&) const = default;
    bool isBefore(PathPlace const& other) const {
        return segment != other.segment ? segment < other.segment : param < other.param;
    }
};

PathPlace nearestPlace(CollarPath const& path, Point const& p) {
    PathPlace nearest;
    double best2 = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < path.numSegments(); ++i) {
        ParamLine const line(path.points[i]->position, path.segmentEnd(i)->position);
        double const param = line.projectBounded(p, 0.0, 1.0);
        double const squared = distance2(line.eval(param), p);
        if (squared < best2) {
            best2 = squared;
            nearest = param < 1.0 ? PathPlace{i, param} : PathPlace{i + 1, 0.0};
        }
    }
    return nearest;
}

PointRef pointAt(CollarPath const& path, PathPlace const& place) {
    PointRef const& before = path.points[place.segment % path.points.size()];
    return place.param > 0.0 ? pointBetween(*before, *path.segmentEnd(place.segment), place.param)
                             : before;
}

}  // namespace

CollarPath partBetween(CollarPath const& path, Point const& from, Point const& to) {
    CollarPath part;
    if (path.numSegments() == 0)
        return part;
    PathPlace first = nearestPlace(path, from);
    PathPlace last = nearestPlace(path, to);
    part.isForward = !last.isBefore(first);
    if (first == last)
        return part;
    if (!part.isForward)
        std::swap(first, last);

    part.points.push_back(pointAt(path, first));
    for (std::size_t i = first.segment + 1; i < last.segment; ++i)
        part.points.push_back(path.points[i]);
    if (last.segment > first.segment && last.param > 0.0)
        part.points.push_back(path.points[last.segment]);
    part.points.push_back(pointAt(path, last));
    if (!part.isForward)
        std::reverse(part.points.begin(), part.points.end());
    return part;
}

namespace {

/// The place at a length from a segment's start. One that is as near to a point of the path as the rounding of positions can tell lies
/// on what that point lies on, a vertex mostly, though it keeps its own position.
PointRef sampleOn(CollarPath const& path, std::size_t segment, double along, double tolerance) {
    TopoMeshPoint const& start = *path.points[segment];
    TopoMeshPoint const& end = *path.segmentEnd(segment);
    double const length = path.segmentLength(segment);
    double const param = std::min(along / length, 1.0);
    if (along > tolerance && length - along > tolerance)
        return pointBetween(start, end, param);
    PointRef point(new TopoMeshPoint(along <= tolerance ? start : end));
    point->position = combine(1.0 - param, start.position, param, end.position);
    return point;
}

}  // namespace

void resample(CollarPath& path, int numPieces) {
    double const length = path.length();
    if (!(length > 0.0) || !std::isfinite(length) || numPieces < 1)
        return;
    double const tolerance = double(epsilonTolFlt) * length;
    std::vector<PointRef> samples = {path.points.front()};
    std::size_t segment = 0;
    double walked = 0.0;  // as far as the segment's start
    for (int i = 1; i < numPieces; ++i) {
        double const target = length * i / numPieces;
        while (segment + 1 < path.numSegments() && walked + path.segmentLength(segment) < target)
            walked += path.segmentLength(segment++);
        samples.push_back(sampleOn(path, segment, target - walked, tolerance));
    }
    if (!path.isClosed)
        samples.push_back(path.points.back());
    path.points.swap(samples);
}

}  // namespace koGeom::detail
