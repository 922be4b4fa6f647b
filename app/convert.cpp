// trimora convert IN OUT: reads one format, writes another.

#include "commands.h"
#include "files.h"
#include "reports.h"

namespace app {

namespace {

struct ConvertArguments {
    std::string input;
    std::string output;
};

ExitCode convert(Session& session, ConvertArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireWritableOutput(arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, infoBytesPerTriangle, loaded);
    storeMesh(session, arguments.output, loaded.mesh);
    session.finish();
    if (session.options().json) {
        printOut(toText({{"file", arguments.input},
                         {"output", arguments.output},
                         {"vertices", loaded.mesh.getNumVertices()},
                         {"triangles", loaded.mesh.getNumTriangles()},
                         {"read", toJson(loaded.report)}}));
    } else {
        printReport(session,
                    arguments.input + " written to " + nameOfOutput(arguments.output) + "\n" +
                        readTable(loaded.report),
                    arguments.output);
    }
    return Done;
}

}  // namespace

void addConvert(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "convert", "read one format and write another");
    auto const arguments = std::make_shared<ConvertArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("OUT", arguments->output, "mesh file, or - for standard output")
        ->required();
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return convert(session, *arguments); };
    });
}

}  // namespace app
