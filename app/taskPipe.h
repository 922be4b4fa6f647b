#pragma once

#include "Session.h"
#include "handOver.h"
#include "reports.h"

#include <functional>
#include <string>
#include <vector>

namespace app {

/// One command of a task, with its options.
struct TaskStage {
    std::size_t number;              ///< from 1
    std::vector<std::string> words;  ///< the command's name, then its options
    bool changesMesh = false;        ///< else it only reports
    std::function<ExitCode(Session&)> work = {};

    std::string const& command() const { return words.front(); }
    /// As messages call it, "stage 2 (fill)".
    std::string name() const;
};

struct StageResult {
    ExitCode code;
    std::string printed;  ///< what the command by itself would put on standard output
};

/// A task such as "repair | fill --quality fair | reduce --tolerance 0.1%": subcommands of the form CMD IN OUT [options] without
/// the two names, one behind the other, the mesh handed on in memory. Commands that only report stand in it as well.
///
/// Words are parted, quoted and escaped as a shell does it, and '|' parts stages; nothing else is special.
class TaskPipe {
public:
    /// Throws Failure with code 2 that names the stage for what is no such task.
    ///
    /// input, output   of the whole pipe; stages name them in what they say
    TaskPipe(std::string const& task, std::string const& input, std::string const& output);

    /// The task with single blanks and only the quotes it needs: equal for tasks that differ in nothing else.
    std::string const& text() const { return text_; }
    std::vector<TaskStage> const& stages() const { return stages_; }
    /// The files that stages read beside their mesh (a selection, a curve), as the options have them; '-' is standard input.
    std::vector<std::string> const& files() const { return files_; }
    /// The options of a stage, as in text().
    static std::string optionsInWords(TaskStage const& stage);

    /// Throws Failure, naming the stage, for everything that a stage refuses before it reads its mesh.
    void requireSound(Session& session) const;

    /// Throws the Failure of the first stage that refuses, naming it; with --json the object for standard output tells the stages
    /// before.
    std::vector<StageResult> run(Session& session, CarriedMesh& mesh) const;

    /// 1 when a stage left defects that it was to mend, or when one that reports found some in what is written, behind the last
    /// change; else 0. What was reported of a mesh that was changed later does not count.
    ExitCode codeOf(std::vector<StageResult> const& results) const;

    /// The object of each stage: "command", "options" and "exitCode", then what the command tells.
    Json toJson(std::vector<StageResult> const& results) const;

private:
    void parseStage(TaskStage& stage);
    StageResult runStage(Session& session, TaskStage const& stage, CarriedMesh& mesh) const;
    bool isLastChange(TaskStage const& stage) const;
    std::string refusalJson(Failure const& failure, std::vector<StageResult> const& results) const;

    std::string input_;
    std::string output_;
    std::string text_;
    std::vector<std::string> files_;
    std::vector<TaskStage> stages_;
};

}  // namespace app
