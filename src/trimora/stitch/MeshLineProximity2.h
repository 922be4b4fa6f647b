#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/export.h"
#include "trimora/spatial/octreeIterators.h"

namespace koGeom {

class CompactMesh;
class OctreeLines;

/// What MeshLineProximity answers, one vertex at a time and without a table: many threads may ask one
/// `Alg`, each with a `Context` of its own.
namespace MeshLineProximity2 {

/// What a thread needs for its queries. Filled by Alg::getCloseLines, which alone changes it.
class TRIMORA_API Context : public ko::ReferenceCount {
public:
    /// For an Alg whose mesh has `lineCount` lines, in its octree.
    Context(int lineCount, Octree const& octree);
    ~Context() override;

    int lineCount;
    unsigned int stamp = 1;           ///< the query in hand; goes round before 0xFFFFFFFF
    ko::vector<unsigned int> stamps;  ///< of the last query that met the line
    Array<int> result;                ///< `lineCount` entries, the leading ones in use
    OctreeBBoxIntersectIt voxels;
};

/// mesh         lines with indices in range
/// octree       over the mesh's vertices
/// octreeLines  the lines in its voxels. All three must outlive the object and its copies
/// threads      `compute` and copying on one thread; after that any number of queries at once
class TRIMORA_API Alg {
public:
    Alg(CompactMesh const& mesh, Octree const& octree, OctreeLines const& octreeLines);
    /// Copies the prepared bounds too.
    Alg(Alg const& other);
    Alg& operator=(Alg const&) = delete;
    ~Alg();

    /// Prepares the bounds of the lines and sets the distance. Must run before any query, and again
    /// when the mesh has changed; before it no line is close.
    ///
    /// distance    in mesh units; nothing is close when it is not above 0, NaN included
    void compute(float distance);

    /// A context that fits this object.
    ko::Reference<Context> allocContext();

    /// The lines that pass within the distance of a vertex, those that end in it left out.
    ///
    /// context     from allocContext of this object or of a copy; no other thread may use it meanwhile
    /// lines       out: their numbers in the order of discovery (by voxel, ascending within a voxel),
    ///             each once; good until the next call on this context. Null for a mesh without lines
    /// returns     how many there are; what lies exactly at the distance is not close
    int getCloseLines(Context& context, int vertex, int const*& lines);

private:
    /// A ball about the midpoint that holds the line.
    struct LineBound {
        float x, y, z;
        float radius;
    };

    bool isClose(PointFlt const& p, int line) const;

    CompactMesh const& mesh_;
    Octree const& octree_;
    OctreeLines const& octreeLines_;
    Array<LineBound> lineBounds_;  ///< one a line, none before `compute`
    MeshVertex const* vertices_;
    MeshLine const* lines_;
    int numLines_;
    float distance_ = 0.0f;
    float distanceSquared_ = 0.0f;
};

}  // namespace MeshLineProximity2

}  // namespace koGeom
