#pragma once

#include "toolkit/detail/formatRow.h"

namespace trimora {

/// The OFF row of the table of formats.
bool recognisesOff(std::string_view head, std::uint64_t size);
FileOutcome readOff(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options);
FileOutcome writeOff(OutputFile& file, koGeom::CompactMesh const& mesh,
                     WriteOptions const& options);

}  // namespace trimora
