#pragma once

#include "support/builders.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/spatial/computeOctreeTris.h"

#include <limits>
#include <list>
#include <memory>
#include <string>

/// A mesh with its tree and tables, shared by the tests of rays and of closest points.
namespace queryScenes {

struct Scene {
    koGeom::CompactMesh mesh;
    koGeom::BoundingBox box;  // of the tree
    koGeom::Octree octree;
    koGeom::OctreeTris octreeTris;
    koGeom::MeshAdjTris adjTris;

    explicit Scene(koGeom::CompactMesh const& source, int capacity = 4)
        : Scene(source, boxOf(source), capacity) {}
    Scene(koGeom::CompactMesh const& source, koGeom::BoundingBox const& treeBox, int capacity)
        : mesh(source),
          box(treeBox),
          octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true, capacity) {
        koGeom::computeOctreeTris(mesh, octree, octreeTris);
        koGeom::meshAdjTris(mesh, adjTris);
    }

    static koGeom::BoundingBox boxOf(koGeom::CompactMesh const& mesh) {
        koGeom::BoundingBox box;
        koGeom::meshBoundingBox(mesh, box);
        return box;
    }
    koGeom::Point vertex(int number) const { return mesh.getVertices()[number].asPoint(); }
    koGeom::Point corner(int triangle, int k) const {
        return vertex(mesh.getTriangles()[triangle][k]);
    }
    double diagonal() const { return static_cast<double>(box.diagonalLength()); }
    /// A place at the given fractions of the tree's box.
    koGeom::Point at(double x, double y, double z) const {
        double const fraction[3] = {x, y, z};
        double place[3];
        for (int axis = 0; axis < 3; ++axis) {
            double const low = static_cast<double>(box.min(axis));
            place[axis] = low + fraction[axis] * (static_cast<double>(box.max(axis)) - low);
        }
        return {place[0], place[1], place[2]};
    }
};

inline koGeom::CompactMesh scaled(koGeom::CompactMesh mesh, float scale, float shift) {
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] = mesh.getVerticesRaw()[i] * scale + shift;
    return mesh;
}

/// The lower half of a box in x: a tree over it does not hold the mesh.
inline koGeom::BoundingBox halved(koGeom::BoundingBox box) {
    box.bounds[3] = 0.5f * (box.bounds[0] + box.bounds[3]);
    return box;
}

/// Smooth and rough meshes, lattices full of coincidence, coordinates of all sizes, far from the
/// origin, with broken numbers, and trees that do not hold their meshes.
inline std::list<Scene> scenes() {
    std::list<Scene> all;
    for (auto const& [name, mesh] : support::zoo())
        all.emplace_back(mesh);
    koGeom::CompactMesh const sphere = support::sphere(4);
    koGeom::CompactMesh const lattice = support::latticeSoup(400, 600, 5);
    all.emplace_back(sphere, 16);
    all.emplace_back(support::terrain(40, 30, 3), 8);
    all.emplace_back(lattice);
    all.emplace_back(support::soup(support::torus(24, 12)), 1);
    for (float const scale : {1e-18f, 1e-3f, 1e3f, 1e12f})
        all.emplace_back(scaled(sphere, scale, 0.0f));
    all.emplace_back(scaled(lattice, 0.125f, 1e4f));
    all.emplace_back(sphere, halved(Scene::boxOf(sphere)), 4);
    all.emplace_back(lattice, halved(Scene::boxOf(lattice)), 4);

    koGeom::CompactMesh broken = support::terrain(10, 10, 8);
    koGeom::BoundingBox const box = Scene::boxOf(broken);
    broken.getVertices()[17].x = std::numeric_limits<float>::quiet_NaN();
    broken.getVertices()[60].z = std::numeric_limits<float>::infinity();
    all.emplace_back(broken, box, 4);
    return all;
}

}  // namespace queryScenes
