#include "trimora/contract/koLinear/lines.h"
#include "trimora/topology/detail/ConditionMesh.h"
#include "trimora/topology/detail/edgesAround.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

/// The last stage of a cut: rounds of swaps for better angles, each followed by the removal of vertices that slivers touch.
namespace koGeom::detail {

namespace {

/// A side this much shorter than both others, or a height this much lower than its base, makes a sliver.
constexpr double sliverRatio = 0.15;
/// How far the outline may move, in tolerances.
constexpr double outlineSlack = 1.1;
/// From this walk on, a power of two, it is looked whether walks only repeat: on a bent surface they may.
constexpr unsigned firstKeptWalk = 16;

using Criterion = void (*)(TopoMeshEdge, bool&);

void connect(MeshEdgeSwapper& swapper, Criterion criterion) {
    swapper.getVetoSignal().addCallback(
        new koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>(criterion));
}

/// The triangle left of e, which runs from a to b, by the lengths of its sides.
bool isSliver(TopoMeshEdge e) {
    Point const a = e.origin().point();
    Point const b = e.next().origin().point();
    Point const c = e.prev().origin().point();
    double const ab = distance(a, b);
    double const bc = distance(b, c);
    double const ca = distance(c, a);
    if (sliverRatio * bc > ab && sliverRatio * ca > ab)
        return true;
    if (sliverRatio * ab > ca && sliverRatio * bc > ca)
        return true;
    if (ab > bc && ab > ca)
        return sliverRatio * ab > distance(c, Line(a, b));
    if (ca > ab && ca > bc)
        return sliverRatio * ca > distance(b, Line(a, c));
    return false;
}

/// The ends of the boundary before and after the vertex; null for one inside.
struct BoundaryNeighbours {
    TopoMeshVertex before, after;

    explicit BoundaryNeighbours(TopoMeshVertex v) {
        TopoMeshBoundaryIterator boundary;
        boundary.reset(v, true);
        before = boundary.prevEdge().origin();
        after = boundary.edge.next().origin();
    }
};

/// Two sides at a corner of the triangle fall on one another: it has no area.
bool hasClosedCorner(TopoMeshFace triangle) {
    TopoMeshEdge e = triangle.edge();
    for (int corner = 0; corner < 3; ++corner, e = e.next()) {
        Point const at = e.origin().point();
        Normal const ahead(e.next().origin().point() - at);
        Normal const back(e.prev().origin().point() - at);
        if (std::abs(dot(ahead, back) - 1.0) <= epsilonTol)
            return true;
    }
    return false;
}

/// Has the swapped edge left a triangle without area beside the vertex that it was swapped away from? The one at the
/// vertex itself may be such: it goes with it.
bool leavesClosedCorner(TopoMeshEdge swapped, TopoMeshVertex v) {
    for (TopoMeshEdge const half : {swapped, swapped.twin()})
        if (half.prev().origin() != v && hasClosedCorner(half.face()))
            return true;
    return false;
}

/// Would the last triangle between what is around v come to lie on another one with the same corners, or vanish with
/// everything?
bool leavesNothingSound(TopoMeshVertex v, bool onBoundary) {
    TopoMeshEdge const across = v.edge().next();
    if (onBoundary)
        return !across.twin();
    TopoMeshFace const outside = across.twin().face();
    bool doubles = static_cast<bool>(outside);
    forEachEdgeAround(
        v.edge(), [&](TopoMeshEdge e) { doubles = doubles && e.next().twin().face() == outside; });
    return doubles;
}

}  // namespace

ConditionMesh::ConditionMesh(TopoMesh& mesh, ko::set<TopoMeshVertex> vertices, double tolerance)
    : mesh_(mesh),
      vertices_(std::move(vertices)),
      members_(vertices_.begin(), vertices_.end()),
      tolerance_(tolerance) {
    for (MeshEdgeSwapper* const swapper : {&angleSwapper_, &removalSwapper_, &lastSwapper_})
        swapper->getVetoSignal().addCallback(
            new koRTB::Function2ArgsMember(this, &ConditionMesh::near));
    connect(angleSwapper_, &MeshEdgeSwapper::preserveFeatures);
    connect(angleSwapper_, &MeshEdgeSwapper::minimizeOppositeAngleSum);
    connect(removalSwapper_, &MeshEdgeSwapper::preserveFeatures);
    connect(removalSwapper_, &MeshEdgeSwapper::preventFoldover);
}

int ConditionMesh::run() {
    int pass = 0;
    for (bool changed = true; changed && pass < maxPasses; ++pass) {
        swapForAngles();
        changed = removeVertices();
    }
    return pass;
}

void ConditionMesh::near(TopoMeshEdge edge, bool& veto) {
    TopoMeshEdge const twin = edge.twin();
    bool const isNear = (isInSet(edge.origin()) || isInSet(twin.origin())) &&
                        (isInSet(edge.prev().origin()) || isInSet(twin.prev().origin()));
    if (!isNear)
        veto = true;
}

/// The edges at the vertices of the set, oldest first, by their older halves: those of which a walk over the whole mesh would
/// swap some. A swap leads from an edge at the set to an edge at the set, so that the list holds through all walks.
std::vector<TopoMeshEdge> ConditionMesh::edgesNearby() const {
    std::vector<TopoMeshEdge> edges;
    for (TopoMeshVertex v : vertices_) {
        if (!v.edge())
            continue;
        forEachEdgeAround(v.edge(), [&edges](TopoMeshEdge e) {
            if (e.twin())
                edges.push_back(olderHalf(e));
        });
    }
    std::sort(edges.begin(), edges.end(), ko::less<TopoMeshEdge>());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    return edges;
}

namespace {

/// Where edges run, and what lies opposite: all that a walk of swaps depends on.
std::vector<TopoMeshVertex> courseOf(std::vector<TopoMeshEdge> const& edges) {
    std::vector<TopoMeshVertex> course;
    course.reserve(4 * edges.size());
    for (TopoMeshEdge e : edges)
        for (TopoMeshEdge const half : {e, e.twin()})
            course.insert(course.end(), {half.origin(), half.prev().origin()});
    return course;
}

}  // namespace

/// What `meshSwapEdgesRepeatedly` does, but for walks that would repeat for ever: a walk follows from the course of the
/// edges, so that one that has been there before ends the swaps [brent1980].
void ConditionMesh::swapForAngles() {
    std::vector<TopoMeshEdge> const edges = edgesNearby();
    std::vector<char> asks(edges.size(), 1);
    std::vector<TopoMeshVertex> kept;
    bool anySwap = false;
    for (unsigned walk = 1; swapOnce(edges, asks); ++walk) {
        anySwap = true;
        if (walk < firstKeptWalk)
            continue;
        std::vector<TopoMeshVertex> course = courseOf(edges);
        if (course == kept)
            break;
        if (std::has_single_bit(walk))
            kept = std::move(course);
    }
    if (!anySwap)
        return;
    TopoMeshModification modification(mesh_, TopoMeshModification::Topology);
    mesh_.modified(modification);
}

/// One walk over the edges. What was forbidden stays so until one of the two triangles changes: such edges are passed over.
bool ConditionMesh::swapOnce(std::vector<TopoMeshEdge> const& edges, std::vector<char>& asks) {
    auto const askAgain = [&](TopoMeshEdge e) {
        TopoMeshEdge const older = olderHalf(e);
        auto const place =
            std::lower_bound(edges.begin(), edges.end(), older, ko::less<TopoMeshEdge>());
        if (place != edges.end() && *place == older)
            asks[static_cast<std::size_t>(place - edges.begin())] = 1;
    };
    bool swaps = false;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (asks[i] == 0)
            continue;
        TopoMeshEdge const e = edges[i];
        bool const agrees = angleSwapper_.shouldSwap(e);
        // A swap that is wanted and impossible may become possible by one elsewhere.
        asks[i] = agrees ? 1 : 0;
        if (!agrees || !mesh_.swapEdge(e))
            continue;
        swaps = true;
        for (TopoMeshEdge const half : {e, e.twin()}) {
            askAgain(half.next());
            askAgain(half.prev());
        }
    }
    return swaps;
}

bool ConditionMesh::removeVertices() {
    bool removed = false;
    ko::set<TopoMeshVertex> touched;
    for (auto at = vertices_.begin(); at != vertices_.end();) {
        TopoMeshVertex const v = *at++;
        if (!canGo(v))
            continue;
        bool const onBoundary = v.onBoundary();
        if (onBoundary && touched.count(v) != 0)
            continue;
        BoundaryNeighbours const neighbours(v);
        if (!remove(v))
            continue;
        vertices_.erase(v);
        members_.erase(v);
        if (onBoundary)
            touched.insert({neighbours.before, neighbours.after});
        removed = true;
    }
    return removed;
}

bool ConditionMesh::canGo(TopoMeshVertex v) const {
    if (!v.edge())
        return false;
    bool touchesSliver = false;
    forEachEdgeAround(v.edge(), [&touchesSliver](TopoMeshEdge e) {
        if (!touchesSliver && (!e.twin() || e.next().origin().onBoundary()))
            touchesSliver = isSliver(e);
    });
    if (!touchesSliver || !v.onBoundary())
        return touchesSliver;
    BoundaryNeighbours const neighbours(v);
    Line const outline(neighbours.before.point(), neighbours.after.point());
    return outlineSlack * tolerance_ > distance(v.point(), outline);
}

bool ConditionMesh::remove(TopoMeshVertex v) {
    bool const onBoundary = v.onBoundary();
    int const target = onBoundary ? 1 : 3;
    std::vector<TopoMeshEdge> swapped;
    int valence = v.valence();
    while (valence > target && swapOneAway(v, valence, swapped))
        --valence;
    if (valence == target && mesh_.canDeleteVertex(v) && !leavesNothingSound(v, onBoundary)) {
        vertexRemoved_.raise(v);
        mesh_.deleteVertex(v);
        return true;
    }
    for (auto edge = swapped.rbegin(); edge != swapped.rend(); ++edge)
        mesh_.swapEdge(*edge);
    return false;
}

bool ConditionMesh::swapOneAway(TopoMeshVertex v, int valence, std::vector<TopoMeshEdge>& swapped) {
    MeshEdgeSwapper& swapper = valence == 2 ? lastSwapper_ : removalSwapper_;
    for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next()) {
        if (!i.edge.twin() || !swapper.shouldSwap(i.edge) || !mesh_.swapEdge(i.edge))
            continue;
        // A second swap is the inverse of the first, but for own edges, which the walk does not read again.
        TopoMeshEdge const edge = i.edge;
        if (leavesClosedCorner(edge, v)) {
            mesh_.swapEdge(edge);
            continue;
        }
        swapped.push_back(edge);
        return true;
    }
    return false;
}

}  // namespace koGeom::detail
