#pragma once

#include "toolkit/mapDistortion.h"

#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// What becomes of the vertices on a cut, which have a place in the plane for each side of it.
enum class SeamForm {
    Split,  ///< the further ones get a vertex of their own at the same position: the mesh is open along the cut
    Keep  ///< a vertex keeps one of its places: triangles beside the seam stretch over the map
};

struct FlattenOptions {
    bool each = false;  ///< flatten each component by itself, and lay them side by side
    SeamForm seams = SeamForm::Split;
};

/// The flat map of one component.
struct FlatChart {
    int triangles = 0;
    int genus = 0;       ///< of the component as it was
    int boundaries = 0;  ///< likewise
    bool isCut = false;  ///< it was no disk, even with its holes closed, and was cut open
    int solverCode = 0;  ///< koGeom::ConjugateGradient::StatusCode
    int iterations = 0;
};

struct FlattenOutcome {
    std::string refusal;  ///< not empty: nothing was changed; what is wrong, where, and what to do
    std::optional<std::array<double, 3>> problemPoint;  ///< where, when the refusal has a place
    bool isNonfinite = false;       ///< refused for a NaN or infinite coordinate
    std::vector<FlatChart> charts;  ///< by their lowest triangle
    std::vector<int> chartOf;       ///< of each triangle
    CornerUVs corners;              ///< the map itself, whatever became of the seams
    int unusedVertices =
        0;  ///< that no triangle uses: left out of the work; they have the coordinates 0, 0
    int verticesAdded = 0;  ///< along seams, SeamForm::Split
    int seamTriangles = 0;  ///< that stretch over the map, SeamForm::Keep
    double seconds = 0.0;
    bool cancelled = false;  ///< nothing was changed
};

/// Gives a mesh texture coordinates in the unit square that keep its angles as well as may be.
///
/// Each component is brought to a size of 100 for the work, where the solver's absolute tolerances mean what they should; what is
/// written does not show it. Vertices at equal positions stay apart, so that a surface that was cut open by hand is
/// flattened along that cut. Components are sized by their areas when there are several.
///
/// mesh       receives "uvs"; with SeamForm::Split further vertices at the end, with copies of what the mesh holds for
///            theirs. Numbers and order stay
/// refuses    no triangles; several components unless `each`; a surface that is no oriented manifold, or holds NaN or infinite
///            coordinates; one without extent; a hole inside a disk of more than maxPolygonCorners
/// sends      one Attributes modification, Topology where vertices were added
/// progress   polled but for the cut
/// cost       see koGeom::reparameterizeMesh
TRIMORA_API FlattenOutcome flattenMesh(koGeom::CompactMesh& mesh, FlattenOptions const& options,
                                       koUtil::Progress& progress);

/// How the solver ended, in words.
TRIMORA_API char const* solverInWords(int code);

}  // namespace trimora
