#pragma once

#include "toolkit/meshDiagnosis.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <cstdint>
#include <vector>

namespace trimora {

/// What a page draws of a mesh.
struct PageMesh {
    std::vector<float> positions;  ///< x y z a vertex, as in the mesh; not finite ones stay so
    std::vector<std::uint32_t> corners;  ///< 3 a triangle; of finite vertices alone
    std::vector<std::uint32_t>
        vertexNumbers;  ///< in the mesh, ascending; empty: the vertices' own places
    std::vector<std::uint32_t> triangleNumbers;  ///< likewise
    std::int64_t leftOut =
        0;  ///< triangles of the mesh with a corner that is not there or not finite
    bool isThinned = false;
};

/// All of a mesh, or when it is larger than that, about as many triangles as `mostTriangles`: vertices of one cell of
/// a grid become one of them, triangles that still have three vertices stay under their numbers, of equal ones the first.
///
/// diagnosis       whose places stay whole; of more than half of `mostTriangles` those of the first findings
/// mostTriangles   1 or more; vertices that no triangle uses may be three times as many
/// cost            linear; with thinning O(n log n), a few rounds
TRIMORA_API PageMesh choosePageMesh(koGeom::CompactMesh const& mesh, Diagnosis const& diagnosis,
                                    int mostTriangles);

}  // namespace trimora
