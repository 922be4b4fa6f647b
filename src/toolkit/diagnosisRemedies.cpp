// What mends a finding is tried before it is told: the commands that may do so run on a copy of the mesh, which is diagnosed again.
//
// A remedy has to end better. Of what is graver than the finding there must not be more, and findings are summed up by severity:
// the first severity, from the gravest on down to the finding's own, in which the sum differs, has to have less. So whoever
// follows the remedies never comes back to where he was. What removes or adds surface has to lessen the sum of the finding's own
// severity in any case, and is not to leave openings behind that were not there.

#include "toolkit/checkedRepair.h"
#include "toolkit/detail/diagnosis.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshReduction.h"
#include "toolkit/meshStitching.h"
#include "toolkit/meshWelding.h"

#include <cmath>
#include <functional>
#include <map>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Severity = Finding::Severity;

constexpr std::int64_t mostTrials = 3;   // in sizes of the largest mesh of which remedies are tried
constexpr std::int64_t fixedCost = 500;  // of a trial, in triangles
// A remedy that takes away more of the surface than this mends nothing; half of what is there twice may go.
constexpr double leastAreaKept = 0.4;

enum class StepEnd { Done, Partly, Refused };  // the command's codes 0, 1 and others

/// A command without its files, and what it does to a mesh.
struct Step {
    std::string words;
    std::function<StepEnd(CompactMesh&, koUtil::Progress&)> work;
};

using Remedy = std::vector<Step>;

std::string commandOf(Remedy const& remedy) {
    if (remedy.size() == 1) {
        std::string command = remedy.front().words;
        return "trimora " + command.insert(std::min(command.find(' '), command.size()), " IN OUT");
    }
    std::string task;
    for (Step const& step : remedy)
        task += (task.empty() ? "" : " | ") + step.words;
    return "trimora run IN OUT --task \"" + task + "\"";
}

Step weld() {
    return {"weld", [](CompactMesh& mesh, koUtil::Progress&) {
                return weldMesh(mesh).refusal.empty() ? StepEnd::Done : StepEnd::Refused;
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

Step fill() {
    return {"fill", [](CompactMesh& mesh, koUtil::Progress& progress) {
                std::vector<MeshHole> const holes = findHoles(mesh);
                std::vector<int> const chosen = chooseHoles(holes, {});
                FillOutcome const outcome = fillHoles(mesh, holes, chosen, {}, progress);
                auto const numFilled = static_cast<std::size_t>(outcome.count(HoleFate::Filled));
                bool const isRefused =
                    !outcome.refusal.empty() || (numFilled == 0 && !chosen.empty());
                return isRefused                    ? StepEnd::Refused
                       : numFilled == chosen.size() ? StepEnd::Done
                                                    : StepEnd::Partly;
            }};
}

Step stitch(double distance) {
    std::string const words = lengthInWords(distance);
    return {"stitch --distance " + words,
            [typed = std::stod(words)](CompactMesh& mesh, koUtil::Progress& progress) {
                std::vector<MeshHole> const holes = findHoles(mesh);
                HoleChoice all;
                all.kind = HoleChoice::Kind::All;
                StitchOptions options;
                options.distance = typed;
                StitchOutcome const outcome =
                    stitchMesh(mesh, holes, chooseHoles(holes, all), options, progress);
                return !outcome.refusal.empty() ? StepEnd::Refused
                       : outcome.isComplete()   ? StepEnd::Done
                                                : StepEnd::Partly;
            }};
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

/// What may mend findings.
class Choice {
public:
    explicit Choice(DiagnosisRun const& run) : run_(run) {}

    /// The plainest first; nothing for kinds of which the test knows the command, if there is one.
    std::optional<std::vector<Remedy>> of(Finding const& finding) const;

private:
    std::vector<Remedy> forFolds() const {
        Step const remove = repairFolds(run_.options.foldAngle);
        return {{remove}, {remove, fill()}, {remove, fill(), repairOutward()}};
    }
    std::vector<Remedy> forCuts() const {
        Step const remove = repairCuts();
        return run_.hasPlainCuts ? std::vector<Remedy>{{remove},
                                                       {remove, fill()},
                                                       {remove, fill(), repairOutward()}}
                                 : std::vector<Remedy>();
    }
    std::vector<Remedy> forCracks() const;
    std::vector<Remedy> forNeedles(std::int64_t count) const;

    DiagnosisRun const& run_;
};

std::vector<Remedy> Choice::forCracks() const {
    std::vector<Remedy> all;
    for (double const distance : run_.stitchDistances) {
        Step const sew = stitch(distance);
        all.push_back(run_.of.isSoup ? Remedy{weld(), sew} : Remedy{sew});
    }
    all.push_back({repair(), fill()});
    return all;
}

/// An edge less for each needle takes two triangles away, and some more where neighbours are as narrow.
std::vector<Remedy> Choice::forNeedles(std::int64_t count) const {
    constexpr double trianglesOfEach = 4.0;
    constexpr double leastShare = 0.9;  // more would be another surface
    double const share = 1.0 - trianglesOfEach * static_cast<double>(count) /
                                   std::max(1, run_.of.asRead.getNumTriangles());
    return share < leastShare ? std::vector<Remedy>() : std::vector<Remedy>{{collapse(share)}};
}

std::optional<std::vector<Remedy>> Choice::of(Finding const& finding) const {
    using Remedies = std::vector<Remedy>;
    std::string const& kind = finding.kind;
    if (kind == "coincidentVertices")
        return Remedies{{weld()}, {repair()}, {repairOutward()}};
    if (kind == "holes")
        return Remedies{{fill()},
                        {fill(), repairOutward()},
                        {repair(), fill()},
                        {repair(), fill(), repairOutward()}};
    if (kind == "tJunctions")
        return Remedies{{fill()}, {repair(), fill()}};
    if (kind == "cracks")
        return forCracks();
    if (kind == "folds")
        return forFolds();
    if (kind == "selfIntersections")
        return forCuts();
    if (kind == "insideOutParts")
        return Remedies{{repairOutward()}};
    if (kind == "needleTriangles")
        return forNeedles(finding.count);
    for (char const* const repaired :
         {"crowdedEdges", "opposedNeighbours", "moebiusStrips", "duplicateTriangles",
          "degenerateTriangles", "bowTies", "overlaps"})
        if (kind == repaired)
            return Remedies{{repair()}, {repairOutward()}};
    return std::nullopt;
}

/// Of findings that are worse than notes.
std::int64_t countOf(Diagnosis const& diagnosis, std::string const& kind) {
    for (Finding const& finding : diagnosis.findings)
        if (finding.kind == kind && finding.severity != Severity::Note)
            return finding.count;
    return 0;
}

std::int64_t sumOf(Diagnosis const& diagnosis, Severity severity) {
    std::int64_t sum = 0;
    for (Finding const& finding : diagnosis.findings)
        sum += finding.severity == severity ? finding.count : 0;
    return sum;
}

std::int64_t numOpenings(Diagnosis const& diagnosis) {
    return countOf(diagnosis, "holes") + countOf(diagnosis, "cracks") +
           countOf(diagnosis, "tJunctions");
}

/// Whether a remedy that removes or adds surface does more harm than good.
bool doesHarm(Diagnosis const& before, Diagnosis const& after, Finding const& finding) {
    for (char const* const kind :
         {"folds", "selfIntersections", "overlaps", "holes", "cracks", "tJunctions"})
        if (finding.kind == kind)
            return sumOf(after, finding.severity) >= sumOf(before, finding.severity) ||
                   numOpenings(after) > numOpenings(before);
    return false;
}

bool endsBetter(Diagnosis const& before, Diagnosis const& after, Finding const& finding) {
    bool const isLess = countOf(after, finding.kind) < finding.count;
    if (!isLess || after.area < leastAreaKept * before.area || doesHarm(before, after, finding))
        return false;
    for (Finding const& other : after.findings)
        if (other.severity < finding.severity && other.count > countOf(before, other.kind))
            return false;
    for (int s = 0; s <= static_cast<int>(finding.severity); ++s) {
        auto const severity = static_cast<Severity>(s);
        std::int64_t const sumBefore = sumOf(before, severity);
        std::int64_t const sumAfter = sumOf(after, severity);
        if (sumBefore != sumAfter)
            return sumAfter < sumBefore;
    }
    return false;
}

/// "Tried on a copy: 4 of 63 are left; holes 0 -> 3."
std::string trialInWords(Diagnosis const& before, Diagnosis const& after, Finding const& finding) {
    std::int64_t const left = countOf(after, finding.kind);
    std::string text = "Tried on a copy: " +
                       (left == 0 ? std::string("nothing of this is left")
                                  : std::to_string(left) + " of " + std::to_string(finding.count) +
                                        (left == 1 ? " is left" : " are left"));
    for (Finding const& other : after.findings) {
        std::int64_t const was = countOf(before, other.kind);
        if (other.severity != Severity::Note && other.count > was)
            text += "; " + other.kind + " " + std::to_string(was) + " -> " +
                    std::to_string(other.count);
    }
    return text + ".";
}

/// What the command of a kind does, or what to do where none mends it.
struct Words {
    char const* kind;
    char const* mended;
    char const* open;
};

constexpr Words wordsOfKinds[] = {
    {"crowdedEdges", "The repair removes surplus triangles, and keeps the older ones.", ""},
    {"moebiusStrips", "The repair removes the strip, or a band of it.",
     "Cut it across where it is meant to end."},
    {"bowTies", "The repair gives each fan a vertex of its own, in the same place.", ""},
    {"folds", "The triangles at these edges are removed.",
     "To remove these triangles, and to fill what is open then, leaves the surface no better: "
     "smooth or edit it there."},
    {"selfIntersections",
     "These triangles are removed. Parts that are meant to overlap are better joined where they "
     "were made.",
     "To remove these triangles leaves the surface no better: parts that are meant to overlap are "
     "better joined where they were made, others edited there."},
    {"holes", "",
     "To fill them leaves the surface no better as it is: mend what is told above first, if there "
     "is anything, then look again."},
    {"cracks", "",
     "'trimora stitch' does not sew these as they are, or leaves the surface no better: mend what "
     "is told above first, if there is anything, then look again."},
    {"needleTriangles", "Short edges go, and the surface changes a little there.",
     "Reducing the surface a little does not take them away: flip or collapse their long edges "
     "where it was made."},
};

void addSentence(std::string& text, std::string const& sentence) {
    text += (text.empty() || sentence.empty() ? "" : " ") + sentence;
}

class Trials {
public:
    explicit Trials(DiagnosisRun& run)
        : run_(run),
          choice_(run),
          cost_(run.of.asRead.getNumTriangles() + fixedCost),
          budget_(mostTrials * mostTrianglesToMend) {
        options_ = run.options;
        options_.tryRemedies = false;
        options_.mostPlaces = 1;
        options_.mostElements = 1;
    }

    void choose(Finding& finding);

private:
    struct Trial {
        StepEnd end = StepEnd::Done;
        Diagnosis after;
    };

    bool canTry(Remedy const& remedy) const {
        return cost_ - fixedCost <= mostTrianglesToMend &&
               (trials_.count(commandOf(remedy)) > 0 || cost_ <= budget_);
    }
    Trial const& tryOut(Remedy const& remedy);
    /// Sets the remedy if there is one; what became of the trials.
    std::string choose(Finding& finding, std::vector<Remedy> const& remedies);

    DiagnosisRun& run_;
    Choice const choice_;
    std::int64_t const cost_;  // of a trial
    std::int64_t budget_;
    DiagnosisOptions options_;
    std::map<std::string, Trial> trials_;
};

Trials::Trial const& Trials::tryOut(Remedy const& remedy) {
    auto const [place, isNew] = trials_.try_emplace(commandOf(remedy));
    Trial& trial = place->second;
    if (!isNew)
        return trial;
    budget_ -= cost_;
    koUtil::Progress part;
    run_.progress.subPhase(static_cast<double>(cost_) / (mostTrials * mostTrianglesToMend), part);
    CompactMesh mesh(run_.of.asRead);
    for (Step const& step : remedy) {
        StepEnd const end = step.work(mesh, part);
        trial.end = std::max(trial.end, end);
        if (end == StepEnd::Refused || part.cancelled())
            return trial;
    }
    trial.after = diagnoseMesh(mesh, run_.report, options_, part);
    return trial;
}

void Trials::choose(Finding& finding) {
    bool const isNote = finding.severity == Severity::Note;
    auto const remedies = isNote ? std::nullopt : choice_.of(finding);
    if (!remedies) {
        finding.isSure = !finding.remedy.empty();
        return;
    }
    std::string const words = choose(finding, *remedies);
    bool const isOpen = finding.remedy.empty() && words.empty();
    for (Words const& told : wordsOfKinds)
        if (finding.kind == told.kind && (isOpen || !finding.remedy.empty()))
            addSentence(finding.advice, isOpen ? told.open : told.mended);
    addSentence(finding.advice, words);
}

std::string Trials::choose(Finding& finding, std::vector<Remedy> const& remedies) {
    std::string partly;
    for (Remedy const& remedy : remedies) {
        if (!canTry(remedy)) {
            if (!partly.empty())
                break;
            finding.remedy = commandOf(remedy);
            return "This may mend it: it was not tried, for the size of the mesh. Look again "
                   "afterwards.";
        }
        Trial const& trial = tryOut(remedy);
        if (run_.progress.cancelled())
            break;
        if (trial.end == StepEnd::Refused || !endsBetter(run_.result, trial.after, finding))
            continue;
        std::string const words = trialInWords(run_.result, trial.after, finding);
        if (trial.end == StepEnd::Done) {
            finding.remedy = commandOf(remedy);
            finding.isSure = true;
            return words;
        }
        if (partly.empty())
            partly = "'" + commandOf(remedy) +
                     "' ends better, but with code 1: it cannot do all that it sets out to. " +
                     words;
    }
    return partly;
}

}  // namespace

void chooseRemedies(DiagnosisRun& run) {
    Trials trials(run);
    for (Finding& finding : run.result.findings)
        if (!run.progress.cancelled())
            trials.choose(finding);
}

}  // namespace trimora
