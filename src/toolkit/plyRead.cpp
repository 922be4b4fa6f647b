// The PLY reader: the header tells how the body is laid out, what its elements mean is found by their usual names, and the body
// is read as text or as bytes. Faces end up as those of every format do.

#include "toolkit/detail/PlyReading.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/plyFormat.h"
#include "toolkit/detail/readLimits.h"

#include <algorithm>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

FileOutcome readBody(PlyReading& reading) {
    PlyHeader const& header = reading.header;
    FileOutcome outcome = header.encoding == PlyHeader::Encoding::Text ? readPlyText(reading)
                                                                       : readPlyBinary(reading);
    if (!outcome)
        return outcome;
    for (PlyElement const& element : header.elements) {
        if (roleOf(element) == PlyRole::Vertices)
            reading.columns.reportRounded(element, reading.report);
        if (roleOf(element) == PlyRole::Other)
            reading.report.ignoredProperties.push_back(element.name);
        if (roleOf(element) != PlyRole::Faces && roleOf(element) != PlyRole::Strips)
            continue;
        std::size_t const list = findIndexList(element);
        for (std::size_t i = 0; i < element.properties.size(); ++i)
            if (i != list && !element.properties[i].isRepeated)
                reading.report.ignoredProperties.push_back(element.name + "." +
                                                           element.properties[i].name);
    }
    for (PlyColumn const& column : reading.columns.columns())
        if (column.kind == PlyColumn::Kind::Coordinate && column.numRounded > 0)
            reading.exceedsFloat = true;
    return reading.hasTriangles
               ? outcome
               : fillTriangles(reading.faces, reading.places(), reading.file.name(), reading.mesh,
                               reading.report, reading.options);
}

char const* nameOf(PlyHeader::Encoding encoding) {
    return encoding == PlyHeader::Encoding::Text           ? "text"
           : encoding == PlyHeader::Encoding::LittleEndian ? "little endian"
                                                           : "big endian";
}

}  // namespace

PlyRole roleOf(PlyElement const& element) {
    if (element.isRepeated)
        return PlyRole::Other;
    return element.name == "vertex"                                    ? PlyRole::Vertices
           : element.name == "face"                                    ? PlyRole::Faces
           : element.name == "tristrips" || element.name == "tristrip" ? PlyRole::Strips
                                                                       : PlyRole::Other;
}

std::size_t findIndexList(PlyElement const& element) {
    for (char const* const name : {"vertex_indices", "vertex_index"}) {
        std::size_t const found = element.find(name);
        if (found != PlyElement::none && element.properties[found].isList)
            return found;
    }
    return PlyElement::none;
}

FileOutcome allocateVertices(PlyReading& reading, std::int64_t count) {
    if (count >= std::numeric_limits<int>::max())
        return FileOutcome::failed(
            Failure::Limit,
            reading.file.name() +
                ": more than 2^31 - 2 vertices, what 32-bit indices can name; split the file");
    double const bytes = static_cast<double>(sizeof(float) * reading.columns.floatsPerVertex()) *
                         static_cast<double>(count);
    if (FileOutcome const fits = requireMemoryFor(reading.file, bytes, reading.options); !fits)
        return fits;
    reading.report.vertices = count;
    reading.columns.allocate(reading.mesh, static_cast<int>(count), reading.shift, reading.report);
    return FileOutcome::done();
}

void addOtherElements(PlyReading& reading, std::int64_t count) {
    std::int64_t& sum = reading.report.otherElements;
    sum += std::min(count, std::numeric_limits<std::int64_t>::max() - sum);
}

void reportCutOff(PlyReading& reading, PlyElement const& element, std::int64_t whole,
                  std::int64_t place) {
    std::string const text = "ends, or makes no sense any more, after " + std::to_string(whole) +
                             " of " + std::to_string(element.count) + " of its elements '" +
                             element.name + "'";
    reading.report.notes.push_back(text);
    addProblem(reading.report, reading.places(), place, "the file " + text);
}

void addStrip(std::vector<int> const& strip, std::int64_t place, FaceList& faces) {
    std::size_t begin = 0;
    for (std::size_t i = 0; i < strip.size(); ++i) {
        if (strip[i] < 0)
            begin = i + 1;
        if (i < begin + 2)
            continue;
        bool const isTurned = (i - begin) % 2 == 1;  // every other triangle of a strip
        int const a = strip[i - (isTurned ? 1 : 2)];
        int const b = strip[i - (isTurned ? 2 : 1)];
        int const c = strip[i];
        if (a == b || b == c || c == a)
            continue;
        faces.corners.insert(faces.corners.end(), {a, b, c});
        faces.endFace(place, 3);
    }
}

bool recognisesPly(std::string_view head, std::uint64_t /*size*/) {
    constexpr std::string_view word = "ply";
    constexpr std::string_view behind = "\n\r \t";
    return head.substr(0, word.size()) == word && head.size() > word.size() &&
           behind.find(head[word.size()]) != std::string_view::npos;
}

FileOutcome readPly(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options) {
    PlyHeader header;
    FileOutcome const outcome = readPlyHeader(file, header, report);
    if (!outcome)
        return outcome;
    report.variant = nameOf(header.encoding);
    auto const vertices =
        std::find_if(header.elements.begin(), header.elements.end(), [](PlyElement const& element) {
            return roleOf(element) == PlyRole::Vertices;
        });
    PlyColumns columns;
    std::string const wrong =
        vertices == header.elements.end() ? "it has no element 'vertex'" : columns.plan(*vertices);
    if (!wrong.empty())
        return FileOutcome::failed(Failure::Unsupported,
                                   file.name() + ": " + wrong + ", so that there is no mesh in it");

    auto const read = [&](Shift const& shift, CompactMesh& target, ReadReport& found,
                          bool& exceedsFloat) {
        PlyReading reading{file, header, options, shift, target, found, exceedsFloat, columns, {}};
        return readBody(reading);
    };
    bool const isText = header.encoding == PlyHeader::Encoding::Text;
    ReadOptions settled = options;
    if (!isText && !columns.coordinatesExceedFloats() && !options.shift)
        settled.shift = Shift{};  // floats need none
    return readRecentred(mesh, report, settled, read);
}

}  // namespace trimora
