// trimora smooth IN OUT: moves vertices to even out what is rough.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshSmoothing.h"

#include "trimora/contract/koOS/StopWatch.h"

namespace app {

namespace {

using trimora::countInWords;
using trimora::SmoothOptions;
using trimora::SmoothOutcome;

struct SmoothArguments {
    std::string input;
    std::string output;
    std::string selection = "all";
    std::string sigma;
    int laplacian = 0;
    int bilateral = 0;
    bool keepBorders = false;
};

struct SmoothResult {
    SmoothOptions options;
    int selected = 0;
    int vertices = 0;
    int triangles = 0;
    double meanEdge = 0.0;
    SmoothOutcome outcome;
    double seconds = 0.0;
};

void requireOneMethod(SmoothArguments const& arguments) {
    if ((arguments.laplacian > 0) == (arguments.bilateral > 0))
        throw Failure{UsageError,
                      "smooth takes exactly one of --laplacian and --bilateral; 'trimora smooth "
                      "--help' explains them"};
    if (arguments.laplacian > 0 && !arguments.sigma.empty())
        throw Failure{UsageError, "--sigma goes with --bilateral; --laplacian takes none"};
}

double meanEdgeOf(koGeom::CompactMesh const& mesh) {
    koUtil::Progress progress;
    return trimora::measureMesh(mesh, false, progress).whole.meanEdge;
}

/// How wide the filter is to be is the user's to choose, since it decides what is an edge and what is noise.
[[noreturn]] void suggestSigma(Session const& session, SmoothArguments const& arguments,
                               double meanEdge) {
    Failure failure = {UsageError, "--bilateral needs --sigma; '--sigma " +
                                       numberInWords(meanEdge) +
                                       "', the mean length of an edge, is what to begin with"};
    if (session.options().json)
        failure.json = toText({{"file", arguments.input}, {"suggestedSigma", meanEdge}});
    throw failure;
}

SmoothOptions optionsOf(SmoothArguments const& arguments, koGeom::CompactMesh const& mesh) {
    SmoothOptions options;
    bool const isBilateral = arguments.bilateral > 0;
    options.method =
        isBilateral ? SmoothOptions::Method::Bilateral : SmoothOptions::Method::Laplacian;
    options.passes = isBilateral ? arguments.bilateral : arguments.laplacian;
    options.keepBorders = arguments.keepBorders;
    if (isBilateral)
        options.sigma = parseLength(arguments.sigma)->of(trimora::diagonalOf(mesh));
    return options;
}

void smoothLoaded(Session& session, SmoothArguments const& arguments,
                  trimora::ReadReport const& report, koGeom::CompactMesh& mesh,
                  SmoothResult& result) {
    koGeom::BitVector const selection =
        selectedTriangles(session, arguments.selection, arguments.input, mesh, "smooth");
    result.selected = selection.count;
    result.vertices = mesh.getNumVertices();
    result.triangles = mesh.getNumTriangles();
    result.meanEdge = meanEdgeOf(mesh);
    if (arguments.bilateral > 0 && arguments.sigma.empty())
        suggestSigma(session, arguments, result.meanEdge);
    result.options = optionsOf(arguments, mesh);
    session.beginPhase("smoothing", true);
    koOS::StopWatch watch;
    watch.start();
    result.outcome = trimora::smoothMesh(mesh, selection, result.options, session.progress());
    result.seconds = watch.clear();
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.outcome.refusal, result.outcome.problemPoint,
                             result.outcome.isNonfinite});
    requireFloatRange(session, arguments.input, report, mesh);
}

std::vector<std::string> warningsOf(SmoothResult const& result) {
    std::vector<std::string> warnings;
    SmoothOutcome const& outcome = result.outcome;
    bool const isNarrow = result.options.method == SmoothOptions::Method::Bilateral &&
                          result.options.sigma < 0.5 * result.meanEdge;
    if (outcome.moved == 0)
        warnings.push_back(outcome.free == 0
                               ? "no vertex was free to move"
                               : std::string("no vertex moved: the surface is even") +
                                     (isNarrow ? ", or sigma below its edges, " +
                                                     numberInWords(result.meanEdge) + " on average"
                                               : ""));
    bool const isInsideOut = outcome.volumeBefore && outcome.volumeAfter &&
                             *outcome.volumeBefore * *outcome.volumeAfter < 0.0;
    if (isInsideOut)
        warnings.push_back("the surface turned inside out; take fewer passes");
    return warnings;
}

Json volumeJson(std::optional<double> const& volume) {
    return volume ? Json(*volume) : Json(nullptr);
}

char const* nameOfMethod(SmoothResult const& result) {
    return result.options.method == SmoothOptions::Method::Bilateral ? "bilateral" : "laplacian";
}

Json smoothJson(SmoothArguments const& arguments, SmoothResult const& result,
                trimora::ReadReport const& report) {
    SmoothOutcome const& outcome = result.outcome;
    return {{"file", arguments.input},
            {"output", arguments.output},
            {"method", nameOfMethod(result)},
            {"sigma", arguments.bilateral > 0 ? Json(result.options.sigma) : Json(nullptr)},
            {"meanEdge", result.meanEdge},
            {"passes", outcome.passes},
            {"vertices", result.vertices},
            {"triangles", result.triangles},
            {"selectedTriangles", result.selected},
            {"freeVertices", outcome.free},
            {"fixedVertices", outcome.fixed},
            {"movedVertices", outcome.moved},
            {"largestMovement", outcome.largest},
            {"rmsMovement", outcome.rms},
            {"volumeBefore", volumeJson(outcome.volumeBefore)},
            {"volumeAfter", volumeJson(outcome.volumeAfter)},
            {"seconds", result.seconds},
            {"droppedVertexSets", outcome.dropped},
            {"warnings", warningsOf(result)},
            {"read", toJson(report)}};
}

std::string smoothText(SmoothArguments const& arguments, SmoothResult const& result) {
    SmoothOutcome const& outcome = result.outcome;
    std::string text =
        arguments.input + ": " + countInWords(outcome.passes, "pass", "passes") + " of the " +
        nameOfMethod(result) + (arguments.bilateral > 0 ? " filter" : " smoother") + "; " +
        secondsInWords(result.seconds) + "\n  " +
        countInWords(outcome.moved, "vertex", "vertices") + " moved, " +
        std::to_string(outcome.fixed) + " fixed; movement: largest " +
        numberInWords(outcome.largest) + ", root mean square " + numberInWords(outcome.rms) + "\n";
    if (outcome.volumeBefore && outcome.volumeAfter)
        text += "  volume: " + numberInWords(*outcome.volumeBefore) + " before, " +
                numberInWords(*outcome.volumeAfter) + " after\n";
    else
        text += "  the surface is open or not oriented: no volume\n";
    for (std::string const& warning : warningsOf(result))
        text += warningLine(warning);
    return text + droppedLine(outcome.dropped) + "  written to " + nameOfOutput(arguments.output) +
           "\n";
}

ExitCode smooth(Session& session, SmoothArguments const& arguments) {
    requireOneMethod(arguments);
    requireOutput(session, arguments.output);
    if (arguments.selection != "all")
        requireSecondInput(arguments.input, arguments.selection, arguments.output, "selection");
    LoadedMesh loaded;
    loadMesh(session, arguments.input, smoothBytesPerTriangle, loaded);
    SmoothResult result;
    smoothLoaded(session, arguments, loaded.report, loaded.mesh, result);
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, smoothJson(arguments, result, loaded.report), smoothText(arguments, result),
               arguments.output);
    return Done;
}

}  // namespace

void addSmooth(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "smooth",
                                            "even out what is rough, with or without its edges");
    auto const arguments = std::make_shared<SmoothArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--laplacian", arguments->laplacian,
                     "passes that move each vertex to the mean of its neighbours: rounds edges off "
                     "and shrinks")
        ->check(CLI::Range(1, 1000000));
    command
        ->add_option("--bilateral", arguments->bilateral,
                     "passes that move each vertex along its normal, and leave edges where they "
                     "are; with --sigma")
        ->check(CLI::Range(1, 1000000));
    command
        ->add_option("--sigma", arguments->sigma,
                     "how far the bilateral filter looks, a length or like 1% of the box's "
                     "diagonal: a mean edge keeps sharp edges best; asked for, with a proposal, "
                     "when it is left out")
        ->check(faultOfLength);
    command->add_option(
        "--selection", arguments->selection,
        "all (default), or a file of triangle numbers from 0 and ranges a-b: their corners move");
    command->add_flag("--keep-borders", arguments->keepBorders, "vertices on borders stay");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return smooth(session, *arguments); };
    });
}

}  // namespace app
