// trimora info IN: what is in a file, in numbers.

#include "commands.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshCounts.h"

#include <cmath>

namespace app {

namespace {

Json attributeNames(koGeom::CompactMesh const& mesh) {
    Json names = Json::array();
    for (int i = 0; koGeom::MeshAttributes const* const set = mesh.getAttributes(i); ++i)
        names.push_back(set->getName().asChar());
    return names;
}

std::string placeInWords(Json const& place) {
    return trimora::positionInWords({place[0], place[1], place[2]});
}

std::string boxInWords(Json const& box) {
    if (box.is_null())
        return "-";
    double const diagonal = box["diagonal"].get<double>();
    return "from " + placeInWords(box["minimum"]) + " to " + placeInWords(box["maximum"]) +
           (std::isfinite(diagonal) ? ", diagonal " + numberInWords(diagonal) : std::string());
}

std::string infoTable(Json const& json) {
    std::string text = onOneLine(json["file"].get<std::string>()) + "\n";
    auto const row = [&text](std::string const& label, std::string const& value) {
        text += "  " + label + std::string(16 - label.size(), ' ') + value + "\n";
    };
    row("vertices", json["vertices"].dump());
    row("triangles", json["triangles"].dump());
    double const area = json["area"].get<double>();
    row("area", std::isfinite(area) ? numberInWords(area) : "-, some of it is NaN or infinite");
    row("box", boxInWords(json["box"]));
    std::string names;
    for (Json const& name : json["attributes"])
        names += (names.empty() ? "" : ", ") + onOneLine(name.get<std::string>());
    row("attributes", names);
    if (!json["bytes"].is_null())
        row("file", trimora::bytesInWords(json["bytes"].get<double>()));
    row("in memory", trimora::bytesInWords(json["memory"].get<double>()));
    return text;
}

ExitCode info(Session& session, std::string const& input) {
    LoadedMesh loaded;
    loadMesh(session, input, infoBytesPerTriangle, loaded);
    session.beginPhase("measuring", false);
    koGeom::CompactMesh const& mesh = loaded.mesh;
    std::int64_t const bytes = loaded.report.bytes;  // 0: no file, but a stage of a pipe
    Json const json = {{"file", input},
                       {"vertices", mesh.getNumVertices()},
                       {"triangles", mesh.getNumTriangles()},
                       {"area", trimora::surfaceArea(mesh)},
                       {"box", boxJson(mesh)},
                       {"attributes", attributeNames(mesh)},
                       {"bytes", bytes > 0 ? Json(bytes) : Json(nullptr)},
                       {"memory", mesh.getSizeInBytes()},
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
