#include "trimora/connectivity/meshComputeNormals.h"

#include "trimora/connectivity/detail/triangleNormal.h"
#include "trimora/connectivity/meshNormalize.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/detail/callerContract.h"

#include <cassert>

// Each thread owns a slice of the vertices: it walks all triangles in order and adds the normals of those that touch its
// vertices. Sums so come out in the order of the triangles, whatever the number of threads; only triangles across a seam
// between slices are computed more than once.

namespace koGeom {

namespace {

class SumNormalsAlg : public koUtil::ThreadedAlg {
public:
    explicit SumNormalsAlg(CompactMesh& mesh)
        : vertices_(mesh.getVerticesRaw()),
          numVertices_(mesh.getNumVertices()),
          triangles_(mesh.getTrianglesRaw()),
          numTriangles_(mesh.getNumTriangles()),
          sums_(mesh.getNormalsRaw()) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numVertices_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices_);
        std::fill(sums_ + std::ptrdiff_t{3} * begin, sums_ + std::ptrdiff_t{3} * end, 0.0f);
        for (int t = 0; t < numTriangles_; ++t)
            addTriangle(triangles_ + std::ptrdiff_t{3} * t, begin, end);
    }

private:
    void addTriangle(int const* triangle, int begin, int end) {
        auto const isMine = [=](int vertex) {
            return static_cast<unsigned>(vertex - begin) < static_cast<unsigned>(end - begin);
        };
        bool const mine[3] = {isMine(triangle[0]), isMine(triangle[1]), isMine(triangle[2])};
        if (!(mine[0] || mine[1] || mine[2]))
            return;
        Normal const normal = detail::triangleNormal(vertices_, triangle);
        float const x = static_cast<float>(normal.x);
        float const y = static_cast<float>(normal.y);
        float const z = static_cast<float>(normal.z);
        for (int corner = 0; corner < 3; ++corner) {
            if (!mine[corner])
                continue;
            float* const sum = sums_ + std::ptrdiff_t{3} * triangle[corner];
            sum[0] += x;
            sum[1] += y;
            sum[2] += z;
        }
    }

    float const* vertices_;
    int numVertices_;
    int const* triangles_;
    int numTriangles_;
    float* sums_;  // a thread writes those of its vertices
};

class TriangleNormalsAlg : public koUtil::ThreadedAlg {
public:
    explicit TriangleNormalsAlg(CompactMesh& mesh)
        : vertices_(mesh.getVerticesRaw()),
          triangles_(mesh.getTrianglesRaw()),
          numTriangles_(mesh.getNumTriangles()),
          normals_(mesh.getTriangleNormals()) {}

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, numTriangles_);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numTriangles_);
        for (int t = begin; t < end; ++t)
            normals_[t] = detail::triangleNormal(vertices_, triangles_ + std::ptrdiff_t{3} * t);
    }

private:
    float const* vertices_;
    int const* triangles_;
    int numTriangles_;
    MeshNormal* normals_;  // a thread writes its slice
};

}  // namespace

void meshComputeNormals(CompactMesh& mesh) {
    assert(detail::hasTrianglesInRange(mesh));
    if (mesh.getNumVertices() <= 0)
        return;
    debugChannel().print("meshComputeNormals:  vertices %d  triangles %d\n", mesh.getNumVertices(),
                         mesh.getNumTriangles());

    mesh.allocNormalArray();
    SumNormalsAlg alg(mesh);
    koUtil::ThreadPool::get().run(alg);
    meshNormalize(mesh.getNormalsRaw(), mesh.getNumVertices());
    mesh.setNormalsComputed(true);

    MeshModification modification(&mesh, MeshModification::Attributes, nullptr);
    modification.normalsModified();
    mesh.modified(modification);
}

void meshComputeTriangleNormals(CompactMesh& mesh) {
    assert(detail::hasTrianglesInRange(mesh));
    if (mesh.getNumTriangles() <= 0)
        return;
    debugChannel().print("meshComputeTriangleNormals:  vertices %d  triangles %d\n",
                         mesh.getNumVertices(), mesh.getNumTriangles());
    koOS::StopWatch watch;
    watch.start();

    mesh.allocTriangleNormalArray();
    TriangleNormalsAlg alg(mesh);
    koUtil::ThreadPool::get().run(alg);
    debugChannel().print("  normalized: %f s\n", watch.clear());

    MeshModification modification(&mesh, MeshModification::Attributes, nullptr);
    modification.triangleNormalsModified();
    mesh.modified(modification);
}

void addUniformNormals(CompactMesh& mesh, Vector const& vector) {
    Normal const normal(vector);
    mesh.allocNormalArray();
    MeshNormal* const normals = mesh.getNormals();
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        normals[v] = normal;
}

}  // namespace koGeom
