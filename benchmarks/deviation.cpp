#include "deviation.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/computeOctreeTris.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

/// Samples lie one in each of equal parts of the area (stratified), at a place that a hash of the sample's number draws:
/// the error of the root mean square falls well below what the digits of a table show.
namespace bench {

namespace {

using namespace koGeom;

constexpr int numSamples = 200000;

double uniform(std::uint64_t number) {
    std::uint64_t z = number * 0x9E3779B97F4A7C15ull;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1.0p-53;
}

Point corner(CompactMesh const& mesh, int triangle, int number) {
    int const vertex = mesh.getTrianglesRaw()[3 * triangle + number];
    float const* const p = mesh.getVerticesRaw() + 3 * static_cast<std::ptrdiff_t>(vertex);
    return PointFlt(p[0], p[1], p[2]);
}

std::vector<Point> samplesOf(CompactMesh const& mesh) {
    int const numTriangles = mesh.getNumTriangles();
    std::vector<double> areas;
    double total = 0.0;
    for (int t = 0; t < numTriangles; ++t) {
        Point const origin = corner(mesh, t, 0);
        total += cross(corner(mesh, t, 1) - origin, corner(mesh, t, 2) - origin).length();
        areas.push_back(total);
    }
    std::vector<Point> samples;
    for (int i = 0; i < numSamples; ++i) {
        auto const number = 3 * static_cast<std::uint64_t>(i) + 1;
        double const area = (i + uniform(number)) / numSamples * total;
        auto const place = std::lower_bound(areas.begin(), areas.end(), area) - areas.begin();
        int const t = std::min(static_cast<int>(place), numTriangles - 1);
        double u = uniform(number + 1);
        double v = uniform(number + 2);
        if (u + v > 1.0)
            u = 1.0 - u, v = 1.0 - v;
        Point const origin = corner(mesh, t, 0);
        samples.push_back(origin + u * (corner(mesh, t, 1) - origin) +
                          v * (corner(mesh, t, 2) - origin));
    }
    return samples;
}

std::vector<Point> verticesInUse(CompactMesh const& mesh) {
    std::vector<bool> inUse(static_cast<std::size_t>(mesh.getNumVertices()), false);
    std::vector<Point> points;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        auto const vertex = static_cast<std::size_t>(mesh.getTrianglesRaw()[i]);
        if (!inUse[vertex])
            points.push_back(corner(mesh, i / 3, i % 3));
        inUse[vertex] = true;
    }
    return points;
}

/// One a thread.
using Queries = std::vector<std::unique_ptr<MeshClosestPoint>>;

class DistanceAlg : public koUtil::ThreadedAlg {
public:
    DistanceAlg(Queries const& queries, std::vector<Point> const& points)
        : distances(points.size()), queries_(queries), points_(points) {}

    void execute(int thread, int numThreads) override {
        int const total = static_cast<int>(points_.size());
        for (int i = getBeginIndex(thread, numThreads, total);
             i < getBeginIndex(thread + 1, numThreads, total); ++i) {
            auto const at = static_cast<std::size_t>(i);
            distances[at] =
                queries_[static_cast<std::size_t>(thread)]->compute(points_[at], nullptr);
        }
    }

    std::vector<double> distances;

private:
    Queries const& queries_;
    std::vector<Point> const& points_;
};

/// Answers how far points are from one mesh.
class Target {
public:
    explicit Target(CompactMesh const& mesh) {
        BoundingBox box;
        meshBoundingBox(mesh, box);
        octree_ = ko::Reference<Octree>(
            new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16));
        computeOctreeTris(mesh, *octree_, octreeTris_);
        for (int i = 0; i < koUtil::ThreadPool::get().numThreads; ++i)
            queries_.emplace_back(new MeshClosestPoint(mesh, *octree_, octreeTris_));
    }

    std::vector<double> distances(std::vector<Point> const& points) const {
        DistanceAlg alg(queries_, points);
        koUtil::ThreadPool::get().run(alg);
        return alg.distances;
    }

private:
    ko::Reference<Octree> octree_;
    OctreeTris octreeTris_;
    Queries queries_;
};

}  // namespace

Deviation twoSidedDeviation(CompactMesh const& a, CompactMesh const& b) {
    if (a.getNumTriangles() == 0 || b.getNumTriangles() == 0)
        return {};
    double sum = 0.0;
    double largest = 0.0;
    for (auto const& [from, to] : {std::pair(&a, &b), std::pair(&b, &a)}) {
        Target const target(*to);
        for (double const distance : target.distances(samplesOf(*from))) {
            sum += distance * distance;
            largest = std::max(largest, distance);
        }
        for (double const distance : target.distances(verticesInUse(*from)))
            largest = std::max(largest, distance);
    }
    BoundingBox box;
    meshBoundingBox(a, box);
    double const diagonal = static_cast<double>(box.diagonalLength());
    return {std::sqrt(sum / (2.0 * numSamples)) / diagonal, largest / diagonal};
}

}  // namespace bench
