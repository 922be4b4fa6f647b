#include "reduction.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/reduce/detail/VoxelTriangles.h"
#include "trimora/reduce/detail/spatialOrder.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <doctest/doctest.h>
#include <limits>
#include <numeric>

using namespace koGeom;

namespace {

/// Vertices, middles of edges and triangles, and points off the surface by all amounts; in order or at random.
std::vector<Point> pointsAbout(CompactMesh const& mesh, support::Random& random) {
    std::vector<Point> points;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& triangle = mesh.getTriangles()[t];
        Point const a = mesh.getVertices()[triangle[0]].asPoint();
        Point const b = mesh.getVertices()[triangle[1]].asPoint();
        Point const c = mesh.getVertices()[triangle[2]].asPoint();
        double const off = std::pow(10.0, random.real(-9.0, 1.0));
        Vector const shift(off * random.real(-1.0, 1.0), off * random.real(-1.0, 1.0),
                           off * random.real(-1.0, 1.0));
        for (Point const& p :
             {a, combine(0.5, a, 0.5, b), a + (b - a) * 0.2 + (c - a) * 0.5 + shift})
            points.push_back(PointFlt(p));
    }
    points.push_back(Point(std::numeric_limits<double>::quiet_NaN(), 0.0, 0.0));
    points.push_back(Point(0.1, 0.2, 0.3));  // no floats
    return points;
}

}  // namespace

TEST_SUITE("VoxelTriangles") {

    TEST_CASE("answersAsTheFullSearchToTheLastBit") {
        support::Random random(23);
        std::vector<support::NamedMesh> meshes = support::zoo();
        for (auto& larger : reduction::largerMeshes())
            meshes.push_back(larger);
        meshes.push_back({"lattice", support::grid(40, 40)});
        CompactMesh broken = support::sphere(3);
        broken.getVertices()[5].x = std::numeric_limits<float>::quiet_NaN();
        broken.getVertices()[9].y = std::numeric_limits<float>::infinity();
        meshes.push_back({"not finite", broken});
        CompactMesh huge = support::sphere(2);
        for (int i = 0; i < 3 * huge.getNumVertices(); ++i)
            huge.getVerticesRaw()[i] *= 1e30f;
        meshes.push_back({"huge", huge});
        int numPoints = 0;
        int numAnswered = 0;
        for (auto const& named : meshes) {
            CompactMesh const& mesh = named.mesh;
            std::vector<Point> const points = pointsAbout(mesh, random);
            for (int const leafSize : {4, 64}) {
                CAPTURE(named.name);
                CAPTURE(leafSize);
                SimpleMeshCache cache;
                ko::Reference<Octree> const octree = cache.getOctree(mesh, leafSize);
                ko::Reference<OctreeTris> const octreeTris = cache.getOctreeTris(mesh);
                detail::VoxelTriangles voxel(mesh, *octree, *octreeTris);
                MeshClosestPoint closest(mesh, *octree, *octreeTris);
                for (Point const& p : points) {
                    ++numPoints;
                    MeshCoord coord;
                    double distance = -1.0;
                    if (!voxel.compute(p, coord, distance)) {
                        CHECK(coord.triangle == -1);
                        CHECK(distance == -1.0);
                        continue;
                    }
                    ++numAnswered;
                    MeshCoord expected;
                    REQUIRE(distance == closest.compute(p, &expected));
                    REQUIRE(coord.triangle == expected.triangle);
                    for (int k = 0; k < 3; ++k)
                        REQUIRE(coord.weights[k] == expected.weights[k]);
                }
            }
        }
        CHECK(numAnswered > numPoints / 3);
    }
}

TEST_SUITE("sortSpatially") {

    //   +----+----+
    //   | 2  | 3  |     Lower halves first, x within y within z.
    //   +----+----+
    //   | 0  | 1  |
    //   +----+----+
    TEST_CASE("ordersPointsAsAnOctreeOrdersItsLeaves") {
        std::vector<Point> points;
        for (int i = 0; i < 64; ++i)
            points.emplace_back(i % 4 + 0.5, i / 4 % 4 + 0.5, i / 16 + 0.5);
        BoundingBox box;
        box.extend(PointFlt(0.0f, 0.0f, 0.0f));
        box.extend(PointFlt(4.0f, 4.0f, 4.0f));
        std::vector<float> flat;
        for (Point const& p : points)
            flat.insert(flat.end(), {static_cast<float>(p.x), static_cast<float>(p.y),
                                     static_cast<float>(p.z)});
        Octree const octree(64, flat.data(), box, false, 1);
        std::vector<int> listed(64);
        std::iota(listed.rbegin(), listed.rend(), 0);
        detail::sortSpatially(points, box, listed);
        CHECK(listed == std::vector<int>(octree.pointIndices.begin(), octree.pointIndices.end()));
    }

    TEST_CASE("takesAnythingForAPoint") {
        double const inf = std::numeric_limits<double>::infinity();
        std::vector<Point> const points = {Point(inf, 0, 0), Point(0, -inf, 1e300),
                                           Point(inf - inf, 0, 0), Point(1, 1, 1)};
        for (BoundingBox const& box : {BoundingBox(), BoundingBox(&points[3].x)}) {
            std::vector<int> listed = {3, 0, 2, 1};
            detail::sortSpatially(points, box, listed);
            CHECK(std::set<int>(listed.begin(), listed.end()).size() == 4);
        }
    }
}
