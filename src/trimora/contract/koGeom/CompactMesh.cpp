#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <new>
#include <utility>

namespace koGeom {

namespace {

// What remains of a sequence after a change of topology: nothing when it is stale; without its
// derived parts when it was rewritten.
void dropStaleSequence(MeshSequence& sequence, MeshModification const& modification,
                       MeshModification::Part part) {
    if (!modification.isModified(part))
        sequence.clear();
    sequence.dropLazyParts();
}

// Without memory for both arrays neither has another size: what has grown shrinks back.
void resizeRuns(MeshSequence& sequence, int numPoints, int numRuns) {
    int const oldNumPoints = sequence.points.size();
    sequence.dropLazyParts();
    sequence.points.setSizeZeroed(std::max(numPoints, oldNumPoints));
    try {
        sequence.lengths.setSizeZeroed(numRuns);
    } catch (std::bad_alloc const&) {
        sequence.points.setSizeZeroed(oldNumPoints);
        throw;
    }
    sequence.points.setSizeZeroed(numPoints);
}

}  // namespace

CompactMesh::CompactMesh() = default;

CompactMesh::CompactMesh(int numVertices, MeshVertex const* vertices, MeshNormal const* normals,
                         MeshUV const* uvs, MeshColour const* colours)
    : PointMesh(numVertices) {
    std::size_t const count = static_cast<std::size_t>(getNumVertices());
    if (vertices != nullptr)
        copyVertices(numVertices, vertices);
    if (normals != nullptr) {
        allocNormalArray();
        std::copy_n(normals, count, getNormals());
    }
    if (uvs != nullptr) {
        allocUVArray();
        std::copy_n(uvs, count, getUVs());
    }
    if (colours != nullptr) {
        MeshAttributes* const set = allocAttributes(ColoursName, 4);
        std::copy_n(colours, count, reinterpret_cast<MeshColour*>(set->asFloat()));
    }
}

CompactMesh::CompactMesh(CompactMesh const& other) = default;

CompactMesh::CompactMesh(CompactMesh&& other) : CompactMesh() {
    swap(other);
}

CompactMesh& CompactMesh::operator=(CompactMesh const& other) {
    if (this != &other) {
        CompactMesh copy(other);
        swap(copy);
    }
    return *this;
}

CompactMesh& CompactMesh::operator=(CompactMesh&& other) {
    swap(other);
    return *this;
}

CompactMesh::~CompactMesh() = default;

void CompactMesh::setArrayAllocator(ko::Reference<ArrayAllocator> allocator) {
    PointMesh::setArrayAllocator(allocator);
    triangles_.setAllocator(allocator);
    triangleNormals_.setAllocator(allocator);
    lines_.setAllocator(allocator);
    for (MeshSequence* const sequence : {&polys, &lineStrips, &triStrips, &triFans})
        sequence->setAllocator(allocator);
}

void CompactMesh::modified(MeshModification& modification) {
    dropStaleAttributes(modification);
    dropStaleFaces(modification);
    sendMessage(modification);
}

std::size_t CompactMesh::getSizeInBytes() const {
    return PointMesh::getSizeInBytes() +
           sizeof(MeshTriangle) * static_cast<std::size_t>(triangles_.size()) +
           sizeof(MeshNormal) * static_cast<std::size_t>(triangleNormals_.size()) +
           sizeof(MeshLine) * static_cast<std::size_t>(lines_.size()) +
           sizeof(std::uint32_t) * static_cast<std::size_t>(selectedTriangles_.numWords()) +
           polys.getSizeInBytes() + lineStrips.getSizeInBytes() + triStrips.getSizeInBytes() +
           triFans.getSizeInBytes();
}

void CompactMesh::resizeTriangleArray(int numTriangles) {
    // The triangles, which are the count, come last: without memory for both no normal is missing.
    if (!triangleNormals_.empty())
        triangleNormals_.setSizeZeroed(numTriangles);
    triangles_.setSizeZeroed(numTriangles);
}

void CompactMesh::copyTriangles(int numTriangles, int const* indices) {
    if (!triangleNormals_.empty())  // before the triangles, as above
        triangleNormals_.setSizeZeroed(numTriangles);
    triangles_.copyFrom(reinterpret_cast<MeshTriangle const*>(indices), numTriangles);
}

void CompactMesh::allocTriangleNormalArray() {
    triangleNormals_.setSizeZeroed(triangles_.size());
}

void CompactMesh::deleteTriangleNormals() {
    triangleNormals_.setSize(0);
}

void CompactMesh::resizeLineArray(int numLines) {
    lines_.setSizeZeroed(numLines);
}

void CompactMesh::resizeLineStripArrays(int numPoints, int numStrips) {
    resizeRuns(lineStrips, numPoints, numStrips);
}

void CompactMesh::resizeTriStripArrays(int numPoints, int numStrips) {
    resizeRuns(triStrips, numPoints, numStrips);
}

void CompactMesh::resizeTriFanArrays(int numPoints, int numFans) {
    resizeRuns(triFans, numPoints, numFans);
}

void CompactMesh::clearSelection() {
    getSelectedVertices().clearBits();
    selectedTriangles_.clearBits();
}

void CompactMesh::swap(CompactMesh& other) {
    if (this == &other)
        return;
    swapPoints(other);
    triangles_.swap(other.triangles_);
    triangleNormals_.swap(other.triangleNormals_);
    lines_.swap(other.lines_);
    selectedTriangles_.swap(other.selectedTriangles_);
    polys.swap(other.polys);
    lineStrips.swap(other.lineStrips);
    triStrips.swap(other.triStrips);
    triFans.swap(other.triFans);
}

void CompactMesh::dropStaleFaces(MeshModification const& modification) {
    if (modification.getType() == MeshModification::Attributes)
        return;
    if (!modification.keeps(MeshModification::TriangleNormals))
        deleteTriangleNormals();
    if (modification.getType() == MeshModification::Geometry)
        return;
    dropStaleSequence(triStrips, modification, MeshModification::StripsAndFans);
    dropStaleSequence(triFans, modification, MeshModification::StripsAndFans);
    dropStaleSequence(polys, modification, MeshModification::Polys);
    dropStaleSequence(lineStrips, modification, MeshModification::LineStrips);
    if (!modification.keeps(MeshModification::Lines))
        lines_.setSize(0);
}

}  // namespace koGeom
