// The region that is handed to the cut holds the triangles at the curves and some rings round them: what the cut changes
// lies well inside, so that the rim, which the rest of the mesh uses, stays as it is.

#include "toolkit/meshCutting.h"

#include "toolkit/meshTidying.h"
#include "toolkit/surfaceFault.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshArea.h"
#include "trimora/topology/meshCut.h"

#include <algorithm>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::CompactMeshCutResult;
using koGeom::MeshAdjTris;
using koGeom::MeshCoord;
using koLinear::Point;

constexpr double relativeTolerance = 1e-6;  // far above the rounding of floats, far below triangles
constexpr int numRings =
    5;  // the conditioning reaches two rings from the cut, its swaps one further

double areaOf(CompactMesh const& mesh) {
    return koGeom::meshArea(mesh, koGeom::MeshChannelVertices);
}

CutOutcome refused(std::string const& why) {
    CutOutcome outcome;
    outcome.refusal = why;
    return outcome;
}

CutOutcome refusedAt(std::string const& what, Point const& place, std::string const& advice) {
    CutOutcome outcome = refused(what + " at " + positionInWords(place) + "; " + advice);
    outcome.problemPoint = {place.x, place.y, place.z};
    return outcome;
}

/// Counts a point for each triangle on which it lies, vertices left out: they are corners anyway.
void countPoint(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshCoord const& coord,
                std::vector<int>& counts) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[coord.triangle];
    std::vector<int> ends;
    for (int k = 0; k < 3; ++k) {
        if (coord.weights[k] != 0.0)
            ends.push_back(corners[k]);
    }
    if (ends.size() == 3)
        ++counts[static_cast<std::size_t>(coord.triangle)];
    if (ends.size() != 2)
        return;
    int const* const around = adjTris.triIndices(ends[0]);
    for (int i = 0; i < adjTris.numTris(ends[0]); ++i) {
        int const* const others = mesh.getTriangles()[around[i]].vertices;
        if (std::find(others, others + 3, ends[1]) != others + 3)
            ++counts[static_cast<std::size_t>(around[i])];
    }
}

/// The triangle with the most points of the curves, and how many: its polygon gets three corners more.
std::pair<int, int> fullestTriangle(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                    SurfaceCurves const& curves) {
    std::vector<int> counts(static_cast<std::size_t>(mesh.getNumTriangles()), 0);
    for (auto const& curve : curves) {
        for (MeshCoord const& coord : curve)
            countPoint(mesh, adjTris, coord, counts);
    }
    auto const fullest = std::max_element(counts.begin(), counts.end());
    return {static_cast<int>(fullest - counts.begin()), fullest != counts.end() ? *fullest : 0};
}

void selectRegion(CompactMesh& mesh, MeshAdjTris const& adjTris, SurfaceCurves const& curves,
                  double tolerance) {
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    koGeom::MeshSelect select(mesh, adjTris);
    for (auto const& curve : curves)
        select.selectAffectedTriangles(curve, tolerance);
    for (int i = 0; i < numRings; ++i)
        select.selectTrianglesRecursive(true);
    select.selectVerticesFromTriangles();
}

CutOutcome outcomeOf(CompactMeshCutResult const& result) {
    switch (result.getStatus()) {
    case CompactMeshCutResult::CutSuccess:
        return {};
    case CompactMeshCutResult::CutEndInFace:
        return refusedAt("a curve ends inside a triangle", result.getProblemPoint(),
                         "let it run on to the border, to another curve or back to its start");
    case CompactMeshCutResult::CutNoCurves:
        return refused("a curve has fewer than 2 points");
    case CompactMeshCutResult::CutInsideFace:
        return refusedAt("a piece of curve stays inside one triangle, or three curves cross one "
                         "another in it,",
                         result.getProblemPoint(),
                         "subdivide the mesh there first, or move the curve");
    case CompactMeshCutResult::CutNothingLeft:
        break;
    }
    return refused("nothing is left to cut along, since the curves end inside the surface; let "
                   "them run from border to border, or back to their first point");
}

}  // namespace

double cutTolerance(CompactMesh const& mesh) {
    return relativeTolerance * diagonalOf(mesh);
}

CutOutcome cutMesh(CompactMesh& mesh, SurfaceCurves const& curves, double tolerance) {
    if (curves.empty())
        return refused("there is no curve to cut along");
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    auto const [triangle, count] = fullestTriangle(mesh, adjTris, curves);
    if (count + 3 > maxPolygonCorners)
        return refusedAt(
            "the curves have " + std::to_string(count) + " points in one triangle, " +
                std::to_string(maxPolygonCorners - 3) + " at most,",
            MeshCoord(triangle, 1.0, 0.0, 0.0).evaluate(mesh.getVertices(), mesh.getTriangles()),
            "thin the curve out or subdivide the mesh there first");

    double const areaBefore = areaOf(mesh);
    selectRegion(mesh, adjTris, curves, tolerance);
    if (std::string const fault = faultOfSurface(mesh, adjTris, mesh.getSelectedTriangles());
        !fault.empty()) {
        mesh.clearSelection();
        return refused(fault + ", near the curves; repair the mesh first");
    }
    CutOutcome outcome = outcomeOf(koGeom::meshCut(mesh, adjTris, curves, tolerance));
    mesh.clearSelection();
    if (!outcome.refusal.empty())
        return outcome;
    outcome.dropped = dropVertexSets(mesh);
    outcome.areaBefore = areaBefore;
    outcome.areaAfter = areaOf(mesh);
    return outcome;
}

}  // namespace trimora
