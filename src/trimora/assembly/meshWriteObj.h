#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koOS/Filename.h"
#include "trimora/contract/koUtil/Color.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshSubset;

/// Writes the triangles of a mesh as OBJ, with its normals and texture coordinates.
///
/// losses    numbers have six significant digits: positions come back rounded. Polygons, lines, strips, fans,
///           selections and the second texture coordinates are not written. Without normals and texture coordinates
///           every face line ends in a blank, and meshReadObj then drops all faces (trimora::readMesh of the toolkit
///           reads them). Use trimora::writeMesh of the toolkit to get the same floats back
/// returns   false when the file cannot be opened; true in all other cases, an error while writing included
/// cost      linear
TRIMORA_API bool meshWriteObj(CompactMesh const& mesh, koOS::Filename const& name);

/// The same with a material for each subset, and a material file beside it: the name with its extension replaced by
/// ".mtl".
///
/// subsets   for each, in order, a line "usemtl mat<position>" and its triangles in its order; a triangle in no subset
///           is not written, one in two subsets twice. Null subsets and indices out of range are passed over
/// colors    for each a material "mat<position>"; nothing compares the two lengths
/// returns   as above; a material file that cannot be opened is not reported
TRIMORA_API bool meshWriteObj(CompactMesh const& mesh,
                              ko::list<ko::Reference<MeshSubset>> const& subsets,
                              ko::list<koUtil::Color> const& colors, koOS::Filename const& name);

}  // namespace koGeom
