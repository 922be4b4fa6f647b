#include "toolkit/meshReduction.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
#include "trimora/repair/meshManifold.h"
#include "trimora/topology/MeshConvertRep.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshReduceReport;

constexpr double fewestFaces = 4.0;  // of a closed surface

char const* nameOf(MeshReduceReport::Reason reason) {
    switch (reason) {
    case MeshReduceReport::Target:
        return "target";
    case MeshReduceReport::Tolerance:
        return "tolerance";
    case MeshReduceReport::NothingLeft:
        return "nothingLeft";
    case MeshReduceReport::OnePercent:
        return "onePercent";
    case MeshReduceReport::Cancelled:
        break;
    }
    return "cancelled";
}

void removeVertices(CompactMesh& mesh, ReduceOptions const& options, koUtil::Progress& progress,
                    ReduceOutcome& outcome) {
    ko::vector<koLinear::Point> removedPoints;
    MeshReduceReport report;
    if (options.method == ReduceMethod::Tolerance)
        outcome.maxDeviation =
            koGeom::meshReduceWithTolerance(mesh, options.value, progress, removedPoints, report);
    else
        koGeom::meshReduceToFraction(mesh, options.value, progress, removedPoints, report);
    outcome.passes = report.passes;
    outcome.stopped = nameOf(report.reason);
}

double targetFaces(CompactMesh const& mesh, double fraction) {
    return std::max(1.0, std::trunc(mesh.getNumTriangles() * fraction));
}

void collapseEdges(CompactMesh& mesh, double fraction, koUtil::Progress& progress,
                   ReduceOutcome& outcome) {
    double const target = targetFaces(mesh, fraction);
    if (mesh.getNumTriangles() > 0) {
        koGeom::TopoMesh topoMesh;
        fillTopoMesh(topoMesh, mesh, {});
        koGeom::meshReduceByEdgeCollapse(topoMesh, fraction, progress);
        std::unique_ptr<CompactMesh> const reduced(koGeom::meshConvertRep(topoMesh));
        mesh.swap(*reduced);
    }
    koGeom::MeshModification modification(&mesh, koGeom::MeshModification::Topology, nullptr);
    mesh.modified(modification);
    mesh.clearSelection();
    outcome.stopped = mesh.getNumTriangles() <= target ? "target" : "nothingLeft";
}

std::string refusalOfTarget(MeshCounts const& counts, double target) {
    double const least = fewestFaces * counts.components;
    if (target >= least || counts.triangles == 0)
        return {};
    std::string const parts =
        counts.components == 1
            ? "4, what a closed surface needs"
            : "4 for each of its " + countInWords(counts.components, "component");
    char advice[128];
    double const fraction = std::ceil(least / counts.triangles * 1e6) / 1e6;
    std::snprintf(advice, sizeof advice, "ask for a fraction of at least %.6g", fraction);
    char goal[64];
    std::snprintf(goal, sizeof goal, "the target of %.0f triangles is below ", target);
    return goal + parts + "; " +
           (fraction <= 1.0 ? advice : "weld it or delete small components first");
}

bool hasSameCorners(koGeom::MeshTriangle const& a, koGeom::MeshTriangle const& b) {
    return std::is_permutation(a.vertices, a.vertices + 3, b.vertices);
}

/// Pieces of two triangles on the same three vertices.
int numFlatPieces(CompactMesh const& mesh) {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::MeshTriangle const* const triangles = mesh.getTriangles();
    int count = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        int const* const corners = triangles[t].vertices;
        bool const isPair = std::all_of(corners, corners + 3,
                                        [&adjTris](int v) { return adjTris.numTris(v) == 2; });
        int const* const two = adjTris.triIndices(corners[0]);
        count += isPair && two[0] == t && hasSameCorners(triangles[two[0]], triangles[two[1]]);
    }
    return count;
}

int numNonManifoldEdges(CompactMesh const& mesh) {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::MeshManifoldResult found;
    koGeom::meshManifold(mesh, adjTris, found);
    return static_cast<int>(found.badEdgeAdj.size());
}

void reduceBare(CompactMesh& mesh, ReduceOptions const& options, koUtil::Progress& progress,
                ReduceOutcome& outcome) {
    outcome.unusedVertices = mesh.getNumTriangles() > 0 ? removeUnusedVertices(mesh) : 0;
    if (options.method == ReduceMethod::Collapse)
        collapseEdges(mesh, options.value, progress, outcome);
    else
        removeVertices(mesh, options, progress, outcome);
}

// Tolerances of a fixed size decide in the reducers what is flat or no triangle, and some of their squares are floats.
void reduceScaled(CompactMesh& mesh, ReduceOptions const& options, double scale,
                  koUtil::Progress& progress, ReduceOutcome& outcome) {
    ReduceOptions scaled = options;
    scaleVertices(mesh, scale);
    if (options.method == ReduceMethod::Tolerance)
        scaled.value *= scale;
    reduceBare(mesh, scaled, progress, outcome);
    if (outcome.maxDeviation)
        *outcome.maxDeviation /= scale;
    scaleVertices(mesh, 1.0 / scale);
}

std::string faultOf(ReduceOptions const& options) {
    bool const isLength = options.method == ReduceMethod::Tolerance;
    if (isLength && !(options.value >= 0.0 && std::isfinite(options.value)))
        return "the tolerance has to be a length, not below 0";
    if (!isLength && !(options.value > 0.0 && options.value <= 1.0))
        return "the fraction has to be above 0 and at most 1";
    return {};
}

ReduceOutcome reduce(CompactMesh& mesh, ReduceOptions const& options, koUtil::Progress& progress) {
    ReduceOutcome outcome;
    outcome.refusal = faultOf(options);
    if (!outcome.refusal.empty())
        return outcome;
    outcome.before = countMesh(mesh);
    if (options.method == ReduceMethod::Collapse)
        outcome.refusal = refusalOfTarget(outcome.before, targetFaces(mesh, options.value));
    if (!outcome.refusal.empty())
        return outcome;

    if (progress.cancelled()) {
        outcome.stopped = nameOf(MeshReduceReport::Cancelled);
        outcome.after = outcome.before;
        outcome.cancelled = true;
        return outcome;
    }

    koOS::StopWatch watch;
    watch.start();
    int const flatBefore = numFlatPieces(mesh);
    // Sets and selections go with the first vertex; without any removal they stay.
    CompactMesh reduced = bareCopy(mesh);
    reduceScaled(reduced, options, unitScale(diagonalOf(mesh)), progress, outcome);
    outcome.flattenedPieces = std::max(0, numFlatPieces(reduced) - flatBefore);
    if (outcome.stopped == "nothingLeft" || outcome.stopped == "onePercent")
        outcome.nonManifoldEdges = numNonManifoldEdges(reduced);
    bool const isChanged = reduced.getNumVertices() < outcome.before.vertices ||
                           reduced.getNumTriangles() < outcome.before.triangles;
    if (isChanged)
        outcome.dropped = replaceMesh(mesh, reduced);
    outcome.seconds = watch.clear();
    outcome.cancelled = progress.cancelled();
    outcome.after = countMesh(mesh);
    return outcome;
}

/// Every step of a reducer replaces a disk of triangles by a smaller one.
Expectation predict(MeshState const& before, ReduceOutcome const&) {
    Expectation expected = Expectation::ofKeptTopology(before);
    expected.noMoreVertices = true;
    expected.noMoreTriangles = true;
    return expected;
}

}  // namespace

ReduceOutcome reduceMesh(CompactMesh& mesh, ReduceOptions const& options,
                         koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return reduce(work, options, progress); }, predict);
}

std::string stopInWords(ReduceOutcome const& outcome) {
    if (outcome.stopped == "target")
        return "the target is reached";
    if (outcome.stopped == "tolerance")
        return "nothing more could go within the tolerance";
    if (outcome.stopped == "nothingLeft")
        return outcome.nonManifoldEdges > 0
                   ? "nothing more could go: what is left lies on borders or on edges of more than "
                     "two triangles, or the surface would change its shape"
                   : "nothing more could go: what is left lies on borders, or the surface would "
                     "change its shape";
    if (outcome.stopped == "onePercent")
        return "the last pass removed some, but less than 1 % of what it left";
    return "cancelled";
}

}  // namespace trimora
