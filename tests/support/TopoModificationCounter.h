#pragma once

#include "trimora/contract/koGeom/TopoMesh.h"

#include <vector>

namespace support {

/// Counts the modification signals of one half-edge mesh while it lives.
class TopoModificationCounter {
public:
    explicit TopoModificationCounter(koGeom::TopoMesh& mesh)
        : connection_(mesh.modificationSignal().addCallback(
              new koRTB::FunctionArgMember<koGeom::EntityModification&, TopoModificationCounter>(
                  this, &TopoModificationCounter::received))) {}
    ~TopoModificationCounter() { connection_->disconnect(); }
    TopoModificationCounter(TopoModificationCounter const&) = delete;
    TopoModificationCounter& operator=(TopoModificationCounter const&) = delete;

    int total() const { return static_cast<int>(types_.size()); }
    /// Types of the modifications, in order.
    std::vector<int> const& types() const { return types_; }

private:
    void received(koGeom::EntityModification& modification) {
        types_.push_back(static_cast<koGeom::TopoMeshModification&>(modification).getType());
    }

    koRTB::Connection* connection_;
    std::vector<int> types_;
};

}  // namespace support
