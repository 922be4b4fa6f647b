#pragma once

#include "toolkit/meshCounts.h"
#include "toolkit/planeSection.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// More corners than this in one polygon would take the triangulation, whose time grows with the cube, too long.
inline constexpr int maxPolygonCorners = 5000;

struct CutOutcome {
    std::string refusal;  ///< not empty: nothing was changed; what is wrong, where, and what to do
    std::optional<std::array<double, 3>> problemPoint;  ///< where, when the refusal has a place
    bool isNonfinite = false;          ///< refused for a NaN or infinite coordinate near the curves
    bool isOfCurves = false;           ///< refused for the curves, not for the mesh
    std::vector<std::string> dropped;  ///< vertex sets that the mesh had, see dropVertexSets
    double areaBefore = 0.0;           ///< of the triangles without NaN or infinite corners
    double areaAfter = 0.0;
    double curveLength = 0.0;  ///< of all curves
    double openedLength =
        0.0;  ///< of the new border, its two sides counted once; 0: the mesh was left as it was
    /// Vertices of the mesh that went with slivers beside the new border: the surface can have moved there, and a corner that
    /// went takes area with it. Of several vertices in one place each counts.
    int removedVertices = 0;
    /// Edges of the part that was replaced whose two triangles lay back to back, as in a flat closed part: beside the new border
    /// one such fold may have become another, which covers another area.
    int closedFolds = 0;
    /// Triangles without area beside the new border, beyond those that were there: pieces of those, as a rule.
    int addedNullTriangles = 0;
    /// What the cut replaced and by what, for measuring how far the surface moved; empty when nothing was opened.
    koGeom::CompactMesh regionBefore;
    koGeom::CompactMesh regionAfter;
    bool cancelled = false;  ///< the mesh is as it was; the other fields mean nothing
};

/// The length within which a curve's points are taken to lie on a vertex or an edge: a millionth of the diagonal.
TRIMORA_API double cutTolerance(koGeom::CompactMesh const& mesh);

/// Cuts a mesh along curves on its surface, so that a border runs along each of them, and takes slivers beside the new
/// border away.
///
/// mesh        edited in place near the curves; the rest keeps its order. There the surface has to be manifold and oriented.
///             Untouched, vertex sets and all, when it is refused, and when the curves open nothing: along a border
///             that is there already, or there and back inside the surface
/// curves      neighbouring points share a triangle, as planeSection and laySurfaceCurves make them
/// tolerance   length, see cutTolerance
/// refuses     a surface that is no oriented manifold near the curves; more points in one triangle than its polygon may have; curves that
///             end inside the surface and meet nothing; pieces that stay inside one triangle; curves that run over one
///             stretch twice, so that triangles without area would lie between them
/// progress    polled between the steps
/// cost        the triangles near the curves, and a few passes over the mesh, on the calling thread
TRIMORA_API CutOutcome cutMesh(koGeom::CompactMesh& mesh, SurfaceCurves const& curves,
                               double tolerance, koUtil::Progress& progress);

}  // namespace trimora
