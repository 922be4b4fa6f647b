#include "trimora/connectivity/MeshBoundaries.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/detail/VertexBuckets.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/detail/callerContract.h"

#include <bit>
#include <cassert>
#include <vector>

// An inner vertex of a manifold has as many neighbours as triangles. Vertices of which this is not true are found first, in
// one sweep; an open edge ends at such a vertex, so only vertices that share a triangle with one can lie on a loop, and a
// closed mesh costs the sweep alone. Loops are then walked serially, lowest vertex first.

namespace koGeom {

namespace {

bool isIrregular(int vertex, MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices) {
    return adjVertices.numNeighbours(vertex) != adjTris.numTris(vertex);
}

/// Heads of edges from one vertex that were found to have another side. Each is searched for once, however many triangles
/// crowd on its edge, in whatever order.
class ClosedHeads {
public:
    explicit ClosedHeads(int numTris) : keepsAll_(numTris > fewTriangles) {}

    bool contains(int head) const { return head == last_ || (keepsAll_ && all_.contains(head)); }
    void add(int head) {
        last_ = head;
        if (keepsAll_)
            all_.insert(head);
    }

private:
    static constexpr int fewTriangles = 32;  // up to which to search again is cheap

    bool keepsAll_;
    int last_ = -1;
    ko::unordered_set<int> all_;
};

class IrregularVerticesAlg : public koUtil::ThreadedAlg {
public:
    IrregularVerticesAlg(int numVertices, MeshAdjTris const& adjTris,
                         MeshAdjVertices const& adjVertices)
        : numVertices_(numVertices), adjTris_(adjTris), adjVertices_(adjVertices) {}

    void initialize(int numThreads) override {
        found_.resize(static_cast<std::size_t>(numThreads));
    }

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numVertices_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices_);
        std::vector<int>& found = found_[static_cast<std::size_t>(threadIndex)];
        for (int v = begin; v < end; ++v)
            if (isIrregular(v, adjTris_, adjVertices_))
                found.push_back(v);
    }

    std::vector<std::vector<int>> const& found() const { return found_; }

private:
    int numVertices_;
    MeshAdjTris const& adjTris_;
    MeshAdjVertices const& adjVertices_;
    std::vector<std::vector<int>> found_;  // a slot a thread
};

/// All vertices that an open edge can leave, and some more.
BitVector possibleStarts(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                         MeshAdjVertices const& adjVertices) {
    IrregularVerticesAlg alg(mesh.getNumVertices(), adjTris, adjVertices);
    detail::tablePool(mesh.getNumVertices()).run(alg);

    BitVector starts(mesh.getNumVertices());
    for (std::vector<int> const& slot : alg.found())
        for (int const vertex : slot)
            for (int i = 0; i < adjTris.numTris(vertex); ++i)
                starts.setBits(3, mesh.getTriangles()[adjTris.triIndices(vertex)[i]].vertices);
    return starts;
}

/// Loops as they are found.
class LoopList {
public:
    /// Walks from `start` until no open edge goes on or a vertex is met again. `isSeen` and `markSeen` keep the vertices of
    /// all walks; `step` finds the vertex after one. The last vertex of a chain that just ends is left out.
    template <class Step, class IsSeen, class MarkSeen>
    void walk(int start, Step const& step, IsSeen const& isSeen, MarkSeen const& markSeen) {
        int const before = static_cast<int>(points_.size());
        int current = start;
        int next = -1;
        markSeen(current);
        while (step(current, next)) {
            points_.push_back(current);
            if (isSeen(next))
                break;
            markSeen(next);
            current = next;
        }
        if (int const length = static_cast<int>(points_.size()) - before; length > 0)
            lengths_.push_back(length);
    }

    void moveTo(MeshBoundaries& boundaries) const {
        MeshSequence sequence;
        sequence.points.copyFrom(points_.data(), static_cast<int>(points_.size()));
        sequence.lengths.copyFrom(lengths_.data(), static_cast<int>(lengths_.size()));
        MeshBoundaries computed(sequence);
        boundaries.swap(computed);
    }

private:
    std::vector<int> points_;
    std::vector<int> lengths_;
};

/// Calls visit(i) for every set bit, ascending.
template <class Visit>
void forEachSetBit(BitVector const& bits, Visit const& visit) {
    for (int word = 0; word < bits.numWords(); ++word)
        for (std::uint32_t rest = bits.words[word]; rest != 0; rest &= rest - 1)
            visit(32 * word + std::countr_zero(rest));
}

/// The walk round one subset.
class SubsetWalk {
public:
    SubsetWalk(CompactMesh const& mesh, int subsetIndex, MeshAdjTris const& adjTris,
               MeshAdjVertices const& adjVertices, ArrayOfSets const& vertexSubsets,
               Remap const& triangleSubsets)
        : triangles_(mesh.getTriangles()),
          subsetIndex_(subsetIndex),
          adjTris_(adjTris),
          adjVertices_(adjVertices),
          vertexSubsets_(vertexSubsets),
          triangleSubsets_(triangleSubsets) {}

    bool step(int vertex, int& next) const {
        int const count = adjTris_.numTris(vertex);
        ClosedHeads closed(count);
        for (int i = 0; i < count; ++i) {
            int const t = adjTris_.triIndices(vertex)[i];
            if (triangleSubsets_(t) != subsetIndex_)
                continue;
            next = Boundary::findEdge(vertex, triangles_[t]);
            if (closed.contains(next) || !isOnSomeBorder(next))
                continue;
            if (!hasEdge(next, vertex))
                return true;
            closed.add(next);
        }
        return false;
    }

private:
    bool isOnSomeBorder(int vertex) const {
        return vertexSubsets_.getSetSize(vertex) >= 2 ||
               isIrregular(vertex, adjTris_, adjVertices_);
    }

    bool hasEdge(int from, int to) const {
        int const searched = adjTris_.numTris(from) <= adjTris_.numTris(to) ? from : to;
        for (int i = 0, count = adjTris_.numTris(searched); i < count; ++i) {
            int const t = adjTris_.triIndices(searched)[i];
            if (triangleSubsets_(t) == subsetIndex_ &&
                Boundary::findEdge(from, triangles_[t]) == to)
                return true;
        }
        return false;
    }

    MeshTriangle const* triangles_;
    int subsetIndex_;
    MeshAdjTris const& adjTris_;
    MeshAdjVertices const& adjVertices_;
    ArrayOfSets const& vertexSubsets_;
    Remap const& triangleSubsets_;
};

}  // namespace

namespace Boundary {

int findEdge(int vertex, MeshTriangle const& triangle) {
    for (int corner = 0; corner < 3; ++corner)
        if (triangle[corner] == vertex)
            return triangle[corner == 2 ? 0 : corner + 1];
    return -1;
}

bool hasEdge(CompactMesh const& mesh, MeshAdjTris const& adjTris, int from, int to) {
    assert(detail::countsMatch(adjTris, mesh));
    // A triangle with the edge stands in the sets of both ends: the smaller one is searched.
    int const searched = adjTris.numTris(from) <= adjTris.numTris(to) ? from : to;
    MeshTriangle const* const triangles = mesh.getTriangles();
    int const* const tris = adjTris.triIndices(searched);
    for (int i = 0, count = adjTris.numTris(searched); i < count; ++i)
        if (findEdge(from, triangles[tris[i]]) == to)
            return true;
    return false;
}

bool walkBoundary(int vertex, int& next, CompactMesh const& mesh, MeshAdjTris const& adjTris,
                  MeshAdjVertices const& adjVertices) {
    assert(detail::countsMatch(adjTris, mesh) && detail::countsMatch(adjVertices, mesh));
    MeshTriangle const* const triangles = mesh.getTriangles();
    int const* const tris = adjTris.triIndices(vertex);
    int const count = adjTris.numTris(vertex);
    ClosedHeads closed(count);
    for (int i = 0; i < count; ++i) {
        next = findEdge(vertex, triangles[tris[i]]);
        if (closed.contains(next) || !isIrregular(next, adjTris, adjVertices))
            continue;
        if (!hasEdge(mesh, adjTris, next, vertex))
            return true;
        closed.add(next);
    }
    return false;
}

}  // namespace Boundary

MeshBoundaries::MeshBoundaries() = default;
MeshBoundaries::MeshBoundaries(MeshSequence& sequence) {
    sequence_.swap(sequence);
    sequence_.getStarts();  // filled here, so that many threads may read
}
MeshBoundaries::MeshBoundaries(MeshBoundaries const& other)
    : ko::ReferenceCount(other), sequence_(other.sequence_) {
    sequence_.getStarts();
}
MeshBoundaries& MeshBoundaries::operator=(MeshBoundaries const& other) {
    MeshBoundaries copy(other);
    swap(copy);
    return *this;
}
MeshBoundaries::~MeshBoundaries() = default;

void MeshBoundaries::swap(MeshBoundaries& other) {
    sequence_.swap(other.sequence_);
    sequence_.getStarts();
    other.sequence_.getStarts();
}

void meshComputeBoundary(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                         MeshAdjVertices const& adjVertices, MeshBoundaries& boundaries) {
    assert(detail::isTableOf(adjTris, mesh) && detail::isTableOf(adjVertices, mesh));
    BitVector seen(mesh.getNumVertices());
    LoopList loops;
    auto const step = [&](int vertex, int& next) {
        return Boundary::walkBoundary(vertex, next, mesh, adjTris, adjVertices);
    };
    forEachSetBit(possibleStarts(mesh, adjTris, adjVertices), [&](int start) {
        if (seen.isBitSet(start))
            return;
        // Every vertex below the start has been seen, those without an open edge included.
        loops.walk(
            start, step, [&](int vertex) { return vertex < start || seen.isBitSet(vertex); },
            [&](int vertex) { seen.setBit(vertex); });
    });
    loops.moveTo(boundaries);
}

void meshComputeSubsetBoundary(CompactMesh const& mesh, MeshSubset const& subset, int subsetIndex,
                               MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices,
                               ArrayOfSets const& vertexSubsets, Remap const& triangleSubsets,
                               MeshBoundaries& boundaries) {
    assert(detail::countsMatch(adjTris, mesh) && detail::countsMatch(adjVertices, mesh));
    assert(vertexSubsets.getNumSets() == mesh.getNumVertices());
    assert(triangleSubsets.getDomainSize() == mesh.getNumTriangles());
    assert(detail::areAllInRange(subset.vertices, subset.numVertices, mesh.getNumVertices()));
    BitVector seen(mesh.getNumVertices());
    LoopList loops;
    SubsetWalk const walk(mesh, subsetIndex, adjTris, adjVertices, vertexSubsets, triangleSubsets);
    auto const step = [&](int vertex, int& next) { return walk.step(vertex, next); };
    for (int i = 0; i < subset.numVertices; ++i) {
        if (seen.isBitSet(subset.vertices[i]))
            continue;
        loops.walk(
            subset.vertices[i], step, [&](int vertex) { return seen.isBitSet(vertex); },
            [&](int vertex) { seen.setBit(vertex); });
    }
    loops.moveTo(boundaries);
}

}  // namespace koGeom
