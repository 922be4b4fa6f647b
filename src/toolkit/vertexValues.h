#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <string>
#include <vector>

namespace trimora {

/// Writes a mesh's vertices with one value each, in their order, whole or not at all.
///
/// path      ".txt", and '-' for standard output: a line "x y z value" a vertex. ".csv": the same with commas, under a line
///           "x,y,z,NAME". Letters of either size
/// name      of what the values are
/// values    one a vertex; NaN is written as "nan"
/// returns   done, or what is wrong; every other ending is refused
/// numbers   the shortest that read back as the same float
TRIMORA_API FileOutcome writeVertexValues(std::string const& path, koGeom::CompactMesh const& mesh,
                                          std::string const& name,
                                          std::vector<float> const& values);

/// Whether a file of that name could be written, as far as its ending tells.
TRIMORA_API FileOutcome checkVertexValuesPath(std::string const& path);

}  // namespace trimora
