#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/Remap.h"

#include <doctest/doctest.h>

using namespace koGeom;

TEST_CASE("aModificationTellsWhatItWasMadeWith") {
    CompactMesh mesh;
    Remap vertices;
    MeshRemap remap(&vertices, nullptr);
    MeshModification const modification(&mesh, MeshModification::Topology, &remap);
    CHECK(modification.getEntity() == &mesh);
    CHECK(modification.getType() == MeshModification::Topology);
    CHECK(modification.getRemap()->vertices == &vertices);
    CHECK(modification.getRemap()->triangles == nullptr);
}

TEST_CASE("setsWithAMarkerOfTheirOwnAreMarkedByNameToo") {
    CompactMesh mesh;
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    modification.vertexAttribsModified("uvs");
    CHECK(modification.isModified(MeshModification::UVs));
    CHECK_FALSE(modification.isModified(MeshModification::Normals));
    modification.vertexAttribsModified(PointMesh::NormalsName);
    modification.vertexAttribsModified("sts");
    modification.vertexAttribsModified("sts");
    CHECK(modification.keeps(MeshModification::Normals));
    CHECK(modification.keeps(MeshModification::STs));
    CHECK(modification.modifiedVertexAttribs().size() == 3);

    modification.coloursValid();
    CHECK(modification.keepsVertexAttribs("colours"));
    CHECK_FALSE(modification.keepsVertexAttribs("weights"));
    CHECK_FALSE(modification.keepsVertexAttribs("UVS"));
}
