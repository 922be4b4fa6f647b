#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <vector>

namespace koGeom {

/// Part of a mesh as two lists of indices, which are copied and live as long as the subset.
class TRIMORA_API MeshSubset : public ko::ReferenceCount {
public:
    int numVertices;
    int numTriangles;
    int const* vertices;   // null when there is none
    int const* triangles;  // null when there is none

    MeshSubset(int numVertices, int const* vertices, int numTriangles, int const* triangles);
    MeshSubset(MeshSubset const& other);
    MeshSubset& operator=(MeshSubset const&) = delete;
    ~MeshSubset() override;

private:
    std::vector<int> storage_;  // the vertices, then the triangles
};

}  // namespace koGeom
