#pragma once

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace app {

/// How the process ends; told in the manual, so scripts rely on the numbers.
enum ExitCode {
    Done = 0,
    DefectsFound = 1,
    UsageError = 2,
    CannotRead = 3,
    CannotWrite = 4,
    Refused = 5,
    Cancelled = 6,
};

/// A failure that ends the command: one line for standard error, and the exit code.
struct Failure {
    ExitCode code;
    std::string message;  ///< begins with the file, if it is about one
    /// Of a refusal, for the object that --json puts on standard output.
    std::string file = {};
    std::optional<std::array<double, 3>> problemPoint = {};
    /// An object to put there in its place, where a command has more to tell than that.
    std::string json = {};

    /// What the code does not tell, for those who judge by it.
    enum class Cause { OfCode, Memory, Unexpected };
    Cause cause = Cause::OfCode;
};

/// Of an allocation that failed; said of the command as a whole, or of a stage of a pipe.
constexpr char outOfMemoryWords[] =
    "out of memory; use a smaller mesh or a machine with more memory";

constexpr char timedOutWords[] = "timed out; nothing was written; allow more with --timeout";

struct CommonOptions {
    bool json = false;
    bool quiet = false;
    bool debug = false;
    bool dropNonfinite = false;
    int threads = 0;       ///< 0: all cores that the process may use, bounded by OMP_NUM_THREADS
    double timeout = 0.0;  ///< seconds; 0: none
    std::string progress = "auto";  ///< auto, always, never
    std::string
        maxMemory;  ///< bytes with an optional K, M, G; empty: three quarters of the machine's
};

/// One run of a subcommand: the thread pool, the progress bar, Ctrl-C, the deadline and the memory limit. There is
/// one at a time, made by main.
class Session {
public:
    explicit Session(CommonOptions const& options);
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    CommonOptions const& options() const { return options_; }
    koUtil::Progress& progress() { return progress_; }

    /// Names the phase that the bar shows, and says whether its code polls the progress. Cancelling a phase that does not poll ends
    /// the process at once with code 6.
    void beginPhase(char const* caption, bool pollsProgress);

    /// From now on a cancel is left to the run, however long that takes: it has work of others to end. A second Ctrl-C ends the
    /// process all the same.
    void endsByItself() { endsByItself_ = true; }

    /// Throws Failure with code 6 once the run was cancelled or its time was up; call between phases.
    void throwIfCancelled() const;

    bool hasTimedOut() const { return timedOut_ || isOverdue(); }

    /// What was taken off the coordinates of the first mesh of the run; the others get the same, and what is written has it again. 0
    /// before there is one.
    std::array<double, 3> shift() const { return shift_.value_or(std::array<double, 3>{}); }
    bool hasShift() const { return shift_.has_value(); }
    void keepShift(std::array<double, 3> const& shift) { shift_ = shift; }

    std::uint64_t maxBytes() const { return static_cast<std::uint64_t>(maxBytes_); }

    /// Throws Failure with code 5 when `bytes` pass the limit; `what` names the work on the file where it is not all.
    void requireMemory(double bytes, std::string const& file, std::string const& what = {}) const;

    /// Ends the process at once with code 6, which the message explains: on standard error, and with --json as an object on
    /// standard output. From any thread.
    [[noreturn]] void endCancelled(std::string const& message);

    /// Prints text to standard error, above the bar where there is one. From any thread.
    void tell(std::string const& text);

    /// Takes the bar off the terminal, so that a report can be printed.
    void finish();

private:
    bool isOverdue() const;
    void watch();
    void endIfOverdue();
    std::string barText();
    void drawBar();

    CommonOptions options_;
    double maxBytes_;
    std::optional<std::array<double, 3>> shift_;
    bool showBar_;
    std::unique_ptr<koUtil::ThreadPool> pool_;
    koUtil::Progress progress_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point cancelledAt_;
    std::atomic<bool> pollsProgress_ = false;
    std::atomic<bool> endsByItself_ = false;
    std::atomic<bool> finished_ = false;
    std::atomic<bool> timedOut_ = false;
    std::atomic<double> fraction_ = 0.0;
    std::atomic<double> phaseStart_ = 0.0;  // seconds after start_
    bool cancelSent_ = false;
    bool isLineOpen_ = false;  // what was told last did not end its line: no bar until it does
    std::mutex terminalMutex_;
    std::mutex captionMutex_;
    std::string phase_;
    std::string caption_;  // the library's own, within the phase; often empty
    std::thread watcher_;  // last: it reads all the others
};

}  // namespace app
