#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

/// Distances of a mesh's vertices from the surface of another mesh, in mesh units.
struct VertexDistances {
    int vertices = 0;  ///< how many were measured; 0: the distances mean nothing
    double largest = 0.0;
    double mean = 0.0;
    double rms = 0.0;
    std::array<float, 3> where = {};  ///< the vertex that is farthest away, the lowest of equals
};

/// How far two meshes are apart.
struct MeshDistance {
    std::string refusal;  ///< not empty: nothing was measured; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    int mesh = -1;  ///< the mesh that was refused: 0 the first, 1 the second

    VertexDistances fromFirst;   ///< the first mesh's vertices to the second one's surface
    VertexDistances fromSecond;  ///< and the other way
    double diagonal = 0.0;       ///< of the box round the first mesh's measured vertices
    /// Triangles of the second mesh whose normal differs by more than 90 degrees from that of the first mesh's triangle
    /// nearest to their centre, and of all that are equally near to a millionth of the diagonal: where a surface lies on
    /// another one that faces the other way, either will do. Triangles without a normal are not counted.
    int turnedTriangles = 0;
    bool cancelled = false;  ///< the other fields mean nothing then

    /// A distance as a part of the diagonal; 0 where the mesh has no size.
    double relative(double length) const { return diagonal > 0.0 ? length / diagonal : 0.0; }
};

/// Measures how far two meshes are apart: exactly, from vertices to surfaces.
///
/// measured    the vertices that triangles use and whose coordinates are finite. The insides of triangles are not
///             sampled: of two coarse meshes the true distance can be larger
/// sizes       very small and very large meshes are scaled meanwhile, see unitScale
/// progress    polled at every 1000th distance
/// cost        two octrees, a closest point for each vertex of both and each triangle of the second; on the shared
///             pool; some 200 bytes a triangle of scratch
/// threads     the result does not depend on their number, to the last bit
/// refuses     a mesh whose arrays do not fit together, see faultOfMesh
TRIMORA_API MeshDistance measureDistance(koGeom::CompactMesh const& first,
                                         koGeom::CompactMesh const& second,
                                         koUtil::Progress& progress);

}  // namespace trimora
