#include "batchEnding.h"

#include "Session.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fstream>
#include <utility>

namespace app {

namespace {

constexpr int couldNotStart = 127;  // of the program itself, as a shell has it

constexpr char startOfWarning[] = "trimora: warning: ";

std::string textAt(Json const& object, char const* key) {
    auto const found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::string statusOfReason(std::string const& reason) {
    constexpr std::pair<char const*, char const*> statuses[] = {
        {"usage", "refused"},  // an option that does not fit this mesh
        {"refused", "refused"},   {"input", "unreadable"}, {"taskFile", "noTaskFile"},
        {"output", "unwritten"},  {"time", "timedOut"},    {"cancelled", "cancelled"},
        {"memory", "outOfMemory"}};
    for (auto const& [name, status] : statuses)
        if (reason == name)
            return status;
    return "crashed";
}

/// Of a process that the watcher of its session ended, at a point where nothing more could be said.
std::string statusOfCancel(std::string const& message) {
    return message == timedOutWords ? "timedOut" : "cancelled";
}

}  // namespace

EndOfChild endOf(ChildProcess const& child, bool isOverdue, std::uint64_t memoryKillsBefore) {
    EndOfChild end;
    end.ending = child.ending();
    end.isOverdue = isOverdue;
    end.wasShortOfMemory = numMemoryKills() > memoryKillsBefore;
    end.isReportCut = child.isOutputCut();
    if (end.isReportCut)
        return end;
    Json run = Json::parse(child.output(), nullptr, false);
    if (run.is_object())
        end.run = std::move(run);
    return end;
}

std::string statusOf(EndOfChild const& end) {
    bool const isSuccess =
        end.isReportCut || (end.run.contains("seconds") && !end.run.contains("reason"));
    if (isSuccess && end.ending.exitCode == Done)
        return "done";
    if (isSuccess && end.ending.exitCode == DefectsFound)
        return "defects";
    if (end.isOverdue)
        return "timedOut";
    if (end.ending.signal != 0)
        return end.ending.signal == SIGKILL && end.wasShortOfMemory ? "outOfMemory" : "crashed";
    if (end.ending.exitCode == couldNotStart)
        return "notStarted";
    if (std::string const reason = textAt(end.run, "reason"); !reason.empty())
        return statusOfReason(reason);
    if (end.ending.exitCode == Cancelled)
        return statusOfCancel(textAt(end.run, "cancelled"));
    return "crashed";
}

Json signalJson(ChildProcess::Ending const& ending) {
    if (ending.signal == 0)
        return nullptr;
    char const* const name = sigabbrev_np(ending.signal);
    return name != nullptr ? std::string("SIG") + name : std::to_string(ending.signal);
}

std::uint64_t numMemoryKills() {
    std::ifstream counters("/proc/vmstat");
    std::string name;
    for (std::uint64_t count = 0; counters >> name >> count;)
        if (name == "oom_kill")
            return count;
    return 0;
}

WordsOfChild wordsOf(std::string const& text) {
    constexpr std::size_t most = 10;
    WordsOfChild words;
    std::vector<std::string>& lines = words.lastLines;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = std::min(text.find('\n', begin), text.size());
        if (end > begin)
            lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    for (std::string const& line : lines)
        if (line.rfind(startOfWarning, 0) == 0) {
            ++words.numWarnings;
            words.lastWarning = line;
        }
    lines.erase(lines.begin(),
                lines.end() - static_cast<std::ptrdiff_t>(std::min(most, lines.size())));
    return words;
}

}  // namespace app
