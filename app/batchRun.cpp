// The parent's side: it starts children, listens, keeps the time and writes down what became of each. All on one thread, which
// never reads a file of others: a job goes from the look at its input over that at an earlier output and the work to the look at
// the new output, and each of these is waited for.

#include "batchRun.h"

#include "files.h"
#include "toolkit/meshCounts.h"
#include "toolkit/pendingOutput.h"

#include "trimora/version.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace app {

namespace {

namespace fs = std::filesystem;

// A child that polls its progress ends by itself in time; one that does not is asked, then killed. Seconds.
constexpr double graceToEnd = 3.0;
constexpr double graceToKill = 6.0;
constexpr double graceOfInterrupt = 3.0;

constexpr double leastTimeout = 1e-3;  // of a child, when looking at its input took the rest

constexpr auto longestWait = std::chrono::milliseconds(50);

double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

bool isAnythingAt(std::string const& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

}  // namespace

double BatchRun::Job::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

BatchRun::BatchRun(Session& session, BatchOptions const& options, InputGuard const& guard,
                   BatchWork work)
    : session_(session),
      options_(options),
      guard_(guard),
      task_(std::move(work.task)),
      files_(std::move(work.files)),
      results_(options.folder),
      wakeup_(std::make_shared<Wakeup>()) {
    for (std::string& path : work.taskFiles)
        taskFiles_.push_back({std::move(path), {}});
    if (options.isDryRun)
        listed_.resize(files_.size());
}

void BatchRun::begin(std::string const& resultsPath) {
    lookAtTaskFiles();
    resultsPath_ = resultsPath;
    if (!options_.isDryRun) {
        std::error_code error;
        fs::create_directories(options_.folder, error);
        if (error)
            throw Failure{CannotWrite, options_.folder + ": cannot be made: " + error.message(),
                          options_.folder};
        results_.open(resultsPath);
    }
    results_.read();
}

void BatchRun::lookAtTaskFiles() {
    if (taskFiles_.empty())
        return;
    session_.beginPhase("looking at the files of the task", true);
    std::vector<std::string> paths;
    for (TaskFile const& file : taskFiles_)
        paths.push_back(file.path);
    HashTask const hashing(paths, 0, wakeup_);
    while (!hashing.isDone()) {
        session_.throwIfCancelled();
        ChildProcess::wait({}, wakeup_->descriptor(), longestWait);
        wakeup_->clear();
    }
    for (std::size_t i = 0; i < taskFiles_.size(); ++i) {
        taskFiles_[i].hash = hashing.results()[i];
        if (std::string const& fault = taskFiles_[i].hash.fault; !fault.empty())
            throw Failure{CannotRead, fault, paths[i]};
    }
}

void BatchRun::work() {
    session_.beginPhase("working on the files", true);
    session_.endsByItself();
    auto const numJobs = static_cast<std::size_t>(options_.jobs);
    while (next_ < files_.size() || !jobs_.empty()) {
        if (session_.progress().cancelled())
            endInterrupted();
        while (jobs_.size() < numJobs && next_ < files_.size() && !session_.progress().cancelled())
            startNext();
        waitForJobs();
        advanceJobs();
    }
    session_.finish();
    if (options_.isDryRun) {
        std::string text;
        for (std::string const& each : listed_)
            text += each;
        printOut(text);
    }
}

void BatchRun::startNext() {
    Job job = {next_++, {}};
    BatchFile const& file = files_[job.index];
    job.record.input = file.input;
    job.record.output = file.output;
    job.record.task = task_;
    job.record.version = koGeom::trimoraVersion();
    job.record.dropNonfinite = session_.options().dropNonfinite;
    std::vector<std::string> paths = {file.input};
    for (std::size_t i = 0; i < taskFiles_.size(); ++i)
        if (stampOf(taskFiles_[i].path) != taskFiles_[i].hash.stamp) {
            job.changedTaskFiles.push_back(i);
            paths.push_back(taskFiles_[i].path);
        }
    if (look(job, Stage::Input, std::move(paths), bytesOfChild()))
        jobs_.push_back(std::move(job));
    else
        settle(job, "notStarted", "the system has no room for a further thread");
}

/// Begins to hash the files; false where no thread is to be had.
bool BatchRun::look(Job& job, Stage stage, std::vector<std::string> paths,
                    std::uint64_t mostBytes) {
    try {
        job.hashing = std::make_unique<HashTask>(std::move(paths), mostBytes, wakeup_);
    } catch (std::system_error const&) {
        return false;
    }
    job.stage = stage;
    return true;
}

void BatchRun::waitForJobs() const {
    std::vector<ChildProcess*> children;
    for (Job const& job : jobs_)
        if (job.stage == Stage::Work)
            children.push_back(job.child.get());
    if (!jobs_.empty())
        ChildProcess::wait(children, wakeup_->descriptor(), longestWait);
    wakeup_->clear();
}

void BatchRun::advanceJobs() {
    for (std::size_t i = 0; i < jobs_.size();) {
        if (advance(jobs_[i]))
            jobs_.erase(jobs_.begin() + static_cast<std::ptrdiff_t>(i));
        else
            ++i;
    }
    if (!options_.isDryRun)
        results_.sync();
}

/// Takes the job on as far as it comes without waiting; true when it is over.
bool BatchRun::advance(Job& job) {
    if (job.stage == Stage::Work) {
        if (job.child->hasEnded())
            return endWork(job);
        watchTime(job);
        return false;
    }
    if (!job.hashing->isDone())
        return job.stage != Stage::Output && isOutOfTime(job) &&
               settle(job, "timedOut",
                      job.record.input + ": timed out while its contents were looked at; allow "
                                         "more with --timeout");
    return job.stage == Stage::Input     ? endInputLook(job)
           : job.stage == Stage::Earlier ? endEarlierLook(job)
                                         : endOutputLook(job);
}

bool BatchRun::endInputLook(Job& job) {
    std::vector<FileHash> const& hashes = job.hashing->results();
    for (std::size_t i = 0; i < job.changedTaskFiles.size(); ++i)
        taskFiles_[job.changedTaskFiles[i]].hash = hashes[i + 1];
    FileHash const& input = hashes.front();
    if (!input.fault.empty())
        return settle(job, input.isTooLarge ? "outOfMemory" : "unreadable", input.fault);
    job.record.hash = input.digits;
    job.input = input.stamp;
    for (TaskFile const& file : taskFiles_) {
        if (!file.hash.fault.empty())
            return settle(job, "noTaskFile", file.hash.fault);
        job.record.taskFiles[textOfPath(file.path)] = file.hash.digits;
    }
    job.earlier = results_.find(job.record);
    if (job.earlier == nullptr)
        return startWork(job);
    if (!job.earlier->hasOutput())
        return endEarlierLook(job);
    std::string const output = pathOfOutput(files_[job.index]);
    bool const mayBeTheSame = stampOf(output).size == job.earlier->outputSize;
    return !mayBeTheSame || !look(job, Stage::Earlier, {output}) ? startWork(job) : false;
}

bool BatchRun::endEarlierLook(Job& job) {
    bool const hasOutput = job.earlier->hasOutput();
    FileHash const output = hasOutput ? job.hashing->results().front() : FileHash();
    if (hasOutput && (output.digits.empty() || output.digits != job.earlier->outputHash))
        return startWork(job);
    summary_.add(*job.earlier, true, !hasOutput && isAnythingAt(pathOfOutput(files_[job.index])));
    ++numDone_;
    return true;
}

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

std::string BatchRun::pathOfOutput(BatchFile const& file) const {
    return (fs::path(options_.folder) / file.output).string();
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

bool BatchRun::isOutOfTime(Job const& job) const {
    return options_.timeout > 0.0 && job.seconds() > options_.timeout;
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
    std::vector<std::string> lines = lastLinesOf(job.child->errors());
    if (!job.record.isClean() && !lines.empty())
        job.why = lines.back();
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
    // Where there is no room for a thread, the output has no hash, and is made anew by the next call.
    if (job.record.hasOutput() && look(job, Stage::Output, {pathOfOutput(files_[job.index])}))
        return false;
    addLine(job);
    return true;
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
    if (output.fault.empty()) {
        job.line["outputHash"] = output.digits;
        job.line["outputSize"] = output.stamp.size;
    }
    addLine(job);
    return true;
}

/// Ends a job without a process; always true.
bool BatchRun::settle(Job& job, std::string const& status, std::string const& why) {
    if (options_.isDryRun) {
        list(job, why);
        return true;
    }
    job.record.status = status;
    job.record.seconds = job.seconds();
    job.why = why;
    job.line = lineOf(job);
    job.line["stderr"] = {"trimora: " + why};
    addLine(job);
    return true;
}

void BatchRun::list(Job const& job, std::string const& fault) {
    std::string const input = textOfPath(job.record.input);
    std::string const output = textOfPath(pathOfOutput(files_[job.index]));
    Json line = {{"input", input}, {"output", output}};
    if (!fault.empty())
        line["fault"] = fault;
    listed_[job.index] = session_.options().json
                             ? textOf(line)
                             : onOneLine(job.record.input) + " -> " +
                                   onOneLine(pathOfOutput(files_[job.index])) +
                                   (fault.empty() ? "" : "; " + onOneLine(fault)) + "\n";
}

/// What is known of each file that got a line, however it ended.
Json BatchRun::lineOf(Job const& job) const {
    BatchRecord const& record = job.record;
    std::string const output = textOfPath(record.output);
    bool const isStale = !record.hasOutput() && isAnythingAt(pathOfOutput(files_[job.index]));
    Json taskFiles = Json::object();
    for (auto const& [path, hash] : record.taskFiles)
        taskFiles[path] = hash;
    return {{"input", textOfPath(record.input)},
            {"output", record.hasOutput() ? Json(output) : Json(nullptr)},
            {"outputHash", nullptr},
            {"outputSize", nullptr},
            {"staleOutput", isStale ? Json(output) : Json(nullptr)},
            {"hash", record.hash.empty() ? Json(nullptr) : Json(record.hash)},
            {"task", textOfPath(record.task)},
            {"taskFiles", std::move(taskFiles)},
            {"version", record.version},
            {"dropNonfinite", record.dropNonfinite},
            {"status", record.status},
            {"exitCode", nullptr},
            {"signal", nullptr},
            {"seconds", record.seconds},
            {"peakMemory", record.peakMemory},
            {"ended", secondsSince1970()},
            {"run", nullptr},
            {"stderr", Json::array()}};
}

void BatchRun::addLine(Job const& job) {
    results_.append(job.line);
    bool const isStale = !job.line["staleOutput"].is_null();
    summary_.add(recordOf(job.line), false, isStale);
    ++numDone_;
    session_.progress().set(static_cast<double>(numDone_) / static_cast<double>(files_.size()));
    session_.tell("");  // takes the bar off
    if (session_.options().json)
        return print(textOf(job.line));
    if (session_.options().quiet)
        return;
    char start[96];
    std::snprintf(start, sizeof start, "%6zu/%zu  %-11s %8.2f s %10s  ", numDone_, files_.size(),
                  job.record.status.c_str(), job.record.seconds,
                  trimora::bytesInWords(static_cast<double>(job.record.peakMemory)).c_str());
    print(start + onOneLine(job.record.input) + "\n" +
          (job.why.empty() ? "" : "        " + onOneLine(job.why) + "\n") +
          (isStale ? "        what lies in the place of its output is of an earlier run\n" : ""));
}

void BatchRun::print(std::string const& text) {
    if (isMute_)
        return;
    try {
        printOut(text);
    } catch (Failure const& failure) {
        isMute_ = true;
        session_.tell("trimora: warning: " + failure.message + "; the results are in " +
                      onOneLine(resultsPath_) + "\n");
    }
}

/// What a child that could not clean up has left beside its output.
void BatchRun::removePassingFiles(Job const& job) const {
    std::error_code ignored;
    fs::path const output = fs::weakly_canonical(pathOfOutput(files_[job.index]), ignored);
    std::vector<fs::path> left;
    for (fs::directory_iterator entry(output.parent_path(), ignored), end; entry != end;
         entry.increment(ignored))
        if (entry->path().filename().string().rfind(job.passingStem, 0) == 0)
            left.push_back(entry->path());
    for (fs::path const& path : left)
        fs::remove(path, ignored);
}

/// Ends the children. What was done by then gets its line; a further run begins the rest anew.
void BatchRun::endInterrupted() {
    session_.finish();  // else it would end the process before the children have
    isEnding_ = true;
    jobs_.erase(std::remove_if(jobs_.begin(), jobs_.end(),
                               [](Job const& job) {
                                   return job.stage == Stage::Input || job.stage == Stage::Earlier;
                               }),
                jobs_.end());
    for (Job const& job : jobs_)
        if (job.stage == Stage::Work)
            job.child->signalGroup(SIGTERM);
    auto const start = Clock::now();
    while (!jobs_.empty() &&
           std::chrono::duration<double>(Clock::now() - start).count() < graceOfInterrupt) {
        waitForJobs();
        advanceJobs();
    }
    for (Job const& job : jobs_) {
        if (job.stage != Stage::Work)
            continue;
        job.child->signalGroup(SIGKILL);
        removePassingFiles(job);
    }
    jobs_.clear();
    throw Failure{Cancelled, "cancelled; " + std::to_string(numDone_) + " of " +
                                 trimora::countInWords(std::int64_t(files_.size()), "file") +
                                 " are done; the same command goes on from there"};
}

}  // namespace app
