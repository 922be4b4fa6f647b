#pragma once

#include "Session.h"
#include "reports.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace app {

/// What of a file's line in the results matters later.
struct BatchRecord {
    std::string input;
    std::string output;      ///< below the folder; empty when none was written
    std::string outputHash;  ///< empty where it could not be had: the file counts as lost then
    std::uint64_t outputSize = 0;
    std::string hash;  ///< of the input; empty where it could not be had, or changed meanwhile
    std::string task;
    std::map<std::string, std::string>
        taskFiles;  ///< that the task names; hash by path, as in the line
    std::string version;
    bool dropNonfinite = false;
    std::string status;
    int numWarnings = 0;
    double seconds = 0.0;
    std::uint64_t peakMemory = 0;
    double ended = 0.0;  ///< seconds since 1970

    bool isClean() const { return status == "done"; }
    bool hasOutput() const { return status == "done" || status == "defects"; }
    /// A further run of the same program on the same input would come to the same.
    bool isSettled() const { return hasOutput() || status == "refused" || status == "unreadable"; }
};

BatchRecord recordOf(Json const& line);

/// One line with its end; bytes that are no UTF-8 are replaced.
std::string textOf(Json const& line);

/// The bytes of a path as text for a line, each path another: UTF-8 as it is, any other byte as U+FFFD with its two hexadecimal
/// digits behind it, and so are the bytes of U+FFFD itself.
std::string textOfPath(std::string const& path);

/// The lines of JSON in the folder of a batch, one a file. Whatever ends the process, all lines but the last are whole, and a
/// torn last one is passed over. Whatever ends the machine, this holds of the lines before the last sync.
class BatchResults {
public:
    explicit BatchResults(std::string const& folder);
    ~BatchResults();
    BatchResults(BatchResults const&) = delete;
    BatchResults& operator=(BatchResults const&) = delete;

    /// Opens a file for the lines of this run, and for it alone. Throws Failure with code 4.
    void open(std::string const& path);

    /// Reads what earlier runs and other shards left: all files results*.jsonl.
    void read();

    /// Adds a line, which stands in the file when this returns. Throws Failure with code 4.
    void append(Json const& line);

    /// Waits until all lines are on the disk. Throws Failure with code 4.
    void sync();

    /// The last settled record of the same input, contents, task and its files, version and options; null when there is none. One
    /// with an output has to have the wanted one's, and nothing else may have been written to it later; whether it is still as
    /// it was written is for the caller to see.
    BatchRecord const* find(BatchRecord const& wanted) const;

private:
    void readLines(std::string const& path);

    std::string folder_;
    std::string path_;
    int descriptor_ = -1;
    bool isSynced_ = true;
    std::vector<BatchRecord> records_;  // by their ends
    std::map<std::string, std::vector<std::size_t>> ofInput_;
    std::map<std::string, std::size_t> lastOfOutput_;
};

/// What the files of a batch came to.
class BatchSummary {
public:
    /// isStale   it has no output of this task, but one from before lies in its place
    void add(BatchRecord const& record, bool isEarlier, bool isStale);
    /// 5 when a file failed, 1 when some have defects left, else 0.
    ExitCode code() const;
    Json toJson() const;
    std::string text() const;

private:
    std::map<std::string, int> counts_;  // by status
    int numFiles_ = 0;
    int numEarlier_ = 0;
    int numDefects_ = 0;
    int numFailed_ = 0;
    int numStale_ = 0;
    int numWarned_ = 0;
    BatchRecord slowest_;
    BatchRecord largest_;
};

}  // namespace app
