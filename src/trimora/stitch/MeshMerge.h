#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshPlacement.h"
#include "trimora/export.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class MeshMergeImpl;

/// Merges placed meshes into one, welding vertices that lie within a box tolerance of each other.
///
/// dest        receives the result; its own vertices and triangles take part first, in place
/// sources     meshes with the matrices that place them; only positions and triangles are read. A
///             placement without a mesh is skipped, and so is one of `dest`, which is not supported.
///             The list and the meshes must outlive the object and stay as they are until `merge`
/// tolerance   half-size of the box, mesh units: a vertex is welded to an earlier one whose every
///             coordinate lies within [x - tolerance, x + tolerance], in floats, bounds included. 0
///             means equal coordinates. Not below 0, nor NaN: most vertices are then in no box
///
/// A copy shares the implementation and owns nothing: it must not be used after the object that it was
/// copied from is gone.
class TRIMORA_API MeshMerge {
public:
    /// Counts the vertices and triangles. Throws std::bad_alloc when ints cannot count them.
    MeshMerge(CompactMesh& dest, ko::list<MeshPlacement> const& sources, float tolerance);
    MeshMerge(MeshMerge const& other);
    MeshMerge& operator=(MeshMerge const& other);
    ~MeshMerge();

    /// Does it. Other vertex sets, strips, lines and polygons of `dest` are dropped by the one Topology
    /// modification at the end, which is sent in any case; those of the sources do not take part.
    ///
    /// order       vertices meet in the order dest, then the sources as listed; within a mesh 0, 100,
    ///             200 ..., then 1, 101, 201 ... A vertex that finds none within its box is kept and gets
    ///             the next number; one that finds some becomes the lowest-numbered of them. So chains of
    ///             vertices do not weld to one: each vertex ends within the box of the one it became
    /// triangles   those of dest, then those of the sources as listed; what welding has made degenerate
    ///             stays. A vertex that is in no box, not even its own (a NaN coordinate), is kept, but
    ///             triangles that use it get vertex 0 in its place
    /// progress    cannot be cancelled
    /// cost        O(n) on average, O(n log^2 n) at worst, whatever the order of the input; 4 bytes a
    ///             vertex that comes in and up to 60 one that stays. On the calling thread
    /// errors      std::bad_alloc; `dest` is a valid mesh then: as it was, or welded without the sources
    void merge(koUtil::Progress& progress);

private:
    MeshMergeImpl* impl_;
    bool ownsImpl_;
};

}  // namespace koGeom
