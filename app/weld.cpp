// trimora weld IN OUT: merges vertices at exactly equal positions.

#include "commands.h"
#include "files.h"
#include "reports.h"

#include "trimora/assembly/meshCompact.h"

namespace app {

namespace {

struct WeldArguments {
    std::string input;
    std::string output;
};

ExitCode weld(Session& session, WeldArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireWritableOutput(arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, weldBytesPerTriangle, loaded);
    session.beginPhase("welding", false);
    int const before = loaded.mesh.getNumVertices();
    koUtil::Progress unwatched;
    koGeom::meshCompact(loaded.mesh, unwatched);
    int const after = loaded.mesh.getNumVertices();
    storeMesh(session, arguments.output, loaded.mesh);
    session.finish();
    if (session.options().json) {
        printOut(toText({{"file", arguments.input},
                         {"output", arguments.output},
                         {"verticesBefore", before},
                         {"verticesAfter", after},
                         {"triangles", loaded.mesh.getNumTriangles()},
                         {"read", toJson(loaded.report)}}));
    } else {
        printReport(session,
                    arguments.input + ": " + std::to_string(before) + " vertices welded to " +
                        std::to_string(after) + ", written to " + nameOfOutput(arguments.output) +
                        "\n",
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
