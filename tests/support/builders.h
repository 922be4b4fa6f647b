#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdint>
#include <string>
#include <vector>

/// Generators of test meshes. Deterministic; triangles counter-clockwise seen from outside or from +z.
/// Every mesh is a value: CompactMesh is copied deeply. (Reference counts start at 0; local objects are fine.)
namespace support {

/// splitmix64: the same numbers on every platform.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next();
    /// Uniform in 0 to count - 1; count at least 1.
    int index(int count);
    /// Uniform in [low, high).
    double real(double low, double high);

private:
    std::uint64_t state_;
};

/// The text with some characters, at least one and at most `maxEdits`, taken out, put in or changed: mostly to those of the alphabet,
/// now and then to any byte but NUL.
std::string damaged(std::string text, std::string const& alphabet, int maxEdits, Random& random);

/// A mesh of the given flat coordinates (x y z ...) and triangles (a b c ...).
koGeom::CompactMesh meshOf(std::vector<float> const& coordinates,
                           std::vector<int> const& triangles);

std::vector<int> trianglesOf(koGeom::CompactMesh const& mesh);
std::vector<float> coordinatesOf(koGeom::CompactMesh const& mesh);

/// Grid of numX x numY unit squares in z = 0, each cut from its lower left to its upper right corner; vertex
/// (i, j) has number j (numX + 1) + i; the square's lower right triangle comes first.
koGeom::CompactMesh grid(int numX, int numY);

/// One triangle, one tetrahedron (4 triangles), one cube (8 vertices, 12 triangles, side 1 from the origin), one octahedron.
koGeom::CompactMesh triangle();
koGeom::CompactMesh tetrahedron();
koGeom::CompactMesh cube();
koGeom::CompactMesh octahedron();

/// Unit sphere: octahedron split `levels` times at the edge midpoints, pushed to the sphere; 8 x 4^levels triangles.
koGeom::CompactMesh sphere(int levels);

/// Torus round the z axis, numU steps round the axis, numV round the tube; 2 numU numV triangles.
koGeom::CompactMesh torus(int numU, int numV, double majorRadius = 2.0, double minorRadius = 0.5);

/// Moebius strip of numSteps quads; 2 numSteps triangles, cannot be oriented.
koGeom::CompactMesh moebius(int numSteps);

/// Two tetrahedra that share one vertex (a non-manifold vertex and nothing else).
koGeom::CompactMesh bowTie();

/// Three triangles on one edge (0, 1).
koGeom::CompactMesh threeOnAnEdge();

/// Height field over grid(numX, numY): smooth waves, some noise from the seed.
koGeom::CompactMesh terrain(int numX, int numY, std::uint64_t seed);

/// The mesh without shared vertices: 3 vertices a triangle, triangle t uses 3t, 3t + 1, 3t + 2.
koGeom::CompactMesh soup(koGeom::CompactMesh const& mesh);

/// The same surface with vertices and triangles renumbered at random and each triangle's corners rotated at random.
koGeom::CompactMesh shuffled(koGeom::CompactMesh const& mesh, std::uint64_t seed);

/// Each triangle stays with probability `keep`.
koGeom::CompactMesh holed(koGeom::CompactMesh const& mesh, double keep, std::uint64_t seed);

/// Each triangle is turned over with the given probability.
koGeom::CompactMesh flipped(koGeom::CompactMesh const& mesh, double probability,
                            std::uint64_t seed);

/// Both meshes side by side in one array, the second one moved.
koGeom::CompactMesh joined(koGeom::CompactMesh const& first, koGeom::CompactMesh const& second,
                           float moveX = 0.0f, float moveY = 0.0f, float moveZ = 0.0f);

/// Triangles over the vertices of a 10-value lattice in each axis, corners drawn at random: coincident vertices,
/// duplicates, degenerate and non-manifold triangles are all common.
koGeom::CompactMesh latticeSoup(int numVertices, int numTriangles, std::uint64_t seed);

struct NamedMesh {
    std::string name;
    koGeom::CompactMesh mesh;
};

/// Clean manifold meshes, open and closed, a few hundred triangles each at most.
std::vector<NamedMesh> manifoldZoo();

/// manifoldZoo and everything that can be wrong: soups, bow-ties, Moebius strips, fins, duplicated, degenerate and flipped
/// triangles, unused vertices, no triangles, nothing at all.
std::vector<NamedMesh> zoo();

}  // namespace support
