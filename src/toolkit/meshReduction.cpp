#include "toolkit/meshReduction.h"

#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/reduce/meshReduce.h"
#include "trimora/reduce/meshReduceByEdgeCollapse.h"
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
    {
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
            : "4 for each of its " + std::to_string(counts.components) + " components";
    char advice[128];
    double const fraction = std::ceil(least / counts.triangles * 1e6) / 1e6;
    std::snprintf(advice, sizeof advice, "ask for a fraction of at least %.6g", fraction);
    char goal[64];
    std::snprintf(goal, sizeof goal, "the target of %.0f triangles is below ", target);
    return goal + parts + "; " +
           (fraction <= 1.0 ? advice : "weld it or delete small components first");
}

}  // namespace

ReduceOutcome reduceMesh(CompactMesh& mesh, ReduceOptions const& options,
                         koUtil::Progress& progress) {
    ReduceOutcome outcome;
    outcome.before = countMesh(mesh);
    if (options.method == ReduceMethod::Collapse)
        outcome.refusal = refusalOfTarget(outcome.before, targetFaces(mesh, options.value));
    if (!outcome.refusal.empty())
        return outcome;

    koOS::StopWatch watch;
    watch.start();
    outcome.dropped = dropVertexSets(mesh);
    outcome.unusedVertices = mesh.getNumTriangles() > 0 ? removeUnusedVertices(mesh) : 0;
    if (options.method == ReduceMethod::Collapse)
        collapseEdges(mesh, options.value, progress, outcome);
    else
        removeVertices(mesh, options, progress, outcome);
    outcome.seconds = watch.clear();
    outcome.cancelled = progress.cancelled();
    outcome.after = countMesh(mesh);
    return outcome;
}

std::string stopInWords(ReduceOutcome const& outcome) {
    if (outcome.stopped == "target")
        return "the target is reached";
    if (outcome.stopped == "tolerance")
        return "nothing more could go within the tolerance";
    if (outcome.stopped == "nothingLeft")
        return "nothing more could go: what is left lies on borders, or the surface would change "
               "its shape";
    if (outcome.stopped == "onePercent")
        return "the last pass removed less than 1 % of what it left";
    return "cancelled";
}

}  // namespace trimora
