#pragma once

#include "support/TemporaryFolder.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <sys/wait.h>
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

}  // namespace commandTest
