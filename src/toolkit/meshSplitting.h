#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <cstddef>
#include <string>
#include <vector>

namespace trimora {

struct SplitOptions {
    enum class By {
        Vertices,  ///< pieces of bounded size that share the vertices along their seams, see koGeom::MeshPartition
        Components  ///< the parts that do not hang together, the largest first
    };

    By by = By::Components;
    int maxVertices = 0;          ///< of a piece, by vertices; 4 or more
    std::size_t maxParts = 1000;  ///< more of them are refused
};

struct SplitOutcome {
    std::string refusal;     ///< not empty: there are no parts; what is wrong, and what to do
    bool isTooMany = false;  ///< refused for the number of parts
    std::vector<koGeom::CompactMesh> parts;
    int sharedVertices = 0;  ///< of the mesh, that are in several parts
    int unusedVertices = 0;  ///< of the mesh, that no triangle uses: in no part
    double seconds = 0.0;
    bool cancelled = false;  ///< there are no parts; the other fields mean nothing
};

/// Splits a mesh into meshes of their own.
///
/// order       of bounded size: as they grow, vertices and triangles in the order in which they came in. Components: by triangles,
///             descending, equal ones by their lowest triangle; vertices and triangles keep their order
/// carried     all vertex sets
/// refuses     no triangles; a size below 4; more parts than allowed
/// progress    polled between parts
/// cost        linear, on the calling thread but for tables
TRIMORA_API SplitOutcome splitMesh(koGeom::CompactMesh const& mesh, SplitOptions const& options,
                                   koUtil::Progress& progress);

}  // namespace trimora
