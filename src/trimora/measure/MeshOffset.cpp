#include "trimora/measure/MeshOffset.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/detail/OffsetShell.h"
#include "trimora/topology/MeshModifyRep.h"

#include <cassert>
#include <memory>

/// The handle and the road of a calculation: a copy of the mesh goes through the half-edge bridge as a whole, the shell is built
/// beside the surface there, and both come back. The shell alone is what is left when all triangles on the surface's vertices
/// are deleted.
namespace koGeom {

class MeshOffsetImpl : public ko::ImplBase {
public:
    MeshOffsetImpl(CompactMesh const& mesh, Octree const& octree, MeshBoundaries const& boundaries,
                   MeshAdjTris const& adjTris, double distance)
        : mesh_(mesh),
          octree_(octree),
          boundaries_(boundaries),
          adjTris_(adjTris),
          distance_(distance) {}

    /// Surface and shell, without normals; the maps may both be null.
    std::unique_ptr<CompactMesh> both(Array<int>* sourceMap, Array<int>* offsetMap) const;
    std::unique_ptr<CompactMesh> shellAlone() const;

private:
    void tellCopies(detail::OffsetShell const& shell, ArrayMap<TopoMeshVertex, int> const& numbers,
                    Array<int>& offsetMap) const;

    CompactMesh const& mesh_;
    Octree const& octree_;
    MeshBoundaries const& boundaries_;
    MeshAdjTris const& adjTris_;
    double const distance_;
};

std::unique_ptr<CompactMesh> MeshOffsetImpl::both(Array<int>* sourceMap,
                                                  Array<int>* offsetMap) const {
    int const numVertices = mesh_.getNumVertices();
    if (numVertices == 0) {
        for (Array<int>* const map : {sourceMap, offsetMap})
            if (map != nullptr)
                map->setSize(0);
        return std::make_unique<CompactMesh>();
    }

    auto result = std::make_unique<CompactMesh>(mesh_);
    BitVector triangles(mesh_.getNumTriangles());
    BitVector vertices(numVertices);
    triangles.setAllBits();
    vertices.setAllBits();
    MeshModifyRep rep(*result, triangles, vertices, adjTris_);
    TopoMesh& topo = rep.extract();

    detail::OffsetShell shell(mesh_, rep, topo, distance_);
    shell.build(boundaries_);
    shell.cleanUp(octree_);

    if (sourceMap == nullptr) {
        rep.merge();
        return result;
    }
    ArrayMap<TopoMeshVertex, int> numbers;
    rep.merge(*sourceMap, &numbers);
    sourceMap->setSize(numVertices);  // the bridge tells of the copies' first numbers too
    if (offsetMap != nullptr)
        tellCopies(shell, numbers, *offsetMap);
    return result;
}

void MeshOffsetImpl::tellCopies(detail::OffsetShell const& shell,
                                ArrayMap<TopoMeshVertex, int> const& numbers,
                                Array<int>& offsetMap) const {
    offsetMap.setSize(mesh_.getNumVertices());
    for (int v = 0; v < offsetMap.size(); ++v) {
        TopoMeshVertex const copy = shell.copyOf(static_cast<std::size_t>(v));
        offsetMap[v] = copy ? numbers.find(copy) : -1;
    }
}

std::unique_ptr<CompactMesh> MeshOffsetImpl::shellAlone() const {
    Array<int> sourceMap;
    std::unique_ptr<CompactMesh> result = both(&sourceMap, nullptr);

    MeshAdjTris adjTris;
    meshAdjTris(*result, adjTris);
    BitVector& vertices = result->getSelectedVertices();
    vertices.resize(result->getNumVertices());
    vertices.setBits(sourceMap.size(), sourceMap.data());
    MeshSelect select(*result, adjTris);
    select.selectAllTrianglesFromVertices();
    select.selectVerticesFromTriangles();
    MeshDeleteSelected deleteSelected(*result);
    deleteSelected();
    result->clearSelection();
    return result;
}

namespace {

CompactMesh* withNormals(std::unique_ptr<CompactMesh> mesh) {
    meshComputeNormals(*mesh);
    return mesh.release();
}

}  // namespace

MeshOffset::MeshOffset(CompactMesh const& mesh, Octree const& octree,
                       MeshBoundaries const& boundaries, MeshAdjTris const& adjTris,
                       double distance)
    : impl_(new MeshOffsetImpl(mesh, octree, boundaries, adjTris, distance)), ownsImpl_(true) {
    assert(detail::countsMatch(octree, mesh) && detail::countsMatch(adjTris, mesh));
    assert(detail::areBoundariesOf(boundaries, mesh));
}

MeshOffset::MeshOffset(MeshOffset const& other) : impl_(other.impl_), ownsImpl_(false) {}

MeshOffset::~MeshOffset() {
    if (ownsImpl_)
        delete impl_;
}

CompactMesh* MeshOffset::calculate(bool both) {
    return withNormals(both ? impl_->both(nullptr, nullptr) : impl_->shellAlone());
}

CompactMesh* MeshOffset::calculate(Array<int>& sourceMap, Array<int>& offsetMap) {
    return withNormals(impl_->both(&sourceMap, &offsetMap));
}

}  // namespace koGeom
