#pragma once

#include "toolkit/detail/formatRow.h"

namespace trimora {

/// The PLY row of the table of formats.
bool recognisesPly(std::string_view head, std::uint64_t size);
FileOutcome readPly(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options);
FileOutcome writePly(OutputFile& file, koGeom::CompactMesh const& mesh,
                     WriteOptions const& options);

}  // namespace trimora
