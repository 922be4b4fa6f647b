#include "trimora/contract/koGeom/TopoMesh.h"

namespace koGeom {

TopoMeshModification::TopoMeshModification(TopoMesh const* mesh, Type type)
    : EntityModification(mesh), type_(type) {}

TopoMeshModification::TopoMeshModification(TopoMesh const& mesh, Type type)
    : TopoMeshModification(&mesh, type) {}

TopoMeshModification::~TopoMeshModification() = default;

}  // namespace koGeom
