#pragma once

#include "toolkit/detail/formatRow.h"

#include "trimora/export.h"

#include <cstdint>
#include <string_view>

namespace trimora {

/// What some programs begin a text with; it is none of JSON's.
inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// The rows of glTF, in its binary form and as text, in the table of formats.
bool recognisesGlb(std::string_view head, std::uint64_t size);
bool recognisesGltf(std::string_view head, std::uint64_t size);
FileOutcome readGltf(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                     ReadOptions const& options);
FileOutcome writeGlb(OutputFile& file, koGeom::CompactMesh const& mesh,
                     WriteOptions const& options);

/// Whether readGltf can: whether this library was built with Assimp.
TRIMORA_API bool readsGltf();

/// What readGltf says in a library that was built without.
TRIMORA_API FileOutcome refuseGltf(InputFile const& file);

}  // namespace trimora
