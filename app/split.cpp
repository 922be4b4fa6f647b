// trimora split IN PREFIX: pieces of bounded size, or the components, each in a file of its own.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/meshSplitting.h"

#include <algorithm>
#include <limits>

namespace app {

namespace {

using trimora::countInWords;
using trimora::SplitOptions;

struct SplitArguments {
    std::string input;
    std::string prefix;
    int vertices = 0;
    bool components = false;
    int maxParts = 1000;
};

struct SplitResult {
    int vertices = 0;
    int triangles = 0;
    trimora::SplitOutcome outcome;
    StoredParts stored;
};

/// The file that the parts' names are made from: of the format that the prefix ends in, or else of the default one.
std::string outputOf(std::string const& prefix) {
    trimora::FileOutcome ignored;
    if (trimora::findMeshFormat(prefix, {}, ignored) != nullptr)
        return prefix;
    return prefix + "." + std::string(trimora::meshFormats().front().extensions.front());
}

void requireArguments(SplitArguments const& arguments) {
    if ((arguments.vertices > 0) == arguments.components)
        throw Failure{UsageError,
                      "split takes exactly one of --vertices and --components; 'trimora split "
                      "--help' explains them"};
    if (arguments.prefix == "-")
        throw Failure{UsageError, "split writes several files; name PREFIX, not -"};
    requireOutputFolder(arguments.prefix);
    if (arguments.prefix.back() == '/')
        throw Failure{CannotWrite,
                      arguments.prefix + ": is a folder; add what the files' names begin with"};
    requireWritableOutput(outputOf(arguments.prefix));
}

SplitOptions optionsOf(SplitArguments const& arguments) {
    SplitOptions options;
    options.by = arguments.components ? SplitOptions::By::Components : SplitOptions::By::Vertices;
    options.maxVertices = arguments.vertices;
    options.maxParts = static_cast<std::size_t>(arguments.maxParts);
    return options;
}

/// Small parts take more memory than their triangles do.
void requireMemoryForParts(Session const& session, SplitArguments const& arguments,
                           int numTriangles) {
    double const parts = std::min(arguments.maxParts, numTriangles);
    session.requireMemory(splitBytesPerTriangle * numTriangles + splitBytesPerPart * parts,
                          arguments.input, "with as many parts as --max-parts allows");
}

void splitLoaded(Session& session, SplitArguments const& arguments, koGeom::CompactMesh const& mesh,
                 SplitResult& result) {
    result.vertices = mesh.getNumVertices();
    result.triangles = mesh.getNumTriangles();
    session.beginPhase("splitting", !arguments.components);
    result.outcome = trimora::splitMesh(mesh, optionsOf(arguments), session.progress());
    session.throwIfCancelled();
    std::string const option = result.outcome.isTooMany ? " (--max-parts)" : "";
    if (!result.outcome.refusal.empty())
        throwIfRefused(session, {arguments.input, result.outcome.refusal + option, {}});
}

Json splitJson(SplitArguments const& arguments, SplitResult const& result,
               trimora::ReadReport const& report) {
    return {{"file", arguments.input},
            {"prefix", arguments.prefix},
            {"maxVertices", arguments.components ? Json(nullptr) : Json(arguments.vertices)},
            {"vertices", result.vertices},
            {"triangles", result.triangles},
            {"parts", toJson(result.stored)},
            {"otherParts", result.stored.others},
            {"sharedVertices", result.outcome.sharedVertices},
            {"unusedVertices", result.outcome.unusedVertices},
            {"seconds", result.outcome.seconds},
            {"warnings", warningsOf(result.stored)},
            {"read", toJson(report)}};
}

std::string splitText(SplitArguments const& arguments, SplitResult const& result) {
    trimora::SplitOutcome const& outcome = result.outcome;
    std::int64_t const count = std::int64_t(result.stored.parts.size());
    std::string text =
        arguments.input + ": " + countInWords(result.triangles, "triangle") + " in " +
        (arguments.components ? countInWords(count, "component")
                              : countInWords(count, "piece") + " of up to " +
                                    countInWords(arguments.vertices, "vertex", "vertices")) +
        "; " + secondsInWords(outcome.seconds) + "\n";
    if (outcome.sharedVertices > 0)
        text += "  " + countInWords(outcome.sharedVertices, "vertex", "vertices") +
                " on the seams between them\n";
    if (outcome.unusedVertices > 0)
        text += "  " +
                countInWords(outcome.unusedVertices, "vertex that no triangle uses is",
                             "vertices that no triangle uses are") +
                " in none\n";
    for (std::string const& warning : warningsOf(result.stored))
        text += warningLine(warning);
    Listing listing;
    for (StoredPart const& part : result.stored.parts)
        listing.add("  " + countInWords(part.vertices, "vertex", "vertices") + ", " +
                    countInWords(part.triangles, "triangle") + " written to " + part.path + "\n");
    return text + listing.text();
}

ExitCode split(Session& session, SplitArguments const& arguments) {
    requireArguments(arguments);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, splitBytesPerTriangle, loaded);
    requireMemoryForParts(session, arguments, loaded.mesh.getNumTriangles());
    SplitResult result;
    splitLoaded(session, arguments, loaded.mesh, result);
    result.stored = storeParts(session, arguments.input, outputOf(arguments.prefix),
                               result.outcome.parts, PartNumbers::Padded);
    finishWith(session, splitJson(arguments, result, loaded.report), splitText(arguments, result));
    return Done;
}

}  // namespace

void addSplit(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "split", "cut a mesh into files of its parts");
    auto const arguments = std::make_shared<SplitArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command
        ->add_option("PREFIX", arguments->prefix,
                     "what the files' names begin with: PREFIX-001.obj, PREFIX-002.obj ..., all or "
                     "none; part.obj gives part-001.obj")
        ->required();
    command
        ->add_option("--vertices", arguments->vertices,
                     "pieces of so many vertices at most, 4 or more; along the seams each has its "
                     "own copies of "
                     "them")
        ->check(CLI::Range(4, std::numeric_limits<int>::max()));
    command->add_flag("--components", arguments->components,
                      "the parts that do not hang together, the one of most triangles first");
    command
        ->add_option("--max-parts", arguments->maxParts,
                     "refuse to write more files than this (default 1000)")
        ->check(CLI::Range(1, 1000000));
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return split(session, *arguments); };
    });
}

}  // namespace app
