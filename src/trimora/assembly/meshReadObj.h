#pragma once

#include "trimora/contract/koOS/Filename.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Reads positions and faces of an OBJ file, and deliberately no more than that.
///
/// This reader loses what many programs write. Use trimora::readMesh of the toolkit for files of unknown origin: it
/// keeps every face, texture coordinates and normals, and reports the rest.
///
/// mesh      out: vertices and faces are replaced. When every face has three corners they become its triangles; one
///           larger face makes all of them polygons (`polys`), and the triangles it had stay for as long as their
///           indices are in range. Other index arrays that would point beyond the vertices go. Sends no modification
/// losses    a face line that ends in a blank, a tab or a CR loses its face: so files with CR LF line ends, and those
///           of meshWriteObj for a mesh without normals and texture coordinates, come back with vertices alone.
///           Faces with negative (relative) indices, with an index beyond the vertices or with fewer than three
///           corners go, without a report. Texture coordinates, normals, groups and materials are skipped. A word of a
///           line has to be followed by a blank, not a tab. A coordinate that is no number is 0, and so are those
///           behind it; one that a float cannot hold counts as none
/// returns   false, with the mesh as it was, when the file cannot be opened or read, or has more vertices or corners
///           than 32-bit indices can name; true in all other cases
/// cost      linear; memory about three times the size of the file
TRIMORA_API bool meshReadObj(CompactMesh& mesh, koOS::Filename const& name);

}  // namespace koGeom
