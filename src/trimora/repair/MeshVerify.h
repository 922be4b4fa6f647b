#pragma once

#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class TopoMesh;

/// Checks that a half-edge mesh is sound, for use after a run of edits. Answers yes or no and says nothing.
class TRIMORA_API MeshVerify {
public:
    /// Which checks to make, all by default. They run in this order and the first violation ends the run.
    struct TRIMORA_API Info {
        /// No corner is closed: the directions to its two neighbours differ, by a cosine of more than `epsilonTol`
        /// below 1. A corner on an edge without length passes.
        bool checkCorners = true;
        /// No two half-edges of the faces run between the same two vertices in the same direction.
        bool checkDirectedEdges = true;
        /// Every half-edge of a face's ring names the face, and no vertex stands in the ring twice.
        bool checkFaceRings = true;
        /// Where a vertex has more than one face, all of them are met by walking the edges that leave it. Fails where
        /// fans touch at a point.
        bool checkVertexFans = true;
        /// The edges met by walking those that leave a vertex are as many as the corners of faces there.
        bool checkVertexEdges = true;

        Info() = default;
        Info(Info const&) = default;
        Info& operator=(Info const&) = default;
    };

    MeshVerify() = default;
    MeshVerify(MeshVerify const&) = default;
    MeshVerify& operator=(MeshVerify const&) = default;

    /// mesh      only read, and not at all when no check is asked for. A ring that does not close, which only a host
    ///           that writes links itself can make, fails the first check that is asked for.
    /// returns   true when all checks that are asked for pass; an empty mesh passes them all
    /// cost      O(n log n) for n corners; scratch 4 bytes a corner and 16 a vertex that was ever made; on the calling thread
    bool operator()(TopoMesh& mesh, Info const& info);
};

/// There is nothing to check on an array-based mesh: returns at once. `MeshCharacteristics` tells what is wrong with one.
TRIMORA_API void meshVerify(CompactMesh const& mesh);

}  // namespace koGeom
