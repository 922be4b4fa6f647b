// trimora verify IN: is the mesh sound in the half-edge form that the edits work on?

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "toolkit/meshVerification.h"

namespace app {

namespace {

Json verifyJson(std::string const& input, trimora::VerifyOutcome const& outcome,
                trimora::ReadReport const& report) {
    Json json = {{"file", input},
                 {"passed", outcome.passed},
                 {"checks", Json::object()},
                 {"failed", Json::array()},
                 {"vertices", outcome.vertices},
                 {"faces", outcome.faces},
                 {"halfEdges", outcome.halfEdges},
                 {"openEdges", outcome.openEdges},
                 {"read", toJson(report)}};
    for (trimora::VerifyCheck const& check : outcome.checks) {
        json["checks"][check.name] = check.passed;
        if (!check.passed)
            json["failed"].push_back(check.name);
    }
    return json;
}

ExitCode verify(Session& session, std::string const& input) {
    LoadedMesh loaded;
    loadMesh(session, input, verifyBytesPerTriangle, loaded);
    session.beginPhase("verifying", true);
    trimora::VerifyOutcome const outcome =
        trimora::verifyMesh(loaded.mesh, loaded.report.trianglePolygon, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {input, outcome.refusal, outcome.problemPoint});
    finishWith(session, verifyJson(input, outcome, loaded.report),
               verifyTable(input, outcome) + readTable(loaded.report));
    return outcome.passed ? Done : DefectsFound;
}

}  // namespace

void addVerify(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "verify",
                                            "check that a mesh is sound in the half-edge form");
    auto const input = std::make_shared<std::string>();
    command->add_option("IN", *input, "mesh file, or - for standard input")->required();
    command->callback([&invocation, input] {
        invocation.work = [input](Session& session) { return verify(session, *input); };
    });
}

}  // namespace app
