#pragma once

#include "toolkit/FileOutcome.h"
#include "toolkit/ReadReport.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace trimora {

class InputFile;

enum class PlyType { Int8, UInt8, Int16, UInt16, Int32, UInt32, Int64, UInt64, Float32, Float64 };

constexpr std::size_t sizeOf(PlyType type) {
    constexpr std::size_t sizes[] = {1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
    return sizes[static_cast<std::size_t>(type)];
}

constexpr bool isFloating(PlyType type) {
    return type == PlyType::Float32 || type == PlyType::Float64;
}

struct PlyProperty {
    std::string name;
    PlyType type = PlyType::Float32;  ///< of a list: of its items
    bool isList = false;
    PlyType countType = PlyType::UInt8;  ///< of a list
    bool isRepeated = false;             ///< a property of that name comes before it: to be skipped
};

struct PlyElement {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::string name;
    std::int64_t count = 0;
    std::vector<PlyProperty> properties;
    bool isRepeated = false;  ///< likewise

    bool hasLists() const;
    /// Bytes of a binary record, lists taken as empty.
    std::size_t leastSize() const;
    /// Number of the property of that name, or none; repeated ones are not looked at.
    std::size_t find(std::string_view propertyName) const;
};

struct PlyHeader {
    enum class Encoding { Text, LittleEndian, BigEndian };

    Encoding encoding = Encoding::Text;
    std::vector<PlyElement> elements;
    std::uint64_t bodyBegin = 0;
    std::int64_t numLines = 0;
    bool endsLinesByCr = false;  ///< CR alone ends the lines of the file
};

/// Reads the header of a file; the report receives what in it means nothing. Refuses one that is not whole or leaves open how
/// the body is laid out.
FileOutcome readPlyHeader(InputFile const& file, PlyHeader& header, ReadReport& report);

}  // namespace trimora
