// trimora check IN: everything that can be wrong with a mesh, counted.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "pictures.h"
#include "reports.h"

namespace app {

namespace {

struct CheckArguments {
    std::string input;
    double angle = 15.0;
    bool noIntersections = false;
    std::string picture;
};

void drawFindings(Session& session, CheckArguments const& arguments, LoadedMesh const& loaded,
                  trimora::CheckOptions const& options) {
    DefectView view;
    viewDefects(session, arguments.input, loaded.mesh, options, true, view);
    storePicture(
        session, arguments.picture,
        drawPicture(session, arguments.input, {{&view.mesh, &view.paint, {}}}, findingsLook()));
}

ExitCode check(Session& session, CheckArguments const& arguments) {
    if (!arguments.picture.empty())
        requirePictureOutput(session, arguments.picture);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, checkBytesPerTriangle, loaded);
    session.beginPhase("checking", true);
    trimora::CheckOptions options;
    options.foldAngle = arguments.angle;
    options.testIntersections = !arguments.noIntersections;
    bool const isDrawn = !arguments.picture.empty();
    trimora::CheckResult result = trimora::checkMesh(loaded.mesh, options, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {arguments.input, result.refusal, result.problemPoint});
    result.clean = result.clean && loaded.report.cutShort.empty();
    if (isDrawn)
        drawFindings(session, arguments, loaded, options);
    session.finish();
    if (session.options().json) {
        Json json = {{"file", arguments.input}};
        json.update(toJson(result));
        json["picture"] = isDrawn ? Json(arguments.picture) : Json(nullptr);
        json["read"] = toJson(loaded.report);
        printOut(toText(json));
    } else {
        printReport(session, checkTable(arguments.input, result) + readTable(loaded.report));
    }
    return result.clean ? Done : DefectsFound;
}

}  // namespace

void addCheck(CLI::App& app, Invocation& invocation) {
    CLI::App* const command =
        addSubcommand(app, invocation, "check", "tell everything that is wrong with a mesh");
    auto const arguments = std::make_shared<CheckArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command
        ->add_option("--angle", arguments->angle,
                     "degrees; edges that open by less are folds (default 15)")
        ->check(faultOfAngle);
    command->add_flag("--no-intersections", arguments->noIntersections,
                      "leave out the intersection test");
    command->add_option("--picture", arguments->picture, "PNG file: a picture of what was found");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return check(session, *arguments); };
    });
}

}  // namespace app
