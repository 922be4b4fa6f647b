// fork and exec by hand, since a spawn has no way to set the limits of the child and the signal that it gets when its parent
// dies. Between the two only calls are made that are safe when other threads hold locks.

#include "childProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace app {

namespace {

// The address and thread sanitizers map terabytes of shadow, which a limit would forbid.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool mapsShadow = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool mapsShadow = true;
#else
constexpr bool mapsShadow = false;
#endif
#else
constexpr bool mapsShadow = false;
#endif

constexpr char thisProgram[] = "/proc/self/exe";

struct Pipe {
    int readEnd = -1;
    int writeEnd = -1;

    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::system_error(errno, std::generic_category(), "no pipe to a child");
        readEnd = ends[0];
        writeEnd = ends[1];
        fcntl(readEnd, F_SETFL, O_NONBLOCK);
    }
    ~Pipe() {
        if (readEnd >= 0)
            close(readEnd);
        if (writeEnd >= 0)
            close(writeEnd);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;

    int takeReadEnd() {
        int const end = readEnd;
        readEnd = -1;
        return end;
    }
};

void setLimit(__rlimit_resource resource, rlim_t most) {
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = std::min(most, limit.rlim_max);
    setrlimit(resource, &limit);
}

void restoreSignals() {
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ})
        ::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// In the child, from fork to exec.
[[noreturn]] void becomeProgram(char* const* arguments, int out, int err, pid_t parent,
                                std::uint64_t addressSpace) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    restoreSignals();
    int const nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    bool const isReady = getppid() == parent && nothing >= 0 && dup2(nothing, STDIN_FILENO) >= 0 &&
                         dup2(out, STDOUT_FILENO) >= 0 && dup2(err, STDERR_FILENO) >= 0;
    if (isReady) {
        setLimit(RLIMIT_CORE, 0);
        if (addressSpace > 0 && !mapsShadow)
            setLimit(RLIMIT_AS, addressSpace);
        execv(thisProgram, arguments);
        constexpr char line[] = "trimora: the program could not be started once more\n";
        [[maybe_unused]] ssize_t const put = write(STDERR_FILENO, line, sizeof line - 1);
    }
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> const& arguments, std::uint64_t addressSpace)
    : start_(std::chrono::steady_clock::now()) {
    std::vector<std::string> words = {"trimora"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    Pipe out;
    Pipe err;
    pid_t const self = getpid();
    process_ = fork();
    if (process_ == 0)
        becomeProgram(pointers.data(), out.writeEnd, err.writeEnd, self, addressSpace);
    if (process_ < 0)
        throw std::system_error(errno, std::generic_category(), "no further process");
    setpgid(process_, process_);  // as the child does: whoever comes first
    output_.descriptor = out.takeReadEnd();
    errors_.descriptor = err.takeReadEnd();
}

ChildProcess::~ChildProcess() {
    if (!isReaped_) {
        signalGroup(SIGKILL);
        reap(0);
    }
    closeStreams();
}

double ChildProcess::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void ChildProcess::wait(std::vector<ChildProcess*> const& children, int descriptor,
                        std::chrono::milliseconds most) {
    std::vector<pollfd> waited = {{descriptor, POLLIN, 0}};
    bool isEnding = false;  // said all it has to say, but is still there
    for (ChildProcess const* const child : children) {
        for (Stream const* const stream : {&child->output_, &child->errors_})
            if (stream->descriptor >= 0)
                waited.push_back({stream->descriptor, POLLIN, 0});
        isEnding |= child->output_.descriptor < 0 && child->errors_.descriptor < 0;
    }
    int const milliseconds = isEnding ? 1 : static_cast<int>(most.count());
    poll(waited.data(), waited.size(), milliseconds);
}

bool ChildProcess::hasEnded() {
    if (isReaped_)
        return true;
    reap(WNOHANG);
    drain(output_);  // once it has ended, all that it wrote is there
    limitOutput();
    drain(errors_);
    limitErrors();
    if (isReaped_)
        closeStreams();
    return isReaped_;
}

void ChildProcess::signalGroup(int signal) const {
    if (!isReaped_)
        kill(-process_, signal);
}

/// Takes all that is there; closes the stream at its end.
void ChildProcess::drain(Stream& stream) {
    char buffer[1 << 16];
    while (stream.descriptor >= 0) {
        ssize_t const got = read(stream.descriptor, buffer, sizeof buffer);
        if (got > 0) {
            stream.text.append(buffer, static_cast<std::size_t>(got));
            if (stream.text.size() > mostOutput)
                return;  // the limits are applied before more is taken
        } else if (got < 0 && errno == EINTR) {
            continue;
        } else if (got < 0 && errno == EAGAIN) {
            return;
        } else {
            close(stream.descriptor);
            stream.descriptor = -1;
        }
    }
}

void ChildProcess::limitOutput() {
    output_.isCut |= output_.text.size() > mostOutput;
    if (output_.isCut)
        std::string().swap(output_.text);
}

void ChildProcess::limitErrors() {
    if (errors_.text.size() > mostErrors)
        errors_.text.erase(0, errors_.text.size() - mostErrors);
}

void ChildProcess::reap(int waitOptions) {
    int status = 0;
    rusage usage = {};
    pid_t ended = -1;
    do {
        ended = wait4(process_, &status, waitOptions, &usage);
    } while (ended < 0 && errno == EINTR);
    if (ended == 0)
        return;
    isReaped_ = true;
    ending_.seconds = seconds();
    ending_.peakBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    if (ended == process_ && WIFEXITED(status))
        ending_.exitCode = WEXITSTATUS(status);
    else if (ended == process_ && WIFSIGNALED(status))
        ending_.signal = WTERMSIG(status);
}

void ChildProcess::closeStreams() {
    for (Stream* const stream : {&output_, &errors_}) {
        if (stream->descriptor >= 0)
            close(stream->descriptor);
        stream->descriptor = -1;
    }
}

}  // namespace app
