#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koLinear {
struct AffineMatrix;
}
namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;
class MeshDeviationImpl;
class Octree;
class OctreeTris;

/// Measures how far the vertices of a mesh are from a reference mesh, and on which side of it.
///
/// lifetime    reference, octree, table and progress outlive the object; the first three do not
///             change. A copy shares the working memory of its source and must not outlive it
/// threads     one call at a time
class TRIMORA_API MeshDeviation {
public:
    /// reference         its octree and table are over its own coordinates
    /// referenceMatrix   from the reference's coordinates to the world's; one that has no inverse
    ///                   leaves nothing to measure by
    /// progress          may be null
    MeshDeviation(CompactMesh const& reference, AffineMatrix const& referenceMatrix,
                  Octree const& octree, OctreeTris const& octreeTris, koUtil::Progress* progress);
    MeshDeviation(MeshDeviation const& other);
    MeshDeviation& operator=(MeshDeviation const&) = delete;
    ~MeshDeviation();

    /// Writes one signed distance a vertex, in the world's units.
    ///
    /// mesh           null: nothing happens
    /// matrix         from the mesh's coordinates to the world's; read
    /// result         out: numVertices floats, the caller's; null: nothing happens
    /// nearest        the place of the reference that is nearest in the reference's own coordinates.
    ///                Where its matrix scales the axes differently that need not be the nearest
    ///                place in the world
    /// sign           below 0 where the way from the reference to the vertex leads against the
    ///                vertex's normal, as for a surface that has sunk below the reference. Vertices
    ///                without a normal count as above. `flip` turns all signs round
    /// selectedOnly   vertices that are not selected get the largest float; without a selected
    ///                vertex all are measured
    /// no triangle    an infinite distance where the reference has none that can be measured
    /// cancelled      polled every 200 vertices of a thread; the rest of its entries stay as they
    ///                were
    /// cost           one search a vertex; on the shared pool, the result does not depend on the
    ///                number of threads. A tree of the reference, some 50 bytes a triangle and 32 more
    ///                while it is made, is made when the first mesh with enough vertices is
    ///                measured, and kept; otherwise each thread needs the memory of a
    ///                MeshClosestPoint
    void calculate(CompactMesh const* mesh, AffineMatrix& matrix, float* result, bool selectedOnly,
                   bool flip);

private:
    MeshDeviationImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
