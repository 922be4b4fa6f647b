#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <string>
#include <vector>

namespace trimora {

struct MeshFormat;

/// Writes a mesh's vertices with one value each, in their order, whole or not at all.
///
/// path      ".txt", and '-' for standard output: a line "x y z value" a vertex. ".csv": the same with commas, under a line
///           "x,y,z,NAME". Letters of either size
/// name      of what the values are
/// values    one a vertex; NaN is written as "nan"
/// shift     added to the coordinates, see ReadReport::shift
/// returns   done, or what is wrong; every other ending is refused
/// numbers   the shortest that read back as the same float
TRIMORA_API FileOutcome writeVertexValues(std::string const& path, koGeom::CompactMesh const& mesh,
                                          std::string const& name, std::vector<float> const& values,
                                          std::array<double, 3> const& shift = {});

/// The format in which a mesh with values can be written to a file of that name, as far as its ending tells: one that holds
/// numbers or colours of vertices. Null for names that writeVertexValues takes, and where `outcome` tells what is wrong.
TRIMORA_API MeshFormat const* findValueFormat(std::string const& path, FileOutcome& outcome);

/// Gives a mesh values to be written with it: as the set of that name where the format holds sets, and as colours, which replace
/// those that it has, where it holds colours.
///
/// values    one a vertex, on two sides of 0: from blue through light grey to red, as far as the 99th percentile of
///           their sizes; grey where they are not finite
/// colours   as screens take them (sRGB), whole 255ths; in GLB files, where colours are light that adds up, such light
TRIMORA_API void addVertexValues(koGeom::CompactMesh& mesh, MeshFormat const& format,
                                 std::string const& name, std::vector<float> const& values);

}  // namespace trimora
