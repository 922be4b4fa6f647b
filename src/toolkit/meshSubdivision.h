#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// Puts the faces of a mesh into an empty half-edge mesh: vertices and faces in the order of the mesh, edges linked by
/// meshTwin.
///
/// trianglePolygon   the face of each triangle, as ReadReport::trianglePolygon tells it: triangles of one face, a fan from
///                   its first corner, become one face again. Empty: each triangle is a face
/// returns           the number of faces
/// cost              linear; 232 bytes a triangle
TRIMORA_API int fillTopoMesh(koGeom::TopoMesh& topoMesh, koGeom::CompactMesh const& mesh,
                             std::vector<int> const& trianglePolygon);

/// A mesh of polygons (CompactMesh::polys) without triangles: the faces of a half-edge mesh in their order, each from its
/// first edge; positions are narrowed to floats.
TRIMORA_API koGeom::CompactMesh polygonMesh(koGeom::TopoMesh const& topoMesh);

/// How many quads a subdivision gives, in doubles since ints may not hold it.
///
/// numTriangles   of the mesh
/// numFaces       of the mesh; less than its triangles when it has larger polygons
/// levels         1 or more
TRIMORA_API double numSubdividedQuads(int numTriangles, int numFaces, int levels);

/// Most quads that the half-edge mesh can number.
inline constexpr double maxSubdividedQuads = 500e6;

/// Catmull-Clark subdivision of a mesh, `levels` times.
///
/// trianglePolygon   see fillTopoMesh
/// levels            1 or more; numSubdividedQuads has to be at most maxSubdividedQuads
/// returns           a mesh of quads, see polygonMesh
/// cost              linear in the result, see computeSubdivMesh; on the calling thread
/// throws      std::invalid_argument for a mesh whose arrays do not fit together, see requireSoundMesh
TRIMORA_API koGeom::CompactMesh subdivideMesh(koGeom::CompactMesh const& mesh,
                                              std::vector<int> const& trianglePolygon, int levels);

}  // namespace trimora
