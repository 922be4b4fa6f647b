#pragma once

#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class Octree;
class OctreeLines;

/// For each vertex at the end of a line, the lines of the same mesh that pass within a distance of it.
///
///         o-------o-------o        the vertex x has the two lines of the upper strip nearest to it,
///            .  '                  never the two that end in x itself
///     o----x-----o-----o
///
/// mesh         lines with indices in range; read, not kept up to date
/// octree       over the mesh's vertices
/// octreeLines  the lines in its voxels. All three must outlive the object
/// threads      computed on the calling thread; queries may run together
class TRIMORA_API MeshLineProximity {
public:
    MeshLineProximity(CompactMesh const& mesh, Octree const& octree,
                      OctreeLines const& octreeLines);

    /// Fills the whole table anew.
    ///
    /// distance    in mesh units. What lies exactly at the distance is not close; nothing is close when
    ///             it is not above 0 (NaN included) or when its square vanishes in single precision
    /// cost        one walk over the voxels near each vertex; four bytes for each line that is close to
    ///             one, twice while it works
    /// errors      std::bad_alloc when there are more such pairs than ints can count, the table as it was
    void compute(double distance);

    /// How many lines are close to the vertex; 0 before `compute` and for a number that is no vertex's.
    int numLines(int vertex) const { return isVertex(vertex) ? closeLines_.getSetSize(vertex) : 0; }
    /// The first of their numbers, the others follow: in the order of discovery, that is by voxel and
    /// ascending within a voxel, each once. Not to be read when there are none.
    int const* lineIndices(int vertex) const {
        return isVertex(vertex) ? closeLines_.getSet(vertex) : nullptr;
    }

    /// Whether each point of line strip B is close to a line that starts on strip A. Directed: A may
    /// be far longer than B. An empty strip is close to any; a number that is no strip's is close to none.
    bool checkClose(int stripA, int stripB) const;
    /// The same in both directions.
    bool checkLineStripsClose(int stripA, int stripB) const {
        return checkClose(stripA, stripB) && checkClose(stripB, stripA);
    }

private:
    bool isVertex(int vertex) const {
        return static_cast<unsigned>(vertex) < static_cast<unsigned>(closeLines_.getNumSets());
    }

    CompactMesh const& mesh_;
    Octree const& octree_;
    OctreeLines const& octreeLines_;
    ArrayOfSets closeLines_;  ///< one set a vertex
};

}  // namespace koGeom
