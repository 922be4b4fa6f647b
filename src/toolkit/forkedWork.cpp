// Work in a process of its own: forked, its result read from a pipe, waited for in any case.

#include "toolkit/detail/forkedWork.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace trimora {

namespace {

constexpr int outOfMemoryCode = 2;  // what the copy exits with
constexpr char wholeMark = '\x06';  // the last byte of a result that is complete

/// Bytes of data that this process has; 0 when the system does not tell.
std::uint64_t dataSize() {
    std::uint64_t pages = 0;
    if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
        unsigned long long data = 0;
        if (std::fscanf(file, "%*u %*u %*u %*u %*u %llu", &data) == 1)
            pages = data;
        std::fclose(file);
    }
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

template <class Resource>
void limit(Resource resource, std::uint64_t most) {
    rlimit bounds{};
    if (::getrlimit(resource, &bounds) == 0 && most < bounds.rlim_max) {
        bounds.rlim_cur = most;
        ::setrlimit(resource, &bounds);
    }
}

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const put = ::write(descriptor, bytes.data(), bytes.size());
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

/// What the copy does, to its end. Signals are its parent's affair: here they just end it, without a core file. It ends with
/// its parent, whatever ends that.
[[noreturn]] void beChild(std::function<std::string()> const& work, ChildLimits const& limits,
                          std::uint64_t dataBefore, pid_t parent, int descriptor) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(1);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGSEGV, SIGBUS, SIGFPE, SIGILL,
                             SIGABRT, SIGXCPU, SIGALRM})
        std::signal(signal, SIG_DFL);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, static_cast<std::uint64_t>(limits.seconds));
    if (limits.maxMemory > 0 && dataBefore > 0)
        limit(RLIMIT_DATA, dataBefore + limits.maxMemory);
    try {
        std::string result = work();
        result += wholeMark;
        ::_exit(writeAll(descriptor, result) ? 0 : 1);
    } catch (std::bad_alloc const&) {
        ::_exit(outOfMemoryCode);
    } catch (std::length_error const&) {
        ::_exit(outOfMemoryCode);
    } catch (...) {
        ::_exit(1);
    }
}

/// Whether a limit is what ended the copy: one of its own, or that of the system, which kills what takes too much.
bool isPastLimit(int status) {
    return WIFSIGNALED(status) ? WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL
                               : WEXITSTATUS(status) == outOfMemoryCode;
}

/// False when the progress was cancelled before the other end was closed.
bool readAll(int descriptor, koUtil::Progress* progress, std::string& result) {
    std::array<char, 1u << 16> buffer{};
    for (;;) {
        if (progress != nullptr && progress->cancelled())
            return false;
        pollfd waiting{descriptor, POLLIN, 0};
        constexpr int milliseconds = 50;
        int const ready = ::poll(&waiting, 1, milliseconds);
        if (ready == 0 || (ready < 0 && errno == EINTR))
            continue;
        ssize_t const got = ::read(descriptor, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return true;
        result.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

/// Ends the copy, if need be, and waits for it, however the reading went.
class ChildGuard {
public:
    explicit ChildGuard(pid_t child) : child_(child) {}
    ~ChildGuard() {
        if (child_ < 0)
            return;
        ::kill(child_, SIGKILL);
        wait();
    }
    ChildGuard(ChildGuard const&) = delete;
    ChildGuard& operator=(ChildGuard const&) = delete;

    /// Until it ends by itself; its status.
    int wait() {
        int status = 0;
        while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
        }
        child_ = -1;
        return status;
    }

private:
    pid_t child_;
};

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { ::close(number_); }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

private:
    int const number_;
};

}  // namespace

ChildEnd runInChild(std::function<std::string()> const& work, ChildLimits const& limits,
                    koUtil::Progress* progress, std::string& result) {
    result.clear();
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return ChildEnd::NotStarted;
    std::uint64_t const dataBefore = dataSize();
    Descriptor const readEnd(ends[0]);
    pid_t const self = ::getpid();
    pid_t const child = ::fork();
    if (child == 0)
        beChild(work, limits, dataBefore, self, ends[1]);
    ::close(ends[1]);
    if (child < 0)
        return ChildEnd::NotStarted;

    ChildGuard guard(child);
    if (!readAll(ends[0], progress, result))
        return ChildEnd::Cancelled;
    int const status = guard.wait();
    if (result.empty() || result.back() != wholeMark)
        return isPastLimit(status) ? ChildEnd::PastLimit : ChildEnd::Broke;
    result.pop_back();
    return ChildEnd::Done;
}

}  // namespace trimora
