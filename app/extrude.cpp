// trimora extrude IN OUT: lifts triangles and joins them with walls to where they were.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshExtrusion.h"

#include "trimora/contract/koOS/StopWatch.h"

namespace app {

namespace {

using trimora::countInWords;

struct ExtrudeArguments {
    std::string input;
    std::string output;
    std::string selection;
    std::string distance;
    std::string direction;
};

struct ExtrudeResult {
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    trimora::ExtrudeOutcome outcome;
    int selected = 0;
    double seconds = 0.0;
};

trimora::ExtrudeOptions optionsOf(ExtrudeArguments const& arguments) {
    trimora::ExtrudeOptions options;
    options.distance = parseNumbers(arguments.distance, 1).at(0);
    if (!arguments.direction.empty()) {
        auto const numbers = parseNumbers(arguments.direction, 3);
        options.direction = koLinear::Vector(numbers[0], numbers[1], numbers[2]);
    }
    return options;
}

void extrudeLoaded(Session& session, ExtrudeArguments const& arguments,
                   trimora::ReadReport const& report, koGeom::CompactMesh& mesh,
                   ExtrudeResult& result) {
    koGeom::BitVector const selection =
        selectedTriangles(session, arguments.selection, arguments.input, mesh, "extrude");
    result.selected = selection.count;
    session.beginPhase("extruding", true);
    result.before = trimora::countMesh(mesh);
    koOS::StopWatch watch;
    watch.start();
    result.outcome =
        trimora::extrudeMesh(mesh, selection, optionsOf(arguments), session.progress());
    result.seconds = watch.clear();
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.outcome.refusal, result.outcome.problemPoint,
                             result.outcome.isNonfinite});
    requireFloatRange(session, arguments.input, report, mesh);
    result.after = trimora::countMesh(mesh);
    session.throwIfCancelled();
}

std::vector<std::string> warningsOf(ExtrudeResult const& result) {
    std::vector<std::string> warnings;
    if (result.outcome.flatRegions > 0)
        warnings.push_back("the direction lies within the plane of " +
                           countInWords(result.outcome.flatRegions, "region") +
                           ", so that walls lie flat on the surface; take one that leaves it");
    return warnings;
}

Json extrudeJson(ExtrudeArguments const& arguments, ExtrudeResult const& result,
                 trimora::ReadReport const& report) {
    return {{"file", arguments.input},
            {"output", arguments.output},
            {"selected", result.selected},
            {"regions", result.outcome.regions},
            {"freeRegions", result.outcome.freeRegions},
            {"flatRegions", result.outcome.flatRegions},
            {"walls", result.outcome.walls},
            {"before", toJson(result.before)},
            {"after", toJson(result.after)},
            {"seconds", result.seconds},
            {"droppedVertexSets", result.outcome.dropped},
            {"warnings", warningsOf(result)},
            {"read", toJson(report)}};
}

std::string extrudeText(ExtrudeArguments const& arguments, ExtrudeResult const& result) {
    trimora::ExtrudeOutcome const& outcome = result.outcome;
    std::string text = arguments.input + ": " + countInWords(result.selected, "triangle") + " in " +
                       countInWords(outcome.regions, "region") + " extruded, " +
                       countInWords(outcome.walls, "wall") + "; " + secondsInWords(result.seconds) +
                       "\n" + countsTable(result.before, result.after);
    if (outcome.freeRegions > 0)
        text += "  " +
                countInWords(outcome.freeRegions, "region became a closed solid",
                             "regions became closed solids") +
                "\n";
    for (std::string const& warning : warningsOf(result))
        text += warningLine(warning);
    return text + droppedLine(outcome.dropped) + "  written to " + nameOfOutput(arguments.output) +
           "\n";
}

ExitCode extrude(Session& session, ExtrudeArguments const& arguments) {
    requireOutput(session, arguments.output);
    if (arguments.selection != "all")
        requireSecondInput(arguments.input, arguments.selection, arguments.output, "selection");
    LoadedMesh loaded;
    loadMesh(session, arguments.input, extrudeBytesPerTriangle, loaded);
    ExtrudeResult result;
    extrudeLoaded(session, arguments, loaded.report, loaded.mesh, result);
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, extrudeJson(arguments, result, loaded.report),
               extrudeText(arguments, result), arguments.output);
    return Done;
}

std::string faultOfHeight(std::string const& text) {
    auto const numbers = parseNumbers(text, 1);
    return !numbers.empty() && numbers[0] != 0.0
               ? std::string()
               : "takes a length other than 0, not '" + text + "'";
}

}  // namespace

void addExtrude(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "extrude", "lift triangles and join them with walls");
    auto const arguments = std::make_shared<ExtrudeArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--selection", arguments->selection,
                     "all, or a file of triangle numbers from 0 and ranges a-b")
        ->required();
    command
        ->add_option("--distance", arguments->distance,
                     "how far, in the mesh's units; below 0 goes the other way")
        ->required()
        ->check(faultOfHeight);
    command
        ->add_option("--direction", arguments->direction,
                     "x,y,z: where to (default: the mean normal of each connected region)")
        ->check(faultOfDirection);
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return extrude(session, *arguments); };
    });
}

}  // namespace app
