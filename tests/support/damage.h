#pragma once

#include "support/builders.h"

#include <span>
#include <string>

namespace support {

/// One way in which a mesh can be spoilt.
struct Damage {
    char const* name;
    char const* what;
    koGeom::CompactMesh (*apply)(koGeom::CompactMesh const& mesh, Random& random);
};

/// Twenty-four of them, each for any mesh, an empty one included; positions and triangles alone come out. How much is spoilt grows
/// with the mesh. The first one, "badIndices", gives a mesh with indices out of range, which no operation may take.
std::span<Damage const> damages();

/// The mesh as the text of an OBJ file, with its indices as they are, in range or not.
std::string objTextOf(koGeom::CompactMesh const& mesh);

}  // namespace support
