#pragma once

#include "trimora/export.h"

namespace koGeom {

class TopoMesh;

/// Aids for whoever debugs the edits of a reduction; nothing calls them but tests.
namespace detail {

/// Writes the mesh as text: "v x y z" a vertex in list order, then "f i j k" a face by the numbers of its first three
/// corners, from 1. Takes blind slot 0 of the vertices. Nothing is written when the file cannot be opened.
TRIMORA_API void dumpTopoMesh(TopoMesh const& mesh, char const* path);

/// Whether every face has three corners and no two of its edges lead to the same face.
TRIMORA_API bool hasSoundTriangles(TopoMesh const& mesh);

}  // namespace detail
}  // namespace koGeom
