// trimora silhouette IN OUT: the outline of a mesh from a point or along a direction, as lines.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/silhouetteCurves.h"

#include "trimora/contract/koOS/StopWatch.h"

namespace app {

namespace {

using trimora::countInWords;
using trimora::SilhouetteOutcome;

struct SilhouetteArguments {
    std::string input;
    std::string output;
    std::string eye;
    std::string direction;
};

struct SilhouetteResult {
    trimora::SilhouetteView view;
    SilhouetteOutcome outcome;
    double seconds = 0.0;

    int numCurves() const { return static_cast<int>(outcome.curves.size()); }
};

trimora::SilhouetteView viewOf(SilhouetteArguments const& arguments) {
    trimora::SilhouetteView view;
    view.isDirection = arguments.eye.empty();
    auto const numbers = parseNumbers(view.isDirection ? arguments.direction : arguments.eye, 3);
    view.place = {numbers.at(0), numbers.at(1), numbers.at(2)};
    return view;
}

void findSilhouette(Session& session, SilhouetteArguments const& arguments,
                    koGeom::CompactMesh const& mesh, SilhouetteResult& result) {
    result.view = viewOf(arguments);
    session.beginPhase("finding the silhouette", true);
    koOS::StopWatch watch;
    watch.start();
    result.outcome = trimora::silhouetteCurves(mesh, result.view, session.progress());
    result.seconds = watch.clear();
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.outcome.refusal, result.outcome.problemPoint,
                             result.outcome.isNonfinite});
}

std::vector<std::string> warningsOf(SilhouetteResult const& result) {
    std::vector<std::string> warnings;
    if (result.outcome.alongSight > 0)
        warnings.push_back(
            countInWords(result.outcome.alongSight, "triangle lies", "triangles lie") +
            " along the sight as a whole and give no lines; turn the view a little");
    if (result.outcome.curves.empty())
        warnings.push_back("there is no silhouette from there; the output holds no lines");
    return warnings;
}

Json silhouetteJson(SilhouetteArguments const& arguments, SilhouetteResult const& result,
                    trimora::ReadReport const& report) {
    SilhouetteOutcome const& outcome = result.outcome;
    std::size_t numPoints = 0;
    for (trimora::Polyline const& curve : outcome.curves)
        numPoints += curve.size();
    bool const isDirection = result.view.isDirection;
    return {{"file", arguments.input},
            {"output", arguments.output},
            {"eye", isDirection ? Json(nullptr) : Json(result.view.place)},
            {"direction", isDirection ? Json(result.view.place) : Json(nullptr)},
            {"curves", result.numCurves()},
            {"closedCurves", outcome.numClosed},
            {"openCurves", result.numCurves() - outcome.numClosed},
            {"points", numPoints},
            {"length", outcome.length},
            {"trianglesAlongSight", outcome.alongSight},
            {"seconds", result.seconds},
            {"warnings", warningsOf(result)},
            {"read", toJson(report)}};
}

std::string silhouetteText(SilhouetteArguments const& arguments, SilhouetteResult const& result) {
    SilhouetteOutcome const& outcome = result.outcome;
    std::string text = arguments.input + ": " + countInWords(result.numCurves(), "curve") + ", " +
                       std::to_string(outcome.numClosed) + " of them closed, length " +
                       numberInWords(outcome.length) + "; " + secondsInWords(result.seconds) + "\n";
    for (std::string const& warning : warningsOf(result))
        text += warningLine(warning);
    return text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode silhouette(Session& session, SilhouetteArguments const& arguments) {
    if (arguments.eye.empty() == arguments.direction.empty())
        throw Failure{UsageError,
                      "silhouette takes exactly one of --eye and --direction; 'trimora silhouette "
                      "--help' explains them"};
    requireSeparateOutputs(session, arguments.output);
    requireLineOutput(arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, silhouetteBytesPerTriangle, loaded);
    SilhouetteResult result;
    findSilhouette(session, arguments, loaded.mesh, result);
    storePolylines(session, arguments.output, result.outcome.curves);
    finishWith(session, silhouetteJson(arguments, result, loaded.report),
               silhouetteText(arguments, result), arguments.output);
    return Done;
}

std::string faultOfPlace(std::string const& text) {
    return parseNumbers(text, 3).empty() ? "takes x,y,z, not '" + text + "'" : std::string();
}

}  // namespace

void addSilhouette(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "silhouette",
                                            "the outline of a mesh from a point or a direction");
    auto const arguments = std::make_shared<SilhouetteArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command
        ->add_option("OUT", arguments->output, "OBJ or PLY file of lines, or - for standard output")
        ->required();
    command->add_option("--eye", arguments->eye, "x,y,z: where the viewer is")->check(faultOfPlace);
    command
        ->add_option("--direction", arguments->direction,
                     "x,y,z: from the mesh to a viewer who is far away")
        ->check(faultOfDirection);
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return silhouette(session, *arguments); };
    });
}

}  // namespace app
