#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshSubset.h"

#include <vector>

/// What a partition of a mesh gives, as values.
namespace partitionTest {

using Ints = std::vector<int>;
using SubsetList = ko::list<ko::Reference<koGeom::MeshSubset>>;

struct Piece {
    Ints vertices;
    Ints triangles;

    bool operator==(Piece const&) const = default;
};

inline Piece pieceOf(koGeom::MeshSubset const& subset) {
    return {Ints(subset.vertices, subset.vertices + subset.numVertices),
            Ints(subset.triangles, subset.triangles + subset.numTriangles)};
}

}  // namespace partitionTest
