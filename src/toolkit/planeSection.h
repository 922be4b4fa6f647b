#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <deque>
#include <optional>
#include <string>

namespace trimora {

/// The points of curves on a mesh, each on an edge, on a vertex or inside a triangle; neighbours share a triangle. A
/// closed curve ends with its first point.
using SurfaceCurves = std::deque<std::deque<koGeom::MeshCoord>>;

/// The plane a x + b y + c z + d = 0, with a normal of length 1.
struct SectionPlane {
    std::array<double, 4> coefficients = {0.0, 0.0, 1.0, 0.0};

    /// Scales four numbers so that the normal has length 1; false when they are not finite or name no plane.
    TRIMORA_API bool set(std::array<double, 4> const& numbers);
};

struct SectionOutcome {
    std::string refusal;  ///< not empty: there are no curves; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    SurfaceCurves curves;
    bool cancelled = false;  ///< there are no curves; the other fields mean nothing
};

/// The curves along which a plane parts a mesh: each has points on edges, or on the vertices that lie in the plane.
///
///          \    /                        a vertex within `tolerance` of the plane lies in it: the curve
///     ------x--o---------- plane         passes through the vertex
///          /  / \                                                                  .
///
/// in the plane   an edge in the plane belongs to the section where the surface passes from one side to the other, or
///                from one side into triangles that lie in the plane, whose outline thus is a part of it. Where the
///                surface only touches the plane, at a vertex, along an edge or a border, there is no section
/// mesh           triangles with a corner that is NaN or infinite are passed over
/// plane          normalised, see SectionPlane
/// tolerance      length, >= 0
/// returns        curves that run between ends and branchings first, then closed ones. Ends lie on the border;
///                branchings are vertices with more than two pieces of section, and edges of more than two triangles
/// order          nodes are numbered as the triangles meet them; a curve starts at its lowest node
/// refuses        a mesh whose arrays do not fit together, see faultOfMesh; a plane without a normal; no tolerance
/// progress       polled every 4096 triangles and before each curve
/// cost           O(triangles) on the calling thread, O(k log k) for k triangles that are cut
TRIMORA_API SectionOutcome planeSection(koGeom::CompactMesh const& mesh, SectionPlane const& plane,
                                        double tolerance, koUtil::Progress& progress);

}  // namespace trimora
