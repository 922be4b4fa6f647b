// The parent's side: it starts children, listens, keeps the time and writes down what became of each. All on one thread.

#include "batchRun.h"

#include "files.h"

#include "trimora/version.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace app {

namespace {

namespace fs = std::filesystem;

// A child that polls its progress ends by itself in time; one that does not is asked, then killed. Seconds.
constexpr double graceToEnd = 3.0;
constexpr double graceToKill = 6.0;
constexpr double graceOfInterrupt = 3.0;

constexpr auto longestWait = std::chrono::milliseconds(50);

double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::vector<std::string> lastLinesOf(std::string const& text) {
    constexpr std::size_t most = 10;
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        if (end > begin)
            lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    lines.erase(lines.begin(),
                lines.end() - static_cast<std::ptrdiff_t>(std::min(most, lines.size())));
    return lines;
}

bool holds(std::string const& text, char const* words) {
    return text.find(words) != std::string::npos;
}

std::string statusOfRefusal(std::string const& errors) {
    bool const isForMemory = holds(errors, "--max-memory") || holds(errors, outOfMemoryWords);
    return isForMemory ? "outOfMemory" : "refused";
}

/// The status of a file by how its process ended. A success without its object is none: a sanitizer's end has code 1, too.
std::string statusOf(ChildProcess::Ending const& ending, bool isOverdue, bool hasStages,
                     std::string const& errors) {
    if (hasStages && (ending.exitCode == Done || ending.exitCode == DefectsFound))
        return ending.exitCode == Done ? "done" : "defects";
    if (isOverdue)
        return "timedOut";
    if (ending.signal != 0)
        return holds(errors, "bad_alloc") ? "outOfMemory" : "crashed";
    switch (ending.exitCode) {
    case CannotRead:
        return "unreadable";
    case CannotWrite:
        return "unwritten";
    case UsageError:  // an option that does not fit this mesh
    case Refused:
        return statusOfRefusal(errors);
    case Cancelled:
        return holds(errors, "timed out") ? "timedOut" : "cancelled";
    default:
        return "crashed";
    }
}

std::string nameOfSignal(int signal) {
    char const* const name = sigabbrev_np(signal);
    return name != nullptr ? std::string("SIG") + name : std::to_string(signal);
}

}  // namespace

void BatchRun::begin(std::string const& resultsPath) {
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

BatchRecord BatchRun::wantedOf(BatchFile const& file, std::string& fault) const {
    BatchRecord record;
    record.input = file.input;
    record.output = file.output;
    record.hash = hashOfFile(file.input, fault);
    record.task = task_;
    record.version = koGeom::trimoraVersion();
    record.dropNonfinite = session_.options().dropNonfinite;
    return record;
}

void BatchRun::listWork() {
    std::string text;
    for (BatchFile const& file : files_) {
        session_.throwIfCancelled();
        std::string fault;
        BatchRecord const wanted = wantedOf(file, fault);
        if (BatchRecord const* const earlier = results_.find(wanted)) {
            summary_.add(*earlier, true);
            continue;
        }
        std::string const output = (fs::path(options_.folder) / file.output).string();
        Json line = {{"input", file.input}, {"output", output}};
        if (!fault.empty())
            line["fault"] = fault;
        text += session_.options().json ? textOf(line)
                                        : onOneLine(file.input) + " -> " + onOneLine(output) +
                                              (fault.empty() ? "" : "; " + onOneLine(fault)) + "\n";
    }
    session_.finish();
    printOut(text);
}

void BatchRun::work() {
    session_.beginPhase("working on the files", true);
    auto const numJobs = static_cast<std::size_t>(options_.jobs);
    for (bool isMore = true; isMore || !running_.empty();) {
        if (session_.progress().cancelled())
            endInterrupted();
        while (isMore && running_.size() < numJobs && !session_.progress().cancelled())
            isMore = startNext();
        std::vector<ChildProcess*> children;
        for (Job const& job : running_)
            children.push_back(job.child.get());
        if (!children.empty())
            ChildProcess::wait(children, longestWait);
        collectEnded();
    }
}

/// Starts the next file or settles it without; false when there is none left.
bool BatchRun::startNext() {
    if (next_ == files_.size())
        return false;
    std::string fault;
    BatchRecord record = wantedOf(files_[next_++], fault);
    if (BatchRecord const* const earlier = results_.find(record)) {
        summary_.add(*earlier, true);
        ++numDone_;
    } else if (!fault.empty()) {
        failWithoutChild(std::move(record), "unreadable", fault);
    } else {
        start(std::move(record));
    }
    return true;
}

void BatchRun::start(BatchRecord record) {
    fs::path const place = (fs::path(options_.folder) / record.output).parent_path();
    std::error_code error;
    fs::create_directories(place, error);
    if (error)
        return failWithoutChild(std::move(record), "unwritten",
                                place.string() + ": cannot be made: " + error.message());
    constexpr std::uint64_t ofProgram = std::uint64_t(512) << 20;
    constexpr std::uint64_t ofThread = std::uint64_t(136) << 20;  // a stack, and a part of the heap
    std::uint64_t const bytes =
        bytesOfChild() + ofProgram + ofThread * static_cast<std::uint64_t>(options_.threads);
    try {
        auto child = std::make_unique<ChildProcess>(argumentsOf(record), bytes);
        running_.push_back({record, std::move(child)});
    } catch (std::system_error const& failure) {
        failWithoutChild(std::move(record), "notStarted", failure.what());
    }
}

std::uint64_t BatchRun::bytesOfChild() const {
    return options_.hasMemoryLimit
               ? session_.maxBytes()
               : session_.maxBytes() / static_cast<std::uint64_t>(options_.jobs);
}

std::vector<std::string> BatchRun::argumentsOf(BatchRecord const& record) const {
    std::string const output = (fs::path(options_.folder) / record.output).string();
    std::vector<std::string> words = {"run",          "--task",
                                      task_,          "--json",
                                      "--progress",   "never",
                                      "--threads",    std::to_string(options_.threads),
                                      "--max-memory", std::to_string(bytesOfChild())};
    if (options_.timeout > 0.0) {
        char seconds[32];
        std::snprintf(seconds, sizeof seconds, "%.17g", options_.timeout);
        words.insert(words.end(), {"--timeout", seconds});
    }
    if (record.dropNonfinite)
        words.push_back("--drop-nonfinite");
    words.insert(words.end(), {"--", record.input, output});
    return words;
}

void BatchRun::collectEnded() {
    for (std::size_t i = 0; i < running_.size();) {
        if (!running_[i].child->hasEnded()) {
            watchTime(running_[i++]);
            continue;
        }
        Job const job = std::move(running_[i]);
        running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(i));
        finish(job);
    }
}

/// The child has the limit itself, and says what it was doing; this is for one that cannot.
void BatchRun::watchTime(Job& job) const {
    double const over = job.child->seconds() - options_.timeout;
    if (options_.timeout == 0.0 || over < graceToEnd)
        return;
    if (!job.isOverdue)
        job.child->signalGroup(SIGTERM);
    job.isOverdue = true;
    if (over > graceToKill)
        job.child->signalGroup(SIGKILL);
}

void BatchRun::finish(Job const& job) {
    ChildProcess::Ending const& ending = job.child->ending();
    std::string const& errors = job.child->errors();
    Json run = Json::parse(job.child->output(), nullptr, false);
    if (!run.is_object())
        run = nullptr;
    std::string const status =
        statusOf(ending, job.isOverdue, run.is_object() && run.contains("seconds"), errors);
    if (ending.signal != 0 || status == "crashed")
        removePassingFiles(job);
    std::vector<std::string> const lines = lastLinesOf(errors);
    BatchRecord record = job.record;
    record.status = status;
    Json line = {{"input", record.input},
                 {"output", record.hasOutput() ? Json(record.output) : Json(nullptr)},
                 {"hash", record.hash},
                 {"task", record.task},
                 {"version", record.version},
                 {"dropNonfinite", record.dropNonfinite},
                 {"status", status},
                 {"exitCode", ending.signal == 0 ? Json(ending.exitCode) : Json(nullptr)},
                 {"signal", ending.signal != 0 ? Json(nameOfSignal(ending.signal)) : Json(nullptr)},
                 {"seconds", ending.seconds},
                 {"peakMemory", ending.peakBytes},
                 {"ended", secondsSince1970()},
                 {"run", std::move(run)},
                 {"stderr", lines}};
    addLine(std::move(line), record.isClean() || lines.empty() ? std::string() : lines.back());
}

void BatchRun::failWithoutChild(BatchRecord record, std::string const& status,
                                std::string const& why) {
    addLine({{"input", record.input},
             {"output", nullptr},
             {"hash", record.hash.empty() ? Json(nullptr) : Json(record.hash)},
             {"task", record.task},
             {"version", record.version},
             {"dropNonfinite", record.dropNonfinite},
             {"status", status},
             {"exitCode", nullptr},
             {"signal", nullptr},
             {"seconds", 0.0},
             {"peakMemory", 0},
             {"ended", secondsSince1970()},
             {"run", nullptr},
             {"stderr", {"trimora: " + why}}},
            why);
}

void BatchRun::addLine(Json line, std::string const& why) {
    results_.append(line);
    BatchRecord const record = recordOf(line);
    summary_.add(record, false);
    ++numDone_;
    session_.progress().set(static_cast<double>(numDone_) / static_cast<double>(files_.size()));
    session_.tell("");  // takes the bar off
    if (session_.options().json)
        return printOut(textOf(line));
    char start[96];
    std::snprintf(start, sizeof start, "%6zu/%zu  %-11s %8.2f s %10s  ", numDone_, files_.size(),
                  record.status.c_str(), record.seconds,
                  bytesInWords(static_cast<double>(record.peakMemory)).c_str());
    printReport(session_, start + onOneLine(record.input) + "\n" +
                              (why.empty() ? "" : "        " + onOneLine(why) + "\n"));
}

/// What a child that could not clean up has left beside its output.
void BatchRun::removePassingFiles(Job const& job) const {
    std::string const start = ".trimora-" + std::to_string(job.child->id()) + "-";
    fs::path const place = (fs::path(options_.folder) / job.record.output).parent_path();
    std::vector<fs::path> left;
    std::error_code ignored;
    for (fs::directory_iterator entry(place, ignored), end; entry != end; entry.increment(ignored))
        if (entry->path().filename().string().rfind(start, 0) == 0)
            left.push_back(entry->path());
    for (fs::path const& path : left)
        fs::remove(path, ignored);
}

/// Ends the children and leaves no line of theirs: a further run begins them anew.
void BatchRun::endInterrupted() {
    session_.finish();  // else it would end the process before the children have
    for (Job const& job : running_)
        job.child->signalGroup(SIGTERM);
    auto const start = std::chrono::steady_clock::now();
    auto const hasTime = [start] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() <
               graceOfInterrupt;
    };
    for (Job const& job : running_)
        while (!job.child->hasEnded() && hasTime())
            ChildProcess::wait({job.child.get()}, longestWait);
    for (Job const& job : running_) {
        job.child->signalGroup(SIGKILL);
        removePassingFiles(job);
    }
    running_.clear();
    throw Failure{Cancelled, "cancelled; " + std::to_string(numDone_) + " of " +
                                 trimora::countInWords(std::int64_t(files_.size()), "file") +
                                 " are done; the same command goes on from there"};
}

}  // namespace app
