// trimora batch LIST --task "..." --out DIR: a task on many files, each in a process of its own, so that none can harm another.

#include "batchRun.h"
#include "commands.h"
#include "files.h"
#include "reports.h"
#include "taskPipe.h"
#include "toolkit/MeshFormat.h"

#include <algorithm>
#include <filesystem>
#include <thread>

namespace app {

namespace {

namespace fs = std::filesystem;

struct BatchArguments {
    std::string list;
    std::string task;
    std::string extension;
    std::string shard = "1/1";
    int jobs = 0;  // 0: as many as keep the cores busy
    BatchOptions options;
};

std::string resultsNameOf(Shard const& shard) {
    return shard.count == 1 ? "results.jsonl"
                            : "results-" + std::to_string(shard.number) + "-of-" +
                                  std::to_string(shard.count) + ".jsonl";
}

void requireExtension(std::string const& extension) {
    trimora::FileOutcome outcome;
    if (!extension.empty() && trimora::findWritableFormat("a." + extension, {}, outcome) == nullptr)
        throw Failure{UsageError, "--extension: " + outcome.message};
}

void requireOwnFiles(TaskPipe const& pipe) {
    for (std::string const& path : pipe.files())
        if (path == "-")
            throw Failure{UsageError, "--task: '-' is standard input, which not every file of a "
                                      "batch can have; name a file in its place"};
}

void tellSummary(Session& session, BatchRun& run, std::string const& resultsPath) {
    if (session.options().json) {
        Json summary = run.summary().toJson();
        summary["results"] = textOfPath(resultsPath);
        run.print(textOf({{"summary", summary}}));
    } else if (!session.options().quiet) {
        run.print(run.summary().text() + "  results in " + resultsPath + "\n");
    }
}

ExitCode batch(Session& session, BatchArguments const& arguments) {
    // Names that no file of the task will have: only the options are looked at.
    TaskPipe const pipe(arguments.task, ".trimora-batch.obj", ".trimora-batch.obj");
    pipe.requireSound(session);
    requireOwnFiles(pipe);
    requireExtension(arguments.extension);
    Shard shard;
    parseShard(arguments.shard, shard);
    session.beginPhase("reading the list", false);
    BatchPlan const plan = planBatch(arguments.list, arguments.options.folder, arguments.extension);
    InputGuard const guard(plan, pipe.files());
    guard.requireApart(plan, arguments.options.folder);
    if (plan.numDuplicates > 0 && !session.options().quiet)
        session.tell("trimora: warning: " + arguments.list + ": " +
                     trimora::countInWords(plan.numDuplicates, "line names", "lines name") +
                     " a file that was named before\n");
    BatchWork work = {pipe.text(), pipe.files(), {}};
    std::copy_if(plan.files.begin(), plan.files.end(), std::back_inserter(work.files),
                 [&shard](BatchFile const& file) { return shard.holds(file); });
    std::string const resultsPath =
        (fs::path(arguments.options.folder) / resultsNameOf(shard)).string();
    BatchRun run(session, arguments.options, guard, std::move(work));
    run.begin(resultsPath);
    run.work();
    if (arguments.options.isDryRun)
        return Done;
    tellSummary(session, run, resultsPath);
    return run.summary().code();
}

std::string faultOfShard(std::string const& text) {
    Shard shard;
    return parseShard(text, shard) ? std::string() : "takes a share like 2/8, not '" + text + "'";
}

/// The shared options are of each file here; the session of the batch itself needs little.
void takeOptions(CommonOptions& common, BatchArguments const& arguments, BatchOptions& options) {
    options.threads = std::max(1, common.threads);
    common.threads = 1;
    options.timeout = common.timeout;
    common.timeout = 0.0;
    options.hasMemoryLimit = !common.maxMemory.empty();
    int const cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    options.jobs = arguments.jobs > 0 ? arguments.jobs : std::max(1, cores / options.threads);
}

void addOptions(CLI::App& command, BatchArguments& arguments) {
    command
        .add_option("LIST", arguments.list,
                    "file with the path of one mesh a line, - for standard input, or a folder: all "
                    "meshes in and below it")
        ->required();
    command
        .add_option("--task", arguments.task,
                    "what to do with each, as 'trimora run' takes it: \"repair | fill | reduce "
                    "--tolerance 0.1%\"")
        ->required();
    command.add_option("--out", arguments.options.folder, "folder for the outputs and the results")
        ->required();
    command
        .add_option("--jobs", arguments.jobs,
                    "files at a time (default: the cores of this machine by --threads)")
        ->check(CLI::Range(1, 1024));
    command.add_option("--extension", arguments.extension,
                       "of the outputs, without its dot (default: that of the input, or obj)");
    command
        .add_option("--shard", arguments.shard,
                    "i/n: only the i-th of n shares of the files, 1/n to n/n; which one a file is "
                    "in depends on its path alone")
        ->check(faultOfShard);
    command.add_flag("--dry-run", arguments.options.isDryRun,
                     "tell what is left to do, and where it would go; write nothing");
}

}  // namespace

void addBatch(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "batch",
                                            "a task on many files, each in a process of its own");
    auto const arguments = std::make_shared<BatchArguments>();
    addOptions(*command, *arguments);
    command->footer(
        "--threads (default 1), --timeout and --max-memory (default: 3/4 of the machine's by the "
        "jobs) are of each file. Each has\na line of JSON in DIR/results.jsonl (of a shard: "
        "results-i-of-n.jsonl), with --json on standard output too, where a\nsummary follows. The "
        "same command again goes on: what is done for the same contents, task and version is "
        "skipped.\nCode 1: some have defects left; 5: some failed.");
    command->callback([&invocation, arguments] {
        takeOptions(invocation.common, *arguments, arguments->options);
        invocation.work = [arguments](Session& session) { return batch(session, *arguments); };
    });
}

}  // namespace app
