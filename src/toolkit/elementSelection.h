#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/export.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace trimora {

/// Reads a selection of triangles: their numbers, from 0, in any order, between blanks, commas or line ends; `a-b` stands
/// for all from a to b; '#' begins a comment. Repeats are taken once.
///
/// path          '-' is standard input
/// numTriangles  of the mesh that is selected from
/// selection     out: replaced, numTriangles bits
/// maxBytes      a larger file is refused; 0 is no limit
/// returns       done, or what is wrong in which line; an empty selection is refused
TRIMORA_API FileOutcome readTriangleSelection(std::string const& path, int numTriangles,
                                              koGeom::BitVector& selection,
                                              std::uint64_t maxBytes = 0);

/// The same from text in memory; `name` stands for the path in messages.
TRIMORA_API FileOutcome readTriangleSelectionText(std::string_view text, std::string const& name,
                                                  int numTriangles, koGeom::BitVector& selection);

/// The same for vertices.
TRIMORA_API FileOutcome readVertexSelection(std::string const& path, int numVertices,
                                            koGeom::BitVector& selection,
                                            std::uint64_t maxBytes = 0);
TRIMORA_API FileOutcome readVertexSelectionText(std::string_view text, std::string const& name,
                                                int numVertices, koGeom::BitVector& selection);

}  // namespace trimora
