#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <span>
#include <string_view>

namespace trimora {

class InputFile;
class OutputFile;
struct ReadOptions;
struct ReadReport;
struct WriteOptions;

/// One file format: a row of the table behind readMesh and writeMesh. A further format is one reader, one writer and
/// one row.
struct MeshFormat {
    std::string_view name;
    std::span<std::string_view const> extensions;  ///< lower case, without the dot

    /// Fills an empty mesh. A failure may leave it half filled: the caller throws it away then.
    FileOutcome (*read)(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                        ReadOptions const& options);
    FileOutcome (*write)(OutputFile& file, koGeom::CompactMesh const& mesh,
                         WriteOptions const& options);
    bool holdsTextureCoordinates;
};

/// All formats, the default one first.
TRIMORA_API std::span<MeshFormat const> meshFormats();

/// The format of the given name, or of the path's extension in any case when the name is empty ('-' and the empty path:
/// the default one). Null when there is none; `outcome` says which there are then.
TRIMORA_API MeshFormat const* findMeshFormat(std::string_view path, std::string_view name,
                                             FileOutcome& outcome);

}  // namespace trimora
