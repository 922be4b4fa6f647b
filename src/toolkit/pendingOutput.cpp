#include "toolkit/pendingOutput.h"

#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace trimora {

namespace {

enum State { None, Filling, Claimed, Discarded };

struct PendingPath {
    std::string const path;
    PendingPath* const next;
    std::atomic<bool> isTakenBack = false;
};

// Read by a signal handler: the list only grows while the state is Filling, and for good once somebody may have read it.
std::atomic<PendingPath*> pendingPaths = nullptr;
std::atomic<int> state = None;
std::atomic<bool> isListRead = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<PendingPath*>::is_always_lock_free);

std::atomic<bool> areSynced = false;

std::string machineName() {
    char name[HOST_NAME_MAX + 1] = {};
    gethostname(name, sizeof name - 1);
    constexpr std::size_t most = 32;  // file names end at 255 bytes
    std::string plain;
    for (char const* c = name; *c != '\0' && plain.size() < most; ++c)
        plain += std::isalnum(static_cast<unsigned char>(*c)) != 0 ? *c : '_';
    struct stat processes = {};  // of whose numbers this one is; 0 where the system does not tell
    stat("/proc/self/ns/pid", &processes);
    return plain + "_" + std::to_string(processes.st_ino);
}

std::string startOfStems() {
    return ".trimora-" + machineName() + "-";
}

std::uint64_t randomNumber() {
    std::uint64_t number = 0;
    if (getrandom(&number, sizeof number, GRND_NONBLOCK) != ssize_t(sizeof number))
        number =
            static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    return number;
}

std::string& stemOfProcess() {
    static std::string stem = newPassingStem();
    return stem;
}

}  // namespace

std::string newPassingStem() {
    char numbers[48];
    std::snprintf(numbers, sizeof numbers, "%ld-%016llx-", static_cast<long>(getpid()),
                  static_cast<unsigned long long>(randomNumber()));
    return startOfStems() + numbers;
}

bool isLeftOver(std::string const& fileName) {
    std::string const start = startOfStems();
    if (fileName.rfind(start, 0) != 0)
        return false;
    char* end = nullptr;
    long const process = std::strtol(fileName.c_str() + start.size(), &end, 10);
    bool const isProcess = *end == '-' && process > 0 && process <= INT_MAX;
    return isProcess && kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
}

std::string passingStem() {
    return stemOfProcess();
}

void usePassingStem(std::string const& stem) {
    stemOfProcess() = stem;
}

void setOutputsOnDisk(bool isWanted) {
    areSynced = isWanted;
}

bool areOutputsOnDisk() {
    return areSynced;
}

void takeBackPendingOutput() {
    if (PendingPath* const last = pendingPaths)
        last->isTakenBack = true;
}

void addPendingOutput(std::string const& path) {
    if (state == Claimed)
        forgetPendingOutputs();
    pendingPaths = new PendingPath{path, pendingPaths, false};
    int expected = None;  // what was discarded stays so: the process is ending
    state.compare_exchange_strong(expected, Filling);
}

void forgetPendingOutputs() {
    state = None;
    if (isListRead)
        return;
    PendingPath* path = pendingPaths.exchange(nullptr);
    while (path != nullptr) {
        PendingPath* const next = path->next;
        delete path;
        path = next;
    }
}

bool claimPendingOutputs() {
    int expected = Filling;
    state.compare_exchange_strong(expected, Claimed);
    return expected != Discarded;
}

bool discardPendingOutputs() {
    isListRead = true;
    int expected = Filling;
    if (state.compare_exchange_strong(expected, Discarded)) {
        for (PendingPath const* path = pendingPaths; path != nullptr; path = path->next)
            if (!path->isTakenBack)
                unlink(path->path.c_str());
    }
    return expected != Claimed;
}

}  // namespace trimora
