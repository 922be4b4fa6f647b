// trimora strips IN OUT: triangle strips, and the mesh in the order in which they draw it.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshStrips.h"

#include <limits>

namespace app {

namespace {

using trimora::countInWords;
using trimora::StripOutcome;

struct StripsArguments {
    std::string input;
    std::string output;
    int maxLength = 0;
    bool single = false;
    std::optional<int> cache;
};

struct StripsResult {
    int triangles = 0;
    koGeom::CompactMesh mesh;
    StripOutcome outcome;
};

void stripLoaded(Session& session, StripsArguments const& arguments,
                 koGeom::CompactMesh const& mesh, StripsResult& result) {
    result.triangles = mesh.getNumTriangles();
    trimora::StripOptions options;
    options.maxLength = arguments.maxLength;
    options.isSingle = arguments.single;
    options.cacheSize = arguments.cache;
    session.beginPhase("making strips", true);
    result.outcome = trimora::makeStrips(mesh, options, result.mesh, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.outcome.refusal, result.outcome.problemPoint});
}

Json stripsJson(StripsArguments const& arguments, StripsResult const& result,
                trimora::ReadReport const& report) {
    StripOutcome const& outcome = result.outcome;
    return {
        {"file", arguments.input},
        {"output", arguments.output},
        {"maxLength", arguments.maxLength},
        {"single", arguments.single},
        {"cache", arguments.cache ? Json(*arguments.cache) : Json(nullptr)},
        {"triangles", result.triangles},
        {"strips", outcome.strips},
        {"joinedStrips", outcome.joinedStrips},
        {"points", outcome.points},
        {"longestStrip", outcome.longest},
        {"compactness", outcome.compactness},
        {"vertices", outcome.vertices},
        {"unusedVertices", outcome.unusedVertices},
        {"writtenVertices", result.mesh.getNumVertices()},
        {"vertexIncrease", outcome.vertexIncrease ? Json(*outcome.vertexIncrease) : Json(nullptr)},
        {"seconds", outcome.seconds},
        {"read", toJson(report)}};
}

std::string stripsText(StripsArguments const& arguments, StripsResult const& result) {
    StripOutcome const& outcome = result.outcome;
    std::string const points = countInWords(outcome.points, "point");
    std::string text =
        arguments.input + ": " + countInWords(result.triangles, "triangle") + " in " +
        (arguments.single
             ? "one strip of " + points + ", joined from " + std::to_string(outcome.joinedStrips)
             : countInWords(outcome.strips, "strip") + " of " + points) +
        ", the longest of " + std::to_string(outcome.longest) + "; " +
        secondsInWords(outcome.seconds) + "\n  compactness " + numberInWords(outcome.compactness) +
        " (2 vertices / points)\n";
    if (outcome.vertexIncrease)
        text += "  " + countInWords(outcome.vertices, "vertex", "vertices") + " before, " +
                std::to_string(result.mesh.getNumVertices()) + " with the copies for a cache of " +
                std::to_string(*arguments.cache) + ": " + numberInWords(*outcome.vertexIncrease) +
                " times as many\n";
    if (outcome.unusedVertices > 0)
        text += "  " +
                countInWords(outcome.unusedVertices, "vertex that no triangle uses is",
                             "vertices that no triangle uses are") +
                " left out\n";
    return text + "  written to " + nameOfOutput(arguments.output) + "\n";
}

ExitCode strips(Session& session, StripsArguments const& arguments) {
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, stripsBytesPerTriangle, loaded);
    StripsResult result;
    stripLoaded(session, arguments, loaded.mesh, result);
    storeMesh(session, arguments.output, result.mesh);
    finishWith(session, stripsJson(arguments, result, loaded.report), stripsText(arguments, result),
               arguments.output);
    return Done;
}

}  // namespace

void addStrips(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "strips", "put a mesh into the order in which triangle strips draw it");
    auto const arguments = std::make_shared<StripsArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command
        ->add_option("OUT", arguments->output,
                     "mesh file, or - for standard output: the same triangles, strip after strip, "
                     "without joins; vertices by first use, those that no triangle uses left out")
        ->required();
    command
        ->add_option("--max-length", arguments->maxLength,
                     "points of a strip at most, before strips are joined: 3 or more; it has two "
                     "triangles fewer")
        ->required()
        ->check(CLI::Range(3, std::numeric_limits<int>::max()));
    command->add_flag("--single", arguments->single,
                      "one strip of all, joined by repeated points; told in the report, and where "
                      "the vertices of OUT are copied as it runs");
    command
        ->add_option("--cache", arguments->cache,
                     "copy vertices for a cache of so many, first in, first out: OUT holds a copy "
                     "wherever the strips come back to a vertex that has left it; 0 copies at "
                     "every point")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return strips(session, *arguments); };
    });
}

}  // namespace app
