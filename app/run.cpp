// trimora run IN OUT --task "CMD [options] | CMD [options] ...": several commands on one mesh, which stays in memory between them.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "reports.h"
#include "taskPipe.h"
#include "toolkit/pendingOutput.h"

#include "trimora/contract/koOS/StopWatch.h"

#include <algorithm>
#include <exception>
#include <new>
#include <unistd.h>

namespace app {

namespace {

struct RunArguments {
    std::string input;
    std::string output;
    std::string task;
    std::string passingStem;  // of a run for a batch
};

constexpr std::size_t mostEntries = 1000;  // of a list in the line of a batch's results

/// Cuts a list, and the lists in it; the number of entries that went.
std::size_t cutList(Json& list) {
    if (!list.is_array())
        return 0;
    std::size_t const numLeftOut = list.size() - std::min(list.size(), mostEntries);
    list.erase(list.end() - static_cast<std::ptrdiff_t>(numLeftOut), list.end());
    std::size_t total = numLeftOut;
    for (Json& entry : list)
        total += cutList(entry);
    return total;
}

/// Cuts all lists in the value. Behind what is left of an object's lists "entriesLeftOut" tells how much of each went.
void cutLists(Json& value) {
    Json leftOut = Json::object();
    for (auto& [name, member] : value.items()) {
        std::size_t const number = value.is_object() ? cutList(member) : 0;
        if (number > 0)
            leftOut[name] = number;
        if (member.is_structured())
            cutLists(member);
    }
    if (!leftOut.empty())
        value["entriesLeftOut"] = std::move(leftOut);
}

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
    Json json = session.options().json ? Json({{"file", arguments.input},
                                               {"output", arguments.output},
                                               {"task", pipe.text()},
                                               {"stages", pipe.toJson(results)},
                                               {"seconds", seconds}})
                                       : Json();
    if (!arguments.passingStem.empty())
        cutLists(json);
    finishWith(session, json, textOf(arguments, pipe, results, seconds), arguments.output);
    return pipe.codeOf(results);
}

/// One word on why a run failed, for the batch that started it.
char const* reasonOf(Session const& session, Failure const& failure, std::string const& input) {
    if (failure.cause != Failure::Cause::OfCode)
        return failure.cause == Failure::Cause::Memory ? "memory" : "unexpected";
    switch (failure.code) {
    case UsageError:
        return "usage";
    case CannotRead:
        return failure.file.empty() || failure.file == input ? "input" : "taskFile";
    case CannotWrite:
        return "output";
    case Cancelled:
        return session.hasTimedOut() ? "time" : "cancelled";
    default:
        return "refused";
    }
}

Failure withReason(Session const& session, Failure failure, std::string const& input) {
    Json object = Json::parse(failure.json, nullptr, false);
    if (!object.is_object())
        object = failure.code == Cancelled
                     ? cancelJson(failure.message)
                     : Json({{"file", failure.file.empty() ? Json(nullptr) : Json(failure.file)},
                             {"refusal", failure.message}});
    cutLists(object);
    object["reason"] = reasonOf(session, failure, input);
    failure.json = toText(object);
    return failure;
}

std::terminate_handler formerTerminate = nullptr;

/// An exception that nobody caught, on any thread: for want of memory it is no fault of the program.
[[noreturn]] void terminateForBatch() {
    try {
        if (std::exception_ptr const current = std::current_exception())
            std::rethrow_exception(current);
    } catch (std::bad_alloc const&) {
        trimora::discardPendingOutputs();
        constexpr char object[] = "{\"reason\": \"memory\"}\n";
        [[maybe_unused]] ssize_t const put = write(STDOUT_FILENO, object, sizeof object - 1);
        _exit(Refused);
    } catch (...) {
    }
    formerTerminate();
    std::abort();
}

/// As the process of one file of a batch: its output outlasts a power cut and has, until it is whole, a name that the batch
/// knows; and each failure tells why in a word.
ExitCode runForBatch(Session& session, RunArguments const& arguments) {
    trimora::usePassingStem(arguments.passingStem);
    trimora::setOutputsOnDisk(true);
    formerTerminate = std::set_terminate(terminateForBatch);
    auto const failed = [&](Failure const& failure) {
        return withReason(session, failure, arguments.input);
    };
    try {
        return run(session, arguments);
    } catch (Failure const& failure) {
        throw failed(failure);
    } catch (std::bad_alloc const&) {
        throw failed({Refused, outOfMemoryWords, {}, {}, {}, Failure::Cause::Memory});
    } catch (std::exception const& error) {
        throw failed({Refused,
                      std::string("unexpected failure: ") + error.what(),
                      {},
                      {},
                      {},
                      Failure::Cause::Unexpected});
    }
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
    command->add_option("--for-batch", arguments->passingStem)->group("");  // in no help
    command->footer(
        "A task takes the commands that turn one mesh into another (repair, weld, fill, stitch, "
        "reduce, smooth, offset, cut,\nextrude, subdivide, flatten, strips, convert) and those "
        "that only tell of one (check, doctor, info, measure, verify).\nWords are quoted as in a "
        "shell. A stage that refuses ends the run, and nothing is written. Code 1: a stage left "
        "defects,\nor one that tells of the result found some.");
    command->callback([&invocation, arguments] {
        invocation.work = [arguments](Session& session) {
            return arguments->passingStem.empty() ? run(session, *arguments)
                                                  : runForBatch(session, *arguments);
        };
    });
}

}  // namespace app
