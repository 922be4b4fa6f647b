#pragma once

#include "trimora/contract/koOS/Filename.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class TopoMesh;

/// Reads a mesh in the plain indexed format: a line of two counts, one line x y z a vertex, one line "n i j k ..." a
/// face with its count of corners and its vertices from 0. Any white space separates the numbers.
///
/// This is the exact counterpart of meshWrite and trusts the file: it says nothing about one that is not as it should
/// be. For files of unknown origin use trimora::readMesh of the toolkit, which reports all that it meets.
///
/// mesh      out: replaced as by assignment, selections and attributes included; sends no modification
/// losses    a face's own count is read and thrown away, and three indices are expected: one larger face puts all that
///           follow out of step. Numbers in the file that are too short, malformed or absent are not reported: reading
///           stops there, and the coordinates and triangles not read are 0 (without vertices there are no triangles).
///           The same happens at an index out of range
/// refused   a file that cannot be opened, and counts below 0 or beyond what the file's size can hold: nothing changes
/// cost      linear; memory about four times the size of the file
TRIMORA_API void meshRead(CompactMesh& mesh, koOS::Filename const& name);

/// The same with faces of any size, in double.
///
/// mesh      in and out: the vertices and faces are appended to those it has
/// losses    a face with fewer than three corners is left out; at a malformed number or an index out of range the
///           reading stops, and the faces that come before stay
/// sends     the modification of meshTwin, if it links anything, and then one of type Topology; nothing when refused
TRIMORA_API void meshRead(TopoMesh& mesh, koOS::Filename const& name);

}  // namespace koGeom
