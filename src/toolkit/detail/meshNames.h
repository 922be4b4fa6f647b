#pragma once

#include <string>
#include <string_view>

namespace trimora {

/// What the writers put where a format asks for a name and none is given; no name of a mesh when it is read.
inline constexpr std::string_view ownMark = "trimora";

/// The name that a file gives its mesh, fit to be shown and written again: of 200 bytes at most, a longer one ends in "...", and
/// control characters are blanks. The mark of the writers is none.
std::string meshNameOf(std::string_view told);

}  // namespace trimora
