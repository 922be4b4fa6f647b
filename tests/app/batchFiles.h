#pragma once

#include "app/editRun.h"
#include "app/runCommand.h"
#include "toolkit/sampleMeshes.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

/// What the tests of batches have in common.
namespace commandTest {

using Json = nlohmann::json;

inline std::vector<Json> linesOf(std::string const& text) {
    std::vector<Json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(Json::parse(line));
    return lines;
}

/// The last line of each input.
inline std::map<std::string, Json> resultsIn(std::string const& path) {
    std::map<std::string, Json> results;
    for (Json const& line : linesOf(contentOf(path)))
        results[line["input"]] = line;
    return results;
}

inline std::size_t numLines(std::string const& path) {
    std::string const text = contentOf(path);
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

/// Meshes small, middle and large in a folder of their own, and the list of their paths.
struct Files : TemporaryFolder {
    explicit Files(std::vector<std::string> const& names) {
        std::string list;
        for (std::string const& name : names) {
            fs::create_directories(fs::path(*this / name).parent_path());
            store(*this / name, trimora::makeScan(2, 1));
            list += name + "\n";
        }
        writeFile(*this / "list", list);
    }
    /// From within the folder, so that the paths of the list hold.
    Run batch(std::string const& arguments) const {
        return run("batch " + arguments, "cd " + path() + " &&");
    }
};

/// The processes that a process has begun.
inline std::vector<pid_t> childrenOf(pid_t parent) {
    std::vector<pid_t> children;
    for (fs::directory_entry const& entry : fs::directory_iterator("/proc")) {
        std::string const name = entry.path().filename().string();
        if (std::isdigit(static_cast<unsigned char>(name[0])) == 0)
            continue;
        std::string const status = contentOf(entry.path() / "stat");
        std::istringstream rest(status.substr(std::min(status.size(), status.rfind(')') + 1)));
        char state = 0;
        pid_t itsParent = 0;
        rest >> state >> itsParent;
        if (itsParent == parent && state != 'Z')
            children.push_back(std::stoi(name));
    }
    return children;
}

inline bool isGone(pid_t process) {
    std::string const status = contentOf("/proc/" + std::to_string(process) + "/stat");
    return status.empty() || status.find(") Z ") != std::string::npos;
}

inline bool comesTrue(std::function<bool()> const& condition) {
    for (int i = 0; i < 1200; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
}

}  // namespace commandTest
