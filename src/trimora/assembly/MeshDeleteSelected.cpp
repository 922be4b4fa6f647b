#include "trimora/assembly/MeshDeleteSelected.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <cassert>

// Both arrays are compacted in place: survivors only ever move towards the front, so that none is
// overwritten before it has moved.

namespace koGeom {

namespace {

// The selection with exactly one bit for each element: missing bits are clear, surplus ones are
// left out.
BitVector fitted(BitVector const& selection, int numElements) {
    BitVector bits(numElements);
    bits |= selection;
    return bits;
}

// Takes out the vertices that triangles outside the selection use. Mostly few are selected: then reading is all that a
// triangle costs.
void keepUsedVertices(BitVector& doomed, CompactMesh const& mesh,
                      BitVector const& doomedTriangles) {
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int t = 0; t < mesh.getNumTriangles() && doomed.count > 0; ++t) {
        auto const [a, b, c] = triangles[t].vertices;
        int const isAnyDoomed = doomed.isBitSet(a) | doomed.isBitSet(b) | doomed.isBitSet(c);
        if (isAnyDoomed == 0 || doomedTriangles.isBitSet(t))
            continue;
        for (int const vertex : {a, b, c})
            doomed.clearBit(vertex);
    }
}

template <class Element>
void compact(Element* elements, Remap const& newIndices) {
    int const* const table = newIndices.table.data();
    for (int i = 0; i < newIndices.getDomainSize(); ++i) {
        if (table[i] >= 0)
            elements[table[i]] = elements[i];
    }
}

ko::Reference<Remap> deleteMap(BitVector const& doomed) {
    ko::Reference<Remap> map(new Remap);
    map->setDeleteMap(doomed);
    return map;
}

void clearSelections(CompactMesh& mesh) {
    mesh.getSelectedVertices().resize(0);
    mesh.getSelectedTriangles().resize(0);
}

void deleteEverything(CompactMesh& mesh) {
    debugChannel().print("meshDeleteSelected:  deleting all vertices(%d) and triangles(%d)\n",
                         mesh.getNumVertices(), mesh.getNumTriangles());
    mesh.resizeVertexArray(0);
    mesh.resizeTriangleArray(0);
    clearSelections(mesh);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    mesh.modified(modification);
}

void deleteVertices(CompactMesh& mesh, Remap const& newVertices) {
    bool const anyGoes = newVertices.rangeSize < mesh.getNumVertices();
    if (anyGoes)
        compact(mesh.getVertices(), newVertices);
    if (anyGoes && mesh.getUVs() != nullptr) {
        compact(mesh.getUVs(), newVertices);
        mesh.getAttributes(PointMesh::UVsName)->invalidateRange();
    }
    mesh.resizeVertexArray(newVertices.rangeSize);
}

void deleteTriangles(CompactMesh& mesh, Remap const& newTriangles, Remap const& newVertices) {
    compact(mesh.getTriangles(), newTriangles);
    mesh.resizeTriangleArray(newTriangles.rangeSize);
    newVertices(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
}

}  // namespace

MeshDeleteSelected::MeshDeleteSelected(CompactMesh& mesh) : mesh_(&mesh) {}
MeshDeleteSelected::MeshDeleteSelected(MeshDeleteSelected const& other) = default;
MeshDeleteSelected& MeshDeleteSelected::operator=(MeshDeleteSelected const& other) = default;
MeshDeleteSelected::~MeshDeleteSelected() = default;

void MeshDeleteSelected::operator()() {
    assert(detail::hasTrianglesInRange(*mesh_));
    CompactMesh& mesh = *mesh_;
    BitVector const doomedTriangles = fitted(mesh.getSelectedTriangles(), mesh.getNumTriangles());
    if (doomedTriangles.count == 0)
        return;
    if (doomedTriangles.count == mesh.getNumTriangles()) {
        deleteEverything(mesh);
        return;
    }

    koOS::StopWatch watch;
    watch.start();
    BitVector doomed = fitted(mesh.getSelectedVertices(), mesh.getNumVertices());
    int const numSelectedVertices = doomed.count;
    keepUsedVertices(doomed, mesh, doomedTriangles);
    debugChannel().print("meshDeleteSelected:  vertices %d(%d)  triangles %d(%d)\n",
                         numSelectedVertices, mesh.getNumVertices(), doomedTriangles.count,
                         mesh.getNumTriangles());

    bool const hasUVs = mesh.getUVs() != nullptr;
    // Both tables before the first edit: without memory for them the mesh stays as it is.
    vertexMap_ = deleteMap(doomed);
    ko::Reference<Remap> const triangleMap = deleteMap(doomedTriangles);
    deleteVertices(mesh, *vertexMap_);
    debugChannel().print("  delete vertices: %f s\n", watch.clear());

    watch.start();
    deleteTriangles(mesh, *triangleMap, *vertexMap_);
    debugChannel().print("  delete triangles: %f s\n", watch.clear());
    clearSelections(mesh);

    MeshRemap remap(vertexMap_.get(), triangleMap.get());
    MeshModification modification(&mesh, MeshModification::Topology, &remap);
    if (hasUVs)
        modification.uvsValid();
    mesh.modified(modification);
}

void MeshDeleteSelected::operator()(MeshAdjTris const& adjTris, ko::vector<int> const& triangles) {
    mesh_->getSelectedVertices().resize(mesh_->getNumVertices());
    mesh_->getSelectedTriangles().resize(mesh_->getNumTriangles());
    mesh_->getSelectedTriangles().setBits(static_cast<int>(triangles.size()), triangles.data());
    MeshSelect(*mesh_, adjTris).selectVerticesFromTriangles();
    (*this)();
}

}  // namespace koGeom
