#pragma once

#include "toolkit/detail/formatRow.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace trimora {

/// The STL row of the table of formats.
bool recognisesStl(std::string_view head, std::uint64_t size);
FileOutcome readStl(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options);
FileOutcome writeStl(OutputFile& file, koGeom::CompactMesh const& mesh,
                     WriteOptions const& options);

// A binary file: 80 bytes of anything, the count of triangles, then for each its normal and its corners as floats and two bytes
// called its attributes; little endian all.
inline constexpr std::size_t stlNameSize = 80;
inline constexpr std::size_t stlHeaderSize = 84;
inline constexpr std::size_t stlTriangleSize = 50;

inline std::uint32_t stlTriangleCount(char const* header) {
    std::uint32_t count = 0;
    std::memcpy(&count, header + stlNameSize, sizeof count);
    return count;
}

/// Bytes at the peak for each triangle, while corners are welded.
inline constexpr double stlWeldBytesPerTriangle = 170.0;

/// The two forms, once they are told apart.
FileOutcome readTextStl(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                        ReadOptions const& options);
FileOutcome readBinaryStl(InputFile const& file, koGeom::CompactMesh& mesh, ReadReport& report,
                          ReadOptions const& options);

}  // namespace trimora
