#include "trimora/connectivity/MeshAdjVertices.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/detail/VertexBuckets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <utility>
#include <vector>

// Vertex to vertices: each thread walks the triangles around its slice of the vertices once and writes complete records
// into a block of its own; a stamp a vertex (the number of the last vertex that met it) keeps repeats out, so that nothing
// is cleared or sorted. The blocks are then copied one after the other into the table.

namespace koGeom {

namespace {

class NeighbourAlg : public koUtil::ThreadedAlg {
public:
    NeighbourAlg(CompactMesh const& mesh, MeshAdjTris const& adjTris)
        : numVertices_(mesh.getNumVertices()),
          triangles_(mesh.getTriangles()),
          starts_(adjTris.getData().starts.data()),
          items_(adjTris.getData().items.data()),
          numItems_(adjTris.getData().items.size()),
          offsets_(std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(numVertices_))) {}

    void initialize(int numThreads) override {
        if (!gathering_)
            return;
        slices_.resize(static_cast<std::size_t>(std::min(numThreads, detail::maxTableThreads)));
    }

    void execute(int threadIndex, int /*numThreads*/) override {
        if (threadIndex >= static_cast<int>(slices_.size()))
            return;
        Slice& slice = slices_[static_cast<std::size_t>(threadIndex)];
        if (gathering_) {
            slice.begin =
                getBeginIndex(threadIndex, static_cast<int>(slices_.size()), numVertices_);
            slice.end =
                getBeginIndex(threadIndex + 1, static_cast<int>(slices_.size()), numVertices_);
            gather(slice);
        } else {
            copy(slice);
        }
    }

    /// Runs both stages and hands the table over.
    void run(int numTriangles, MeshAdjVertices& result) {
        koUtil::ThreadPool& pool = detail::tablePool(numTriangles);
        pool.run(*this);

        std::int64_t total = 0;
        int maxValence = 0;
        for (Slice& slice : slices_) {
            slice.firstInTable = total;
            total += slice.size;
            maxValence = std::max(maxValence, slice.maxValence);
        }
        data_ = std::make_unique_for_overwrite<int[]>(
            static_cast<std::size_t>(detail::tableSize(total)));
        gathering_ = false;
        pool.run(*this);

        MeshAdjVertices computed(numVertices_, maxValence, offsets_.release(), data_.release());
        result.swap(computed);
    }

private:
    struct Slice {
        int begin = 0;
        int end = 0;
        std::unique_ptr<int[]> records;
        std::int64_t size = 0;
        std::int64_t firstInTable = 0;
        int maxValence = 0;
    };

    int setEnd(int v) const { return v + 1 < numVertices_ ? starts_[v + 1] : numItems_; }

    void gather(Slice& slice) {
        if (slice.begin == slice.end)
            return;
        // A triangle adds at most 2 neighbours; one int more, since a corner is written before it is known to be new.
        std::int64_t const numCorners = setEnd(slice.end - 1) - starts_[slice.begin];
        std::int64_t const room = (slice.end - slice.begin) + 2 * numCorners + 1;
        slice.records = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(room));
        auto const metBy =
            std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(numVertices_));
        std::fill_n(metBy.get(), numVertices_, -1);

        int* record = slice.records.get();
        for (int v = slice.begin; v < slice.end; ++v) {
            offsets_[static_cast<std::size_t>(v)] = static_cast<int>(record - slice.records.get());
            int const count = gatherAround(v, metBy.get(), record + 1);
            *record = count;
            record += count + 1;
            slice.maxValence = std::max(slice.maxValence, count);
        }
        slice.size = record - slice.records.get();
    }

    int gatherAround(int v, int* metBy, int* neighbours) const {
        int count = 0;
        metBy[v] = v;
        for (int i = starts_[v], end = setEnd(v); i < end; ++i) {
            MeshTriangle const triangle = triangles_[items_[i]];
            // The corners other than v, in order; v again where the triangle names it twice, which counts nothing.
            int const first = triangle[0] == v ? triangle[1] : triangle[0];
            int const second = triangle[2] == v ? triangle[1] : triangle[2];
            neighbours[count] = first;
            count += metBy[first] != v;
            metBy[first] = v;
            neighbours[count] = second;
            count += metBy[second] != v;
            metBy[second] = v;
        }
        return count;
    }

    void copy(Slice const& slice) {
        std::copy_n(slice.records.get(), slice.size, data_.get() + slice.firstInTable);
        for (int v = slice.begin; v < slice.end; ++v)
            offsets_[static_cast<std::size_t>(v)] += static_cast<int>(slice.firstInTable);
    }

    int numVertices_;
    MeshTriangle const* triangles_;
    int const* starts_;
    int const* items_;
    int numItems_;
    bool gathering_ = true;
    std::vector<Slice> slices_;       // a thread writes its own
    std::unique_ptr<int[]> offsets_;  // a thread writes those of its vertices
    std::unique_ptr<int[]> data_;     // a thread writes the records of its vertices
};

}  // namespace

MeshAdjVertices::MeshAdjVertices() = default;

MeshAdjVertices::MeshAdjVertices(int newNumVertices, int newMaxValence, int* newOffsets,
                                 int* newData)
    : offsets(newOffsets), data(newData), numVertices(newNumVertices), maxValence(newMaxValence) {}

MeshAdjVertices::~MeshAdjVertices() {
    delete[] offsets;
    delete[] data;
}

void MeshAdjVertices::swap(MeshAdjVertices& other) {
    std::swap(offsets, other.offsets);
    std::swap(data, other.data);
    std::swap(numVertices, other.numVertices);
    std::swap(maxValence, other.maxValence);
}

void meshAdjVertices(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                     MeshAdjVertices& adjVertices) {
    assert(detail::isTableOf(adjTris, mesh));
    koOS::StopWatch watch;
    watch.start();

    NeighbourAlg alg(mesh, adjTris);
    alg.run(mesh.getNumTriangles(), adjVertices);

    debugChannel().print("MeshAdjVertices: %d vertices, %d triangles: %f s\n",
                         mesh.getNumVertices(), mesh.getNumTriangles(), watch.stop());
}

}  // namespace koGeom
