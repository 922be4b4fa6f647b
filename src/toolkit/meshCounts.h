#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <cstdint>
#include <string>

namespace trimora {

/// The size of a mesh, and how it hangs together.
struct MeshCounts {
    int vertices = 0;
    int triangles = 0;
    int components = 0;  ///< parts linked through shared vertices
    int boundaries =
        0;  ///< loops of open edges; where two meet in a vertex both are whole, as in findHoles
};

/// throws      std::invalid_argument for a mesh whose arrays do not fit together, see requireSoundMesh
TRIMORA_API MeshCounts countMesh(koGeom::CompactMesh const& mesh);

/// Length of the diagonal of the box round all finite vertices.
TRIMORA_API double diagonalOf(koGeom::CompactMesh const& mesh);

/// The box round all vertices, as koGeom::meshBoundingBox; throws std::invalid_argument for a mesh that is none, see
/// requireSoundMesh.
TRIMORA_API void boxOfVertices(koGeom::CompactMesh const& mesh, double low[3], double high[3]);

/// The area of all triangles; throws std::invalid_argument for a mesh that is none, see requireSoundMesh.
TRIMORA_API double surfaceArea(koGeom::CompactMesh const& mesh);

/// Vertices with a coordinate that is NaN or infinite.
TRIMORA_API int numNonfiniteVertices(koGeom::CompactMesh const& mesh);

/// A position in words, "1.5 0 -2".
TRIMORA_API std::string positionInWords(koLinear::Point const& position);

/// A count with what it counts, "1 edge" or "2 edges"; the plural is the singular with an s unless it is given.
TRIMORA_API std::string countInWords(std::int64_t count, std::string const& singular,
                                     std::string const& plural = {});

/// Bytes in words, "1.5 GiB".
TRIMORA_API std::string bytesInWords(double bytes);

}  // namespace trimora
