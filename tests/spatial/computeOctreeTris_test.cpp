#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "voxelTables.h"

#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/spatial/computeOctreeTris.h"

#include <doctest/doctest.h>
#include <memory>

using namespace koGeom;

namespace {

BoundingBox cubeOf(float side) {
    return {PointFlt(0, 0, 0), PointFlt(side, side, side)};
}

}  // namespace

TEST_CASE("tableAgreesWithBruteForceOverTheZooAndAllThreads") {
    std::vector<support::NamedMesh> meshes = support::zoo();
    meshes.push_back({"terrain", support::terrain(20, 20, 3)});
    meshes.push_back({"lattice soup", support::latticeSoup(200, 500, 5)});
    meshes.push_back({"shuffled sphere", support::shuffled(support::sphere(3), 1)});
    meshes.push_back({"not finite", voxelTables::brokenTerrain()});

    for (auto const& [name, mesh] : meshes)
        for (int const capacity : {2, 16}) {
            CAPTURE_BINDING(name);
            CAPTURE(capacity);
            std::unique_ptr<Octree const> const octree(voxelTables::octreeOf(mesh, capacity));
            voxelTables::Sets const expected = voxelTables::expectedSets(mesh, *octree);
            support::withPools([&, &triangles = mesh](int numThreads) {
                CAPTURE(numThreads);
                OctreeTris table;
                computeOctreeTris(triangles, *octree, table);
                if (octree->numVoxels > 0)
                    CHECK(voxelTables::setsOf(table.getData()) == expected);
            });
        }
}

TEST_CASE("treeWithoutVoxelsLeavesTheResultAndSaysNothing") {
    int const pairs[] = {0, 7};
    ArrayOfSets sets;
    sets.assignFromPairs(1, 1, pairs);
    OctreeTris table(sets);
    support::DebugCapture const log;
    computeOctreeTris(support::cube(), Octree(0, nullptr, BoundingBox(), true, 16), table);
    CHECK(table.numTris(0) == 1);
    CHECK(log.text().empty());
}

TEST_CASE("meshWithoutTrianglesGivesEmptySets") {
    float const points[] = {0, 0, 0, 1, 1, 1};
    Octree const octree(2, points, cubeOf(1), true, 1);
    OctreeTris table;
    support::DebugCapture const log;
    computeOctreeTris(CompactMesh(), octree, table);
    CHECK(table.getData().getNumSets() == octree.numVoxels);
    for (int voxel = 0; voxel < octree.numVoxels; ++voxel)
        CHECK(table.numTris(voxel) == 0);
    CHECK(log.text().find("OctreeTris:  Partitioned 0 triangles into 8 voxels in ") == 0);
}

//    y                  root 0 to 8, split once at 4
//    8  +---+---+       triangle 0: in the face x = 4, in voxels 0 and 1 (and z likewise)
//       | 2 | 3 |       triangle 1: strictly inside voxel 0, as its follower 2, which has no area
//    4  +---+---+       triangle 3: beside the box
//       |0,1| 0 |
//    0  +---+---+ x
TEST_CASE("trianglesInAFaceBelongToBothVoxelsAndThoseOutsideToNone") {
    CompactMesh const mesh = support::meshOf(
        {4, 1, 1, 4, 3, 1, 4, 1, 3, 1, 1, 1, 2, 1, 1, 1, 2, 1, 9, 9, 9, 10, 9, 9, 9, 10, 9},
        {0, 1, 2, 3, 4, 5, 3, 3, 3, 6, 7, 8});
    float const points[] = {1, 1, 1, 7, 7, 7};
    Octree const octree(2, points, cubeOf(8), true, 1);
    REQUIRE(octree.numVoxels == 8);
    OctreeTris table;
    support::DebugCapture const log;
    koUtil::ThreadPool single(1);
    koUtil::ThreadPool::setShared(&single);
    computeOctreeTris(mesh, octree, table);
    koUtil::ThreadPool::setShared(nullptr);
    CHECK(voxelTables::setsOf(table.getData()) ==
          voxelTables::Sets{{0, 1, 2}, {0}, {}, {}, {}, {}, {}, {}});
    CHECK(table.firstTri(0)[0] == 0);

    // Triangle 0 leaves voxel 1 behind, so triangle 1 walks; it leaves voxel 0, which holds 2.
    std::string const& text = log.text();
    CHECK(text.find("OctreeTris:  Partitioned 4 triangles into 8 voxels in ") == 0);
    CHECK(text.find(" seconds.\n             (0.25 coherence, 1.00 voxels/tri, ") !=
          std::string::npos);
    CHECK(text.find(" tri/sec)\n") == text.size() - 10);
}

// An undivided tree: whatever lies strictly inside after the first triangle is coherent.
TEST_CASE("coherenceCountsWhatStaysInTheVoxelOfItsPredecessor") {
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int t = 0; t < 8; ++t) {
        float const x = 1.0f + 0.5f * static_cast<float>(t);
        coordinates.insert(coordinates.end(), {x, 1, 1, x, 2, 1, x, 1, 2});
        triangles.insert(triangles.end(), {3 * t, 3 * t + 1, 3 * t + 2});
    }
    CompactMesh const mesh = support::meshOf(coordinates, triangles);
    Octree const octree(1, coordinates.data(), cubeOf(8), true, 16);
    support::withPools([&](int numThreads) {
        OctreeTris table;
        support::DebugCapture const log;
        computeOctreeTris(mesh, octree, table);
        CHECK(table.numTris(0) == 8);
        char const* const coherence[] = {"", "(0.88 ", "(0.75 ", "(0.62 ", "", "", "", "(0.12 "};
        CHECK(log.text().find(coherence[numThreads]) != std::string::npos);
    });
}
