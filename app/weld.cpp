// trimora weld IN OUT: merges vertices at exactly equal positions.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshWelding.h"

namespace app {

namespace {

struct WeldArguments {
    std::string input;
    std::string output;
};

std::string leftInWords(int count) {
    if (count == 0)
        return {};
    return "  " +
           trimora::countInWords(count, "vertex coincides with another",
                                 "vertices coincide with others") +
           ": their normals or texture coordinates differ, so that they stay\n";
}

ExitCode weld(Session& session, WeldArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireWritableOutput(arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, weldBytesPerTriangle, loaded);
    session.beginPhase("welding", true);
    int const before = loaded.mesh.getNumVertices();
    trimora::WeldOutcome const outcome = trimora::weldMesh(loaded.mesh, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, outcome.refusal, outcome.problemPoint});
    int const after = loaded.mesh.getNumVertices();
    bool const hasSets = loaded.mesh.getNormals() != nullptr || loaded.mesh.getUVs() != nullptr;
    int const left = hasSets ? trimora::numCoincidentVertices(loaded.mesh) : 0;
    storeMesh(session, arguments.output, loaded.mesh);
    session.finish();
    if (session.options().json) {
        printOut(toText({{"file", arguments.input},
                         {"output", arguments.output},
                         {"verticesBefore", before},
                         {"verticesAfter", after},
                         {"coincidentVertices", left},
                         {"triangles", loaded.mesh.getNumTriangles()},
                         {"read", toJson(loaded.report)}}));
    } else {
        printReport(session,
                    arguments.input + ": " + std::to_string(before) + " vertices welded to " +
                        std::to_string(after) + ", written to " + nameOfOutput(arguments.output) +
                        "\n" + leftInWords(left),
                    arguments.output);
    }
    return Done;
}

}  // namespace

void addWeld(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "weld", "merge vertices at exactly equal positions");
    auto const arguments = std::make_shared<WeldArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("OUT", arguments->output, "mesh file, or - for standard output")
        ->required();
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return weld(session, *arguments); };
    });
}

}  // namespace app
