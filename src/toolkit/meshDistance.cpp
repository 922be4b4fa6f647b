// Distances between two meshes by exact closest points. Each distance goes to a place of its own; the sums are taken
// afterwards in the order of the vertices, so that they come out alike for any number of threads.

#include "toolkit/meshDistance.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/octreeIterators.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace trimora {

namespace {

using koGeom::BoundingBox;
using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::PointFlt;
using koLinear::Vector;

constexpr int pollInterval = 1000;    // closest points between two looks at the progress
constexpr double equallyNear = 1e-6;  // of the diagonal, within which distances count as equal

bool isFinite(PointFlt const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

std::vector<PointFlt> usedVertices(CompactMesh const& mesh) {
    std::vector<char> isUsed(static_cast<std::size_t>(mesh.getNumVertices()), 0);
    int const* const corners = mesh.getTrianglesRaw();
    for (std::ptrdiff_t i = 0; i < 3 * std::ptrdiff_t(mesh.getNumTriangles()); ++i)
        isUsed[static_cast<std::size_t>(corners[i])] = 1;
    std::vector<PointFlt> points;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        PointFlt const point = mesh.getVertices()[v].asPointFlt();
        if (isUsed[static_cast<std::size_t>(v)] != 0 && isFinite(point))
            points.push_back(point);
    }
    return points;
}

/// Twice the area along the triangle's normal.
Vector areaVector(CompactMesh const& mesh, int triangle) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
    Point const a = mesh.getVertices()[corners[0]].asPoint();
    Point const b = mesh.getVertices()[corners[1]].asPoint();
    Point const c = mesh.getVertices()[corners[2]].asPoint();
    return cross(b - a, c - a);
}

std::vector<PointFlt> centres(CompactMesh const& mesh) {
    std::vector<PointFlt> points(static_cast<std::size_t>(mesh.getNumTriangles()));
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        Vector sum;
        for (int const v : mesh.getTriangles()[t].vertices)
            sum += mesh.getVertices()[v].asPoint().asVector();
        points[static_cast<std::size_t>(t)] = PointFlt((sum / 3.0).asPoint());
    }
    return points;
}

/// A mesh with what closest points are found by.
struct Surface {
    explicit Surface(CompactMesh const& ofMesh)
        : mesh(ofMesh), octree(cache.getOctree(mesh, 64)), octreeTris(cache.getOctreeTris(mesh)) {}

    CompactMesh const& mesh;
    koGeom::SimpleMeshCache cache;
    ko::Reference<koGeom::Octree> octree;
    ko::Reference<koGeom::OctreeTris> octreeTris;
};

/// The place of a surface nearest to each point of a list: its distance and its triangle, -1 where there is none.
class ClosestAlg : public koUtil::ThreadedChunkAlg {
public:
    ClosestAlg(Surface const& surface, std::vector<PointFlt> const& points)
        : surface_(surface), points_(points), distances(points.size()), triangles(points.size()) {}

    void initialize(int numThreads) override;
    void executeChunk(int chunkIndex, int threadIndex) override;

private:
    Surface const& surface_;
    std::vector<PointFlt> const& points_;
    std::vector<std::unique_ptr<koGeom::MeshClosestPoint>> searches_;  // one a thread

public:
    std::vector<double> distances;
    std::vector<int> triangles;
};

void ClosestAlg::initialize(int numThreads) {
    searches_.clear();
    for (int i = 0; i < numThreads; ++i)
        searches_.push_back(std::make_unique<koGeom::MeshClosestPoint>(
            surface_.mesh, *surface_.octree, *surface_.octreeTris));
}

void ClosestAlg::executeChunk(int chunkIndex, int threadIndex) {
    int const total = static_cast<int>(points_.size());
    int const begin = getBeginIndex(chunkIndex, numChunks, total);
    int const end = getBeginIndex(chunkIndex + 1, numChunks, total);
    koGeom::MeshClosestPoint& search = *searches_[static_cast<std::size_t>(threadIndex)];
    for (int i = begin; i < end; ++i) {
        if (i % pollInterval == 0 && cancelled(threadIndex))
            return;
        std::size_t const place = static_cast<std::size_t>(i);
        koGeom::MeshCoord nearest;
        distances[place] = search.compute(Point(points_[place]), &nearest);
        triangles[place] = nearest.triangle;
    }
    updateProgress(threadIndex, double(chunkIndex) / numChunks);
}

/// Which triangles of a mesh are turned against the surface nearest to their centres.
class TurnedAlg : public koUtil::ThreadedChunkAlg {
public:
    /// `nearest` tells of each triangle's centre the surface's nearest triangle and its distance.
    TurnedAlg(Surface const& surface, CompactMesh const& mesh, std::vector<PointFlt> const& centres,
              ClosestAlg const& nearest, double tolerance)
        : surface_(surface),
          mesh_(mesh),
          centres_(centres),
          nearest_(nearest),
          tolerance_(tolerance),
          isTurned(centres.size(), 0) {}

    void executeChunk(int chunkIndex, int threadIndex) override;

private:
    bool turns(std::size_t triangle) const;
    bool hasNearAlly(Point const& centre, double distance, Vector const& normal) const;

    Surface const& surface_;
    CompactMesh const& mesh_;
    std::vector<PointFlt> const& centres_;
    ClosestAlg const& nearest_;
    double const tolerance_;

public:
    std::vector<char> isTurned;
};

void TurnedAlg::executeChunk(int chunkIndex, int threadIndex) {
    int const total = static_cast<int>(centres_.size());
    int const begin = getBeginIndex(chunkIndex, numChunks, total);
    int const end = getBeginIndex(chunkIndex + 1, numChunks, total);
    for (int i = begin; i < end; ++i) {
        if (i % pollInterval == 0 && cancelled(threadIndex))
            return;
        isTurned[static_cast<std::size_t>(i)] = turns(static_cast<std::size_t>(i)) ? 1 : 0;
    }
    updateProgress(threadIndex, double(chunkIndex) / numChunks);
}

bool TurnedAlg::turns(std::size_t triangle) const {
    int const nearest = nearest_.triangles[triangle];
    if (nearest < 0)
        return false;
    Vector const normal = areaVector(mesh_, static_cast<int>(triangle));
    return dot(normal, areaVector(surface_.mesh, nearest)) < 0.0 &&
           !hasNearAlly(Point(centres_[triangle]), nearest_.distances[triangle] + tolerance_,
                        normal);
}

/// Whether the surface has a triangle within the distance that faces the same way.
bool TurnedAlg::hasNearAlly(Point const& centre, double distance, Vector const& normal) const {
    float const* const vertices = surface_.mesh.getVerticesRaw();
    int const* const triangles = surface_.mesh.getTrianglesRaw();
    koGeom::Sphere const ball = {centre, distance};
    koGeom::OctreeSphereIntersectIt voxels(*surface_.octree, ball);
    for (; voxels.valid(); voxels.next()) {
        int const voxel = voxels.get().node->voxelIndex;
        int const* const there = surface_.octreeTris->firstTri(voxel);
        for (int i = 0; i < surface_.octreeTris->numTris(voxel); ++i) {
            if (dot(normal, areaVector(surface_.mesh, there[i])) <= 0.0)
                continue;
            koGeom::MeshCoord const place =
                koGeom::meshTriClosestPt(vertices, triangles, there[i], centre);
            Point const at =
                place.evaluate(surface_.mesh.getVertices(), surface_.mesh.getTriangles());
            if (koLinear::distance(centre, at) <= distance)
                return true;
        }
    }
    return false;
}

class DistanceMeasurement {
public:
    DistanceMeasurement(CompactMesh const& first, CompactMesh const& second,
                        koUtil::Progress& progress)
        : first_(first), second_(second), progress_(progress) {}

    MeshDistance run();

private:
    void run(koUtil::ThreadedChunkAlg& alg, double share);
    VertexDistances distances(Surface const& to, std::vector<PointFlt> const& points, double share);
    void countTurned(Surface const& first);

    CompactMesh const& first_;
    CompactMesh const& second_;
    koUtil::Progress& progress_;
    MeshDistance result_;
};

MeshDistance DistanceMeasurement::run() {
    progress_.setCaption("measuring the deviation");
    std::vector<PointFlt> const firstPoints = usedVertices(first_);
    BoundingBox box;
    for (PointFlt const& point : firstPoints)
        box.extend(point);
    result_.diagonal = box.isValid() ? distance(box.minPt(), box.maxPt()) : 0.0;
    {
        Surface const second(second_);
        result_.fromFirst = distances(second, firstPoints, 0.4);
    }
    if (!progress_.cancelled()) {
        Surface const first(first_);
        result_.fromSecond = distances(first, usedVertices(second_), 0.3);
        countTurned(first);
    }
    result_.cancelled = progress_.cancelled();
    progress_.set(1.0);
    return result_;
}

void DistanceMeasurement::run(koUtil::ThreadedChunkAlg& alg, double share) {
    koUtil::Progress child;
    progress_.subPhase(share, child);
    alg.setProgress(&child);
    koUtil::ThreadPool::get().run(alg);
    child.set(1.0);
}

VertexDistances DistanceMeasurement::distances(Surface const& to,
                                               std::vector<PointFlt> const& points, double share) {
    ClosestAlg alg(to, points);
    run(alg, share);
    VertexDistances result;
    double sum = 0.0;
    double sumOfSquares = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (alg.triangles[i] < 0)
            continue;  // nothing there to be near to
        double const distance = alg.distances[i];
        ++result.vertices;
        sum += distance;
        sumOfSquares += distance * distance;
        if (distance > result.largest || result.vertices == 1) {
            result.largest = distance;
            result.where = {points[i].x, points[i].y, points[i].z};
        }
    }
    if (result.vertices > 0) {
        result.mean = sum / result.vertices;
        result.rms = std::sqrt(sumOfSquares / result.vertices);
    }
    return result;
}

void DistanceMeasurement::countTurned(Surface const& first) {
    std::vector<PointFlt> const points = centres(second_);
    ClosestAlg nearest(first, points);
    run(nearest, 0.2);
    if (progress_.cancelled())
        return;
    TurnedAlg turned(first, second_, points, nearest, equallyNear * result_.diagonal);
    run(turned, 0.1);
    result_.turnedTriangles =
        static_cast<int>(std::count(turned.isTurned.begin(), turned.isTurned.end(), 1));
}

void scaleDistances(VertexDistances& distances, double scale) {
    for (double* const length : {&distances.largest, &distances.mean, &distances.rms})
        *length *= scale;
    for (float& coordinate : distances.where)
        coordinate = static_cast<float>(coordinate * scale);
}

}  // namespace

MeshDistance measureDistance(CompactMesh const& first, CompactMesh const& second,
                             koUtil::Progress& progress) {
    MeshDistance refused;
    for (CompactMesh const* const mesh : {&first, &second}) {
        refused.mesh = mesh == &first ? 0 : 1;
        if (isRefused(refused, *mesh))
            return refused;
    }
    double const scale = unitScale(std::max(diagonalOf(first), diagonalOf(second)));
    if (scale == 1.0)
        return DistanceMeasurement(first, second, progress).run();
    CompactMesh scaledFirst = bareCopy(first);
    CompactMesh scaledSecond = bareCopy(second);
    scaleVertices(scaledFirst, scale);
    scaleVertices(scaledSecond, scale);
    MeshDistance deviation = DistanceMeasurement(scaledFirst, scaledSecond, progress).run();
    scaleDistances(deviation.fromFirst, 1.0 / scale);
    scaleDistances(deviation.fromSecond, 1.0 / scale);
    deviation.diagonal /= scale;
    return deviation;
}

}  // namespace trimora
