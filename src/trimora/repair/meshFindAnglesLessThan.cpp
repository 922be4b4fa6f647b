// Folds: the angle between the normals of two neighbours, pi when they lie back to back. Arc
// cosines are dear and most edges are nearly flat, so a dot product rejects what is clearly out
// before the angle itself decides.

#include "trimora/repair/meshFindAnglesLessThan.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/triNormal.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/detail/callerContract.h"
#include "trimora/repair/detail/edgeTriangles.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>
#include <vector>

namespace koGeom {

namespace {

constexpr double pi = 3.141592653589793;

// Two cosines that differ by this much belong to angles whose order rounding cannot change.
constexpr double cosineMargin = 1e-6;

int cornerOf(MeshTriangle const& triangle, int vertex) {
    return triangle[0] == vertex ? 0 : triangle[1] == vertex ? 1 : 2;
}

// The corner before `vertex` in winding order.
int cornerBefore(MeshTriangle const& triangle, int vertex) {
    return triangle[(cornerOf(triangle, vertex) + 2) % 3];
}

class MeshFindAnglesLessThan : public koUtil::ThreadedAlg {
public:
    MeshFindAnglesLessThan(CompactMesh const& mesh, MeshAdjTris const& adj, double angleDegrees,
                           MeshDihedralAnglesResult& result)
        : triangles_(mesh.getTriangles()),
          numTriangles_(mesh.getNumTriangles()),
          vertices_(mesh.getVerticesRaw()),
          adj_(adj),
          result_(result),
          threshold_(pi - (angleDegrees / 180.0) * pi),
          flatCosine_(std::cos(std::clamp(threshold_, 0.0, pi)) + cosineMargin) {}

    void initialize(int numThreads) override {
        edges_.assign(static_cast<std::size_t>(numThreads), {});
    }

    void execute(int threadIndex, int numThreads) override {
        int const end = getBeginIndex(threadIndex + 1, numThreads, numTriangles_);
        for (int t = getBeginIndex(threadIndex, numThreads, numTriangles_); t < end; ++t)
            appendFolds(t, edges_[static_cast<std::size_t>(threadIndex)]);
    }

    void finalize() override {
        result_.edges.swap(edges_.front());
        for (std::size_t i = 1; i < edges_.size(); ++i)
            result_.edges.insert(result_.edges.end(), edges_[i].begin(), edges_[i].end());
    }

private:
    using Edges = ko::vector<std::pair<int, int>>;

    void appendFolds(int t, Edges& edges) const {
        Normal const normal = meshTriNormal(vertices_, triangles_[t].vertices);
        for (int k = 0; k < 3; ++k) {
            int const a = triangles_[t][k];
            int const b = triangles_[t][(k + 1) % 3];
            forEachTriangleOnEdge(adj_, triangles_, a, b, [&](int other) {
                if (other > t && cornerBefore(triangles_[other], a) == b && isFold(normal, other))
                    edges.push_back({a, b});
                return true;
            });
        }
    }

    bool isFold(Normal const& normal, int other) const {
        Normal const otherNormal = meshTriNormal(vertices_, triangles_[other].vertices);
        return dot(normal, otherNormal) <= flatCosine_ && angle(normal, otherNormal) >= threshold_;
    }

    MeshTriangle const* triangles_;
    int numTriangles_;
    float const* vertices_;
    MeshAdjTris const& adj_;
    MeshDihedralAnglesResult& result_;
    double threshold_;          // least angle between normals, radians
    double flatCosine_;         // above it the angle is below the threshold beyond doubt
    std::vector<Edges> edges_;  // one slot a thread
};

// Whether the triangle has `vertex` beside the corner that stands first at `centre`.
bool hasRim(MeshTriangle const& triangle, int centre, int vertex) {
    int const k = cornerOf(triangle, centre);
    return triangle[(k + 1) % 3] == vertex || triangle[(k + 2) % 3] == vertex;
}

}  // namespace

void MeshDihedralAnglesResult::getAdjacentTriangles(CompactMesh const& mesh, MeshAdjTris const& adj,
                                                    ko::vector<int>& out) const {
    assert(detail::isTableOf(adj, mesh));
    BitVector adjacent(mesh.getNumTriangles());
    for (auto const& [a, b] : edges)
        forEachTriangleOnEdge(adj, mesh.getTriangles(), a, b, [&](int triangle) {
            adjacent.setBit(triangle);
            return true;
        });
    out.clear();
    out.reserve(static_cast<std::size_t>(adjacent.count));
    for (int t = 0; t < adjacent.size; ++t)
        if (adjacent.isBitSet(t))
            out.push_back(t);
}

void meshFindAnglesLessThan(CompactMesh const& mesh, MeshAdjTris const& adj, double angleDegrees,
                            MeshDihedralAnglesResult& result) {
    assert(detail::isTableOf(adj, mesh));
    koOS::StopWatch watch;
    watch.start();
    result.edges.clear();
    MeshFindAnglesLessThan alg(mesh, adj, angleDegrees, result);
    koUtil::ThreadPool::get().run(alg);
    debugChannel().print("   meshFindAnglesLessThan: %f s\n", watch.clear());
}

double meshMaxDihedralAngle(CompactMesh const& mesh, MeshAdjTris const& adj) {
    assert(detail::isTableOf(adj, mesh));
    MeshTriangle const* const triangles = mesh.getTriangles();
    float const* const vertices = mesh.getVerticesRaw();
    int const numTriangles = mesh.getNumTriangles();
    double maximum = 0.0;
    double lowestCosine = 2.0;  // of the pair that gave the maximum
    for (int t = 0; t < numTriangles; ++t) {
        Normal const normal = meshTriNormal(vertices, triangles[t].vertices);
        auto const compare = [&](int centre, int rim, int other) {
            if (other <= t || !hasRim(triangles[other], centre, rim))
                return true;
            Normal const otherNormal = meshTriNormal(vertices, triangles[other].vertices);
            double const cosine = dot(normal, otherNormal);
            if (cosine > lowestCosine + cosineMargin)
                return true;
            lowestCosine = std::min(lowestCosine, cosine);
            maximum = std::max(maximum, angle(normal, otherNormal));
            return true;
        };
        for (int k = 0; k < 3; ++k) {
            int const centre = triangles[t][k];
            for (int const rim : {triangles[t][(k + 1) % 3], triangles[t][(k + 2) % 3]})
                forEachTriangleOnEdge(adj, triangles, centre, rim,
                                      [&](int other) { return compare(centre, rim, other); });
        }
    }
    return maximum;
}

}  // namespace koGeom
