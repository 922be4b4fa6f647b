#pragma once

#include "Session.h"
#include "batchEnding.h"
#include "batchHash.h"
#include "batchPlan.h"
#include "batchResults.h"
#include "childProcess.h"

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace app {

struct BatchOptions {
    std::string folder;  ///< of the outputs and the results
    int jobs = 1;        ///< files at a time
    int threads = 1;     ///< of each file, as the limits
    double timeout = 0.0;
    bool hasMemoryLimit = false;  ///< the session's is of each file; else it is shared by the jobs
    bool isDryRun = false;        ///< nothing is written
};

struct BatchWork {
    std::string task;
    std::vector<std::string> taskFiles;  ///< that the task names
    std::vector<BatchFile> files;        ///< of this shard
};

/// One call of a batch: a process for each file that is not settled, so many at a time, and a line of the results for each.
/// Contents are hashed on threads beside it: whatever a file or a drive does, limits hold and Ctrl-C is heard.
class BatchRun {
public:
    /// What it refers to has to outlive it.
    BatchRun(Session& session, BatchOptions const& options, InputGuard const& guard,
             BatchWork work);

    /// Looks at the files of the task, reads earlier results and opens the file for those of this call, unless nothing is to be
    /// written. Throws Failure.
    void begin(std::string const& resultsPath);
    /// Does it; a dry run prints what is left to do. Throws a Failure with code 6 when the session is cancelled, with no child
    /// left.
    void work();
    BatchSummary const& summary() const { return summary_; }

    /// Prints to standard output as long as somebody reads it: the results are in their file.
    void print(std::string const& text);

private:
    using Clock = std::chrono::steady_clock;
    enum class Stage { Input, Earlier, Work, Output };  // what is at work for a file

    struct Job {
        std::size_t index;  // of its file
        BatchRecord record;
        Clock::time_point start = Clock::now();
        Stage stage = Stage::Input;
        Clock::time_point lookStart = {};
        std::unique_ptr<HashTask> hashing = {};
        std::vector<std::size_t> changedTaskFiles = {};  // hashed behind the input
        FileStamp input = {};
        BatchRecord const* earlier = nullptr;
        std::unique_ptr<ChildProcess> child = {};
        std::string passingStem = {};
        std::uint64_t memoryKillsBefore = 0;
        bool isOverdue = false;  // and told to end
        Json line = {};          // as far as it is known
        std::string why = {};

        double seconds() const;
    };
    struct TaskFile {
        std::string path;
        FileHash hash;
    };

    void lookAtTaskFiles();
    void startNext();
    bool look(Job& job, Stage stage, std::vector<std::string> paths, std::uint64_t mostBytes = 0);
    void waitForJobs() const;
    void advanceJobs();
    bool advance(Job& job);
    bool endInputLook(Job& job);
    bool endEarlierLook(Job& job);
    bool startWork(Job& job);
    bool endWork(Job& job);
    bool endOutputLook(Job& job);
    bool haveInputsChanged(Job const& job) const;
    bool addLineWithoutHash(Job& job, std::string const& fault);
    bool isOutOfTime(Job const& job) const;
    bool isOutputLookOutOfTime(Job const& job) const;
    void watchTime(Job& job) const;
    bool settle(Job& job, std::string const& status, std::string const& why);
    void list(Job const& job, std::string const& fault);
    void addLine(Job const& job);
    Json lineOf(Job const& job) const;
    std::vector<std::string> argumentsOf(Job const& job) const;
    std::uint64_t bytesOfChild() const;
    std::string pathOfOutput(BatchFile const& file) const;
    bool isFileInPlaceOf(Job const& job) const;
    void removePassingFiles(Job const& job) const;
    void removeLeftOvers(std::string const& output);
    [[noreturn]] void endInterrupted();

    Session& session_;
    BatchOptions const& options_;
    InputGuard const& guard_;
    std::string task_;
    std::vector<TaskFile> taskFiles_;
    std::vector<BatchFile> files_;
    std::string resultsPath_;
    BatchResults results_;
    BatchSummary summary_;
    std::shared_ptr<Wakeup> wakeup_;
    std::vector<Job> jobs_;
    std::vector<std::string> listed_;        // of a dry run, by file
    std::set<std::string> foldersLookedAt_;  // for what earlier batches left
    std::size_t next_ = 0;
    std::size_t numDone_ = 0;
    bool isEnding_ = false;  // only what is settled gets its line
    bool isMute_ = false;
};

}  // namespace app
