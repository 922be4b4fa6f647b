// trimora check IN: everything that can be wrong with a mesh, counted.

#include "commands.h"
#include "files.h"
#include "reports.h"

namespace app {

namespace {

struct CheckArguments {
    std::string input;
    double angle = 15.0;
    bool noIntersections = false;
};

ExitCode check(Session& session, CheckArguments const& arguments) {
    LoadedMesh loaded;
    loadMesh(session, arguments.input, checkBytesPerTriangle, loaded);
    session.beginPhase("checking", true);
    trimora::CheckOptions options;
    options.foldAngle = arguments.angle;
    options.testIntersections = !arguments.noIntersections;
    trimora::CheckResult const result =
        trimora::checkMesh(loaded.mesh, options, session.progress());
    session.throwIfCancelled();
    session.finish();
    if (session.options().json) {
        Json json = {{"file", arguments.input}};
        json.update(toJson(result));
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
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return check(session, *arguments); };
    });
}

}  // namespace app
