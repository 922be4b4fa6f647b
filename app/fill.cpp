// trimora fill IN OUT: closes chosen holes, or lists them.

#include "Deadline.h"
#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshHoleFilling.h"

#include <cstdio>

namespace app {

namespace {

using trimora::FilledHole;
using trimora::FillOutcome;
using trimora::HoleChoice;
using trimora::HoleFate;
using trimora::MeshHole;

constexpr char const* qualityNames[] = {"flat", "refined", "fair"};

struct FillArguments {
    std::string input;
    std::string output;
    bool list = false;
    std::string holes = "inner";
    std::string quality = "fair";
    std::string maxTriangles = "1000000";
    bool keepPartial = false;
    double timeout = 0.0;  // taken from the shared options for keepPartial
    Deadline::Clock::time_point start;
};

struct FillRun {
    HoleChoice choice;
    trimora::FillOptions options;
    std::vector<MeshHole> holes;
    std::vector<int> chosen;
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    FillOutcome outcome;
    bool isTimedOut = false;
};

/// Nothing for a text that names no holes. A perimeter in percent is one of the box's diagonal.
std::optional<HoleChoice> parseChoice(std::string const& text, double diagonal) {
    std::string_view const edges = "max-edges:";
    std::string_view const perimeter = "max-perimeter:";
    HoleChoice choice;
    if (text == "inner")
        return choice;
    if (text == "all") {
        choice.kind = HoleChoice::Kind::All;
        return choice;
    }
    if (text.rfind(edges, 0) == 0) {
        auto const most = parseCount(std::string_view(text).substr(edges.size()));
        choice.kind = HoleChoice::Kind::MaxEdges;
        choice.limit = static_cast<double>(most.value_or(0));
        return choice.limit > 0.0 ? std::optional(choice) : std::nullopt;
    }
    if (text.rfind(perimeter, 0) == 0) {
        auto const length = parseLength(text.substr(perimeter.size()));
        choice.kind = HoleChoice::Kind::MaxPerimeter;
        choice.limit = length ? length->of(diagonal) : 0.0;
        return length ? std::optional(choice) : std::nullopt;
    }
    choice.kind = HoleChoice::Kind::Numbers;
    return parseRanges(text, choice.ranges) ? std::optional(choice) : std::nullopt;
}

std::string faultOfHoles(std::string const& text) {
    return parseChoice(text, 1.0)
               ? std::string()
               : "takes inner, all, numbers like 1,3,5-9, max-edges:N or max-perimeter:L, not '" +
                     text + "'";
}

std::string faultOfHoleCount(std::string const& text) {
    return parseCount(text).value_or(0) > 0 ? std::string()
                                            : "takes a count from 1 on, not '" + text + "'";
}

void requireNumbers(FillRun const& run) {
    auto const count = static_cast<std::int64_t>(run.holes.size());
    if (auto const bad = numberBeyond(run.choice.ranges, count))
        throw Failure{UsageError, "--holes: there is no hole " + std::to_string(*bad) +
                                      "; the mesh has " + trimora::countInWords(count, "hole") +
                                      (count > 0 ? ", numbered from 1; --list shows them" : "")};
}

void findHoles(Session& session, FillArguments const& arguments, koGeom::CompactMesh const& mesh,
               FillRun& run) {
    run.choice = *parseChoice(arguments.holes, trimora::diagonalOf(mesh));
    run.options.maxTriangles = *parseCount(arguments.maxTriangles);
    for (int quality = 0; quality < 3; ++quality) {
        if (arguments.quality == qualityNames[quality])
            run.options.quality = static_cast<koGeom::HoleQuality>(quality);
    }
    run.holes = holesOf(session, arguments.input, mesh, "finding the holes");
    requireNumbers(run);
    run.chosen = trimora::chooseHoles(run.holes, run.choice);
}

/// Throws when nothing of what was chosen can be tried, or when it would not fit into memory.
void requireFillable(Session const& session, FillArguments const& arguments,
                     koGeom::CompactMesh const& mesh, FillRun const& run) {
    auto const plan = trimora::planFilling(mesh, run.holes, run.chosen, run.options);
    double newTriangles = 0.0;
    double longest = 0.0;
    for (int const hole : run.chosen) {
        auto const i = static_cast<std::size_t>(hole);
        if (plan[i].fate != HoleFate::Filled)
            continue;
        newTriangles += static_cast<double>(
            run.holes[i].newTriangles[static_cast<std::size_t>(run.options.quality)]);
        longest = std::max(longest, static_cast<double>(run.holes[i].numEdges()));
    }
    if (!run.chosen.empty() && longest == 0.0) {
        FilledHole const& first = plan[static_cast<std::size_t>(run.chosen.front())];
        throwIfRefused(session,
                       {arguments.input,
                        "hole " + std::to_string(run.chosen.front() + 1) + ": " + first.words +
                            (run.chosen.size() > 1 ? " (none of the other chosen holes can "
                                                     "be filled either)"
                                                   : ""),
                        first.place});
    }
    session.requireMemory(fillBytesPerTriangle * (mesh.getNumTriangles() + newTriangles) +
                              triangulationBytesPerPair * longest * longest,
                          arguments.input);
}

void fillLoaded(Session& session, Deadline& deadline, koUtil::Progress& work,
                koGeom::CompactMesh& mesh, FillRun& run) {
    run.before = trimora::countMesh(mesh);
    session.beginPhase("filling", true);
    session.progress().subPhase(1.0, work);
    deadline.guard(work);
    run.outcome = trimora::fillHoles(mesh, run.holes, run.chosen, run.options, work);
    deadline.end();
    session.throwIfCancelled();
    run.isTimedOut = run.outcome.cancelled;
    run.after = trimora::countMesh(mesh);
}

char const* outcomeOf(HoleFate fate) {
    switch (fate) {
    case HoleFate::NotChosen:
        return "notChosen";
    case HoleFate::Filled:
        return "filled";
    case HoleFate::Cancelled:
        return "cancelled";
    default:
        return "refused";
    }
}

Json jsonOf(MeshHole const& hole, std::size_t number) {
    return {{"number", number},
            {"edges", hole.numEdges()},
            {"perimeter", hole.perimeter},
            {"box", {{"low", hole.low}, {"high", hole.high}}},
            {"patchArea", hole.patchArea},
            {"outer", hole.looksOuter},
            {"hasArea", hole.hasArea},
            {"seam", hole.isSeam},
            {"predictedTriangles",
             {{"flat", hole.newTriangles[0]},
              {"refined", hole.newTriangles[1]},
              {"fair", hole.newTriangles[2]}}},
            {"fault", hole.fault.empty() ? Json(nullptr) : Json(hole.fault)}};
}

Json listJson(FillArguments const& arguments, FillRun const& run,
              trimora::ReadReport const& report) {
    Json json = {{"file", arguments.input}, {"holes", Json::array()}};
    for (std::size_t i = 0; i < run.holes.size(); ++i) {
        Json entry = jsonOf(run.holes[i], i + 1);
        entry["chosen"] =
            std::binary_search(run.chosen.begin(), run.chosen.end(), static_cast<int>(i));
        json["holes"].push_back(entry);
    }
    json["read"] = toJson(report);
    return json;
}

/// What a person should know of the filled holes without area, of which a patch closes nothing that could be seen.
std::vector<std::string> warningsOf(FillRun const& run) {
    std::int64_t numSeams = 0;
    std::int64_t numOthers = 0;
    for (std::size_t i = 0; i < run.holes.size(); ++i) {
        bool const isSlit = !run.holes[i].hasArea && run.outcome.holes[i].fate == HoleFate::Filled;
        (run.holes[i].isSeam ? numSeams : numOthers) += isSlit;
    }
    std::vector<std::string> warnings;
    if (numSeams > 0)
        warnings.push_back(
            trimora::countInWords(numSeams, "filled hole is a seam", "filled holes are seams") +
            ": vertices lie there in equal places, and the new triangles have no area; run "
            "'trimora "
            "weld' first, which closes seams without any");
    if (numOthers > 0)
        warnings.push_back(
            trimora::countInWords(numOthers, "filled hole has", "filled holes have") +
            " no area, nor have the new triangles there; 'trimora merge "
            "--tolerance' welds what is that near");
    return warnings;
}

Json fillJson(FillArguments const& arguments, FillRun const& run,
              trimora::ReadReport const& report) {
    bool const isWritten = !run.isTimedOut || run.outcome.count(HoleFate::Filled) > 0;
    Json json = {{"file", arguments.input},
                 {"output", isWritten ? Json(arguments.output) : Json(nullptr)},
                 {"quality", arguments.quality},
                 {"holes", Json::array()}};
    for (std::size_t i = 0; i < run.holes.size(); ++i) {
        FilledHole const& filled = run.outcome.holes[i];
        bool const isRefused = !filled.words.empty();
        Json entry = jsonOf(run.holes[i], i + 1);
        entry["outcome"] = outcomeOf(filled.fate);
        entry["reason"] = isRefused ? Json(trimora::nameOfFate(filled.fate)) : Json(nullptr);
        entry["words"] = isRefused ? Json(filled.words) : Json(nullptr);
        entry["trianglesAdded"] = filled.trianglesAdded;
        entry["verticesAdded"] = filled.verticesAdded;
        entry["finsRemoved"] = filled.finsRemoved;
        json["holes"].push_back(entry);
    }
    int const numFilled = run.outcome.count(HoleFate::Filled);
    json["chosen"] = run.chosen.size();
    json["filled"] = numFilled;
    json["notFilled"] = static_cast<int>(run.chosen.size()) - numFilled;
    json["timedOut"] = run.isTimedOut;
    json["warnings"] = warningsOf(run);
    json["before"] = toJson(run.before);
    json["after"] = toJson(run.after);
    json["seconds"] = run.outcome.seconds;
    json["droppedVertexSets"] = run.outcome.dropped;
    json["read"] = toJson(report);
    return json;
}

std::string centreInWords(MeshHole const& hole) {
    return trimora::positionInWords({0.5 * (hole.low[0] + hole.high[0]),
                                     0.5 * (hole.low[1] + hole.high[1]),
                                     0.5 * (hole.low[2] + hole.high[2])});
}

std::string listText(FillArguments const& arguments, FillRun const& run) {
    std::string text = arguments.input + ": " +
                       trimora::countInWords(static_cast<std::int64_t>(run.holes.size()), "hole") +
                       "\n";
    if (run.holes.empty())
        return text;
    char line[256];
    std::snprintf(line, sizeof line, "  %6s %7s %10s %10s %10s  %s\n", "number", "edges",
                  "perimeter", "flat", "refined", "around");
    text += line;
    for (std::size_t i = 0; i < run.holes.size(); ++i) {
        MeshHole const& hole = run.holes[i];
        std::snprintf(line, sizeof line, "  %6zu %7d %10.4g %10lld %10lld  %s", i + 1,
                      hole.numEdges(), hole.perimeter, static_cast<long long>(hole.newTriangles[0]),
                      static_cast<long long>(hole.newTriangles[1]), centreInWords(hole).c_str());
        text += line;
        text += hole.isSeam       ? "; a seam without area, weld first\n"
                : !hole.hasArea   ? "; without area\n"
                : hole.looksOuter ? "; looks like the outer border\n"
                                  : "\n";
        if (!hole.fault.empty())
            text += "         " + hole.fault + "\n";
    }
    return text +
           "  flat and refined: new triangles of a patch, predicted; a fair one has those of "
           "a refined one\n";
}

std::string notesOnChoice(FillRun const& run) {
    auto const looksOuter = [&run](int hole) {
        return run.holes[static_cast<std::size_t>(hole)].looksOuter;
    };
    auto const all = std::count_if(run.holes.begin(), run.holes.end(),
                                   [](MeshHole const& hole) { return hole.looksOuter; });
    auto const chosen = std::count_if(run.chosen.begin(), run.chosen.end(), looksOuter);
    std::string text;
    if (chosen > 0)
        text += "  " +
                trimora::countInWords(chosen, "of the chosen borders looks like an outer one",
                                      "of the chosen borders look like outer ones") +
                "\n";
    if (run.choice.kind == HoleChoice::Kind::Inner && all > 0)
        text += "  " +
                trimora::countInWords(all, "border looks like an outer one and stays",
                                      "borders look like outer ones and stay") +
                " open; --holes chooses otherwise\n";
    return text;
}

std::string summary(FillArguments const& arguments, FillRun const& run, int numFilled) {
    auto const all = static_cast<std::int64_t>(run.holes.size());
    if (run.chosen.empty())
        return all == 0 ? "has no holes"
                        : "none of " + trimora::countInWords(all, "hole") + " chosen";
    return std::to_string(numFilled) + " of " +
           trimora::countInWords(static_cast<std::int64_t>(run.chosen.size()), "chosen hole") +
           " filled (" + arguments.quality + "), of " + std::to_string(all) + " in all; " +
           secondsInWords(run.outcome.seconds);
}

int numFinsRemoved(FillRun const& run) {
    int count = 0;
    for (FilledHole const& hole : run.outcome.holes)
        count += hole.finsRemoved;
    return count;
}

std::string fillText(FillArguments const& arguments, FillRun const& run) {
    constexpr int mostLines = 20;
    int const numFilled = run.outcome.count(HoleFate::Filled);
    std::string text = arguments.input + ": " + summary(arguments, run, numFilled) + "\n" +
                       notesOnChoice(run) + countsTable(run.before, run.after);
    int numLeft = 0;
    for (int const hole : run.chosen) {
        FilledHole const& filled = run.outcome.holes[static_cast<std::size_t>(hole)];
        if (filled.fate == HoleFate::Filled || ++numLeft > mostLines)
            continue;
        text += "  hole " + std::to_string(hole + 1) + " is open: " + filled.words + "\n";
    }
    if (numLeft > mostLines)
        text +=
            "  and " + std::to_string(numLeft - mostLines) + " further ones; --json tells all\n";
    if (int const numFins = numFinsRemoved(run); numFins > 0)
        text += "  " +
                trimora::countInWords(numFins, "triangle that hung into a hole went",
                                      "triangles that hung into holes went") +
                ", with the vertex at the tip\n";
    for (std::string const& warning : warningsOf(run))
        text += warningLine(warning);
    return text + droppedLine(run.outcome.dropped) + "  written to " +
           nameOfOutput(arguments.output) + "\n";
}

void requireArguments(Session const& session, FillArguments const& arguments) {
    if (arguments.list && !arguments.output.empty())
        throw Failure{UsageError,
                      "fill --list writes nothing; leave OUT away; see 'trimora fill --help'"};
    if (!arguments.list && arguments.output.empty())
        throw Failure{UsageError,
                      "fill needs an output file, or --list; see 'trimora fill --help'"};
    if (arguments.keepPartial && arguments.timeout == 0.0)
        throw Failure{UsageError, "--keep-partial goes with --timeout; see 'trimora fill --help'"};
    if (!arguments.list)
        requireOutput(session, arguments.output);
}

ExitCode fill(Session& session, FillArguments const& arguments) {
    requireArguments(session, arguments);
    koUtil::Progress work;  // by itself: its end by the deadline is not the session's
    Deadline deadline(session, arguments.keepPartial ? arguments.timeout : 0.0, arguments.start);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, fillBytesPerTriangle, loaded);
    FillRun run;
    findHoles(session, arguments, loaded.mesh, run);
    if (arguments.list) {
        session.throwIfCancelled();
        finishWith(session, listJson(arguments, run, loaded.report), listText(arguments, run));
        return Done;
    }
    if (loaded.mesh.getNumTriangles() == 0)
        throwIfRefused(session, {arguments.input, "there are no triangles, and so no holes", {}});
    requireFillable(session, arguments, loaded.mesh, run);
    fillLoaded(session, deadline, work, loaded.mesh, run);
    throwIfRefused(session, {arguments.input, run.outcome.refusal, run.outcome.problemPoint});
    int const numFilled = run.outcome.count(HoleFate::Filled);
    if (run.isTimedOut && numFilled == 0)
        throw Failure{Cancelled,
                      "timed out before a hole was filled; nothing was written; allow more "
                      "with --timeout",
                      {},
                      {},
                      toText(fillJson(arguments, run, loaded.report))};
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, fillJson(arguments, run, loaded.report), fillText(arguments, run),
               arguments.output);
    if (run.isTimedOut) {
        std::fprintf(stderr,
                     "trimora: timed out; %d of %zu chosen holes are filled in %s; allow more with "
                     "--timeout\n",
                     numFilled, run.chosen.size(), nameOfOutput(arguments.output).c_str());
        return Cancelled;
    }
    return numFilled == static_cast<int>(run.chosen.size()) ? Done : DefectsFound;
}

}  // namespace

void addFill(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(app, invocation, "fill", "close holes, or list them");
    auto const arguments = std::make_shared<FillArguments>();
    command->add_option("IN", arguments->input, "mesh file, or - for standard input")->required();
    command->add_option("OUT", arguments->output, "mesh file, or - for standard output");
    command->add_flag("--list", arguments->list, "tell of each hole what it is, and write nothing");
    command
        ->add_option(
            "--holes", arguments->holes,
            "inner (default): every border but those that look like an outer one, over which a "
            "patch would have more than a quarter of the area that is there; all; numbers of the "
            "list like 1,3,5-9; max-edges:N; max-perimeter:L, a length or like 2% of the box's "
            "diagonal")
        ->check(faultOfHoles);
    command
        ->add_option("--quality", arguments->quality,
                     "flat: triangles between the border's vertices; refined: as dense as the "
                     "surface around; fair (default): and as smooth")
        ->check(CLI::IsMember({"flat", "refined", "fair"}));
    command
        ->add_option("--max-triangles", arguments->maxTriangles,
                     "leave a hole open whose patch is predicted to take more (default: 1000000)")
        ->check(faultOfHoleCount);
    command->add_flag("--keep-partial", arguments->keepPartial,
                      "with --timeout: when the time is up, write what is filled until then");
    command->callback([&invocation, arguments] {
        if (arguments->keepPartial)
            std::swap(arguments->timeout, invocation.common.timeout);
        arguments->start = Deadline::Clock::now();
        invocation.work = [arguments](Session& session) { return fill(session, *arguments); };
    });
}

}  // namespace app
