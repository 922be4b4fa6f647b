#pragma once

#include "Session.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

namespace app {

/// What the command line asked for: the options that all subcommands share, and the work of the one that was named.
struct Invocation {
    CommonOptions common;
    std::function<ExitCode(Session&)> work;
};

/// Each adds one subcommand, whose callback sets Invocation::work.
void addInfo(CLI::App& app, Invocation& invocation);
void addCheck(CLI::App& app, Invocation& invocation);
void addRepair(CLI::App& app, Invocation& invocation);
void addWeld(CLI::App& app, Invocation& invocation);
void addConvert(CLI::App& app, Invocation& invocation);
void addCurvature(CLI::App& app, Invocation& invocation);
void addMeasure(CLI::App& app, Invocation& invocation);
void addDeviation(CLI::App& app, Invocation& invocation);
void addDoctor(CLI::App& app, Invocation& invocation);
void addCollar(CLI::App& app, Invocation& invocation);
void addReduce(CLI::App& app, Invocation& invocation);
void addCut(CLI::App& app, Invocation& invocation);
void addSubdivide(CLI::App& app, Invocation& invocation);
void addExtrude(CLI::App& app, Invocation& invocation);
void addFill(CLI::App& app, Invocation& invocation);
void addFlatten(CLI::App& app, Invocation& invocation);
void addStitch(CLI::App& app, Invocation& invocation);
void addMerge(CLI::App& app, Invocation& invocation);
void addSplit(CLI::App& app, Invocation& invocation);
void addStrips(CLI::App& app, Invocation& invocation);
void addSmooth(CLI::App& app, Invocation& invocation);
void addOffset(CLI::App& app, Invocation& invocation);
void addSilhouette(CLI::App& app, Invocation& invocation);
void addGenerate(CLI::App& app, Invocation& invocation);
void addRender(CLI::App& app, Invocation& invocation);
void addVerify(CLI::App& app, Invocation& invocation);
void addRun(CLI::App& app, Invocation& invocation);
void addBatch(CLI::App& app, Invocation& invocation);

/// Adds them all.
void addCommands(CLI::App& app, Invocation& invocation);

/// Parses the words behind "trimora", the command's name first. Throws CLI::CallForHelp and the like as they come, and a
/// Failure with code 2 that tells what is wrong with the options and whose help tells more.
void parseWords(CLI::App& app, std::vector<std::string> words);

/// Check of an option in degrees: what is wrong with the text, or nothing. A plain range would let NaN pass.
std::string faultOfAngle(std::string const& text);

/// A subcommand with the shared options.
CLI::App* addSubcommand(CLI::App& app, Invocation& invocation, char const* name,
                        char const* description);

}  // namespace app
