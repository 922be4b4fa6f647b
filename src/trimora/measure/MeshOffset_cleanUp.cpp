#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/measure/detail/OffsetShell.h"
#include "trimora/measure/detail/SwapRepetition.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>
#include <deque>

/// Second stage of an offset: vertices of the shell that are too near to the surface go, and those on which it is folded. A vertex
/// goes when swaps of its edges can bring them down to three: the three triangles become one.
///
///          b                        b                    b
///        / | \                    / | \                /   \         the edge to d is turned away from v,
///      c - v - a       ->       c - v - a      ->     c --- a        then v goes and leaves one triangle
///        \ | /                    \   /                \   /
///          d                        d                    d
namespace koGeom::detail {

namespace {

/// Whether the walk round a vertex can go on across the edge on either side.
bool isInsideFan(TopoMeshEdge spoke) {
    TopoMeshEdge const twin = spoke.twin();
    TopoMeshEdge const other = spoke.prev().twin();
    return twin && other && twin.next().origin() == spoke.origin() &&
           other.origin() == spoke.origin();
}

}  // namespace

void OffsetShell::cleanUp(Octree const& octree) {
    if (removeTooNear(octree) > 0)
        removeFolded();
}

int OffsetShell::removeTooNear(Octree const& octree) {
    double const allowed2 = distance_ * distance_;
    int numRemoved = 0;
    for (std::size_t v = 0; v < numVertices(); ++v) {
        double const nearest2 = meshClosestVertex2(mesh_, octree, copies_[v].point());
        if (!(allowed2 - nearest2 > epsilonTol) || !remove(v))
            continue;
        isPending_[v] = 0;
        ++numRemoved;
    }
    return numRemoved;
}

/// Sweeps until one removes nothing. A copy that was found folded is tried once and then left alone; one that was found sound
/// is looked at again when its triangles have changed.
void OffsetShell::removeFolded() {
    bool hasRemoved = true;
    while (hasRemoved) {
        hasRemoved = false;
        for (std::size_t v = 0; v < numVertices(); ++v) {
            if (!isPending_[v] || !hasChanged_[v])
                continue;
            hasChanged_[v] = 0;
            if (!isFolded(v))
                continue;
            isPending_[v] = 0;
            if (remove(v))
                hasRemoved = true;
        }
    }
}

/// The shell runs the other way than the surface: where a triangle looks along the surface's normal, the shell has turned over.
bool OffsetShell::isFolded(std::size_t vertex) const {
    Vector const normal = normals_[vertex];
    TopoMeshVertex const copy = copies_[vertex];
    for (TopoMeshEdgeVertexIterator i = {copy, copy.edge(), 1}; i.edge; i.next()) {
        if (touchesBorder(i.edge.face()))
            continue;
        if (dot(faceNormal(i.edge.face()), normal) > 0.0)
            return true;
    }
    return false;
}

/// Bands stand across the surface and say nothing of folds. The surface's vertices were created first, so that their numbers of
/// creation are those of the mesh.
bool OffsetShell::touchesBorder(TopoMeshFace face) const {
    TopoMeshEdge const first = face.edge();
    for (TopoMeshEdge const edge : {first, first.next(), first.prev()}) {
        std::size_t const number = edge.origin().record()->number;
        if (number < numVertices() && isOnBorder_[number])
            return true;
    }
    return false;
}

/// The edges that leave a vertex, in walking order; false when they do not close up in one fan.
bool OffsetShell::collectSpokes(TopoMeshVertex v) {
    spokes_.clear();
    bool isClosed = true;
    for (TopoMeshEdgeVertexIterator i = {v, v.edge(), 1}; i.edge; i.next()) {
        spokes_.push_back(i.edge);
        isClosed = isClosed && isInsideFan(i.edge);
    }
    return isClosed && static_cast<int>(spokes_.size()) == v.valence();
}

/// Removes the copy of a vertex. One that cannot be brought down to three edges stays, and what was swapped stays swapped; one on
/// the border of the shell, or where two fans touch, would leave no triangle and stays as it is.
bool OffsetShell::remove(std::size_t vertex) {
    TopoMeshVertex const copy = copies_[vertex];
    if (!collectSpokes(copy))
        return false;
    swapped_.clear();
    std::size_t numLeft = spokes_.size();
    for (std::size_t i = 0; i < spokes_.size() && numLeft >= 4; ++i)
        if (swap(spokes_[i])) {
            swapped_.push_back(spokes_[i]);
            --numLeft;
        }
    if (numLeft != 3 || !topo_.canDeleteVertex(copy))
        return false;
    rep_.removeVertex(copy);
    markCorners(topo_.deleteVertex(copy));
    copies_[vertex] = TopoMeshVertex();
    improve();
    return true;
}

bool OffsetShell::swap(TopoMeshEdge edge) {
    if (!topo_.swapEdge(edge))
        return false;
    markCorners(edge.face());
    markCorners(edge.twin().face());
    return true;
}

/// The copies were created right after the surface's vertices.
void OffsetShell::markCorners(TopoMeshFace face) {
    TopoMeshEdge const first = face.edge();
    for (TopoMeshEdge const edge : {first, first.next(), first.prev()}) {
        std::size_t const number = edge.origin().record()->number;
        if (number >= numVertices())
            hasChanged_[number - numVertices()] = 1;
    }
}

/// Swaps the edges that were turned away until none of them can be made better, or until they are back where they were.
void OffsetShell::improve() {
    std::deque<TopoMeshEdge> queue(swapped_.begin(), swapped_.end());
    std::sort(swapped_.begin(), swapped_.end(), ko::less<TopoMeshEdge>());
    SwapRepetition repetition(swapped_);
    while (!queue.empty()) {
        TopoMeshEdge const edge = queue.front();
        queue.pop_front();
        bool veto = !edge.twin();
        if (!veto)
            MeshEdgeSwapper::minimizeOppositeAngleSum(edge, veto);
        if (veto || !swap(edge))
            continue;
        if (repetition.isReached())
            return;
        TopoMeshEdge const twin = edge.twin();
        for (TopoMeshEdge const beside : {edge.next(), edge.prev(), twin.next(), twin.prev()})
            if (std::binary_search(swapped_.begin(), swapped_.end(), beside,
                                   ko::less<TopoMeshEdge>()))
                queue.push_back(beside);
    }
}

}  // namespace koGeom::detail
