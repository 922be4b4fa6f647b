// The PLY reader: the header tells how the body is laid out, what its elements mean is found by their usual names, and the body
// is read as text or as bytes. Faces end up as those of every format do.

#include "toolkit/detail/PlyReading.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/plyFormat.h"
#include "toolkit/detail/readLimits.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

/// Texture coordinates of corners to those of vertices, where all corners of each vertex have the same.
class TextureJoiner {
public:
    explicit TextureJoiner(PlyReading& reading)
        : reading_(reading),
          numVertices_(static_cast<std::size_t>(reading.mesh.getNumVertices())),
          values_(2 * numVertices_, 0.0f),
          states_(numVertices_, State::Unused) {}

    /// Whether the mesh has them now.
    bool run();

private:
    enum class State : char { Unused, Missing, Told, Seam };

    void addFace(int const* corners, float const* values, std::uint32_t size);
    void addCorner(std::size_t vertex, float const* value);
    std::int64_t count(State state) const {
        return std::count(states_.begin(), states_.end(), state);
    }

    PlyReading& reading_;
    std::size_t const numVertices_;
    std::vector<float> values_;
    std::vector<State> states_;
    std::int64_t numTold_ = 0;
};

bool TextureJoiner::run() {
    for (FaceList const& faces : reading_.faces) {
        std::size_t corner = 0;
        for (std::size_t i = 0; i < faces.numFaces() && !faces.textureCoordinates.empty(); ++i) {
            addFace(&faces.corners[corner], &faces.textureCoordinates[2 * corner], faces.sizeOf(i));
            corner += faces.sizeOf(i);
        }
    }
    ReadReport::Attribute& report = reading_.report.textureCoordinates;
    report.lines = numTold_;
    report.seams = count(State::Seam);
    report.missing = count(State::Missing);
    report.kept = report.seams == 0 && report.missing == 0 && count(State::Told) > 0;
    if (report.kept) {
        reading_.mesh.allocUVArray();
        std::copy(values_.begin(), values_.end(), reading_.mesh.getUVsRaw());
    }
    return report.kept;
}

/// A face that will be dropped tells nothing of its vertices.
void TextureJoiner::addFace(int const* corners, float const* values, std::uint32_t size) {
    bool const isOutside = std::any_of(corners, corners + size, [this](int corner) {
        return static_cast<std::size_t>(corner) >= numVertices_;
    });
    for (std::uint32_t k = 0; k < size && !isOutside; ++k)
        addCorner(static_cast<std::size_t>(corners[k]), values + 2 * std::size_t(k));
}

void TextureJoiner::addCorner(std::size_t vertex, float const* value) {
    State& state = states_[vertex];
    float* const present = &values_[2 * vertex];
    if (std::isnan(value[0]) || std::isnan(value[1])) {
        state = state == State::Unused ? State::Missing : state;
        return;
    }
    ++numTold_;
    if (state == State::Unused || state == State::Missing) {
        std::copy_n(value, 2, present);
        state = State::Told;
    } else if (!std::equal(value, value + 2, present)) {
        state = State::Seam;
    }
}

PlyRole roleOfName(std::string_view name) {
    return name == "vertex"                            ? PlyRole::Vertices
           : name == "face"                            ? PlyRole::Faces
           : name == "tristrips" || name == "tristrip" ? PlyRole::Strips
                                                       : PlyRole::Other;
}

/// What of the faces is not kept, joinsTextures being whether their texture coordinates are.
void reportIgnored(PlyReading& reading, PlyElement const& element, bool joinsTextures) {
    std::size_t const list = findIndexList(element);
    std::size_t const textures = joinsTextures ? findTextureList(reading, element) : list;
    for (std::size_t i = 0; i < element.properties.size(); ++i)
        if (i != list && i != textures && !element.properties[i].isRepeated)
            reading.report.ignoredProperties.push_back(element.name + "." +
                                                       element.properties[i].name);
}

FileOutcome readBody(PlyReading& reading) {
    PlyHeader const& header = reading.header;
    FileOutcome outcome = header.encoding == PlyHeader::Encoding::Text ? readPlyText(reading)
                                                                       : readPlyBinary(reading);
    if (!outcome)
        return outcome;
    bool const hasTextures =
        std::any_of(reading.faces.begin(), reading.faces.end(),
                    [](FaceList const& faces) { return !faces.textureCoordinates.empty(); });
    bool const joinsTextures = hasTextures && TextureJoiner(reading).run();
    for (PlyElement const& element : header.elements) {
        if (roleOf(element) == PlyRole::Vertices)
            reading.columns.reportRounded(element, reading.report);
        bool const isDoubted = element.isRepeated && roleOfName(element.name) != PlyRole::Other;
        if (roleOf(element) == PlyRole::Other && !isDoubted)
            reading.report.ignoredProperties.push_back(element.name);
        if (roleOf(element) == PlyRole::Faces || roleOf(element) == PlyRole::Strips)
            reportIgnored(reading, element, joinsTextures);
    }
    for (PlyColumn const& column : reading.columns.columns())
        if (column.kind == PlyColumn::Kind::Coordinate && column.numRounded > 0)
            reading.exceedsFloat = true;
    return reading.hasTriangles
               ? outcome
               : fillTriangles(reading.faces, reading.places(), reading.file.name(), reading.mesh,
                               reading.report, reading.options);
}

std::string itemsInWords(PlyElement const& element, std::int64_t whole) {
    return std::to_string(whole) + " of " + std::to_string(element.count) + " of its elements '" +
           element.name + "'";
}

char const* nameOf(PlyHeader::Encoding encoding) {
    return encoding == PlyHeader::Encoding::Text           ? "text"
           : encoding == PlyHeader::Encoding::LittleEndian ? "little endian"
                                                           : "big endian";
}

}  // namespace

PlyRole roleOf(PlyElement const& element) {
    return element.isRepeated ? PlyRole::Other : roleOfName(element.name);
}

std::size_t findIndexList(PlyElement const& element) {
    for (char const* const name : {"vertex_indices", "vertex_index"}) {
        std::size_t const found = element.find(name);
        if (found != PlyElement::none && element.properties[found].isList)
            return found;
    }
    return PlyElement::none;
}

std::size_t findTextureList(PlyReading const& reading, PlyElement const& element) {
    std::size_t const found =
        reading.columns.haveTextureCoordinates() || roleOf(element) != PlyRole::Faces
            ? PlyElement::none
            : element.find("texcoord");
    return found != PlyElement::none && element.properties[found].isList ? found : PlyElement::none;
}

FileOutcome allocateVertices(PlyReading& reading, std::int64_t count) {
    if (count >= std::numeric_limits<int>::max())
        return FileOutcome::failed(
            Failure::Limit,
            reading.file.name() +
                ": more than 2^31 - 2 vertices, what 32-bit indices can name; split the file");
    bool const isText = reading.header.encoding == PlyHeader::Encoding::Text;  // all in memory
    double const bytes = static_cast<double>(sizeof(float) * reading.columns.floatsPerVertex()) *
                             static_cast<double>(count) +
                         static_cast<double>(isText ? reading.file.size() : 0);
    if (FileOutcome const fits = requireMemoryFor(reading.file, bytes, reading.options); !fits)
        return fits;
    reading.report.vertices = count;
    reading.columns.allocate(reading.mesh, static_cast<int>(count), reading.shift, reading.report);
    return FileOutcome::done();
}

void addOtherElements(PlyReading& reading, PlyElement const& element, std::int64_t count) {
    if (element.isRepeated && roleOfName(element.name) != PlyRole::Other) {
        if (count > 0)
            reading.report.doubts.push_back("has a second list of elements '" +
                                            element.name.substr(0, 40) + "', of " +
                                            std::to_string(count) + ", which was not read");
        return;
    }
    std::int64_t& sum = reading.report.otherElements;
    sum += std::min(count, std::numeric_limits<std::int64_t>::max() - sum);
}

void reportCutOff(PlyReading& reading, PlyElement const& element, std::int64_t whole,
                  std::int64_t place) {
    addProblem(reading.report, reading.places(), place,
               "the file ends after " + itemsInWords(element, whole));
    reading.report.cutShort.push_back(
        {"elements '" + element.name.substr(0, 40) + "'", whole, element.count});
}

void reportBadCount(PlyReading& reading, PlyElement const& element, std::int64_t whole,
                    std::int64_t byte) {
    addProblem(reading.report, FacePlaces::Bytes, byte,
               "a count of a list that is none: the file makes no sense from here on, after " +
                   itemsInWords(element, whole));
    reading.report.cutShort.push_back(
        {"elements '" + element.name.substr(0, 40) + "'", whole, element.count, byte});
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

void addTextures(FaceList& faces, std::size_t firstCorner, bool areWhole,
                 std::vector<float> const& values) {
    constexpr float none = std::numeric_limits<float>::quiet_NaN();
    faces.textureCoordinates.resize(2 * faces.corners.size(), none);
    if (areWhole && values.size() == 2 * (faces.corners.size() - firstCorner))
        std::copy(values.begin(), values.end(),
                  faces.textureCoordinates.begin() + static_cast<std::ptrdiff_t>(2 * firstCorner));
}

bool recognisesPly(std::string_view head, std::uint64_t /*size*/) {
    constexpr std::string_view word = "ply";
    constexpr std::string_view behind = "\n\r \t";
    constexpr std::string_view capitals = "PLY";
    std::string_view const first = head.substr(0, word.size());
    return (first == word || first == capitals) && head.size() > word.size() &&
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
