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

/// Positions and triangles alone, for edits that may be given up: the mesh itself stays as it is meanwhile.
TRIMORA_API koGeom::CompactMesh bareCopy(koGeom::CompactMesh const& mesh);

/// The power of two by which lengths are scaled before work that rests on tolerances of a fixed size, or that squares
/// floats: 1 for a diagonal between 2^-7 and 2^33, else what brings it to about 1. Scaling so and back is exact but for
/// coordinates that are nothing beside the mesh.
TRIMORA_API double unitScale(double diagonal);

/// Multiplies all coordinates; sends nothing. A scale of 1 costs nothing.
TRIMORA_API void scaleVertices(koGeom::CompactMesh& mesh, double scale);

/// Ends an edit of a bare copy: the mesh takes the copy's place, without its vertex sets and selections.
///
/// returns     the names of the sets that were dropped, see dropVertexSets
/// sends       one Topology modification
TRIMORA_API std::vector<std::string> replaceMesh(koGeom::CompactMesh& mesh,
                                                 koGeom::CompactMesh& edited);

/// Removes the vertices that no triangle uses; the others keep their order.
///
/// mesh        without vertex sets, see dropVertexSets, and without selections
/// returns     how many there were
/// sends       one Topology modification if there were any
TRIMORA_API int removeUnusedVertices(koGeom::CompactMesh& mesh);

}  // namespace trimora
