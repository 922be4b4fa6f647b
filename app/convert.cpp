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

constexpr double cornerListBytesPerTriangle = 250.0;  // which corner became which vertex, as JSON

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

/// What the mesh has, or its file had, and the output will not.
std::vector<std::string> lostIn(trimora::MeshFormat const& format, LoadedMesh const& loaded,
                                trimora::WriteOptions const& options) {
    trimora::ReadReport const& report = loaded.report;
    std::vector<std::string> lost = trimora::contentLostIn(format, loaded.mesh, options);
    if (report.polygons > 0 && (format.holds & trimora::HoldsPolygons) == 0)
        lost.push_back(countInWords(report.polygons, "polygon") + ", cut into triangles");
    std::vector<std::string> const left = leftInFile(report);
    lost.insert(lost.end(), left.begin(), left.end());
    return lost;
}

std::string lostText(std::vector<std::string> const& lost) {
    std::string text;
    for (std::string const& what : lost)
        text += (text.empty() ? "" : "; ") + onOneLine(what);
    return text.empty() ? text : "  lost: " + text + "\n";
}

ExitCode convert(Session& session, ConvertArguments const& arguments) {
    requireSeparateOutputs(session, arguments.output);
    requireWritableOutput(arguments.output, arguments.formatOut);
    LoadedMesh loaded;
    trimora::ReadOptions reading;
    reading.format = arguments.formatIn;
    reading.weld = arguments.weld;
    bool const tellsCorners = arguments.weld && session.options().json;
    loadMesh(session, arguments.input,
             infoBytesPerTriangle + (tellsCorners ? cornerListBytesPerTriangle : 0.0), loaded,
             reading);
    if (arguments.weld && loaded.report.weldedVertex.empty() && !session.options().quiet)
        session.tell("trimora: note: --weld changes nothing here: triangles of " +
                     loaded.report.format +
                     " files share vertices; `trimora weld` merges those in one place\n");
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

std::string faultOfFormat(std::string const& name) {
    trimora::FileOutcome outcome;
    if (!name.empty() && trimora::findMeshFormat({}, name, outcome) != nullptr)
        return {};
    std::string names;
    for (trimora::MeshFormat const& format : trimora::meshFormats())
        names += (names.empty() ? "" : ", ") + std::string(format.name);
    return "no format is named '" + name + "'; the formats are: " + names;
}

void addOptions(CLI::App& command, ConvertArguments& arguments) {
    command
        .add_option("--format-in", arguments.formatIn,
                    "format of the input, whatever its content and its name say")
        ->check(faultOfFormat);
    command
        .add_option("--format-out", arguments.formatOut,
                    "format of the output, whatever its name says")
        ->check(faultOfFormat);
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
