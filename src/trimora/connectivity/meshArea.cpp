#include "trimora/connectivity/meshArea.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <cmath>
#include <numeric>
#include <vector>

// Half the sum of the cross products' lengths; each thread sums its slice of the triangles in double.

namespace koGeom {

namespace {

bool hasArea(MeshChannel channel) {
    return channel == MeshChannelVertices || channel == MeshChannelUVs || channel == MeshChannelSTs;
}

class MeshAreaAlg : public koUtil::ThreadedAlg {
public:
    MeshAreaAlg(MeshPlacement const& placement, MeshChannel channel)
        : matrix_(placement.matrix),
          channel_(channel),
          triangles_(placement.mesh->getTriangles()),
          numTriangles_(placement.mesh->getNumTriangles()),
          vertices_(placement.mesh->getVertices()),
          plane_(channel == MeshChannelUVs   ? placement.mesh->getUVs()
                 : channel == MeshChannelSTs ? placement.mesh->getSTs()
                                             : nullptr) {}

    /// Whether the mesh has what the channel measures.
    bool canMeasure() const { return channel_ == MeshChannelVertices || plane_ != nullptr; }

    void initialize(int numThreads) override {
        sums_.assign(static_cast<std::size_t>(numThreads), 0.0);
    }

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numTriangles_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numTriangles_);
        double sum = 0.0;
        for (int t = begin; t < end; ++t)
            sum += plane_ != nullptr ? doubleAreaInPlane(triangles_[t])
                                     : doubleAreaInSpace(triangles_[t]);
        sums_[static_cast<std::size_t>(threadIndex)] = sum * 0.5;
    }

    float total() const {
        return static_cast<float>(std::accumulate(sums_.begin(), sums_.end(), 0.0));
    }

private:
    double doubleAreaInSpace(MeshTriangle const& triangle) const {
        Point const p0 = vertices_[triangle[0]].asPoint();
        Vector const u = (vertices_[triangle[1]].asPoint() - p0) * matrix_;
        Vector const v = (vertices_[triangle[2]].asPoint() - p0) * matrix_;
        return cross(u, v).length();
    }

    double doubleAreaInPlane(MeshTriangle const& triangle) const {
        MeshUV const t0 = plane_[triangle[0]];
        MeshUV const t1 = plane_[triangle[1]];
        MeshUV const t2 = plane_[triangle[2]];
        return std::abs((t2.v - t0.v) * (t1.u - t0.u) - (t1.v - t0.v) * (t2.u - t0.u));
    }

    AffineMatrix matrix_;
    MeshChannel channel_;
    MeshTriangle const* triangles_;
    int numTriangles_;
    MeshVertex const* vertices_;
    MeshUV const* plane_;
    std::vector<double> sums_;  // a slot a thread
};

}  // namespace

float meshArea(MeshPlacement const& placement, MeshChannel channel) {
    assert(placement.mesh == nullptr || detail::hasTrianglesInRange(*placement.mesh));
    if (placement.mesh == nullptr || !hasArea(channel))
        return 0.0f;
    MeshAreaAlg alg(placement, channel);
    if (!alg.canMeasure())
        return 0.0f;

    koUtil::ThreadPool::get().run(alg);
    return alg.total();
}

float meshArea(CompactMesh const& mesh, MeshChannel channel) {
    return meshArea(MeshPlacement{AffineMatrixFlt::Identity, &mesh}, channel);
}

float meshArea(ko::list<MeshPlacement> const& placements, MeshChannel channel,
               ko::vector<float>& shares) {
    shares.clear();
    if (!hasArea(channel))
        return 0.0f;

    float sum = 0.0f;
    shares.reserve(placements.size());
    for (MeshPlacement const& placement : placements) {
        shares.push_back(meshArea(placement, channel));
        sum += shares.back();
    }
    if (std::abs(sum) < epsilonTolFlt)
        return 0.0f;

    float const scale = 1.0f / sum;
    for (float& share : shares)
        share *= scale;
    return sum;
}

}  // namespace koGeom
