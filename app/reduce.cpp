// trimora reduce IN OUT: fewer triangles, and how far the result is from the input.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshDeviation.h"
#include "toolkit/meshReduction.h"

namespace app {

namespace {

using trimora::MeshDeviation;
using trimora::ReduceMethod;
using trimora::ReduceOutcome;

struct ReduceArguments {
    std::string input;
    std::string output;
    std::optional<double> fraction;
    std::string tolerance;
    std::optional<double> collapse;
    bool noMeasure = false;
};

struct ReduceResult {
    trimora::ReduceOptions options;
    ReduceOutcome outcome;
    std::optional<MeshDeviation> measured;
    int coincidentVertices = 0;  // counted when it stopped short, since seams may be why
};

trimora::ReduceOptions optionsOf(ReduceArguments const& arguments) {
    int const numGoals = int(arguments.fraction.has_value()) + int(!arguments.tolerance.empty()) +
                         int(arguments.collapse.has_value());
    if (numGoals != 1)
        throw Failure{UsageError,
                      "reduce takes exactly one of --fraction, --tolerance and --collapse"};
    if (arguments.fraction)
        return {ReduceMethod::Fraction, *arguments.fraction};
    if (arguments.collapse)
        return {ReduceMethod::Collapse, *arguments.collapse};
    return {ReduceMethod::Tolerance, 0.0};  // the length may depend on the mesh
}

void reduceLoaded(Session& session, ReduceArguments const& arguments, LoadedMesh& loaded,
                  ReduceResult& result) {
    if (result.options.method == ReduceMethod::Tolerance)
        result.options.value =
            parseLength(arguments.tolerance)->of(trimora::diagonalOf(loaded.mesh));
    koGeom::CompactMesh input;
    if (!arguments.noMeasure)
        input = loaded.mesh;
    session.beginPhase("reducing", result.options.method != ReduceMethod::Collapse);
    result.outcome = trimora::reduceMesh(loaded.mesh, result.options, session.progress());
    session.throwIfCancelled();
    if (!result.outcome.refusal.empty())
        throw Failure{Refused, arguments.input + ": " + result.outcome.refusal};
    if (!arguments.noMeasure) {
        session.beginPhase("measuring the deviation", true);
        result.measured = trimora::measureDeviation(input, loaded.mesh, session.progress());
        if (result.outcome.stopped == "nothingLeft" || result.outcome.stopped == "onePercent")
            result.coincidentVertices = trimora::numCoincidentVertices(input);
    }
    session.throwIfCancelled();
}

Json reduceJson(ReduceArguments const& arguments, ReduceResult const& result,
                trimora::ReadReport const& report) {
    ReduceOutcome const& outcome = result.outcome;
    char const* const methods[] = {"fraction", "tolerance", "collapse"};
    Json json = {
        {"file", arguments.input},
        {"output", arguments.output},
        {"method", methods[static_cast<int>(result.options.method)]},
        {"goal", result.options.value},
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
        {"dropped", outcome.dropped},
        {"read", toJson(report)}};
    return json;
}

std::string reduceText(ReduceArguments const& arguments, ReduceResult const& result) {
    ReduceOutcome const& outcome = result.outcome;
    std::string text =
        arguments.input + ": " + std::to_string(outcome.before.triangles) +
        " triangles reduced to " + std::to_string(outcome.after.triangles) + "\n" +
        countsTable(outcome.before, outcome.after) + "  stopped: " + trimora::stopInWords(outcome) +
        "; " + secondsInWords(outcome.seconds) +
        (outcome.passes ? ", " + std::to_string(*outcome.passes) + " passes" : "") + "\n";
    if (outcome.maxDeviation)
        text += "  largest distance of a removed vertex: " + numberInWords(*outcome.maxDeviation) +
                ", " + numberInWords(result.options.value) + " allowed\n";
    if (result.measured)
        text += deviationTable(*result.measured);
    if (outcome.unusedVertices > 0)
        text += "  " + std::to_string(outcome.unusedVertices) +
                " vertices that no triangle used were removed\n";
    if (result.coincidentVertices > 0)
        text += "  " + std::to_string(result.coincidentVertices) +
                " vertices coincide with others: such seams count as borders, which stay; weld the "
                "mesh first\n";
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
    session.finish();
    if (session.options().json)
        printOut(toText(reduceJson(arguments, result, loaded.report)));
    else
        printReport(session, reduceText(arguments, result), arguments.output);
    return Done;
}

std::string faultOfFraction(std::string const& text) {
    auto const numbers = parseNumbers(text, 1);
    return !numbers.empty() && numbers[0] > 0.0 && numbers[0] <= 1.0
               ? std::string()
               : "takes a fraction above 0, at most 1, not '" + text + "'";
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
                     "remove flat vertices until this fraction of the vertices is left")
        ->check(faultOfFraction);
    command
        ->add_option("--tolerance", arguments->tolerance,
                     "remove flat vertices as long as all that were there stay within this length "
                     "of the result, say 0.02, or 0.1% of the box's diagonal")
        ->check(faultOfTolerance);
    command
        ->add_option("--collapse", arguments->collapse,
                     "collapse edges until this fraction of the triangles is left")
        ->check(faultOfFraction);
    command->add_flag("--no-measure", arguments->noMeasure,
                      "do not measure the distances between input and result");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return reduce(session, *arguments); };
    });
}

}  // namespace app
