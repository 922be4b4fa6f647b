#include "harness.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/contract/koUtil/ThreadedAlg.h"
#include "trimora/spatial/MeshClosestPoint.h"
#include "trimora/spatial/MeshPtInside.h"
#include "trimora/spatial/QuadRayTracer.h"
#include "trimora/spatial/RayTracer.h"
#include "trimora/spatial/computeOctreeTris.h"

#include <array>
#include <cmath>

namespace bench {

namespace {

using namespace koGeom;

class Random {
public:
    double uniform() {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 7;
        state_ ^= state_ << 17;
        return static_cast<double>((state_ * 0x2545F4914F6CDD1Dull) >> 11) * 0x1.0p-53;
    }
    double range(double low, double high) { return low + (high - low) * uniform(); }

private:
    std::uint64_t state_ = 0x9E3779B97F4A7C16ull;
};

struct Scene {
    NamedMesh const& named;
    CompactMesh const& mesh;
    BoundingBox box;
    ko::Reference<Octree> octree;
    OctreeTris octreeTris;

    explicit Scene(NamedMesh const& source) : named(source), mesh(source.mesh) {
        meshBoundingBox(mesh, box);
        octree = ko::Reference<Octree>(
            new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16));
        computeOctreeTris(mesh, *octree, octreeTris);
    }
    Point corner(double x, double y, double z) const {
        double const at[3] = {x, y, z};
        double place[3];
        for (int axis = 0; axis < 3; ++axis) {
            double const low = static_cast<double>(box.bounds[axis]);
            place[axis] = low + at[axis] * (static_cast<double>(box.bounds[axis + 3]) - low);
        }
        return Point(place[0], place[1], place[2]);
    }
};

// Queries split over the pool, an own query object a thread; each slice adds up its answers.
template <class Slice>
double overPool(int total, Slice const& slice) {
    struct Alg : koUtil::ThreadedAlg {
        Alg(int count, Slice const& function) : total_(count), slice_(function) {}
        void initialize(int numThreads) override {
            sums_.assign(static_cast<std::size_t>(numThreads), 0.0);
        }
        void execute(int thread, int numThreads) override {
            sums_[static_cast<std::size_t>(thread)] =
                slice_(getBeginIndex(thread, numThreads, total_),
                       getBeginIndex(thread + 1, numThreads, total_));
        }
        int total_;
        Slice const& slice_;
        std::vector<double> sums_;
    };
    Alg alg(total, slice);
    koUtil::ThreadPool::get().run(alg);
    double sum = 0.0;
    for (double const part : alg.sums_)
        sum += part;
    return sum;
}

void builds(NamedMesh const& named) {
    CompactMesh const& mesh = named.mesh;
    BoundingBox box;
    meshBoundingBox(mesh, box);
    ko::Reference<Octree> octree;
    auto const build = [&] {
        octree = ko::Reference<Octree>(
            new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, 16));
    };
    run({"octree_build", named.name, mesh.getNumTriangles(), 0.0, [&] { octree = {}; }, build,
         [&] { return figure("voxels", octree->numVoxels) + figure("depth", octree->maxDepth); }});
    build();
    OctreeTris table;
    run({"octree_tris", named.name, mesh.getNumTriangles(), 0.0, [] {},
         [&] { computeOctreeTris(mesh, *octree, table); },
         [&] { return figure("entries", table.getData().items.size()); }});
}

struct RayList {
    std::vector<PointFlt> origins;
    std::vector<Vector> directions;

    void add(Point const& from, Point const& to) {
        origins.emplace_back(from);
        directions.push_back((to - from).normalized());
    }
};

RayList randomRays(Scene const& scene, int count) {
    Random random;
    RayList rays;
    Point const middle = scene.corner(0.5, 0.5, 0.5);
    double const radius = static_cast<double>(scene.box.diagonalLength());
    for (int i = 0; i < count; ++i) {
        double const z = random.range(-1.0, 1.0);
        double const turn = random.range(0.0, 6.283185307179586);
        double const r = std::sqrt(1.0 - z * z);
        Point const from(middle.x + radius * r * std::cos(turn),
                         middle.y + radius * r * std::sin(turn), middle.z + radius * z);
        rays.add(from, scene.corner(random.uniform(), random.uniform(), random.uniform()));
    }
    return rays;
}

RayList eyeRays(Scene const& scene, int side) {
    RayList rays;
    Point const eye = scene.corner(0.5, 0.5, 3.0);
    for (int j = 0; j < side; ++j) {
        for (int i = 0; i < side; ++i)
            rays.add(eye, scene.corner((i + 0.5) / side, (j + 0.5) / side, 0.5));
    }
    return rays;
}

void rays(Scene const& scene, char const* job, RayList const& list) {
    int const count = static_cast<int>(list.origins.size());
    double sum = 0.0;
    run({job, scene.named.name, scene.mesh.getNumTriangles(), static_cast<double>(count), [] {},
         [&] {
             sum = overPool(count, [&](int begin, int end) {
                 RayTracer tracer(*scene.octree, scene.octreeTris, &scene.mesh);
                 tracer.setFindNearestHit(true);
                 double hits = 0.0;
                 for (int i = begin; i < end; ++i)
                     hits += tracer.intersect(list.origins[static_cast<std::size_t>(i)],
                                              list.directions[static_cast<std::size_t>(i)])
                                 ? 1.0
                                 : 0.0;
                 return hits;
             });
         },
         [&] { return figure("hits", sum); }});
}

// The eye's rays as packets of 2 x 2 neighbours: rays_eye is what they are to be held against.
std::vector<std::array<VectorFlt, 4>> eyePackets(RayList const& list, int side) {
    std::vector<std::array<VectorFlt, 4>> packets;
    for (int j = 0; j < side; j += 2)
        for (int i = 0; i < side; i += 2) {
            auto const at = [&](int x, int y) {
                return VectorFlt(list.directions[static_cast<std::size_t>(y * side + x)]);
            };
            packets.push_back({at(i, j), at(i + 1, j), at(i, j + 1), at(i + 1, j + 1)});
        }
    return packets;
}

void packets(Scene const& scene, char const* job, RayList const& list, int side, bool nearest) {
    auto const all = eyePackets(list, side);
    double sum = 0.0;
    run({job, scene.named.name, scene.mesh.getNumTriangles(),
         static_cast<double>(list.origins.size()), [] {},
         [&] {
             sum = overPool(static_cast<int>(all.size()), [&](int begin, int end) {
                 QuadRayTracer tracer(*scene.octree, scene.octreeTris, &scene.mesh);
                 double hits = 0.0;
                 for (int i = begin; i < end; ++i) {
                     auto const& d = all[static_cast<std::size_t>(i)];
                     QuadRay ray(list.origins.front(), d[0], d[1], d[2], d[3], nearest);
                     tracer.intersect(ray);
                     for (int lane = 0; lane < 4; ++lane)
                         hits += ray.triHit(lane) ? 1.0 : 0.0;
                 }
                 return hits;
             });
         },
         [&] { return figure("hits", sum); }});
}

std::vector<Point> nearPoints(Scene const& scene, int count) {
    Random random;
    std::vector<Point> points;
    double const offset = 0.01 * static_cast<double>(scene.box.diagonalLength());
    for (int i = 0; i < count; ++i) {
        int const v = static_cast<int>(random.uniform() * scene.mesh.getNumVertices());
        Point const p = scene.mesh.getVertices()[v].asPoint();
        points.emplace_back(p.x + random.range(-offset, offset),
                            p.y + random.range(-offset, offset),
                            p.z + random.range(-offset, offset));
    }
    return points;
}

std::vector<Point> farPoints(Scene const& scene, int count) {
    Random random;
    std::vector<Point> points;
    for (int i = 0; i < count; ++i)
        points.push_back(scene.corner(random.range(-1.0, 2.0), random.range(-1.0, 2.0),
                                      random.range(-1.0, 2.0)));
    return points;
}

void closest(Scene const& scene, char const* job, std::vector<Point> const& points) {
    int const count = static_cast<int>(points.size());
    double sum = 0.0;
    run({job, scene.named.name, scene.mesh.getNumTriangles(), static_cast<double>(count), [] {},
         [&] {
             sum = overPool(count, [&](int begin, int end) {
                 MeshClosestPoint query(scene.mesh, *scene.octree, scene.octreeTris);
                 double distances = 0.0;
                 for (int i = begin; i < end; ++i)
                     distances += query.compute(points[static_cast<std::size_t>(i)], nullptr);
                 return distances;
             });
         },
         [&] { return figure("mean", sum / count); }});
}

void inside(Scene const& scene, std::vector<Point> const& points) {
    CompactMesh mesh(scene.mesh);
    meshComputeNormals(mesh);
    int const count = static_cast<int>(points.size());
    double sum = 0.0;
    run({"inside", scene.named.name, mesh.getNumTriangles(), static_cast<double>(count), [] {},
         [&] {
             sum = overPool(count, [&](int begin, int end) {
                 MeshPtInside query(mesh, *scene.octree, scene.octreeTris, 1e-6);
                 double numInside = 0.0;
                 for (int i = begin; i < end; ++i)
                     numInside += query.evaluate(points[static_cast<std::size_t>(i)]) ==
                                          MeshPtInside::Result::Inside
                                      ? 1.0
                                      : 0.0;
                 return numInside;
             });
         },
         [&] { return figure("inside", sum); }});
}

std::vector<Point> boxPoints(Scene const& scene, int count) {
    Random random;
    std::vector<Point> points;
    for (int i = 0; i < count; ++i)
        points.push_back(scene.corner(random.uniform(), random.uniform(), random.uniform()));
    return points;
}

}  // namespace

void spatialCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        builds(*named);
        Scene const scene(*named);
        rays(scene, "rays_random", randomRays(scene, 1000000));
        RayList const eye = eyeRays(scene, 1000);
        rays(scene, "rays_eye", eye);
        packets(scene, "rays_eye_packets", eye, 1000, true);
        packets(scene, "rays_eye_packets_any", eye, 1000, false);
        closest(scene, "closest_near", nearPoints(scene, 100000));
        closest(scene, "closest_far", farPoints(scene, 100000));
        inside(scene, boxPoints(scene, 100000));
    }
}

}  // namespace bench
