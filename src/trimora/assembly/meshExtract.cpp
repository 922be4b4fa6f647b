#include "trimora/assembly/meshExtract.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <vector>

// Every attribute set is gathered by the subset's list of vertices; a table from old to new vertex
// numbers then maps the corners of the listed triangles. Linear time.

namespace koGeom {

namespace {

template <class Element>
void gatherElements(Element* target, Element const* source, MeshSubset const& subset) {
    int const* const vertices = subset.vertices;
    for (int k = 0; k < subset.numVertices; ++k)
        target[k] = source[vertices[k]];
}

void gather(MeshAttributes& target, MeshAttributes const& source, MeshSubset const& subset) {
    switch (source.dimension) {
    case 1:
        gatherElements(target.asFloat1(), source.asFloat1(), subset);
        break;
    case 2:
        gatherElements(target.asFloat2(), source.asFloat2(), subset);
        break;
    case 3:
        gatherElements(target.asFloat3(), source.asFloat3(), subset);
        break;
    case 4:
        gatherElements(target.asFloat4(), source.asFloat4(), subset);
        break;
    default:
        break;
    }
    target.invalidateRange();
}

void extractAttributes(CompactMesh& target, CompactMesh const& source, MeshSubset const& subset,
                       MeshModification& modification) {
    for (int i = 0; MeshAttributes const* const set = source.getAttributes(i); ++i) {
        koString::CString const& name = set->getName();
        if (!koString::equal(name, PointMesh::VerticesName)) {
            target.deleteAttributes(name);
            target.allocAttributes(name, set->dimension)->setStoreable(set->isStoreable());
            modification.vertexAttribsModified(name);
        }
        gather(*target.getAttributes(name), *set, subset);
    }
}

/// From the source's vertices to the target's. Between two parts all are -1; only what the last one listed is cleared.
class NewNumbers {
public:
    explicit NewNumbers(CompactMesh const& source)
        : numbers_(static_cast<std::size_t>(source.getNumVertices()), -1) {}

    void set(MeshSubset const& subset) {
        for (int k = 0; k < subset.numVertices; ++k)
            numbers_[static_cast<std::size_t>(subset.vertices[k])] = k;
    }
    void clear(MeshSubset const& subset) {
        for (int k = 0; k < subset.numVertices; ++k)
            numbers_[static_cast<std::size_t>(subset.vertices[k])] = -1;
    }
    int const* data() const { return numbers_.data(); }

private:
    std::vector<int> numbers_;
};

void extractTriangles(CompactMesh& target, CompactMesh const& source, MeshSubset const& subset,
                      int const* newNumbers) {
    target.resizeTriangleArray(subset.numTriangles);
    MeshTriangle const* const from = source.getTriangles();
    MeshTriangle* const to = target.getTriangles();
    for (int k = 0; k < subset.numTriangles; ++k) {
        MeshTriangle const& triangle = from[subset.triangles[k]];
        for (int corner = 0; corner < 3; ++corner)
            to[k][corner] = newNumbers[triangle[corner]];
    }
}

void extract(CompactMesh& target, CompactMesh const& source, MeshSubset const& subset,
             NewNumbers& newNumbers) {
    debugChannel().print("MeshExtract:  extracting %d(%d) vertices, %d(%d) triangles\n",
                         subset.numVertices, source.getNumVertices(), subset.numTriangles,
                         source.getNumTriangles());
    koOS::StopWatch watch;
    watch.start();

    MeshModification modification(&target, MeshModification::Topology, nullptr);
    target.resizeVertexArray(subset.numVertices);
    extractAttributes(target, source, subset, modification);
    newNumbers.set(subset);
    extractTriangles(target, source, subset, newNumbers.data());
    newNumbers.clear(subset);

    target.modified(modification);
    debugChannel().print("  copied triangles: %f s\n", watch.clear());
}

// Indices of the set bits below `limit`, ascending: selections may be longer or shorter than their
// array.
std::vector<int> listOf(BitVector const& bits, int limit) {
    std::vector<int> indices;
    indices.reserve(static_cast<std::size_t>(bits.count));
    for (int w = 0; w < bits.numWords(); ++w) {
        for (std::uint32_t word = bits.words[w]; word != 0; word &= word - 1)
            indices.push_back(32 * w + std::countr_zero(word));
    }
    indices.erase(std::lower_bound(indices.begin(), indices.end(), limit), indices.end());
    return indices;
}

}  // namespace

void meshExtract(CompactMesh& target, CompactMesh const& source, MeshSubset const& subset) {
    assert(detail::isSubsetOf(&subset, source));
    if (&target == &source) {
        CompactMesh const copy(source);
        meshExtract(target, copy, subset);
        return;
    }

    NewNumbers newNumbers(source);
    extract(target, source, subset, newNumbers);
}

void meshExtract(ko::vector<CompactMesh>& targets, CompactMesh const& source,
                 ko::list<ko::Reference<MeshSubset>> const& subsets) {
    assert(detail::areSubsetsOf(subsets, source));
    NewNumbers newNumbers(source);
    ko::vector<CompactMesh> extracted(subsets.size());
    auto target = extracted.begin();
    for (ko::Reference<MeshSubset> const& subset : subsets) {
        if (subset)
            extract(*target, source, *subset, newNumbers);
        ++target;
    }
    targets.swap(extracted);
}

void meshExtract(CompactMesh& target, CompactMesh const& source) {
    std::vector<int> const vertices = listOf(source.getSelectedVertices(), source.getNumVertices());
    std::vector<int> const triangles =
        listOf(source.getSelectedTriangles(), source.getNumTriangles());
    MeshSubset const subset(static_cast<int>(vertices.size()), vertices.data(),
                            static_cast<int>(triangles.size()), triangles.data());
    meshExtract(target, source, subset);
}

}  // namespace koGeom
