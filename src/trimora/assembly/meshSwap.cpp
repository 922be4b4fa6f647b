#include "trimora/assembly/meshSwap.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"

namespace koGeom {

namespace {

// Marks everything that the mesh holds.
void markContents(MeshModification& modification, CompactMesh const& mesh) {
    for (int i = 0; MeshAttributes const* const set = mesh.getAttributes(i); ++i)
        modification.vertexAttribsModified(set->getName());
    if (mesh.getNumPolys() > 0)
        modification.polysModified();
    if (mesh.getNumTriStrips() > 0 || mesh.getNumTriFans() > 0)
        modification.stripsAndFansModified();
    if (mesh.getTriangleNormals() != nullptr)
        modification.triangleNormalsModified();
    if (mesh.getNumLines() > 0)
        modification.linesModified();
    if (mesh.getNumLineStrips() > 0)
        modification.lineStripsModified();
}

}  // namespace

void meshSwap(CompactMesh& first, CompactMesh& second) {
    first.swap(second);

    MeshModification firstModification(&first, MeshModification::Topology, nullptr);
    MeshModification secondModification(&second, MeshModification::Topology, nullptr);
    for (MeshModification* const modification : {&firstModification, &secondModification}) {
        markContents(*modification, first);
        markContents(*modification, second);
    }
    first.modified(firstModification);
    second.modified(secondModification);
}

}  // namespace koGeom
