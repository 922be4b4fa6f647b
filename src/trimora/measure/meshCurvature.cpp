#include "trimora/measure/meshCurvature.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/meshTransform.h"
#include "trimora/connectivity/sortAdjTris.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>

// Discrete curvature after Meyer, Desbrun, Schroeder, Barr 2003 [meyer2003]: the mean curvature
// from the cotangent Laplacian, the Gaussian one from the angle deficit, both over the mixed area
// around the vertex. The cotangents are computed once a triangle and shared by its corners; then each
// interior vertex walks its triangles as a fan; vertices on the boundary average their neighbours.

namespace koGeom {

namespace {

constexpr double twoPi = 6.283185307179586;

// Up to this many triangles a fan is ordered by searching through it; beyond, by sortAdjTris, which gives the
// same order without looking through all that is left at each step.
constexpr int maxSearchedFan = 64;

constexpr int nextCorner(int corner) {
    return corner == 2 ? 0 : corner + 1;
}
constexpr int prevCorner(int corner) {
    return corner == 0 ? 2 : corner - 1;
}

// What all passes read: the surface and its tables.
struct Surface {
    float const* vertices;
    float const* normals;  // null when the mesh has none
    MeshTriangle const* triangles;
    MeshAdjTris const& adjTris;
    MeshAdjVertices const& adjVertices;
    double const* cotangents;  // 3 a triangle, of the angle at each corner

    Point point(int vertex) const {
        float const* const xyz = vertices + 3 * static_cast<std::ptrdiff_t>(vertex);
        return {xyz[0], xyz[1], xyz[2]};
    }
    bool isInterior(int vertex) const {
        return adjVertices.numNeighbours(vertex) == adjTris.numTris(vertex);
    }
};

class ComputeCotangents : public koUtil::ThreadedAlg {
public:
    ComputeCotangents(Surface const& surface, int numTriangles, double* cotangents)
        : surface_(surface), numTriangles_(numTriangles), cotangents_(cotangents) {}

    void execute(int threadIndex, int numThreads) override {
        int const end = getBeginIndex(threadIndex + 1, numThreads, numTriangles_);
        for (int t = getBeginIndex(threadIndex, numThreads, numTriangles_); t < end; ++t)
            compute(surface_.triangles[t], cotangents_ + 3 * static_cast<std::ptrdiff_t>(t));
    }

private:
    void compute(MeshTriangle const& corners, double* cotangents) const {
        Point const p0 = surface_.point(corners[0]);
        Point const p1 = surface_.point(corners[1]);
        Point const p2 = surface_.point(corners[2]);
        Vector const e01 = p1 - p0;
        Vector const e12 = p2 - p1;
        Vector const e20 = p0 - p2;
        cotangents[0] = cotangent(e20, e01);
        cotangents[1] = cotangent(e12, e01);
        cotangents[2] = cotangent(e12, e20);
    }
    // Of the angle between one edge and the other one turned round.
    static double cotangent(Vector const& a, Vector const& b) {
        double const product = dot(a, b);
        return -product / std::sqrt(a.length2() * b.length2() - product * product);
    }

    Surface const& surface_;
    int const numTriangles_;
    double* const cotangents_;
};

// A triangle seen from the vertex in the middle of the fan.
struct FanTriangle {
    int triangle;
    int corner;  // the middle's
    int next;    // vertex at the corner after the middle's
    int prev;    // vertex at the corner before it

    // Whether the triangle has the directed edge from the middle to `vertex`; a degenerate triangle
    // can hold the middle twice.
    bool leadsTo(int vertex, int middle) const {
        return next == vertex || (next == middle && prev == vertex) ||
               (prev == middle && vertex == middle);
    }
};

// The triangles around a vertex, each followed by the one across its last edge where there is one.
class Fan {
public:
    void reserve(int maxTriangles) {
        triangles_.reserve(static_cast<std::size_t>(std::max(maxTriangles, 0)));
    }

    void collect(int middle, Surface const& surface) {
        int const count = surface.adjTris.numTris(middle);
        int const* indices = surface.adjTris.triIndices(middle);
        if (count > maxSearchedFan) {
            sortAdjTris(middle, count, indices, surface.triangles, sorted_);
            indices = sorted_.data();
        }
        triangles_.clear();
        for (int i = 0; i < count; ++i) {
            MeshTriangle const& c = surface.triangles[indices[i]];
            int const corner = c[0] == middle ? 0 : c[1] == middle ? 1 : 2;
            triangles_.push_back(
                {indices[i], corner, c[nextCorner(corner)], c[prevCorner(corner)]});
        }
        if (count <= maxSearchedFan)
            orderBySearch(middle);
    }

    std::size_t size() const { return triangles_.size(); }
    FanTriangle const& operator[](std::size_t i) const { return triangles_[i]; }

private:
    void orderBySearch(int middle) {
        std::size_t const count = triangles_.size();
        for (std::size_t i = 1; i < count; ++i) {
            int const wanted = triangles_[i - 1].prev;
            std::size_t found = i;
            while (found < count && !triangles_[found].leadsTo(wanted, middle))
                ++found;
            if (found < count)
                std::swap(triangles_[i], triangles_[found]);
        }
    }

    ko::vector<FanTriangle> triangles_;
    ko::vector<int> sorted_;  // of a long fan: scratch
};

class InteriorCurvature : public koUtil::ThreadedAlg {
public:
    InteriorCurvature(Surface const& surface, int numVertices, MeshCurvature kind, float* result)
        : surface_(surface), numVertices_(numVertices), kind_(kind), result_(result) {}

    void execute(int threadIndex, int numThreads) override {
        Fan fan;  // the worker's own
        fan.reserve(surface_.adjVertices.maxValence);
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices_);
        for (int v = getBeginIndex(threadIndex, numThreads, numVertices_); v < end; ++v)
            result_[v] = static_cast<float>(curvature(v, fan));
    }

private:
    struct Sums {
        double angles = 0.0;
        double area = 0.0;
        Vector laplace;
    };

    double curvature(int vertex, Fan& fan) const {
        bool const known = kind_ >= MeanCurvature && kind_ <= MaxCurvature;
        if (!known || surface_.adjVertices.numNeighbours(vertex) < 2 ||
            !surface_.isInterior(vertex))
            return 0.0;

        fan.collect(vertex, surface_);
        Sums const sums = walk(vertex, fan);
        double const mean = kind_ != GaussianCurvature ? meanOf(vertex, sums) : 0.0;
        if (kind_ == MeanCurvature)
            return mean;
        double const gaussian = (twoPi - sums.angles) / sums.area;
        return kind_ == GaussianCurvature ? gaussian : principal(mean, gaussian);
    }

    Sums walk(int vertex, Fan const& fan) const {
        Sums sums;
        Point const p = surface_.point(vertex);
        for (std::size_t i = 0; i < fan.size(); ++i) {
            FanTriangle const& t = fan[i];
            FanTriangle const& across = fan[i + 1 < fan.size() ? i + 1 : 0];
            double const* const cot = cotangentsOf(t);
            Vector const a = p - surface_.point(t.prev);
            Vector const b = p - surface_.point(t.next);
            if (kind_ != MeanCurvature)
                sums.angles += std::acos(dot(a, b) / std::sqrt(a.length2() * b.length2()));
            if (kind_ != GaussianCurvature) {
                double const facing =
                    cot[nextCorner(t.corner)] + cotangentsOf(across)[prevCorner(across.corner)];
                sums.laplace += facing * a;
            }
            sums.area += mixedArea(b, a, cot[t.corner], cot[nextCorner(t.corner)],
                                   cot[prevCorner(t.corner)]);
        }
        return sums;
    }

    double const* cotangentsOf(FanTriangle const& t) const {
        return surface_.cotangents + 3 * static_cast<std::ptrdiff_t>(t.triangle);
    }

    // The triangle's share for the corner p: its part of the Voronoi cell, or of the area where the
    // triangle is obtuse and the cell's center falls outside. q and r are p less the other corners.
    static double mixedArea(Vector const& q, Vector const& r, double cotP, double cotQ,
                            double cotR) {
        if (cotP < 0.0)
            return cross(q, r).length() * 0.25;
        if (cotQ < 0.0 || cotR < 0.0)
            return cross(q, r).length() * 0.125;
        return (q.length2() * cotR + r.length2() * cotQ) * 0.125;
    }

    double meanOf(int vertex, Sums const& sums) const {
        double length = sums.laplace.length();
        if (std::abs(length) > epsilonTol && surface_.normals != nullptr) {
            float const* const n = surface_.normals + 3 * static_cast<std::ptrdiff_t>(vertex);
            if (dot(sums.laplace / length, Vector(n[0], n[1], n[2])) < 0.0)
                length = -length;
        }
        return length / (sums.area * 4.0);
    }

    double principal(double mean, double gaussian) const {
        // Rounding can make the square of H fall below K on a surface that curves alike all round.
        double const root = std::sqrt(std::abs(mean * mean - gaussian));
        double larger = mean + root;
        double smaller = 2.0 * mean - larger;
        if (std::abs(smaller) > std::abs(larger))
            std::swap(smaller, larger);
        return kind_ == MaxCurvature ? larger : smaller;
    }

    Surface const& surface_;
    int const numVertices_;
    MeshCurvature const kind_;
    float* const result_;
};

// Gives boundary vertices the mean of neighbours that have their value. Two sweeps, each a run of
// its own: what a sweep reads, no worker of that sweep writes.
class BoundaryCurvature : public koUtil::ThreadedAlg {
public:
    enum Sweep { FromInterior, IntoCorners };

    BoundaryCurvature(Surface const& surface, int numVertices, Sweep sweep, float* result)
        : surface_(surface), numVertices_(numVertices), sweep_(sweep), result_(result) {}

    void execute(int threadIndex, int numThreads) override {
        int const end = getBeginIndex(threadIndex + 1, numThreads, numVertices_);
        for (int v = getBeginIndex(threadIndex, numThreads, numVertices_); v < end; ++v)
            if (!surface_.isInterior(v) && takesPart(v))
                result_[v] = meanOfNeighbours(v);
    }

private:
    bool takesPart(int vertex) const {
        int const numNeighbours = surface_.adjVertices.numNeighbours(vertex);
        return sweep_ == FromInterior ? numNeighbours != 2 : numNeighbours <= 2;
    }
    bool gives(int vertex) const {
        return sweep_ == FromInterior ? surface_.isInterior(vertex)
                                      : surface_.adjVertices.numNeighbours(vertex) > 2;
    }
    float meanOfNeighbours(int vertex) const {
        int const numNeighbours = surface_.adjVertices.numNeighbours(vertex);
        int const* const neighbours = surface_.adjVertices.neighbours(vertex);
        double sum = 0.0;
        int count = 0;
        for (int i = 0; i < numNeighbours; ++i) {
            if (!gives(neighbours[i]))
                continue;
            sum += static_cast<double>(result_[neighbours[i]]);
            ++count;
        }
        return count > 0 ? static_cast<float>(sum / count) : 0.0f;
    }

    Surface const& surface_;
    int const numVertices_;
    Sweep const sweep_;
    float* const result_;
};

ko::vector<float> copyOf(float const* values, int numVertices) {
    return {values, values + 3 * static_cast<std::ptrdiff_t>(numVertices)};
}

}  // namespace

void meshCurvature(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                   MeshAdjVertices const& adjVertices, AffineMatrixFlt const& matrix,
                   MeshCurvature kind, float* result) {
    assert(detail::isTableOf(adjTris, mesh) && detail::isTableOf(adjVertices, mesh));
    int const numVertices = mesh.getNumVertices();
    int const numTriangles = mesh.getNumTriangles();
    debugChannel().print("meshCurvature:  vertices %d  triangles %d\n", numVertices, numTriangles);
    koOS::StopWatch watch;
    watch.start();

    auto const cotangents =
        std::make_unique_for_overwrite<double[]>(3 * static_cast<std::size_t>(numTriangles));
    Surface surface{mesh.getVerticesRaw(), mesh.getNormalsRaw(), mesh.getTriangles(), adjTris,
                    adjVertices,           cotangents.get()};
    ko::vector<float> movedVertices;
    ko::vector<float> movedNormals;
    if (!equivalent(matrix, AffineMatrixFlt::Identity, epsilonTolFlt)) {
        movedVertices = copyOf(surface.vertices, numVertices);
        meshTransform(movedVertices.data(), numVertices, matrix);
        surface.vertices = movedVertices.data();
        if (surface.normals != nullptr) {
            movedNormals = copyOf(surface.normals, numVertices);
            meshTransformNormals(movedNormals.data(), numVertices, matrix);
            surface.normals = movedNormals.data();
        }
    }

    ComputeCotangents cotangentsAlg(surface, numTriangles, cotangents.get());
    koUtil::ThreadPool::get().run(cotangentsAlg);
    debugChannel().print(" cotangents computed in: %f s\n", watch.clear());

    watch.start();
    InteriorCurvature interiorAlg(surface, numVertices, kind, result);
    koUtil::ThreadPool::get().run(interiorAlg);
    debugChannel().print("  interior curvature computed: %f s\n", watch.clear());

    watch.start();
    for (auto const sweep : {BoundaryCurvature::FromInterior, BoundaryCurvature::IntoCorners}) {
        BoundaryCurvature boundaryAlg(surface, numVertices, sweep, result);
        koUtil::ThreadPool::get().run(boundaryAlg);
    }
    debugChannel().print("  boundary curvature computed: %f s\n", watch.clear());
}

}  // namespace koGeom
