// The parent's side: it starts children, listens, keeps the time and writes down what became of each. All on one thread, which
// never reads a file of others: a job goes from the look at its input over that at an earlier output and the work to the look at
// the new output, and each of these is waited for.

#include "batchRun.h"

#include "files.h"
#include "toolkit/meshCounts.h"

#include "trimora/version.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <system_error>

namespace app {

namespace {

namespace fs = std::filesystem;

constexpr double graceOfInterrupt = 3.0;       // of the children, seconds
constexpr double leastTimeOfOutputLook = 3.0;  // however short the time of the work is

constexpr auto longestWait = std::chrono::milliseconds(50);

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
    job.lookStart = Clock::now();
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
    if (!job.hashing->isDone() && job.stage == Stage::Output)
        return isOutputLookOutOfTime(job) && addLineWithoutHash(job, "reading it took too long");
    if (!job.hashing->isDone())
        return isOutOfTime(job) &&
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
    summary_.add(*job.earlier, true, !hasOutput && isFileInPlaceOf(job));
    ++numDone_;
    return true;
}

bool BatchRun::isOutOfTime(Job const& job) const {
    return options_.timeout > 0.0 && job.seconds() > options_.timeout;
}

/// That look has a time of its own, since the work may have taken all there was.
bool BatchRun::isOutputLookOutOfTime(Job const& job) const {
    double const most = std::max(options_.timeout, leastTimeOfOutputLook);
    return options_.timeout > 0.0 &&
           std::chrono::duration<double>(Clock::now() - job.lookStart).count() > most;
}

std::string BatchRun::pathOfOutput(BatchFile const& file) const {
    return (fs::path(options_.folder) / file.output).string();
}

/// Of a file without an output of this task: it is of an earlier run.
bool BatchRun::isFileInPlaceOf(Job const& job) const {
    std::error_code ignored;
    return fs::is_regular_file(pathOfOutput(files_[job.index]), ignored);
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
