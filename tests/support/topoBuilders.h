#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <cstdint>
#include <string>
#include <vector>

/// Small half-edge meshes, and what they look like in numbers.
namespace support {

/// Allocates the vertices and triangles of a mesh, in order; returns the vertices. No meshTwin follows.
std::vector<koGeom::TopoMeshVertex> fill(koGeom::TopoMesh& mesh, koGeom::CompactMesh const& source);

/// A cube of 6 quads, side 2 around the origin, wound outward.
std::vector<koGeom::TopoMeshVertex> fillQuadCube(koGeom::TopoMesh& mesh);

/// One face with its corners on the unit circle, from (1, 0) counterclockwise.
std::vector<koGeom::TopoMeshVertex> fillPolygon(koGeom::TopoMesh& mesh, int sides);

template <typename Handle>
std::vector<Handle> listOf(Handle first) {
    std::vector<Handle> list;
    for (Handle h = first; h; h = h.nextInList())
        list.push_back(h);
    return list;
}

std::vector<koGeom::TopoMeshEdge> ringOf(koGeom::TopoMeshFace face);

/// The faces in list order, each as the creation numbers of its corners from its first edge on: "0 1 2, 0 2 3".
std::string facesOf(koGeom::TopoMesh const& mesh);

/// The corners of one face in the same form.
std::string cornersOf(koGeom::TopoMeshFace face);

/// Number of half-edges without a twin.
int numOpenEdges(koGeom::TopoMesh const& mesh);

/// Everything that can be seen of a mesh through its handles; own and first edges left out if asked.
std::vector<void const*> digestOf(koGeom::TopoMesh const& mesh, bool withFirsts = true);

/// The whole mesh in numbers, links that only edits read and blind data included: equal for meshes that were made and edited
/// alike. All NaN are one.
std::vector<std::uint64_t> stateOf(koGeom::TopoMesh const& mesh);

}  // namespace support
