#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <string>
#include <vector>

namespace trimora {

/// Drops texture coordinates, normals and all other sets but the positions, for edits that make new vertices: nothing
/// would be known of these there.
///
/// returns     the names of what was dropped; computed normals are dropped without being named
/// sends       one Attributes modification if anything was dropped
TRIMORA_API std::vector<std::string> dropVertexSets(koGeom::CompactMesh& mesh);

/// Removes the vertices that no triangle uses; the others keep their order.
///
/// mesh        without vertex sets, see dropVertexSets, and without selections
/// returns     how many there were
/// sends       one Topology modification if there were any
TRIMORA_API int removeUnusedVertices(koGeom::CompactMesh& mesh);

}  // namespace trimora
