// The PLY writer: a header that tells the columns, then one record a vertex and one a face.

#include "toolkit/detail/binaryNumbers.h"
#include "toolkit/detail/blockOutput.h"
#include "toolkit/detail/colourBytes.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/plyFormat.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::PointMesh;
using Encoding = WriteOptions::Encoding;

/// Names with a meaning of their own: no set may take one.
constexpr std::array<std::string_view, 21> knownNames = {
    "x",           "y",         "z",         "nx",          "ny",
    "nz",          "red",       "green",     "blue",        "alpha",
    "s",           "t",         "u",         "v",           "texture_u",
    "texture_v",   "texture_s", "texture_t", "diffuse_red", "diffuse_green",
    "diffuse_blue"};

/// One scalar of each vertex.
struct Column {
    enum class Form { Float, Byte, Coordinate };  // a coordinate is a double

    std::string name;
    Form form = Form::Float;
    float const* values = nullptr;  // of the first vertex
    std::size_t stride = 0;         // floats
    double shift = 0.0;             // put back on coordinates
};

constexpr std::size_t maxTextSize = maxCoordinateSize + 1;

class PlyWriter {
public:
    PlyWriter(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options);

    FileOutcome run();

private:
    void addColumns(std::vector<std::string> const& names, float const* values,
                    Column::Form form = Column::Form::Float);
    void addSets();
    std::string freeName(std::string name) const;
    std::string header() const;
    char* printVertex(int vertex, char* p) const;
    char* printFace(int const* corners, int count, char* p) const;
    OutputSection polygonSection() const;

    OutputFile& file_;
    CompactMesh const& mesh_;
    WriteOptions const& options_;
    bool const isText_;
    bool const swaps_;
    int const numFaces_;
    bool hasLongFaces_ = false;  // beyond what a byte counts
    std::vector<Column> columns_;
};

PlyWriter::PlyWriter(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options)
    : file_(file),
      mesh_(mesh),
      options_(options),
      isText_(options.encoding == Encoding::Text),
      swaps_(swapsBytes(options.encoding == Encoding::BigEndian)),
      numFaces_(mesh.getNumTriangles() > 0 ? mesh.getNumTriangles() : mesh.getNumPolys()) {
    addColumns({"x", "y", "z"}, mesh.getVerticesRaw());
    for (std::size_t axis = 0; axis < 3 && isShift(options.shift); ++axis) {
        columns_[axis].form = Column::Form::Coordinate;
        columns_[axis].shift = options.shift[axis];
    }
    if (options.normals && !mesh.getNormalsComputed() && mesh.getNormalsRaw() != nullptr)
        addColumns({"nx", "ny", "nz"}, mesh.getNormalsRaw());
    koGeom::MeshAttributes const* const colours = mesh.getAttributes(PointMesh::ColoursName);
    if (options.colours && colours != nullptr && colours->dimension == 4) {
        std::size_t const count = 4 * static_cast<std::size_t>(mesh.getNumVertices());
        addColumns({"red", "green", "blue", "alpha"}, colours->asFloat(),
                   areColourBytes(colours->asFloat(), count) ? Column::Form::Byte
                                                             : Column::Form::Float);
    }
    if (options.textureCoordinates && mesh.getUVsRaw() != nullptr)
        addColumns({"s", "t"}, mesh.getUVsRaw());
    if (options.vertexSets)
        addSets();
    if (mesh.getNumTriangles() == 0)
        hasLongFaces_ = std::any_of(mesh.polys.lengths.begin(), mesh.polys.lengths.end(),
                                    [](int length) { return length > 255; });
}

void PlyWriter::addColumns(std::vector<std::string> const& names, float const* values,
                           Column::Form form) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        columns_.push_back({names[i], form, values, names.size(), 0.0});
        if (values != nullptr)
            columns_.back().values = values + i;
    }
}

/// A set of several dimensions is several properties, name_0 and so on.
void PlyWriter::addSets() {
    for (int i = 1; i < mesh_.getNumAttributes(); ++i) {
        koGeom::MeshAttributes const& set = *mesh_.getAttributes(i);
        koString::CString const& name = set.getName();
        bool const isTyped = (name == PointMesh::NormalsName && set.dimension == 3) ||
                             (name == PointMesh::UVsName && set.dimension == 2) ||
                             (name == PointMesh::ColoursName && set.dimension == 4);
        if (isTyped || !set.isStoreable())
            continue;
        std::vector<std::string> names;
        for (int k = 0; k < set.dimension; ++k)
            names.push_back(freeName(
                set.dimension == 1 ? name.asChar() : name.asChar() + ("_" + std::to_string(k))));
        addColumns(names, set.asFloat());
    }
}

/// The name as one word that no other column has.
std::string PlyWriter::freeName(std::string name) const {
    auto const isWordPart = [](char c) { return c > ' ' && c < 127; };
    std::replace_if(name.begin(), name.end(), std::not_fn(isWordPart), '_');
    auto const isTaken = [this, &name] {
        return name.empty() ||
               std::find(knownNames.begin(), knownNames.end(), name) != knownNames.end() ||
               std::any_of(columns_.begin(), columns_.end(),
                           [&name](Column const& column) { return column.name == name; });
    };
    while (isTaken())
        name += '_';
    return name;
}

FileOutcome PlyWriter::run() {
    FileOutcome const outcome = file_.write(header());
    if (!outcome)
        return outcome;
    constexpr std::size_t maxFaceSize = 2 + 3 * (maxIntSize + 1);
    std::vector<OutputSection> sections;
    sections.push_back(itemSection(mesh_.getNumVertices(), columns_.size() * maxTextSize,
                                   [this](int v, char* p) { return printVertex(v, p); }));
    if (mesh_.getNumTriangles() > 0)
        sections.push_back(itemSection(
            numFaces_, maxFaceSize, [this, triangles = mesh_.getTrianglesRaw()](int t, char* p) {
                return printFace(triangles + 3 * static_cast<std::ptrdiff_t>(t), 3, p);
            }));
    else if (numFaces_ > 0)
        sections.push_back(polygonSection());
    return writeSections(file_, sections, options_.progress);
}

std::string PlyWriter::header() const {
    std::string text = "ply\nformat ";
    text += isText_                                    ? "ascii"
            : options_.encoding == Encoding::BigEndian ? "binary_big_endian"
                                                       : "binary_little_endian";
    text += " 1.0\n";
    for (std::size_t begin = 0; begin < options_.comment.size();) {
        std::size_t const end =
            std::min(options_.comment.find_first_of("\r\n", begin), options_.comment.size());
        text += "comment " + options_.comment.substr(begin, end - begin) + "\n";
        begin = end + 1;
    }
    text += "element vertex " + std::to_string(mesh_.getNumVertices()) + "\n";
    for (Column const& column : columns_)
        text += std::string("property ") +
                (column.form == Column::Form::Coordinate ? "double "
                 : column.form == Column::Form::Byte     ? "uchar "
                                                         : "float ") +
                column.name + "\n";
    return text + "element face " + std::to_string(numFaces_) + "\nproperty list " +
           (hasLongFaces_ ? "int" : "uchar") + " int vertex_indices\nend_header\n";
}

char* PlyWriter::printVertex(int vertex, char* p) const {
    for (Column const& column : columns_) {
        float const value = column.values[static_cast<std::size_t>(vertex) * column.stride];
        if (isText_) {
            p = column.form == Column::Form::Byte ? printInt(p, colourByte(value))
                                                  : printCoordinate(p, value, column.shift);
            *p++ = ' ';
        } else if (column.form == Column::Form::Float) {
            p = storeNumber(p, value, swaps_);
        } else if (column.form == Column::Form::Byte) {
            p = storeNumber(p, colourByte(value), swaps_);
        } else {
            p = storeNumber(p, unshifted(value, column.shift), swaps_);
        }
    }
    if (isText_)
        p[-1] = '\n';
    return p;
}

char* PlyWriter::printFace(int const* corners, int count, char* p) const {
    if (isText_)
        p = printInt(p, count);
    else
        p = hasLongFaces_ ? storeNumber(p, count, swaps_)
                          : storeNumber(p, static_cast<std::uint8_t>(count), swaps_);
    for (int k = 0; k < count; ++k) {
        if (isText_) {
            *p++ = ' ';
            p = printInt(p, corners[k]);
        } else {
            p = storeNumber(p, corners[k], swaps_);
        }
    }
    if (isText_)
        *p++ = '\n';
    return p;
}

OutputSection PlyWriter::polygonSection() const {
    int const* const offsets = mesh_.polys.getOffsets();  // filled here, before threads ask for it
    int const* const lengths = mesh_.polys.lengths.data();
    int const* const corners = mesh_.polys.points.data();
    auto const room = [lengths](int begin, int end) {
        std::size_t numNumbers = 0;
        for (int i = begin; i < end; ++i)
            numNumbers += 1 + static_cast<std::size_t>(lengths[i]);
        return numNumbers * (maxIntSize + 1);
    };
    auto const print = [this, offsets, lengths, corners](int begin, int end, char* p) {
        for (int i = begin; i < end; ++i)
            p = printFace(corners + offsets[i], lengths[i], p);
        return p;
    };
    return {numFaces_, room, print};
}

}  // namespace

FileOutcome writePly(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options) {
    return PlyWriter(file, mesh, options).run();
}

}  // namespace trimora
