// Packets are what the floor asks for: four rays of one origin, any hit will do. They are traced through a copy of the mesh that
// is moved to the origin and scaled to a fixed size, since the tracer's tolerances are lengths.

#include "toolkit/detail/groundShadow.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/spatial/QuadRayTracer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::PointFlt;
using koLinear::Vector;
using koLinear::VectorFlt;

constexpr int numCells = 256;        // a side of the map
constexpr double size = 1000.0;      // of the copy's diagonal, and of the rays' directions
constexpr double lampRadius = 0.22;  // at unit distance: the edge of the shadow is soft
constexpr int numPackets = 8;        // for each of lamp and sky
constexpr float shareOfLamp = 0.62f;
constexpr double fadeWidth = 0.15;  // of the map, at its border

/// Whole numbers that look random, as a number from 0 to below 1.
double unitFrom(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return x / 4294967296.0;
}

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// The mesh without what cannot be drawn, moved and scaled.
void placeCopy(CompactMesh const& mesh, Point const& middle, double scale, CompactMesh& copy) {
    copy = CompactMesh(mesh.getNumVertices(), nullptr, nullptr, nullptr, nullptr);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        PointFlt const p(((mesh.getVertices()[v].asPoint() - middle) * scale).asPoint());
        bool const isFinite = std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
        copy.getVertices()[v] = isFinite ? koGeom::MeshVertex{p.x, p.y, p.z} : koGeom::MeshVertex{};
    }
    std::vector<int> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        double sum = 0.0;
        for (int k = 0; k < 3; ++k) {
            Point const p = mesh.getVertices()[corners[k]].asPoint();
            sum += p.x + p.y + p.z;
        }
        if (std::isfinite(sum))
            triangles.insert(triangles.end(), {corners[0], corners[1], corners[2]});
    }
    copy.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
}

/// Where the map lies in the copy's coordinates.
struct MapPlace {
    Point corner;
    Vector across, along, up, lamp;
    double cell;
};

/// Fills the map's rows, whichever thread is free.
class MapAlg : public koUtil::ThreadedChunkAlg {
public:
    MapAlg(CompactMesh const& mesh, koGeom::Octree const& octree,
           koGeom::OctreeTris const& octreeTris, MapPlace const& place, std::vector<float>& map)
        : mesh_(mesh),
          octree_(octree),
          octreeTris_(octreeTris),
          place_(place),
          side_(place.lamp.orthogonalVector()),
          front_(cross(place.lamp, side_)),
          map_(map) {}

    void initialize(int numThreads) override { tracers_.resize(at(numThreads)); }

    void executeChunk(int chunkIndex, int threadIndex) override {
        if (!tracers_[at(threadIndex)])
            tracers_[at(threadIndex)] =
                std::make_unique<koGeom::QuadRayTracer>(octree_, octreeTris_, &mesh_);
        int const end = getBeginIndex(chunkIndex + 1, numChunks, numCells);
        for (int row = getBeginIndex(chunkIndex, numChunks, numCells); row < end; ++row) {
            if (cancelled(threadIndex))
                return;
            for (int column = 0; column < numCells; ++column)
                map_[at(row * numCells + column)] =
                    darknessAt(row, column, *tracers_[at(threadIndex)]);
        }
    }

private:
    float darknessAt(int row, int column, koGeom::QuadRayTracer& tracer) const {
        PointFlt const origin(place_.corner + place_.across * (place_.cell * (column + 0.5)) +
                              place_.along * (place_.cell * (row + 0.5)));
        auto const seed = static_cast<std::uint32_t>(row * numCells + column);
        int lamp = 0;
        int sky = 0;
        for (int i = 0; i < numPackets; ++i) {
            std::uint32_t const start = 64u * seed + 8u * static_cast<std::uint32_t>(i);
            lamp += numBlocked(tracer, origin, start, &MapAlg::towardsLamp, i);
            sky += numBlocked(tracer, origin, start + 4u, &MapAlg::towardsSky, i);
        }
        constexpr float most = 4.0f * numPackets;
        return (shareOfLamp * static_cast<float>(lamp) +
                (1.0f - shareOfLamp) * static_cast<float>(sky)) /
               most;
    }

    // Each lane has a quarter turn and each packet a ring, so that the directions are spread evenly.
    using Towards = Vector (MapAlg::*)(double turn, double ring) const;
    int numBlocked(koGeom::QuadRayTracer& tracer, PointFlt const& origin, std::uint32_t seed,
                   Towards towards, int packetIndex) const {
        VectorFlt directions[4];
        double const ring = (packetIndex + unitFrom(seed)) / numPackets;
        double const start = unitFrom(seed + 1u);
        for (int lane = 0; lane < 4; ++lane)
            directions[lane] =
                VectorFlt((this->*towards)(0.5 * std::numbers::pi * (lane + start), ring) * size);
        koGeom::QuadRay packet(origin, directions[0], directions[1], directions[2], directions[3],
                               false);
        tracer.intersect(packet);
        int blocked = 0;
        for (int lane = 0; lane < 4; ++lane)
            blocked += packet.triHit(lane) ? 1 : 0;
        return blocked;
    }

    Vector towardsLamp(double turn, double ring) const {
        return place_.lamp +
               (side_ * std::cos(turn) + front_ * std::sin(turn)) * (lampRadius * std::sqrt(ring));
    }
    Vector towardsSky(double turn, double ring) const {
        return place_.up * std::sqrt(1.0 - ring) +
               (place_.across * std::cos(turn) + place_.along * std::sin(turn)) * std::sqrt(ring);
    }

    CompactMesh const& mesh_;
    koGeom::Octree const& octree_;
    koGeom::OctreeTris const& octreeTris_;
    MapPlace const& place_;
    Vector side_, front_;
    std::vector<float>& map_;
    std::vector<std::unique_ptr<koGeom::QuadRayTracer>> tracers_;  // one a thread
};

double along(koLinear::Vector const& axis, Vector const& extent) {
    return std::abs(axis.x) * extent.x + std::abs(axis.y) * extent.y + std::abs(axis.z) * extent.z;
}

/// 1 inside, 0 at the border and beyond.
double fadeAt(double place) {
    double const inside = std::min(place, 1.0 - place) / fadeWidth;
    double const t = std::clamp(inside, 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

}  // namespace

GroundShadow::GroundShadow(CompactMesh const& mesh, koGeom::BoundingBox const& box, double floor,
                           Camera const& camera, Vector const& lamp, koUtil::Progress& progress)
    : camera_(camera), map_(at(numCells) * at(numCells), 0.0f) {
    Point const low(box.min(0), box.min(1), box.min(2));
    Point const high(box.max(0), box.max(1), box.max(2));
    Point const middle = combine(low, high);
    Vector const extent = high - low;
    double const diagonal = extent.length();
    across_ = camera.up.orthogonalVector();
    along_ = cross(camera.up, across_);
    double const half = 0.5 * std::max(along(across_, extent), along(along_, extent)) +
                        0.9 * along(camera.up, extent) + 0.1 * diagonal;
    if (!(half > 0.0) || !std::isfinite(half)) {
        cell_ = 0.0;
        return;
    }
    cell_ = 2.0 * half / numCells;
    corner_ = middle + camera.up * (floor - dot(middle.asVector(), camera.up)) -
              (across_ + along_) * half;

    double const scale = size / diagonal;
    CompactMesh copy;
    placeCopy(mesh, middle, scale, copy);
    koGeom::SimpleMeshCache cache;
    ko::Reference<koGeom::Octree> const octree = cache.getOctree(copy, -1);
    ko::Reference<koGeom::OctreeTris> const octreeTris = cache.getOctreeTris(copy);
    MapPlace const place = {
        ((corner_ - middle) * scale).asPoint(), across_, along_, camera.up, lamp, cell_ * scale};
    MapAlg alg(copy, *octree, *octreeTris, place, map_);
    alg.setProgress(&progress);
    koUtil::ThreadPool::get().run(alg);
    softenMap();
}

// Binomial weights of three cells each way take the grain of the few rays out.
void GroundShadow::softenMap() {
    std::vector<float> const rough = map_;
    auto const valueAt = [&rough](int row, int column) {
        return rough[at(std::clamp(row, 0, numCells - 1)) * at(numCells) +
                     at(std::clamp(column, 0, numCells - 1))];
    };
    for (int row = 0; row < numCells; ++row)
        for (int column = 0; column < numCells; ++column) {
            float sum = 0.0f;
            for (int i = -1; i <= 1; ++i)
                for (int j = -1; j <= 1; ++j)
                    sum += (i == 0 ? 0.5f : 0.25f) * (j == 0 ? 0.5f : 0.25f) *
                           valueAt(row + i, column + j);
            map_[at(row * numCells + column)] = sum;
        }
}

float GroundShadow::darkness(Vector const& ray) const {
    double const drop = dot(ray, camera_.up);
    double const depth = dot(corner_ - camera_.eye, camera_.up) / drop;
    if (!(drop < 0.0) || !(depth > 0.0) || !(cell_ > 0.0))
        return 0.0f;
    Vector const way = camera_.eye + ray * depth - corner_;
    double const x = dot(way, across_) / cell_;
    double const y = dot(way, along_) / cell_;
    double const fade = fadeAt(x / numCells) * fadeAt(y / numCells);
    if (!(fade > 0.0))
        return 0.0f;
    double const left = std::clamp(x - 0.5, 0.0, numCells - 1.001);
    double const top = std::clamp(y - 0.5, 0.0, numCells - 1.001);
    auto const shareX = static_cast<float>(left - std::floor(left));
    auto const shareY = static_cast<float>(top - std::floor(top));
    float const* const cell =
        map_.data() + static_cast<int>(top) * numCells + static_cast<int>(left);
    float const upper = cell[0] + shareX * (cell[1] - cell[0]);
    float const lower = cell[numCells] + shareX * (cell[numCells + 1] - cell[numCells]);
    return static_cast<float>(fade) * (upper + shareY * (lower - upper));
}

}  // namespace trimora
