// trimora deviation IN REFERENCE: the signed distance of each vertex to a reference surface.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/elementSelection.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshDeviation.h"
#include "toolkit/vertexValues.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace app {

namespace {

using trimora::countInWords;
using trimora::DeviationStatistics;

struct DeviationArguments {
    std::string input;
    std::string reference;
    std::string output;  // empty: none
    std::string selection;
    std::string matrix;
    std::string referenceMatrix;
    bool flip = false;
};

struct DeviationRun {
    LoadedMesh mesh;
    LoadedMesh reference;
    trimora::DeviationOptions options;
    trimora::DeviationOutcome outcome;
};

std::string faultOfMatrix(std::string const& text) {
    return !parseNumbers(text, 12).empty()
               ? std::string()
               : "takes m1,...,m12, four rows of three numbers, not '" + text + "'";
}

koGeom::AffineMatrix matrixOf(std::string const& text) {
    koGeom::AffineMatrix matrix;
    auto const numbers = parseNumbers(text, 12);
    std::copy(numbers.begin(), numbers.end(), matrix.m);
    return matrix;
}

void requireArguments(Session const& session, DeviationArguments const& arguments) {
    requireSecondInput(arguments.input, arguments.reference, arguments.output, "reference");
    if (!arguments.selection.empty()) {
        requireSecondInput(arguments.input, arguments.selection, arguments.output, "selection");
        if (arguments.reference == "-" && arguments.selection == "-")
            throw Failure{UsageError,
                          "the reference and the selection cannot both come from standard input; "
                          "name a file for one of them"};
    }
    if (arguments.output.empty())
        return;
    requireSecondInput({}, arguments.input, arguments.output, "mesh");
    requireSeparateOutputs(session, arguments.output);
    requireOutputFolder(arguments.output);
    trimora::FileOutcome possible;
    trimora::findValueFormat(arguments.output, possible);
    if (!possible)
        throw Failure{CannotWrite, possible.message};
}

void loadInputs(Session& session, DeviationArguments const& arguments, DeviationRun& run) {
    loadMesh(session, arguments.input, deviationBytesPerTriangle, run.mesh);
    loadMesh(session, arguments.reference, deviationBytesPerTriangle, run.reference);
    double const triangles =
        std::max<double>(run.mesh.mesh.getNumTriangles(), 0.5 * run.mesh.mesh.getNumVertices()) +
        run.reference.mesh.getNumTriangles();
    session.requireMemory(deviationBytesPerTriangle * triangles, arguments.reference,
                          "with the mesh");
    run.options.flip = arguments.flip;
    run.options.matrix = matrixOf(arguments.matrix);
    run.options.referenceMatrix = matrixOf(arguments.referenceMatrix);
    if (!arguments.selection.empty())
        throwIfFailed(
            trimora::readVertexSelection(arguments.selection, run.mesh.mesh.getNumVertices(),
                                         run.options.selected.emplace(), session.maxBytes()),
            arguments.selection);
}

void measureLoaded(Session& session, DeviationArguments const& arguments, DeviationRun& run) {
    session.beginPhase("measuring", true);
    run.outcome = trimora::measureDeviation(run.mesh.mesh, run.reference.mesh, run.options,
                                            session.progress());
    session.throwIfCancelled();
    throwIfRefused(session,
                   {arguments.reference, run.outcome.refusal, {}, run.outcome.isNonfinite});
}

void storeValues(Session& session, DeviationArguments const& arguments, DeviationRun const& run) {
    trimora::FileOutcome outcome;
    if (auto const* const format = trimora::findValueFormat(arguments.output, outcome)) {
        koGeom::CompactMesh shown = run.mesh.mesh;
        trimora::addVertexValues(shown, *format, "deviation", run.outcome.values);
        return storeMesh(session, arguments.output, shown);
    }
    session.beginPhase("writing", true);
    outcome = trimora::writeVertexValues(arguments.output, run.mesh.mesh, "deviation",
                                         run.outcome.values, session.shift());
    if (!outcome)
        throw Failure{CannotWrite, outcome.message, arguments.output};
}

int notMeasured(DeviationRun const& run) {
    return run.outcome.selected - run.outcome.statistics.measured;
}

std::vector<std::string> warningsOf(DeviationRun const& run) {
    std::vector<std::string> warnings;
    if (notMeasured(run) > 0)
        warnings.push_back(countInWords(notMeasured(run), "vertex was", "vertices were") +
                           " not measured, being NaN, infinite or farther away than floats reach");
    return warnings;
}

Json extremeJson(double value, int vertex, koGeom::CompactMesh const& mesh) {
    auto const& p = mesh.getVertices()[vertex];
    return {{"deviation", value}, {"vertex", vertex}, {"position", {p.x, p.y, p.z}}};
}

void addStatistics(Json& json, DeviationRun const& run) {
    DeviationStatistics const& statistics = run.outcome.statistics;
    bool const any = statistics.measured > 0;
    auto const number = [any](double value) { return any ? Json(value) : Json(nullptr); };
    koGeom::CompactMesh const& mesh = run.mesh.mesh;
    json["minimum"] = any ? extremeJson(statistics.minimum, statistics.lowest, mesh) : Json();
    json["maximum"] = any ? extremeJson(statistics.maximum, statistics.highest, mesh) : Json();
    json["mean"] = number(statistics.mean);
    json["meanAbsolute"] = number(statistics.meanAbsolute);
    json["rms"] = number(statistics.rms);
    json["percentiles"] = Json::array();
    for (auto const& percentile : statistics.percentiles)
        json["percentiles"].push_back({{"percent", percentile.percent},
                                       {"deviation", percentile.value},
                                       {"absolute", percentile.absolute}});
    json["histogram"] = Json::array();
    for (auto const& bin : statistics.histogram)
        json["histogram"].push_back(
            {{"low", bin.low}, {"high", bin.high}, {"vertices", bin.vertices}});
}

Json deviationJson(DeviationArguments const& arguments, DeviationRun const& run) {
    Json json = {{"file", arguments.input},
                 {"reference", arguments.reference},
                 {"output", arguments.output.empty() ? Json(nullptr) : Json(arguments.output)},
                 {"matrix", run.options.matrix.m},
                 {"referenceMatrix", run.options.referenceMatrix.m},
                 {"flip", run.options.flip},
                 {"vertices", run.mesh.mesh.getNumVertices()},
                 {"selected", run.outcome.selected},
                 {"measured", run.outcome.statistics.measured},
                 {"computedNormals", run.outcome.computedNormals}};
    addStatistics(json, run);
    json["seconds"] = run.outcome.seconds;
    json["warnings"] = warningsOf(run);
    json["read"] = toJson(run.mesh.report);
    json["readReference"] = toJson(run.reference.report);
    return json;
}

std::string histogramText(DeviationStatistics const& statistics) {
    constexpr int widest = 40;
    int most = 1;
    for (auto const& bin : statistics.histogram)
        most = std::max(most, bin.vertices);
    std::string text;
    char line[160];
    for (auto const& bin : statistics.histogram) {
        auto const length =
            static_cast<std::size_t>(std::ceil(double(widest) * bin.vertices / double(most)));
        std::snprintf(line, sizeof line, "  %11.5g to %11.5g %9d %s\n", bin.low, bin.high,
                      bin.vertices, std::string(length, '#').c_str());
        text += line;
    }
    return text;
}

std::string statisticsText(DeviationRun const& run) {
    DeviationStatistics const& statistics = run.outcome.statistics;
    if (statistics.measured == 0)
        return "  nothing to measure\n";
    auto const place = [&run](int vertex) {
        return " at " + trimora::positionInWords(run.mesh.mesh.getVertices()[vertex].asPoint());
    };
    std::string text = "  minimum " + numberInWords(statistics.minimum) + place(statistics.lowest) +
                       "\n  maximum " + numberInWords(statistics.maximum) +
                       place(statistics.highest) + "\n  mean " + numberInWords(statistics.mean) +
                       ", of absolute values " + numberInWords(statistics.meanAbsolute) +
                       ", root mean square " + numberInWords(statistics.rms) + "\n";
    for (auto const& percentile : statistics.percentiles)
        text += "  " + numberInWords(percentile.percent) + " % are up to " +
                numberInWords(percentile.value) + ", and up to " +
                numberInWords(percentile.absolute) + " away\n";
    return text + histogramText(statistics);
}

std::string deviationText(DeviationArguments const& arguments, DeviationRun const& run) {
    std::string text = arguments.input + ": " +
                       countInWords(run.outcome.statistics.measured, "vertex", "vertices") +
                       " measured against " + arguments.reference + "; " +
                       secondsInWords(run.outcome.seconds) + "\n" + statisticsText(run);
    for (std::string const& warning : warningsOf(run))
        text += warningLine(warning);
    return arguments.output.empty()
               ? text
               : text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode deviation(Session& session, DeviationArguments const& arguments) {
    requireArguments(session, arguments);
    DeviationRun run;
    loadInputs(session, arguments, run);
    measureLoaded(session, arguments, run);
    if (!arguments.output.empty())
        storeValues(session, arguments, run);
    finishWith(session, deviationJson(arguments, run), deviationText(arguments, run),
               arguments.output);
    return Done;
}

}  // namespace

void addDeviation(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "deviation",
                                            "signed distance of each vertex to a reference");
    auto const arguments = std::make_shared<DeviationArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command
        ->add_option("REFERENCE", arguments->reference,
                     "mesh file to measure to, or - for standard input")
        ->required();
    command->add_option("--out", arguments->output,
                        "write each vertex with its value: .txt, a line x y z value, or .csv; - "
                        "for standard output; or the mesh with its values and coloured by them: "
                        ".ply, coloured alone: .off, .glb");
    command->add_option("--selected", arguments->selection,
                        "measure these vertices alone: a file of numbers from 0 and ranges a-b");
    command->add_flag("--flip", arguments->flip, "all signs the other way round");
    arguments->matrix = arguments->referenceMatrix = "1,0,0,0,1,0,0,0,1,0,0,0";
    command
        ->add_option("--matrix", arguments->matrix,
                     "m1,...,m12: place the mesh by four rows of three numbers: where the x, the "
                     "y and the z axis go, and the origin")
        ->check(faultOfMatrix);
    command
        ->add_option("--reference-matrix", arguments->referenceMatrix,
                     "place the reference likewise; one that scales its axes differently may make "
                     "another place the nearest one")
        ->check(faultOfMatrix);
    command->footer(
        "Above 0: the vertex stands off the reference, along its own normal; below 0: it has sunk "
        "beneath it.\nNormals are those of the file, computed where it has none.");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return deviation(session, *arguments); };
    });
}

}  // namespace app
