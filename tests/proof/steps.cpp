#include "steps.h"

#include "support/builders.h"
#include "support/oracles.h"
#include "support/surfaceOracle.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/collarSampling.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshDeviation.h"
#include "toolkit/meshDiagnosis.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshExtrusion.h"
#include "toolkit/meshFlattening.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshOffsetting.h"
#include "toolkit/meshReduction.h"
#include "toolkit/meshSmoothing.h"
#include "toolkit/meshSplitting.h"
#include "toolkit/meshStitching.h"
#include "toolkit/meshStrips.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"
#include "toolkit/meshVerification.h"
#include "toolkit/renderMesh.h"
#include "toolkit/roundTrip.h"
#include "toolkit/silhouetteCurves.h"

#include "trimora/assembly/meshCompact.h"

#include <algorithm>
#include <cmath>

namespace proof {

using koGeom::CompactMesh;
using trimora::HoleChoice;

namespace {

/// Larger meshes are not held to rules whose check takes longer than the operation.
constexpr int mostTrianglesToCompare = 50'000;
constexpr int mostTrianglesToFlatten = 20'000;
constexpr int mostTrianglesToGrow = 150'000;

std::string weld(State& state) {
    int const numTriangles = state.mesh.getNumTriangles();
    koGeom::meshCompact(state.mesh, state.progress);
    require(state.mesh.getNumTriangles() == numTriangles, "welding lost triangles");
    return {};
}

/// What repair says has to be so by a count of its own, and a second one has nothing left to do.
std::string repairWith(State& state, trimora::RepairOptions const& options) {
    auto const outcome = trimora::repairMesh(state.mesh, options, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    auto const faults = support::surfaceFaults(state.mesh);
    require(!outcome.fullyRepaired || !faults.any(),
            "said to be repaired, but there are " + faults.inWords());
    if (options.selfIntersections && outcome.fullyRepaired)
        require(support::numClearCrossings(state.mesh) == 0,
                "said to be repaired, but triangles cross");
    bool const isClean = !faults.any() && !options.selfIntersections && !options.foldAngle;
    require(outcome.fullyRepaired || !isClean, "said not to be repaired, but nothing is wrong");
    // Vertices that were parted are welded and parted again.
    CompactMesh copy = state.mesh;
    auto const again = trimora::repairMesh(copy, options, state.progress);
    for (trimora::RepairStep const& step : again.steps)
        require(step.trianglesRemoved == 0 && step.trianglesTurned == 0,
                "a second repair finds something to do: " + step.what);
    require(again.fullyRepaired == outcome.fullyRepaired, "a second repair sees it another way");
    return {};
}

std::string repair(State& state) {
    return repairWith(state, {});
}

std::string repairAll(State& state) {
    trimora::RepairOptions options;
    options.selfIntersections = true;
    options.foldAngle = 15.0;
    return repairWith(state, options);
}

std::string fillWith(State& state, koGeom::HoleQuality quality) {
    trimora::FillOptions options;
    options.quality = quality;
    options.maxTriangles = 200'000;
    auto const found = trimora::findHoles(state.mesh, state.progress);
    if (!found.refusal.empty())
        return found.refusal;
    auto const& holes = found.holes;
    auto const chosen = trimora::chooseHoles(holes, {HoleChoice::Kind::All, {}, 0.0});
    int const numOpen = support::numBorderEdges(state.mesh);
    auto const outcome = trimora::fillHoles(state.mesh, holes, chosen, options, state.progress);
    int const numFilled = outcome.count(trimora::HoleFate::Filled);
    if (numFilled == 0)
        return holes.empty() ? "there is no hole" : "no hole could be filled";
    require(support::numBorderEdges(state.mesh) < numOpen, "filled, and not less is open");
    return {};
}

std::string fillFlat(State& state) {
    return fillWith(state, koGeom::HoleQualityFlat);
}
std::string fillRefined(State& state) {
    return fillWith(state, koGeom::HoleQualityRefined);
}
std::string fillFair(State& state) {
    return fillWith(state, koGeom::HoleQualityFair);
}

std::string reduceWith(State& state, trimora::ReduceMethod method, double value) {
    CompactMesh const before = state.mesh;
    trimora::ReduceOptions options;
    options.method = method;
    options.value = value;
    auto const outcome = trimora::reduceMesh(state.mesh, options, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    require(state.mesh.getNumTriangles() <= before.getNumTriangles(), "reduced to more");
    bool const isMeasured = method == trimora::ReduceMethod::Tolerance &&
                            before.getNumTriangles() <= mostTrianglesToCompare &&
                            state.mesh.getNumTriangles() > 0 &&
                            trimora::numNonfiniteVertices(before) == 0;
    if (isMeasured) {
        auto const apart = trimora::measureDistance(before, state.mesh, state.progress);
        require(apart.fromFirst.largest <= 1.001 * value + 1e-6 * apart.diagonal,
                "a vertex is farther away than the tolerance");
    }
    return {};
}

std::string reduceHalf(State& state) {
    return reduceWith(state, trimora::ReduceMethod::Fraction, 0.5);
}
std::string reduceTolerance(State& state) {
    return reduceWith(state, trimora::ReduceMethod::Tolerance,
                      0.001 * trimora::diagonalOf(state.mesh));
}
std::string reduceCollapse(State& state) {
    return reduceWith(state, trimora::ReduceMethod::Collapse, 0.4);
}

std::string smoothWith(State& state, trimora::SmoothOptions const& options) {
    std::vector<int> const before = support::trianglesOf(state.mesh);
    koGeom::BitVector all(state.mesh.getNumTriangles());
    all.setAllBits();
    auto const outcome = trimora::smoothMesh(state.mesh, all, options, state.progress);
    require(support::trianglesOf(state.mesh) == before, "smoothing changed triangles");
    return outcome.refusal;
}

std::string smooth(State& state) {
    trimora::SmoothOptions options;
    options.passes = 3;
    return smoothWith(state, options);
}

std::string smoothSharp(State& state) {
    trimora::SmoothOptions options;
    options.method = trimora::SmoothOptions::Method::Bilateral;
    options.passes = 2;
    double const sigma = 0.01 * trimora::diagonalOf(state.mesh);
    options.sigma = sigma > 0.0 ? sigma : 1.0;
    return smoothWith(state, options);
}

/// The quads are cut into triangles, as a file of them would be.
std::string subdivide(State& state) {
    int const numTriangles = state.mesh.getNumTriangles();
    if (numTriangles > mostTrianglesToGrow)
        return "too large to grow";
    if (trimora::numNonfiniteVertices(state.mesh) > 0)
        return "vertices that are NaN or infinite would make further ones";
    auto outcome = trimora::subdivideMesh(state.mesh, {}, 1, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    CompactMesh& quads = outcome.mesh;
    require(quads.getNumPolys() == 3 * numTriangles, "another number of quads than three each");
    CompactMesh const result = [&quads] {
        std::vector<int> triangles;
        int const* corner = quads.polys.points.data();
        for (int i = 0; i < quads.getNumPolys(); ++i, corner += 4)
            triangles.insert(triangles.end(),
                             {corner[0], corner[1], corner[2], corner[0], corner[2], corner[3]});
        CompactMesh mesh = trimora::bareCopy(quads);
        mesh.copyTriangles(static_cast<int>(triangles.size() / 3), triangles.data());
        return mesh;
    }();
    state.mesh = result;
    return {};
}

/// A plane aslant through the middle of the finite vertices' mean.
trimora::SectionOutcome sectionOf(State& state, double tolerance) {
    CompactMesh const& mesh = state.mesh;
    koLinear::Vector sum(0, 0, 0);
    int count = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koLinear::Vector const p = mesh.getVertices()[v].asPoint().asVector();
        if (!std::isfinite(p.x + p.y + p.z))
            continue;
        sum = sum + p;
        ++count;
    }
    koLinear::Vector const normal(0.8, 0.48, 0.36);
    trimora::SectionPlane plane;
    if (count == 0 || !plane.set({normal.x, normal.y, normal.z, -dot(normal, (1.0 / count) * sum)}))
        return {};
    return trimora::planeSection(mesh, plane, tolerance, state.progress);
}

std::string section(State& state) {
    auto const found = sectionOf(state, trimora::cutTolerance(state.mesh));
    return !found.refusal.empty() || !found.curves.empty() ? found.refusal : "no section";
}

std::string cut(State& state) {
    double const tolerance = trimora::cutTolerance(state.mesh);
    auto const found = sectionOf(state, tolerance);
    auto const& curves = found.curves;
    if (curves.empty())
        return found.refusal.empty() ? "no section" : found.refusal;
    double const before = support::area(state.mesh);
    auto const outcome = trimora::cutMesh(state.mesh, curves, tolerance, state.progress);
    double const after = support::area(state.mesh);
    auto const differ = [](double a, double b, double by) { return std::abs(a - b) > by * a; };
    if (outcome.refusal.empty() && outcome.removedVertices == 0 && outcome.closedFolds == 0)
        require(!differ(before, after, 1e-3), "a cut changed the area");
    if (outcome.refusal.empty() && std::isfinite(before + after))
        require(!differ(outcome.areaBefore, before, 1e-6) &&
                    !differ(outcome.areaAfter, after, 1e-6),
                "a cut tells another area");
    return outcome.refusal;
}

std::string stitch(State& state) {
    auto const found = trimora::findHoles(state.mesh, state.progress);
    if (!found.refusal.empty())
        return found.refusal;
    auto const& holes = found.holes;
    auto const chosen = trimora::chooseHoles(holes, {HoleChoice::Kind::All, {}, 0.0});
    trimora::StitchOptions options;
    auto const suggestion = trimora::suggestStitchDistance(state.mesh, holes, chosen);
    if (!suggestion)
        return "no borders run alongside each other";
    options.distance = suggestion->distance;
    auto const outcome = trimora::stitchMesh(state.mesh, holes, chosen, options, state.progress);
    if (outcome.refusal.empty())
        require(outcome.after.nonManifoldEdges <= outcome.before.nonManifoldEdges &&
                    support::surfaceFaults(state.mesh).crowdedEdges ==
                        outcome.after.nonManifoldEdges,
                "stitching made crowded edges, or miscounts them");
    return outcome.refusal;
}

std::string offset(State& state) {
    trimora::OffsetOptions options;
    options.distance = 0.01 * trimora::diagonalOf(state.mesh);
    options.testIntersections = false;
    if (state.mesh.getNumTriangles() > mostTrianglesToGrow)
        return "too large to grow";
    return trimora::offsetMesh(state.mesh, options, state.progress).refusal;
}

std::string extrude(State& state) {
    CompactMesh const& mesh = state.mesh;
    koGeom::BitVector selection(mesh.getNumTriangles());
    for (int t = 0; t < mesh.getNumTriangles() / 8; ++t)
        selection.setBit(t);
    trimora::ExtrudeOptions options;
    options.distance = 0.05 * trimora::diagonalOf(mesh);
    return trimora::extrudeMesh(state.mesh, selection, options, state.progress).refusal;
}

std::string flatten(State& state) {
    if (state.mesh.getNumTriangles() > mostTrianglesToFlatten)
        return "more than 20,000 triangles";
    trimora::FlattenOptions options;
    options.each = true;
    auto const outcome = trimora::flattenMesh(state.mesh, options, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    for (int v = 0; v < state.mesh.getNumVertices(); ++v) {
        koGeom::MeshUV const& uv = state.mesh.getUVs()[v];
        require(uv.u >= 0.0f && uv.u <= 1.0f && uv.v >= 0.0f && uv.v <= 1.0f,
                "a place outside the unit square");
    }
    return {};
}

int numTrianglesOf(std::vector<CompactMesh> const& parts) {
    int count = 0;
    for (CompactMesh const& part : parts)
        count += part.getNumTriangles();
    return count;
}

std::string splitLargest(State& state) {
    auto const outcome = trimora::splitMesh(state.mesh, {}, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    require(numTrianglesOf(outcome.parts) == state.mesh.getNumTriangles(),
            "the parts are not the whole");
    require(static_cast<int>(outcome.parts.size()) == support::numComponents(state.mesh),
            "another number of parts");
    state.mesh = outcome.parts.front();
    return {};
}

std::string splitSizes(State& state) {
    trimora::SplitOptions options;
    options.by = trimora::SplitOptions::By::Vertices;
    options.maxVertices = std::max(100, state.mesh.getNumVertices() / 10);
    auto const outcome = trimora::splitMesh(state.mesh, options, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    require(numTrianglesOf(outcome.parts) == state.mesh.getNumTriangles(),
            "the parts are not the whole");
    for (CompactMesh const& part : outcome.parts)
        require(part.getNumVertices() <= options.maxVertices, "a part is too large");
    return {};
}

std::string strips(State& state) {
    trimora::StripOptions options;
    options.maxLength = 1000;
    CompactMesh result;
    auto const outcome = trimora::makeStrips(state.mesh, options, result, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    require(result.getNumTriangles() == state.mesh.getNumTriangles(), "strips lost triangles");
    if (state.mesh.getNumTriangles() <= mostTrianglesToCompare &&
        trimora::numNonfiniteVertices(state.mesh) == 0)
        require(support::positionTriples(result) == support::positionTriples(state.mesh),
                "strips show another surface");
    state.mesh = trimora::bareCopy(result);
    return {};
}

std::string merge(State& state) {
    koGeom::MeshPlacement first, second;
    first.mesh = second.mesh = &state.mesh;
    CompactMesh result;
    auto const outcome = trimora::mergeMeshes(
        {first, second}, 1e-4 * trimora::diagonalOf(state.mesh), result, state.progress);
    if (!outcome.refusal.empty())
        return outcome.refusal;
    require(result.getNumTriangles() == 2 * state.mesh.getNumTriangles(), "merging lost triangles");
    state.mesh = trimora::bareCopy(result);
    return {};
}

std::string measure(State& state) {
    auto const outcome = trimora::measureMesh(state.mesh, true, state.progress);
    if (outcome.refusal.empty() && state.mesh.getNumTriangles() <= mostTrianglesToCompare) {
        double const area = support::area(state.mesh);
        require(!(std::abs(outcome.whole.area - area) > 1e-3 * area), "another area");
    }
    return outcome.refusal;
}

std::string deviation(State& state) {
    auto const outcome = trimora::measureDeviation(state.mesh, state.original, {}, state.progress);
    if (outcome.refusal.empty())
        require(outcome.values.size() == static_cast<std::size_t>(state.mesh.getNumVertices()),
                "not one value a vertex");
    return outcome.refusal;
}

std::string silhouette(State& state) {
    trimora::SilhouetteView view;
    view.isDirection = true;
    view.place = {0.3, 0.5, 0.8};
    return trimora::silhouetteCurves(state.mesh, view, state.progress).refusal;
}

std::string render(State& state) {
    trimora::RenderOptions options;
    options.width = 96;
    options.height = 72;
    options.samples = 1;
    options.shadow = true;
    return trimora::renderMeshes({{&state.mesh, nullptr, "proof"}}, options, state.progress)
        .refusal;
}

/// By the counts of the tests as well.
std::string check(State& state) {
    auto const found = trimora::checkMesh(state.mesh, {}, state.progress);
    if (!found.refusal.empty())
        return found.refusal;
    auto const faults = support::surfaceFaults(state.mesh);
    auto const requireSame = [](char const* what, int told, int counted) {
        require(told == counted, "the check counts " + std::to_string(told) + " " + what +
                                     " where there are " + std::to_string(counted));
    };
    requireSame("degenerate triangles", found.degenerateTriangles, faults.degenerateTriangles);
    requireSame("edges of many triangles", found.nonManifoldEdges, faults.crowdedEdges);
    requireSame("open edges", found.boundaryEdges, support::numBorderEdges(state.mesh));
    requireSame("parts", found.components, support::numComponents(state.mesh));
    return {};
}

/// What is sound has no fault by another count either; the other way round it may have findings of another kind.
std::string diagnose(State& state) {
    auto const diagnosis = trimora::diagnoseMesh(state.mesh, {}, {}, state.progress);
    for (trimora::Finding const& finding : diagnosis.findings)
        if (finding.kind ==
            "badIndices")  // it takes any mesh, and looks at what is left of this one
            return finding.title;
    require(!diagnosis.isSound() || !support::surfaceFaults(state.mesh).any(),
            "said to be sound, but it has faults");
    for (trimora::Finding const& finding : diagnosis.findings)
        require(finding.count > 0 && !finding.title.empty() && !finding.meaning.empty(),
                "a finding without words: " + finding.kind);
    return {};
}

std::string verify(State& state) {
    return trimora::verifyMesh(state.mesh, {}, state.progress).refusal;
}

std::string collar(State& state) {
    auto found = trimora::findHoles(state.mesh, state.progress);
    if (!found.refusal.empty())
        return found.refusal;
    auto& holes = found.holes;
    holes.resize(std::min(holes.size(), std::size_t(20)));  // each is sampled by itself
    for (trimora::MeshHole const& hole : holes) {
        trimora::CollarOptions options;
        options.samples = 50;
        auto const outcome = trimora::sampleCollar(state.mesh, hole, options);
        if (!outcome.refusal.empty())
            return outcome.refusal;
    }
    return {};
}

/// Every format that is written and read.
std::string roundTrips(State& state) {
    std::string refusals;
    for (trimora::MeshFormat const& format : trimora::meshFormats()) {
        if (format.write == nullptr || format.read == nullptr || format.name == "glb")
            continue;
        CompactMesh after;
        std::string refusal;
        std::string const path = state.folder + "/mesh." + std::string(format.name);
        std::string const fault =
            formats::faultOfRoundTrip(state.mesh, format, path, {}, after, refusal);
        require(fault.empty(), std::string(format.name) + ": " + fault);
        if (!refusal.empty())
            refusals = refusal;
    }
    return refusals;
}

constexpr Step table[] = {
    {"weld", Effect::Edits, true, &weld},
    {"repair", Effect::EditsOften, false, &repair},
    {"repairAll", Effect::EditsOften, false, &repairAll},
    {"fillFlat", Effect::EditsOften, false, &fillFlat},
    {"fillRefined", Effect::EditsOften, false, &fillRefined},
    {"fillFair", Effect::EditsOften, false, &fillFair},
    {"reduceHalf", Effect::EditsOften, false, &reduceHalf},
    {"reduceTolerance", Effect::EditsOften, false, &reduceTolerance},
    {"reduceCollapse", Effect::EditsOften, false, &reduceCollapse},
    {"smooth", Effect::Edits, false, &smooth},
    {"smoothSharp", Effect::Edits, false, &smoothSharp},
    {"subdivide", Effect::Replaces, false, &subdivide},
    {"section", Effect::Reports, false, &section},
    {"cut", Effect::Edits, false, &cut},
    {"stitch", Effect::Edits, false, &stitch},
    {"offset", Effect::Edits, false, &offset},
    {"extrude", Effect::Edits, false, &extrude},
    {"flatten", Effect::Edits, false, &flatten},
    {"splitLargest", Effect::Replaces, false, &splitLargest},
    {"splitSizes", Effect::Reports, false, &splitSizes},
    {"strips", Effect::Replaces, false, &strips},
    {"merge", Effect::Replaces, false, &merge},
    {"measure", Effect::Reports, false, &measure},
    {"deviation", Effect::Reports, false, &deviation},
    {"silhouette", Effect::Reports, false, &silhouette},
    {"render", Effect::Reports, false, &render},
    {"check", Effect::Reports, false, &check},
    {"diagnose", Effect::Reports, false, &diagnose},
    {"verify", Effect::Reports, false, &verify},
    {"collar", Effect::Reports, false, &collar},
    {"roundTrips", Effect::Reports, false, &roundTrips},
};

}  // namespace

std::span<Step const> steps() {
    return table;
}

Step const& findStep(std::string_view name) {
    for (Step const& step : table)
        if (step.name == name)
            return step;
    throw std::logic_error("no step is named " + std::string(name));
}

}  // namespace proof
