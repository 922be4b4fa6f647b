// trimora info IN: what is in a file, in numbers.

#include "commands.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshCounts.h"

namespace app {

namespace {

Json attributeNames(koGeom::CompactMesh const& mesh) {
    Json names = Json::array();
    for (int i = 0; koGeom::MeshAttributes const* const set = mesh.getAttributes(i); ++i)
        names.push_back(set->getName().asChar());
    return names;
}

std::string infoTable(Json const& json) {
    std::string text = json["file"].get<std::string>() + "\n";
    for (auto const& [key, value] : json.items()) {
        if (key != "file" && key != "read")
            text += "  " + key + std::string(key.size() < 16 ? 16 - key.size() : 1, ' ') +
                    value.dump() + "\n";
    }
    return text;
}

ExitCode info(Session& session, std::string const& input) {
    LoadedMesh loaded;
    loadMesh(session, input, infoBytesPerTriangle, loaded);
    session.beginPhase("measuring", false);
    koGeom::CompactMesh const& mesh = loaded.mesh;
    Json const json = {{"file", input},
                       {"vertices", mesh.getNumVertices()},
                       {"triangles", mesh.getNumTriangles()},
                       {"area", trimora::surfaceArea(mesh)},
                       {"box", boxJson(mesh)},
                       {"attributes", attributeNames(mesh)},
                       {"bytes", mesh.getSizeInBytes()},
                       {"read", toJson(loaded.report)}};
    session.throwIfCancelled();
    session.finish();
    if (session.options().json)
        printOut(toText(json));
    else
        printReport(session, infoTable(json) + readTable(loaded.report));
    return Done;
}

}  // namespace

void addInfo(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "info", "tell what is in a mesh file");
    auto const input = std::make_shared<std::string>();
    command->add_option("IN", *input, "mesh file, or - for standard input")->required();
    command->callback([&invocation, input] {
        invocation.work = [input](Session& session) { return info(session, *input); };
    });
}

}  // namespace app
