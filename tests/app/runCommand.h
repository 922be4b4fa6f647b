#pragma once

#include "support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

/// Runs the `trimora` command as a person would, through the shell.
namespace commandTest {

namespace fs = std::filesystem;

/// A folder whose files are named as paths are: folder / "name".
struct TemporaryFolder : support::TemporaryFolder {
    std::string operator/(std::string const& name) const { return path(name); }
};

inline std::string contentOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

inline void writeFile(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary) << text;
}

struct Run {
    int code = -1;
    std::string out;
    std::string err;

    nlohmann::json json() const { return nlohmann::json::parse(out); }
    /// A failure is told in exactly one line.
    bool failedWith(int expected) const {
        return code == expected && err.rfind("trimora: ", 0) == 0 &&
               err.find('\n') == err.size() - 1 && out.empty();
    }
};

/// `arguments` as typed after "trimora"; `before` goes ahead of the command (a pipe, a limit).
inline Run run(std::string const& arguments, std::string const& before = {}) {
    TemporaryFolder folder;
    std::string const command = before + " " TRIMORA_COMMAND " " + arguments + " >" +
                                (folder / "out") + " 2>" + (folder / "err");
    int const status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128, contentOf(folder / "out"),
            contentOf(folder / "err")};
}

/// The command beside the test, reading a pipe that the test fills: it is at work until finishInput is called.
class Running {
public:
    /// `arguments` name the input as "-"; `before` goes ahead of the command.
    explicit Running(std::string const& arguments, std::string const& before = {}) {
        mkfifo((folder_ / "in").c_str(), 0600);
        pipe_ = open((folder_ / "in").c_str(), O_RDWR | O_CLOEXEC);
        std::string const command = before + "exec " TRIMORA_COMMAND " " + arguments + " <" +
                                    (folder_ / "in") + " >" + (folder_ / "out") + " 2>" +
                                    (folder_ / "err");
        process_ = fork();
        if (process_ == 0) {
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
    }
    ~Running() {
        finishInput();
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    Running(Running const&) = delete;
    Running& operator=(Running const&) = delete;

    /// Waits until standard error holds the text; false after half a minute.
    bool says(std::string const& text) const {
        for (int i = 0; i < 600; ++i) {
            if (contentOf(folder_ / "err").find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }
    pid_t id() const { return process_; }
    void interrupt() const { kill(process_, SIGINT); }
    void signal(int number) const { kill(process_, number); }
    void write(std::string const& text) const {
        [[maybe_unused]] ssize_t const put = ::write(pipe_, text.data(), text.size());
    }
    void finishInput() {
        if (pipe_ >= 0)
            close(pipe_);
        pipe_ = -1;
    }
    Run wait() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = -1;
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128, contentOf(folder_ / "out"),
                contentOf(folder_ / "err")};
    }

private:
    TemporaryFolder folder_;
    int pipe_ = -1;
    pid_t process_ = -1;
};

}  // namespace commandTest
