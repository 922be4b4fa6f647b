#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace app {

/// This program once more, as a process group of its own with nothing on its standard input. It ends with this process,
/// whatever ends that. One thread uses it.
class ChildProcess {
public:
    struct Ending {
        int exitCode = -1;  ///< -1: a signal ended it
        int signal = 0;     ///< 0: it ended by itself
        double seconds = 0.0;
        std::uint64_t peakBytes =
            0;  ///< of memory in use; at least what this process held when the child began
    };

    /// arguments      behind the program's name
    /// addressSpace   bytes that the child may map at most; 0: no limit of its own
    ///
    /// Throws std::system_error where the system has no room for a further process.
    ChildProcess(std::vector<std::string> const& arguments, std::uint64_t addressSpace);
    /// Kills the group, should it still be there.
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    pid_t id() const { return process_; }
    double seconds() const;

    /// Waits until one of the children has something to say or has ended, or the descriptor can be read; at most so long.
    static void wait(std::vector<ChildProcess*> const& children, int descriptor,
                     std::chrono::milliseconds most);

    /// Takes what the child has written meanwhile, and looks whether it has ended.
    bool hasEnded();
    Ending const& ending() const { return ending_; }

    void signalGroup(int signal) const;

    /// Standard output whole; of no use where it was cut.
    std::string const& output() const { return output_.text; }
    /// It passed mostOutput.
    bool isOutputCut() const { return output_.isCut; }
    /// The end of standard error.
    std::string const& errors() const { return errors_.text; }

    static constexpr std::size_t mostOutput = std::size_t(64) << 20;
    static constexpr std::size_t mostErrors = std::size_t(16) << 10;

private:
    struct Stream {
        int descriptor = -1;
        std::string text;
        bool isCut = false;
    };
    static void drain(Stream& stream);
    void limitErrors();
    void limitOutput();
    void reap(int waitOptions);
    void closeStreams();

    pid_t process_ = -1;
    bool isReaped_ = false;
    std::chrono::steady_clock::time_point start_;
    Stream output_;
    Stream errors_;
    Ending ending_;
};

}  // namespace app
