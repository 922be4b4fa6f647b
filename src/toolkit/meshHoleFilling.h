#pragma once

#include "toolkit/meshHoles.h"

#include "trimora/contract/koUtil/Progress.h"

#include <string>
#include <vector>

namespace trimora {

/// What became of a hole, and why.
enum class HoleFate {
    NotChosen,
    Filled,
    Fin,            ///< refused: fins hang into it that would leave loose vertices behind
    EdgesInTheWay,  ///< refused: any patch would double edges that are there
    LoneTriangle,  ///< refused: the border is that of a single triangle, whose back a patch would be
    TooLarge,      ///< refused: more corners, or more new triangles predicted, than allowed
    NoFixedNeighbour,  ///< refused: a faired patch would have nothing to hold on to
    BadSurface,        ///< refused: see MeshHole::fault
    Cancelled          ///< not begun, or given up half-way
};

struct FillOptions {
    koGeom::HoleQuality quality = koGeom::HoleQualityFair;
    std::int64_t maxTriangles = 1000000;  ///< predicted for one patch
};

struct FilledHole {
    HoleFate fate = HoleFate::NotChosen;
    std::string
        words;  ///< not empty unless filled or not chosen: what is wrong, where, and what to do
    std::optional<std::array<double, 3>> place;
    int trianglesAdded = 0;  ///< less those of fins that went
    int verticesAdded = 0;   ///< likewise
    int finsRemoved =
        0;  ///< single triangles that touched the border across with their tip, each gone with its vertex there
};

struct FillOutcome {
    std::string refusal;  ///< not empty: nothing was filled; a mesh or a list of holes that is none
    std::optional<std::array<double, 3>> problemPoint;
    std::vector<FilledHole> holes;     ///< one for each hole of the list
    std::vector<std::string> dropped;  ///< vertex sets that the mesh had, see dropVertexSets
    bool cancelled = false;  ///< the mesh is valid: some of the chosen holes are filled, whole
    double seconds = 0.0;    ///< of the filling alone

    TRIMORA_API int count(HoleFate fate) const;
};

/// Judges beforehand which of the chosen holes can be filled: the fate of those that cannot; Filled for those that will be
/// tried.
TRIMORA_API std::vector<FilledHole> planFilling(koGeom::CompactMesh const& mesh,
                                                std::vector<MeshHole> const& holes,
                                                std::vector<int> const& chosen,
                                                FillOptions const& options);

/// Fills chosen holes, the small ones together, then the large ones one by one, the smaller first.
///
/// Works at a size at which the edges round the holes have a length of about 1, to which the library's absolute tolerances
/// are fitting: scaled by a power of two, which changes no digit.
///
/// mesh       edited in place around the holes, renumbered, and without its vertex sets; if none could be filled it is as
///            it was
/// holes      see findHoles, of the mesh as it stands. Slits get flat patches, whatever the quality: triangles without area
/// chosen     see chooseHoles
/// progress   the share of the work that is done; cancelled: what was filled until then stays
/// sends      one Topology modification if any hole was filled
/// cost       see koGeom::meshHoleFill; a few passes over the mesh, and as many for each large hole
TRIMORA_API FillOutcome fillHoles(koGeom::CompactMesh& mesh, std::vector<MeshHole> const& holes,
                                  std::vector<int> const& chosen, FillOptions const& options,
                                  koUtil::Progress& progress);

/// One word that scripts can rely on: "filled", "fin", "edgesInTheWay" ...
TRIMORA_API char const* nameOfFate(HoleFate fate);

}  // namespace trimora
