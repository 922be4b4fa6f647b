#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <string>

/// What is wrong with a surface, counted by sorting and nothing else: an answer that shares no code with the library's own tests.
namespace support {

/// Each number counts what a repair would have to mend; all are 0 of an oriented manifold.
struct SurfaceFaults {
    int duplicateTriangles = 0;   ///< further ones on the same three vertices
    int degenerateTriangles = 0;  ///< two corners are one vertex, or lie at one position
    int crowdedEdges = 0;         ///< of three triangles or more
    int turnedEdges = 0;          ///< of two triangles that run them the same way
    int brokenFans = 0;  ///< vertices whose triangles do not hang together through edges at them

    bool any() const {
        return duplicateTriangles + degenerateTriangles + crowdedEdges + turnedEdges + brokenFans >
               0;
    }
    std::string inWords() const;
};

SurfaceFaults surfaceFaults(koGeom::CompactMesh const& mesh);

/// Pairs of triangles without a corner in common, by number or position, of which an edge of one passes through the inside of the
/// other with room on all sides (a thousandth of their size): no rounding makes these. Stops at `most`; looks at no more than
/// `mostPairs` pairs of boxes.
int numClearCrossings(koGeom::CompactMesh const& mesh, int most = 1,
                      long long mostPairs = 50'000'000);

}  // namespace support
