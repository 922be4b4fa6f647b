#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Covers the triangles of a mesh with strips, greedily, for drawing.
///
/// Each strip starts at the lowest free triangle and runs on over the edge that the strip's pattern asks for until there is no free
/// neighbour; of the three edges that it could start with the one that gives the longest strip is taken. Each triangle stands in one
/// strip, with its winding.
///
/// mesh      gets the strips; outlives this object and its copies
/// adjTris   of the mesh's triangles; copied
/// copies    share the work
/// threads   one at a time, on the calling thread
class TRIMORA_API MeshTriStrip {
public:
    MeshTriStrip(CompactMesh& mesh, MeshAdjTris const& adjTris);
    MeshTriStrip(MeshTriStrip const& other);
    MeshTriStrip& operator=(MeshTriStrip const&) = delete;
    ~MeshTriStrip();

    /// Replaces the mesh's strips, takes its fans away and sends one modification of attributes, with or without triangles.
    ///
    /// maxLength     points of a strip; below 3 is 3, which is one triangle each
    /// singleStrip   true: one strip of all, joined by repeated points (triangles without area); twice as many points at most
    /// ties          between start edges go to the third, also where it gives a shorter strip than the other two
    /// cost          O(triangles) for bounded vertex degrees; 4 bytes a triangle of scratch and the strips
    void computeStrips(int maxLength, bool singleStrip);

private:
    class Impl;

    std::shared_ptr<Impl> impl_;
};

}  // namespace koGeom
