#include "trimora/assembly/MeshPartition.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <cstddef>
#include <cstdint>

// The vertices of a subset are its queue as well: each enters both once and at the same time. What is placed stays placed, so the
// search around a vertex goes on where it stopped, in this subset and in later ones; all searches together look at each corner once.

namespace koGeom {

using SubsetList = ko::list<ko::Reference<MeshSubset>>;

class MeshPartition::Impl {
public:
    Impl(CompactMesh const& mesh, MeshAdjTris const& adjTris, int size);

    ko::Reference<MeshSubset> nextSubMesh();
    SubsetList partition();

private:
    int nextTriangle();
    void add(int triangle);
    ko::Reference<MeshSubset> takeSubset();

    CompactMesh const& mesh_;
    MeshAdjTris adjTris_;
    std::int64_t limit_;  // below it there is room for a triangle; a size of INT_MIN has one too
    int remaining_;
    int scan_ = 0;          // no free triangle lies below
    ko::vector<int> seen_;  // of each vertex's triangles, how many at the front are placed
    ko::vector<int> vertices_;
    ko::vector<int> triangles_;
    std::size_t head_ = 0;  // of the queue, in vertices_
    BitVector placed_;
    BitVector inSubset_;
};

MeshPartition::Impl::Impl(CompactMesh const& mesh, MeshAdjTris const& adjTris, int size)
    : mesh_(mesh),
      adjTris_(adjTris),
      limit_(std::int64_t(size) - 3),
      remaining_(mesh.getNumTriangles()),
      seen_(static_cast<std::size_t>(mesh.getNumVertices())),
      placed_(mesh.getNumTriangles()),
      inSubset_(mesh.getNumVertices()) {}

ko::Reference<MeshSubset> MeshPartition::Impl::nextSubMesh() {
    if (remaining_ == 0)
        return nullptr;
    while (static_cast<std::int64_t>(vertices_.size()) < limit_) {
        int const triangle = nextTriangle();
        if (triangle < 0)
            break;
        add(triangle);
        --remaining_;
    }
    return vertices_.empty() ? nullptr : takeSubset();
}

int MeshPartition::Impl::nextTriangle() {
    for (; head_ < vertices_.size(); ++head_) {
        int const vertex = vertices_[head_];
        int const* const around = adjTris_.triIndices(vertex);
        int const numAround = adjTris_.numTris(vertex);
        int& seen = seen_[static_cast<std::size_t>(vertex)];
        for (; seen < numAround; ++seen)
            if (placed_.isBitSet(around[seen]) == 0)
                return around[seen];
    }
    for (; scan_ < placed_.size; ++scan_)
        if (placed_.isBitSet(scan_) == 0)
            return scan_;
    return -1;
}

void MeshPartition::Impl::add(int triangle) {
    placed_.setBit(triangle);
    triangles_.push_back(triangle);
    for (int const vertex : mesh_.getTriangles()[triangle].vertices) {
        if (inSubset_.isBitSet(vertex) != 0)
            continue;
        inSubset_.setBit(vertex);
        vertices_.push_back(vertex);
    }
}

ko::Reference<MeshSubset> MeshPartition::Impl::takeSubset() {
    ko::Reference<MeshSubset> subset =
        new MeshSubset(static_cast<int>(vertices_.size()), vertices_.data(),
                       static_cast<int>(triangles_.size()), triangles_.data());
    for (int const vertex : vertices_)  // not all bits: there may be many small subsets
        inSubset_.clearBit(vertex);
    vertices_.clear();
    triangles_.clear();
    head_ = 0;
    return subset;
}

SubsetList MeshPartition::Impl::partition() {
    koOS::StopWatch watch;
    watch.start();

    SubsetList subsets;
    while (remaining_ > 0) {
        ko::Reference<MeshSubset> subset = nextSubMesh();
        if (!subset)
            break;
        subsets.push_back(subset);
    }

    debugChannel().print("MeshPartition: computed %d subsets of size %d in %f s\n",
                         static_cast<int>(subsets.size()), static_cast<int>(limit_ + 3),
                         watch.clear());
    return subsets;
}

MeshPartition::MeshPartition(CompactMesh const& mesh, MeshAdjTris const& adjTris, int size)
    : impl_(std::make_shared<Impl>(mesh, adjTris, size)) {
    assert(detail::isTableOf(adjTris, mesh));
}

MeshPartition::MeshPartition(MeshPartition const& other) = default;

MeshPartition::~MeshPartition() = default;

ko::Reference<MeshSubset> MeshPartition::nextSubMesh() {
    return impl_->nextSubMesh();
}

SubsetList MeshPartition::partition() {
    return impl_->partition();
}

}  // namespace koGeom
