#include "support/builders.h"

#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/spatial/detail/PackedVoxels.h"
#include "trimora/spatial/detail/TriangleRayFilter.h"
#include "trimora/spatial/detail/VoxelDisc.h"

#include <cmath>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <numeric>
#include <vector>

using namespace koGeom;

namespace {

Vector drawVector(support::Random& random, double size) {
    return {random.real(-size, size), random.real(-size, size), random.real(-size, size)};
}

double leastDistance2(CompactMesh const& mesh, std::vector<int> const& tris, Point const& p) {
    double least = INFINITY;
    for (int const t : tris) {
        MeshCoord coord;
        coord.project(t, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p);
        least =
            std::min(least, distance2(coord.evaluate(mesh.getVertices(), mesh.getTriangles()), p));
    }
    return least;
}

/// A patch of neighbours on a curved surface, or any triangles at all.
std::vector<int> drawPatch(support::Random& random, int numTriangles) {
    std::vector<int> tris(static_cast<std::size_t>(1 + random.index(20)));
    std::iota(tris.begin(), tris.end(), random.index(numTriangles - 20));
    if (random.index(3) == 0)
        for (int& t : tris)
            t = random.index(numTriangles);
    return tris;
}

}  // namespace

TEST_CASE("discOfAVoxelIsNeverFartherThanItsTriangles") {
    support::Random random(1);
    int numBeyond = 0;
    for (CompactMesh const& mesh :
         {support::terrain(20, 20, 1), support::sphere(3), support::latticeSoup(99, 99, 2)}) {
        for (int run = 0; run < 1000; ++run) {
            std::vector<int> const tris = drawPatch(random, mesh.getNumTriangles());
            detail::VoxelDisc const disc(mesh, tris.data(), static_cast<int>(tris.size()));
            // the corner farthest from the middle of all: it is on the rim, or near it
            Vector middle;
            for (int const t : tris)
                for (int const v : mesh.getTriangles()[t].vertices)
                    middle += mesh.getVertices()[v].asPoint().asVector() /
                              (3.0 * static_cast<double>(tris.size()));
            Point corner = middle.asPoint();
            for (int const t : tris)
                for (int const v : mesh.getTriangles()[t].vertices)
                    if (Point const p = mesh.getVertices()[v].asPoint();
                        distance(p, middle.asPoint()) >= distance(corner, middle.asPoint()))
                        corner = p;
            for (double const reach : {0.001, 0.1, 1.0, 30.0}) {
                Point const p = corner + drawVector(random, reach);
                double const least2 = leastDistance2(mesh, tris, p);
                REQUIRE_FALSE(disc.isBeyond(p, std::sqrt(least2 * (1.0 + 1e-9) + 1e-12)));
                numBeyond += disc.isBeyond(p, std::sqrt(0.9 * least2));
            }
        }
    }
    CHECK(numBeyond > 1500);
}

//    p            above a flat patch the disc knows the distance, beside it the radius
//
//   =====
TEST_CASE("discOfAFlatPatchIsFlat") {
    CompactMesh const mesh = support::grid(2, 2);
    std::vector<int> const all = {0, 1, 2, 3, 4, 5, 6, 7};
    detail::VoxelDisc const disc(mesh, all.data(), 8);
    CHECK(disc.isBeyond({1, 1, 2}, 1.99));
    CHECK_FALSE(disc.isBeyond({1, 1, 2}, 2.01));
    double const radius = std::sqrt(2.0);
    CHECK(disc.isBeyond({1 + radius + 3, 1, 0}, 2.98));
    CHECK_FALSE(disc.isBeyond({1 + radius + 3, 1, 0}, 3.02));
}

namespace {

/// Bit i for the triangle with the number tris[i] that the packets of voxel 0 leave out.
unsigned leftOut(detail::PackedVoxels const& voxels, int numTris, Point const& p, double reach) {
    detail::PackedDistances const distances(voxels[0], p);
    __m128 const limit = _mm_set1_ps(distances.limit(reach));
    unsigned out = 0;
    for (int first = 0; first < numTris; first += 4) {
        std::uint8_t const* const packet =
            voxels[0].packets + first / 4 * detail::PackedVoxels::packetBytes;
        int const byBox = _mm_movemask_ps(_mm_cmpgt_ps(distances.boxSquares(packet), limit));
        out |= static_cast<unsigned>(byBox | distances.beyondAlongMiddle(packet, limit)) << first;
    }
    return out;
}

}  // namespace

TEST_CASE("packetsLeaveOutNothingWithinReach") {
    support::Random random(2);
    int numOut = 0;
    int numFar = 0;
    for (CompactMesh const& mesh :
         {support::terrain(20, 20, 1), support::sphere(3), support::latticeSoup(99, 99, 2)}) {
        for (int run = 0; run < 500; ++run) {
            std::vector<int> const tris = drawPatch(random, mesh.getNumTriangles());
            int const numTris = static_cast<int>(tris.size());
            detail::PackedVoxels voxels(1);
            voxels.read(0, mesh, tris.data(), numTris);
            if (voxels[0].unit == 0.0f)
                continue;  // a single triangle without extent
            Point const corner =
                mesh.getVertices()[mesh.getTriangles()[tris[0]][random.index(3)]].asPoint();
            for (double const size : {0.0, 0.001, 0.1, 1.0, 30.0, 1e6}) {
                Point const p = corner + drawVector(random, size);
                int const one = random.index(numTris);
                double const reach = std::sqrt(leastDistance2(mesh, {tris[one]}, p));
                unsigned const out = leftOut(voxels, numTris, p, reach * (1.0 + 1e-9) + 1e-12);
                for (int i = 0; i < numTris; ++i) {
                    double const distance = std::sqrt(leastDistance2(mesh, {tris[i]}, p));
                    bool const isOut = (out >> i & 1) != 0;
                    REQUIRE_FALSE((isOut && distance <= reach));
                    numFar += distance > 1.5 * reach;
                    numOut += isOut && distance > 1.5 * reach;
                }
            }
        }
    }
    CHECK(numOut > 0.6 * numFar);
}

TEST_CASE("voxelsWithBrokenCornersOrWithoutExtentAreNotPacked") {
    float const infinity = std::numeric_limits<float>::infinity();
    int const tris[] = {0, 1};
    for (float const broken : {infinity, -infinity, std::nanf(""), 3e38f}) {
        CompactMesh const mesh = support::meshOf(
            {0, 0, 0, 3e38f, 0, 0, 0, 1, 0, -3e38f, broken, broken}, {0, 1, 2, 0, 2, 3});
        detail::PackedVoxels voxels(1);
        voxels.read(0, mesh, tris, 2);
        CHECK(voxels[0].unit == 0.0f);
    }
    CompactMesh const point = support::meshOf({5, 5, 5}, {0, 0, 0, 0, 0, 0});
    detail::PackedVoxels voxels(1);
    voxels.read(0, point, tris, 2);
    CHECK(voxels[0].unit == 0.0f);
    CHECK_FALSE(voxels[0].isBeyond({9, 9, 9}, 1.0));
}

// Rays that graze triangles of all sizes at all angles.
TEST_CASE("rayFilterLetsEveryHitOfTheExactTestPass") {
    support::Random random(3);
    int numHits = 0, numDropped = 0;
    for (int run = 0; run < 200000; ++run) {
        double const size = std::exp2(random.index(20) - 5);
        std::vector<float> coordinates;
        for (int i = 0; i < 9; ++i)
            coordinates.push_back(static_cast<float>(random.real(-size, size)));
        CompactMesh const mesh = support::meshOf(coordinates, {0, 1, 2});
        Point const a = mesh.getVertices()[0].asPoint();
        Vector const ab = mesh.getVertices()[1].asPoint() - a,
                     ac = mesh.getVertices()[2].asPoint() - a;
        Vector const normal = cross(ab, ac).normalized();
        double const tilt = std::exp2(-random.index(60));
        Vector dir = random.real(-1, 1) * ab + random.real(-1, 1) * ac + tilt * size * normal;
        if (random.index(2) == 0)
            dir.normalize();
        double const u = random.real(-0.2, 1.2), v = random.real(-0.2, 1.2);
        Ray const ray(
            PointFlt(a + u * ab + v * ac - random.real(-1, 3) * size / dir.length() * dir), dir);
        double largest = 0.0;
        for (float const value : {ray.origin.x, ray.origin.y, ray.origin.z})
            largest = std::max(largest, std::abs(static_cast<double>(value)));
        for (float const value : coordinates)
            largest = std::max(largest, std::abs(static_cast<double>(value)));
        detail::TriangleRayFilter const filter(mesh.getVerticesRaw(), mesh.getTrianglesRaw(), ray,
                                               largest);
        double t, weightU, weightV;
        float const* const corners = mesh.getVerticesRaw();
        bool const hit = intersectRayTriangle(&dir.x, &ray.origin.x, corners, corners + 3,
                                              corners + 6, t, weightU, weightV);
        REQUIRE((!hit || filter.mayHit(0)));
        numHits += hit;
        numDropped += !filter.mayHit(0);
    }
    CHECK(numHits > 10000);
    CHECK(numDropped > 10000);
}

// A triangle of a thousand units; the origin lies exactly in its plane and beyond its second corner
// by a few 65536ths of the edges; the determinant is close to the tolerance. The weights are then
// off by more than that, and the exact test counts hits that the filter has to let pass.
TEST_CASE("rayFilterLetsHitsPassThatRoundingMakes") {
    support::Random random(4);
    auto const draw = [&random] { return 64.0f * static_cast<float>(random.index(33) - 16); };
    int numBeyond = 0;
    for (int run = 0; run < 100000; ++run) {
        std::vector<float> coordinates;
        for (int i = 0; i < 9; ++i)
            coordinates.push_back(draw());
        CompactMesh const mesh = support::meshOf(coordinates, {0, 1, 2});
        Point const a = mesh.getVertices()[0].asPoint();
        Vector const ab = mesh.getVertices()[1].asPoint() - a;
        Vector const ac = mesh.getVertices()[2].asPoint() - a;
        Vector const normal = cross(ab, ac);
        double const alongAB = random.index(4) / 65536.0;
        double const alongCB = random.index(4) / 65536.0;
        PointFlt const origin(a + (1.0 + alongAB + alongCB) * ab - alongCB * ac);
        Vector dir = random.real(-1, 1) * ab + random.real(-1, 1) * ac;
        if (!dir.normalize() || normal.length() == 0.0)
            continue;
        dir -= random.real(1e-6, 3e-6) / normal.length2() * normal;
        Ray const ray(origin, dir);
        detail::TriangleRayFilter const filter(mesh.getVerticesRaw(), mesh.getTrianglesRaw(), ray,
                                               1040.0);
        double t, u, v;
        float const* const corners = mesh.getVerticesRaw();
        bool const hit =
            intersectRayTriangle(&dir.x, &ray.origin.x, corners, corners + 3, corners + 6, t, u, v);
        REQUIRE((!hit || filter.mayHit(0)));
        numBeyond += hit && alongAB + alongCB > 0.0;
    }
    CHECK(numBeyond > 100);
}
