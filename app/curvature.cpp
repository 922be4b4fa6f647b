// trimora curvature IN OUT --kind K: one value a vertex, as text or JSON.

#include "commands.h"
#include "files.h"
#include "reports.h"
#include "toolkit/writeText.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/measure/meshCurvature.h"

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

std::vector<float> computeValues(koGeom::CompactMesh& mesh, std::string const& kind) {
    std::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
    koGeom::SimpleMeshCache cache;
    if (mesh.getNormals() == nullptr)
        koGeom::meshComputeNormals(mesh);  // the mean curvature takes its sign from them
    auto const adjTris = cache.getAdjTris(mesh);
    auto const adjVertices = cache.getAdjVertices(mesh);
    if (!values.empty())
        koGeom::meshCurvature(mesh, *adjTris, *adjVertices, koGeom::AffineMatrixFlt::Identity,
                              kinds.at(kind), values.data());
    return values;
}

bool isJsonPath(std::string const& path) {
    return path.size() > 5 && path.compare(path.size() - 5, 5, ".json") == 0;
}

ExitCode curvature(Session& session, CurvatureArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireOutputFolder(arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, curvatureBytesPerTriangle, loaded);
    session.beginPhase("measuring curvature", false);
    std::vector<float> const values = computeValues(loaded.mesh, arguments.kind);
    Statistics const statistics = summarise(values);
    Json json = summaryJson(arguments, values, statistics);

    session.beginPhase("writing", true);  // in the grace of a late Ctrl-C it ends whole
    std::string text;
    if (isJsonPath(arguments.output)) {
        Json file = json;
        file["values"] = values;
        text = toText(file);
    } else {
        text = asLines(values);
    }
    trimora::FileOutcome const outcome = trimora::writeText(arguments.output, text);
    if (!outcome)
        throw Failure{CannotWrite, outcome.message};
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
                     "text, one value a line, or JSON where the name ends in .json")
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
