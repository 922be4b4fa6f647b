#pragma once

#include "Session.h"
#include "batchPlan.h"
#include "batchResults.h"
#include "childProcess.h"

#include <memory>
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

/// One call of a batch: a process for each file that is not settled, so many at a time, and a line of the results for each.
class BatchRun {
public:
    BatchRun(Session& session, BatchOptions const& options, std::string task,
             std::vector<BatchFile> files)
        : session_(session),
          options_(options),
          task_(std::move(task)),
          files_(std::move(files)),
          results_(options.folder) {}

    /// Reads earlier results and opens the file for those of this call, unless nothing is to be written. Throws Failure.
    void begin(std::string const& resultsPath);
    /// Prints what is left to do.
    void listWork();
    /// Does it. Throws a Failure with code 6 when the session is cancelled, with no child left.
    void work();
    BatchSummary const& summary() const { return summary_; }

private:
    struct Job {
        BatchRecord record;
        std::unique_ptr<ChildProcess> child;
        bool isOverdue = false;  // and told to end
    };

    BatchRecord wantedOf(BatchFile const& file, std::string& fault) const;
    bool startNext();
    std::vector<std::string> argumentsOf(BatchRecord const& record) const;
    std::uint64_t bytesOfChild() const;
    void start(BatchRecord record);
    void collectEnded();
    void watchTime(Job& job) const;
    void finish(Job const& job);
    void failWithoutChild(BatchRecord record, std::string const& status, std::string const& why);
    void addLine(Json line, std::string const& why);
    void removePassingFiles(Job const& job) const;
    [[noreturn]] void endInterrupted();

    Session& session_;
    BatchOptions const& options_;
    std::string task_;
    std::vector<BatchFile> files_;
    BatchResults results_;
    BatchSummary summary_;
    std::vector<Job> running_;
    std::size_t next_ = 0;
    std::size_t numDone_ = 0;
};

}  // namespace app
