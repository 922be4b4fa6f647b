// What a batch tells of a file: its line in the results, and the words for who watches.

#include "batchRun.h"
#include "files.h"
#include "toolkit/meshCounts.h"

#include <chrono>
#include <cstdio>

namespace app {

namespace {

double secondsSince1970() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

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
    bool const isStale = !record.hasOutput() && isFileInPlaceOf(job);
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
            {"warnings", record.numWarnings},
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

}  // namespace app
