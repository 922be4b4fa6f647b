#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"
#include "trimora/repair/meshHoleFill.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace trimora {

/// A border of a mesh, and what a patch over it would come to.
struct MeshHole {
    std::vector<int> vertices;  ///< in walking order, see koGeom::MeshBoundaries, each once
    double perimeter = 0.0;
    std::array<double, 3> low = {};  ///< the box round it
    std::array<double, 3> high = {};
    double patchArea = 0.0;   ///< of a flat patch, roughly
    bool looksOuter = false;  ///< that is more than a quarter of what its component has
    bool hasArea =
        true;  ///< false for a slit: a patch would be narrower than a float's step at the border, or than a thousandth of its mean edge
    bool isSeam =
        false;  ///< a slit on which vertices lie in equal places, as where a surface was not welded
    /// Predicted, by koGeom::HoleQuality: exact for the flat one but for fins, mostly within a factor of 2 for the others where the
    /// surface around is evenly dense. Over a slit every patch is flat.
    std::array<std::int64_t, 3> newTriangles = {};

    /// Not empty: it cannot be filled as things are. What is wrong, where, and what to do.
    std::string fault;
    std::optional<std::array<double, 3>> faultPlace;

    int numEdges() const { return static_cast<int>(vertices.size()); }
};

struct HolesOutcome {
    std::string refusal;  ///< not empty: nothing was looked for; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    std::vector<MeshHole> holes;
    bool cancelled = false;  ///< there are no holes in the list; the other fields mean nothing
};

/// The borders of a mesh, in the order of koGeom::meshComputeBoundary; where borders meet in a vertex each goes on beyond it.
/// A border is at fault where the surface beside it holds NaN or infinite coordinates, triangles that name a vertex twice,
/// edges of more than two triangles, or neighbours wound against one another, and when it is no loop.
///
/// refuses    a mesh whose arrays do not fit together, see faultOfMesh
/// progress   polled between the tables and before each border
/// cost       linear in the mesh, O(n log n) in the borders; on the calling thread but for tables
TRIMORA_API HolesOutcome findHoles(koGeom::CompactMesh const& mesh, koUtil::Progress& progress);

/// Which of a mesh's holes are meant.
struct HoleChoice {
    enum class Kind {
        Inner,  ///< those that do not look like an outer border
        All,
        Numbers,      ///< those of the listed ranges
        MaxEdges,     ///< those of at most `limit` edges
        MaxPerimeter  ///< those of at most `limit` in length
    };

    Kind kind = Kind::Inner;
    std::vector<std::pair<std::int64_t, std::int64_t>> ranges;  ///< first and last, from 1
    double limit = 0.0;
};

/// The chosen holes as places in the list, ascending, each once; numbers beyond the list are passed over.
TRIMORA_API std::vector<int> chooseHoles(std::vector<MeshHole> const& holes,
                                         HoleChoice const& choice);

}  // namespace trimora
