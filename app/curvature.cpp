// trimora curvature IN OUT --kind K: one value a vertex, as text, as JSON or on the mesh.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/vertexCurvature.h"
#include "toolkit/vertexValues.h"
#include "toolkit/writeText.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <string_view>
#include <vector>

namespace app {

namespace {

struct CurvatureArguments {
    std::string input;
    std::string output;
    std::string kind = "mean";
};

std::map<std::string, koGeom::MeshCurvature> const kinds = {{"mean", koGeom::MeanCurvature},
                                                            {"gaussian", koGeom::GaussianCurvature},
                                                            {"min", koGeom::MinCurvature},
                                                            {"max", koGeom::MaxCurvature}};

struct Statistics {
    double minimum = std::numeric_limits<double>::max();
    double maximum = std::numeric_limits<double>::lowest();
    double mean = 0.0;
    int numFinite = 0;
};

Statistics summarise(std::vector<float> const& values) {
    Statistics statistics;
    double sum = 0.0;
    for (float const narrow : values) {
        double const value = narrow;
        if (!std::isfinite(value))
            continue;
        statistics.minimum = std::min(statistics.minimum, value);
        statistics.maximum = std::max(statistics.maximum, value);
        sum += value;
        ++statistics.numFinite;
    }
    if (statistics.numFinite > 0)
        statistics.mean = sum / statistics.numFinite;
    return statistics;
}

Json summaryJson(CurvatureArguments const& arguments, std::vector<float> const& values,
                 Statistics const& statistics) {
    bool const any = statistics.numFinite > 0;
    return {{"file", arguments.input},
            {"kind", arguments.kind},
            {"vertices", values.size()},
            {"finite", statistics.numFinite},
            {"minimum", any ? Json(statistics.minimum) : Json(nullptr)},
            {"maximum", any ? Json(statistics.maximum) : Json(nullptr)},
            {"mean", any ? Json(statistics.mean) : Json(nullptr)}};
}

std::string asLines(std::vector<float> const& values) {
    std::string text;
    char digits[32];
    for (float const value : values) {
        text.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
        text += '\n';
    }
    return text;
}

std::vector<float> computeValues(Session& session, CurvatureArguments const& arguments,
                                 koGeom::CompactMesh const& mesh) {
    session.beginPhase("measuring curvature", true);
    trimora::CurvatureOutcome outcome =
        trimora::measureCurvature(mesh, kinds.at(arguments.kind), session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, outcome.refusal, outcome.problemPoint});
    return std::move(outcome.values);
}

bool isJsonPath(std::string const& path) {
    return path.size() > 5 && path.compare(path.size() - 5, 5, ".json") == 0;
}

/// The format of an output that is a mesh; null for text and JSON. Throws Failure for meshes that hold no values.
trimora::MeshFormat const* meshFormatOf(std::string const& path) {
    trimora::FileOutcome outcome;
    if (path == "-" || trimora::findMeshFormat(path, {}, outcome) == nullptr)
        return nullptr;
    trimora::MeshFormat const* const format = trimora::findValueFormat(path, outcome);
    if (!outcome)
        throw Failure{CannotWrite, outcome.message};
    return format;
}

void storeValues(Session& session, CurvatureArguments const& arguments, Json const& summary,
                 koGeom::CompactMesh& mesh, std::vector<float> const& values) {
    if (auto const* const format = meshFormatOf(arguments.output)) {
        trimora::addVertexValues(mesh, *format, arguments.kind + "_curvature", values);
        return storeMesh(session, arguments.output, mesh);
    }
    session.beginPhase("writing", true);  // in the grace of a late Ctrl-C it ends whole
    std::string text;
    if (isJsonPath(arguments.output)) {
        Json file = summary;
        file["values"] = values;
        text = toText(file);
    } else {
        text = asLines(values);
    }
    trimora::FileOutcome const outcome = trimora::writeText(arguments.output, text);
    if (!outcome)
        throw Failure{CannotWrite, outcome.message};
}

ExitCode curvature(Session& session, CurvatureArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireOutputFolder(arguments.output);
    meshFormatOf(arguments.output);  // refused before the work begins
    LoadedMesh loaded;
    loadMesh(session, arguments.input, curvatureBytesPerTriangle, loaded);
    std::vector<float> const values = computeValues(session, arguments, loaded.mesh);
    Statistics const statistics = summarise(values);
    Json json = summaryJson(arguments, values, statistics);
    storeValues(session, arguments, json, loaded.mesh, values);
    session.finish();
    if (session.options().json) {
        json["output"] = arguments.output;
        json["read"] = toJson(loaded.report);
        printOut(toText(json));
    } else {
        printReport(session,
                    arguments.input + ": " + arguments.kind + " curvature of " +
                        std::to_string(values.size()) + " vertices, minimum " +
                        json["minimum"].dump() + ", maximum " + json["maximum"].dump() + ", mean " +
                        json["mean"].dump() + "\n  written to " + nameOfOutput(arguments.output) +
                        "\n",
                    arguments.output);
    }
    return Done;
}

}  // namespace

void addCurvature(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "curvature", "one curvature value a vertex");
    auto const arguments = std::make_shared<CurvatureArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command
        ->add_option("OUT", arguments->output,
                     "text, one value a line; JSON where the name ends in .json; the mesh with its "
                     "values and coloured by them where it ends in .ply; coloured alone: .off, "
                     ".glb")
        ->required();
    command
        ->add_option("--kind", arguments->kind,
                     "mean (default), gaussian, min or max by absolute value")
        ->check(CLI::IsMember({"mean", "gaussian", "min", "max"}));
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return curvature(session, *arguments); };
    });
}

}  // namespace app
