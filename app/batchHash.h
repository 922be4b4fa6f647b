#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace app {

/// Tells whether a path still has the file that was looked at: what replaces it or writes to it changes one of these.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::uint64_t size = 0;
    std::int64_t written = 0;  ///< nanoseconds since 1970

    bool operator==(FileStamp const&) const = default;
};

/// All zeros where there is nothing.
FileStamp stampOf(std::string const& path);

struct FileHash {
    /// 128 bits of the contents in 32 hexadecimal digits, as xxh128sum prints them (XXH3); empty with a fault.
    std::string digits;
    FileStamp stamp;
    std::string fault;        ///< why it cannot be read; it may be no plain file
    bool isTooLarge = false;  ///< for the number of bytes that was allowed; nothing was read then
};

/// Makes a poll return: its read end becomes readable.
class Wakeup {
public:
    /// Throws std::system_error where the system has no room for a pipe.
    Wakeup();
    ~Wakeup();
    Wakeup(Wakeup const&) = delete;
    Wakeup& operator=(Wakeup const&) = delete;

    int descriptor() const { return ends_[0]; }
    void notify() const;  ///< from any thread
    void clear() const;

private:
    int ends_[2];
};

/// Hashes files on a thread of its own, which gets no hold of the caller: one that hangs in a read (a network drive) is left
/// to itself when this object goes.
class HashTask {
public:
    /// paths       one after the other
    /// mostBytes   of the first; 0: any number
    /// wakeup      notified at the end
    ///
    /// Throws std::system_error where the system has no room for a further thread.
    HashTask(std::vector<std::string> paths, std::uint64_t mostBytes,
             std::shared_ptr<Wakeup> wakeup);
    ~HashTask();
    HashTask(HashTask const&) = delete;
    HashTask& operator=(HashTask const&) = delete;

    bool isDone() const { return state_->isDone; }
    /// As the paths; once it is done.
    std::vector<FileHash> const& results() const { return state_->results; }

private:
    struct State {
        std::vector<std::string> paths;
        std::uint64_t mostBytes = 0;
        std::shared_ptr<Wakeup> wakeup;
        std::vector<FileHash> results;
        std::atomic<bool> isStopped = false;
        std::atomic<bool> isDone = false;
    };
    static void work(std::shared_ptr<State> const& state);

    std::shared_ptr<State> state_;
    std::thread thread_;
};

}  // namespace app
