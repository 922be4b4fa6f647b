// trimora run IN OUT --task "CMD [options] | CMD [options] ...": several commands on one mesh, which stays in memory between them.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "taskPipe.h"

#include "trimora/contract/koOS/StopWatch.h"

namespace app {

namespace {

struct RunArguments {
    std::string input;
    std::string output;
    std::string task;
};

std::string textOf(RunArguments const& arguments, TaskPipe const& pipe,
                   std::vector<StageResult> const& results, double seconds) {
    std::string text;
    for (std::size_t i = 0; i < results.size(); ++i) {
        std::string const options = TaskPipe::optionsInWords(pipe.stages()[i]);
        text += pipe.stages()[i].name() + (options.empty() ? "" : " " + options) + "\n" +
                results[i].printed;
    }
    return text + arguments.input + ": " +
           trimora::countInWords(std::int64_t(results.size()), "stage") + ", written to " +
           nameOfOutput(arguments.output) + "; " + secondsInWords(seconds) + "\n";
}

ExitCode run(Session& session, RunArguments const& arguments) {
    TaskPipe const pipe(arguments.task, arguments.input, arguments.output);
    requireOutput(session, arguments.output);
    pipe.requireSound(session);
    koOS::StopWatch watch;
    watch.start();
    CarriedMesh mesh;
    loadMesh(session, arguments.input, infoBytesPerTriangle, mesh.loaded);
    std::vector<StageResult> const results = pipe.run(session, mesh);
    storeMesh(session, arguments.output, mesh.loaded.mesh, mesh.writing);
    double const seconds = watch.clear();
    Json const json = session.options().json ? Json({{"file", arguments.input},
                                                     {"output", arguments.output},
                                                     {"task", pipe.text()},
                                                     {"stages", pipe.toJson(results)},
                                                     {"seconds", seconds}})
                                             : Json();
    finishWith(session, json, textOf(arguments, pipe, results, seconds), arguments.output);
    return pipe.codeOf(results);
}

}  // namespace

void addRun(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "run",
                                            "several commands on one mesh, without files between");
    auto const arguments = std::make_shared<RunArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--task", arguments->task,
                     "commands with their options and without their files, parted by '|': "
                     "\"repair --self-intersections | fill --quality fair | reduce --tolerance "
                     "0.1%\"")
        ->required();
    command->footer(
        "A task takes the commands that turn one mesh into another (repair, weld, fill, stitch, "
        "reduce, smooth, offset, cut,\nextrude, subdivide, flatten, strips, convert) and those "
        "that only tell of one (check, doctor, info, measure, verify).\nWords are quoted as in a "
        "shell. A stage that refuses ends the run, and nothing is written. Code 1: a stage left "
        "defects,\nor one that tells of the result found some.");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) { return run(session, *arguments); };
    });
}

}  // namespace app
