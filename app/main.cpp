// The `trimora` command: arguments in, one subcommand run in a session, an exit code out. Every failure is one line on
// standard error.

#include "commands.h"
#include "reports.h"

#include "trimora/version.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace app {

std::string faultOfAngle(std::string const& text) {
    double degrees = 0.0;
    bool const isNumber = CLI::detail::lexical_cast(text, degrees);
    return isNumber && degrees >= 0.0 && degrees <= 180.0
               ? std::string()
               : "takes 0 to 180 degrees, not '" + text + "'";
}

CLI::App* addSubcommand(CLI::App& app, Invocation& invocation, char const* name,
                        char const* description) {
    CLI::App* const command = app.add_subcommand(name, description);
    CommonOptions& common = invocation.common;
    command->add_flag("--json", common.json,
                      "one JSON object on standard output, nothing else there");
    command
        ->add_option("--threads", common.threads,
                     "threads to use (default: all cores of the process, at most OMP_NUM_THREADS)")
        ->check(CLI::Range(1, 1024));
    command->add_flag("--quiet", common.quiet,
                      "no report and no progress; failures are still told");
    command
        ->add_option("--progress", common.progress, "auto: on a terminal (default); always; never")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    command->add_option("--timeout", common.timeout, "seconds after which the run ends with code 6")
        ->check([](std::string const& text) {
            double seconds = 0.0;
            bool const isNumber = CLI::detail::lexical_cast(text, seconds);
            return isNumber && seconds > 0.0 ? std::string()
                                             : "takes seconds above 0, not '" + text + "'";
        });
    command->add_option(
        "--max-memory", common.maxMemory,
        "refuse above this many bytes, say 500M or 8G (default: 3/4 of the machine's)");
    command->add_flag("--drop-nonfinite", common.dropNonfinite,
                      "leave out faces at vertices with NaN or infinite coordinates");
    command->add_flag("--debug", common.debug, "the library's timed messages on standard error");
    return command;
}

void addCommands(CLI::App& app, Invocation& invocation) {
    addInfo(app, invocation);
    addCheck(app, invocation);
    addDoctor(app, invocation);
    addRepair(app, invocation);
    addWeld(app, invocation);
    addConvert(app, invocation);
    addCurvature(app, invocation);
    addMeasure(app, invocation);
    addDeviation(app, invocation);
    addCollar(app, invocation);
    addReduce(app, invocation);
    addCut(app, invocation);
    addSubdivide(app, invocation);
    addExtrude(app, invocation);
    addFill(app, invocation);
    addFlatten(app, invocation);
    addStitch(app, invocation);
    addMerge(app, invocation);
    addSplit(app, invocation);
    addStrips(app, invocation);
    addSmooth(app, invocation);
    addOffset(app, invocation);
    addSilhouette(app, invocation);
    addGenerate(app, invocation);
    addRender(app, invocation);
    addVerify(app, invocation);
    addRun(app, invocation);
    addBatch(app, invocation);
}

namespace {

/// The option that ends in '=', without what it is to hold: the next word would be taken for that.
std::string optionWithoutValue(std::vector<std::string> const& words) {
    for (std::string const& word : words) {
        if (word == "--")
            break;
        if (word.size() > 3 && word.rfind("--", 0) == 0 && word.find('=') == word.size() - 1)
            return word.substr(0, word.size() - 1);
    }
    return {};
}

// What is wrong with the options, and whose help tells more.
Failure faultOf(CLI::App const& app, CLI::ParseError const& error, std::string const& firstWord) {
    auto const chosen = app.get_subcommands();
    std::vector<std::string> const extra = app.remaining(true);
    bool const isWord = !firstWord.empty() && firstWord[0] != '-';
    if (isWord && chosen.empty())
        return {UsageError, "there is no command '" + firstWord + "'; 'trimora --help' lists them"};
    std::string what = error.what();
    if (dynamic_cast<CLI::ExtrasError const*>(&error) != nullptr && !extra.empty()) {
        what = extra.size() > 1 ? "The following arguments were not expected:"
                                : "The following argument was not expected:";
        for (std::string const& word : extra)  // the parser itself has them backwards
            what += " " + word;
    }
    std::size_t const missing = what.find(": 1 required ");
    if (missing != std::string::npos)
        what = what.substr(0, missing) + " takes a value";
    return {UsageError, what + (chosen.empty() ? "; 'trimora --help' lists the commands"
                                               : "; 'trimora " + chosen.front()->get_name() +
                                                     " --help' explains the options")};
}

}  // namespace

void parseWords(CLI::App& app, std::vector<std::string> words) {
    if (std::string const option = optionWithoutValue(words); !option.empty())
        throw Failure{UsageError, option + " takes a value, '" + option + "=VALUE'"};
    std::string const first = words.empty() ? std::string() : words.front();
    std::reverse(words.begin(), words.end());  // as the parser wants them
    try {
        app.parse(std::move(words));
    } catch (CLI::ParseError const& error) {
        if (error.get_exit_code() == 0)
            throw;
        throw faultOf(app, error, first);
    }
}

namespace {

/// What a refusal puts on standard output with --json.
std::string refusalJson(Failure const& failure) {
    std::string const start = failure.file + ": ";
    bool const hasFile = !failure.file.empty() && failure.message.rfind(start, 0) == 0;
    return toText(
        {{"file", failure.file.empty() ? Json(nullptr) : Json(failure.file)},
         {"refusal", hasFile ? failure.message.substr(start.size()) : failure.message},
         {"problemPoint", failure.problemPoint ? Json(*failure.problemPoint) : Json(nullptr)}});
}

int fail(Failure const& failure, bool wantsJson = false) {
    if (wantsJson && !failure.json.empty())
        std::fputs(failure.json.c_str(), stdout);
    else if (wantsJson && failure.code == Refused)
        std::fputs(refusalJson(failure).c_str(), stdout);
    else if (wantsJson && failure.code == Cancelled)
        std::fputs(toText(cancelJson(failure.message)).c_str(), stdout);
    std::fprintf(stderr, "trimora: %s\n", onOneLine(failure.message).c_str());
    return failure.code;
}

int run(Invocation const& invocation) {
    bool const wantsJson = invocation.common.json;
    try {
        Session session(invocation.common);
        try {
            ExitCode const code = invocation.work(session);
            session.finish();
            return code;
        } catch (Failure const& failure) {
            session.finish();
            return fail(failure, wantsJson);
        }
    } catch (Failure const& failure) {
        return fail(failure, wantsJson);
    } catch (std::bad_alloc const&) {
        return fail({Refused, outOfMemoryWords}, wantsJson);
    } catch (std::exception const& error) {
        return fail({Refused, std::string("unexpected failure: ") + error.what()}, wantsJson);
    }
}

constexpr char const* exitCodesInWords =
    "Exit codes: 0 done and clean; 1 defects found or left, or not sound; 2 usage; 3 input "
    "unreadable; 4 output not "
    "written;\n5 refused, said why; 6 cancelled or timed out. '-' is standard "
    "input or output.";

int main(int argc, char** argv) {
    CLI::App app(
        "Checks, repairs, fills, stitches, reduces, cuts, refines, flattens, converts and measures "
        "triangle meshes.",
        "trimora");
    app.set_version_flag("--version", std::string("trimora ") + koGeom::trimoraVersion());
    app.require_subcommand(1);
    app.footer(exitCodesInWords);
    Invocation invocation;
    addCommands(app, invocation);
    for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; }))
        if (std::string const words = command->get_footer(); words != exitCodesInWords)
            command->footer(words + "\n" + exitCodesInWords);  // a footer of its own replaced them
    try {
        parseWords(app, {argv + 1, argv + argc});
    } catch (CLI::ParseError const& error) {
        return app.exit(error);  // help or version
    } catch (Failure const& failure) {
        return fail(failure);
    }
    return run(invocation);
}

}  // namespace

}  // namespace app

int main(int argc, char** argv) {
    return app::main(argc, argv);
}
