// Duplicates by sorting: a triangle's key is its three vertices, sorted. A counting sort brings
// those with one lowest vertex together, in the order of their numbers; the few that share it are
// then sorted by their other two vertices. The outcome is that of sorting all keys, without
// comparing all of them.

#include "trimora/repair/meshDuplicateTris.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace koGeom {

namespace {

bool samePosition(MeshVertex const& p, MeshVertex const& q) {
    return p.x == q.x && p.y == q.y && p.z == q.z;
}

void findDegenerate(CompactMesh const& mesh, MeshDuplicateTrisResult& result) {
    MeshVertex const* const vertices = mesh.getVertices();
    MeshTriangle const* const triangles = mesh.getTriangles();
    int const numTriangles = mesh.getNumTriangles();
    for (int t = 0; t < numTriangles; ++t) {
        auto const [a, b, c] = triangles[t].vertices;
        if (a == b || a == c || b == c)
            result.topoDegenerate.push_back(t);
        else if (samePosition(vertices[a], vertices[b]) || samePosition(vertices[a], vertices[c]) ||
                 samePosition(vertices[b], vertices[c]))
            result.geomDegenerate.push_back(t);
    }
}

// A triangle among those with the same lowest vertex.
struct KeyedTriangle {
    int middle;
    int highest;
    int triangle;

    bool sameKey(KeyedTriangle const& other) const {
        return middle == other.middle && highest == other.highest;
    }
    bool operator<(KeyedTriangle const& other) const {
        if (middle != other.middle)
            return middle < other.middle;
        if (highest != other.highest)
            return highest < other.highest;
        return triangle < other.triangle;
    }
};

int lowestVertex(MeshTriangle const& triangle) {
    return std::min(triangle[0], std::min(triangle[1], triangle[2]));
}

KeyedTriangle keyed(MeshTriangle const& triangle, int t, int lowest) {
    int const highest = std::max(triangle[0], std::max(triangle[1], triangle[2]));
    // The middle one is what is left of the sum; in unsigned numbers, where it may wrap and come
    // back.
    auto const sum = static_cast<unsigned>(triangle[0]) + static_cast<unsigned>(triangle[1]) +
                     static_cast<unsigned>(triangle[2]);
    auto const middle = sum - static_cast<unsigned>(lowest) - static_cast<unsigned>(highest);
    return {static_cast<int>(middle), highest, t};
}

void appendDuplicates(KeyedTriangle* begin, KeyedTriangle* end, ko::vector<int>& duplicates) {
    std::sort(begin, end);
    for (KeyedTriangle const* entry = begin + 1; entry < end; ++entry)
        if (entry->sameKey(entry[-1]))
            duplicates.push_back(entry->triangle);
}

void findDuplicates(CompactMesh const& mesh, ko::vector<int>& duplicates) {
    MeshTriangle const* const triangles = mesh.getTriangles();
    int const numTriangles = mesh.getNumTriangles();
    int const numVertices = mesh.getNumVertices();
    std::vector<int> cursor(static_cast<std::size_t>(numVertices) + 1, 0);
    int* const next = cursor.data();
    for (int t = 0; t < numTriangles; ++t)
        ++next[lowestVertex(triangles[t]) + 1];
    for (int v = 0; v < numVertices; ++v)
        next[v + 1] += next[v];

    std::vector<KeyedTriangle> sorted(static_cast<std::size_t>(numTriangles));
    for (int t = 0; t < numTriangles; ++t) {
        int const lowest = lowestVertex(triangles[t]);
        sorted[static_cast<std::size_t>(next[lowest]++)] = keyed(triangles[t], t, lowest);
    }
    // Filling has moved each cursor to the end of its vertex's triangles.
    int begin = 0;
    for (int v = 0; v < numVertices; ++v) {
        int const end = next[v];
        if (end - begin > 1)
            appendDuplicates(sorted.data() + begin, sorted.data() + end, duplicates);
        begin = end;
    }
}

}  // namespace

void MeshDuplicateTrisResult::getBadTriangles(CompactMesh const& mesh, ko::vector<int>& out) const {
    out.clear();
    if (!*this)
        return;
    BitVector bad(mesh.getNumTriangles());
    for (ko::vector<int> const* list : {&duplicates, &topoDegenerate, &geomDegenerate}) {
        assert(
            detail::areAllInRange(list->data(), static_cast<std::int64_t>(list->size()), bad.size));
        for (int const triangle : *list)
            bad.setBit(triangle);
    }
    out.reserve(static_cast<std::size_t>(bad.count));
    for (int t = 0; t < bad.size; ++t)
        if (bad.isBitSet(t))
            out.push_back(t);
}

bool meshDuplicateTris(CompactMesh const& mesh, MeshDuplicateTrisResult& result) {
    assert(detail::hasTrianglesInRange(mesh));
    koOS::StopWatch watch;
    watch.start();

    result.duplicates.clear();
    result.topoDegenerate.clear();
    result.geomDegenerate.clear();
    findDegenerate(mesh, result);
    findDuplicates(mesh, result.duplicates);

    debugChannel().print(
        "meshDuplicateTris:  verts(%d) tris(%d) dup(%d) degenerate(%d) %f s\n",
        mesh.getNumVertices(), mesh.getNumTriangles(), static_cast<int>(result.duplicates.size()),
        static_cast<int>(result.topoDegenerate.size() + result.geomDegenerate.size()),
        watch.clear());
    return static_cast<bool>(result);
}

void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adj,
                             MeshDuplicateTrisResult const& result) {
    assert(detail::isTableOf(adj, mesh));
    if (!result)
        return;

    debugChannel().print("koGeom::meshRemoveDuplicateTris\n");
    debugChannel().print("           vertices(%d) triangles(%d)\n", mesh.getNumVertices(),
                         mesh.getNumTriangles());
    koOS::StopWatch watch;
    watch.start();

    BitVector& selected = mesh.getSelectedTriangles();
    selected.resize(mesh.getNumTriangles());
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    for (ko::vector<int> const* list :
         {&result.duplicates, &result.topoDegenerate, &result.geomDegenerate})
        for (int const triangle : *list)
            selected.setBit(triangle);
    MeshSelect(mesh, adj).selectVerticesFromTriangles();
    debugChannel().print("  selected %d duplicate/degenerate tris: %f s\n", selected.count,
                         watch.clear());

    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
}

void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adj) {
    MeshDuplicateTrisResult result;
    if (meshDuplicateTris(mesh, result))
        meshRemoveDuplicateTris(mesh, adj, result);
}

}  // namespace koGeom
