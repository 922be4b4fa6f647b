// The OBJ writer. Numbers are the shortest decimals that read back to the same floats, or to the same ones with the shift taken
// off again.

#include "toolkit/detail/blockOutput.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/objFormat.h"
#include "toolkit/detail/recentring.h"
#include "toolkit/detail/textNumbers.h"
#include "toolkit/writeMesh.h"

#include <string_view>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;

/// How a face names a corner: v, v/t, v//n or v/t/n, all with the vertex's own number.
enum class CornerForm { Vertex, Texture, Normal, TextureAndNormal };
constexpr std::size_t maxCornerSize = 1 + 3 * (maxIntSize + 1);

class ObjLines {
public:
    ObjLines(CompactMesh const& mesh, WriteOptions const& options);

    std::vector<OutputSection> sections() const;

private:
    OutputSection values(std::string_view word, float const* values, int dimension) const;
    OutputSection vertices() const;
    OutputSection triangles() const;
    OutputSection polygons() const;
    char* printCorner(char* p, int vertex) const;

    CompactMesh const& mesh_;
    Shift const shift_;
    float const* const uvs_;      // null: not written
    float const* const normals_;  // null: not written
    CornerForm const cornerForm_;
};

ObjLines::ObjLines(CompactMesh const& mesh, WriteOptions const& options)
    : mesh_(mesh),
      shift_(options.shift),
      uvs_(options.textureCoordinates ? mesh.getUVsRaw() : nullptr),
      normals_(options.normals && !mesh.getNormalsComputed() ? mesh.getNormalsRaw() : nullptr),
      cornerForm_(uvs_ != nullptr
                      ? (normals_ != nullptr ? CornerForm::TextureAndNormal : CornerForm::Texture)
                      : (normals_ != nullptr ? CornerForm::Normal : CornerForm::Vertex)) {}

std::vector<OutputSection> ObjLines::sections() const {
    std::vector<OutputSection> sections = {vertices()};
    if (uvs_ != nullptr)
        sections.push_back(values("vt", uvs_, 2));
    if (normals_ != nullptr)
        sections.push_back(values("vn", normals_, 3));
    sections.push_back(triangles());
    if (mesh_.getNumTriangles() == 0 && mesh_.getNumPolys() > 0)
        sections.push_back(polygons());
    return sections;
}

OutputSection ObjLines::vertices() const {
    if (!isShift(shift_))
        return values("v", mesh_.getVerticesRaw(), 3);
    float const* const positions = mesh_.getVerticesRaw();
    auto const print = [this, positions](int v, char* p) {
        *p++ = 'v';
        for (std::size_t axis = 0; axis < 3; ++axis) {
            *p++ = ' ';
            p = printCoordinate(p, positions[3 * static_cast<std::size_t>(v) + axis], shift_[axis]);
        }
        *p++ = '\n';
        return p;
    };
    return itemSection(mesh_.getNumVertices(), 2 + 3 * (maxCoordinateSize + 1), print);
}

OutputSection ObjLines::values(std::string_view word, float const* values, int dimension) const {
    auto const print = [word, values, dimension](int i, char* p) {
        float const* value = values + static_cast<std::ptrdiff_t>(i) * dimension;
        p = copyTo(p, word);
        for (int k = 0; k < dimension; ++k) {
            *p++ = ' ';
            p = printFloat(p, *value++);
        }
        *p++ = '\n';
        return p;
    };
    std::size_t const lineSize =
        word.size() + static_cast<std::size_t>(dimension) * (maxFloatSize + 1) + 1;
    return itemSection(mesh_.getNumVertices(), lineSize, print);
}

OutputSection ObjLines::triangles() const {
    int const* const corners = mesh_.getTrianglesRaw();
    auto const print = [this, corners](int t, char* p) {
        *p++ = 'f';
        for (int k = 0; k < 3; ++k)
            p = printCorner(p, corners[3 * static_cast<std::ptrdiff_t>(t) + k]);
        *p++ = '\n';
        return p;
    };
    return itemSection(mesh_.getNumTriangles(), 2 + 3 * maxCornerSize, print);
}

OutputSection ObjLines::polygons() const {
    auto const head = [](int /*numCorners*/, char* p) {
        *p++ = 'f';
        return p;
    };
    auto const corner = [this](int vertex, char* p) { return printCorner(p, vertex); };
    return polygonSection(mesh_.polys, 1, maxCornerSize, head, corner);
}

char* ObjLines::printCorner(char* p, int vertex) const {
    *p++ = ' ';
    char const* const number = p;
    p = printInt(p, vertex + 1);
    if (cornerForm_ == CornerForm::Vertex)
        return p;
    std::string_view const again(number, static_cast<std::size_t>(p - number));
    *p++ = '/';
    if (cornerForm_ != CornerForm::Normal)
        p = copyTo(p, again);
    if (cornerForm_ != CornerForm::Texture) {
        *p++ = '/';
        p = copyTo(p, again);
    }
    return p;
}

}  // namespace

FileOutcome writeObj(OutputFile& file, CompactMesh const& mesh, WriteOptions const& options) {
    std::string head = commentLines(options.comment);
    if (head.empty() && mesh.getNumVertices() == 0)
        head = commentLines("no vertices");  // a file of 0 bytes would be taken for a failed copy
    FileOutcome const outcome = file.write(head);
    ObjLines const lines(mesh, options);
    return outcome ? writeSections(file, lines.sections(), options.progress) : outcome;
}

}  // namespace trimora
