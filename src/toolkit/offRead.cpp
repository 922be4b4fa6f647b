// The OFF reader: a head that tells what each vertex has, the counts, a line for each vertex, a line for each face. Serial and linear;
// what the head declares is believed only as far as the file goes.

#include "toolkit/ReadReport.h"
#include "toolkit/detail/FaceList.h"
#include "toolkit/detail/TextCursor.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/offFormat.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/meshCounts.h"
#include "toolkit/readMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Failure = FileOutcome::Failure;

/// What the first word says of the vertices.
struct OffHead {
    bool hasTextureCoordinates = false;  // ST
    bool hasColours = false;             // C
    bool hasNormals = false;             // N
    bool hasFourth = false;              // 4: homogeneous
    bool hasDimension = false;           // n: told behind it
};

/// [ST][C][N][4][n]OFF, or the same in lower case; nothing where the word is another.
std::optional<OffHead> parseHead(std::string_view told) {
    OffHead head;
    std::string word(told.substr(0, 16));  // longer ones are others
    if (word.ends_with("off"))
        std::transform(word.begin(), word.end(), word.begin(), [](char c) {
            return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        });
    auto const takes = [&word](std::string_view part) {
        bool const is = word.starts_with(part);
        word.erase(0, is ? part.size() : 0);
        return is;
    };
    head.hasTextureCoordinates = takes("ST");
    head.hasColours = takes("C");
    head.hasNormals = takes("N");
    head.hasFourth = takes("4");
    head.hasDimension = takes("n");
    return word == "OFF" ? std::optional(head) : std::nullopt;
}

bool isNumber(std::string_view word) {
    return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Values that vertices have beside their position, and what went wrong with them.
struct VertexValues {
    std::size_t dimension;
    bool isExpected;
    std::vector<float> values;

    void add(float const* source, std::size_t count) {
        values.insert(values.end(), source, source + count);
        values.resize(values.size() + dimension - count);
    }
};

class OffReader {
public:
    OffReader(LoadedText const& text, Shift const& shift, ReadReport& report,
              ReadOptions const& options, std::string const& fileName)
        : cursor_(text, '#'),
          limit_(options, text.size()),
          shift_(shift),
          report_(report),
          options_(options),
          fileName_(fileName) {}

    FileOutcome run(CompactMesh& mesh);
    bool exceedsFloat() const { return exceedsFloat_; }

private:
    FileOutcome readHead();
    FileOutcome readCounts();
    FileOutcome readVertices();
    void vertex();
    void values(float const* more, std::size_t count, unsigned whole);
    FileOutcome readFaces();
    void face();
    void faceFault(std::size_t firstCorner, std::int64_t& count, char const* text);
    void readRest();
    void fillMesh(CompactMesh& mesh);
    void scaleColours();

    /// Whether to go on; asked before each line, and answered anew now and then.
    FileOutcome goOn(std::int64_t number) const;
    void problem(std::int64_t line, std::string text) {
        addProblem(report_, FacePlaces::Lines, line, std::move(text));
    }
    FileOutcome failed(Failure failure, char const* what) const {
        return FileOutcome::failed(failure, fileName_ + ": " + what);
    }

    TextCursor cursor_;
    GrowthLimit const limit_;
    Shift const shift_;
    ReadReport& report_;
    ReadOptions const& options_;
    std::string const& fileName_;

    OffHead head_;
    std::int64_t numVertices_ = 0;  // as declared
    std::int64_t numFaces_ = 0;
    std::vector<float> positions_;
    VertexValues normals_{3, false, {}};
    VertexValues colours_{4, false, {}};
    VertexValues textureCoordinates_{2, false, {}};
    bool areColoursWhole_ = true;   // told as whole numbers
    std::vector<bool> lacksAlpha_;  // one a vertex
    std::int64_t numColouredFaces_ = 0;
    FaceList faces_;
    bool exceedsFloat_ = false;
};

FileOutcome OffReader::run(CompactMesh& mesh) {
    FileOutcome outcome = readHead();
    if (outcome)
        outcome = readCounts();
    if (outcome)
        outcome = readVertices();
    if (outcome)
        outcome = readFaces();
    if (!outcome)
        return outcome;
    readRest();
    report_.lines = cursor_.numLines();
    fillMesh(mesh);
    std::vector<FaceList> lists;
    lists.push_back(std::move(faces_));
    return fillTriangles(lists, FacePlaces::Lines, fileName_, mesh, report_, options_);
}

FileOutcome OffReader::readHead() {
    if (!cursor_.toWord())
        return failed(Failure::Unsupported, "is empty, no OFF file");
    if (isNumber(cursor_.peek()))
        return FileOutcome::done();  // the word may be left out
    std::optional<OffHead> const head = parseHead(cursor_.word());
    if (!head)
        return failed(Failure::Unsupported,
                      "no OFF file: its first word is neither OFF, with letters before it, nor a "
                      "count of vertices");
    head_ = *head;
    if (head_.hasFourth || head_.hasDimension)
        return failed(Failure::Unsupported,
                      "its vertices have another number of coordinates than three (4OFF, nOFF), "
                      "which no mesh here can hold");
    if (cursor_.toWord() && cursor_.peek() == "BINARY")
        return failed(Failure::Unsupported,
                      "is a binary OFF file; only text is read: convert it to text OFF, or to PLY");
    normals_.isExpected = head_.hasNormals;
    colours_.isExpected = head_.hasColours;
    textureCoordinates_.isExpected = head_.hasTextureCoordinates;
    return FileOutcome::done();
}

FileOutcome OffReader::readCounts() {
    bool const areRead = cursor_.toWord() && cursor_.integer(numVertices_) && cursor_.toWord() &&
                         cursor_.integer(numFaces_) && numVertices_ >= 0 && numFaces_ >= 0;
    if (!areRead)
        return failed(Failure::Unsupported,
                      "its counts of vertices and faces cannot be read; they stand behind the "
                      "word OFF");
    if (!cursor_.isLineAtEnd())
        cursor_.word();  // the count of edges says nothing
    if (!cursor_.isLineAtEnd())
        problem(cursor_.line(),
                "numbers behind the counts, not read: a vertex takes a line of its own");
    cursor_.nextLine();
    return FileOutcome::done();
}

FileOutcome OffReader::goOn(std::int64_t number) const {
    constexpr std::int64_t linesPerQuestion = 1 << 14;
    if (number % linesPerQuestion != 0)
        return FileOutcome::done();
    if (options_.progress != nullptr && options_.progress->cancelled())
        return FileOutcome::failed(Failure::Cancelled, "reading was cancelled");
    bool const isAllowed =
        limit_.allows(bytesIn(positions_) + bytesIn(normals_.values) + bytesIn(colours_.values) +
                      bytesIn(textureCoordinates_.values) + faces_.numBytes());
    return isAllowed ? FileOutcome::done() : takesTooMuch(fileName_);
}

FileOutcome OffReader::readVertices() {
    for (std::int64_t v = 0; v < numVertices_; ++v) {
        if (FileOutcome const outcome = goOn(v); !outcome)
            return outcome;
        if (v == std::numeric_limits<int>::max() - 1)
            return failed(
                Failure::Limit,
                "more than 2^31 - 2 vertices, what 32-bit indices can name; split the file");
        if (!cursor_.toWord()) {
            problem(cursor_.numLines(),
                    "the file ends after " + std::to_string(v) + " of " +
                        std::to_string(numVertices_) + " vertices" +
                        (report_.verticesWithMore > 0 ? "; each takes a line of its own" : ""));
            report_.cutShort.push_back({"vertices", v, numVertices_});
            break;
        }
        vertex();
        cursor_.nextLine();
    }
    report_.vertices = static_cast<std::int64_t>(positions_.size() / 3);
    return FileOutcome::done();
}

void OffReader::vertex() {
    constexpr std::size_t most = 3 + 3 + 4 + 2;
    std::array<float, most> numbers{};
    std::int64_t const line = cursor_.line();
    std::size_t count = 0;
    bool isBad = false;
    unsigned whole = 0;  // a bit for each number that is a whole one
    while (count < most && !cursor_.isLineAtEnd()) {
        if (colours_.isExpected && isNumber(cursor_.peek()))
            whole |= 1u << count;
        double const shift = count < 3 ? shift_[count] : 0.0;
        NumberToken const token = cursor_.number(shift, numbers[count], exceedsFloat_);
        isBad |= token == NumberToken::Bad && count < 3;
        ++count;
    }
    bool const isComplete = count >= 3;
    bool const isFinite =
        std::all_of(numbers.begin(), numbers.begin() + 3, [](float x) { return std::isfinite(x); });
    positions_.insert(positions_.end(), numbers.begin(), numbers.begin() + 3);
    if (char const* const fault = countVertexFaults(report_, isComplete, isBad, isFinite))
        problem(line, fault);
    values(numbers.data() + 3, isComplete ? count - 3 : 0, whole >> 3);
}

/// The numbers behind the position: a normal, three or four parts of a colour, a texture coordinate.
void OffReader::values(float const* more, std::size_t count, unsigned whole) {
    auto const take = [&](VertexValues& target, ReadReport::Attribute& report,
                          std::size_t numTaken) {
        bool const isThere = numTaken > 0 && numTaken <= count;
        target.add(more, isThere ? numTaken : 0);
        report.lines += isThere;
        report.missing += !isThere;
        more += isThere ? numTaken : 0;
        count -= isThere ? numTaken : 0;
        whole >>= isThere ? numTaken : 0;
    };
    if (normals_.isExpected)
        take(normals_, report_.normals, 3);
    if (colours_.isExpected) {
        std::size_t const behind = textureCoordinates_.isExpected ? 2 : 0;
        std::size_t const numColours = count > behind ? count - behind : 0;
        bool const isColour = numColours == 3 || numColours == 4;
        unsigned const colourBits = (1u << numColours) - 1;
        areColoursWhole_ = areColoursWhole_ && (!isColour || (whole & colourBits) == colourBits);
        take(colours_, report_.colours, isColour ? numColours : 0);
        lacksAlpha_.push_back(numColours == 3);
    }
    if (textureCoordinates_.isExpected)
        take(textureCoordinates_, report_.textureCoordinates, 2);
    report_.verticesWithMore += count > 0;
}

FileOutcome OffReader::readFaces() {
    bool const isWhole = report_.vertices == numVertices_;
    if (!isWhole && numFaces_ > 0)
        report_.cutShort.push_back({"faces", 0, numFaces_});
    for (std::int64_t f = 0; f < numFaces_ && isWhole; ++f) {
        if (FileOutcome const outcome = goOn(f); !outcome)
            return outcome;
        if (!cursor_.toWord()) {
            addProblem(faces_.left, FacePlaces::Lines, cursor_.numLines(),
                       "the file ends after " + std::to_string(f) + " of " +
                           std::to_string(numFaces_) + " faces");
            report_.cutShort.push_back({"faces", f, numFaces_});
            break;
        }
        face();
        cursor_.nextLine();
    }
    return FileOutcome::done();
}

void OffReader::face() {
    std::size_t const firstCorner = faces_.corners.size();
    std::int64_t numCorners = 0;
    if (!cursor_.integer(numCorners))
        return faceFault(firstCorner, faces_.left.dropped.notANumber,
                         "face whose count of corners is no number; dropped");
    for (std::int64_t k = 0; k < numCorners; ++k) {
        std::int64_t vertex = 0;
        if (cursor_.isLineAtEnd() || !cursor_.integer(vertex))
            return faceFault(firstCorner, faces_.left.dropped.notANumber,
                             "face with a corner that is absent or no index; dropped");
        bool const isInt = vertex >= 0 && vertex < FaceList::outOfRange;
        faces_.corners.push_back(isInt ? static_cast<int>(vertex) : FaceList::outOfRange);
    }
    numColouredFaces_ += !cursor_.isLineAtEnd();
    if (numCorners < 3)
        return faceFault(firstCorner, faces_.left.dropped.tooFewCorners,
                         "face with fewer than three corners; dropped");
    faces_.endFace(cursor_.line(), static_cast<std::size_t>(numCorners));
}

void OffReader::faceFault(std::size_t firstCorner, std::int64_t& count, char const* text) {
    ++count;
    ++faces_.numDropped;
    faces_.corners.resize(firstCorner);
    addProblem(faces_.left, FacePlaces::Lines, cursor_.line(), text);
}

void OffReader::readRest() {
    if (cursor_.toWord())
        report_.notes.push_back("goes on behind the last of its faces, from line " +
                                std::to_string(cursor_.line()) + " on; that was not read");
    while (cursor_.nextLine()) {
    }
    if (numColouredFaces_ > 0)
        report_.ignoredProperties.push_back("colours of " +
                                            countInWords(numColouredFaces_, "face"));
}

/// Whole numbers are parts of 255, unless none is above 1: so do programs write full colours as floats. No alpha is opaque.
void OffReader::scaleColours() {
    std::vector<float>& parts = colours_.values;
    bool const isAboveOne =
        std::any_of(parts.begin(), parts.end(), [](float part) { return part > 1.0f; });
    float const scale = areColoursWhole_ && isAboveOne ? 255.0f : 1.0f;
    for (std::size_t i = 0; i < parts.size(); ++i)
        parts[i] = i % 4 == 3 && lacksAlpha_[i / 4] ? 1.0f : parts[i] / scale;
}

void OffReader::fillMesh(CompactMesh& mesh) {
    mesh.copyVertices(static_cast<int>(report_.vertices),
                      reinterpret_cast<koGeom::MeshVertex const*>(positions_.data()));
    positions_ = {};
    auto const isKept = [this](VertexValues const& values, ReadReport::Attribute& report) {
        report.kept = values.isExpected && report.missing == 0 && report_.vertices > 0;
        return report.kept;
    };
    if (isKept(normals_, report_.normals)) {
        mesh.allocNormalArray();
        std::copy(normals_.values.begin(), normals_.values.end(), mesh.getNormalsRaw());
    }
    if (isKept(textureCoordinates_, report_.textureCoordinates)) {
        mesh.allocUVArray();
        std::copy(textureCoordinates_.values.begin(), textureCoordinates_.values.end(),
                  mesh.getUVsRaw());
    }
    if (isKept(colours_, report_.colours)) {
        scaleColours();
        std::copy(colours_.values.begin(), colours_.values.end(),
                  mesh.allocAttributes(koGeom::PointMesh::ColoursName, 4)->asFloat());
    }
}

}  // namespace

bool recognisesOff(std::string_view head, std::uint64_t /*size*/) {
    if (head.starts_with("\xEF\xBB\xBF"))
        head.remove_prefix(3);
    constexpr std::string_view blanks = " \t\r\n\v\f";
    for (;;) {  // over blanks and comments
        head.remove_prefix(std::min(head.find_first_not_of(blanks), head.size()));
        if (!head.starts_with('#'))
            break;
        head.remove_prefix(std::min(head.find_first_of("\r\n"), head.size()));
    }
    return parseHead(head.substr(0, head.find_first_of(" \t\r\n\v\f#"))).has_value();
}

FileOutcome readOff(InputFile const& file, CompactMesh& mesh, ReadReport& report,
                    ReadOptions const& options) {
    LoadedText text;
    if (FileOutcome const loaded = text.load(file, options); !loaded)
        return loaded;
    auto const read = [&](Shift const& shift, CompactMesh& readMesh, ReadReport& readReport,
                          bool& exceedsFloat) {
        OffReader reader(text, shift, readReport, options, file.name());
        FileOutcome const outcome = reader.run(readMesh);
        exceedsFloat = reader.exceedsFloat();
        return outcome;
    };
    return readRecentred(mesh, report, options, read);
}

}  // namespace trimora
