#pragma once

#include "toolkit/surfaceFault.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// Why the triangles of a sound mesh cannot be joined to faces; no text: they can. `trianglePolygon` as fillTopoMesh takes it.
TRIMORA_API SurfaceFault faultOfFaces(koGeom::CompactMesh const& mesh,
                                      std::vector<int> const& trianglePolygon);

/// Puts the faces of a mesh into an empty half-edge mesh: vertices and faces in the order of the mesh, edges linked by
/// meshTwin.
///
/// trianglePolygon   the face of each triangle, as ReadReport::trianglePolygon tells it: triangles of one face, a fan from
///                   its first corner, become one face again. Empty: each triangle is a face
/// returns           the number of faces
/// cost              linear; 232 bytes a triangle
/// throws            std::invalid_argument for a mesh or faces that are none, see faultOfMesh and faultOfFaces, which operations
///                   ask first
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

struct SubdivideOutcome {
    std::string refusal;  ///< not empty: there is no result; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    koGeom::CompactMesh mesh;  ///< quads, see polygonMesh
    bool cancelled = false;    ///< there is no result; the other fields mean nothing
};

/// Catmull-Clark subdivision of a mesh, `levels` times.
///
/// trianglePolygon   see fillTopoMesh
/// levels            1 or more; numSubdividedQuads has to be at most maxSubdividedQuads
/// refuses           meshes and faces that are none, levels out of these bounds
/// progress          polled between the levels and the steps around them
/// cost              linear in the result, see computeSubdivMesh; on the calling thread
TRIMORA_API SubdivideOutcome subdivideMesh(koGeom::CompactMesh const& mesh,
                                           std::vector<int> const& trianglePolygon, int levels,
                                           koUtil::Progress& progress);

}  // namespace trimora
