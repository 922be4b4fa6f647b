#pragma once

#include "toolkit/detail/formatRow.h"

#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace trimora {

/// The OBJ row of the table of formats.
bool recognisesObj(std::string_view head, std::uint64_t size);
FileOutcome readObj(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options);
FileOutcome writeObj(OutputFile& file, koGeom::CompactMesh const& mesh,
                     WriteOptions const& options);

/// The same reader with another size of its pieces: nothing of the outcome may change.
TRIMORA_API FileOutcome readObjInPieces(InputFile const& file, std::size_t pieceSize,
                                        koGeom::CompactMesh& mesh, ReadReport& report,
                                        ReadOptions const& options);

}  // namespace trimora
