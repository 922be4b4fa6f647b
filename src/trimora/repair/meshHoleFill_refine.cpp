#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/detail/HolePatch.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

/// Refinement of a patch: passes that split triangles at their centroids, with swaps for larger angles between them.
namespace koGeom::detail {

namespace {

class Refinement {
public:
    Refinement(HoleRegion& region, HolePatch& patch, koUtil::Progress const& progress)
        : region_(region), patch_(patch), progress_(progress) {}

    void run();

private:
    void measureRing();
    double room() const;
    double roomOf(TopoMeshFace face) const;
    void collectInnerEdges();
    int splitFaces();
    bool isDense(TopoMeshFace face, Point const& centroid, double meanDensity) const;
    void split(TopoMeshFace face, Point const& centroid, double density);
    void swapUntilStable();
    bool swapIfBetter(TopoMeshEdge edge);

    double densityAt(TopoMeshEdge edge) const { return region_.densities.find(edge.origin()); }
    /// The place of a half-edge in the list, or none.
    std::uint32_t placeOf(TopoMeshEdge edge) const {
        std::size_t const slot = edge ? edge.record()->number - patch_.firstEdge : none;
        return slot < places_.size() ? places_[slot] : none;
    }
    void makeSwappable(TopoMeshEdge edge);
    void markChanged(TopoMeshEdge edge);

    static constexpr std::uint32_t none = ~std::uint32_t(0);

    HoleRegion& region_;
    HolePatch& patch_;
    koUtil::Progress const& progress_;
    double mostVertices_ = 0.0;
    // One half of each inner edge, in the order in which they are swapped: ascending by creation. An edge has changed when its two
    // triangles are not those for which a swap was last forbidden.
    ko::vector<TopoMeshEdge> swappable_;
    ko::vector<char> hasChanged_;       // by place in swappable_
    ko::vector<std::uint32_t> places_;  // by creation number, from the patch's first half-edge on
    ko::vector<TopoMeshFace> nextFaces_;
};

void Refinement::run() {
    // Both limits are far off where the splits serve their purpose: 13 passes fill a hole of 1000 edges, and a patch takes
    // half of its room.
    constexpr int mostPasses = 64;
    constexpr double mostOfRoom = 4.0;

    measureRing();
    collectInnerEdges();
    mostVertices_ = mostOfRoom * room();
    for (int pass = 0; pass < mostPasses && !progress_.cancelled() && splitFaces() > 0; ++pass)
        swapUntilStable();
    region_.densities.clear();
}

/// The mean length of the edges at a vertex; 0 without neighbours.
double meanEdgeLength(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, int vertex) {
    MeshVertex const* const vertices = mesh.getVertices();
    Point const point = vertices[vertex].asPoint();
    int const* const neighbours = adjVertices.neighbours(vertex);
    int const numNeighbours = adjVertices.numNeighbours(vertex);
    double sum = 0.0;
    for (int i = 0; i < numNeighbours; ++i)
        sum += distance(point, vertices[neighbours[i]].asPoint());
    return numNeighbours > 0 ? sum / numNeighbours : 0.0;
}

void Refinement::measureRing() {
    for (int const vertex : patch_.ring)
        region_.densities.set(region_.rep.getTopoMeshVertex(vertex),
                              meanEdgeLength(region_.mesh, region_.adjVertices, vertex));
}

/// About as many vertices as the patch has room for. Refinement stays below it, but where edges cannot be swapped, or swaps
/// do not bring together what lies together, it may put vertices on top of one another for ever.
double Refinement::room() const {
    double sum = 0.0;
    for (TopoMeshFace const face : patch_.faces)
        sum += roomOf(face);
    return sum;
}

/// One, and the integral of 1 / density^2 over a triangle between whose corners the density changes evenly, or a little more.
/// What is not finite counts as none.
double Refinement::roomOf(TopoMeshFace face) const {
    TopoMeshEdge const first = face.edge();
    Point const& a = first.origin().point();
    Vector const ab = first.next().origin().point() - a;
    Vector const ac = first.prev().origin().point() - a;
    double const u = densityAt(first);
    double const v = densityAt(first.next());
    double const w = densityAt(first.prev());
    double const least = std::min({u, v, w});
    double const middle = std::max(std::min(u, v), std::min(std::max(u, v), w));
    double const largest = std::max({u, v, w});
    double const spread = least > 0.0 ? std::log(middle / least) : 0.0;
    double const inside = (1.0 + spread) * cross(ab / middle, ac / largest).length();
    return std::isfinite(inside) ? 1.0 + inside : 1.0;
}

/// One of each two half-edges between triangles of the patch: that of the earlier triangle.
void Refinement::collectInnerEdges() {
    for (TopoMeshFace const face : patch_.faces) {
        TopoMeshEdge const first = face.edge();
        for (TopoMeshEdge const e : {first, first.next(), first.prev()}) {
            TopoMeshEdge const twin = e.twin();
            bool const isInner = twin && twin.record()->number >= patch_.firstEdge;
            if (isInner && placeOf(twin) == none)
                makeSwappable(e);
        }
    }
}

/// To be called in ascending order, more or less.
void Refinement::makeSwappable(TopoMeshEdge edge) {
    ko::less<TopoMeshEdge> const less;
    std::size_t place = swappable_.size();
    swappable_.push_back(edge);
    hasChanged_.push_back(1);
    places_.resize(
        std::max<std::size_t>(places_.size(), edge.record()->number - patch_.firstEdge + 1), none);
    auto const put = [this](TopoMeshEdge e, std::size_t to) {
        swappable_[to] = e;
        places_[e.record()->number - patch_.firstEdge] = static_cast<std::uint32_t>(to);
    };
    for (; place > 0 && less(edge, swappable_[place - 1]); --place) {
        put(swappable_[place - 1], place);
        std::swap(hasChanged_[place - 1], hasChanged_[place]);
    }
    put(edge, place);
}

void Refinement::markChanged(TopoMeshEdge edge) {
    for (TopoMeshEdge const half : {edge, edge.twin()})
        if (std::uint32_t const place = placeOf(half); place != none)
            hasChanged_[place] = 1;
}

/// One pass. The triangles of a split are looked at in the next one.
int Refinement::splitFaces() {
    int numSplits = 0;
    nextFaces_.clear();
    for (TopoMeshFace const face : patch_.faces) {
        TopoMeshEdge const first = face.edge();
        double const meanDensity =
            (densityAt(first) + densityAt(first.next()) + densityAt(first.prev())) / 3.0;
        Point const centroid = face.centroid();
        bool const isFull = static_cast<double>(patch_.newVertices.size()) >= mostVertices_;
        if (isFull || isDense(face, centroid, meanDensity)) {
            nextFaces_.push_back(face);
        } else {
            split(face, centroid, meanDensity);
            ++numSplits;
        }
    }
    patch_.faces.swap(nextFaces_);
    return numSplits;
}

/// Whether the triangle is small enough. Written so that a NaN says yes, as does what no split could change for the better: a
/// density of 0, which cannot be reached, and two corners in one place.
bool Refinement::isDense(TopoMeshFace face, Point const& centroid, double meanDensity) const {
    double const alpha = std::sqrt(2.0);
    TopoMeshEdge const first = face.edge();
    for (TopoMeshEdge const e : {first, first.next(), first.prev()}) {
        Point const& corner = e.origin().point();
        double const density = densityAt(e);
        double const reach = alpha * distance(centroid, corner);
        if (!(density < reach) || !(meanDensity < reach) || density == 0.0 ||
            corner == e.next().origin().point())
            return true;
    }
    return false;
}

void Refinement::split(TopoMeshFace face, Point const& centroid, double density) {
    TopoMeshEdge const first = face.edge();
    std::array const sides = {first, first.next(), first.prev()};

    TopoMeshVertex const middle = region_.topo.subdivideFace(face, centroid);
    region_.densities.set(middle, density);
    patch_.newVertices.push_back(middle);

    TopoMeshEdgeVertexIterator spokes;
    for (spokes.reset(middle); spokes.edge; spokes.next()) {
        makeSwappable(spokes.edge);
        nextFaces_.push_back(spokes.edge.face());
    }
    for (TopoMeshEdge const side : sides) {
        markChanged(side);
        if (placeOf(side) != none)
            swapIfBetter(side);
    }
}

/// Swaps in passes until one swaps nothing: what meshSwapEdgesRepeatedly does, but that it leaves out what has not changed since
/// a swap was forbidden. The criterion looks at the two triangles of the edge and at nothing else.
void Refinement::swapUntilStable() {
    constexpr int usualPasses = 64;
    for (int pass = 0; pass < usualPasses; ++pass) {
        if (progress_.cancelled())
            return;
        int numSwaps = 0;
        for (std::size_t i = 0; i < swappable_.size(); ++i)
            numSwaps += hasChanged_[i] != 0 && swapIfBetter(swappable_[i]);
        if (numSwaps == 0)
            return;
    }
    // That one notices passes that would go on for ever.
    meshSwapEdgesRepeatedly(region_.topo, swappable_, region_.swapper);
}

/// For an edge of the list.
bool Refinement::swapIfBetter(TopoMeshEdge edge) {
    bool isForbidden = false;
    MeshEdgeSwapper::minimizeOppositeAngleSum(edge, isForbidden);
    hasChanged_[placeOf(edge)] = !isForbidden;  // one that the mesh refuses is tried again
    if (isForbidden || !region_.topo.swapEdge(edge))
        return false;
    TopoMeshEdge const twin = edge.twin();
    for (TopoMeshEdge const e : {edge, edge.next(), edge.prev(), twin.next(), twin.prev()})
        markChanged(e);
    return true;
}

}  // namespace

void refinePatch(HoleRegion& region, HolePatch& patch, koUtil::Progress const& progress) {
    Refinement(region, patch, progress).run();
}

}  // namespace koGeom::detail
