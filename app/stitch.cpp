// trimora stitch IN OUT: closes the gaps between boundaries that run beside each other.

#include "commands.h"
#include "editing.h"
#include "files.h"
#include "numbers.h"
#include "reports.h"
#include "toolkit/meshStitching.h"

#include <algorithm>

namespace app {

namespace {

using trimora::countInWords;
using trimora::HoleChoice;
using trimora::MeshHole;
using trimora::StitchOutcome;

struct StitchArguments {
    std::string input;
    std::string output;
    std::string distance;
    std::string boundaries = "all";
    bool noIntersections = false;
    trimora::StitchOptions options;  // but for the distance
};

struct StitchRun {
    trimora::StitchOptions options;
    std::vector<MeshHole> holes;
    std::vector<int> chosen;
    trimora::MeshCounts before;
    trimora::MeshCounts after;
    StitchOutcome outcome;
};

std::optional<HoleChoice> parseBoundaries(std::string const& text) {
    HoleChoice choice;
    choice.kind = text == "all" ? HoleChoice::Kind::All : HoleChoice::Kind::Numbers;
    return text == "all" || parseRanges(text, choice.ranges) ? std::optional(choice) : std::nullopt;
}

std::string faultOfBoundaries(std::string const& text) {
    return parseBoundaries(text) ? std::string()
                                 : "takes all, or numbers like 1,3,5-9, not '" + text + "'";
}

std::string faultOfSeamTolerance(std::string const& text) {
    double share = 0.0;
    bool const isNumber = CLI::detail::lexical_cast(text, share);
    return isNumber && share >= 0.0 && share <= 0.5
               ? std::string()
               : "takes 0 to 0.5, in lengths of an edge, not '" + text + "'";
}

std::string numberOf(int boundary) {
    return std::to_string(boundary + 1);
}

void findBoundaries(Session& session, StitchArguments const& arguments,
                    koGeom::CompactMesh const& mesh, StitchRun& run) {
    HoleChoice const choice = *parseBoundaries(arguments.boundaries);
    run.holes = holesOf(session, arguments.input, mesh, "finding the boundaries");
    auto const count = static_cast<std::int64_t>(run.holes.size());
    if (auto const bad = numberBeyond(choice.ranges, count))
        throw Failure{UsageError, "--boundaries: there is no boundary " + std::to_string(*bad) +
                                      "; the mesh has " +
                                      countInWords(count, "boundary", "boundaries") +
                                      (count > 0 ? ", numbered from 1; 'trimora fill --list' "
                                                   "shows them"
                                                 : "")};
    run.chosen = trimora::chooseHoles(run.holes, choice);
}

Json suggestionJson(StitchArguments const& arguments,
                    std::optional<trimora::StitchSuggestion> const& suggestion) {
    Json json = {{"file", arguments.input},
                 {"suggestedDistance", suggestion ? Json(suggestion->distance) : Json(nullptr)},
                 {"sewnLength", suggestion && suggestion->sewnLength ? Json(*suggestion->sewnLength)
                                                                     : Json(nullptr)},
                 {"neighbours", Json::array()}};
    if (suggestion)
        for (auto const& neighbour : suggestion->neighbours)
            json["neighbours"].push_back(
                {{"boundary", neighbour.boundary + 1}, {"gap", neighbour.gap}});
    return json;
}

/// The distance is the user's to choose, since too large a one sews what does not belong together.
[[noreturn]] void suggestDistance(Session& session, StitchArguments const& arguments,
                                  koGeom::CompactMesh const& mesh, StitchRun const& run) {
    session.beginPhase("trying distances", true);
    auto const suggestion = trimora::proposeStitchDistance(mesh, run.holes, run.chosen, run.options,
                                                           session.progress());
    session.throwIfCancelled();
    std::string text = "stitch needs --distance; ";
    if (suggestion) {
        double widest = 0.0;
        for (auto const& neighbour : suggestion->neighbours)
            widest = std::max(widest, neighbour.gap);
        text += "'--distance " + numberInWords(suggestion->distance) + "' may do: " +
                countInWords(std::int64_t(suggestion->neighbours.size()), "boundary runs",
                             "boundaries run") +
                " beside others, up to " + numberInWords(widest) + " away" +
                (suggestion->sewnLength
                     ? "; it sews a length of " + numberInWords(*suggestion->sewnLength)
                     : std::string());
    } else {
        text +=
            run.holes.size() == 1
                ? "none can be suggested, as the mesh has only one boundary, and stitching "
                  "takes two"
                : "none can be suggested, as no boundary runs beside another one, or none that was "
                  "tried sews anything soundly";
    }
    Failure failure = {UsageError, text};
    if (session.options().json)
        failure.json = toText(suggestionJson(arguments, suggestion));
    throw failure;
}

void requireMemoryForSamples(Session const& session, StitchArguments const& arguments,
                             koGeom::CompactMesh const& mesh, StitchRun const& run) {
    double samples = 0.0;
    for (auto const& boundary :
         trimora::planStitching(mesh, run.holes, run.chosen, run.options.distance))
        samples += static_cast<double>(boundary.samples);
    if (samples > static_cast<double>(trimora::mostStitchSamples))
        return;  // refused whatever the memory
    session.requireMemory(
        stitchBytesPerTriangle * mesh.getNumTriangles() + stitchBytesPerSample * samples,
        arguments.input, "with a distance of " + numberInWords(run.options.distance));
}

Json worseJson(StitchOutcome const& outcome) {
    Json json = Json::array();
    for (StitchOutcome::Worsening const& worsening : outcome.worse)
        json.push_back(
            {{"what", worsening.key}, {"before", worsening.before}, {"after", worsening.after}});
    return json;
}

Json seamsJson(StitchOutcome const& outcome) {
    Json json = Json::array();
    for (StitchOutcome::Seam const& seam : outcome.seams) {
        std::string const words = trimora::wordsOfFate(seam.fate);
        json.push_back({{"boundary", seam.boundary + 1},
                        {"otherBoundary", seam.otherBoundary + 1},
                        {"circular", seam.circular},
                        {"stretchLength", seam.stretchLength},
                        {"sewnLength", seam.sewnLength},
                        {"gap", seam.gap},
                        {"endDistance", seam.endDistance},
                        {"quality", seam.quality},
                        {"outcome", trimora::nameOfFate(seam.fate)},
                        {"words", words.empty() ? Json(nullptr) : Json(words)}});
    }
    return json;
}

/// With --json also what was found until then.
void throwIfNotStitched(Session const& session, StitchArguments const& arguments,
                        StitchRun const& run) {
    StitchOutcome const& outcome = run.outcome;
    if (outcome.refusal.empty())
        return;
    bool const isWorse = !outcome.worse.empty();
    Failure failure = {Refused,
                       arguments.input + ": " + outcome.refusal +
                           (isWorse ? " (--distance, --tolerance, --boundaries, --angle)" : ""),
                       arguments.input, outcome.problemPoint};
    if (session.options().json)
        failure.json = toText(
            {{"file", arguments.input},
             {"refusal", outcome.refusal},
             {"problemPoint", outcome.problemPoint ? Json(*outcome.problemPoint) : Json(nullptr)},
             {"distance", run.options.distance},
             {"attempts", outcome.attempts},
             {"worse", worseJson(outcome)},
             {"seams", seamsJson(outcome)}});
    throw failure;
}

void stitchLoaded(Session& session, StitchArguments const& arguments, koGeom::CompactMesh& mesh,
                  StitchRun& run) {
    run.options = arguments.options;
    findBoundaries(session, arguments, mesh, run);
    run.before = trimora::countMesh(mesh);
    run.after = run.before;
    if (run.holes.empty())
        return;
    if (arguments.distance.empty())
        suggestDistance(session, arguments, mesh, run);
    run.options.distance = parseLength(arguments.distance)->of(trimora::diagonalOf(mesh));
    requireMemoryForSamples(session, arguments, mesh, run);
    session.beginPhase("stitching", true);
    run.outcome = trimora::stitchMesh(mesh, run.holes, run.chosen, run.options, session.progress());
    session.throwIfCancelled();
    throwIfNotStitched(session, arguments, run);
    run.after = trimora::countMesh(mesh);
}

Json boundariesJson(StitchRun const& run) {
    Json json = Json::array();
    for (trimora::StitchBoundary const& boundary : run.outcome.boundaries) {
        MeshHole const& hole = run.holes[static_cast<std::size_t>(boundary.boundary)];
        json.push_back(
            {{"number", boundary.boundary + 1},
             {"edges", hole.numEdges()},
             {"perimeter", hole.perimeter},
             {"samples", boundary.samples},
             {"leftOut", boundary.words.empty() ? Json(nullptr) : Json(boundary.words)}});
    }
    return json;
}

Json stitchJson(StitchArguments const& arguments, StitchRun const& run,
                trimora::ReadReport const& report) {
    StitchOutcome const& outcome = run.outcome;
    Json json = {{"file", arguments.input},
                 {"output", arguments.output},
                 {"distance", run.options.distance},
                 {"tolerance", run.options.tolerance},
                 {"boundaries", boundariesJson(run)},
                 {"seams", seamsJson(outcome)},
                 {"sewn", outcome.numSewn()},
                 {"notSewn", static_cast<int>(outcome.seams.size()) - outcome.numSewn()},
                 {"sewnLength", outcome.sewnLength()},
                 {"sewnOn", outcome.isSewnOn},
                 {"attempts", outcome.attempts},
                 {"usedDistance", outcome.distance > 0.0 ? Json(outcome.distance) : Json(nullptr)},
                 {"turnedComponents", Json::array()},
                 {"gapsLeft", Json::array()}};
    for (StitchOutcome::Turned const& turned : outcome.turned)
        json["turnedComponents"].push_back({{"vertex", turned.vertex},
                                            {"position", turned.position},
                                            {"triangles", turned.triangles}});
    for (StitchOutcome::Gap const& gap : outcome.gaps)
        json["gapsLeft"].push_back({{"edges", gap.border.numEdges()},
                                    {"perimeter", gap.border.perimeter},
                                    {"width", gap.width},
                                    {"outer", gap.border.looksOuter},
                                    {"box", {{"low", gap.border.low}, {"high", gap.border.high}}}});
    json["swappedEdges"] = outcome.swappedEdges;
    json["smoothedVertices"] = outcome.smoothedVertices;
    json["before"] = toJson(run.before);
    json["after"] = toJson(run.after);
    json["seconds"] = outcome.seconds;
    json["droppedVertexSets"] = outcome.dropped;
    json["read"] = toJson(report);
    return json;
}

std::string seamText(StitchOutcome::Seam const& seam) {
    std::string const words = trimora::wordsOfFate(seam.fate);
    return "  " + numberOf(seam.boundary) + " and " + numberOf(seam.otherBoundary) +
           (seam.circular ? ", whole loops: " : ": ") + numberInWords(seam.sewnLength) + " of " +
           numberInWords(seam.stretchLength) + " sewn, gap " + numberInWords(seam.gap) +
           (words.empty() ? ""
                          : std::string("; ") + trimora::nameOfFate(seam.fate) + ": " + words) +
           "\n";
}

std::string listText(StitchRun const& run) {
    StitchOutcome const& outcome = run.outcome;
    Listing seams;
    Listing others;
    for (StitchOutcome::Seam const& seam : outcome.seams)
        seams.add(seamText(seam));
    for (StitchOutcome::Turned const& turned : outcome.turned)
        others.add(
            "  turned round: " + countInWords(turned.triangles, "triangle") + " at " +
            trimora::positionInWords({turned.position[0], turned.position[1], turned.position[2]}) +
            "\n");
    for (trimora::StitchBoundary const& boundary : outcome.boundaries)
        if (!boundary.words.empty())
            others.add("  boundary " + numberOf(boundary.boundary) +
                       " was left out: " + boundary.words + "\n");
    for (StitchOutcome::Gap const& gap : outcome.gaps)
        others.add("  left open: " + countInWords(gap.border.numEdges(), "edge") +
                   (gap.border.looksOuter ? ", which look like an outer border"
                                          : ", " + numberInWords(gap.width) + " wide on average") +
                   "\n");
    return seams.text() + others.text();
}

std::string stitchText(StitchArguments const& arguments, StitchRun const& run) {
    StitchOutcome const& outcome = run.outcome;
    std::string const what = run.holes.empty()
                                 ? "has no boundaries"
                                 : std::to_string(outcome.numSewn()) + " of " +
                                       countInWords(std::int64_t(outcome.seams.size()), "seam") +
                                       " sewn; " + secondsInWords(outcome.seconds);
    std::string const smoothed =
        outcome.smoothedVertices == 0
            ? std::string()
            : "  " + countInWords(outcome.smoothedVertices, "vertex", "vertices") +
                  " moved to smooth folds at the seams\n";
    return arguments.input + ": " + what + "\n" + countsTable(run.before, run.after) +
           listText(run) + smoothed + droppedLine(outcome.dropped) + "  written to " +
           nameOfOutput(arguments.output) + "\n";
}

ExitCode stitch(Session& session, StitchArguments const& arguments) {
    requireOutput(session, arguments.output);
    LoadedMesh loaded;
    loadMesh(session, arguments.input, stitchBytesPerTriangle, loaded);
    if (loaded.mesh.getNumTriangles() == 0)
        throwIfRefused(session,
                       {arguments.input, "there are no triangles, and so no boundaries", {}});
    StitchRun run;
    stitchLoaded(session, arguments, loaded.mesh, run);
    storeMesh(session, arguments.output, loaded.mesh);
    finishWith(session, stitchJson(arguments, run, loaded.report), stitchText(arguments, run),
               arguments.output);
    return run.outcome.isComplete() ? Done : DefectsFound;
}

}  // namespace

void addStitch(CLI::App& app, Invocation& invocation) {
    CLI::App* const command = addSubcommand(
        app, invocation, "stitch", "close the gaps between boundaries that run beside each other");
    auto const arguments = std::make_shared<StitchArguments>();
    addInputAndOutput(*command, arguments->input, arguments->output);
    command
        ->add_option("--distance", arguments->distance,
                     "how near is beside, a length or like 1% of the box's diagonal: more than the "
                     "widest gap, less than the narrowest band of surface between two boundaries; "
                     "without it one is suggested")
        ->check(faultOfLength);
    command
        ->add_option("--tolerance", arguments->options.tolerance,
                     "what is this near to a vertex of the other side, in lengths of its edge, "
                     "shares it (default: 0.01)")
        ->check(faultOfSeamTolerance);
    command
        ->add_option("--boundaries", arguments->boundaries,
                     "all (default), or numbers like 1,3,5-9 of 'trimora fill --list'")
        ->check(faultOfBoundaries);
    command
        ->add_option("--angle", arguments->options.foldAngle,
                     "triangles that open by less than this many degrees are a fold, of which the "
                     "result must not have more (default: 15)")
        ->check(faultOfAngle);
    command->add_flag("--no-intersections", arguments->noIntersections,
                      "do not look whether more triangles cut each other than before");
    command->callback([&invocation, arguments] {
        arguments->options.testIntersections = !arguments->noIntersections;
        invocation.work = [arguments](Session& session) { return stitch(session, *arguments); };
    });
}

}  // namespace app
