#pragma once

#include "toolkit/mapDistortion.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

struct FlatPictureOutcome {
    std::string refusal;  ///< not empty: there is no picture; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    std::string svg;  ///< the file's text; some 30 bytes a triangle
};

/// Draws a flattened mesh as an SVG picture: each triangle where its texture coordinates put it, coloured by the length of
/// a step in the plane on the surface beside the mean one, so from where a texture is drawn out (red) to where it is pressed
/// together (blue); triangles that are turned over stand out in black. A key tells the colours.
///
/// The stretch of a triangle is the root mean square over all directions (Sander et al. 2001 [sander2001]).
///
/// corners   three a triangle; what lies outside the unit square is cut off
/// refuses   a mesh whose arrays do not fit together, see faultOfMesh, and corners of another number
TRIMORA_API FlatPictureOutcome drawFlatMap(koGeom::CompactMesh const& mesh,
                                           CornerUVs const& corners);

}  // namespace trimora
