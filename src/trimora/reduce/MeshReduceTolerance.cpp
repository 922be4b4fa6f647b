#include "trimora/reduce/detail/MeshReduceTolerance.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/saturatingInt.h"
#include "trimora/reduce/detail/VoxelTriangles.h"
#include "trimora/reduce/detail/spatialOrder.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace koGeom::detail {

namespace {

/// Leaves of the octree hold at most so many vertices: it is built anew for each merge, and coarse ones are built faster.
constexpr int verticesInLeaf = 64;

/// Points between two looks at the progress.
constexpr int pollStride = 1000;

// How the progress is dealt out: the first pass gets a tenth; from the second one on the candidates are taken to shrink
// by the same factor each time, down to a hundredth.
constexpr double shareOfFirstPass = 0.1;
constexpr double shareOfOtherPasses = 0.9;
constexpr double lastCandidateShare = 0.01;

/// Finds the triangles that a merge left as they were, by their corners in order: their points stay with them.
class KeepPlacesAlg : public koUtil::ThreadedChunkAlg {
public:
    /// pairs   two ints a removed point; those of the points that stay are written: triangle, point
    KeepPlacesAlg(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                  Array<int> const& vertexRemap, Array<MeshTriangle> const& oldTriangles,
                  ArrayOfSets const& pointsOfTriangle, int* pairs)
        : triangles_(mesh.getTriangles()),
          adjTris_(adjTris),
          remap_(vertexRemap.data()),
          oldTriangles_(oldTriangles.data()),
          numOldTriangles_(oldTriangles.size()),
          pointsOfTriangle_(pointsOfTriangle),
          pairs_(pairs) {}

    void executeChunk(int chunkIndex, int /*threadIndex*/) override {
        int const end = getBeginIndex(chunkIndex + 1, numChunks, numOldTriangles_);
        for (int old = getBeginIndex(chunkIndex, numChunks, numOldTriangles_); old < end; ++old) {
            int const numPoints = pointsOfTriangle_.getSetSize(old);
            int const triangle = numPoints > 0 ? find(oldTriangles_[old]) : -1;
            if (triangle < 0)
                continue;
            int const* const points = pointsOfTriangle_.getSet(old);
            for (int i = 0; i < numPoints; ++i) {
                pairs_[2 * static_cast<std::ptrdiff_t>(points[i])] = triangle;
                pairs_[2 * static_cast<std::ptrdiff_t>(points[i]) + 1] = points[i];
            }
        }
    }

private:
    /// The triangle's number now, or -1.
    int find(MeshTriangle const& old) const {
        int const a = remap_[old[0]];
        int const b = remap_[old[1]];
        int const c = remap_[old[2]];
        if (a < 0 || b < 0 || c < 0)
            return -1;
        int const* const around = adjTris_.triIndices(a);
        int const* const end = around + adjTris_.numTris(a);
        int const* const found = std::find_if(around, end, [&](int t) {
            return triangles_[t][0] == a && triangles_[t][1] == b && triangles_[t][2] == c;
        });
        return found != end ? *found : -1;
    }

    MeshTriangle const* triangles_;
    MeshAdjTris const& adjTris_;
    int const* remap_;
    MeshTriangle const* oldTriangles_;
    int numOldTriangles_;
    ArrayOfSets const& pointsOfTriangle_;
    int* pairs_;  // each point's own pair: a point is in one set
};

/// Gives each of a list of points the triangle that it is nearest to.
class TriangleToVertices : public koUtil::ThreadedAlg {
public:
    /// pairs   two ints a removed point; those of the listed points are written: triangle, point
    TriangleToVertices(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                       std::vector<Point> const& removedPoints, std::vector<int> const& listed,
                       int* pairs)
        : mesh_(mesh),
          octree_(octree),
          octreeTris_(octreeTris),
          removedPoints_(removedPoints),
          listed_(listed),
          pairs_(pairs) {}

    void initialize(int numThreads) override {
        largest_.assign(static_cast<std::size_t>(numThreads), 0.0);
    }

    void execute(int threadIndex, int numThreads) override {
        int const numListed = static_cast<int>(listed_.size());
        int const begin = getBeginIndex(threadIndex, numThreads, numListed);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numListed);
        if (begin == end)
            return;
        VoxelTriangles voxel(mesh_, octree_, octreeTris_);
        MeshClosestPoint closest(mesh_, octree_, octreeTris_);
        double largest = 0.0;
        for (int i = begin; i < end; ++i) {
            largest =
                std::max(largest, place(voxel, closest, listed_[static_cast<std::size_t>(i)]));
            int const numDone = i + 1 - begin;
            if (numDone % pollStride == 0) {
                if (cancelled(threadIndex))
                    break;
                updateProgress(threadIndex, static_cast<double>(numDone) / (end - begin));
            }
        }
        largest_[static_cast<std::size_t>(threadIndex)] = largest;
    }

    double largestDistance() const { return *std::max_element(largest_.begin(), largest_.end()); }

private:
    /// The distance; 0 where no triangle is found. The pair's -1 then leaves the point out of all sets.
    double place(VoxelTriangles& voxel, MeshClosestPoint& closest, int point) const {
        Point const& p = removedPoints_[static_cast<std::size_t>(point)];
        MeshCoord coord;
        double distance = 0.0;
        if (!voxel.compute(p, coord, distance))
            distance = closest.compute(p, &coord);
        pairs_[2 * static_cast<std::ptrdiff_t>(point)] = coord.triangle;
        pairs_[2 * static_cast<std::ptrdiff_t>(point) + 1] = point;
        return coord.triangle >= 0 ? distance : 0.0;
    }

    CompactMesh const& mesh_;
    Octree const& octree_;
    OctreeTris const& octreeTris_;
    std::vector<Point> const& removedPoints_;
    std::vector<int> const& listed_;
    int* pairs_;                   // each point's own pair
    std::vector<double> largest_;  // one a thread
};

}  // namespace

MeshReduceTolerance::MeshReduceTolerance(CompactMesh& meshToReduce, double toleranceInMeshUnits)
    : MeshReduceBase(meshToReduce),
      tolerance(toleranceInMeshUnits),
      holeFill(toleranceInMeshUnits) {}

double MeshReduceTolerance::stepOfPass(int passIndex, int candidateCount) {
    if (passIndex == 0)
        return shareOfFirstPass;
    if (passIndex == 1) {
        double const shrinking = static_cast<double>(candidateCount) / lastCandidateCount;
        estimatedPasses =
            koUtil::saturatingInt(std::ceil(std::log(lastCandidateShare) / std::log(shrinking)));
    } else if (passIndex >= estimatedPasses) {
        return 0.5 * progressDone;
    }
    return shareOfOtherPasses / estimatedPasses;
}

void MeshReduceTolerance::beginPass(int passIndex, int candidateCount, koUtil::Progress& progress) {
    double const step = stepOfPass(passIndex, candidateCount);
    progress.subPhase(step, passProgress);
    progressDone += step;
    lastCandidateCount = candidateCount;
}

void MeshReduceTolerance::endPass() {
    passProgress.set(1.0);
    char caption[64];
    std::snprintf(caption, sizeof caption, "Reducing (%d verts)", mesh.getNumVertices());
    passProgress.setCaption(caption);
}

void MeshReduceTolerance::beginBatch(int batchSize, int candidateCount) {
    batchAdjTris = cache.getAdjTris(mesh);
    passProgress.subPhase(static_cast<double>(batchSize) / candidateCount, batchProgress);
}

void MeshReduceTolerance::endBatch() {
    batchAdjTris = nullptr;
    batchProgress.set(1.0);
}

bool MeshReduceTolerance::acceptRemoval(int vertex, ko::vector<TrianglePoints> const& triangles) {
    holeFill.assign(triangles);
    if (!holeFill.isNear(mesh.getVertices()[vertex].asPoint()))
        return false;
    if (pointsOfTriangle.getNumSets() == 0)
        return true;
    int const* const around = batchAdjTris->triIndices(vertex);
    for (int i = 0; i < batchAdjTris->numTris(vertex); ++i) {
        int const* const points = pointsOfTriangle.getSet(around[i]);
        for (int k = 0; k < pointsOfTriangle.getSetSize(around[i]); ++k) {
            if (!holeFill.isNear(removedPoints[static_cast<std::size_t>(points[k])]))
                return false;
        }
    }
    return true;
}

void MeshReduceTolerance::beforeMerge() {
    if (pointsOfTriangle.getNumSets() > 0)
        savedTriangles.copyFrom(mesh.getTriangles(), mesh.getNumTriangles());
}

void MeshReduceTolerance::afterMerge(Array<int>& vertexRemap) {
    int const numPoints = static_cast<int>(removedPoints.size());
    std::vector<int> pairs(2 * removedPoints.size(), -1);
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    KeepPlacesAlg keepPlaces(mesh, *adjTris, vertexRemap, savedTriangles, pointsOfTriangle,
                             pairs.data());
    koUtil::ThreadPool::get().run(keepPlaces);

    std::vector<int> homeless;
    for (int point = 0; point < numPoints; ++point) {
        if (pairs[2 * static_cast<std::size_t>(point)] < 0)
            homeless.push_back(point);
    }
    // The octree comes first: asked for the table, the cache would make one with leaves of its own size.
    ko::Reference<Octree> const octree = cache.getOctree(mesh, verticesInLeaf);
    ko::Reference<OctreeTris> const octreeTris = cache.getOctreeTris(mesh);
    sortSpatially(removedPoints, octree->getRoot().box, homeless);
    TriangleToVertices place(mesh, *octree, *octreeTris, removedPoints, homeless, pairs.data());
    place.setProgress(&batchProgress);
    koUtil::ThreadPool::get().run(place);
    maxDeviation = std::max(maxDeviation, place.largestDistance());
    if (batchProgress.cancelled())
        return;
    pointsOfTriangle.assignFromPairs(mesh.getNumTriangles(), numPoints, pairs.data());
    savedTriangles.setSize(0);
}

}  // namespace koGeom::detail
