#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdint>
#include <string_view>

namespace trimora {

class InputFile;
class OutputFile;
struct ReadOptions;
struct ReadReport;
struct WriteOptions;

/// The PLY row of the table of formats.
bool recognisesPly(std::string_view head, std::uint64_t size);
FileOutcome readPly(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options);
FileOutcome writePly(OutputFile& file, koGeom::CompactMesh const& mesh,
                     WriteOptions const& options);

}  // namespace trimora
