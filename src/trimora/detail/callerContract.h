#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

/// What the core asks of its callers, as questions for assertions: a release build asks none of them.
///
/// Three kinds. `countsMatch` compares sizes, O(1), for calls that take no time themselves. `isTableOf` and the others
/// read all that they are given, for calls that do so anyway. None of them allocates, throws, or fills a lazy part.
namespace koGeom::detail {

inline bool isInRange(int index, int count) {
    return index >= 0 && index < count;
}

inline bool areAllInRange(int const* indices, std::int64_t numIndices, int count) {
    return std::all_of(indices, indices + numIndices,
                       [count](int i) { return isInRange(i, count); });
}

/// The corners of all triangles are vertices.
inline bool haveAllIndicesIn(int const* triangles, int numTriangles, int numVertices) {
    return areAllInRange(triangles, std::int64_t{3} * numTriangles, numVertices);
}
inline bool hasTrianglesInRange(CompactMesh const& mesh) {
    return haveAllIndicesIn(mesh.getTrianglesRaw(), mesh.getNumTriangles(), mesh.getNumVertices());
}

inline bool hasLinesInRange(CompactMesh const& mesh) {
    return std::all_of(mesh.getLines(), mesh.getLines() + mesh.getNumLines(),
                       [&](MeshLine const& line) {
                           return areAllInRange(line.vertices, 2, mesh.getNumVertices());
                       });
}

/// The lengths are not negative and add up to the number of points, and all points are vertices.
template <class T>
bool hasSoundRuns(MeshSequenceBase<T> const& sequence, int numVertices) {
    std::int64_t sum = 0;
    for (int const length : sequence.lengths) {
        if (length < 0)
            return false;
        sum += length;
    }
    return sum == sequence.getNumPoints() &&
           std::all_of(sequence.points.begin(), sequence.points.end(),
                       [=](T point) { return isInRange(int{point}, numVertices); });
}

/// The sets follow each other from 0 to the end of the members.
inline bool hasSoundSets(ArrayOfSets const& sets) {
    int const* const starts = sets.starts.data();
    int const numSets = sets.getNumSets();
    int const end = sets.items.size();
    if (numSets == 0)
        return end == 0;
    return starts[0] == 0 && starts[numSets - 1] <= end && std::is_sorted(starts, starts + numSets);
}

inline bool countsMatch(MeshAdjTris const& table, CompactMesh const& mesh) {
    ArrayOfSets const& sets = table.getData();
    return sets.getNumSets() == mesh.getNumVertices() &&
           sets.items.size() == std::int64_t{3} * mesh.getNumTriangles();
}
inline bool countsMatch(MeshAdjVertices const& table, CompactMesh const& mesh) {
    return table.numVertices == mesh.getNumVertices();
}
inline bool countsMatch(MeshTriAdjTris const& table, CompactMesh const& mesh) {
    return table.getData().getNumSets() == mesh.getNumTriangles();
}
/// The tree is one over the mesh's vertices.
inline bool countsMatch(Octree const& tree, CompactMesh const& mesh) {
    return tree.pointIndices.size() == static_cast<std::size_t>(mesh.getNumVertices());
}
/// An empty table says that no voxel has triangles, and nobody asks a tree without voxels.
inline bool countsMatch(OctreeTris const& table, Octree const& tree) {
    int const numSets = table.getData().getNumSets();
    return numSets == 0 || tree.numVoxels == 0 || numSets == tree.numVoxels;
}

/// The triangle has the vertex for a corner.
inline bool holdsVertex(MeshTriangle const& triangle, int vertex) {
    return triangle[0] == vertex || triangle[1] == vertex || triangle[2] == vertex;
}
inline bool allHoldVertex(int const* tris, int numTris, MeshTriangle const* triangles, int vertex) {
    return std::all_of(tris, tris + std::max(numTris, 0),
                       [=](int t) { return holdsVertex(triangles[t], vertex); });
}

/// The mesh's triangles name its vertices, and each set of the table names triangles at its vertex.
inline bool isTableOf(MeshAdjTris const& table, CompactMesh const& mesh) {
    if (!countsMatch(table, mesh) || !hasSoundSets(table.getData()) || !hasTrianglesInRange(mesh))
        return false;
    ArrayOfSets const& sets = table.getData();
    if (!areAllInRange(sets.items.data(), sets.items.size(), mesh.getNumTriangles()))
        return false;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (!allHoldVertex(table.triIndices(v), table.numTris(v), mesh.getTriangles(), v))
            return false;
    return true;
}
inline bool isTableOf(MeshAdjVertices const& table, CompactMesh const& mesh) {
    if (!countsMatch(table, mesh))
        return false;
    for (int v = 0; v < table.numVertices; ++v)
        if (!isInRange(table.numNeighbours(v), table.maxValence + 1) ||
            !areAllInRange(table.neighbours(v), table.numNeighbours(v), table.numVertices))
            return false;
    return true;
}
inline bool isTableOf(MeshTriAdjTris const& table, CompactMesh const& mesh) {
    ArrayOfSets const& sets = table.getData();
    return countsMatch(table, mesh) && hasSoundSets(sets) &&
           areAllInRange(sets.items.data(), sets.items.size(), mesh.getNumTriangles());
}
inline bool isTableOf(OctreeTris const& table, Octree const& tree, CompactMesh const& mesh) {
    ArrayOfSets const& sets = table.getData();
    return countsMatch(table, tree) && hasSoundSets(sets) &&
           areAllInRange(sets.items.data(), sets.items.size(), mesh.getNumTriangles()) &&
           hasTrianglesInRange(mesh);
}

inline bool areBoundariesOf(MeshBoundaries const& boundaries, CompactMesh const& mesh) {
    for (int b = 0; b < boundaries.size(); ++b)
        if (!areAllInRange(boundaries.getStart(b), boundaries.getLength(b), mesh.getNumVertices()))
            return false;
    return true;
}

/// Null counts as a subset of nothing.
inline bool isSubsetOf(MeshSubset const* subset, CompactMesh const& mesh) {
    return subset == nullptr ||
           (areAllInRange(subset->vertices, subset->numVertices, mesh.getNumVertices()) &&
            areAllInRange(subset->triangles, subset->numTriangles, mesh.getNumTriangles()));
}
template <class Subsets>
bool areSubsetsOf(Subsets const& subsets, CompactMesh const& mesh) {
    return std::all_of(subsets.begin(), subsets.end(),
                       [&](auto const& subset) { return isSubsetOf(subset.get(), mesh); });
}

/// On a triangle of the mesh, or on none.
inline bool isOn(MeshCoord const& coord, CompactMesh const& mesh) {
    return coord.triangle < mesh.getNumTriangles();
}
template <class Coords>
bool areAllOn(Coords const& coords, CompactMesh const& mesh) {
    return std::all_of(coords.begin(), coords.end(),
                       [&](MeshCoord const& coord) { return isOn(coord, mesh); });
}

}  // namespace koGeom::detail
