// The band of triangles with two corners on the path is taken out as a mesh of its own with an
// octree. A query finds the closest point of the band, makes a box that reaches beyond it, and
// measures the path's edges in the voxels of that box.

#include "trimora/spatial/MeshClosestPtOnLine.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/meshLongestEdge.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/computeOctreeTris.h"
#include "trimora/spatial/octreeIterators.h"

#include <cassert>
#include <limits>
#include <vector>

namespace koGeom {

namespace {

constexpr int leafCapacity = 16;

int cornerAt(MeshTriangle const& triangle, int vertex) {
    for (int k = 0; k < 3; ++k) {
        if (triangle[k] == vertex)
            return k;
    }
    return -1;
}

// Number of the edge that joins two vertices in a triangle, in either direction, or -1.
int edgeBetween(MeshTriangle const& triangle, int a, int b) {
    for (int k = 0; k < 3; ++k) {
        int const start = triangle[k];
        int const end = triangle[(k + 1) % 3];
        if ((start == a && end == b) || (start == b && end == a))
            return k;
    }
    return -1;
}

std::vector<int> setBitsOf(BitVector const& bits) {
    std::vector<int> numbers;
    for (int i = 0; i < bits.size; ++i) {
        if (bits.isBitSet(i) != 0)
            numbers.push_back(i);
    }
    return numbers;
}

}  // namespace

class MeshClosestPtOnLineImpl : public ko::ImplBase {
public:
    MeshClosestPtOnLineImpl(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                            MeshSequence const& path);

    MeshCoord find(Point const& p) const;

private:
    struct Best {
        double distance2 = std::numeric_limits<double>::max();
        MeshCoord coord;
    };

    void makeBand(BitVector const& onPath);
    void markPathEdges(MeshSequence const& path);
    void markPathEdge(int a, int b);
    void buildTree();
    int lastPathCorner(int bandTriangle) const;
    bool isPathEdge(int a, int b) const;
    void measureTriangle(int bandTriangle, Point const& p, Best& best) const;
    void measureEdge(int a, int b, Point const& p, Best& best) const;
    MeshCoord vertexCoord(int vertex) const;
    MeshCoord edgeCoord(int a, int b, double param) const;

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    CompactMesh band_;
    MeshAdjTris bandAdjTris_;
    std::vector<int> sourceOf_;  // by band vertex: the mesh's vertex if it is on the path, else -1
    BitVector pathEdges_;        // bit 3 t + k: edge k of the mesh's triangle t lies on the path
    double longestBandEdge_ = 0.0;
    ko::Reference<Octree> octree_;
    OctreeTris octreeTris_;
};

MeshClosestPtOnLineImpl::MeshClosestPtOnLineImpl(CompactMesh const& mesh,
                                                 MeshAdjTris const& adjTris,
                                                 MeshSequence const& path)
    : mesh_(mesh), adjTris_(adjTris), pathEdges_(3 * mesh.getNumTriangles()) {
    assert(detail::isTableOf(adjTris, mesh) && detail::hasSoundRuns(path, mesh.getNumVertices()));
    BitVector onPath(mesh.getNumVertices());
    for (int i = 0; i < path.points.size(); ++i)
        onPath.setBit(path.points[i]);
    makeBand(onPath);
    markPathEdges(path);
    buildTree();
}

void MeshClosestPtOnLineImpl::makeBand(BitVector const& onPath) {
    BitVector vertices(onPath);
    BitVector triangles(mesh_.getNumTriangles());
    MeshSelect select(mesh_, adjTris_, triangles, vertices);
    select.selectTrianglesFromVertices(2);
    select.selectVerticesFromTriangles();
    std::vector<int> const bandVertices = setBitsOf(vertices);
    std::vector<int> const bandTriangles = setBitsOf(triangles);
    MeshSubset const subset(static_cast<int>(bandVertices.size()), bandVertices.data(),
                            static_cast<int>(bandTriangles.size()), bandTriangles.data());
    meshExtract(band_, mesh_, subset);
    meshAdjTris(band_, bandAdjTris_);
    for (int const vertex : bandVertices)
        sourceOf_.push_back(onPath.isBitSet(vertex) != 0 ? vertex : -1);
}

void MeshClosestPtOnLineImpl::markPathEdges(MeshSequence const& path) {
    int first = 0;
    for (int run = 0; run < path.lengths.size(); ++run) {
        for (int i = first; i + 1 < first + path.lengths[run]; ++i)
            markPathEdge(path.points[i], path.points[i + 1]);
        first += path.lengths[run];
    }
}

void MeshClosestPtOnLineImpl::markPathEdge(int a, int b) {
    int const* const around = adjTris_.triIndices(a);
    for (int i = 0; i < adjTris_.numTris(a); ++i) {
        int const edge = edgeBetween(mesh_.getTriangles()[around[i]], a, b);
        if (edge >= 0)
            pathEdges_.setBit(3 * around[i] + edge);
    }
}

void MeshClosestPtOnLineImpl::buildTree() {
    BoundingBox box;
    meshBoundingBox(band_, box);
    octree_ = ko::Reference<Octree>(
        new Octree(band_.getNumVertices(), band_.getVerticesRaw(), box, true, leafCapacity));
    computeOctreeTris(band_, *octree_, octreeTris_);
    longestBandEdge_ = meshLongestEdge(band_);
}

MeshCoord MeshClosestPtOnLineImpl::find(Point const& p) const {
    Best best;
    meshClosestPoint(band_, *octree_, bandAdjTris_, p, longestBandEdge_,
                     std::numeric_limits<double>::max(), nullptr, &best.coord);
    if (!best.coord.valid())
        return best.coord;
    double const xyz[3] = {p.x, p.y, p.z};
    BoundingBox box(xyz);
    box.extend(PointFlt(best.coord.evaluate(band_.getVertices(), band_.getTriangles())));
    box.extend(0.5f * box.diagonalLength());
    int const pathCorner = lastPathCorner(best.coord.triangle);
    if (box.diagonalLength() < epsilonTolFlt && pathCorner >= 0)
        return vertexCoord(pathCorner);
    for (OctreeBBoxIntersectIt voxels(*octree_, box); voxels.valid(); voxels.next()) {
        int const voxel = voxels.get().node->voxelIndex;
        int const* const tris = octreeTris_.firstTri(voxel);
        for (int i = 0; i < octreeTris_.numTris(voxel); ++i)
            measureTriangle(tris[i], p, best);
    }
    return best.coord;
}

// The mesh's vertex at the last corner of a band triangle that lies on the path, or -1.
int MeshClosestPtOnLineImpl::lastPathCorner(int bandTriangle) const {
    int found = -1;
    for (int const corner : band_.getTriangles()[bandTriangle].vertices) {
        int const source = sourceOf_[static_cast<std::size_t>(corner)];
        if (source >= 0)
            found = source;
    }
    return found;
}

bool MeshClosestPtOnLineImpl::isPathEdge(int a, int b) const {
    int const* const around = adjTris_.triIndices(a);
    for (int i = 0; i < adjTris_.numTris(a); ++i) {
        int const edge = edgeBetween(mesh_.getTriangles()[around[i]], a, b);
        if (edge >= 0 && pathEdges_.isBitSet(3 * around[i] + edge) != 0)
            return true;
    }
    return false;
}

void MeshClosestPtOnLineImpl::measureTriangle(int bandTriangle, Point const& p, Best& best) const {
    constexpr int edges[3][2] = {{0, 1}, {0, 2}, {1, 2}};
    MeshTriangle const& corners = band_.getTriangles()[bandTriangle];
    for (int const(&edge)[2] : edges) {
        int const a = sourceOf_[static_cast<std::size_t>(corners[edge[0]])];
        int const b = sourceOf_[static_cast<std::size_t>(corners[edge[1]])];
        if (a >= 0 && b >= 0 && isPathEdge(a, b))
            measureEdge(a, b, p, best);
    }
}

void MeshClosestPtOnLineImpl::measureEdge(int a, int b, Point const& p, Best& best) const {
    MeshVertex const* const vertices = mesh_.getVertices();
    ParamLine const segment(vertices[a].asPoint(), vertices[b].asPoint());
    double const param = segment.projectBounded(p, 0.0, 1.0);
    double const squared = distance2(segment.eval(param), p);
    if (best.distance2 > squared) {
        best.distance2 = squared;
        best.coord = edgeCoord(a, b, param);
    }
}

MeshCoord MeshClosestPtOnLineImpl::vertexCoord(int vertex) const {
    if (adjTris_.numTris(vertex) == 0)
        return MeshCoord(0, 0.0, 0.0, 1.0);
    MeshCoord coord(adjTris_.triIndices(vertex)[0], 0.0, 0.0, 0.0);
    coord.weights[cornerAt(mesh_.getTriangles()[coord.triangle], vertex)] = 1.0;
    return coord;
}

MeshCoord MeshClosestPtOnLineImpl::edgeCoord(int a, int b, double param) const {
    int const* const around = adjTris_.triIndices(a);
    for (int i = 0; i < adjTris_.numTris(a); ++i) {
        MeshTriangle const& triangle = mesh_.getTriangles()[around[i]];
        int const cornerB = cornerAt(triangle, b);
        if (cornerB < 0)
            continue;
        MeshCoord coord(around[i], 0.0, 0.0, 0.0);
        coord.weights[cornerAt(triangle, a)] = 1.0 - param;
        coord.weights[cornerB] = param;
        return coord;
    }
    return MeshCoord(0, 0.0, 0.0, 1.0);
}

MeshClosestPtOnLine::MeshClosestPtOnLine(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                         MeshSequence const& path)
    : impl_(new MeshClosestPtOnLineImpl(mesh, adjTris, path)), ownsImpl_(true) {}

MeshClosestPtOnLine::MeshClosestPtOnLine(MeshClosestPtOnLine const& other)
    : impl_(other.impl_), ownsImpl_(false) {}

MeshClosestPtOnLine::~MeshClosestPtOnLine() {
    if (ownsImpl_)
        delete impl_;
}

MeshCoord MeshClosestPtOnLine::operator()(Point const& p) {
    return impl_->find(p);
}

}  // namespace koGeom
