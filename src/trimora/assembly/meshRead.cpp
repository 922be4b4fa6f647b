#include "trimora/assembly/meshRead.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <vector>

namespace koGeom {

namespace {

using detail::TextScanner;

struct Header {
    int numVertices = 0;
    int numFaces = 0;
};

/// False for counts that cannot be true: three numbers a vertex, and a face's numbers, take two bytes each at least.
bool readHeader(TextScanner& scanner, int numbersPerFace, Header& header) {
    if (!scanner.readInt(header.numVertices) || !scanner.readInt(header.numFaces))
        return false;
    std::int64_t const numNumbers = (scanner.numBytesLeft() + 1) / 2;
    return header.numVertices >= 0 && header.numVertices <= numNumbers / 3 &&
           header.numFaces >= 0 && header.numFaces <= numNumbers / numbersPerFace;
}

bool readIndex(TextScanner& scanner, int numVertices, int& index) {
    return scanner.readInt(index) && index >= 0 && index < numVertices;
}

/// False, with the triangle unchanged, where the file goes wrong.
bool readTriangle(TextScanner& scanner, int numVertices, MeshTriangle& triangle) {
    int ignoredCount = 0;
    int corners[3] = {};
    if (!scanner.readInt(ignoredCount))
        return false;
    for (int& corner : corners) {
        if (!readIndex(scanner, numVertices, corner))
            return false;
    }
    std::copy_n(corners, 3, &triangle[0]);
    return true;
}

/// False where the file goes wrong; coordinates not read are 0.
bool readPoints(TextScanner& scanner, int numVertices, TopoMesh& mesh,
                std::vector<TopoMeshVertex>& handles) {
    bool isGood = true;
    for (int i = 0; i < numVertices; ++i) {
        double coordinates[3] = {};
        for (double& x : coordinates)
            isGood = isGood && scanner.readNumber(x);
        handles.push_back(mesh.allocVertex(Point(coordinates[0], coordinates[1], coordinates[2])));
    }
    return isGood;
}

/// False where the file goes wrong.
bool readFace(TextScanner& scanner, std::vector<TopoMeshVertex> const& handles,
              ko::vector<TopoMeshVertex>& corners) {
    int numCorners = 0;
    if (!scanner.readInt(numCorners) || numCorners < 0 ||
        numCorners > (scanner.numBytesLeft() + 1) / 2)
        return false;
    corners.clear();
    for (int i = 0; i < numCorners; ++i) {
        int index = 0;
        if (!readIndex(scanner, static_cast<int>(handles.size()), index))
            return false;
        corners.push_back(handles[static_cast<std::size_t>(index)]);
    }
    return true;
}

}  // namespace

void detail::readPlainText(CompactMesh& mesh, std::string const& text) {
    TextScanner scanner(text.data(), text.data() + text.size());
    constexpr int numbersPerTriangle = 4;
    Header header;
    if (!readHeader(scanner, numbersPerTriangle, header))
        return;

    CompactMesh read(header.numVertices, nullptr, nullptr, nullptr, nullptr);
    float* const coordinates = read.getVerticesRaw();
    bool isGood = true;
    for (std::int64_t i = 0; i < 3 * std::int64_t(header.numVertices) && isGood; ++i)
        isGood = scanner.readNumber(coordinates[i]);

    read.resizeTriangleArray(header.numVertices > 0 ? header.numFaces : 0);
    MeshTriangle* const triangles = read.getTriangles();
    for (int i = 0; i < read.getNumTriangles() && isGood; ++i)
        isGood = readTriangle(scanner, header.numVertices, triangles[i]);
    mesh = std::move(read);
}

void detail::readPlainText(TopoMesh& mesh, std::string const& text) {
    TextScanner scanner(text.data(), text.data() + text.size());
    constexpr int numbersPerFace = 1;
    Header header;
    if (!readHeader(scanner, numbersPerFace, header))
        return;

    std::vector<TopoMeshVertex> handles;
    handles.reserve(static_cast<std::size_t>(header.numVertices));
    bool isGood = readPoints(scanner, header.numVertices, mesh, handles);
    ko::vector<TopoMeshVertex> corners;
    for (int i = 0; i < header.numFaces && isGood; ++i) {
        isGood = readFace(scanner, handles, corners);
        if (isGood)
            mesh.allocFace(corners);
    }

    meshTwin(mesh);
    TopoMeshModification modification(mesh, TopoMeshModification::Topology);
    mesh.modified(modification);
}

void meshRead(CompactMesh& mesh, koOS::Filename const& name) {
    std::string text;
    if (detail::readTextFile(name, text))
        detail::readPlainText(mesh, text);
}

void meshRead(TopoMesh& mesh, koOS::Filename const& name) {
    std::string text;
    if (detail::readTextFile(name, text))
        detail::readPlainText(mesh, text);
}

}  // namespace koGeom
