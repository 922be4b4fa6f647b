#include "trimora/reduce/detail/MeshReduceBase.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/detail/vertexFlatness.h"
#include "trimora/topology/MeshModifyRep.h"

#include <algorithm>
#include <bit>

// The driver, from the top: reduce, passes, batches, attempts. The mesh itself changes at one place only, the merge of a
// batch; until then all happens in the half-edge mesh of the batch's bridge.

namespace koGeom::detail {

namespace {

// A batch takes all that is left up to the first number, else the second: so no small batch is left at the end, for
// which a region would have to be moved out and back once more.
constexpr int mostInLastBatch = 98304;
constexpr int mostInBatch = 65536;

/// A pass that removes a smaller part than this of what it leaves is the last.
constexpr double leastGain = 0.01;

}  // namespace

MeshReduceBase::MeshReduceBase(CompactMesh& meshToReduce)
    : mesh(meshToReduce),
      initialVertexCount(meshToReduce.getNumVertices()),
      flatness(new double[static_cast<std::size_t>(meshToReduce.getNumVertices())]) {}

MeshReduceBase::~MeshReduceBase() = default;

void MeshReduceBase::reduce(koUtil::Progress& progress) {
    koOS::StopWatch watch;
    watch.start();
    if (wantsMore(mesh.getNumVertices()))
        runPasses(progress);
    debugChannel().print("MeshReduce: reduced from %d vertices to %d vertices: %f s\n",
                         initialVertexCount, mesh.getNumVertices(), watch.clear());
}

void MeshReduceBase::runPasses(koUtil::Progress& progress) {
    koUtil::Ordering order;
    do {
        int const numVertices = mesh.getNumVertices();
        vertexFlatness(mesh, *cache.getAdjVertices(mesh), flatness.get());
        order.sort(flatness.get(), flatness.get() + numVertices);
        std::vector<int> candidates = chooseCandidates(order);
        if (candidates.empty()) {
            reason = reasonOfNoRemoval();
            return;
        }
        beginPass(iteration, static_cast<int>(candidates.size()), progress);
        ++iteration;
        int const numRemoved = removeCandidates(candidates, progress);
        endPass();
        if (progress.cancelled()) {
            reason = MeshReduceReport::Cancelled;
            return;
        }
        if (leastGain > static_cast<double>(numRemoved) / mesh.getNumVertices()) {
            if (wantsMore(mesh.getNumVertices()))
                reason = numRemoved > 0 ? MeshReduceReport::OnePercent : reasonOfNoRemoval();
            return;
        }
    } while (wantsMore(mesh.getNumVertices()));
}

MeshReduceReport::Reason MeshReduceBase::reasonOfNoRemoval() const {
    return refusedAny ? MeshReduceReport::Tolerance : MeshReduceReport::NothingLeft;
}

std::vector<int> MeshReduceBase::chooseCandidates(koUtil::Ordering const& order) {
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    ko::Reference<MeshAdjVertices> const adjVertices = cache.getAdjVertices(mesh);
    std::vector<int> candidates;
    BitVector blocked(mesh.getNumVertices());
    int numLeft = mesh.getNumVertices();  // should every candidate go
    refusedAny = false;
    for (int const v : order) {
        if (blocked.isBitSet(v))
            continue;
        int const numNeighbours = adjVertices->numNeighbours(v);
        if (numNeighbours < 3 || numNeighbours != adjTris->numTris(v))
            continue;  // on a border, or its triangles make no closed fan
        if (!canRemove(v)) {
            refusedAny = true;
            continue;
        }
        candidates.push_back(v);
        --numLeft;
        blocked.setBits(numNeighbours, adjVertices->neighbours(v));
        if (!wantsMore(numLeft))
            break;
    }
    return candidates;
}

/// Batch by batch, in the order of the candidates; returns how many went.
int MeshReduceBase::removeCandidates(std::vector<int>& candidates,
                                     koUtil::Progress const& progress) {
    int const numCandidates = static_cast<int>(candidates.size());
    int numRemoved = 0;
    for (int first = 0; first < numCandidates;) {
        int const numWaiting = numCandidates - first;
        int const batchSize = numWaiting <= mostInLastBatch ? numWaiting : mostInBatch;
        BitVector batch(mesh.getNumVertices());
        batch.setBits(batchSize, candidates.data() + first);
        first += batchSize;

        beginBatch(batch.count, numCandidates);
        Array<int> remap;
        int const numGone = removeBatch(batch, remap);
        endBatch();
        if (progress.cancelled())
            break;
        if (numGone > 0) {
            numRemoved += numGone;
            for (int i = first; i < numCandidates; ++i)
                candidates[static_cast<std::size_t>(i)] =
                    remap[candidates[static_cast<std::size_t>(i)]];
        }
    }
    return numRemoved;
}

/// Tries the vertices and merges what came of it; their bits are left for those that went. Returns how many went.
int MeshReduceBase::removeBatch(BitVector& vertices, Array<int>& remap) {
    ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);  // outlives the bridge
    int numGone = 0;
    for (;;) {
        selectRegion(vertices, *adjTris);
        modifyRep = std::make_unique<MeshModifyRep>(mesh, *adjTris);
        int const numTried = vertices.count;
        numGone = attemptAll(vertices);
        if (stopped || numGone < 1 || numGone * 3 / 2 >= numTried)
            break;
        // Every vertex that was refused stands in the region as a new one: too many of them would be renumbered for
        // nothing, and what they take with them would have to be found again.
        modifyRep.reset();
        mesh.clearSelection();
    }
    if (numGone != 0) {
        beforeMerge();
        modifyRep->merge(remap, nullptr);
        afterMerge(remap);
    }
    modifyRep.reset();
    mesh.clearSelection();
    return numGone;
}

/// Two rings around the vertices: within the first one edges change, the second one keeps them off the rim, whose
/// triangles outside are not seen.
void MeshReduceBase::selectRegion(BitVector const& vertices, MeshAdjTris const& adjTris) {
    mesh.getSelectedVertices() = vertices;
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    MeshSelect select(mesh, adjTris);
    for (int ring = 0; ring < 2; ++ring) {
        select.selectAllTrianglesFromVertices();
        select.selectVerticesFromTriangles();
    }
}

/// Clears the bits of the vertices that could not go; returns how many went.
int MeshReduceBase::attemptAll(BitVector& vertices) {
    VertexRemoval removal(modifyRep->extract(), *modifyRep);
    MeshVertex const* const positions = mesh.getVertices();
    int numGone = 0;
    stopped = false;
    for (int w = 0; w < vertices.numWords() && !stopped; ++w) {
        for (std::uint32_t bits = vertices.words[w]; bits != 0 && !stopped; bits &= bits - 1) {
            int const v = 32 * w + std::countr_zero(bits);
            bool gone = removal.remove(modifyRep->getTopoMeshVertex(v));
            if (gone && !acceptRemoval(v, removal.fill())) {
                removal.undo();
                refusedAny = true;
                gone = false;
            }
            if (gone) {
                removedPoints.push_back(positions[v].asPoint());
                ++numGone;
                stopped = !noteRemoval();
            } else {
                vertices.clearBit(v);
            }
        }
    }
    return numGone;
}

}  // namespace koGeom::detail
