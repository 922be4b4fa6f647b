#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace trimora {

class InputFile;
class OutputFile;
struct ReadOptions;
struct ReadReport;
struct WriteOptions;

/// What a file of a format can hold besides positions and triangles; a set of bits.
enum MeshContent : unsigned {
    HoldsTextureCoordinates = 1,
    HoldsNormals = 2,
    HoldsColours = 4,   ///< one a vertex
    HoldsScalars = 8,   ///< named vertex sets of any dimension
    HoldsPolygons = 16  ///< faces of more than three corners
};

/// One file format: a row of the table behind readMesh and writeMesh. A further format is one reader, one writer and
/// one row.
struct MeshFormat {
    std::string_view name;
    std::span<std::string_view const> extensions;  ///< lower case, without the dot

    /// Whether a file that begins with `head` (all of it, or its first recognitionBytes) and has `size` bytes is of this
    /// format, as far as its content tells; null where content never does.
    bool (*recognises)(std::string_view head, std::uint64_t size);

    /// Fills an empty mesh; null: files of this format are written only. A failure may leave it half filled: the caller
    /// throws it away then.
    FileOutcome (*read)(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                        ReadOptions const& options);
    FileOutcome (*write)(OutputFile& file, koGeom::CompactMesh const& mesh,
                         WriteOptions const& options);  ///< null: read only
    unsigned holds;                                     ///< MeshContent
};

inline constexpr std::size_t recognitionBytes = 1u << 16;

/// All formats, the default one first.
TRIMORA_API std::span<MeshFormat const> meshFormats();

/// The format of the given name, or of the path's extension in any case when the name is empty ('-' and the empty path:
/// the default one). Null when there is none; `outcome` says which there are then.
TRIMORA_API MeshFormat const* findMeshFormat(std::string_view path, std::string_view name,
                                             FileOutcome& outcome);

}  // namespace trimora
