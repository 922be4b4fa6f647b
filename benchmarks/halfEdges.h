#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <memory>
#include <vector>

namespace bench {

/// The mesh in half-edge form, allocated in bulk.
inline std::unique_ptr<koGeom::TopoMesh> topoMeshOf(koGeom::CompactMesh const& mesh) {
    std::vector<koGeom::Point> points;
    points.reserve(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        points.push_back(mesh.getVertices()[v].asPoint());
    auto topo = std::make_unique<koGeom::TopoMesh>();
    topo->allocFaces(mesh.getNumVertices(), points.data(), mesh.getNumTriangles(), 3,
                     mesh.getTrianglesRaw());
    return topo;
}

}  // namespace bench
