#include "trimora/reduce/detail/VertexRemoval.h"

#include "trimora/contract/koGeom/TopoMeshIterators.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>

namespace koGeom::detail {

namespace {

/// After so many the rest is not worth its time; far more than nearly all holes need.
constexpr int maxImprovingRounds = 10;

bool isVetoed(void (*criterion)(TopoMeshEdge, bool&), TopoMeshEdge edge) {
    bool veto = false;
    criterion(edge, veto);
    return veto;
}

}  // namespace

VertexRemoval::VertexRemoval(TopoMesh& mesh, MeshModifyRep& bridge)
    : mesh_(mesh), bridge_(bridge) {}

bool VertexRemoval::remove(TopoMeshVertex vertex) {
    openingSwaps_.clear();
    improvingSwaps_.clear();
    if (vertex.onBoundary())
        return false;
    if (!reduceValence(vertex) || !mesh_.canDeleteVertex(vertex)) {
        swapBack(mesh_, openingSwaps_);
        return false;
    }
    position_ = vertex.point();
    bridge_.removeVertex(vertex);
    filled_ = mesh_.deleteVertex(vertex);
    fillSide_ = filled_.edge();
    improveFill();
    return true;
}

/// Swaps edges away from the vertex until three are left, none of them over a fold.
bool VertexRemoval::reduceValence(TopoMeshVertex vertex) {
    int valence = vertex.valence();
    if (valence > 3) {
        TopoMeshEdgeVertexIterator around;
        around.reset(vertex);
        while (around.edge && valence > 3) {
            TopoMeshEdge const edge = around.edge;
            around.next();
            if (!isVetoed(&MeshEdgeSwapper::preventFoldover, edge) && mesh_.swapEdge(edge)) {
                --valence;
                openingSwaps_.push_back(edge);
            }
        }
    }
    return valence == 3;
}

/// A round without a swap leaves all as it was, and so would the rounds after it.
void VertexRemoval::improveFill() {
    for (int round = 0; round < maxImprovingRounds; ++round) {
        std::size_t const numBefore = improvingSwaps_.size();
        for (TopoMeshEdge const edge : openingSwaps_) {
            if (!isVetoed(&MeshEdgeSwapper::minimizeOppositeAngleSum, edge) && mesh_.swapEdge(edge))
                improvingSwaps_.push_back(edge);
        }
        if (improvingSwaps_.size() == numBefore)
            return;
    }
}

ko::vector<TrianglePoints> const& VertexRemoval::fill() {
    faces_.assign(1, filled_);
    for (TopoMeshEdge const edge : openingSwaps_) {
        faces_.push_back(edge.face());
        faces_.push_back(edge.twin().face());
    }
    std::sort(faces_.begin(), faces_.end(), ko::less<TopoMeshFace>());
    faces_.erase(std::unique(faces_.begin(), faces_.end()), faces_.end());

    fill_.clear();
    for (TopoMeshFace const face : faces_) {
        TopoMeshEdge const first = face.edge();
        fill_.push_back(
            {first.origin().point(), first.next().origin().point(), first.prev().origin().point()});
    }
    return fill_;
}

void VertexRemoval::undo() {
    swapBack(mesh_, improvingSwaps_);
    // By the half-edge, not by its ends: where faces overlap, more than one may run between them.
    mesh_.subdivideFace(fillSide_.face(), position_);
    swapBack(mesh_, openingSwaps_);
}

/// A second swap is the inverse of the first, so the last comes first.
void VertexRemoval::swapBack(TopoMesh& mesh, ko::vector<TopoMeshEdge>& swaps) {
    for (auto edge = swaps.rbegin(); edge != swaps.rend(); ++edge)
        mesh.swapEdge(*edge);
    swaps.clear();
}

}  // namespace koGeom::detail
