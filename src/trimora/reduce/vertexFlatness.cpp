#include "trimora/reduce/detail/vertexFlatness.h"

#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/planar/fit.h"

#include <cmath>
#include <limits>
#include <vector>

// One independent fit a vertex; each thread keeps the points of the vertex in hand.

namespace koGeom::detail {

namespace {

constexpr double notFlat = std::numeric_limits<double>::max();

class FlatnessAlg : public koUtil::ThreadedChunkAlg {
public:
    FlatnessAlg(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, double* flatness)
        : positions_(mesh.getVertices()),
          numVertices_(mesh.getNumVertices()),
          adjVertices_(adjVertices),
          flatness_(flatness) {}

    void initialize(int numThreads) override {
        std::size_t const numPoints = static_cast<std::size_t>(adjVertices_.maxValence) + 1;
        points_.assign(static_cast<std::size_t>(numThreads), std::vector<Point>(numPoints));
    }

    void executeChunk(int chunkIndex, int threadIndex) override {
        Point* const points = points_[static_cast<std::size_t>(threadIndex)].data();
        int const end = getBeginIndex(chunkIndex + 1, numChunks, numVertices_);
        for (int v = getBeginIndex(chunkIndex, numChunks, numVertices_); v < end; ++v)
            flatness_[v] = flatnessOf(v, points);
    }

private:
    double flatnessOf(int vertex, Point* points) const {
        int const numNeighbours = adjVertices_.numNeighbours(vertex);
        if (numNeighbours < 3)
            return notFlat;
        int const* const neighbours = adjVertices_.neighbours(vertex);
        for (int i = 0; i < numNeighbours; ++i)
            points[i] = positions_[neighbours[i]].asPoint();
        points[numNeighbours] = positions_[vertex].asPoint();

        Plane plane;
        fit(numNeighbours + 1, points, plane);
        double farthest = 0.0;
        for (int i = 0; i <= numNeighbours; ++i) {
            double const height = std::abs(dot(points[i] - plane.origin, plane.normal));
            if (!(height <= farthest))  // passes on what is not a number
                farthest = height;
        }
        return std::isfinite(farthest) ? farthest : notFlat;
    }

    MeshVertex const* positions_;
    int numVertices_;
    MeshAdjVertices const& adjVertices_;
    double* flatness_;                        // a chunk's slice each
    std::vector<std::vector<Point>> points_;  // one scratch a thread
};

}  // namespace

void vertexFlatness(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, double* flatness) {
    koOS::StopWatch watch;
    watch.start();
    FlatnessAlg alg(mesh, adjVertices, flatness);
    koUtil::ThreadPool::get().run(alg);
    debugChannel().print("MeshReduce: flatness computed in %f s\n", watch.clear());
}

}  // namespace koGeom::detail
