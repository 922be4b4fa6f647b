#include "trimora/assembly/meshTrianglesAsLines.h"

#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <memory>

// All edges of all triangles are dealt out to their smaller vertex; the few larger vertices of each
// are then sorted and stripped of repetitions. That is the order of one sort over all pairs, in
// linear time.

namespace koGeom {

namespace {

void writeTriangleEdges(CompactMesh const& mesh, int* pairs) {
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (int k = 0; k < 3; ++k) {
            auto const [low, high] = std::minmax(triangles[t][k], triangles[t][(k + 1) % 3]);
            *pairs++ = low;
            *pairs++ = high;
        }
    }
}

// Sorts each set and writes its pairs without repetitions; returns how many.
int writeSortedPairs(ArrayOfSets& largerVertices, int* pairs) {
    int numPairs = 0;
    for (int low = 0; low < largerVertices.getNumSets(); ++low) {
        int* const first = largerVertices.getSet(low);
        int* const end = first + largerVertices.getSetSize(low);
        std::sort(first, end);
        int const* const uniqueEnd = std::unique(first, end);
        for (int const* high = first; high != uniqueEnd; ++high) {
            pairs[2 * static_cast<std::ptrdiff_t>(numPairs)] = low;
            pairs[2 * static_cast<std::ptrdiff_t>(numPairs) + 1] = *high;
            ++numPairs;
        }
    }
    return numPairs;
}

}  // namespace

void meshTrianglesAsLines(CompactMesh const& mesh, int& count, int*& lines) {
    assert(detail::hasTrianglesInRange(mesh));
    count = 0;
    lines = nullptr;
    int const numTriangles = mesh.getNumTriangles();
    if (numTriangles == 0)
        return;

    auto pairs = std::make_unique<int[]>(6 * static_cast<std::size_t>(numTriangles));
    writeTriangleEdges(mesh, pairs.get());
    ArrayOfSets largerVertices;
    largerVertices.assignFromPairs(mesh.getNumVertices(), 3 * numTriangles, pairs.get());
    count = writeSortedPairs(largerVertices, pairs.get());
    lines = pairs.release();
}

}  // namespace koGeom
