// Intersection of meshes. Candidates for a triangle are those that share an octree voxel with it;
// stamps keep a pair from being met once for each common voxel, then boxes and, within one mesh,
// common vertices sort out nearly all before any arithmetic in double. The plane of a triangle is
// computed once for all its partners, and a partner's own plane only when it straddles that one: on
// a smooth surface few do.
//
// Threads take chunks as they come free, so each chunk keeps its cuts apart and the chunks are put
// in order at the end.

#include "trimora/repair/MeshIntersect.h"

#include "trimora/connectivity/meshTriBoundingBox.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/detail/callerContract.h"
#include "trimora/repair/detail/TrianglePlane.h"
#include "trimora/repair/detail/VoxelHubs.h"
#include "trimora/spatial/VisitStamps.h"
#include "trimora/spatial/octreeIterators.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace koGeom {

namespace {

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

// The raw arrays of a mesh.
struct MeshArrays {
    float const* vertices;
    int const* triangles;
    int numTriangles;

    explicit MeshArrays(CompactMesh const& mesh)
        : vertices(mesh.getVerticesRaw()),
          triangles(mesh.getTrianglesRaw()),
          numTriangles(mesh.getNumTriangles()) {}

    int const* corners(int triangle) const { return triangles + 3 * at(triangle); }

    void widen(int triangle, Point (&points)[3]) const {
        int const* const corner = corners(triangle);
        for (int i = 0; i < 3; ++i) {
            float const* const xyz = vertices + 3 * at(corner[i]);
            points[i].set(static_cast<double>(xyz[0]), static_cast<double>(xyz[1]),
                          static_cast<double>(xyz[2]));
        }
    }

    MeshIntersectPair segment(int triangle, Point const& start, Point const& end) const {
        MeshIntersectPair pair;
        pair.start.setFromPoint(triangle, vertices, triangles, start);
        pair.end.setFromPoint(triangle, vertices, triangles, end);
        return pair;
    }
};

// One cut, on the triangle of this mesh and on its partner.
struct Cut {
    MeshIntersectPair own;
    MeshIntersectPair partner;
};

// The cuts of one chunk of triangles, in order.
struct ChunkCuts {
    int chunk;
    std::vector<Cut> cuts;
};

// Common frame of both searches: chunks of this mesh's triangles, one after the other.
class CutSearch : public koUtil::ThreadedChunkAlg {
public:
    CutSearch(MeshArrays const& mesh, ko::vector<BoundingBox> const& boxes,
              ArrayOfSets const& triVoxels, int numPartners)
        : mesh_(mesh), boxes_(boxes.data()), triVoxels_(triVoxels), numPartners_(numPartners) {}

    void initialize(int numThreads) override {
        slots_.clear();
        slots_.reserve(at(numThreads));
        for (int i = 0; i < numThreads; ++i)
            slots_.push_back({VisitStamps(numPartners_), {}});
    }

    void executeChunk(int chunk, int thread) override {
        if (cancelled(thread))
            return;
        Slot& slot = slots_[at(thread)];
        std::vector<Cut> cuts;
        int const end = getBeginIndex(chunk + 1, numChunks, mesh_.numTriangles);
        for (int t = getBeginIndex(chunk, numChunks, mesh_.numTriangles); t < end; ++t) {
            std::size_t const numBefore = cuts.size();
            findCuts(t, slot.stamps, cuts);
            slot.stamps.nextQuery();
            std::sort(cuts.begin() + static_cast<std::ptrdiff_t>(numBefore), cuts.end(),
                      [](Cut const& a, Cut const& b) {
                          return a.partner.start.triangle < b.partner.start.triangle;
                      });
        }
        if (!cuts.empty())
            slot.chunks.push_back({chunk, std::move(cuts)});
        updateProgress(thread, static_cast<double>(chunk) / static_cast<double>(numChunks));
    }

    void finalize() override {
        for (Slot& slot : slots_)
            for (ChunkCuts& chunk : slot.chunks)
                chunks_.push_back(std::move(chunk));
        slots_.clear();
        std::sort(chunks_.begin(), chunks_.end(),
                  [](ChunkCuts const& a, ChunkCuts const& b) { return a.chunk < b.chunk; });
    }

    // Hands every cut to `take` in order and frees it.
    template <class Take>
    void deliver(Take take) {
        for (ChunkCuts& chunk : chunks_) {
            for (Cut const& cut : chunk.cuts)
                take(cut);
            chunk.cuts = {};
        }
    }

protected:
    virtual void findCuts(int triangle, VisitStamps& stamps, std::vector<Cut>& cuts) const = 0;

    MeshArrays mesh_;
    BoundingBox const* boxes_;
    ArrayOfSets const& triVoxels_;

private:
    struct Slot {
        VisitStamps stamps;
        std::vector<ChunkCuts> chunks;
    };

    int numPartners_;
    std::vector<Slot> slots_;  // one a thread
    std::vector<ChunkCuts> chunks_;
};

// A triangle that looks for partners: its plane is there once the first partner asks.
class Seeker {
public:
    TrianglePlane triangle;

    // False when the test can end before the partner's plane is known.
    bool cuts(TrianglePlane& partner, Point& start, Point& end) {
        if (!hasPlane_) {
            triangle.setPlane();
            hasPlane_ = true;
        }
        CornerHeights const partnerHeights(triangle, partner.corners);
        if (partnerHeights.onOneSide())
            return false;
        partner.setPlane();
        CornerHeights const heights(partner, triangle.corners);
        if (heights.onOneSide() ||
            equivalent(triangle.plane.normal, partner.plane.normal, epsilonTol))
            return false;
        return cutAlongCommonLine(triangle, heights, partner, partnerHeights, start, end);
    }

private:
    bool hasPlane_ = false;
};

bool holdsVertex(int const* corners, int vertex) {
    return corners[0] == vertex || corners[1] == vertex || corners[2] == vertex;
}

bool shareVertex(int const* a, int const* b) {
    bool shared = false;
    for (int i = 0; i < 3; ++i)
        shared |= (a[i] == b[0]) | (a[i] == b[1]) | (a[i] == b[2]);
    return shared;
}

class SelfIntersectAlg : public CutSearch {
public:
    SelfIntersectAlg(MeshArrays const& mesh, ko::vector<BoundingBox> const& boxes,
                     ArrayOfSets const& triVoxels, OctreeTris const& tris)
        : CutSearch(mesh, boxes, triVoxels, mesh.numTriangles),
          tris_(tris),
          hubs_(tris, mesh.triangles) {}

protected:
    void findCuts(int a, VisitStamps& stamps, std::vector<Cut>& cuts) const override {
        Seeker seeker;
        mesh_.widen(a, seeker.triangle.corners);
        int const* const voxels = triVoxels_.getSet(a);
        int const numVoxels = triVoxels_.getSetSize(a);
        for (int i = 0; i < numVoxels; ++i) {
            int const* partners = tris_.firstTri(voxels[i]);
            int numPartners = tris_.numTris(voxels[i]);
            VoxelHubs::Hub const* const hub = hubs_.find(voxels[i], numPartners);
            if (hub != nullptr && holdsVertex(mesh_.corners(a), hub->vertex)) {
                partners = hub->others.data();
                numPartners = static_cast<int>(hub->others.size());
            }
            for (int k = 0; k < numPartners; ++k) {
                int const b = partners[k];
                // Each pair has one owner, its greater triangle.
                if (a > b && stamps.meet(b) && boxes_[a].intersects(boxes_[b]) &&
                    !shareVertex(mesh_.corners(a), mesh_.corners(b)))
                    testPair(seeker, a, b, cuts);
            }
        }
    }

private:
    void testPair(Seeker& seeker, int a, int b, std::vector<Cut>& cuts) const {
        TrianglePlane partner;
        mesh_.widen(b, partner.corners);
        Point start;
        Point end;
        if (seeker.cuts(partner, start, end))
            cuts.push_back({mesh_.segment(a, start, end), mesh_.segment(b, start, end)});
    }

    OctreeTris const& tris_;
    VoxelHubs hubs_;
};

class IntersectAlg : public CutSearch {
public:
    IntersectAlg(CompactMesh const& mesh, Octree const& octree,
                 ko::vector<BoundingBox> const& boxes, ArrayOfSets const& triVoxels,
                 CompactMesh const& other, Octree const& otherOctree, OctreeTris const& otherTris,
                 AffineMatrix const& matrix)
        : CutSearch(MeshArrays(mesh), boxes, triVoxels, other.getNumTriangles()),
          other_(other),
          otherTris_(otherTris),
          matrix_(matrix),
          inverse_(matrix.inverse()) {
        mapVoxels(octree, otherOctree);
        otherBoxes_.resize(at(other_.numTriangles));
        meshTriBoundingBoxes(other.getVertices(), other.getTriangles(), other_.numTriangles,
                             otherBoxes_.data());
        for (BoundingBox& box : otherBoxes_)
            box.transform(inverse_);
    }

protected:
    void findCuts(int a, VisitStamps& stamps, std::vector<Cut>& cuts) const override {
        Seeker seeker;
        mesh_.widen(a, seeker.triangle.corners);
        for (Point& corner : seeker.triangle.corners)
            corner = corner * matrix_;
        int const* const voxels = triVoxels_.getSet(a);
        int const numVoxels = triVoxels_.getSetSize(a);
        for (int i = 0; i < numVoxels; ++i) {
            int const* const otherVoxels = voxelMap_.getSet(voxels[i]);
            int const numOtherVoxels = voxelMap_.getSetSize(voxels[i]);
            for (int k = 0; k < numOtherVoxels; ++k)
                findCutsInVoxel(seeker, a, otherVoxels[k], stamps, cuts);
        }
    }

private:
    // For each voxel of this octree those of the other one that its box meets.
    void mapVoxels(Octree const& octree, Octree const& otherOctree) {
        std::vector<int> pairs;
        OctreeBBoxIntersectIt otherVoxels(otherOctree);
        for (OctreeLeafIterator leaves(octree); leaves.valid(); leaves.next()) {
            OctreeIterator const leaf = leaves.get();
            BoundingBox box = leaf.box;
            box.transform(matrix_);
            for (otherVoxels.reset(box); otherVoxels.valid(); otherVoxels.next()) {
                pairs.push_back(leaf.node->voxelIndex);
                pairs.push_back(otherVoxels.get().node->voxelIndex);
            }
        }
        voxelMap_.assignFromPairs(octree.numVoxels, static_cast<int>(pairs.size() / 2),
                                  pairs.data());
    }

    void findCutsInVoxel(Seeker& seeker, int a, int otherVoxel, VisitStamps& stamps,
                         std::vector<Cut>& cuts) const {
        int const* const partners = otherTris_.firstTri(otherVoxel);
        int const numPartners = otherTris_.numTris(otherVoxel);
        for (int k = 0; k < numPartners; ++k) {
            int const b = partners[k];
            if (stamps.meet(b) && boxes_[a].intersects(otherBoxes_[at(b)]))
                testPair(seeker, a, b, cuts);
        }
    }

    void testPair(Seeker& seeker, int a, int b, std::vector<Cut>& cuts) const {
        TrianglePlane partner;
        other_.widen(b, partner.corners);
        Point start;
        Point end;
        if (seeker.cuts(partner, start, end))
            cuts.push_back({mesh_.segment(a, start * inverse_, end * inverse_),
                            other_.segment(b, start, end)});
    }

    MeshArrays other_;
    OctreeTris const& otherTris_;
    AffineMatrix matrix_;
    AffineMatrix inverse_;
    ArrayOfSets voxelMap_;
    ko::vector<BoundingBox> otherBoxes_;  // in this mesh's frame
};

}  // namespace

class MeshIntersectImpl : public ko::ImplBase {
public:
    MeshIntersectImpl(CompactMesh const& mesh, Octree const& octree, OctreeTris const& tris)
        : mesh_(mesh), octree_(octree), tris_(tris), triBoxes_(at(mesh.getNumTriangles())) {
        assert(detail::countsMatch(octree, mesh) && detail::isTableOf(tris, octree, mesh));
        meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), mesh.getNumTriangles(),
                             triBoxes_.data());
    }

    CompactMesh const& mesh() const { return mesh_; }
    Octree const& octree() const { return octree_; }
    OctreeTris const& tris() const { return tris_; }
    ko::vector<BoundingBox> const& triBoxes() const { return triBoxes_; }

    // Triangle to voxels; computed by the first query.
    ArrayOfSets const& triVoxels() {
        if (triVoxels_.getNumSets() == 0)
            triVoxels_.assignInverse(mesh_.getNumTriangles(), tris_.getData());
        return triVoxels_;
    }

private:
    CompactMesh const& mesh_;
    Octree const& octree_;
    OctreeTris const& tris_;
    ko::vector<BoundingBox> triBoxes_;
    ArrayOfSets triVoxels_;
};

MeshIntersect::MeshIntersect(CompactMesh const& mesh, Octree const& octree, OctreeTris const& tris)
    : impl_(new MeshIntersectImpl(mesh, octree, tris)), ownsImpl_(true) {}

MeshIntersect::MeshIntersect(MeshIntersect const& other) : impl_(other.impl_), ownsImpl_(false) {}

MeshIntersect::~MeshIntersect() {
    if (ownsImpl_)
        delete impl_;
}

void MeshIntersect::selfIntersect(koUtil::Progress& progress,
                                  std::deque<MeshIntersectPair>& result) {
    koOS::StopWatch watch;
    watch.start();

    MeshArrays const mesh(impl_->mesh());
    SelfIntersectAlg alg(mesh, impl_->triBoxes(), impl_->triVoxels(), impl_->tris());
    alg.setProgress(&progress);
    koUtil::ThreadPool::get().run(alg);
    result.clear();
    alg.deliver([&](Cut const& cut) {
        result.push_back(cut.own);
        result.push_back(cut.partner);
    });

    debugChannel().print("koGeom::meshSelfIntersect: %d triangles\n"
                         "    %d tri/tri intersections\n"
                         "    %f s\n",
                         mesh.numTriangles, static_cast<int>(result.size()), watch.clear());
}

void MeshIntersect::intersect(CompactMesh const& other, Octree const& otherOctree,
                              OctreeTris const& otherTris, AffineMatrix const& matrix,
                              koUtil::Progress& progress, std::deque<MeshIntersectPair>& result,
                              std::deque<MeshIntersectPair>& otherResult) {
    assert(detail::countsMatch(otherOctree, other));
    assert(detail::isTableOf(otherTris, otherOctree, other));
    BoundingBox rootBox = impl_->octree().getRoot().box;
    rootBox.transform(matrix);
    if (!rootBox.intersects(otherOctree.getRoot().box)) {
        debugChannel().print("koGeom::meshIntersect: bboxes don't overlap\n");
        return;
    }
    koOS::StopWatch watch;
    watch.start();

    IntersectAlg alg(impl_->mesh(), impl_->octree(), impl_->triBoxes(), impl_->triVoxels(), other,
                     otherOctree, otherTris, matrix);
    alg.setProgress(&progress);
    koUtil::ThreadPool::get().run(alg);
    result.clear();
    otherResult.clear();
    alg.deliver([&](Cut const& cut) {
        result.push_back(cut.own);
        otherResult.push_back(cut.partner);
    });

    debugChannel().print("meshIntersect: triangles1(%d) triangles2(%d)\n"
                         "    %d intersections, %f s\n",
                         impl_->mesh().getNumTriangles(), other.getNumTriangles(),
                         static_cast<int>(result.size()), watch.clear());
}

}  // namespace koGeom
