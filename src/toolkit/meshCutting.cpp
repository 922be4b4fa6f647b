// The region that is handed to the cut holds the triangles at the curves and some rings round them: what the cut changes
// lies well inside, so that the rim, which the rest of the mesh uses, stays as it is.

#include "toolkit/meshCutting.h"

#include "toolkit/meshTidying.h"
#include "toolkit/surfaceFault.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/topology/meshCut.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::CompactMeshCutResult;
using koGeom::MeshAdjTris;
using koGeom::MeshCoord;
using koLinear::Point;

constexpr double relativeTolerance = 1e-6;  // far above the rounding of floats, far below triangles
// The conditioning reaches two rings from the cut, its swaps one further.
constexpr int numRings = 5;
// In tolerances. A border changes its length by less than this when points come to lie on it, and a curve that opens
// anything opens more.
constexpr double leastOpened = 10.0;

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

// In doubles: a sum of floats would differ before and after by more than a cut does.
double areaOf(CompactMesh const& mesh, int triangle) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
    Point const a = pointOf(mesh, corners[0]);
    double const twice =
        cross(pointOf(mesh, corners[1]) - a, pointOf(mesh, corners[2]) - a).length();
    return std::isfinite(twice) ? 0.5 * twice : 0.0;
}

double areaOf(CompactMesh const& mesh) {
    double sum = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        sum += areaOf(mesh, t);
    return sum;
}

/// The size of a part of a mesh: its area, and how long the edges are that one triangle of it has alone.
struct RegionSize {
    double area = 0.0;
    double rim = 0.0;
};

RegionSize sizeOf(CompactMesh const& mesh, std::vector<int> const& triangles) {
    RegionSize size;
    std::vector<std::pair<int, int>> edges;
    for (int const t : triangles) {
        size.area += areaOf(mesh, t);
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k)
            edges.push_back(std::minmax({corners[k], corners[(k + 1) % 3]}));
    }
    std::sort(edges.begin(), edges.end());
    for (auto edge = edges.begin(); edge != edges.end();) {
        auto const end = std::upper_bound(edge, edges.end(), *edge);
        if (end - edge == 1)
            size.rim += distance(pointOf(mesh, edge->first), pointOf(mesh, edge->second));
        edge = end;
    }
    return size;
}

std::vector<int> selectedTriangles(CompactMesh const& mesh) {
    std::vector<int> list;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (mesh.getSelectedTriangles().isBitSet(t) != 0)
            list.push_back(t);
    }
    return list;
}

// A region that was replaced comes back behind the triangles that stayed.
std::vector<int> trianglesFrom(CompactMesh const& mesh, int first) {
    std::vector<int> list(static_cast<std::size_t>(std::max(0, mesh.getNumTriangles() - first)));
    std::iota(list.begin(), list.end(), first);
    return list;
}

double lengthOf(CompactMesh const& mesh, SurfaceCurves const& curves) {
    double sum = 0.0;
    for (auto const& curve : curves) {
        for (std::size_t i = 1; i < curve.size(); ++i)
            sum += distance(curve[i - 1].evaluate(mesh.getVertices(), mesh.getTriangles()),
                            curve[i].evaluate(mesh.getVertices(), mesh.getTriangles()));
    }
    return sum;
}

CutOutcome refused(std::string const& why) {
    CutOutcome outcome;
    outcome.refusal = why;
    return outcome;
}

CutOutcome refused(SurfaceFault const& fault) {
    CutOutcome outcome =
        refused(fault.text + ", near the curves; " +
                (fault.isNonfinite ? "leave such triangles out first" : "repair the mesh first"));
    outcome.problemPoint = fault.place;
    outcome.isNonfinite = fault.isNonfinite;
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

// Places come out in the mesh's own size.
CutOutcome outcomeOf(CompactMeshCutResult const& result, double scale) {
    Point place = result.getProblemPoint();
    place.set(place.x / scale, place.y / scale, place.z / scale);
    switch (result.getStatus()) {
    case CompactMeshCutResult::CutSuccess:
        return {};
    case CompactMeshCutResult::CutEndInFace:
        return refusedAt("a curve ends inside a triangle", place,
                         "let it run on to the border, to another curve or back to its start");
    case CompactMeshCutResult::CutNoCurves:
        return refused("a curve has fewer than 2 points");
    case CompactMeshCutResult::CutInsideFace:
        return refusedAt("a piece of curve stays inside one triangle, or three curves cross one "
                         "another in it,",
                         place, "subdivide the mesh there first, or move the curve");
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

    CompactMesh edited = bareCopy(mesh);
    selectRegion(edited, adjTris, curves, tolerance);
    if (SurfaceFault const fault = faultOfSurface(edited, adjTris, edited.getSelectedTriangles()))
        return refused(fault);
    std::vector<int> const region = selectedTriangles(edited);
    RegionSize const before = sizeOf(mesh, region);
    double const scale = unitScale(diagonalOf(mesh));
    scaleVertices(edited, scale);
    CutOutcome outcome =
        outcomeOf(koGeom::meshCut(edited, adjTris, curves, scale * tolerance), scale);
    if (!outcome.refusal.empty())
        return outcome;
    scaleVertices(edited, 1.0 / scale);

    int const numKept = mesh.getNumTriangles() - static_cast<int>(region.size());
    RegionSize const after = sizeOf(edited, trianglesFrom(edited, numKept));
    double const opened = 0.5 * (after.rim - before.rim);  // both sides of a cut are border
    outcome.areaBefore = outcome.areaAfter = areaOf(mesh);
    outcome.curveLength = lengthOf(mesh, curves);
    if (opened <= leastOpened * tolerance)
        return outcome;
    outcome.openedLength = opened;
    outcome.areaAfter += after.area - before.area;
    outcome.dropped = replaceMesh(mesh, edited);
    return outcome;
}

}  // namespace trimora
