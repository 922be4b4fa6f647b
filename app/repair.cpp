// trimora repair IN OUT: welds, then mends one defect after the other, and tells each step.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "pictures.h"
#include "reports.h"

namespace app {

namespace {

struct RepairArguments {
    std::string input;
    std::string output;
    bool noWeld = false;
    bool selfIntersections = false;
    std::optional<double> angle;
    std::string dust;
    bool dropUnused = false;
    bool outward = false;
    bool dryRun = false;
    std::string picture;
};

trimora::CheckResult checkState(Session& session, koGeom::CompactMesh const& mesh,
                                RepairArguments const& arguments, char const* caption) {
    session.beginPhase(caption, true);
    trimora::CheckOptions options;
    options.foldAngle = arguments.angle.value_or(options.foldAngle);
    trimora::CheckResult result = trimora::checkMesh(mesh, options, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.refusal, result.problemPoint});
    return result;
}

trimora::RepairOutcome repairState(Session& session, koGeom::CompactMesh& mesh,
                                   RepairArguments const& arguments) {
    session.beginPhase("repairing", true);
    trimora::RepairOptions options;
    options.weld = !arguments.noWeld;
    options.selfIntersections = arguments.selfIntersections;
    options.foldAngle = arguments.angle;
    if (!arguments.dust.empty())
        options.dustShare = parseFraction(arguments.dust);
    options.dropUnused = arguments.dropUnused;
    options.outward = arguments.outward;
    trimora::RepairOutcome outcome = trimora::repairMesh(mesh, options, session.progress());
    session.throwIfCancelled();
    if (!outcome.refusal.empty())
        throw Failure{Refused, arguments.input + ": " + outcome.refusal, arguments.input};
    return outcome;
}

void viewState(Session& session, koGeom::CompactMesh const& mesh, RepairArguments const& arguments,
               bool weld, DefectView& view) {
    trimora::CheckOptions options;
    options.foldAngle = arguments.angle.value_or(options.foldAngle);
    viewDefects(session, arguments.input, mesh, options, weld, view);
}

/// The mesh before and after, side by side.
void drawStates(Session& session, RepairArguments const& arguments, DefectView const& before,
                koGeom::CompactMesh const& repaired) {
    DefectView after;
    viewState(session, repaired, arguments, arguments.noWeld,
              after);  // what repair parted stays so
    trimora::RenderOptions options = findingsLook();
    options.width = 1600;
    options.height = 800;
    storePicture(
        session, arguments.picture,
        drawPicture(session, arguments.input,
                    {{&before.mesh, &before.paint, "before"}, {&after.mesh, &after.paint, "after"}},
                    options));
}

Json repairJson(RepairArguments const& arguments, trimora::CheckResult const& before,
                trimora::CheckResult const& after, trimora::RepairOutcome const& outcome,
                trimora::ReadReport const& report) {
    Json json = {{"file", arguments.input},
                 {"output", arguments.dryRun ? Json(nullptr) : Json(arguments.output)},
                 {"picture", arguments.picture.empty() ? Json(nullptr) : Json(arguments.picture)},
                 {"before", toJson(before)},
                 {"after", toJson(after)},
                 {"fullyRepaired", outcome.fullyRepaired},
                 {"steps", Json::array()},
                 {"read", toJson(report)}};
    for (trimora::RepairStep const& step : outcome.steps)
        json["steps"].push_back(toJson(step));
    return json;
}

// Without being asked, repair leaves what only deleting surface would mend; people should not take that for clean.
std::string leftTable(trimora::CheckResult const& after, RepairArguments const& arguments) {
    std::string text;
    if (!arguments.selfIntersections && after.intersectingTriangles.value_or(0) > 0)
        text += "  left: " + std::to_string(*after.intersectingTriangles) +
                " intersecting triangles (--self-intersections removes them)\n";
    if (!arguments.angle && after.foldedEdges > 0)
        text += "  left: " + std::to_string(after.foldedEdges) +
                " folded edges (--angle DEG removes their triangles)\n";
    return text;
}

ExitCode repair(Session& session, RepairArguments const& arguments) {
    if (!arguments.dryRun && arguments.output.empty())
        throw Failure{UsageError, "repair needs an output file, or --dry-run"};
    if (!arguments.dryRun)
        requireSeparateOutputs(session, arguments.output);
    if (!arguments.dryRun)
        requireWritableOutput(arguments.output);
    bool const isDrawn = !arguments.picture.empty();
    if (arguments.picture == "-" && arguments.output == "-" && !arguments.dryRun)
        throw Failure{UsageError, "the picture and the output both go to standard output; name a "
                                  "file for one of them"};
    if (isDrawn)
        requirePictureOutput(session, arguments.picture);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, repairBytesPerTriangle, loaded);
    trimora::CheckResult const before =
        checkState(session, loaded.mesh, arguments, "checking before");
    DefectView viewBefore;
    if (isDrawn)
        viewState(session, loaded.mesh, arguments, true, viewBefore);
    trimora::RepairOutcome const outcome = repairState(session, loaded.mesh, arguments);
    trimora::CheckResult const after =
        checkState(session, loaded.mesh, arguments, "checking after");
    if (isDrawn)
        drawStates(session, arguments, viewBefore, loaded.mesh);
    if (!arguments.dryRun)
        storeMesh(session, arguments.output, loaded.mesh);
    session.finish();
    if (session.options().json) {
        printOut(toText(repairJson(arguments, before, after, outcome, loaded.report)));
    } else {
        std::string const summary =
            arguments.input + ": " + std::to_string(before.triangles) + " triangles before, " +
            std::to_string(after.triangles) + " after; " +
            (outcome.fullyRepaired ? "nothing that was asked for is left" : "NOT fully repaired") +
            "\n";
        std::string const target = arguments.dryRun
                                       ? "  nothing written (--dry-run)\n"
                                       : "  written to " + nameOfOutput(arguments.output) + "\n";
        printReport(session, summary + repairTable(outcome) + leftTable(after, arguments) + target,
                    arguments.dryRun ? std::string() : arguments.output);
    }
    return outcome.fullyRepaired ? Done : DefectsFound;
}

}  // namespace

void addRepair(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "repair", "weld a mesh and mend its defects, step by step");
    auto const arguments = std::make_shared<RepairArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("OUT", arguments->output, "mesh file, or - for standard output");
    command->add_flag("--no-weld", arguments->noWeld, "keep vertices at equal positions apart");
    command->add_flag("--self-intersections", arguments->selfIntersections,
                      "remove triangles that cut one another");
    command
        ->add_option("--angle", arguments->angle,
                     "degrees; remove triangles on edges that open by less")
        ->check(faultOfAngle);
    command
        ->add_option("--dust", arguments->dust,
                     "leave parts out of less than this share of the area, like 0.0001 or 0.01%")
        ->check([](std::string const& text) {
            return parseFraction(text) ? std::string()
                                       : "takes a part like 0.0001 or 0.01%, not '" + text + "'";
        });
    command->add_flag("--drop-unused", arguments->dropUnused,
                      "leave vertices out that no triangle uses");
    command->add_flag("--outward", arguments->outward,
                      "at last turn closed parts over that are inside out");
    command->add_flag("--dry-run", arguments->dryRun, "tell what would be done and write nothing");
    command->add_option("--picture", arguments->picture,
                        "PNG file: the mesh before and after, with its defects");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return repair(session, *arguments); };
    });
}

}  // namespace app
