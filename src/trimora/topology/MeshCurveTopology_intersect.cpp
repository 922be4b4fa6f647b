#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/topology/MeshCurveTopology.h"

#include <algorithm>
#include <iterator>

/// The graph's crossings. Pairs of segments are tested face by face; a segment along an edge is tested against those of the
/// two faces beside it; what meets on a vertex is joined without a test.
namespace koGeom {

namespace {

using Segment = MeshCurveTopology::Segment;

Point const& startOf(Segment const& segment) {
    return (*segment.first)->position;
}
Point const& endOf(Segment const& segment) {
    return (*std::next(segment.first))->position;
}

/// Stretches of one plane whose boxes are this far apart do not cross: the reach of the widened test is far less.
bool areApart(Segment const& a, Segment const& b, double tolerance) {
    Range3d boxes[2];
    for (Segment const* const segment : {&a, &b}) {
        Range3d& box = boxes[segment == &a ? 0 : 1];
        box.include(startOf(*segment));
        box.include(endOf(*segment));
    }
    Vector const sizes = boxes[0].size() + boxes[1].size();
    double const reach = 4.0 * tolerance + 1e-6 * std::max({sizes.x, sizes.y, sizes.z});
    return !boxes[0].intersects(boxes[1], reach);
}

/// Nearer to a segment's end than this share of its length a crossing is at the end, however small the tolerance: the test
/// itself reaches past the ends and cannot tell more.
constexpr double leastPiece = 1e-9;
/// Passes over a face that all find something new; two or three are usual.
constexpr int mostPasses = 50;

/// Each two segments cross once at most, and each crossing adds one node to either. What goes far beyond is rounding noise
/// of points closer together than numbers can tell.
std::size_t mostSegments(std::size_t numThrough, std::size_t numAlong) {
    std::size_t const num = numThrough + numAlong;
    return numThrough + 2 * num * num;
}

/// A little longer at both ends, so that what touches there crosses.
ParamLine widened(Point const& start, Point const& end) {
    Vector const along = end - start;
    Vector const more = epsilonTol * Vector(Normal(along));
    return {start - more, along + 2.0 * more};
}

bool isInside(double param) {
    return param > 0.0 && param < 1.0;
}

}  // namespace

void MeshCurveTopology::intersect() {
    FaceSegments faces;
    for (MeshCurveTopologyIterator i(*curves_); i.valid(); i.next()) {
        Node const node = i.getIterator();
        Node const following = std::next(node);
        if (following == i.getCurve().end())
            continue;
        Segment const segment{&i.getCurve(), node};
        TopoMeshEdge const edge = isBoundarySegment(segment);
        for (TopoMeshFace const beside : {edge.face(), edge.twin().face()})
            if (beside)
                ++faces[beside].numAlong;
        TopoMeshFace const face = edge ? TopoMeshFace() : (*node)->adjacent(**following);
        if (face)
            faces[face].through.push_back(segment);
    }
    for (auto& [face, segments] : faces) {
        segments.most = mostSegments(segments.through.size(), segments.numAlong);
        for (int pass = 0; pass < mostPasses && intersect(segments.through, segments.most); ++pass)
            continue;
    }
    findEdgeIntersections(faces);
    findVertexIntersections();
}

bool MeshCurveTopology::intersect(ko::list<Segment>& segments, std::size_t most) {
    bool inserted = false;
    for (auto a = segments.begin(); a != segments.end(); ++a) {
        for (auto b = std::next(a); b != segments.end(); ++b) {
            if (segments.size() >= most)
                return false;
            PointRef const point = intersect(*a, *b);
            if (point && cross(*a, &segments, *b, &segments, point))
                inserted = true;
        }
    }
    return inserted;
}

bool MeshCurveTopology::cross(Segment const& a, ko::list<Segment>* listOfA, Segment const& b,
                              ko::list<Segment>* listOfB, PointRef const& point) {
    iPoints_[point];
    Node node;
    bool const splitsA = splitSegment(a, listOfA, point, node);
    // If the crossing fell on a node of a, then b gets what that node holds: both share one object.
    PointRef const shared = *node;
    bool const splitsB = splitSegment(b, listOfB, shared, node);
    return splitsA || splitsB;
}

MeshCurveTopology::PointRef MeshCurveTopology::intersect(Segment const& a, Segment const& b) {
    PointRef const& a0 = *a.first;
    PointRef const& a1 = *std::next(a.first);
    PointRef const& b0 = *b.first;
    PointRef const& b1 = *std::next(b.first);
    if (a0 == b0 || a0 == b1 || a1 == b0 || a1 == b1 || areApart(a, b, tolerance_))
        return PointRef();
    Point crossing;
    TopoMeshCoord coord;
    if (!intersect(a0->position, a1->position, b0->position, b1->position, crossing) ||
        !coord.setFromPoint(a0->adjacent(*a1), crossing))
        return PointRef();
    return new TopoMeshPoint(coord, tolerance_);
}

bool MeshCurveTopology::intersect(Point const& a0, Point const& a1, Point const& b0,
                                  Point const& b1, Point& result) {
    Range3d range;
    for (Point const* const p : {&a0, &a1, &b0, &b1})
        range.include(*p);
    Point const mid = range.mid();
    double const half = 0.5 * distance(range.lower, range.upper);
    auto const inFrame = [&](Point const& p) { return ((p - mid) / half).asPoint(); };

    ParamLine const a = widened(inFrame(a0), inFrame(a1));
    ParamLine const b = widened(inFrame(b0), inFrame(b1));
    bool hits = false;
    Point const hit = koLinear::intersect(Line(a), Line(b), hits, perpendicular2Tol);
    if (!hits || !isInside(projectParam(hit, a)) || !isInside(projectParam(hit, b)))
        return false;
    result = mid + half * hit.asVector();
    return true;
}

TopoMeshEdge MeshCurveTopology::isBoundarySegment(Segment const& segment) const {
    TopoMeshPoint const& start = **segment.first;
    TopoMeshPoint const& end = **std::next(segment.first);
    if (start.kind == TopoMeshPoint::OnVertex && end.kind == TopoMeshPoint::OnVertex)
        return TopoMesh::findEdge(start.vertex, end.vertex);
    auto const ownEnd = [](TopoMeshEdge edge, TopoMeshVertex vertex) {
        bool const isEnd = edge.origin() == vertex || edge.next().origin() == vertex;
        return isEnd ? edge : TopoMeshEdge();
    };
    if (start.kind == TopoMeshPoint::OnVertex && end.kind == TopoMeshPoint::OnEdge)
        return ownEnd(end.edge, start.vertex);
    if (start.kind == TopoMeshPoint::OnEdge && end.kind == TopoMeshPoint::OnVertex)
        return ownEnd(start.edge, end.vertex);
    // By the very half-edge: points on the two halves of one edge have the stretch between them go through a face.
    bool const sameHalf = start.kind == TopoMeshPoint::OnEdge &&
                          end.kind == TopoMeshPoint::OnEdge && start.edge == end.edge;
    return sameHalf ? start.edge : TopoMeshEdge();
}

MeshCurveTopology::Node MeshCurveTopology::splitSegment(Segment const& segment,
                                                        PointRef const& point, bool& inserted) {
    Node const end = std::next(segment.first);
    double const reach =
        std::max(tolerance_, leastPiece * distance(startOf(segment), endOf(segment)));
    inserted = false;
    if (distance(point->position, startOf(segment)) <= reach)
        return segment.first;
    if (distance(point->position, endOf(segment)) <= reach)
        return end;
    inserted = true;
    return segment.curve->insert(end, point);
}

bool MeshCurveTopology::splitSegment(Segment const& segment, ko::list<Segment>* list,
                                     PointRef const& point, Node& node) {
    bool inserted = false;
    node = splitSegment(segment, point, inserted);
    makeIntersectionIPoint(*segment.curve, node, point);
    if (inserted && list != nullptr)
        list->push_back({segment.curve, node});
    return inserted;
}

MeshCurveTopology::IPoint& MeshCurveTopology::ensureUse(Curve& curve, Node node) {
    IPoint& at = iPoints_[*node];
    CurveUse const use{&curve, node};
    if (std::find(at.uses.begin(), at.uses.end(), use) == at.uses.end())
        at.uses.push_back(use);
    return at;
}

void MeshCurveTopology::makeIntersectionIPoint(Curve& curve, Node node, PointRef const& point) {
    ensureUse(curve, node);
    mergeIPoints(*node, point);
}

void MeshCurveTopology::findEdgeIntersections(FaceSegments& segments) {
    auto const numThrough = [&segments](TopoMeshFace face) {
        auto const found = segments.find(face);
        return found != segments.end() ? found->second.through.size() : 0;
    };
    for (Curve& curve : *curves_) {
        if (curve.empty())
            continue;
        for (Node node = curve.begin(); std::next(node) != curve.end();) {
            Node const end = std::next(node);
            TopoMeshEdge const edge = isBoundarySegment({&curve, node});
            TopoMeshFace const beside[2] = {edge.face(), edge.twin().face()};
            // Nodes that come in between lie on the edge as well, whatever half of it they name. Each segment crosses the
            // edge once, noise apart.
            std::size_t piecesLeft = edge ? 2 * (numThrough(beside[0]) + numThrough(beside[1])) : 0;
            for (; node != end; ++node) {
                for (TopoMeshFace const face : beside)
                    if (face && piecesLeft > 0)
                        findEdgeIsectsOnFace({&curve, node}, face, segments);
                piecesLeft -= piecesLeft > 0;
            }
        }
    }
}

void MeshCurveTopology::findEdgeIsectsOnFace(Segment const& segment, TopoMeshFace face,
                                             FaceSegments& segments) {
    auto const found = segments.find(face);
    if (found == segments.end())
        return;
    ko::list<Segment>& list = found->second.through;
    for (auto s = list.begin(); s != list.end() && list.size() < found->second.most; ++s) {
        PointRef const point = intersect(segment, *s);
        if (point)
            cross(segment, nullptr, *s, &list, point);
    }
}

void MeshCurveTopology::findVertexIntersections() {
    ko::map<TopoMeshVertex, CurveUse> firstUses;
    for (MeshCurveTopologyIterator i(*curves_); i.valid(); i.next()) {
        Node const node = i.getIterator();
        if ((*node)->kind != TopoMeshPoint::OnVertex)
            continue;
        auto const [known, isNew] =
            firstUses.try_emplace((*node)->vertex, CurveUse{&i.getCurve(), node});
        if (isNew)
            continue;
        ensureUse(*known->second.curve, known->second.node);
        ensureUse(i.getCurve(), node);
        mergeIPoints(*known->second.node, *node);
    }
}

}  // namespace koGeom
