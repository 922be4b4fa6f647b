#pragma once

#include "toolkit/mapDistortion.h"

#include <string>

namespace trimora {

/// Draws a flattened mesh as an SVG picture: each triangle where its texture coordinates put it, coloured by the length of
/// a step in the plane on the surface beside the mean one, so from where a texture is drawn out (red) to where it is pressed
/// together (blue); triangles that are turned over stand out in black. A key tells the colours.
///
/// The stretch of a triangle is the root mean square over all directions (Sander et al. 2001 [sander2001]).
///
/// corners   three a triangle; what lies outside the unit square is cut off
/// returns   the file's text; some 30 bytes a triangle
TRIMORA_API std::string drawFlatMap(koGeom::CompactMesh const& mesh, CornerUVs const& corners);

}  // namespace trimora
