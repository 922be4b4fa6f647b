#include "trimora/contract/koGeom/GridMesh.h"

#include <limits>
#include <new>

namespace koGeom {

namespace {

int gridSize(int columns, int rows) {
    if (columns < 1 || rows < 1)
        return 0;
    if (columns > std::numeric_limits<int>::max() / rows)
        throw std::bad_alloc();
    return columns * rows;
}

}  // namespace

GridMesh::GridMesh(int columns, int rows)
    : PointMesh(gridSize(columns, rows)),
      numU(getNumVertices() > 0 ? columns : 0),
      numV(getNumVertices() > 0 ? rows : 0) {}

GridMesh::~GridMesh() = default;

}  // namespace koGeom
