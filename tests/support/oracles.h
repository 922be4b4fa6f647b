#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <array>
#include <map>
#include <set>
#include <vector>

/// Brute-force answers over a whole mesh, written to be plainly right.
namespace support {

using Edge = std::array<int, 2>;  // smaller vertex first

/// Undirected edges with the triangles on them, a triangle once for each of its three edges.
std::map<Edge, std::vector<int>> edgeTable(koGeom::CompactMesh const& mesh);

/// Number of groups of triangles linked through shared vertices.
int numComponents(koGeom::CompactMesh const& mesh);

/// V - E + F over the vertices that triangles use.
int eulerNumber(koGeom::CompactMesh const& mesh);

/// Number of edges that one triangle alone uses.
int numBorderEdges(koGeom::CompactMesh const& mesh);

/// Signed volume by the divergence theorem; surface area; both in double.
double volume(koGeom::CompactMesh const& mesh);
double area(koGeom::CompactMesh const& mesh);

/// The surface as a sorted set of triangles by position, each in its least rotation (winding kept): equal for two meshes
/// with the same surface, however they are numbered.
std::multiset<std::array<std::array<float, 3>, 3>> positionTriples(koGeom::CompactMesh const& mesh);

}  // namespace support
