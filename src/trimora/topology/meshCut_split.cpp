#include "trimora/topology/detail/MeshCutImpl.h"
#include "trimora/topology/detail/edgesAround.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <unordered_set>

/// The curves become edges: points on edges turn into vertices, then each face is split along the paths that run through it,
/// from rim to rim.
namespace koGeom::detail {

namespace {

bool isOnVertex(TopoMeshPoint const& point) {
    return point.kind == TopoMeshPoint::OnVertex;
}

bool isInFace(TopoMeshPoint const& point) {
    return point.kind == TopoMeshPoint::InFace;
}

bool areJoined(TopoMeshVertex a, TopoMeshVertex b) {
    return TopoMesh::findEdge(a, b) || TopoMesh::findEdge(b, a);
}

/// Whether the corners of a face, seen along the normal, surround the point: an odd number of sides beyond it.
bool surrounds(TopoMeshFace face, Normal const& normal, Point const& point) {
    double const sizes[3] = {std::abs(normal.x), std::abs(normal.y), std::abs(normal.z)};
    auto const dropped = std::max_element(sizes, sizes + 3) - sizes;
    auto const flat = [dropped](Point const& p) {
        return dropped == 0 ? Point2(p.y, p.z) : dropped == 1 ? Point2(p.z, p.x) : Point2(p.x, p.y);
    };
    Point2 const p = flat(point);
    bool inside = false;
    TopoMeshEdge e = face.edge();
    do {
        Point2 const s = flat(e.origin().point());
        Point2 const t = flat(e.next().origin().point());
        if ((s.y > p.y) != (t.y > p.y) && p.x < s.x + (p.y - s.y) / (t.y - s.y) * (t.x - s.x))
            inside = !inside;
        e = e.next();
    } while (e != face.edge());
    return inside;
}

/// Lets the point name the other half of its edge, in the same place.
void moveToTwin(TopoMeshPoint& point) {
    double origin = 0.0;
    double end = 0.0;
    point.getEdgeWeights(origin, end);
    TopoMeshEdge const twin = point.edge.twin();
    if (twin.origin() != point.edge.origin())
        std::swap(origin, end);
    point = TopoMeshPoint(twin, twin.face(), origin, end);
}

}  // namespace

void MeshCut::noteBoundary() {
    for (MeshCurveTopologyIterator i(curves_); i.valid(); i.next()) {
        TopoMeshVertex const v = (*i.getIterator())->vertex;
        if (v && v.onBoundary())
            formerBoundary_.insert(v);
    }
}

//   b                 b           points on an edge, whichever half they name, are gathered at one half and inserted from
//   |                 y           the far end on, so that the half-edge stays the one from a to the nearest point
//   |  . y     ->     |
//   |  . x            x
//   a                 a
void MeshCut::insertEdgePoints() {
    ko::map<TopoMeshEdge, Path> pointsOn;
    std::unordered_set<TopoMeshPoint const*> seen;  // asked only; the order is that of the curves
    for (MeshCurveTopologyIterator i(curves_); i.valid(); i.next()) {
        TopoMeshPoint& point = **i.getIterator();
        if (point.kind != TopoMeshPoint::OnEdge || !seen.insert(&point).second)
            continue;
        if (olderHalf(point.edge) != point.edge)
            moveToTwin(point);
        pointsOn[point.edge].push_back(&point);
    }
    for (auto& [edge, points] : pointsOn) {
        auto const distanceAlong = [start = edge.origin().point()](TopoMeshPoint const* p) {
            double const squared = distance2(p->position, start);
            return std::isnan(squared) ? std::numeric_limits<double>::infinity() : squared;
        };
        std::stable_sort(points.begin(), points.end(),
                         [&](TopoMeshPoint const* p, TopoMeshPoint const* q) {
                             return distanceAlong(p) < distanceAlong(q);
                         });
        touched_.insert(edge.face());
        if (edge.twin())
            touched_.insert(edge.twin().face());
        std::vector<TopoMeshVertex>& chain = chains_[edge];
        chain.push_back(edge.next().origin());
        for (auto point = points.rbegin(); point != points.rend(); ++point) {
            TopoMeshVertex const v = mesh_.subdivideEdge(edge, (*point)->position);
            **point = TopoMeshPoint(v, edge.face());
            chain.push_back(v);
        }
        chain.push_back(edge.origin());
    }
}

/// Where curves run along one edge over different stretches, each passes the points of the others: they become nodes of it.
void MeshCut::followEdges() {
    auto grounds = grounds_.begin();
    for (Curve& curve : curves_) {
        std::vector<Ground> followed;
        auto ground = grounds->begin();
        for (auto node = curve.begin(); std::next(node) != curve.end(); ++ground) {
            auto const end = std::next(node);
            std::vector<TopoMeshVertex> const passed =
                passedVertices(ground->edge, (*node)->vertex, (*end)->vertex);
            for (TopoMeshVertex v : passed)
                curve.insert(end, new TopoMeshPoint(v, ground->face));
            followed.insert(followed.end(), passed.size() + 1, *ground);
            node = end;
        }
        *grounds++ = std::move(followed);
    }
}

/// The vertices between two of those on a former edge, in order from the one to the other.
std::vector<TopoMeshVertex> MeshCut::passedVertices(TopoMeshEdge edge, TopoMeshVertex from,
                                                    TopoMeshVertex to) const {
    auto const known = edge ? chains_.find(edge) : chains_.end();
    if (known == chains_.end() || areJoined(from, to))
        return {};
    auto const& chain = known->second;
    auto const start = std::find(chain.begin(), chain.end(), from);
    auto const end = std::find(chain.begin(), chain.end(), to);
    if (start == chain.end() || end == chain.end() || start == end)
        return {};
    if (start < end)
        return {start + 1, end};
    return {std::make_reverse_iterator(start), std::make_reverse_iterator(end + 1)};
}

void MeshCut::splitFaces() {
    for (Curve& curve : curves_)
        for (PointRef const& end : {curve.front(), curve.back()})
            if (isInFace(*end))
                splitAtJoint(end);

    auto grounds = grounds_.begin();
    for (Curve& curve : curves_) {
        Path path;
        std::size_t numPassed = 0;
        for (PointRef const& point : curve) {
            path.push_back(point.get());
            if (isOnVertex(*point)) {
                if (path.size() >= 2 && isOnVertex(*path.front()))
                    splitAlong(path, (*grounds)[numPassed - 1].face);
                path.assign(1, point.get());
            }
            ++numPassed;
        }
        ++grounds;
    }
}

/// The ends of curves that meet inside a face become a vertex on the way from one place of the rim to another.
void MeshCut::splitAtJoint(PointRef const& point) {
    std::vector<Path> const legs = legsOf(point);
    auto const second = std::find_if(legs.begin(), legs.end(), [&legs](Path const& leg) {
        return !isSamePlace(*leg.back(), *legs.front().back());
    });
    if (second == legs.end())
        return;
    Path path(legs.front().rbegin(), legs.front().rend());
    path.push_back(point.get());
    path.insert(path.end(), second->begin(), second->end());
    splitAlong(path, point->coord.face);
}

//      b                 b          from a over the points inside to b. Where a and b are joined already, the face is the one
//     / \               /|\         on that side on which the points lie; where the face has been split before, it is the
//    /   \     ->      / x \        part that holds both ends and the points.
//   /     \           /  |  \       .
//  .---a---.         .---a---.
void MeshCut::splitAlong(Path const& path, TopoMeshFace under) {
    TopoMeshVertex const a = path.front()->vertex;
    TopoMeshVertex const b = path.back()->vertex;
    ko::vector<Point> points;
    for (std::size_t i = 1; i + 1 < path.size(); ++i)
        points.push_back(path[i]->position);
    if (points.empty() && (areJoined(a, b) || a == b))
        return;

    TopoMeshFace const original = points.empty() ? under : path[1]->coord.face;
    Point const sample = points.empty() ? combine(a.point(), b.point()) : points.front();
    TopoMeshFace face = findPart(original, a, b, sample);
    if (points.empty()) {
        if (!face)
            face = a.adjacent(b);
        TopoMeshEdge const diagonal = mesh_.subdivideFace(face, a, b);
        if (diagonal)
            notePart(original, diagonal.twin().face());
    } else if (mesh_.subdivideFace(face, a, b, points)) {
        TopoMeshEdge e = face.adjacent(a);
        notePart(original, e.twin().face());
        for (std::size_t i = 1; i + 1 < path.size(); ++i) {
            e = e.next();
            *path[i] = TopoMeshPoint(e.origin(), e.face());
        }
    }
    if (face)
        touched_.insert(face);
}

TopoMeshFace MeshCut::findPart(TopoMeshFace original, TopoMeshVertex a, TopoMeshVertex b,
                               Point const& sample) const {
    auto const known = cutFaces_.find(original);
    if (known == cutFaces_.end())
        return TopoMeshFace();
    CutFace const& cutFace = known->second;
    std::vector<TopoMeshFace> withBoth;
    std::copy_if(cutFace.parts.begin(), cutFace.parts.end(), std::back_inserter(withBoth),
                 [=](TopoMeshFace part) { return part.adjacent(a) && part.adjacent(b); });
    if (withBoth.size() < 2)
        return withBoth.empty() ? TopoMeshFace() : withBoth.front();

    TopoMeshEdge const e = TopoMesh::findEdge(a, b);
    TopoMeshEdge const t = TopoMesh::findEdge(b, a);
    // The line from a to b parts the two only when both its halves belong to them; else it is an old edge of the mesh
    // with a path beside it.
    auto const isOneOfThem = [&withBoth](TopoMeshEdge half) {
        return half && std::find(withBoth.begin(), withBoth.end(), half.face()) != withBoth.end();
    };
    if (withBoth.size() == 2 && isOneOfThem(e) && isOneOfThem(t)) {
        Vector const left = cross(cutFace.normal, b.point() - a.point());
        return dot(left, sample - a.point()) > 0.0 ? e.face() : t.face();
    }
    auto const around = std::find_if(withBoth.begin(), withBoth.end(), [&](TopoMeshFace part) {
        return surrounds(part, cutFace.normal, sample);
    });
    return around != withBoth.end() ? *around : withBoth.front();
}

void MeshCut::notePart(TopoMeshFace original, TopoMeshFace part) {
    auto const known = cutFaces_.find(original);
    if (known != cutFaces_.end())
        known->second.parts.push_back(part);
    touched_.insert(part);
}

}  // namespace koGeom::detail
