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
    std::string output;  ///< below the folder; empty when none was written
    std::string hash;    ///< of the input
    std::string task;
    std::string version;
    bool dropNonfinite = false;
    std::string status;
    double seconds = 0.0;
    std::uint64_t peakMemory = 0;
    double ended = 0.0;  ///< seconds since 1970

    bool isClean() const { return status == "done"; }
    bool hasOutput() const { return status == "done" || status == "defects"; }
    /// A further run of the same program on the same input would come to the same.
    bool isSettled() const { return hasOutput() || status == "refused" || status == "unreadable"; }
};

BatchRecord recordOf(Json const& line);

/// One line with its end; bytes that are no UTF-8 (of a path, say) are replaced.
std::string textOf(Json const& line);

/// The lines of JSON in the folder of a batch, one a file. Whatever ends the process, all lines but the last are whole, and a
/// torn last one is passed over.
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

    /// The last settled record of the same input, contents, task, version and options; null when there is none. One with an
    /// output has to have the wanted one's, still there, and nothing else may have been written to it later.
    BatchRecord const* find(BatchRecord const& wanted) const;

private:
    void readLines(std::string const& path);

    std::string folder_;
    std::string path_;
    int descriptor_ = -1;
    std::vector<BatchRecord> records_;  // by their ends
    std::map<std::string, std::vector<std::size_t>> ofInput_;
    std::map<std::string, std::size_t> lastOfOutput_;
};

/// What the files of a batch came to.
class BatchSummary {
public:
    void add(BatchRecord const& record, bool isEarlier);
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
    BatchRecord slowest_;
    BatchRecord largest_;
};

}  // namespace app
