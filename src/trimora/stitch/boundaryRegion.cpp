#include "trimora/stitch/detail/boundaryRegion.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/topology/MeshModifyRep.h"

namespace koGeom::detail {

bool tablesFit(CompactMesh const& mesh, MeshAdjTris const& adjTris,
               MeshBoundaries const& boundaries) {
    int const numVertices = mesh.getNumVertices();
    if (adjTris.getData().getNumSets() != numVertices)
        return false;
    for (int b = 0; b < boundaries.size(); ++b)
        for (int const* v = boundaries.getStart(b); v != boundaries.getEnd(b); ++v)
            if (*v < 0 || *v >= numVertices)
                return false;
    return true;
}

std::unique_ptr<MeshModifyRep> boundaryRegion(CompactMesh& mesh, MeshAdjTris const& adjTris,
                                              MeshBoundaries const& boundaries) {
    BitVector vertices(mesh.getNumVertices());
    BitVector triangles(mesh.getNumTriangles());
    for (int b = 0; b < boundaries.size(); ++b)
        vertices.setBits(boundaries.getLength(b), boundaries.getStart(b));
    MeshSelect select(mesh, adjTris, triangles, vertices);
    for (int ring = 0; ring < 2; ++ring) {
        select.selectAllTrianglesFromVertices();
        select.selectVerticesFromTriangles();
    }
    return std::make_unique<MeshModifyRep>(mesh, triangles, vertices, adjTris);
}

}  // namespace koGeom::detail
