// trimora flatten IN OUT: texture coordinates for any surface, and how far they are from keeping its angles.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/flatPicture.h"
#include "toolkit/meshFlattening.h"
#include "toolkit/writeText.h"

#include "trimora/parameterize/ConjugateGradient.h"

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
    MapDistortion distortion;             // of what is written
    std::vector<MapDistortion> ofCharts;  // likewise, one by one
    trimora::CornerUVs corners;
};

bool isSvg(std::string const& path) {
    std::filesystem::path const extension = std::filesystem::path(path).extension();
    return extension == ".svg" || extension == ".SVG";
}

void requireArguments(Session const& session, FlattenArguments const& arguments) {
    requireOutput(session, arguments.output);
    trimora::FileOutcome ignored;
    auto const* const format = trimora::findMeshFormat(arguments.output, {}, ignored);
    if ((format->holds & trimora::HoldsTextureCoordinates) == 0)
        throw Failure{CannotWrite,
                      arguments.output + ": " + std::string(format->name) +
                          " files hold no texture coordinates; write OBJ, PLY, OFF or GLB"};
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
    trimora::CornersOutcome corners = trimora::cornersOf(mesh);
    throwIfRefused(session, {arguments.input, corners.refusal, corners.problemPoint});
    run.corners = std::move(corners.corners);
    trimora::DistortionOutcome measured = trimora::measureMaps(
        mesh, run.corners, run.outcome.chartOf, static_cast<int>(run.outcome.charts.size()));
    throwIfRefused(session, {arguments.input, measured.refusal, measured.problemPoint});
    run.distortion = measured.whole;
    run.ofCharts = std::move(measured.ofGroups);
    run.after = trimora::countMesh(mesh);
}

void drawPicture(Session& session, FlattenArguments const& arguments,
                 koGeom::CompactMesh const& mesh, FlattenRun const& run) {
    session.beginPhase("drawing", false);
    auto const drawn = trimora::drawFlatMap(mesh, run.corners);
    throwIfRefused(session, {arguments.input, drawn.refusal, drawn.problemPoint});
    auto const written = trimora::writeText(arguments.picture, drawn.svg);
    if (!written)
        throw Failure{CannotWrite, written.message};
}

std::string shareInWords(double share) {
    return numberInWords(100.0 * share) + " %";
}

/// What a user has to know before the map is used.
std::vector<std::string> warningsOf(FlattenRun const& run) {
    constexpr double fewTriangles = 0.01;  // that may collapse without a word
    std::vector<std::string> warnings;
    MapDistortion const& distortion = run.distortion;
    if (distortion.collapsedTriangles > fewTriangles * run.before.triangles)
        warnings.push_back(
            trimora::countInWords(distortion.collapsedTriangles, "triangle has", "triangles have") +
            " no area in the map (" + shareInWords(distortion.collapsedAreaShare) +
            " of the surface), and the figures leave them out: a surface that is nearly closed is "
            "better cut into pieces first");
    for (FlatChart const& chart : run.outcome.charts)
        if (chart.solverCode == koGeom::ConjugateGradient::CG_CONTINUE ||
            chart.solverCode == koGeom::ConjugateGradient::CG_MAX_ITERATIONS) {
            warnings.push_back(std::string("the solver ") +
                               trimora::solverInWords(chart.solverCode) +
                               ", before the map kept angles as well as it could");
            break;
        }
    return warnings;
}

void addDistortion(Json& json, MapDistortion const& distortion) {
    auto const figure = [&distortion](double value) {
        return distortion.measuredTriangles > 0 ? Json(value) : Json(nullptr);
    };
    json["distortion"] = {{"mean", figure(distortion.mean)},
                          {"percentile95", figure(distortion.percentile95)},
                          {"largest", figure(distortion.largest)}};
    json["measuredTriangles"] = distortion.measuredTriangles;
    json["flippedTriangles"] = distortion.flippedTriangles;
    json["flippedAreaShare"] = distortion.flippedAreaShare;
    json["collapsedTriangles"] = distortion.collapsedTriangles;
    json["collapsedAreaShare"] = distortion.collapsedAreaShare;
    json["degenerateTriangles"] = distortion.degenerateTriangles;
    json["areaShare"] = distortion.areaShare;
}

Json jsonOf(FlatChart const& chart, MapDistortion const& distortion) {
    Json json = {
        {"triangles", chart.triangles},   {"genus", chart.genus},
        {"boundaries", chart.boundaries}, {"cut", chart.isCut},
        {"solverCode", chart.solverCode}, {"solver", trimora::solverInWords(chart.solverCode)},
        {"iterations", chart.iterations}};
    addDistortion(json, distortion);
    return json;
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
    Json json = {{"file", arguments.input},
                 {"output", arguments.output},
                 {"picture", arguments.picture.empty() ? Json(nullptr) : Json(arguments.picture)},
                 {"components", run.outcome.charts.size()},
                 {"genus", sum.genus},
                 {"boundaries", sum.boundaries},
                 {"cut", sum.isCut},
                 {"solverCode", sum.solverCode},
                 {"solver", trimora::solverInWords(sum.solverCode)},
                 {"iterations", sum.iterations}};
    addDistortion(json, run.distortion);
    json["seams"] = arguments.seams;
    json["verticesAdded"] = run.outcome.verticesAdded;
    json["seamTriangles"] = run.outcome.seamTriangles;
    json["unusedVertices"] = run.outcome.unusedVertices;
    json["before"] = toJson(run.before);
    json["after"] = toJson(run.after);
    json["warnings"] = warningsOf(run);
    json["seconds"] = run.outcome.seconds;
    json["charts"] = Json::array();
    for (std::size_t i = 0; i < run.outcome.charts.size(); ++i)
        json["charts"].push_back(jsonOf(run.outcome.charts[i], run.ofCharts[i]));
    json["read"] = toJson(report);
    return json;
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

std::string distortionText(MapDistortion const& distortion) {
    std::string text = "  distortion of angles, 1 is none: mean " + numberInWords(distortion.mean) +
                       ", 95 % of the triangles below " + numberInWords(distortion.percentile95) +
                       ", largest " + numberInWords(distortion.largest) + "\n";
    if (distortion.measuredTriangles == 0)
        text =
            "  no figure for the distortion of angles: no triangle has any, there and in the map\n";
    text += "  " + trimora::countInWords(distortion.flippedTriangles, "triangle") +
            " turned over, " + shareInWords(distortion.flippedAreaShare) +
            " of the surface; the map covers " + shareInWords(distortion.areaShare) +
            " of the unit square\n";
    if (distortion.degenerateTriangles > 0)
        text += "  " +
                trimora::countInWords(distortion.degenerateTriangles, "triangle has",
                                      "triangles have") +
                " no area on the surface\n";
    if (distortion.collapsedTriangles > 0)
        text +=
            "  " +
            trimora::countInWords(distortion.collapsedTriangles, "triangle has", "triangles have") +
            " no area in the map, to the precision of what is written\n";
    return text;
}

std::string flattenText(FlattenArguments const& arguments, FlattenRun const& run) {
    FlattenOutcome const& outcome = run.outcome;
    FlatChart const sum = sumOf(outcome.charts);
    auto const count = static_cast<std::int64_t>(outcome.charts.size());
    std::string text =
        arguments.input + ": " + trimora::countInWords(run.before.triangles, "triangle") + " in " +
        trimora::countInWords(count, "component") + " flattened; " +
        secondsInWords(outcome.seconds) + "\n  genus " + std::to_string(sum.genus) + ", " +
        trimora::countInWords(sum.boundaries, "boundary", "boundaries") +
        (sum.isCut ? ", cut open into a disk\n" : "\n") + seamText(arguments, run) +
        "  the solver " + trimora::solverInWords(sum.solverCode) + ", " +
        trimora::countInWords(sum.iterations, "iteration") + "\n" + distortionText(run.distortion);
    if (outcome.unusedVertices > 0)
        text += "  " + trimora::countInWords(outcome.unusedVertices, "vertex", "vertices") +
                " that no triangle uses left at 0 0\n";
    for (std::string const& warning : warningsOf(run))
        text += warningLine(warning);
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
