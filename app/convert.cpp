// trimora convert IN OUT: reads one format, writes another, and tells what did not come along.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/MeshFormat.h"

namespace app {

namespace {

using trimora::countInWords;
using Encoding = trimora::WriteOptions::Encoding;

struct ConvertArguments {
    std::string input;
    std::string output;
    std::string formatIn;
    std::string formatOut;
    bool text = false;
    bool binary = false;
    bool bigEndian = false;
    bool weld = false;

    Encoding encoding() const {
        return text        ? Encoding::Text
               : binary    ? Encoding::LittleEndian
               : bigEndian ? Encoding::BigEndian
                           : Encoding::Usual;
    }
};

/// Of the format's own faults: what the mesh has, or its file had, and the output will not.
std::vector<std::string> lostIn(trimora::MeshFormat const& format, LoadedMesh const& loaded,
                                trimora::WriteOptions const& options) {
    trimora::ReadReport const& report = loaded.report;
    std::vector<std::string> lost = trimora::contentLostIn(format, loaded.mesh, options);
    auto const tell = [&lost](char const* what, trimora::ReadReport::Attribute const& attribute) {
        if (attribute.lines > 0 && !attribute.kept)
            lost.emplace_back(std::string(what) + " that differ by face");
    };
    tell("texture coordinates", report.textureCoordinates);
    tell("normals", report.normals);
    if (report.polygons > 0 && (format.holds & trimora::HoldsPolygons) == 0)
        lost.push_back(countInWords(report.polygons, "polygon") + ", cut into triangles");
    for (std::string const& property : report.ignoredProperties)
        lost.push_back(property);
    return lost;
}

std::string lostText(std::vector<std::string> const& lost) {
    std::string text;
    for (std::string const& what : lost)
        text += (text.empty() ? "" : ", ") + onOneLine(what);
    return text.empty() ? text : "  lost: " + text + "\n";
}

ExitCode convert(Session& session, ConvertArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireWritableOutput(arguments.output, arguments.formatOut);
    LoadedMesh loaded;
    trimora::ReadOptions reading;
    reading.format = arguments.formatIn;
    reading.weld = arguments.weld;
    loadMesh(session, arguments.input, infoBytesPerTriangle, loaded, reading);
    int const numTriangles = loaded.mesh.getNumTriangles();

    trimora::WriteOptions writing;
    writing.format = arguments.formatOut;
    writing.encoding = arguments.encoding();
    writing.name = loaded.report.name;
    trimora::FileOutcome outcome;
    trimora::MeshFormat const& format =
        *trimora::findWritableFormat(arguments.output, arguments.formatOut, outcome);
    std::vector<std::string> const lost = lostIn(format, loaded, writing);
    if ((format.holds & trimora::HoldsPolygons) != 0)
        trimora::restorePolygons(loaded.mesh, loaded.report);
    storeMesh(session, arguments.output, loaded.mesh, writing);
    finishWith(session,
               {{"file", arguments.input},
                {"output", arguments.output},
                {"format", format.name},
                {"vertices", loaded.mesh.getNumVertices()},
                {"triangles", numTriangles},
                {"lost", lost},
                {"read", toJson(loaded.report)}},
               arguments.input + " written to " + nameOfOutput(arguments.output) + " as " +
                   std::string(format.name) + "\n" + lostText(lost) + readTable(loaded.report),
               arguments.output);
    return Done;
}

void addOptions(CLI::App& command, ConvertArguments& arguments) {
    command.add_option("--format-in", arguments.formatIn,
                       "format of the input, whatever its content and its name say");
    command.add_option("--format-out", arguments.formatOut,
                       "format of the output, whatever its name says");
    CLI::Option* const text =
        command.add_flag("--text", arguments.text, "write the format's text form");
    CLI::Option* const binary = command.add_flag(
        "--binary", arguments.binary, "write the format's binary form, little endian (usual)");
    command
        .add_flag("--big-endian", arguments.bigEndian, "write the format's binary form, big endian")
        ->excludes(text)
        ->excludes(binary);
    binary->excludes(text);
    command.add_flag("--weld", arguments.weld,
                     "merge vertices at exactly equal positions where each triangle of the input "
                     "has corners of its own");
}

}  // namespace

void addConvert(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "convert", "read one format and write another");
    auto const arguments = std::make_shared<ConvertArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    addOptions(*command, *arguments);
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return convert(session, *arguments); };
    });
}

}  // namespace app
