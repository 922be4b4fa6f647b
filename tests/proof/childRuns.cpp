#include "childRuns.h"

#include "support/sanitizers.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace proof {

namespace {

constexpr bool isSanitized = support::hasAddressSanitizer || support::hasThreadSanitizer;

constexpr int codeOfBadAlloc = 3;
constexpr int codeOfException = 4;

using Clock = std::chrono::steady_clock;

struct Child {
    pid_t process;
    int pipe;  // read end
    std::size_t work;
    Clock::time_point start;
    std::string said;
    bool isKilled = false;
};

void setLimit(int resource, double value) {
    rlimit limit;
    limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(value);
    setrlimit(static_cast<__rlimit_resource>(resource), &limit);
}

void writeAll(int descriptor, std::string const& text) {
    for (std::size_t done = 0; done < text.size();) {
        ssize_t const count = write(descriptor, text.data() + done, text.size() - done);
        if (count <= 0)
            return;
        done += static_cast<std::size_t>(count);
    }
}

[[noreturn]] void runChild(ChildWork const& work, int pipe, Limits const& limits) {
    setLimit(RLIMIT_CORE, 0.0);
    setLimit(RLIMIT_CPU, limits.cpuSeconds * (isSanitized ? 10.0 : 1.0));
    if (!isSanitized)
        setLimit(RLIMIT_AS, limits.mebibytes * 1048576.0);
    // Some functions of the core print on the standard output, which is the parent's report.
    int const nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    int code = 0;
    try {
        work([pipe](std::string const& text) { writeAll(pipe, text); });
    } catch (std::bad_alloc const&) {
        code = codeOfBadAlloc;
    } catch (std::exception const& error) {
        writeAll(pipe, error.what());
        code = codeOfException;
    }
    _exit(code);
}

Child start(ChildWork const& work, std::size_t number, Limits const& limits) {
    int ends[2];
    std::fflush(nullptr);
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    pid_t const process = fork();
    if (process < 0)
        throw std::runtime_error("no process");
    if (process == 0) {
        close(ends[0]);
        runChild(work, ends[1], limits);
    }
    close(ends[1]);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    return {process, ends[0], number, Clock::now(), {}};
}

void readSaid(Child& child) {
    char buffer[4096];
    for (ssize_t count; (count = read(child.pipe, buffer, sizeof buffer)) > 0;)
        child.said.append(buffer, static_cast<std::size_t>(count));
}

ChildResult::End endOf(int status, bool isKilled) {
    using End = ChildResult::End;
    if (isKilled || (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU))
        return End::TooSlow;
    // The hard limit kills where the soft one was not noticed.
    if (WIFSIGNALED(status))
        return WTERMSIG(status) == SIGKILL ? End::TooSlow : End::Crashed;
    switch (WEXITSTATUS(status)) {
    case 0:
        return End::Done;
    case codeOfBadAlloc:
        return End::TooLarge;
    case codeOfException:
        return End::Threw;
    default:
        return End::Crashed;
    }
}

/// The result of a child that has ended; nothing while it runs.
std::optional<ChildResult> resultOf(Child& child, Limits const& limits) {
    readSaid(child);
    int status = 0;
    rusage usage = {};
    if (wait4(child.process, &status, WNOHANG, &usage) == 0) {
        std::chrono::duration<double> const passed = Clock::now() - child.start;
        if (!child.isKilled && passed.count() > 20.0 * limits.cpuSeconds) {
            child.isKilled = true;
            kill(child.process, SIGKILL);
        }
        return {};
    }
    readSaid(child);
    close(child.pipe);
    ChildResult result;
    result.end = endOf(status, child.isKilled);
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.said = child.said;
    auto const secondsOf = [](timeval const& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    result.seconds = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
    result.mebibytes = static_cast<double>(usage.ru_maxrss) / 1024.0;
    return result;
}

}  // namespace

void runInChildren(std::vector<ChildWork> const& works, int atATime, Limits const& limits,
                   std::function<void(std::size_t, ChildResult const&)> const& onEnd) {
    std::vector<Child> running;
    std::map<std::size_t, ChildResult> waiting;  // ended before an earlier one
    std::size_t next = 0, told = 0;
    while (told < works.size()) {
        while (next < works.size() && running.size() < static_cast<std::size_t>(atATime)) {
            running.push_back(start(works[next], next, limits));
            ++next;
        }
        bool hasEnded = false;
        for (std::size_t i = running.size(); i-- > 0;) {
            if (auto const result = resultOf(running[i], limits)) {
                waiting[running[i].work] = *result;
                running.erase(running.begin() + static_cast<std::ptrdiff_t>(i));
                hasEnded = true;
            }
        }
        for (auto at = waiting.find(told); at != waiting.end(); at = waiting.find(told)) {
            onEnd(told++, at->second);
            waiting.erase(at);
        }
        if (!hasEnded)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace proof
