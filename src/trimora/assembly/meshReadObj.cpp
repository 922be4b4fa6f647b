// Takes the text apart line by line. Normals, texture coordinates and the indices of either are stepped over: they
// would end up nowhere, and a bad one spoils no face. Faces are tested at the end, when all vertices are known.

#include "trimora/assembly/meshReadObj.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <new>
#include <vector>

namespace koGeom {

namespace {

using detail::TextScanner;

class ObjReader {
public:
    void read(std::string const& text);
    /// False, with the mesh unchanged, when it cannot hold what was read.
    bool store(CompactMesh& mesh);

private:
    void line(char const* begin, char const* end);
    void position(char const* begin, char const* end);
    void face(char const* begin, char const* end);
    void dropBadFaces();
    bool hasOnlyTriangles() const;
    void copyTo(CompactMesh& mesh, bool onlyTriangles) const;

    std::vector<MeshVertex> positions_;
    std::vector<int> corners_;  // vertices from 1, as written; from 0 when the bad faces are gone
    std::vector<int> lengths_;  // of each face, at least 3
};

void ObjReader::read(std::string const& text) {
    char const* const end = text.data() + text.size();
    for (char const* p = text.data(); p < end;) {
        char const* const lineEnd = std::find(p, end, '\n');
        line(p, lineEnd);
        p = lineEnd + (lineEnd < end);
    }
}

void ObjReader::line(char const* begin, char const* end) {
    begin = std::find_if_not(begin, end, detail::isSpace);
    if (end - begin < 2 || *begin == '#' || *begin == '$')
        return;
    if (begin[0] == 'v' && begin[1] == ' ')
        position(begin + 2, end);
    else if (begin[0] == 'f' && begin[1] == ' ')
        face(begin + 2, end);
}

/// What does not parse stays 0, and so does all that comes after it.
void ObjReader::position(char const* begin, char const* end) {
    TextScanner scanner(begin, end);
    MeshVertex p{};
    if (scanner.readDecimal(p.x) && scanner.readDecimal(p.y))
        scanner.readDecimal(p.z);
    positions_.push_back(p);
}

/// Corners are read until one reaches the end of the line or cannot be read, and that one counts too: so white space
/// behind the last corner makes one more, which is bad and takes the face with it.
void ObjReader::face(char const* begin, char const* end) {
    constexpr int bad = -1;
    TextScanner scanner(begin, end);
    std::size_t const first = corners_.size();
    for (bool isGood = true; isGood;) {
        int vertex = bad;
        isGood = scanner.readInt(vertex) && !scanner.atEnd();
        int ignored = 0;
        if (isGood && scanner.skip('/')) {
            if (!scanner.isNext('/'))
                isGood = scanner.readInt(ignored) && !scanner.atEnd();
            if (isGood && scanner.skip('/'))
                isGood = scanner.readInt(ignored) && !scanner.atEnd();
        }
        corners_.push_back(vertex);
    }
    std::size_t const numCorners = corners_.size() - first;
    if (numCorners < 3 || numCorners > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        corners_.resize(first);
    else
        lengths_.push_back(static_cast<int>(numCorners));
}

void ObjReader::dropBadFaces() {
    auto const isBad = [this](int index) {
        return index < 1 || static_cast<std::size_t>(index) > positions_.size();
    };
    auto corner = corners_.begin();
    auto keptCorner = corners_.begin();
    auto keptLength = lengths_.begin();
    for (int const length : lengths_) {
        if (std::none_of(corner, corner + length, isBad)) {
            keptCorner = std::transform(corner, corner + length, keptCorner,
                                        [](int index) { return index - 1; });
            *keptLength++ = length;
        }
        corner += length;
    }
    corners_.erase(keptCorner, corners_.end());
    lengths_.erase(keptLength, lengths_.end());
}

bool ObjReader::hasOnlyTriangles() const {
    return std::all_of(lengths_.begin(), lengths_.end(), [](int length) { return length == 3; });
}

bool isInRange(int const* indices, int count, int numVertices) {
    return std::all_of(indices, indices + count, [numVertices](int i) { return i < numVertices; });
}

/// Index arrays from before the reading stay where they still name vertices.
void dropStale(CompactMesh& mesh, bool keepPolys) {
    int const numVertices = mesh.getNumVertices();
    if (!isInRange(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles(), numVertices))
        mesh.resizeTriangleArray(0);
    if (mesh.getNumLines() > 0 &&
        !isInRange(&mesh.getLines()[0][0], 2 * mesh.getNumLines(), numVertices))
        mesh.resizeLineArray(0);
    for (MeshSequence* const runs :
         {&mesh.lineStrips, &mesh.triStrips, &mesh.triFans, &mesh.polys}) {
        if (!(keepPolys && runs == &mesh.polys) &&
            !isInRange(std::as_const(runs->points).data(), runs->getNumPoints(), numVertices))
            runs->clear();
    }
}

bool ObjReader::store(CompactMesh& mesh) {
    dropBadFaces();
    constexpr auto maxCount = static_cast<std::size_t>(std::numeric_limits<int>::max());
    if (std::max(positions_.size(), corners_.size()) > maxCount)
        return false;

    bool const onlyTriangles = hasOnlyTriangles();
    try {
        copyTo(mesh, onlyTriangles);
    } catch (std::bad_alloc const&) {
        mesh.polys.clear();
        dropStale(mesh, false);
        throw;
    }
    dropStale(mesh, !onlyTriangles);
    return true;
}

void ObjReader::copyTo(CompactMesh& mesh, bool onlyTriangles) const {
    mesh.resizeVertexArray(0);
    mesh.copyVertices(static_cast<int>(positions_.size()), positions_.data());
    if (onlyTriangles) {
        mesh.copyTriangles(static_cast<int>(lengths_.size()), corners_.data());
    } else {
        mesh.polys.resize(static_cast<int>(corners_.size()), static_cast<int>(lengths_.size()));
        std::copy(lengths_.begin(), lengths_.end(), mesh.polys.lengths.data());
        std::copy(corners_.begin(), corners_.end(), mesh.polys.points.data());
    }
}

}  // namespace

bool detail::readObjText(CompactMesh& mesh, std::string const& text) {
    ObjReader reader;
    reader.read(text);
    return reader.store(mesh);
}

bool meshReadObj(CompactMesh& mesh, koOS::Filename const& name) {
    std::string text;
    return detail::readTextFile(name, text) && detail::readObjText(mesh, text);
}

}  // namespace koGeom
