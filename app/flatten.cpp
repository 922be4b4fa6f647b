// trimora flatten IN OUT: texture coordinates for any surface, and how far they are from keeping its angles.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/flatPicture.h"
#include "toolkit/meshFlattening.h"
#include "toolkit/writeText.h"

#include <cmath>
#include <filesystem>

namespace app {

namespace {

using trimora::FlatChart;
using trimora::FlattenOutcome;
using trimora::MapDistortion;

struct FlattenArguments {
    std::string input;
    std::string output;
    bool each = false;
    std::string seams = "split";
    std::string picture;
};

struct FlattenRun {
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    FlattenOutcome outcome;
    MapDistortion distortion;
};

bool isSvg(std::string const& path) {
    std::filesystem::path const extension = std::filesystem::path(path).extension();
    return extension == ".svg" || extension == ".SVG";
}

void requireArguments(Session const& session, FlattenArguments const& arguments) {
    requireOutput(session, arguments.output);
    trimora::FileOutcome ignored;
    auto const* const format = trimora::findMeshFormat(arguments.output, {}, ignored);
    if (!format->holdsTextureCoordinates)
        throw Failure{CannotWrite, arguments.output + ": " + std::string(format->name) +
                                       " files hold no texture coordinates; write OBJ"};
    if (arguments.picture.empty())
        return;
    if (!isSvg(arguments.picture))
        throw Failure{UsageError, "--picture draws SVG; name a file that ends in .svg, not '" +
                                      arguments.picture + "'; see 'trimora flatten --help'"};
    requireOutputFolder(arguments.picture);
}

void flattenLoaded(Session& session, FlattenArguments const& arguments, koGeom::CompactMesh& mesh,
                   FlattenRun& run) {
    trimora::FlattenOptions options;
    options.each = arguments.each;
    options.seams = arguments.seams == "keep" ? trimora::SeamForm::Keep : trimora::SeamForm::Split;
    run.before = trimora::countMesh(mesh);
    session.beginPhase("flattening", true);
    run.outcome = trimora::flattenMesh(mesh, options, session.progress());
    session.throwIfCancelled();
    Refusal refusal = {arguments.input, run.outcome.refusal, run.outcome.problemPoint,
                       run.outcome.isNonfinite};
    if (!refusal.text.empty() && !arguments.each && run.before.components > 1 &&
        !run.outcome.problemPoint && !run.outcome.isNonfinite)
        refusal.text += " (--each)";
    throwIfRefused(session, refusal);
    session.beginPhase("measuring the distortion", false);
    run.distortion = trimora::measureMap(mesh, run.outcome.corners);
    run.after = trimora::countMesh(mesh);
}

void drawPicture(Session& session, FlattenArguments const& arguments,
                 koGeom::CompactMesh const& mesh, FlattenRun const& run) {
    session.beginPhase("drawing", false);
    auto const written =
        trimora::writeText(arguments.picture, trimora::drawFlatMap(mesh, run.outcome.corners));
    if (!written)
        throw Failure{CannotWrite, written.message};
}

Json jsonOf(FlatChart const& chart) {
    return {{"triangles", chart.triangles},   {"genus", chart.genus},
            {"boundaries", chart.boundaries}, {"cut", chart.isCut},
            {"solverCode", chart.solverCode}, {"solver", trimora::solverInWords(chart.solverCode)},
            {"iterations", chart.iterations}};
}

/// The charts in one: what scripts read that flatten single components.
FlatChart sumOf(std::vector<FlatChart> const& charts) {
    FlatChart sum = charts.front();
    for (std::size_t i = 1; i < charts.size(); ++i) {
        sum.genus += charts[i].genus;
        sum.boundaries += charts[i].boundaries;
        sum.isCut = sum.isCut || charts[i].isCut;
        sum.iterations += charts[i].iterations;
        if (sum.solverCode == 1)  // the first that did not converge
            sum.solverCode = charts[i].solverCode;
    }
    return sum;
}

Json flattenJson(FlattenArguments const& arguments, FlattenRun const& run,
                 trimora::ReadReport const& report) {
    FlatChart const sum = sumOf(run.outcome.charts);
    MapDistortion const& distortion = run.distortion;
    Json json = {{"file", arguments.input},
                 {"output", arguments.output},
                 {"picture", arguments.picture.empty() ? Json(nullptr) : Json(arguments.picture)},
                 {"components", run.outcome.charts.size()},
                 {"genus", sum.genus},
                 {"boundaries", sum.boundaries},
                 {"cut", sum.isCut},
                 {"solverCode", sum.solverCode},
                 {"solver", trimora::solverInWords(sum.solverCode)},
                 {"iterations", sum.iterations},
                 {"distortion",
                  {{"mean", distortion.mean},
                   {"percentile95", distortion.percentile95},
                   {"largest", distortion.largest}}},
                 {"flippedTriangles", distortion.flippedTriangles},
                 {"flippedAreaShare", distortion.flippedAreaShare},
                 {"collapsedTriangles", distortion.collapsedTriangles},
                 {"degenerateTriangles", distortion.degenerateTriangles},
                 {"areaShare", distortion.areaShare},
                 {"seams", arguments.seams},
                 {"verticesAdded", run.outcome.verticesAdded},
                 {"seamTriangles", run.outcome.seamTriangles},
                 {"unusedVertices", run.outcome.unusedVertices},
                 {"before", toJson(run.before)},
                 {"after", toJson(run.after)},
                 {"seconds", run.outcome.seconds},
                 {"charts", Json::array()}};
    for (FlatChart const& chart : run.outcome.charts)
        json["charts"].push_back(jsonOf(chart));
    json["read"] = toJson(report);
    return json;
}

std::string shareInWords(double share) {
    return numberInWords(100.0 * share) + " %";
}

std::string seamText(FlattenArguments const& arguments, FlattenRun const& run) {
    FlattenOutcome const& outcome = run.outcome;
    if (arguments.seams == "split" && outcome.verticesAdded > 0)
        return "  cut open: " + trimora::countInWords(outcome.verticesAdded, "vertex", "vertices") +
               " doubled along the seam, where the written mesh is open\n";
    if (outcome.seamTriangles > 0)
        return "  cut open for the map only: " +
               trimora::countInWords(outcome.seamTriangles, "triangle") +
               " beside the seam reach across the map, since a vertex has one place in it; --seams "
               "split avoids that\n";
    return {};
}

std::string flattenText(FlattenArguments const& arguments, FlattenRun const& run) {
    FlattenOutcome const& outcome = run.outcome;
    MapDistortion const& distortion = run.distortion;
    FlatChart const sum = sumOf(outcome.charts);
    auto const count = static_cast<std::int64_t>(outcome.charts.size());
    std::string text =
        arguments.input + ": " + trimora::countInWords(run.before.triangles, "triangle") + " in " +
        trimora::countInWords(count, "component") + " flattened; " +
        secondsInWords(outcome.seconds) + "\n  genus " + std::to_string(sum.genus) + ", " +
        trimora::countInWords(sum.boundaries, "boundary", "boundaries") +
        (sum.isCut ? ", cut open into a disk\n" : "\n") + seamText(arguments, run) +
        "  the solver " + trimora::solverInWords(sum.solverCode) + ", " +
        trimora::countInWords(sum.iterations, "iteration") + "\n" +
        "  distortion of angles, 1 is none: mean " + numberInWords(distortion.mean) +
        ", 95 % of the triangles below " + numberInWords(distortion.percentile95) + ", largest " +
        numberInWords(distortion.largest) + "\n  " +
        trimora::countInWords(distortion.flippedTriangles, "triangle") + " turned over, " +
        shareInWords(distortion.flippedAreaShare) + " of the surface; the map covers " +
        shareInWords(distortion.areaShare) + " of the unit square\n";
    if (distortion.collapsedTriangles > 0)
        text += "  " + trimora::countInWords(distortion.collapsedTriangles, "triangle") +
                " have no area in the map, to the precision of what is written\n";
    if (outcome.unusedVertices > 0)
        text += "  " + trimora::countInWords(outcome.unusedVertices, "vertex", "vertices") +
                " that no triangle uses left at 0 0\n";
    if (!arguments.picture.empty())
        text += "  drawn in " + arguments.picture + "\n";
    return text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode flatten(Session& session, FlattenArguments const& arguments) {
    requireArguments(session, arguments);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, flattenBytesPerTriangle, loaded);
    FlattenRun run;
    flattenLoaded(session, arguments, loaded.mesh, run);
    if (!arguments.picture.empty())
        drawPicture(session, arguments, loaded.mesh, run);
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, flattenJson(arguments, run, loaded.report), flattenText(arguments, run),
               arguments.output);
    return Done;
}

}  // namespace

void addFlatten(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "flatten", "give a surface texture coordinates that keep its angles");
    auto const arguments = std::make_shared<FlattenArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command->add_flag("--each", arguments->each,
                      "flatten each component by itself and lay them side by side");
    command
        ->add_option("--seams", arguments->seams,
                     "where a closed surface is cut open, split (default): a vertex for each side "
                     "of the cut; keep: the mesh as it was, with triangles across the map")
        ->check(CLI::IsMember({"split", "keep"}));
    command->add_option("--picture", arguments->picture,
                        "SVG file to draw the map in, coloured by stretch");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return flatten(session, *arguments); };
    });
}

}  // namespace app
