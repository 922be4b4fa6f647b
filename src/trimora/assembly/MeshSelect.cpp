#include "trimora/assembly/MeshSelect.h"

#include "trimora/assembly/pointPolygonIntersect2D.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <memory>
#include <vector>

namespace koGeom {

namespace {

// A polygon of the screen in floats, its first point repeated at the end.
class ScreenPolygon {
public:
    explicit ScreenPolygon(ko::vector<Point> const& points)
        : numPoints_(points.size()), pairs_(std::make_unique<Pair[]>(points.size() + 1)) {
        for (std::size_t i = 0; i < numPoints_; ++i) {
            pairs_[i][0] = static_cast<float>(points[i].x);
            pairs_[i][1] = static_cast<float>(points[i].y);
            greatestX_ = std::max(greatestX_, pairs_[i][0]);
            leastY_ = std::min(leastY_, pairs_[i][1]);
            greatestY_ = std::max(greatestY_, pairs_[i][1]);
        }
        pairs_[numPoints_][0] = pairs_[0][0];
        pairs_[numPoints_][1] = pairs_[0][1];
    }

    // Above, below and to the right of all corners the parity test passes over every edge, so it
    // need not be run.
    bool holds(float const (&point)[2]) const {
        bool const passedOver =
            point[0] > greatestX_ || point[1] < leastY_ || point[1] > greatestY_;
        return !passedOver &&
               pointPolygonIntersect2D(point, pairs_.get(), static_cast<int>(numPoints_));
    }

private:
    using Pair = float[2];

    std::size_t numPoints_;
    std::unique_ptr<Pair[]> pairs_;
    float greatestX_ = -std::numeric_limits<float>::infinity();
    float leastY_ = std::numeric_limits<float>::infinity();
    float greatestY_ = -std::numeric_limits<float>::infinity();
};

void resizeIfDifferent(BitVector& bits, int size) {
    if (bits.size != size)
        bits.resize(size);
}

// Selects the triangles around a vertex and appends those that were not selected before.
void selectAround(MeshAdjTris const& adjTris, int vertex, BitVector& selected,
                  std::vector<int>& added) {
    int const* const around = adjTris.triIndices(vertex);
    int const numAround = adjTris.numTris(vertex);
    for (int i = 0; i < numAround; ++i) {
        if (selected.isBitSet(around[i]))
            continue;
        selected.setBit(around[i]);
        added.push_back(around[i]);
    }
}

}  // namespace

MeshSelect::MeshSelect(CompactMesh& mesh, MeshAdjTris const& adjTris)
    : MeshSelect(mesh, adjTris, mesh.getSelectedTriangles(), mesh.getSelectedVertices()) {}

MeshSelect::MeshSelect(CompactMesh const& mesh, MeshAdjTris const& adjTris, BitVector& triangles,
                       BitVector& vertices)
    : mesh_(&mesh),
      adjTris_(&adjTris),
      selectedTriangles_(&triangles),
      selectedVertices_(&vertices),
      triangles_(mesh.getTrianglesRaw()),
      vertices_(mesh.getVerticesRaw()) {
    assert(detail::countsMatch(adjTris, mesh));
}

BitVector& MeshSelect::getSelectedVertices() {
    resizeIfDifferent(*selectedVertices_, mesh_->getNumVertices());
    return *selectedVertices_;
}

BitVector& MeshSelect::getSelectedTriangles() {
    resizeIfDifferent(*selectedTriangles_, mesh_->getNumTriangles());
    return *selectedTriangles_;
}

void MeshSelect::selectVertices(ProjMatrix const& matrix, ko::vector<Point> const& polygon) {
    debugChannel().print("MeshSelect::selectVertices: vertices(%d) triangles(%d)\n",
                         mesh_->getNumVertices(), mesh_->getNumTriangles());
    koOS::StopWatch watch;
    watch.start();

    ProjMatrixFlt const narrowed(matrix);
    float const* const m = narrowed.m;
    ScreenPolygon const screenPolygon(polygon);
    BitVector& selected = getSelectedVertices();
    for (int v = 0; v < mesh_->getNumVertices(); ++v) {
        float const* const xyz = vertices_ + 3 * static_cast<std::ptrdiff_t>(v);
        float const x = xyz[0];
        float const y = xyz[1];
        float const z = xyz[2];
        float const sx = x * m[0] + y * m[4] + z * m[8] + m[12];
        float const sy = x * m[1] + y * m[5] + z * m[9] + m[13];
        float const w = x * m[3] + y * m[7] + z * m[11] + m[15];
        if (screenPolygon.holds({sx / w, sy / w}))
            selected.setBit(v);
    }
    debugChannel().print("  selected vertices(%d): %f s\n", selected.count, watch.clear());
}

void MeshSelect::selectTrianglesFromVertices(int numCorners) {
    debugChannel().print("MeshSelect::selectedTrianglesFromVertices()\n");
    selectByCorners(numCorners);
}

void MeshSelect::selectAllTrianglesFromVertices() {
    debugChannel().print("MeshSelect::selectAllTrianglesFromVertices()\n");
    selectByCorners(1);
}

void MeshSelect::selectByCorners(int numCorners) {
    koOS::StopWatch watch;
    watch.start();
    BitVector const& vertices = getSelectedVertices();
    BitVector& selected = getSelectedTriangles();
    selected.clearBits();
    for (int t = 0; t < selected.size; ++t) {
        if (cornersSelected(t, vertices) >= numCorners)
            selected.setBit(t);
    }
    debugChannel().print("  selected triangles(%d): %f s\n", selected.count, watch.clear());
}

void MeshSelect::selectVerticesFromTriangles() {
    debugChannel().print("MeshSelect::selectVerticesFromTriangles()\n");
    koOS::StopWatch watch;
    watch.start();
    BitVector const& triangles = getSelectedTriangles();
    BitVector& selected = getSelectedVertices();
    selected.clearBits();
    for (int t = 0; t < triangles.size; ++t) {
        if (triangles.isBitSet(t))
            selected.setBits(3, triangles_ + 3 * static_cast<std::ptrdiff_t>(t));
    }
    debugChannel().print("  selected vertices(%d): %f s\n", selected.count, watch.clear());
}

void MeshSelect::selectTrianglesRecursive(bool oneRing) {
    assert(detail::isTableOf(*adjTris_, *mesh_));
    debugChannel().print("MeshSelect::selectTrianglesRecursive()\n");
    koOS::StopWatch watch;
    watch.start();
    BitVector& selected = getSelectedTriangles();
    std::vector<int> stack;
    stack.reserve(static_cast<std::size_t>(selected.size));
    for (int t = 0; t < selected.size; ++t) {
        if (selected.isBitSet(t))
            stack.push_back(t);
    }

    BitVector isDone(mesh_->getNumVertices());  // vertices whose triangles are all selected
    std::vector<int> ring;                      // added, but not to be gone on from
    while (!stack.empty()) {
        int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(stack.back());
        stack.pop_back();
        for (int k = 0; k < 3; ++k) {
            if (isDone.isBitSet(corners[k]))
                continue;
            isDone.setBit(corners[k]);
            selectAround(*adjTris_, corners[k], selected, oneRing ? ring : stack);
        }
    }
    debugChannel().print("   %f s\n", watch.clear());
}

void MeshSelect::invertTriangleSelection() {
    BitVector& selected = getSelectedTriangles();
    BitVector inverted(selected.size);
    inverted.setAllBits();
    for (int w = 0; w < selected.numWords(); ++w)
        inverted.words[w] ^= selected.words[w];
    inverted.count = selected.size - selected.count;
    selected.swap(inverted);
}

void MeshSelect::selectTrisAdjacentToVert(int vertex, BitVector& bits) {
    bits.setBits(adjTris_->numTris(vertex), adjTris_->triIndices(vertex));
}

void MeshSelect::selectAffectedTriangles(std::deque<MeshCoord> const& coords, double tolerance) {
    assert(detail::areAllOn(coords, *mesh_));
    BitVector& selected = getSelectedTriangles();
    for (MeshCoord const& coord : coords) {
        if (!coord.valid())
            continue;
        int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(coord.triangle);
        // The corners whose triangles are touched: `numCorners` of them, from the first one on.
        int first = 0;
        int numCorners = 3;
        if (coord.onVertex(vertices_, triangles_, tolerance, &first))
            numCorners = 1;
        else if (coord.onEdge(vertices_, triangles_, tolerance, &first))
            numCorners = 2;
        for (int k = 0; k < numCorners; ++k)
            selectTrisAdjacentToVert(corners[(first + k) % 3], selected);
    }
}

int MeshSelect::cornersSelected(int triangle, BitVector const& vertices) const {
    int const* const corners = triangles_ + 3 * static_cast<std::ptrdiff_t>(triangle);
    return vertices.isBitSet(corners[0]) + vertices.isBitSet(corners[1]) +
           vertices.isBitSet(corners[2]);
}

}  // namespace koGeom
