// Drives the library's repair one fix at a time. Which fix comes next is read off the same tests, in the same order, as
// the repair itself uses; their results are kept in between, so that nothing is tested twice.

#include "toolkit/checkedRepair.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/triangleArea.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshParts.h"
#include "toolkit/partsOutward.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/repair/MeshCharacteristics.h"
#include "trimora/repair/MeshRepair.h"

#include <algorithm>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshCharacteristics;

class StepwiseRepair {
public:
    StepwiseRepair(CompactMesh& mesh, RepairOptions const& options, koUtil::Progress& progress)
        : mesh_(mesh), options_(options), progress_(progress), repair_(mesh) {
        repair_.checkSelfIntersection(options.selfIntersections);
        repair_.checkGoodAngles(options.foldAngle.has_value());
        if (options.foldAngle)
            repair_.setMinGoodAngle(*options.foldAngle);
    }

    RepairOutcome run();

private:
    void weld();
    std::string nextFix();
    void fix(std::string const& what);
    int numTurned(std::vector<int> const& before) const;

    CompactMesh& mesh_;
    RepairOptions const& options_;
    koUtil::Progress& progress_;
    koGeom::MeshRepair repair_;
    RepairOutcome outcome_;
};

RepairOutcome StepwiseRepair::run() {
    progress_.setCaption("repairing");
    if (options_.weld && !progress_.cancelled())
        weld();
    while (!progress_.cancelled() && repair_.canRepair()) {
        fix(nextFix());
        progress_.setCaption(outcome_.steps.back().what.c_str());
    }
    outcome_.cancelled = progress_.cancelled();
    outcome_.fullyRepaired = !outcome_.cancelled && !repair_.needsRepair();
    progress_.set(1.0);
    return std::move(outcome_);
}

void StepwiseRepair::weld() {
    koOS::StopWatch watch;
    watch.start();
    int const numVertices = mesh_.getNumVertices();
    koUtil::Progress unwatched;
    koGeom::meshCompact(mesh_, unwatched);
    int const numMerged = numVertices - mesh_.getNumVertices();
    if (numMerged > 0)
        outcome_.steps.push_back({"weld coincident vertices", 0, 0, numMerged, 0, watch.clear()});
}

// The first failing test decides, as it does in the repair.
std::string StepwiseRepair::nextFix() {
    ko::Reference<MeshCharacteristics> const tests = repair_.getCharacteristics();
    if (!tests->checkGoodTriangles())
        return "remove duplicate and degenerate triangles";
    if (!tests->checkManifold()) {
        return tests->getNumNonManifoldEdges() > 0
                   ? "remove surplus triangles on non-manifold edges"
                   : "split non-manifold vertices";
    }
    if (!tests->checkOriented())
        return repair_.hasMobiusStrip() ? "remove a Moebius strip" : "orient";
    if (options_.selfIntersections && !tests->checkNonIntersecting())
        return "remove intersecting triangles";
    return "remove folded triangles";
}

void StepwiseRepair::fix(std::string const& what) {
    koOS::StopWatch watch;
    watch.start();
    int const numVertices = mesh_.getNumVertices();
    int const numTriangles = mesh_.getNumTriangles();
    int const* const raw = mesh_.getTrianglesRaw();
    std::vector<int> const before(raw, raw + 3 * static_cast<std::ptrdiff_t>(numTriangles));
    repair_.repair();

    RepairStep step;
    step.what = what;
    step.trianglesRemoved = numTriangles - mesh_.getNumTriangles();
    step.verticesRemoved = std::max(0, numVertices - mesh_.getNumVertices());
    step.verticesSplit = std::max(0, mesh_.getNumVertices() - numVertices);
    step.trianglesTurned = what == "orient" ? numTurned(before) : 0;
    step.seconds = watch.clear();
    outcome_.steps.push_back(step);
}

int StepwiseRepair::numTurned(std::vector<int> const& before) const {
    int const* const after = mesh_.getTrianglesRaw();
    int turned = 0;
    for (std::size_t i = 0; i < before.size(); i += 3)
        turned +=
            std::equal(after + i, after + i + 3, before.begin() + static_cast<std::ptrdiff_t>(i))
                ? 0
                : 1;
    return turned;
}

/// Whether triangles touch without sharing vertices, and would count as cutting one another.
bool hasOpenSeams(CompactMesh const& mesh, bool isWelded) {
    if (!isWelded || (mesh.getNormals() == nullptr && mesh.getUVs() == nullptr))
        return !isWelded && numCoincidentVertices(mesh) > 0;
    CompactMesh welded(mesh);
    koUtil::Progress unwatched;
    koGeom::meshCompact(welded, unwatched);
    return numCoincidentVertices(welded) > 0;
}

/// Numbers of those that stay, ascending.
struct Kept {
    std::vector<int> vertices;
    std::vector<int> triangles;
};

/// Without the parts of less than the share of the area, and their vertices.
Kept withoutDust(CompactMesh const& mesh, double share) {
    auto const parts = findParts(mesh);
    std::vector<double> areas;
    double whole = 0.0;
    for (auto const& part : parts) {
        double& area = areas.emplace_back(0.0);
        for (int k = 0; k < part->numTriangles; ++k)
            area += finiteAreaOf(mesh, part->triangles[k]);
        whole += area;
    }
    std::vector<char> isDust(static_cast<std::size_t>(mesh.getNumVertices()), 0);
    Kept kept;
    std::size_t i = 0;
    for (auto const& part : parts) {
        bool const isTaken = areas[i++] < share * whole;
        for (int k = 0; isTaken && k < part->numVertices; ++k)
            isDust[static_cast<std::size_t>(part->vertices[k])] = 1;
        for (int k = 0; !isTaken && k < part->numTriangles; ++k)
            kept.triangles.push_back(part->triangles[k]);
    }
    std::sort(kept.triangles.begin(), kept.triangles.end());
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (isDust[static_cast<std::size_t>(v)] == 0)
            kept.vertices.push_back(v);
    return kept;
}

Kept withoutUnused(CompactMesh const& mesh) {
    std::vector<char> isUsed(static_cast<std::size_t>(mesh.getNumVertices()), 0);
    Kept kept;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        kept.triangles.push_back(t);
        for (int const v : mesh.getTriangles()[t].vertices)
            isUsed[static_cast<std::size_t>(v)] = 1;
    }
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (isUsed[static_cast<std::size_t>(v)] != 0)
            kept.vertices.push_back(v);
    return kept;
}

/// A mesh loses what else there is than triangles and vertex sets only if anything goes.
void reduceTo(Kept const& kept, char const* what, CompactMesh& mesh, RepairOutcome& outcome) {
    koOS::StopWatch watch;
    watch.start();
    int const numVertices = mesh.getNumVertices();
    int const numTriangles = mesh.getNumTriangles();
    koGeom::MeshSubset const subset(static_cast<int>(kept.vertices.size()), kept.vertices.data(),
                                    static_cast<int>(kept.triangles.size()), kept.triangles.data());
    if (subset.numVertices == numVertices && subset.numTriangles == numTriangles)
        return;
    mesh.clearSelection();
    koGeom::meshExtract(mesh, mesh, subset);
    outcome.steps.push_back({what, numTriangles - mesh.getNumTriangles(), 0,
                             numVertices - mesh.getNumVertices(), 0, watch.clear()});
}

void leaveOut(CompactMesh& mesh, RepairOptions const& options, RepairOutcome& outcome) {
    if (mesh.getNumTriangles() == 0)
        return;
    if (options.dustShare) {
        Kept const kept = withoutDust(mesh, *options.dustShare);
        if (kept.triangles.empty()) {
            outcome.refusal = "every part has less than that share of the area and would be dust; "
                              "choose a smaller one";
            return;
        }
        reduceTo(kept, "leave dust out", mesh, outcome);
    }
    if (options.dropUnused)
        reduceTo(withoutUnused(mesh), "drop unused vertices", mesh, outcome);
}

void turnOutward(CompactMesh& mesh, koUtil::Progress& progress, RepairOutcome& outcome) {
    OutwardOutcome const turned = turnPartsOutward(mesh, progress);
    outcome.cancelled = turned.cancelled;
    outcome.fullyRepaired = outcome.fullyRepaired && !turned.cancelled;
    if (turned.trianglesTurned > 0)
        outcome.steps.push_back(
            {"turn parts outward", 0, turned.trianglesTurned, 0, 0, turned.seconds});
}

RepairOutcome repair(CompactMesh& mesh, RepairOptions const& options, koUtil::Progress& progress) {
    if (options.foldAngle && !(*options.foldAngle >= 0.0 && *options.foldAngle <= 180.0)) {
        RepairOutcome refused;
        refused.refusal = "the angle of a fold has to be 0 to 180 degrees";
        return refused;
    }
    if (options.dustShare && !(*options.dustShare > 0.0 && *options.dustShare < 1.0)) {
        RepairOutcome refused;
        refused.refusal = "the share of dust has to be above 0 and below 1";
        return refused;
    }
    if (options.selfIntersections && hasOpenSeams(mesh, options.weld)) {
        RepairOutcome refused;
        refused.refusal =
            options.weld
                ? "vertices at one place differ in normals or texture coordinates, so that they "
                  "are not welded, and removing intersections would delete triangles "
                  "along these seams; leave out --self-intersections"
                : "removing intersections without welding would delete triangles along "
                  "every unwelded seam; "
                  "leave out --no-weld or --self-intersections";
        return refused;
    }
    RepairOutcome outcome = StepwiseRepair(mesh, options, progress).run();
    if (!outcome.cancelled)
        leaveOut(mesh, options, outcome);
    if (options.outward && !outcome.cancelled && outcome.refusal.empty())
        turnOutward(mesh, progress, outcome);
    return outcome;
}

/// Material goes, vertices are parted.
Expectation predict(MeshState const& before, RepairOutcome const& outcome) {
    Expectation expected;
    expected.noMoreTriangles = true;
    // Polygons alone are a surface to the one who looks, and nothing to repair.
    expected.isOriented = outcome.fullyRepaired && before.triangles > 0;
    return expected;
}

}  // namespace

RepairOutcome repairMesh(CompactMesh& mesh, RepairOptions const& options,
                         koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return repair(work, options, progress); }, predict);
}

}  // namespace trimora
