#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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
    HoldsColours = 4,         ///< one a vertex
    HoldsScalars = 8,         ///< named vertex sets of any dimension
    HoldsPolygons = 16,       ///< faces of more than three corners
    HoldsLooseVertices = 64,  ///< vertices of no face
    HoldsNonfinite = 128,     ///< coordinates that are NaN or infinite
    HoldsShift = 32  ///< coordinates beyond a float's digits in every form; text forms always do
};

/// How a format can be written; a set of bits.
enum MeshForm : unsigned { TextForm = 1, LittleEndianForm = 2, BigEndianForm = 4 };

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
    unsigned forms;  ///< MeshForm; what is written, the usual one where there are several
                     ///< being little endian
};

inline constexpr std::size_t recognitionBytes = 1u << 16;

/// All formats, the default one first.
TRIMORA_API std::span<MeshFormat const> meshFormats();

/// The format of the given name, or of the path's extension in any case when the name is empty ('-' and the empty path:
/// the default one). Null when there is none; `outcome` says which there are then.
TRIMORA_API MeshFormat const* findMeshFormat(std::string_view path, std::string_view name,
                                             FileOutcome& outcome);

/// The same, of the formats that can be written.
TRIMORA_API MeshFormat const* findWritableFormat(std::string_view path, std::string_view name,
                                                 FileOutcome& outcome);

/// The format of a file to read: by name where one is given, else by its content, else by its extension, '-' and the empty
/// path being of the default one. Where the content is of another format than the extension says, it wins, and the report has a
/// note. Null when there is none, or no reader for it; `outcome` says why.
MeshFormat const* recogniseMeshFormat(InputFile const& file, std::string_view path,
                                      std::string_view name, ReadReport& report,
                                      FileOutcome& outcome);

/// The names of the vertex sets, and other words, for what of the mesh a file of the format will not hold, "texture
/// coordinates" or "3 vertices of no triangle" say; computed normals are no loss, nor is what the options leave out.
TRIMORA_API std::vector<std::string> contentLostIn(MeshFormat const& format,
                                                   koGeom::CompactMesh const& mesh,
                                                   WriteOptions const& options);

/// Whether a shift comes back with all its digits from a file that is written so.
TRIMORA_API bool keepsShift(MeshFormat const& format, WriteOptions const& options);

}  // namespace trimora
