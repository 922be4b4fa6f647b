#include "trimora/assembly/meshVertSubsetMembership.h"

#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <vector>

namespace koGeom {

namespace {

using SubsetList = ko::list<ko::Reference<MeshSubset>>;

// How often the subsets list each vertex.
std::vector<int> countMemberships(SubsetList const& subsets, int numVertices) {
    std::vector<int> counts(static_cast<std::size_t>(numVertices), 0);
    for (ko::Reference<MeshSubset> const& subset : subsets) {
        for (int k = 0; subset && k < subset->numVertices; ++k)
            ++counts[static_cast<std::size_t>(subset->vertices[k])];
    }
    return counts;
}

}  // namespace

void meshVertSubsetMembership(CompactMesh const& mesh,
                              ko::list<ko::Reference<MeshSubset>> const& subsets,
                              ArrayOfSets& out) {
    assert(detail::areSubsetsOf(subsets, mesh));
    std::vector<int> nextSlot = countMemberships(subsets, mesh.getNumVertices());
    out.starts.setSize(mesh.getNumVertices());
    int numItems = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        int& slot = nextSlot[static_cast<std::size_t>(v)];
        int const count = slot;
        slot = numItems;
        out.starts[v] = numItems;
        numItems += count;
    }

    out.items.setSize(numItems);
    out.items.fill(-1);
    int* const items = out.items.data();
    int position = 0;
    for (ko::Reference<MeshSubset> const& subset : subsets) {
        for (int k = 0; subset && k < subset->numVertices; ++k)
            items[nextSlot[static_cast<std::size_t>(subset->vertices[k])]++] = position;
        ++position;
    }
}

void meshTriSubsetMembership(CompactMesh const& mesh,
                             ko::list<ko::Reference<MeshSubset>> const& subsets, Remap& out) {
    assert(detail::areSubsetsOf(subsets, mesh));
    out.resize(mesh.getNumTriangles(), static_cast<int>(subsets.size()));
    int position = 0;
    for (ko::Reference<MeshSubset> const& subset : subsets) {
        for (int k = 0; subset && k < subset->numTriangles; ++k)
            out.set(subset->triangles[k], position);
        ++position;
    }
}

}  // namespace koGeom
