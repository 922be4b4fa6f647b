#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

struct CheckOptions {
    double foldAngle = 15.0;        ///< degrees; two triangles that open by less are a fold
    bool testIntersections = true;  ///< false leaves CheckResult::intersectingTriangles empty
    std::size_t mostOffences = 5;   ///< of each defect, in CheckResult::offences
};

/// One offending element, as a person would look for it.
struct Offence {
    std::vector<int> elements;  ///< a triangle's number, a vertex's, or the two vertices of an edge
    std::array<float, 3>
        position;  ///< first corner of the triangle, the vertex, or the edge's first end
};

/// What checkMesh found. A clean mesh has none of the defects; open borders and unused vertices are no defect.
struct CheckResult {
    std::string
        refusal;  ///< not empty: a mesh that is none, see faultOfMesh; the other fields mean nothing
    std::optional<std::array<double, 3>> problemPoint;  ///< where, when the refusal has a place

    int vertices = 0;
    int triangles = 0;
    int components = 0;           ///< parts linked through shared vertices
    int boundaries = 0;           ///< loops of open edges
    int boundaryEdges = 0;        ///< edges that exactly one triangle uses
    int eulerCharacteristic = 0;  ///< used vertices - edges + triangles
    bool closed = false;          ///< there are triangles and no boundary edges
    int unusedVertices = 0;
    int coincidentVertices = 0;  ///< vertices that an exact weld would remove

    int duplicateTriangles = 0;
    int degenerateTriangles = 0;             ///< repeated vertex, or two corners at one position
    int nonManifoldEdges = 0;                ///< edges with more than two triangles
    std::optional<int> nonManifoldVertices;  ///< empty while there are non-manifold edges
    bool oriented = false;
    std::optional<int> intersectingTriangles;  ///< empty when it was not asked for
    int foldedEdges = 0;
    bool clean = false;
    bool cancelled = false;  ///< the progress was cancelled; the other fields mean nothing then

    struct Offences {
        std::string defect;  ///< the key of the finding in the report, say "duplicateTriangles"
        std::vector<Offence> first;  ///< at most CheckOptions::mostOffences
    };
    std::vector<Offences> offences;  ///< one entry for each defect found
};

/// Everything that can be wrong with a mesh, counted; the mesh stays as it is.
///
/// Intersections are tested on an exactly welded copy of positions alone: triangles that share an edge by position but
/// not by vertex number would count as cutting otherwise.
///
/// progress    polled between the tests and inside the intersection test
/// cost        O(n log n) plus the intersection test; about 300 bytes of scratch a triangle
/// threads     runs on the shared pool; call from one thread
/// refuses     a mesh whose arrays do not fit together, see faultOfMesh
TRIMORA_API CheckResult checkMesh(koGeom::CompactMesh const& mesh, CheckOptions const& options,
                                  koUtil::Progress& progress);

/// Number of vertices that an exact weld would remove.
TRIMORA_API int numCoincidentVertices(koGeom::CompactMesh const& mesh);

}  // namespace trimora
