#include "trimora/connectivity/meshBoundingBox.h"

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <cassert>
#include <vector>

// Each thread bounds its slice of the vertices, the slots are folded in thread order.

namespace koGeom {

namespace {

/// Grows a box on each axis by itself. Unlike BoundingBox::extend it does not ask whether a box is valid as a whole: an
/// axis that holds only NaN in one slice must not hide the other axes, or the outcome would depend on the slices.
void grow(BoundingBox& box, float const* lower, float const* upper) {
    for (int axis = 0; axis < 3; ++axis) {
        box.bounds[axis] = box.bounds[axis] > lower[axis] ? lower[axis] : box.bounds[axis];
        box.bounds[axis + 3] =
            upper[axis] > box.bounds[axis + 3] ? upper[axis] : box.bounds[axis + 3];
    }
}

class BoundingBoxAlg : public koUtil::ThreadedAlg {
public:
    BoundingBoxAlg(PointMesh const& mesh, BitVector const* selection)
        : vertices_(mesh.getVerticesRaw()),
          numVertices_(mesh.getNumVertices()),
          selection_(selection) {}

    void initialize(int numThreads) override {
        boxes_.assign(static_cast<std::size_t>(numThreads), BoundingBox());
    }

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numVertices_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices_);
        boxes_[static_cast<std::size_t>(threadIndex)] =
            selection_ == nullptr ? boxOfAll(begin, end) : boxOfSelected(begin, end);
    }

    void gather(BoundingBox& box) const {
        box = boxes_.front();
        for (std::size_t i = 1; i < boxes_.size(); ++i)
            grow(box, boxes_[i].bounds, boxes_[i].bounds + 3);
    }

private:
    BoundingBox boxOfAll(int begin, int end) const {
        BoundingBox box;
        for (int v = begin; v < end; ++v) {
            float const* const position = vertices_ + std::ptrdiff_t{3} * v;
            grow(box, position, position);
        }
        return box;
    }

    BoundingBox boxOfSelected(int begin, int end) const {
        BoundingBox box;
        for (int v = begin; v < end; ++v) {
            float const* const position = vertices_ + std::ptrdiff_t{3} * v;
            if (selection_->isBitSet(v))
                grow(box, position, position);
        }
        return box;
    }

    float const* vertices_;
    int numVertices_;
    BitVector const* selection_;
    std::vector<BoundingBox> boxes_;  // a slot a thread
};

}  // namespace

void meshBoundingBox(PointMesh const& mesh, BitVector const* selection, BoundingBox& box) {
    koOS::StopWatch watch;
    watch.start();

    BoundingBoxAlg alg(mesh, selection);
    koUtil::ThreadPool::get().run(alg);
    alg.gather(box);

    debugChannel().print("meshBoundingBox: %d vertices  %f s\n", mesh.getNumVertices(),
                         watch.clear());
}

void meshBoundingBox(PointMesh const& mesh, BoundingBox& box) {
    meshBoundingBox(mesh, nullptr, box);
}

void meshBoundingBox(PointMesh const& mesh, double* minimum, double* maximum) {
    BoundingBox box;
    meshBoundingBox(mesh, nullptr, box);
    for (int axis = 0; axis < 3; ++axis) {
        minimum[axis] = box.min(axis);
        maximum[axis] = box.max(axis);
    }
}

void arrangementBoundingBox(ko::list<MeshPlacement> const& placements, BoundingBox& box) {
    koOS::StopWatch watch;
    watch.start();

    box.setInvalid();
    for (MeshPlacement const& placement : placements) {
        assert(placement.mesh != nullptr);
        BoundingBox meshBox;
        meshBoundingBox(*placement.mesh, meshBox);
        meshBox.transform(placement.matrix);
        box.extend(meshBox);
    }
    debugChannel().print("arrangementBoundingBox: %d meshes  %f s\n",
                         static_cast<int>(placements.size()), watch.clear());
}

}  // namespace koGeom
