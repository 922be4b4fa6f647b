// The commands that may mend a finding, as what they do to a mesh: by the very operations that the command calls, with the numbers
// that are typed.

#include "toolkit/checkedRepair.h"
#include "toolkit/detail/remedies.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshReduction.h"
#include "toolkit/meshStitching.h"
#include "toolkit/meshTidying.h"
#include "toolkit/meshWelding.h"

#include <cmath>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Remedies = std::vector<Remedy>;
using Step = RemedyStep;

Step weld() {
    return {"weld", [](CompactMesh& mesh, koUtil::Progress& progress) {
                return weldMesh(mesh, progress).refusal.empty() ? StepEnd::Done : StepEnd::Refused;
            }};
}

Step repair(std::string const& words, RepairOptions const& options) {
    return {words, [options](CompactMesh& mesh, koUtil::Progress& progress) {
                RepairOutcome const outcome = repairMesh(mesh, options, progress);
                return !outcome.refusal.empty() ? StepEnd::Refused
                       : outcome.fullyRepaired  ? StepEnd::Done
                                                : StepEnd::Partly;
            }};
}

Step repair() {
    return repair("repair", {});
}

Step repairOutward() {
    RepairOptions options;
    options.outward = true;
    return repair("repair --outward", options);
}

Step repairFolds(double angle) {
    std::string const words = lengthInWords(angle);
    RepairOptions options;
    options.foldAngle = std::stod(words);  // what will be typed
    return repair("repair --angle " + words, options);
}

Step repairCuts() {
    RepairOptions options;
    options.selfIntersections = true;
    return repair("repair --self-intersections", options);
}

Step dropUnused() {
    RepairOptions options;
    options.dropUnused = true;
    return repair("repair --drop-unused", options);
}

Step dropDust(double share) {
    std::string const words = lengthInWords(share);
    RepairOptions options;
    options.dustShare = std::stod(words);
    return repair("repair --dust " + words, options);
}

std::vector<MeshHole> holesOf(CompactMesh const& mesh, koUtil::Progress& progress) {
    constexpr double share = 0.1;  // of the step
    koUtil::Progress child;
    progress.subPhase(share, child);
    return findHoles(mesh, child).holes;
}

Step fill(std::string const& words, HoleChoice const& choice) {
    return {words, [choice](CompactMesh& mesh, koUtil::Progress& progress) {
                std::vector<MeshHole> const holes = holesOf(mesh, progress);
                std::vector<int> const chosen = chooseHoles(holes, choice);
                FillOutcome const outcome = fillHoles(mesh, holes, chosen, {}, progress);
                auto const numFilled = static_cast<std::size_t>(outcome.count(HoleFate::Filled));
                bool const isRefused =
                    !outcome.refusal.empty() || (numFilled == 0 && !chosen.empty());
                return isRefused                    ? StepEnd::Refused
                       : numFilled == chosen.size() ? StepEnd::Done
                                                    : StepEnd::Partly;
            }};
}

Step fill() {
    return fill("fill", {});
}

Step fillAll() {
    HoleChoice all;
    all.kind = HoleChoice::Kind::All;
    return fill("fill --holes all", all);
}

Step stitch(StitchGuess const& guess) {
    std::string const words = lengthInWords(guess.distance);
    return {"stitch --distance " + words,
            [typed = std::stod(words)](CompactMesh& mesh, koUtil::Progress& progress) {
                std::vector<MeshHole> const holes = holesOf(mesh, progress);
                HoleChoice all;
                all.kind = HoleChoice::Kind::All;
                StitchOptions options;
                options.distance = typed;
                StitchOutcome const outcome =
                    stitchMesh(mesh, holes, chooseHoles(holes, all), options, progress);
                return !outcome.refusal.empty() ? StepEnd::Refused
                       : outcome.isComplete()   ? StepEnd::Done
                                                : StepEnd::Partly;
            },
            guess.cost};
}

Step collapse(double share) {
    char words[32];
    std::snprintf(words, sizeof words, "%.6g", share);
    return {std::string("reduce --collapse ") + words,
            [typed = std::stod(words)](CompactMesh& mesh, koUtil::Progress& progress) {
                ReduceOptions const options{ReduceMethod::Collapse, typed};
                return reduceMesh(mesh, options, progress).refusal.empty() ? StepEnd::Done
                                                                           : StepEnd::Refused;
            }};
}

/// As the reader leaves them out; the vertices stay.
StepEnd leaveOutNonfinite(CompactMesh& mesh, koUtil::Progress&) {
    std::vector<int> corners;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        int const* const c = mesh.getTriangles()[t].vertices;
        bool const isFinite = std::all_of(c, c + 3, [&mesh](int v) {
            koLinear::Point const p = mesh.getVertices()[v].asPoint();
            return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
        });
        if (isFinite)
            corners.insert(corners.end(), c, c + 3);
    }
    CompactMesh kept(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr, nullptr);
    kept.copyTriangles(static_cast<int>(corners.size() / 3), corners.data());
    mesh.swap(kept);
    return corners.empty() ? StepEnd::Refused : StepEnd::Done;
}

/// A command as a test told it, with the twelve numbers of a matrix in its end.
Step place(std::string const& command) {
    std::string const name = "trimora ";
    koGeom::MeshPlacement placement;
    std::size_t from = command.find(':');
    for (float& number : placement.matrix.m) {
        number = static_cast<float>(std::stod(command.substr(from + 1)));
        from = command.find(',', from + 1);
    }
    return {command.substr(name.size()),
            [matrix = placement.matrix](CompactMesh& mesh, koUtil::Progress& progress) {
                dropVertexSets(mesh);
                CompactMesh placed;
                bool const isDone =
                    mergeMeshes({koGeom::MeshPlacement{matrix, &mesh}}, 0.0, placed, progress)
                        .refusal.empty();
                mesh.swap(placed);
                return isDone ? StepEnd::Done : StepEnd::Refused;
            }};
}

Remedies forFolds(DiagnosisRun const& run) {
    Step const remove = repairFolds(run.options.foldAngle);
    return {{remove}, {remove, fill()}, {remove, fill(), repairOutward()}};
}

/// What opens where nothing was open is all to be closed.
Remedies forCuts(DiagnosisRun const& run) {
    if (!run.hasPlainCuts)
        return {};
    Step const remove = repairCuts();
    Remedies all = {{remove}, {remove, fill()}};
    if (run.result.boundaries == 0) {
        all.push_back({remove, fillAll()});
        all.push_back({remove, fillAll(), repairOutward()});
    } else {
        all.push_back({remove, fill(), repairOutward()});
    }
    return all;
}

Remedies forCracks(DiagnosisRun const& run) {
    Remedies all;
    for (StitchGuess const& guess : run.stitchGuesses)
        all.push_back(run.of.isSoup ? Remedy{weld(), stitch(guess)} : Remedy{stitch(guess)});
    all.push_back({repair(), fill()});
    return all;
}

/// An edge less for each needle takes two triangles away, and some more where neighbours are as narrow.
Remedies forNeedles(DiagnosisRun const& run, std::int64_t count) {
    constexpr double trianglesOfEach = 4.0;
    constexpr double leastShare = 0.9;  // more would be another surface
    double const share = 1.0 - trianglesOfEach * static_cast<double>(count) /
                                   std::max(1, run.of.asRead.getNumTriangles());
    return share < leastShare ? Remedies() : Remedies{{collapse(share)}};
}

/// Where the repair alone may do.
std::optional<Remedies> forRepair(std::string const& kind) {
    for (char const* const repaired :
         {"crowdedEdges", "opposedNeighbours", "moebiusStrips", "duplicateTriangles",
          "degenerateTriangles", "bowTies", "overlaps"})
        if (kind == repaired)
            return Remedies{{repair()}, {repairOutward()}};
    if (kind == "insideOutParts")
        return Remedies{{repairOutward()}};
    if (kind == "coincidentVertices")
        return Remedies{{weld()}, {repair()}, {repairOutward()}};
    return std::nullopt;
}

}  // namespace

std::string commandOf(Remedy const& remedy) {
    if (remedy.size() == 1) {
        std::string command = remedy.front().words;
        if (command.find(" IN") == std::string::npos)
            command.insert(std::min(command.find(' '), command.size()), " IN OUT");
        return "trimora " + command;
    }
    std::string task;
    for (Step const& step : remedy)
        task += (task.empty() ? "" : " | ") + step.words;
    return "trimora run IN OUT --task \"" + task + "\"";
}

std::optional<Remedies> candidatesFor(DiagnosisRun const& run, Finding const& finding) {
    std::string const& kind = finding.kind;
    if (finding.severity == Finding::Severity::Fatal && kind != "nonfiniteTriangles")
        return std::nullopt;
    if (kind == "holes")
        return Remedies{{fill()},
                        {fill(), repairOutward()},
                        {repair(), fill()},
                        {repair(), fill(), repairOutward()}};
    if (kind == "tJunctions")
        return Remedies{{fill()}, {repair(), fill()}};
    if (kind == "cracks")
        return forCracks(run);
    if (kind == "folds")
        return forFolds(run);
    if (kind == "selfIntersections")
        return forCuts(run);
    if (kind == "needleTriangles")
        return forNeedles(run, finding.count);
    if (kind == "nonfiniteTriangles")
        return Remedies{{Step{"convert IN OUT --drop-nonfinite", leaveOutNonfinite}}};
    if (kind == "unusedVertices")
        return Remedies{{dropUnused()}};
    if (kind == "dust")
        return Remedies{{dropDust(run.options.dustShare)}};
    if (kind == "triangleSoup" && !finding.remedy.empty())
        return Remedies{{weld()}};
    if ((kind == "extremeScale" || kind == "farFromOrigin") && !finding.remedy.empty())
        return Remedies{{place(finding.remedy)}};
    return forRepair(kind);
}

}  // namespace trimora
