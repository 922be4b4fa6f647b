#pragma once

#include "toolkit/meshCounts.h"

#include "trimora/contract/koUtil/Progress.h"

#include <optional>
#include <string>
#include <vector>

namespace trimora {

enum class ReduceMethod {
    Fraction,  ///< vertex removal until a fraction of the vertices is left
    Tolerance,  ///< vertex removal as far as every vertex of the mesh stays within a length of the result
    Collapse  ///< edge collapse until a fraction of the triangles is left
};

struct ReduceOptions {
    ReduceMethod method = ReduceMethod::Fraction;
    double value = 1.0;  ///< the fraction of the used vertices or of the triangles, or the length
};

struct ReduceOutcome {
    MeshCounts before;
    MeshCounts after;
    std::string stopped;  ///< "target", "tolerance", "nothingLeft", "onePercent" or "cancelled"
    std::optional<int> passes;           ///< of vertex removal
    std::optional<double> maxDeviation;  ///< what the tolerance form itself found
    int unusedVertices = 0;              ///< that no triangle used, removed first
    /// Closed pieces that came down to two triangles on the same three vertices: no volume is left in them.
    int flattenedPieces = 0;
    /// Edges of more than two triangles in what is left, which no reducer removes; counted when nothing more could go.
    int nonManifoldEdges = 0;
    std::vector<std::string> dropped;  ///< vertex sets that the mesh had, see dropVertexSets
    double seconds = 0.0;              ///< of the reduction alone
    bool cancelled = false;            ///< the mesh is valid and partly reduced
    std::string refusal;               ///< not empty: nothing was changed; why, and what to do
};

/// Reduces a mesh to fewer triangles.
///
/// mesh        edited in place: renumbered, without its vertex sets, selections empty. Untouched, sets and all, when it is
///             refused, and when it has vertex sets and nothing can go. Of any size: very small and very large ones
///             are scaled meanwhile, see unitScale
/// refuses     for edge collapse a target below 4 triangles a component, which is what a closed surface needs
/// progress    polled before anything is removed, and by vertex removal; edge collapse does not look at it again
/// cost        see meshReduceToFraction, meshReduceWithTolerance and meshReduceByEdgeCollapse
TRIMORA_API ReduceOutcome reduceMesh(koGeom::CompactMesh& mesh, ReduceOptions const& options,
                                     koUtil::Progress& progress);

/// A sentence on why it stopped.
TRIMORA_API std::string stopInWords(ReduceOutcome const& outcome);

}  // namespace trimora
