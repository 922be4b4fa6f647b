#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/Ordering.h"
#include "trimora/contract/koUtil/SortKeys.h"
#include "trimora/repair/detail/HolePatch.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

/// From the loop of a boundary to a patch of triangles between its points.
namespace koGeom::detail {

HoleRegion::HoleRegion(CompactMesh const& sourceMesh, MeshAdjVertices const& sourceNeighbours,
                       MeshModifyRep& bridge, TopoMesh& halfEdges)
    : mesh(sourceMesh), adjVertices(sourceNeighbours), rep(bridge), topo(halfEdges) {
    swapper.getVetoSignal().addCallback(new koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>(
        &MeshEdgeSwapper::minimizeOppositeAngleSum));
}

namespace {

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Ascending by x, then y, then z. NaN comes last, so that the order does not depend on how it was sorted.
struct PointLess {
    Point const* points;

    bool operator()(int i, int j) const { return keysOf(points[i]) < keysOf(points[j]); }

    static std::array<std::uint64_t, 3> keysOf(Point const& p) {
        return {koUtil::sortKeyOf(p.x), koUtil::sortKeyOf(p.y), koUtil::sortKeyOf(p.z)};
    }
};

/// The order of the points; of equal ones the first place comes first.
void sortPlaces(ko::vector<Point> const& points, koUtil::Ordering& places) {
    constexpr std::size_t longRing = 512;  // below it a run on the pool costs more than it saves
    places.resize(points.size());
    int* const first = places.data();
    int* const last = first + places.size();
    PointLess const less{points.data()};
    if (points.size() < longRing)
        koUtil::serialSort(first, last, less);
    else
        koUtil::smpSort(first, last, less);
}

/// Looks for places of a ring with equal points, and takes out the vertices there that only one triangle holds.
///
///     ... a     b ...       The rim comes from a, goes round the fin (a, t, b) and goes on from b. Where t lies on another
///          \   /            point of the rim, the hole is closed by what is left once t and its triangle are gone: the rim
///            t              then goes from a to b.
///     ...... u .....
class FinRemoval {
public:
    FinRemoval(HoleRegion& region, ko::vector<int>& ring) : region_(region), ring_(ring) {}

    /// False when the hole has to be refused.
    bool run();

private:
    enum class Fin { None, Removed, Refused };

    bool isComplete() const;
    bool removeFins();
    Fin removeIfFin(int place);
    void eraseRemoved();
    TopoMeshVertex vertexAt(int place) const {
        return region_.rep.getTopoMeshVertex(ring_[at(place)]);
    }

    HoleRegion& region_;
    ko::vector<int>& ring_;
    ko::vector<int> removedPlaces_;
};

bool FinRemoval::run() {
    if (ring_.size() < 3 || !isComplete())
        return false;
    if (!removeFins())
        return false;
    eraseRemoved();
    // A ring that names a removed vertex a second time is still incomplete.
    return ring_.size() >= 3 && (removedPlaces_.empty() || isComplete());
}

/// An earlier hole may have taken vertices away.
bool FinRemoval::isComplete() const {
    return std::all_of(ring_.begin(), ring_.end(),
                       [this](int v) { return bool(region_.rep.getTopoMeshVertex(v)); });
}

bool FinRemoval::removeFins() {
    ko::vector<Point> points;
    points.reserve(ring_.size());
    for (int place = 0; place < static_cast<int>(ring_.size()); ++place)
        points.push_back(vertexAt(place).point());
    koUtil::Ordering order;
    sortPlaces(points, order);

    int previous = order[0];
    for (int i = 1; i < order.size(); ++i) {
        int const current = order[i];
        if (!equivalent(points[at(previous)], points[at(current)], epsilonTol)) {
            previous = current;
            continue;
        }
        Fin const atCurrent = removeIfFin(current);
        if (atCurrent == Fin::Refused)
            return false;
        Fin const atPrevious = removeIfFin(previous);
        if (atPrevious == Fin::Refused)
            return false;
        if (atCurrent == Fin::Removed && atPrevious == Fin::Removed) {
            if (++i == order.size())
                break;
            previous = order[i];
        } else if (atCurrent == Fin::None) {
            previous = current;
        }
    }
    return true;
}

FinRemoval::Fin FinRemoval::removeIfFin(int place) {
    TopoMeshVertex const tip = vertexAt(place);
    if (tip.valence() != 1)
        return Fin::None;
    // Without the fin a neighbour that has no other triangle would be left loose.
    TopoMeshEdge const base = tip.edge().next();
    if (base.origin().valence() == 1 || base.next().origin().valence() == 1)
        return Fin::Refused;

    TopoMeshEdge const behind = base.twin();
    region_.rep.removeVertex(tip);
    region_.topo.deleteVertex(tip);
    removedPlaces_.push_back(place);
    if (behind)
        region_.unlinked.push_back(behind);
    return Fin::Removed;
}

void FinRemoval::eraseRemoved() {
    std::sort(removedPlaces_.begin(), removedPlaces_.end());
    for (std::size_t i = removedPlaces_.size(); i-- > 0;)
        ring_.erase(ring_.begin() + removedPlaces_[i]);
}

}  // namespace

bool prepareRing(HoleRegion& region, ko::vector<int>& ring) {
    return FinRemoval(region, ring).run();
}

bool hasRimInTheWay(HoleRegion const& region, ko::vector<int> const& ring) {
    TopoMeshVertex previous = region.rep.getTopoMeshVertex(ring.back());
    for (int const v : ring) {
        TopoMeshVertex const vertex = region.rep.getTopoMeshVertex(v);
        if (TopoMesh::findEdge(vertex, previous))
            return true;
        previous = vertex;
    }
    return false;
}

void forbidInnerEdges(HoleRegion& region, ko::vector<int> const& ring, BitVector& forbidden) {
    // A bit vector counts its bits by int, which is enough for 46340 points; a ring that long takes hours to triangulate.
    auto const n = static_cast<std::int64_t>(ring.size());
    forbidden.resize(
        static_cast<int>(std::min<std::int64_t>(n * n, std::numeric_limits<int>::max())));

    for (std::size_t i = 0; i < ring.size(); ++i)
        region.places.set(region.rep.getTopoMeshVertex(ring[i]), static_cast<int>(i));
    for (std::int64_t i = 0; i < n; ++i) {
        TopoMeshVertex const vertex =
            region.rep.getTopoMeshVertex(ring[static_cast<std::size_t>(i)]);
        // Of all its fans: a walk around the vertex would stay in one.
        for (TopoMeshEdgeRecord const* edge = vertex.record()->firstLeaving; edge != nullptr;
             edge = edge->nextLeaving) {
            TopoMeshVertex const far(edge->end());
            int const j = region.places.find(far);
            std::int64_t const bit = i * n + j;
            if (j >= 0 && edge->twin != nullptr && far.onBoundary() && bit < forbidden.size)
                forbidden.setBit(static_cast<int>(bit));
        }
    }
    region.places.clear();
}

bool hasEdgesInTheWay(HoleRegion& region, ko::vector<int> const& ring,
                      ko::vector<int> const& triangles) {
    for (std::size_t t = 0; t + 2 < triangles.size(); t += 3) {
        TopoMeshVertex const a = region.rep.getTopoMeshVertex(ring[at(triangles[t])]);
        TopoMeshVertex const b = region.rep.getTopoMeshVertex(ring[at(triangles[t + 1])]);
        TopoMeshVertex const c = region.rep.getTopoMeshVertex(ring[at(triangles[t + 2])]);
        if (TopoMesh::findEdge(b, a) || TopoMesh::findEdge(a, c) || TopoMesh::findEdge(c, b))
            return true;
    }
    return false;
}

void buildPatch(HoleRegion& region, HolePatch& patch, ko::vector<int> const& triangles) {
    for (std::size_t t = 0; t + 2 < triangles.size(); t += 3) {
        TopoMeshVertex const a = region.rep.getTopoMeshVertex(patch.ring[at(triangles[t])]);
        TopoMeshVertex const b = region.rep.getTopoMeshVertex(patch.ring[at(triangles[t + 1])]);
        TopoMeshVertex const c = region.rep.getTopoMeshVertex(patch.ring[at(triangles[t + 2])]);
        // The ring runs along half-edges of the surface, and the patch on their other side.
        patch.faces.push_back(region.topo.allocTriangle(b, a, c));
    }
    patch.firstEdge = patch.faces.front().edge().record()->number;

    for (TopoMeshFace const face : patch.faces) {
        TopoMeshEdge const first = face.edge();
        for (TopoMeshEdge const e : {first, first.next(), first.prev()})
            if (!e.twin())
                region.unlinked.push_back(e);
    }
    meshTwin(region.topo, region.unlinked);
    region.unlinked.clear();
}

}  // namespace koGeom::detail
