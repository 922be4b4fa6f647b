#include "toolkit/detail/cornerNormals.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <cmath>
#include <numbers>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Vector;
using koLinear::VectorFlt;

constexpr int largestFan = 512;  // each of its triangles looks at all others

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Normals as long as twice the triangle's area.
class FaceAlg : public koUtil::ThreadedAlg {
public:
    FaceAlg(CompactMesh const& mesh, std::vector<Vector>& normals)
        : mesh_(mesh), normals_(normals) {}

    void execute(int threadIndex, int numThreads) override {
        int const end = getBeginIndex(threadIndex + 1, numThreads, mesh_.getNumTriangles());
        for (int t = getBeginIndex(threadIndex, numThreads, mesh_.getNumTriangles()); t < end;
             ++t) {
            koGeom::MeshTriangle const& corners = mesh_.getTriangles()[t];
            koLinear::Point const a = mesh_.getVertices()[corners[0]].asPoint();
            Vector const normal = cross(mesh_.getVertices()[corners[1]].asPoint() - a,
                                        mesh_.getVertices()[corners[2]].asPoint() - a);
            normals_[at(t)] = std::isfinite(normal.length2()) ? normal : Vector();
        }
    }

private:
    CompactMesh const& mesh_;
    std::vector<Vector>& normals_;
};

class CornerAlg : public koUtil::ThreadedAlg {
public:
    CornerAlg(CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris,
              std::vector<Vector> const& faces, double creaseAngle, std::vector<VectorFlt>& normals)
        : mesh_(mesh),
          adjTris_(adjTris),
          faces_(faces),
          leastCosine_(std::cos(creaseAngle * std::numbers::pi / 180.0)),
          normals_(normals) {}

    void execute(int threadIndex, int numThreads) override {
        int const end = getBeginIndex(threadIndex + 1, numThreads, mesh_.getNumTriangles());
        for (int t = getBeginIndex(threadIndex, numThreads, mesh_.getNumTriangles()); t < end; ++t)
            for (int k = 0; k < 3; ++k)
                normals_[3 * at(t) + at(k)] =
                    VectorFlt(meanRound(mesh_.getTriangles()[t][k], faces_[at(t)]));
    }

private:
    Vector meanRound(int vertex, Vector const& own) const {
        Vector sum = own;
        double const least = leastCosine_ * own.length();
        int const numAround = adjTris_.numTris(vertex);
        if (numAround <= largestFan) {
            sum = Vector();
            for (int i = 0; i < numAround; ++i) {
                Vector const& other = faces_[at(adjTris_.triIndices(vertex)[i])];
                if (dot(own, other) >= least * other.length())
                    sum += other;
            }
        }
        return sum.normalize() ? sum : Vector();
    }

    CompactMesh const& mesh_;
    koGeom::MeshAdjTris const& adjTris_;
    std::vector<Vector> const& faces_;
    double leastCosine_;
    std::vector<VectorFlt>& normals_;
};

}  // namespace

std::vector<VectorFlt> cornerNormals(CompactMesh const& mesh, double creaseAngle) {
    std::vector<Vector> faces(at(mesh.getNumTriangles()));
    FaceAlg faceAlg(mesh, faces);
    koUtil::ThreadPool::get().run(faceAlg);
    std::vector<VectorFlt> normals(3 * faces.size());
    koGeom::SimpleMeshCache cache;
    ko::Reference<koGeom::MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
    CornerAlg cornerAlg(mesh, *adjTris, faces, creaseAngle, normals);
    koUtil::ThreadPool::get().run(cornerAlg);
    return normals;
}

}  // namespace trimora
