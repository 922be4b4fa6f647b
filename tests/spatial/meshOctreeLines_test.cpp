#include "support/builders.h"
#include "support/captureBinding.h"
#include "support/checks.h"
#include "voxelTables.h"

#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koUtil/ThreadPool.h"
#include "trimora/spatial/intersects.h"
#include "trimora/spatial/meshOctreeLines.h"

#include <doctest/doctest.h>
#include <memory>

using namespace koGeom;

namespace {

/// The mesh's vertices with lines between random pairs, some without length.
CompactMesh withLines(CompactMesh mesh, int numLines, std::uint64_t seed) {
    support::Random random(seed);
    mesh.resizeLineArray(mesh.getNumVertices() > 0 ? numLines : 0);
    for (int i = 0; i < mesh.getNumLines(); ++i) {
        int const start = random.index(mesh.getNumVertices());
        int const end = random.index(3) == 0 ? start : (start + 1) % mesh.getNumVertices();
        mesh.getLines()[i] = {
            {start, random.index(4) == 0 ? random.index(mesh.getNumVertices()) : end}};
    }
    return mesh;
}

}  // namespace

TEST_CASE("lineTableAgreesWithBruteForceAndAllThreads") {
    std::vector<support::NamedMesh> meshes = support::zoo();
    meshes.push_back({"terrain", support::terrain(20, 20, 3)});
    meshes.push_back({"not finite", voxelTables::brokenTerrain()});
    for (auto const& [name, source] : meshes) {
        CAPTURE_BINDING(name);
        CompactMesh const mesh = withLines(source, 300, 9);
        float const* const vertices = mesh.getVerticesRaw();
        std::unique_ptr<Octree const> const octree(voxelTables::octreeOf(mesh, 4));
        voxelTables::Sets const expected = voxelTables::bruteForce(
            *octree, mesh.getNumLines(), [&](BoundingBox const& voxel, int i) {
                float const* const start = vertices + 3 * mesh.getLines()[i][0];
                float const* const end = vertices + 3 * mesh.getLines()[i][1];
                BoundingBox box;
                box.extend(PointFlt(start[0], start[1], start[2]));
                box.extend(PointFlt(end[0], end[1], end[2]));
                return box.isStrictlyInside(voxel) ||
                       (box.intersects(voxel) && intersects(voxel, start, end));
            });
        support::withPools([&](int numThreads) {
            CAPTURE(numThreads);
            OctreeLines table;
            meshOctreeLines(mesh, *octree, table);
            if (octree->numVoxels > 0)
                CHECK(voxelTables::setsOf(table.getData()) == expected);
        });
    }
}

TEST_CASE("lineTableTellsItsFiguresOnce") {
    CompactMesh mesh = support::meshOf({1, 1, 1, 2, 1, 1, 4, 1, 1, 9, 9, 9}, {});
    mesh.resizeLineArray(4);
    int const ends[4][2] = {{0, 1}, {1, 0}, {1, 2}, {3, 3}};
    for (int i = 0; i < 4; ++i)
        mesh.getLines()[i] = {{ends[i][0], ends[i][1]}};
    float const points[] = {1, 1, 1, 7, 7, 7};
    Octree const octree(2, points, BoundingBox(PointFlt(0, 0, 0), PointFlt(8, 8, 8)), true, 1);

    OctreeLines table;
    {
        support::DebugCapture const log;
        koUtil::ThreadPool single(1);
        koUtil::ThreadPool::setShared(&single);
        meshOctreeLines(mesh, octree, table);
        koUtil::ThreadPool::setShared(nullptr);
        CHECK(log.text().find("OctreeLines:  Partitioned 4 lines into 8 voxels in ") == 0);
        CHECK(log.text().find(" seconds.\n             (0.25 coherence, 1.00 duplication, ") !=
              std::string::npos);
    }
    CHECK(voxelTables::setsOf(table.getData()) ==
          voxelTables::Sets{{0, 1, 2}, {2}, {}, {}, {}, {}, {}, {}});

    support::DebugCapture const log;
    meshOctreeLines(mesh, Octree(0, nullptr, BoundingBox(), true, 1), table);
    CHECK(table.numLines(0) == 3);
    CHECK(log.text().empty());
}
