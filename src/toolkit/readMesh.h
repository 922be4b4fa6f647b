#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/ReadReport.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace trimora {

struct ReadOptions {
    std::string
        format;  ///< name of a format; empty takes it from the content, else from the path's extension
    bool weld =
        false;  ///< merge vertices at exactly equal positions where the format gives each corner its own
    /// Takes this off every coordinate in double precision, in place of the shift that the reader would choose: meshes that
    /// are to be compared need the same one.
    std::optional<std::array<double, 3>> shift = std::nullopt;
    bool dropNonfinite =
        false;  ///< leave out faces at vertices that are NaN or infinite; the vertices stay

    /// Bytes that reading may take, estimated as readMemoryPerByte for each byte of the file before it is read;
    /// 0 is no limit. More is refused with FileOutcome::Failure::Limit.
    std::uint64_t maxMemory = 0;

    koUtil::Progress* progress = nullptr;  ///< not owned; cancelled: the mesh stays as it was
};

/// Bytes of memory that a byte of a text file may take while it is read, polygons and their report included.
inline constexpr std::uint64_t readMemoryPerByte = 4;

/// Reads a mesh file, and takes what programs really write. Its content tells the format before its name does; docs/formats.md
/// tells what of each is kept.
///
/// Coordinates that lie far from the origin, told with more digits than a float has there, are read with a shift taken off, see
/// ReadReport::shift.
///
/// OBJ: line ends LF, CR LF and CR; blanks and tabs anywhere; lines continued with a backslash; relative (negative)
/// indices; faces of any size, mixed, cut into fans from their first corner; vertices behind the faces that use them;
/// numbers in every decimal form with a point, in any locale, rounded to the nearest float; NaN and infinities in the
/// spellings of the common C libraries. Comments, groups and materials are skipped. The vertices keep their order and
/// count, the faces theirs. Texture coordinates and normals are kept where each vertex has one.
///
/// STL, text or binary: three vertices for each triangle, in the order of the file, or welded; several solids become one mesh.
/// OFF: vertices with normals, colours and texture coordinates as its first word tells, faces of any size.
///
/// path        '-' is standard input
/// mesh        out: replaced, with one modification of type Topology; on failure as it was
/// report      out: what the file held and what was not kept; on failure what was seen until then
/// returns     done, or what went wrong and where; never throws but for a failed allocation outside the reading
/// cost        linear in the bytes, one pass in pieces on the shared pool; the outcome does not depend on its size
/// memory      about the size of the file for triangles; see readMemoryPerByte
TRIMORA_API FileOutcome readMesh(std::string const& path, koGeom::CompactMesh& mesh,
                                 ReadReport& report, ReadOptions const& options = {});

/// The same from text in memory; `name` stands for the path in messages.
TRIMORA_API FileOutcome readMeshText(std::string_view text, std::string const& name,
                                     koGeom::CompactMesh& mesh, ReadReport& report,
                                     ReadOptions const& options = {});

/// Turns a mesh that was read, and not changed since, back into the polygons of its file: the triangles of each fan become one polygon
/// again, and the mesh has polygons and no triangles. Without polygons in the report nothing changes; else one modification of
/// type Topology that keeps the vertex sets.
TRIMORA_API void restorePolygons(koGeom::CompactMesh& mesh, ReadReport const& report);

}  // namespace trimora
