#pragma once

#include "trimora/contract/koOS/Filename.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class TopoMesh;

/// Writes a mesh in the plain indexed format that meshRead reads.
///
/// losses    positions to ten significant digits (floats come back exactly) and triangles, nothing else
/// refused   a file that cannot be opened, without a word; an error while writing is not looked at. Use
///           trimora::writeMesh of the toolkit where a half written file matters
/// cost      linear
TRIMORA_API void meshWrite(CompactMesh const& mesh, koOS::Filename const& name);

/// The same with faces of any size; positions are rounded to ten significant digits.
///
/// order     vertices are numbered as they stand in the mesh's list; a face starts at its first edge
TRIMORA_API void meshWrite(TopoMesh& mesh, koOS::Filename const& name);

}  // namespace koGeom
