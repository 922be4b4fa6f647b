// A task in words becomes stages, each parsed by the command's own parser; a stage runs with its mesh taken from and left in
// memory (HandOver), under one session.

#include "taskPipe.h"

#include "commands.h"

#include <algorithm>
#include <cctype>
#include <new>
#include <string_view>

namespace app {

namespace {

struct Command {
    char const* name;
    bool changesMesh;
};

constexpr Command commandsOfPipes[] = {{"repair", true},    {"fill", true},    {"reduce", true},
                                       {"weld", true},      {"stitch", true},  {"smooth", true},
                                       {"offset", true},    {"cut", true},     {"extrude", true},
                                       {"subdivide", true}, {"flatten", true}, {"strips", true},
                                       {"convert", true},   {"check", false},  {"info", false},
                                       {"measure", false},  {"verify", false}, {"doctor", false}};

/// Options of these commands that mean something else in a pipe, or nothing.
struct ForeignOption {
    char const* name;
    char const* why;
};

constexpr char ofTheRun[] = "is of the whole run, not of a stage; give it behind --task";
constexpr char namesFile[] = "is about a further mesh or output; run the command by itself for it";
constexpr char handsNothingOn[] = "hands no mesh on; run the command by itself for it";

constexpr char readsFile[] = "is about reading a file; a stage reads none";

constexpr ForeignOption foreignOptions[] = {
    {"--json", ofTheRun},
    {"--threads", ofTheRun},
    {"--quiet", ofTheRun},
    {"--progress", ofTheRun},
    {"--timeout", ofTheRun},
    {"--max-memory", ofTheRun},
    {"--debug", ofTheRun},
    {"--picture", namesFile},
    {"--html", namesFile},
    {"--repaired", namesFile},
    {"--split", namesFile},
    {"--dry-run", handsNothingOn},
    {"--list", handsNothingOn},
    {"--format-in", readsFile},
    {"--drop-nonfinite", ofTheRun},
    {"--weld", "is about reading files; a stage 'weld' does it"},
    {"--keep-partial", "keeps what is done by itself; a pipe writes all or nothing"}};

/// Options that name a further file to read, and the word that names none.
struct FileOption {
    char const* name;
    char const* notAFile;
};

constexpr FileOption fileOptions[] = {{"--selection", "all"}, {"--curve", ""}};

[[noreturn]] void refuseTask(std::string const& what) {
    throw Failure{UsageError, "--task: " + what + "; 'trimora run --help' explains tasks"};
}

/// Cuts a task into the words of its stages.
class TaskReader {
public:
    explicit TaskReader(std::string const& task) : task_(task) {}

    std::vector<std::vector<std::string>> read() {
        while (next_ < task_.size()) {
            char const c = task_[next_++];
            if (c == '|')
                endStage();
            else if (std::isspace(static_cast<unsigned char>(c)) != 0)
                endWord();
            else
                addToWord(c);
        }
        endStage();
        return std::move(stages_);
    }

private:
    void addToWord(char c) {
        isInWord_ = isInWord_ || c != '\\';
        if (c == '\'')
            addQuoted();
        else if (c == '"')
            addDoublyQuoted();
        else if (c == '\\')
            addEscaped();
        else
            word_ += c;
    }
    char take(char const* where) {
        if (next_ == task_.size())
            refuseTask(std::string("ends ") + where);
        return task_[next_++];
    }
    void addQuoted() {
        for (char c = take("within '...'"); c != '\''; c = take("within '...'"))
            word_ += c;
    }
    void addDoublyQuoted() {
        constexpr char where[] = "within \"...\"";
        for (char c = take(where); c != '"'; c = take(where)) {
            bool const escapes =
                c == '\\' && next_ < task_.size() &&
                std::string_view("\"\\$`\n").find(task_[next_]) != std::string_view::npos;
            if (escapes)
                addEscaped();
            else
                word_ += c;
        }
    }
    void addEscaped() {
        char const c = take("with a backslash");
        if (c == '\n')
            return;  // the line goes on, and begins no word
        word_ += c;
        isInWord_ = true;
    }
    void endWord() {
        if (isInWord_)
            words_.push_back(std::move(word_));
        word_.clear();
        isInWord_ = false;
    }
    void endStage() {
        endWord();
        if (words_.empty())
            refuseTask("stage " + std::to_string(stages_.size() + 1) + " names no command");
        stages_.push_back(std::move(words_));
        words_.clear();
    }

    std::string const& task_;
    std::size_t next_ = 0;
    std::string word_;
    bool isInWord_ = false;  // an empty one in quotes is a word too
    std::vector<std::string> words_;
    std::vector<std::vector<std::string>> stages_;
};

std::string quotedWord(std::string const& word) {
    bool const isPlain =
        !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 ||
                   std::string_view("_./:,=+%@-").find(char(c)) != std::string_view::npos;
        });
    if (isPlain)
        return word;
    std::string quoted = "'";
    for (char const c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// A name that the parser of options does not take for one.
std::string asPositional(std::string const& path) {
    return path.size() > 1 && path[0] == '-' ? "./" + path : path;
}

Command const& commandOf(TaskStage const& stage) {
    std::string names;
    for (Command const& command : commandsOfPipes) {
        if (stage.command() == command.name)
            return command;
        names += (names.empty() ? "" : ", ") + std::string(command.name);
    }
    throw Failure{UsageError, "stage " + std::to_string(stage.number) + ": '" + stage.command() +
                                  "' is no command for a pipe; those are " + names};
}

void refuseForeignOptions(CLI::App& command, TaskStage const& stage) {
    for (ForeignOption const& foreign : foreignOptions) {
        CLI::Option const* const option = command.get_option_no_throw(foreign.name);
        if (option != nullptr && option->count() > 0)
            throw Failure{UsageError, stage.name() + ": " + foreign.name + " " + foreign.why};
    }
}

std::vector<std::string> filesNamedIn(CLI::App& command) {
    std::vector<std::string> files;
    for (FileOption const& file : fileOptions) {
        CLI::Option const* const option = command.get_option_no_throw(file.name);
        if (option != nullptr)
            for (std::string const& path : option->results())
                if (path != file.notAFile)
                    files.push_back(path);
    }
    return files;
}

Failure namingStage(Failure failure, TaskStage const& stage) {
    std::string const start = failure.file.empty() ? std::string() : failure.file + ": ";
    std::size_t const place = failure.message.rfind(start, 0) == 0 ? start.size() : 0;
    failure.message.insert(place, stage.name() + ": ");
    return failure;
}

/// The work of a stage with its failures named.
ExitCode doWork(Session& session, TaskStage const& stage) {
    try {
        return stage.work(session);
    } catch (Failure const& failure) {
        throw namingStage(failure, stage);
    } catch (std::bad_alloc const&) {
        throw namingStage({Refused, outOfMemoryWords, {}, {}, {}, Failure::Cause::Memory}, stage);
    } catch (std::exception const& error) {
        throw namingStage({Refused,
                           std::string("unexpected failure: ") + error.what(),
                           {},
                           {},
                           {},
                           Failure::Cause::Unexpected},
                          stage);
    }
}

}  // namespace

std::string TaskStage::name() const {
    return "stage " + std::to_string(number) + " (" + command() + ")";
}

TaskPipe::TaskPipe(std::string const& task, std::string const& input, std::string const& output)
    : input_(input), output_(output) {
    for (std::vector<std::string>& words : TaskReader(task).read()) {
        TaskStage stage{stages_.size() + 1, std::move(words)};
        parseStage(stage);
        std::string const options = optionsInWords(stage);
        text_ +=
            (text_.empty() ? "" : " | ") + stage.command() + (options.empty() ? "" : " " + options);
        stages_.push_back(std::move(stage));
    }
}

std::string TaskPipe::optionsInWords(TaskStage const& stage) {
    std::string text;
    for (std::size_t i = 1; i < stage.words.size(); ++i)
        text += (i > 1 ? " " : "") + quotedWord(stage.words[i]);
    return text;
}

void TaskPipe::parseStage(TaskStage& stage) {
    stage.changesMesh = commandOf(stage).changesMesh;
    CLI::App app("", "trimora");
    app.require_subcommand(1);
    Invocation invocation;
    addCommands(app, invocation);
    std::vector<std::string> words = {stage.command(), asPositional(input_)};
    if (stage.changesMesh)
        words.push_back(asPositional(output_));
    words.insert(words.end(), stage.words.begin() + 1, stage.words.end());
    try {
        parseWords(app, std::move(words));
        refuseForeignOptions(*app.get_subcommands().front(), stage);
        for (std::string& path : filesNamedIn(*app.get_subcommands().front()))
            files_.push_back(std::move(path));
    } catch (CLI::ParseError const&) {  // help, or the version
        throw Failure{UsageError, stage.name() + ": a stage shows no help; see 'trimora " +
                                      stage.command() + " --help'"};
    } catch (Failure const& failure) {
        bool const isNamed = failure.message.rfind(stage.name(), 0) == 0;
        throw isNamed ? failure : namingStage(failure, stage);
    }
    stage.work = std::move(invocation.work);
}

void TaskPipe::requireSound(Session& session) const {
    for (TaskStage const& stage : stages_) {
        CarriedMesh none;
        HandOver const handOver(none, HandOver::Purpose::Probe, nameOfOutput(output_));
        try {
            doWork(session, stage);
        } catch (HandOver::Probed const&) {
            continue;
        }
        throw namingStage({UsageError, std::string("with these options it ") + handsNothingOn},
                          stage);
    }
}

std::vector<StageResult> TaskPipe::run(Session& session, CarriedMesh& mesh) const {
    std::vector<StageResult> results;
    for (TaskStage const& stage : stages_) {
        try {
            results.push_back(runStage(session, stage, mesh));
        } catch (Failure& failure) {
            if (session.options().json && failure.code == Refused)
                failure.json = refusalJson(failure, results);
            throw;
        }
    }
    return results;
}

StageResult TaskPipe::runStage(Session& session, TaskStage const& stage, CarriedMesh& mesh) const {
    using Purpose = HandOver::Purpose;
    HandOver const handOver(mesh, stage.changesMesh ? Purpose::Change : Purpose::Report,
                            isLastChange(stage) ? nameOfOutput(output_) : "the next stage");
    ExitCode const code = doWork(session, stage);
    if (stage.changesMesh && !handOver.wasLeft())
        throw namingStage({UsageError, std::string("with these options it ") + handsNothingOn},
                          stage);
    return {code, handOver.printed()};
}

bool TaskPipe::isLastChange(TaskStage const& stage) const {
    return stage.changesMesh &&
           std::none_of(stages_.begin() + static_cast<std::ptrdiff_t>(stage.number), stages_.end(),
                        [](TaskStage const& later) { return later.changesMesh; });
}

ExitCode TaskPipe::codeOf(std::vector<StageResult> const& results) const {
    bool areDefectsLeft = false;
    bool isOfResult = true;  // going back, until a stage changes the mesh
    for (std::size_t i = results.size(); i-- > 0;) {
        areDefectsLeft |= results[i].code == DefectsFound && (isOfResult || stages_[i].changesMesh);
        isOfResult = isOfResult && !stages_[i].changesMesh;
    }
    return areDefectsLeft ? DefectsFound : Done;
}

Json TaskPipe::toJson(std::vector<StageResult> const& results) const {
    Json all = Json::array();
    for (std::size_t i = 0; i < results.size(); ++i) {
        TaskStage const& stage = stages_[i];
        Json json = {{"command", stage.command()},
                     {"options", optionsInWords(stage)},
                     {"exitCode", static_cast<int>(results[i].code)}};
        json.update(Json::parse(results[i].printed));
        if (stage.changesMesh && !isLastChange(stage))
            json["output"] = nullptr;
        all.push_back(std::move(json));
    }
    return all;
}

std::string TaskPipe::refusalJson(Failure const& failure,
                                  std::vector<StageResult> const& results) const {
    TaskStage const& stage = stages_[results.size()];
    std::string const start =
        (failure.file.empty() ? "" : failure.file + ": ") + stage.name() + ": ";
    bool const hasStart = failure.message.rfind(start, 0) == 0;
    return toText(
        {{"file", failure.file.empty() ? input_ : failure.file},
         {"task", text_},
         {"stage", stage.number},
         {"command", stage.command()},
         {"refusal", hasStart ? failure.message.substr(start.size()) : failure.message},
         {"problemPoint", failure.problemPoint ? Json(*failure.problemPoint) : Json(nullptr)},
         {"stages", toJson(results)}});
}

}  // namespace app
