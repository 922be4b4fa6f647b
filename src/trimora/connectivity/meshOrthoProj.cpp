#include "trimora/connectivity/meshOrthoProj.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <memory>

namespace koGeom {

namespace {

class MeshOrthoProj : public koUtil::ThreadedAlg {
public:
    MeshOrthoProj(CompactMesh const& mesh, AffineMatrixFlt const& matrix, float* projected)
        : vertices_(mesh.getVertices()),
          numVertices_(mesh.getNumVertices()),
          matrix_(matrix),
          projected_(projected) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numVertices_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices_);
        for (int v = begin; v < end; ++v)
            project(vertices_[v], projected_ + std::ptrdiff_t{2} * v, matrix_.m);
    }

private:
    static void project(MeshVertex const& p, float* xy, float const* m) {
        xy[0] = ((p.y * m[3] + p.x * m[0]) + p.z * m[6]) + m[9];
        xy[1] = ((p.x * m[1] + p.y * m[4]) + p.z * m[7]) + m[10];
    }

    MeshVertex const* vertices_;
    int numVertices_;
    AffineMatrixFlt matrix_;
    float* projected_;  // a thread writes its slice
};

}  // namespace

float* meshOrthoProj(CompactMesh const& mesh, AffineMatrixFlt const& matrix) {
    koOS::StopWatch watch;
    watch.start();

    int const numVertices = mesh.getNumVertices();
    auto projected = std::make_unique_for_overwrite<float[]>(std::size_t{2} *
                                                             static_cast<std::size_t>(numVertices));
    MeshOrthoProj alg(mesh, matrix, projected.get());
    koUtil::ThreadPool::get().run(alg);

    debugChannel().print("meshOrthoProj: vertices %d: %f s\n", numVertices, watch.clear());
    return projected.release();
}

}  // namespace koGeom
