#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// Where the open edges of a mesh lead, along the direction that the triangles give them.
struct BorderLoop {
    std::vector<int> vertices;  ///< the lowest first, each once
    bool isClosed =
        true;  ///< false where the edges end, as they do where triangles are wound against one another
};

/// The borders of a mesh as loops that pass through no vertex twice. Where borders meet in a vertex a loop goes on along the
/// gap that it bounds: koGeom::meshComputeBoundary gives each vertex to one border and cuts the others short there;
/// without such vertices the loops and their order are the same.
///
/// order   by the lowest vertex, then by the one behind it
/// cost    linear
TRIMORA_API std::vector<BorderLoop> findBorderLoops(koGeom::CompactMesh const& mesh,
                                                    koGeom::MeshAdjTris const& adjTris);

/// How many borders there are: the loops above. Where some of them are none, the surface is not oriented, and those that
/// koGeom::meshComputeBoundary found are counted. 0 where no edge has a single triangle.
int numBorders(koGeom::CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris,
               koGeom::MeshBoundaries const& boundaries);

}  // namespace trimora
