#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

/// A chain of points in space. A closed one ends with its first point.
using Polyline = std::vector<koLinear::Point>;

/// Reads polylines from a file of one of two kinds, told apart by what it holds.
///
/// OBJ         the lines `l a b c ...` over the vertices `v x y z`; numbers from 1, or counted backwards from -1. The
///             format's other statements are passed over
/// plain text  one point x y z a line, what follows in the line is passed over; an empty line begins the next polyline
///
/// Both take comments behind '#', commas between numbers, and every line end. A line that begins with any other word is
/// refused.
/// path        '-' is standard input
/// polylines   out: replaced; those of fewer than 2 points are refused
/// maxBytes    a larger file is refused; 0 is no limit
/// returns     done, or what is wrong in which line
TRIMORA_API FileOutcome readPolylines(std::string const& path, std::vector<Polyline>& polylines,
                                      std::uint64_t maxBytes = 0);

/// The same from text in memory; `name` stands for the path in messages.
TRIMORA_API FileOutcome readPolylinesText(std::string_view text, std::string const& name,
                                          std::vector<Polyline>& polylines);

/// Writes polylines as text. Coordinates are narrowed to floats and written with the fewest digits that read back to the same ones.
///
/// OBJ       the vertices, then `l a b c ...` for each polyline; a closed one names its first vertex again at its end
/// PLY       elements `vertex` and `edge`, one edge for each pair of neighbours; readPolylines does not read it
///
/// path      see writeText; PLY where it ends in .ply in any case, else OBJ
/// shift     added to every coordinate in double precision after that, see ReadReport::shift
/// returns   done, or what went wrong; then an existing file is untouched
TRIMORA_API FileOutcome writePolylines(std::string const& path,
                                       std::vector<Polyline> const& polylines,
                                       std::array<double, 3> const& shift = {});

}  // namespace trimora
