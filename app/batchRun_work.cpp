// What a batch does for one file: its process from the start to the end, and the look at what that has written.

#include "batchRun.h"
#include "toolkit/pendingOutput.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <system_error>

namespace app {

namespace {

namespace fs = std::filesystem;

// A child that polls its progress ends by itself in time; one that does not is asked, then killed. Seconds.
constexpr double graceToEnd = 3.0;
constexpr double graceToKill = 6.0;

constexpr double leastTimeout = 1e-3;  // of a child, when looking at its input took the rest

void removeFilesBeside(std::string const& output,
                       std::function<bool(std::string const& name)> const& isWanted) {
    std::error_code ignored;
    fs::path const folder = fs::weakly_canonical(output, ignored).parent_path();
    std::vector<fs::path> wanted;
    for (fs::directory_iterator entry(folder, ignored), end; entry != end; entry.increment(ignored))
        if (isWanted(entry->path().filename().string()) && !entry->is_directory(ignored))
            wanted.push_back(entry->path());
    for (fs::path const& path : wanted)
        fs::remove(path, ignored);
}

}  // namespace

bool BatchRun::startWork(Job& job) {
    job.hashing.reset();
    if (options_.isDryRun) {
        list(job, {});
        return true;
    }
    std::string const path = pathOfOutput(files_[job.index]);
    fs::path const place = fs::path(path).parent_path();
    std::error_code error;
    fs::create_directories(place, error);
    if (error)
        return settle(job, "unwritten", place.string() + ": cannot be made: " + error.message());
    if (std::string const input = guard_.inputAt(path); !input.empty())
        return settle(job, "unwritten",
                      path + ": leads to the input " + input + ", which it would replace");
    removeLeftOvers(path);
    constexpr std::uint64_t ofProgram = std::uint64_t(512) << 20;
    constexpr std::uint64_t ofThread = std::uint64_t(136) << 20;  // a stack, and a part of the heap
    std::uint64_t const bytes =
        bytesOfChild() + ofProgram + ofThread * static_cast<std::uint64_t>(options_.threads);
    job.passingStem = trimora::newPassingStem();
    job.memoryKillsBefore = numMemoryKills();
    try {
        job.child = std::make_unique<ChildProcess>(argumentsOf(job), bytes);
    } catch (std::system_error const& failure) {
        return settle(job, "notStarted", failure.what());
    }
    job.stage = Stage::Work;
    return false;
}

std::uint64_t BatchRun::bytesOfChild() const {
    return options_.hasMemoryLimit
               ? session_.maxBytes()
               : session_.maxBytes() / static_cast<std::uint64_t>(options_.jobs);
}

std::vector<std::string> BatchRun::argumentsOf(Job const& job) const {
    std::vector<std::string> words = {"run",          "--task",
                                      task_,          "--json",
                                      "--progress",   "never",
                                      "--threads",    std::to_string(options_.threads),
                                      "--max-memory", std::to_string(bytesOfChild()),
                                      "--for-batch",  job.passingStem};
    if (options_.timeout > 0.0) {
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.17g",
                      std::max(leastTimeout, options_.timeout - job.seconds()));
        words.insert(words.end(), {"--timeout", seconds});
    }
    if (job.record.dropNonfinite)
        words.push_back("--drop-nonfinite");
    words.insert(words.end(), {"--", job.record.input, pathOfOutput(files_[job.index])});
    return words;
}

/// The child has the limit itself, and says what it was doing; this is for one that cannot.
void BatchRun::watchTime(Job& job) const {
    double const over = job.seconds() - options_.timeout;
    if (options_.timeout == 0.0 || over < graceToEnd)
        return;
    if (!job.isOverdue)
        job.child->signalGroup(SIGTERM);
    job.isOverdue = true;
    if (over > graceToKill)
        job.child->signalGroup(SIGKILL);
}

bool BatchRun::endWork(Job& job) {
    EndOfChild end = endOf(*job.child, job.isOverdue, job.memoryKillsBefore);
    job.record.status = statusOf(end);
    if (end.ending.signal != 0 || job.record.status == "crashed")
        removePassingFiles(job);
    if (isEnding_ && !job.record.isSettled())
        return true;
    WordsOfChild words = wordsOf(job.child->errors());
    std::vector<std::string>& lines = words.lastLines;
    job.record.numWarnings = words.numWarnings;
    if (job.record.hasOutput())
        job.why = words.lastWarning;
    if (job.why.empty() && !job.record.isClean() && !lines.empty())
        job.why = lines.back();
    if (end.isReportCut)
        lines.push_back("trimora: note: its report was too large and is left out here");
    if (haveInputsChanged(job)) {
        job.record.hash.clear();  // of what was it made? The next call does it anew
        job.why = "its input, or a file of the task, changed meanwhile";
        lines.push_back("trimora: " + job.why);
    }
    job.record.seconds = end.ending.seconds;
    job.record.peakMemory = end.ending.peakBytes;
    job.line = lineOf(job);
    if (end.ending.signal == 0)
        job.line["exitCode"] = end.ending.exitCode;
    job.line["signal"] = signalJson(end.ending);
    job.line["run"] = std::move(end.run);
    job.line["stderr"] = lines;
    if (!job.record.hasOutput()) {
        addLine(job);
        return true;
    }
    return !look(job, Stage::Output, {pathOfOutput(files_[job.index])}) &&
           addLineWithoutHash(job, "the system has no room for a further thread");
}

bool BatchRun::haveInputsChanged(Job const& job) const {
    bool const isSame = stampOf(job.record.input) == job.input &&
                        std::all_of(taskFiles_.begin(), taskFiles_.end(), [](TaskFile const& file) {
                            return stampOf(file.path) == file.hash.stamp;
                        });
    return !isSame;
}

bool BatchRun::endOutputLook(Job& job) {
    FileHash const& output = job.hashing->results().front();
    if (!output.fault.empty())
        return addLineWithoutHash(job, output.fault);
    job.line["outputHash"] = output.digits;
    job.line["outputSize"] = output.stamp.size;
    addLine(job);
    return true;
}

/// Of an output that nobody can tell from a damaged one; always true.
bool BatchRun::addLineWithoutHash(Job& job, std::string const& fault) {
    job.why = "its output could not be looked at, and is made anew by the next call: " + fault;
    job.line["stderr"].push_back("trimora: " + job.why);
    addLine(job);
    return true;
}

/// What a child that could not clean up has left beside its output.
void BatchRun::removePassingFiles(Job const& job) const {
    removeFilesBeside(pathOfOutput(files_[job.index]), [&job](std::string const& name) {
        return name.rfind(job.passingStem, 0) == 0;
    });
}

/// What an earlier batch has left beside the output when it was killed together with its children.
void BatchRun::removeLeftOvers(std::string const& output) {
    if (foldersLookedAt_.insert(fs::path(output).parent_path().string()).second)
        removeFilesBeside(output, trimora::isLeftOver);
}

}  // namespace app
