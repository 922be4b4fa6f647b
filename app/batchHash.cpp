#include "batchHash.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <xxhash.h>

namespace app {

namespace {

std::string whyUnreadable(int code) {
    return std::generic_category().message(code) + "; check the path and its permissions";
}

FileStamp stampOfStatus(struct stat const& status) {
    return {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino),
            static_cast<std::uint64_t>(status.st_size),
            std::int64_t(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec};
}

struct StateOfHash {
    XXH3_state_t* const state = XXH3_createState();
    StateOfHash() { XXH3_128bits_reset(state); }
    ~StateOfHash() { XXH3_freeState(state); }
    StateOfHash(StateOfHash const&) = delete;
    StateOfHash& operator=(StateOfHash const&) = delete;

    std::string digits() const {
        XXH128_canonical_t bytes;
        XXH128_canonicalFromHash(&bytes, XXH3_128bits_digest(state));
        std::string text;
        for (unsigned char const byte : bytes.digest) {
            char hex[3];
            std::snprintf(hex, sizeof hex, "%02x", byte);
            text += hex;
        }
        return text;
    }
};

/// Hashes to the end of the file, or until it is stopped.
void hashContents(int descriptor, std::atomic<bool> const& isStopped, FileHash& hash) {
    StateOfHash contents;
    std::vector<char> block(std::size_t(1) << 20);
    ssize_t got = 0;
    do {
        got = ::read(descriptor, block.data(), block.size());
        if (got > 0)
            XXH3_128bits_update(contents.state, block.data(), static_cast<std::size_t>(got));
    } while (!isStopped && (got > 0 || (got < 0 && errno == EINTR)));
    if (got == 0)
        hash.digits = contents.digits();
    else
        hash.fault = "cannot be read: " + whyUnreadable(got < 0 ? errno : ECANCELED);
}

FileHash hashOfFile(std::string const& path, std::uint64_t mostBytes,
                    std::atomic<bool> const& isStopped) {
    FileHash hash;
    if (path.find('\0') != std::string::npos) {
        hash.fault = "the path holds a byte 0; write one path a line";
        return hash;
    }
    // A pipe would be waited for; it is opened without, and refused.
    int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) {
        hash.fault = "cannot be opened: " + whyUnreadable(errno);
    } else if (!S_ISREG(status.st_mode)) {
        hash.fault = "is no plain file";
    } else {
        hash.stamp = stampOfStatus(status);
        hash.isTooLarge = mostBytes > 0 && hash.stamp.size > mostBytes;
        if (hash.isTooLarge)
            hash.fault = "is larger than the memory it may take; raise --max-memory";
        else
            hashContents(descriptor, isStopped, hash);
    }
    if (descriptor >= 0)
        ::close(descriptor);
    if (!hash.fault.empty())
        hash.fault = path + ": " + hash.fault;
    return hash;
}

}  // namespace

FileStamp stampOf(std::string const& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? stampOfStatus(status) : FileStamp();
}

Wakeup::Wakeup() {
    if (pipe2(ends_, O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "no pipe");
}

Wakeup::~Wakeup() {
    close(ends_[0]);
    close(ends_[1]);
}

void Wakeup::notify() const {
    [[maybe_unused]] ssize_t const put = write(ends_[1], "", 1);  // a full pipe wakes as well
}

void Wakeup::clear() const {
    char bytes[64];
    while (::read(ends_[0], bytes, sizeof bytes) > 0) {
    }
}

HashTask::HashTask(std::vector<std::string> paths, std::uint64_t mostBytes,
                   std::shared_ptr<Wakeup> wakeup)
    : state_(std::make_shared<State>()) {
    state_->paths = std::move(paths);
    state_->mostBytes = mostBytes;
    state_->wakeup = std::move(wakeup);
    thread_ = std::thread(&HashTask::work, state_);
}

HashTask::~HashTask() {
    state_->isStopped = true;
    if (state_->isDone)
        thread_.join();
    else
        thread_.detach();
}

void HashTask::work(std::shared_ptr<State> const& state) {
    for (std::string const& path : state->paths) {
        std::uint64_t const most = state->results.empty() ? state->mostBytes : 0;
        try {
            state->results.push_back(hashOfFile(path, most, state->isStopped));
        } catch (std::exception const& error) {
            state->results.emplace_back().fault = path + ": cannot be read: " + error.what();
        }
    }
    state->isDone = true;
    state->wakeup->notify();
}

}  // namespace app
