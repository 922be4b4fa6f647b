// The OFF writer: the head names what the mesh has, [ST][C][N]OFF.

#include "toolkit/detail/blockOutput.h"
#include "toolkit/detail/colourBytes.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/offFormat.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/detail/textNumbers.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::PointMesh;

/// Whether colours can be told as whole numbers to 255: where none is above 1 they would be taken for floats.
bool areBytes(float const* colours, int numVertices) {
    std::size_t const count = 4 * static_cast<std::size_t>(numVertices);
    if (!areColourBytes(colours, count))
        return false;
    std::uint8_t highest = 0;
    for (std::size_t i = 0; i < count; ++i)
        highest = std::max(highest, colourByte(colours[i]));
    return highest != 1;
}

class OffLines {
public:
    OffLines(CompactMesh const& mesh, WriteOptions const& options);

    std::string head(std::string const& comment) const;
    std::vector<OutputSection> sections() const;

private:
    bool hasPolygons() const { return mesh_.getNumTriangles() == 0 && mesh_.getNumPolys() > 0; }
    char* printVertex(int vertex, char* p) const;
    char* printColour(int vertex, char* p) const;

    CompactMesh const& mesh_;
    Shift const shift_;
    float const* const positions_;
    float const* const uvs_;      // null: not written
    float const* const normals_;  // null: not written
    float const* colours_ = nullptr;
    bool areColoursBytes_ = false;
};

OffLines::OffLines(CompactMesh const& mesh, WriteOptions const& options)
    : mesh_(mesh),
      shift_(options.shift),
      positions_(mesh.getVerticesRaw()),
      uvs_(options.textureCoordinates ? mesh.getUVsRaw() : nullptr),
      normals_(options.normals && !mesh.getNormalsComputed() ? mesh.getNormalsRaw() : nullptr) {
    koGeom::MeshAttributes const* const colours = mesh.getAttributes(PointMesh::ColoursName);
    if (options.colours && colours != nullptr && colours->dimension == 4)
        colours_ = colours->asFloat();
    areColoursBytes_ = colours_ != nullptr && areBytes(colours_, mesh.getNumVertices());
}

std::string OffLines::head(std::string const& comment) const {
    int const numFaces = hasPolygons() ? mesh_.getNumPolys() : mesh_.getNumTriangles();
    return std::string(uvs_ != nullptr ? "ST" : "") + (colours_ != nullptr ? "C" : "") +
           (normals_ != nullptr ? "N" : "") + "OFF\n" + commentLines(comment) +
           std::to_string(mesh_.getNumVertices()) + " " + std::to_string(numFaces) + " 0\n";
}

std::vector<OutputSection> OffLines::sections() const {
    constexpr std::size_t maxVertexSize = 3 * (maxCoordinateSize + 1) + 3 * (maxFloatSize + 1) +
                                          4 * (maxFloatSize + 3) + 2 * (maxFloatSize + 1) + 1;
    auto const vertex = [this](int v, char* p) { return printVertex(v, p); };
    auto const corner = [](int v, char* p) {
        *p++ = ' ';
        return printInt(p, v);
    };
    auto const triangle = [this, corner](int t, char* p) {
        *p++ = '3';
        for (int k = 0; k < 3; ++k)
            p = corner(mesh_.getTrianglesRaw()[3 * static_cast<std::ptrdiff_t>(t) + k], p);
        *p++ = '\n';
        return p;
    };
    auto const numCorners = [](int count, char* p) { return printInt(p, count); };
    std::vector<OutputSection> sections = {
        itemSection(mesh_.getNumVertices(), maxVertexSize, vertex),
        itemSection(mesh_.getNumTriangles(), 2 + 3 * (maxIntSize + 1), triangle)};
    if (hasPolygons())
        sections.push_back(
            polygonSection(mesh_.polys, maxIntSize, maxIntSize + 1, numCorners, corner));
    return sections;
}

char* OffLines::printVertex(int vertex, char* p) const {
    auto const v = static_cast<std::size_t>(vertex);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        p = printCoordinate(p, positions_[3 * v + axis], shift_[axis]);
        *p++ = ' ';
    }
    auto const print = [&p](float const* values, std::size_t count) {
        for (std::size_t k = 0; k < count; ++k) {
            p = printFloat(p, values[k]);
            *p++ = ' ';
        }
    };
    if (normals_ != nullptr)
        print(normals_ + 3 * v, 3);
    if (colours_ != nullptr)
        p = printColour(vertex, p);
    if (uvs_ != nullptr)
        print(uvs_ + 2 * v, 2);
    p[-1] = '\n';
    return p;
}

/// A part that is told as a float has a point: whole numbers would be taken for parts of 255.
char* OffLines::printColour(int vertex, char* p) const {
    for (std::size_t k = 0; k < 4; ++k) {
        float const part = colours_[4 * static_cast<std::size_t>(vertex) + k];
        char const* const begin = p;
        p = areColoursBytes_ ? printInt(p, colourByte(part)) : printFloat(p, part);
        if (!areColoursBytes_ && std::all_of(begin, static_cast<char const*>(p), [](char c) {
                return c == '-' || koString::isDigit(c);
            }))
            p = copyTo(p, ".0");
        *p++ = ' ';
    }
    return p;
}

}  // namespace

FileOutcome writeOff(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options) {
    OffLines const lines(mesh, options);
    FileOutcome const outcome = file.write(lines.head(options.comment));
    return outcome ? writeSections(file, lines.sections(), options.progress) : outcome;
}

}  // namespace trimora
