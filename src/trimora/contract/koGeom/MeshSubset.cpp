#include "trimora/contract/koGeom/MeshSubset.h"

#include <algorithm>

namespace koGeom {

MeshSubset::MeshSubset(int vertexCount, int const* vertexIndices, int triangleCount,
                       int const* triangleIndices)
    : numVertices(std::max(vertexCount, 0)),
      numTriangles(std::max(triangleCount, 0)),
      vertices(nullptr),
      triangles(nullptr) {
    storage_.reserve(static_cast<std::size_t>(numVertices) +
                     static_cast<std::size_t>(numTriangles));
    storage_.insert(storage_.end(), vertexIndices, vertexIndices + numVertices);
    storage_.insert(storage_.end(), triangleIndices, triangleIndices + numTriangles);
    if (numVertices > 0)
        vertices = storage_.data();
    if (numTriangles > 0)
        triangles = storage_.data() + numVertices;
}

MeshSubset::MeshSubset(MeshSubset const& other)
    : MeshSubset(other.numVertices, other.vertices, other.numTriangles, other.triangles) {}

MeshSubset::~MeshSubset() = default;

}  // namespace koGeom
