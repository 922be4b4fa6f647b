// trimora offset IN OUT: a wall of a surface, or a shell beside it.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshOffsetting.h"

namespace app {

namespace {

using trimora::countInWords;
using trimora::OffsetOutcome;

struct OffsetArguments {
    std::string input;
    std::string output;
    std::string distance;
    bool shellOnly = false;
    bool noIntersections = false;
};

struct OffsetResult {
    double distance = 0.0;
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    OffsetOutcome outcome;

    int left() const { return outcome.newFolds() + outcome.newIntersections(); }
};

void offsetLoaded(Session& session, OffsetArguments const& arguments, koGeom::CompactMesh& mesh,
                  OffsetResult& result) {
    result.distance = parseSignedLength(arguments.distance)->of(trimora::diagonalOf(mesh));
    result.before = trimora::countMesh(mesh);
    trimora::OffsetOptions options;
    options.distance = result.distance;
    options.shellOnly = arguments.shellOnly;
    options.testIntersections = !arguments.noIntersections;
    session.beginPhase("offsetting", true);
    result.outcome = trimora::offsetMesh(mesh, options, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.outcome.refusal, result.outcome.problemPoint,
                             result.outcome.isNonfinite});
    result.after = trimora::countMesh(mesh);
}

std::vector<std::string> warningsOf(OffsetArguments const& arguments, OffsetResult const& result) {
    std::vector<std::string> warnings;
    if (result.left() > 0)
        warnings.push_back(std::string(arguments.shellOnly ? "the shell" : "the wall") + " has " +
                           countInWords(result.outcome.newFolds(), "folded edge") + " and " +
                           countInWords(result.outcome.newIntersections(), "triangle") +
                           " cutting others that the surface has not; take a smaller distance, or "
                           "mend it with 'trimora repair --self-intersections'");
    return warnings;
}

Json defectsJson(trimora::CheckResult const& check) {
    return {{"foldedEdges", check.foldedEdges},
            {"intersectingTriangles",
             check.intersectingTriangles ? Json(*check.intersectingTriangles) : Json(nullptr)}};
}

Json offsetJson(OffsetArguments const& arguments, OffsetResult const& result,
                trimora::ReadReport const& report) {
    OffsetOutcome const& outcome = result.outcome;
    return {{"file", arguments.input},
            {"output", arguments.output},
            {"distance", result.distance},
            {"shellOnly", arguments.shellOnly},
            {"shellVertices", outcome.copies},
            {"removedVertices", outcome.removed},
            {"keptVertices", outcome.copies - outcome.removed},
            {"nearerVertices", outcome.nearer},
            {"nearestDistance", outcome.nearest},
            {"defectsBefore", defectsJson(outcome.before)},
            {"defectsAfter", defectsJson(outcome.after)},
            {"newFoldedEdges", outcome.newFolds()},
            {"newIntersectingTriangles",
             arguments.noIntersections ? Json(nullptr) : Json(outcome.newIntersections())},
            {"before", toJson(result.before)},
            {"after", toJson(result.after)},
            {"seconds", outcome.seconds},
            {"droppedVertexSets", outcome.dropped},
            {"warnings", warningsOf(arguments, result)},
            {"read", toJson(report)}};
}

std::string offsetText(OffsetArguments const& arguments, OffsetResult const& result) {
    OffsetOutcome const& outcome = result.outcome;
    std::string text = arguments.input + ": offset by " + numberInWords(result.distance) + "; " +
                       secondsInWords(outcome.seconds) + "\n" +
                       countsTable(result.before, result.after) + "  " +
                       std::to_string(outcome.removed) + " of " +
                       countInWords(outcome.copies, "vertex", "vertices") +
                       " of the shell removed as too near or folded\n";
    if (outcome.nearer > 0)
        text += "  " + std::to_string(outcome.nearer) +
                " of those left are nearer to the surface than the distance, down to " +
                numberInWords(outcome.nearest) + "\n";
    for (std::string const& warning : warningsOf(arguments, result))
        text += warningLine(warning);
    return text + droppedLine(outcome.dropped) + "  written to " + nameOfOutput(arguments.output) +
           "\n";
}

ExitCode offset(Session& session, OffsetArguments const& arguments) {
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, offsetBytesPerTriangle, loaded);
    OffsetResult result;
    offsetLoaded(session, arguments, loaded.mesh, result);
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, offsetJson(arguments, result, loaded.report), offsetText(arguments, result),
               arguments.output);
    return result.left() > 0 ? DefectsFound : Done;
}

std::string faultOfOffset(std::string const& text) {
    return parseSignedLength(text)
               ? std::string()
               : "takes a length other than 0, or like 1% of the box's diagonal, not '" + text +
                     "'";
}

}  // namespace

void addOffset(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "offset",
                      "make a wall of a surface, or a shell beside it; wants an oriented manifold");
    auto const arguments = std::make_shared<OffsetArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--distance", arguments->distance,
                     "how far the shell is, a length or like 1% of the box's diagonal; below 0 "
                     "outwards, along the normals")
        ->required()
        ->check(faultOfOffset);
    command->add_flag("--shell-only", arguments->shellOnly,
                      "the shell alone, facing as the surface does");
    command->add_flag("--no-intersections", arguments->noIntersections,
                      "do not count triangles that cut each other");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return offset(session, *arguments); };
    });
}

}  // namespace app
