// trimora reduce IN OUT: fewer triangles, and how far the result is from the input.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshReduction.h"

namespace app {

namespace {

using trimora::countInWords;
using trimora::MeshDistance;
using trimora::ReduceMethod;
using trimora::ReduceOutcome;

struct ReduceArguments {
    std::string input;
    std::string output;
    std::string fraction;
    std::string tolerance;
    std::string collapse;
    bool noMeasure = false;
};

struct ReduceResult {
    trimora::ReduceOptions options;
    double diagonal = 0.0;  // of the box
    ReduceOutcome outcome;
    std::optional<MeshDistance> measured;
    std::optional<int> coincidentVertices;  // counted when it stopped short, since seams may be why
};

trimora::ReduceOptions optionsOf(ReduceArguments const& arguments) {
    int const numGoals = int(!arguments.fraction.empty()) + int(!arguments.tolerance.empty()) +
                         int(!arguments.collapse.empty());
    if (numGoals != 1)
        throw Failure{
            UsageError,
            "reduce takes exactly one of --fraction, --tolerance and --collapse; 'trimora "
            "reduce --help' explains them"};
    if (!arguments.fraction.empty())
        return {ReduceMethod::Fraction, parseFraction(arguments.fraction).value()};
    if (!arguments.collapse.empty())
        return {ReduceMethod::Collapse, parseFraction(arguments.collapse).value()};
    return {ReduceMethod::Tolerance, 0.0};  // the length may depend on the mesh
}

void reduceLoaded(Session& session, ReduceArguments const& arguments, LoadedMesh& loaded,
                  ReduceResult& result) {
    result.diagonal = trimora::diagonalOf(loaded.mesh);
    if (result.options.method == ReduceMethod::Tolerance)
        result.options.value = parseLength(arguments.tolerance)->of(result.diagonal);
    koGeom::CompactMesh input;
    if (!arguments.noMeasure)
        input = loaded.mesh;
    session.beginPhase("reducing", result.options.method != ReduceMethod::Collapse);
    result.outcome = trimora::reduceMesh(loaded.mesh, result.options, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.outcome.refusal, {}});
    requireFloatRange(session, arguments.input, loaded.report, loaded.mesh);
    if (!arguments.noMeasure) {
        session.beginPhase("measuring the deviation", true);
        result.measured = trimora::measureDistance(input, loaded.mesh, session.progress());
        session.throwIfCancelled();
        throwIfRefused(session,
                       {arguments.input, result.measured->refusal, result.measured->problemPoint});
    }
    if (result.outcome.stopped == "nothingLeft" || result.outcome.stopped == "onePercent")
        result.coincidentVertices = trimora::numCoincidentVertices(loaded.mesh);
    session.throwIfCancelled();
}

/// How many triangles face the other way than the surface that was there; 0 where nothing was measured.
int numTurned(ReduceResult const& result) {
    return result.measured ? result.measured->turnedTriangles : 0;
}

std::vector<std::string> warningsOf(ReduceResult const& result) {
    ReduceOutcome const& outcome = result.outcome;
    std::vector<std::string> warnings;
    if (int const turned = numTurned(result); turned > 0)
        warnings.push_back(countInWords(turned, "triangle faces", "triangles face") +
                           " away from the surface that was there: the result may be folded, "
                           "'trimora check' tells where" +
                           (result.options.method == ReduceMethod::Tolerance
                                ? "; a smaller tolerance folds less"
                                : "; a larger fraction folds less, --tolerance hardly ever"));
    if (outcome.flattenedPieces > 0)
        warnings.push_back(countInWords(outcome.flattenedPieces, "closed piece") +
                           " came down to two triangles on the same three vertices, which hold no "
                           "volume; 'trimora repair' leaves one of the two");
    if (outcome.nonManifoldEdges > 0)
        warnings.push_back(countInWords(outcome.nonManifoldEdges, "edge has", "edges have") +
                           " more than two triangles, where nothing can go; repair the mesh "
                           "first, with 'trimora repair'");
    if (result.coincidentVertices.value_or(0) > 0)
        warnings.push_back(
            countInWords(*result.coincidentVertices, "vertex coincides", "vertices coincide") +
            " with others: such seams count as borders, which stay; weld the mesh first");
    return warnings;
}

Json reduceJson(ReduceArguments const& arguments, ReduceResult const& result,
                trimora::ReadReport const& report) {
    ReduceOutcome const& outcome = result.outcome;
    char const* const methods[] = {"fraction", "tolerance", "collapse"};
    bool const isTolerance = result.options.method == ReduceMethod::Tolerance;
    Json json = {
        {"file", arguments.input},
        {"output", arguments.output},
        {"method", methods[static_cast<int>(result.options.method)]},
        {"goal", result.options.value},
        {"tolerance", isTolerance ? Json(result.options.value) : Json(nullptr)},
        {"before", toJson(outcome.before)},
        {"after", toJson(outcome.after)},
        {"seconds", outcome.seconds},
        {"passes", outcome.passes ? Json(*outcome.passes) : Json(nullptr)},
        {"stopped", outcome.stopped},
        {"maxDeviation", outcome.maxDeviation ? Json(*outcome.maxDeviation) : Json(nullptr)},
        {"measured", result.measured ? toJson(*result.measured) : Json(nullptr)},
        {"turnedTriangles",
         result.measured ? Json(result.measured->turnedTriangles) : Json(nullptr)},
        {"unusedVertices", outcome.unusedVertices},
        {"coincidentVertices",
         result.coincidentVertices ? Json(*result.coincidentVertices) : Json(nullptr)},
        {"flattenedPieces", outcome.flattenedPieces},
        {"nonManifoldEdges", outcome.nonManifoldEdges},
        {"droppedVertexSets", outcome.dropped},
        {"warnings", warningsOf(result)},
        {"read", toJson(report)}};
    return json;
}

std::string allowanceInWords(ReduceArguments const& arguments, ReduceResult const& result) {
    std::string const length = numberInWords(result.options.value);
    return parseLength(arguments.tolerance)->isPercentage
               ? length + " (" + arguments.tolerance + " of the diagonal " +
                     numberInWords(result.diagonal) + ")"
               : length;
}

std::string reduceText(ReduceArguments const& arguments, ReduceResult const& result) {
    ReduceOutcome const& outcome = result.outcome;
    std::string text =
        arguments.input + ": " + countInWords(outcome.before.triangles, "triangle") +
        " reduced to " + std::to_string(outcome.after.triangles) + "\n" +
        countsTable(outcome.before, outcome.after) + "  stopped: " + trimora::stopInWords(outcome) +
        "; " + secondsInWords(outcome.seconds) +
        (outcome.passes ? ", " + countInWords(*outcome.passes, "pass", "passes") : "") + "\n";
    if (outcome.maxDeviation)
        text += "  largest distance of a removed vertex: " + numberInWords(*outcome.maxDeviation) +
                ", " + allowanceInWords(arguments, result) + " allowed\n";
    if (result.measured)
        text += deviationTable(*result.measured);
    if (outcome.unusedVertices > 0)
        text += "  " + countInWords(outcome.unusedVertices, "vertex", "vertices") +
                " that no triangle used " + (outcome.unusedVertices == 1 ? "was" : "were") +
                " removed\n";
    for (std::string const& warning : warningsOf(result))
        text += warningLine(warning);
    return text + droppedLine(outcome.dropped) + "  written to " + nameOfOutput(arguments.output) +
           "\n";
}

ExitCode reduce(Session& session, ReduceArguments const& arguments) {
    ReduceResult result;
    result.options = optionsOf(arguments);
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input,
             result.options.method == ReduceMethod::Collapse ? collapseBytesPerTriangle
                                                             : reduceBytesPerTriangle,
             loaded);
    reduceLoaded(session, arguments, loaded, result);
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, reduceJson(arguments, result, loaded.report), reduceText(arguments, result),
               arguments.output);
    return Done;
}

std::string faultOfFraction(std::string const& text) {
    return parseFraction(text)
               ? std::string()
               : "takes a fraction above 0, at most 1, or like 50%, not '" + text + "'";
}

std::string faultOfTolerance(std::string const& text) {
    return parseLength(text)
               ? std::string()
               : "takes a length above 0, or like 0.1% of the box's diagonal, not '" + text + "'";
}

}  // namespace

void addReduce(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "reduce", "reduce a mesh to fewer triangles and tell what it cost");
    auto const arguments = std::make_shared<ReduceArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--fraction", arguments->fraction,
                     "remove flat vertices until this fraction of the vertices is left, 0.5 or 50%")
        ->check(faultOfFraction);
    command
        ->add_option("--tolerance", arguments->tolerance,
                     "remove flat vertices as long as all that were there stay within this length "
                     "of the result, say 0.02, or 0.1% of the box's diagonal")
        ->check(faultOfTolerance);
    command
        ->add_option("--collapse", arguments->collapse,
                     "collapse edges until this fraction of the triangles is left, 0.5 or 50%")
        ->check(faultOfFraction);
    command->add_flag("--no-measure", arguments->noMeasure,
                      "do not measure the distances between input and result");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return reduce(session, *arguments); };
    });
}

}  // namespace app
