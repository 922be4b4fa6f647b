#include "trimora/connectivity/meshNormalize.h"

#include "trimora/contract/koGeom/PointMesh.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <cmath>

namespace koGeom {

namespace {

class MeshNormalize : public koUtil::ThreadedAlg {
public:
    MeshNormalize(float* vectors, int count)
        : vectors_(vectors), count_(count), tolerance2_(epsilon2Tol) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, count_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, count_);
        for (int i = begin; i < end; ++i)
            normalize(vectors_ + std::ptrdiff_t{3} * i);
    }

private:
    void normalize(float* vector) const {
        float const length2 = vector[0] * vector[0] + vector[1] * vector[1] + vector[2] * vector[2];
        bool const hasDirection = static_cast<double>(length2) > tolerance2_;
        float const scale = static_cast<float>(1.0 / std::sqrt(static_cast<double>(length2)));
        vector[0] = hasDirection ? vector[0] * scale : 0.0f;
        vector[1] = hasDirection ? vector[1] * scale : 0.0f;
        vector[2] = hasDirection ? vector[2] * scale : 1.0f;
    }

    float* vectors_;  // a thread writes its slice
    int count_;
    double tolerance2_;
};

}  // namespace

void meshNormalize(float* vectors, int count) {
    MeshNormalize alg(vectors, count);
    koUtil::ThreadPool::get().run(alg);
}

void meshNormalize(PointMesh& mesh) {
    if (mesh.getNumVertices() > 0 && mesh.getNormalsRaw() == nullptr)
        return;
    meshNormalize(mesh.getNormalsRaw(), mesh.getNumVertices());

    MeshModification modification(&mesh, MeshModification::Attributes, nullptr);
    modification.normalsModified();
    mesh.modified(modification);
}

}  // namespace koGeom
