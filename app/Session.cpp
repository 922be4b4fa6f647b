// One watcher thread serves the bar, the signal flag and the deadline. A phase that polls its progress is cancelled through it and
// given a grace; one that does not is ended with the process. Nothing is written before the work is done, so ending is safe.

#include "Session.h"

#include "handOver.h"
#include "reports.h"
#include "toolkit/pendingOutput.h"

#include "trimora/contract/koGeom/debugChannel.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto watchInterval = std::chrono::milliseconds(50);
constexpr auto grace =
    std::chrono::milliseconds(500);  // for a cancelled phase to reach its next poll

constexpr char eraseLine[] = "\r\033[K";
constexpr char cancelledWords[] = "cancelled; nothing was written";

// Read by the signal handler.
std::atomic<int> numInterrupts = 0;
std::atomic<bool> isBarDrawn = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void onInterrupt(int) {
    if (++numInterrupts < 2)
        return;
    trimora::discardPendingOutputs();
    constexpr char line[] = "trimora: interrupted twice; ended at once\n";
    [[maybe_unused]] ssize_t put = 0;
    if (isBarDrawn)
        put = write(STDERR_FILENO, eraseLine, sizeof eraseLine - 1);
    put = write(STDERR_FILENO, line, sizeof line - 1);
    _exit(Cancelled);
}

// A closed terminal ends the run as Ctrl-C does; under nohup it does not.
void installHangUpHandler(struct sigaction const& action) {
    struct sigaction former = {};
    if (sigaction(SIGHUP, nullptr, &former) == 0 && former.sa_handler != SIG_IGN)
        sigaction(SIGHUP, &action, nullptr);
}

void installHandlers() {
    struct sigaction action = {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    installHangUpHandler(action);
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is a failed write, told as such
    std::signal(SIGXFSZ, SIG_IGN);  // and so is a file beyond the limit of the process
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// What a container may use can be less than what the machine has.
double machineBytes() {
    double bytes =
        static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    double limit = 0.0;
    if (std::ifstream("/sys/fs/cgroup/memory.max") >> limit && limit > 0.0)
        bytes = std::min(bytes, limit);
    return bytes;
}

double parseBytes(std::string const& text) {
    char* end = nullptr;
    double value = std::strtod(text.c_str(), &end);
    std::string const unit(end);
    if (unit == "K" || unit == "k")
        value *= 1024.0;
    else if (unit == "M" || unit == "m")
        value *= 1024.0 * 1024.0;
    else if (unit == "G" || unit == "g")
        value *= 1024.0 * 1024.0 * 1024.0;
    else if (!unit.empty())
        value = 0.0;
    if (end == text.c_str() || !(value >= 1.0) || !std::isfinite(value))
        throw Failure{UsageError,
                      "--max-memory takes bytes with an optional K, M or G, not '" + text + "'"};
    constexpr double most = 0x1p62;  // more than any machine has, and still an integer
    return std::min(value, most);
}

int chooseThreads(int asked) {
    if (asked > 0)
        return asked;
    int const cores = koUtil::ThreadPool::get().numThreads;
    char const* const limit = std::getenv("OMP_NUM_THREADS");
    int const bound = limit != nullptr ? std::atoi(limit) : 0;
    return bound > 0 ? std::min(bound, cores) : cores;
}

bool choosesBar(CommonOptions const& options) {
    if (options.quiet || options.progress == "never")
        return false;
    return options.progress == "always" || isatty(STDERR_FILENO) != 0;
}

}  // namespace

Session::Session(CommonOptions const& options)
    : options_(options),
      maxBytes_(options.maxMemory.empty() ? 0.75 * machineBytes() : parseBytes(options.maxMemory)),
      showBar_(choosesBar(options)),
      pool_(new koUtil::ThreadPool(chooseThreads(options.threads))),
      start_(Clock::now()) {
    koUtil::ThreadPool::setShared(pool_.get());
    if (options_.debug)
        koGeom::debugChannel().setSink([this](char const* text) { tell(text); });
    progress_.setListener([this](double fraction, char const* caption) {
        fraction_ = fraction;
        std::lock_guard<std::mutex> const lock(captionMutex_);
        caption_ = caption;
    });
    numInterrupts = 0;
    installHandlers();
    watcher_ = std::thread(&Session::watch, this);
}

Session::~Session() {
    finish();
    progress_.setListener(nullptr);
    koGeom::debugChannel().setSink(nullptr);
    koUtil::ThreadPool::setShared(nullptr);
}

void Session::beginPhase(char const* caption, bool pollsProgress) {
    throwIfCancelled();
    // What an earlier phase has put in place does not hold up an end.
    trimora::forgetPendingOutputs();
    progress_.setCaption("");
    progress_.set(0.0);
    pollsProgress_ = pollsProgress;
    phaseStart_ = secondsSince(start_);
    std::lock_guard<std::mutex> const lock(captionMutex_);
    phase_ = caption;
}

void Session::throwIfCancelled() const {
    if (hasTimedOut())  // the watcher may not have come round since
        throw Failure{Cancelled, timedOutWords};
    if (progress_.cancelled())
        throw Failure{Cancelled, cancelledWords};
}

void Session::requireMemory(double bytes, std::string const& file, std::string const& what) const {
    if (bytes > maxBytes_)
        throw Failure{Refused,
                      file + ": " + (what.empty() ? "" : what + " ") + "needs about " +
                          trimora::bytesInWords(bytes) + " of memory and the limit is " +
                          trimora::bytesInWords(maxBytes_) + "; raise it with --max-memory",
                      file,
                      {},
                      {},
                      Failure::Cause::Memory};
}

void Session::tell(std::string const& text) {
    std::lock_guard<std::mutex> const lock(terminalMutex_);
    if (isBarDrawn.exchange(false))
        std::fputs(eraseLine, stderr);
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    if (!text.empty())
        isLineOpen_ = text.back() != '\n';
}

void Session::endCancelled(std::string const& message) {
    tell("trimora: " + message + "\n");
    if (options_.json) {
        std::fputs(toText(cancelJson(message)).c_str(), stdout);
        std::fflush(stdout);
    }
    _exit(Cancelled);
}

void Session::finish() {
    bool const isStageOfPipe = HandOver::current() != nullptr;  // it ends, the run goes on
    if (isStageOfPipe || finished_.exchange(true))
        return;
    watcher_.join();
    tell("");
}

bool Session::isOverdue() const {
    return options_.timeout > 0.0 && secondsSince(start_) > options_.timeout;
}

void Session::watch() {
    while (!finished_) {
        std::this_thread::sleep_for(watchInterval);
        endIfOverdue();
        if (showBar_)
            drawBar();
    }
}

void Session::endIfOverdue() {
    if (finished_ || (numInterrupts == 0 && !isOverdue()))
        return;
    if (!cancelSent_) {
        cancelSent_ = true;
        cancelledAt_ = Clock::now();
        timedOut_ = numInterrupts == 0;
        progress_.cancel();
    }
    if (endsByItself_ || (pollsProgress_ && Clock::now() - cancelledAt_ < grace))
        return;
    // An output in its place means that only the report is missing: the run may finish. A second Ctrl-C ends it.
    if (!trimora::discardPendingOutputs())
        return;
    endCancelled(timedOut_ ? timedOutWords : cancelledWords);
}

std::string Session::barText() {
    double const seconds = secondsSince(start_);
    std::string caption;
    {
        std::lock_guard<std::mutex> const lock(captionMutex_);
        caption = caption_.empty() ? phase_ : caption_;
    }
    char text[160];
    double const done = fraction_;
    if (pollsProgress_ && done > 0.01) {
        constexpr int width = 24;
        auto const filled = static_cast<std::size_t>(done * width);
        std::string const bar = std::string(filled, '#') + std::string(width - filled, '.');
        std::snprintf(text, sizeof text, "%-28.60s [%s] %3.0f%%  %.0f s left", caption.c_str(),
                      bar.c_str(), 100.0 * done,
                      std::ceil((seconds - phaseStart_) * (1.0 - done) / done));
    } else {
        std::snprintf(text, sizeof text, "%-28.60s %.0f s", caption.c_str(), seconds);
    }
    return text;
}

void Session::drawBar() {
    if (secondsSince(start_) < 0.5)
        return;  // short runs stay quiet
    std::string const text = eraseLine + barText();
    std::lock_guard<std::mutex> const lock(terminalMutex_);
    if (isLineOpen_)
        return;
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
    isBarDrawn = true;
}

}  // namespace app
