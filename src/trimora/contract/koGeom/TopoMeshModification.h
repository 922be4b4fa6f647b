#pragma once

#include "trimora/contract/koGeom/Entity.h"

namespace koGeom {

class TopoMesh;

/// News of a change to a `TopoMesh`, passed to `TopoMesh::modified`.
class TRIMORA_API TopoMeshModification : public EntityModification {
public:
    enum Type : int {
        Geometry = 0,  ///< positions moved, connectivity the same
        Topology = 1,  ///< connectivity of the whole mesh may have changed
    };

    TopoMeshModification(TopoMesh const* mesh, Type type);
    TopoMeshModification(TopoMesh const& mesh, Type type);
    ~TopoMeshModification() override;

    Type getType() const { return type_; }

private:
    Type type_;
};

}  // namespace koGeom
