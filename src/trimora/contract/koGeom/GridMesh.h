#pragma once

#include "trimora/contract/koGeom/PointMesh.h"
#include "trimora/export.h"

namespace koGeom {

/// Vertices in a grid of numU columns and numV rows: vertex (i, j) has the index j numU + i.
///
/// The sizes are the caller's to keep in step with the number of vertices.
class TRIMORA_API GridMesh : public PointMesh {
public:
    int numU = 0;
    int numV = 0;

    GridMesh() = default;
    /// All positions 0. Sizes below 1 give an empty grid.
    GridMesh(int columns, int rows);
    ~GridMesh() override;
};

}  // namespace koGeom
