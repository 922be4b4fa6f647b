#pragma once

#include "support/builders.h"

#include "trimora/connectivity/meshTriBoundingBox.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/spatial/intersects.h"
#include "trimora/spatial/octreeIterators.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

/// Shared by the tests of the tables from voxels to triangles and to lines.
namespace voxelTables {

using Sets = std::vector<std::vector<int>>;

inline koGeom::BoundingBox finiteBoxOf(koGeom::CompactMesh const& mesh) {
    koGeom::BoundingBox box;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koGeom::MeshVertex const& p = mesh.getVertices()[v];
        float const sum = p.x + p.y + p.z;
        if (sum - sum == 0.0f)
            box.extend(p.asPointFlt());
    }
    return box;
}

/// A terrain of which every fifth vertex has a number that is none, or hardly one.
inline koGeom::CompactMesh brokenTerrain() {
    float const odd[] = {NAN, INFINITY, -INFINITY, 3e38f, -3e38f, 1e-40f};
    koGeom::CompactMesh mesh = support::terrain(12, 12, 4);
    for (int v = 0; v < mesh.getNumVertices(); v += 5)
        mesh.getVerticesRaw()[3 * v + v % 3] = odd[v % 6];
    return mesh;
}

/// Every voxel with every element: the members that `touches` lets through.
template <class Touches>
Sets bruteForce(koGeom::Octree const& octree, int count, Touches const& touches) {
    Sets sets(static_cast<std::size_t>(octree.numVoxels));
    for (koGeom::OctreeLeafIterator leaves(octree); leaves.valid(); leaves.next())
        for (int i = 0; i < count; ++i)
            if (touches(leaves.get().box, i))
                sets[static_cast<std::size_t>(leaves.get().node->voxelIndex)].push_back(i);
    return sets;
}

/// The triangles that each voxel must list, by the tests of single boxes.
inline Sets expectedSets(koGeom::CompactMesh const& mesh, koGeom::Octree const& octree) {
    float const* const vertices = mesh.getVerticesRaw();
    return bruteForce(octree, mesh.getNumTriangles(), [&](koGeom::BoundingBox const& voxel, int t) {
        koGeom::BoundingBox box;
        koGeom::meshTriBoundingBox(mesh.getVertices(), mesh.getTriangles()[t], box);
        int const* const corners = mesh.getTrianglesRaw() + 3 * t;
        return box.isStrictlyInside(voxel) ||
               (box.intersects(voxel) &&
                koGeom::intersects(voxel, vertices + 3 * corners[0], vertices + 3 * corners[1],
                                   vertices + 3 * corners[2]));
    });
}

inline Sets setsOf(koGeom::ArrayOfSets const& table) {
    Sets sets(static_cast<std::size_t>(table.getNumSets()));
    for (int i = 0; i < table.getNumSets(); ++i)
        for (int k = 0; k < table.getSetSize(i); ++k)
            sets[static_cast<std::size_t>(i)].push_back(table.getSet(i)[k]);
    return sets;
}

inline koGeom::Octree const* octreeOf(koGeom::CompactMesh const& mesh, int capacity) {
    return new koGeom::Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), finiteBoxOf(mesh), true,
                              capacity);
}

}  // namespace voxelTables
