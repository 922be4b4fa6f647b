#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

/// What is wrong with a surface, in words that begin a sentence; no text: nothing is.
struct SurfaceFault {
    std::string text;
    std::optional<std::array<double, 3>> place;  ///< of the first of its kind, when it has one
    bool isNonfinite = false;                    ///< a coordinate is NaN or infinite

    explicit operator bool() const { return !text.empty(); }
};

/// What keeps the arrays of a mesh from being one: indices of triangles, polygons, lines, strips and fans that name no vertex, runs that
/// do not add up, vertex sets out of step with the vertices, selections with a wrong count, negative counts. Coordinates may be
/// anything. Every operation of the toolkit asks this of the mesh it is given before anything else.
///
/// returns     the first fault; its place is that of another corner of the face, where there is one with finite coordinates
/// cost        one pass over the indices
TRIMORA_API SurfaceFault faultOfMesh(koGeom::CompactMesh const& mesh);

/// For operations that have no outcome of their own in which a refusal could stand: throws std::invalid_argument with the sentence
/// of faultOfMesh.
TRIMORA_API void requireSoundMesh(koGeom::CompactMesh const& mesh);

/// A triangle with a corner that is NaN or infinite; the place is that of another corner, where there is a finite one.
TRIMORA_API SurfaceFault faultOfCoordinates(koGeom::CompactMesh const& mesh);

/// What makes a part of a mesh unfit for edits that follow its surface, with the first place of it: NaN and infinite
/// coordinates, triangles that name a vertex twice, edges of more than two triangles, vertices where several fans meet,
/// neighbours wound against one another.
///
/// triangles   the part, one bit a triangle; the triangles that touch it are looked at too
/// returns     the first fault, in the order of these kinds
/// cost        linear in the mesh, O(n log n) in the part
TRIMORA_API SurfaceFault faultOfSurface(koGeom::CompactMesh const& mesh,
                                        koGeom::MeshAdjTris const& adjTris,
                                        koGeom::BitVector const& triangles);

}  // namespace trimora
