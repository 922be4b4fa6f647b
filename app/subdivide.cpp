// trimora subdivide IN OUT --levels N: Catmull-Clark subdivision, into quads.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshSubdivision.h"
#include "toolkit/meshTidying.h"

#include "trimora/contract/koOS/StopWatch.h"

#include <charconv>

namespace app {

namespace {

using trimora::countInWords;

struct SubdivideArguments {
    std::string input;
    std::string output;
    int levels = 1;
};

int numFacesOf(LoadedMesh const& loaded) {
    auto const& polygons = loaded.report.trianglePolygon;
    return polygons.empty() ? loaded.mesh.getNumTriangles() : polygons.back() + 1;
}

void requireRoom(Session const& session, SubdivideArguments const& arguments,
                 LoadedMesh const& loaded) {
    double const quads = trimora::numSubdividedQuads(loaded.mesh.getNumTriangles(),
                                                     numFacesOf(loaded), arguments.levels);
    std::string const levels = countInWords(arguments.levels, "level");
    if (quads > trimora::maxSubdividedQuads)
        throwIfRefused(session, {arguments.input,
                                 levels + " would give more than " +
                                     numberInWords(trimora::maxSubdividedQuads) +
                                     " quads, which cannot be numbered; take fewer levels",
                                 {}});
    session.requireMemory(subdivideBytesPerQuad * quads, arguments.input, levels);
}

ExitCode subdivide(Session& session, SubdivideArguments const& arguments) {
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, infoBytesPerTriangle, loaded);
    requireRoom(session, arguments, loaded);
    session.beginPhase("subdividing", true);
    koOS::StopWatch watch;
    watch.start();
    trimora::SubdivideOutcome const outcome = trimora::subdivideMesh(
        loaded.mesh, loaded.report.trianglePolygon, arguments.levels, session.progress());
    double const seconds = watch.clear();
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, outcome.refusal, outcome.problemPoint});
    koGeom::CompactMesh const& result = outcome.mesh;
    requireFloatRange(session, arguments.input, loaded.report, result);
    auto const dropped = trimora::dropVertexSets(loaded.mesh);
    storeMesh(session, arguments.output, result);
    Json const json = {
        {"file", arguments.input},
        {"output", arguments.output},
        {"levels", arguments.levels},
        {"before", {{"vertices", loaded.mesh.getNumVertices()}, {"faces", numFacesOf(loaded)}}},
        {"after", {{"vertices", result.getNumVertices()}, {"faces", result.getNumPolys()}}},
        {"seconds", seconds},
        {"droppedVertexSets", dropped},
        {"read", toJson(loaded.report)}};
    std::string const text =
        arguments.input + ": " + countInWords(numFacesOf(loaded), "face") + " subdivided into " +
        countInWords(result.getNumPolys(), "quad") + ", " +
        countInWords(loaded.mesh.getNumVertices(), "vertex", "vertices") + " into " +
        std::to_string(result.getNumVertices()) + "; " + secondsInWords(seconds) + "\n" +
        droppedLine(dropped) + "  written to " + nameOfOutput(arguments.output) + "\n";
    finishWith(session, json, text, arguments.output);
    return Done;
}

std::string faultOfLevels(std::string const& text) {
    constexpr int mostLevels = 20;  // of a single triangle this is more than any memory holds
    int levels = 0;
    char const* const end = text.data() + text.size();
    auto const [stopped, error] = std::from_chars(text.data(), end, levels);
    bool const isWhole = error == std::errc() && stopped == end;
    return isWhole && levels >= 1 && levels <= mostLevels
               ? std::string()
               : "takes 1 to 20 levels, not '" + text + "'";
}

}  // namespace

void addSubdivide(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "subdivide",
                                            "refine a mesh into smooth quads (Catmull-Clark)");
    auto const arguments = std::make_shared<SubdivideArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--levels", arguments->levels,
                     "how often; each makes about four times as many faces (default 1)")
        ->check(faultOfLevels);
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return subdivide(session, *arguments); };
    });
}

}  // namespace app
