#pragma once

#include "support/builders.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <vector>

/// What the tests of this folder share.
namespace tables {

using Sets = std::vector<std::vector<int>>;

inline Sets setsOf(koGeom::ArrayOfSets const& table) {
    Sets sets;
    for (int i = 0; i < table.getNumSets(); ++i)
        sets.emplace_back(table.getSet(i), table.getSet(i) + table.getSetSize(i));
    return sets;
}

inline Sets setsOf(koGeom::MeshAdjVertices const& table) {
    Sets sets;
    for (int v = 0; v < table.numVertices; ++v)
        sets.emplace_back(table.neighbours(v), table.neighbours(v) + table.numNeighbours(v));
    return sets;
}

inline Sets loopsOf(koGeom::MeshBoundaries const& boundaries) {
    Sets loops;
    for (int i = 0; i < boundaries.size(); ++i)
        loops.emplace_back(boundaries.getStart(i), boundaries.getEnd(i));
    return loops;
}

/// Both tables of a mesh that most algorithms take.
struct VertexTables {
    koGeom::MeshAdjTris tris;
    koGeom::MeshAdjVertices vertices;

    explicit VertexTables(koGeom::CompactMesh const& mesh) {
        koGeom::meshAdjTris(mesh, tris);
        koGeom::meshAdjVertices(mesh, tris, vertices);
    }
};

/// Fan of `numTriangles` round vertex 0, not closed, with triangles in an order that has nothing to do with the fan's.
inline koGeom::CompactMesh shuffledFan(int numTriangles) {
    std::vector<float> coordinates(3 * static_cast<std::size_t>(numTriangles + 2));
    std::vector<int> triangles;
    support::Random random(5);
    for (float& coordinate : coordinates)
        coordinate = static_cast<float>(random.real(-1.0, 1.0));
    // 7919 is prime: a walk with this stride meets every number once
    for (int i = 0; i < numTriangles; ++i) {
        int const rim = 1 + static_cast<int>(7919LL * i % numTriangles);
        triangles.insert(triangles.end(), {0, rim, rim + 1});
    }
    return support::meshOf(coordinates, triangles);
}

/// The zoo, and meshes large enough for the work to be shared between threads.
inline std::vector<support::NamedMesh> zooAndLargeMeshes() {
    std::vector<support::NamedMesh> meshes = support::zoo();
    meshes.push_back({"large terrain", support::terrain(80, 80, 1)});
    meshes.push_back({"large sphere, shuffled", support::shuffled(support::sphere(6), 2)});
    meshes.push_back({"large holed", support::holed(support::terrain(110, 110, 3), 0.6, 4)});
    meshes.push_back({"large lattice soup", support::latticeSoup(3000, 14000, 5)});
    meshes.push_back({"large fan", shuffledFan(12000)});
    return meshes;
}

}  // namespace tables
