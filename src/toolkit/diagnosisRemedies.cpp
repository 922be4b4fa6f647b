// What mends a finding is tried before it is told: the commands that may do so run on a copy of the mesh, which is diagnosed again.
// What is tried is bounded by a count of triangles and borders, not by a clock, so that what is told does not hang on the machine.

#include "toolkit/detail/remedies.h"

#include <map>

namespace trimora {

namespace {

using koGeom::CompactMesh;

constexpr std::int64_t fixedCost = 500;  // of a trial, in triangles

void addSentence(std::string& text, std::string const& sentence) {
    text += (text.empty() || sentence.empty() ? "" : " ") + sentence;
}

class Trials {
public:
    explicit Trials(DiagnosisRun& run) : run_(run), cost_(run.of.asRead.getNumTriangles()) {
        cost_ += fixedCost;
        for (Finding const& finding : run.result.findings)
            if (finding.kind == "selfIntersections" || finding.kind == "overlaps")
                cost_ += finding.count;  // each is found again
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

    /// What became of the candidates, the first of each kind.
    struct Tally {
        Remedy const* better = nullptr;
        Remedy const* takesMuch = nullptr;
        Remedy const* partly = nullptr;
        Remedy const* trade = nullptr;
        Remedy const* untried = nullptr;
        bool isAnyTried = false;
    };

    std::int64_t costOf(Remedy const& remedy) const;
    bool canTry(Remedy const& remedy, bool isFirst) const;
    Trial const& tryOut(Remedy const& remedy);
    void judge(Remedy const& remedy, Finding const& finding, Tally& tally);
    Tally tryAll(std::vector<Remedy> const& remedies, Finding const& finding);
    /// Sets the remedy if there is one; what became of the trials.
    std::string choose(Finding& finding, Tally const& tally);
    std::string outcomeInWords(Remedy const& remedy, Finding const& finding) {
        return trialInWords(run_.result, tryOut(remedy).after, finding) + ".";
    }

    DiagnosisRun& run_;
    std::int64_t cost_;  // of a trial
    std::int64_t budget_ = mostCostOfTrials;
    DiagnosisOptions options_;
    std::map<std::string, Trial> trials_;
};

std::int64_t Trials::costOf(Remedy const& remedy) const {
    std::int64_t cost = cost_;
    for (RemedyStep const& step : remedy)
        cost += step.cost;
    return cost;
}

/// The plainest of a finding may be tried although others have used up what there was.
bool Trials::canTry(Remedy const& remedy, bool isFirst) const {
    return run_.of.asRead.getNumTriangles() <= mostTrianglesToMend &&
           (trials_.count(commandOf(remedy)) > 0 ||
            costOf(remedy) <= (isFirst ? mostCostOfTrials : budget_));
}

Trials::Trial const& Trials::tryOut(Remedy const& remedy) {
    auto const [place, isNew] = trials_.try_emplace(commandOf(remedy));
    Trial& trial = place->second;
    if (!isNew)
        return trial;
    budget_ -= costOf(remedy);
    koUtil::Progress part;
    constexpr double share = 0.5;  // of all that may be tried, as a few overdraw it
    run_.progress.subPhase(
        share * static_cast<double>(costOf(remedy)) / static_cast<double>(mostCostOfTrials), part);
    CompactMesh mesh(run_.of.asRead);
    for (RemedyStep const& step : remedy) {
        StepEnd const end = step.work(mesh, part);
        trial.end = std::max(trial.end, end);
        if (end == StepEnd::Refused || part.cancelled())
            return trial;
    }
    trial.after = diagnoseMesh(mesh, run_.report, options_, part);
    return trial;
}

void Trials::judge(Remedy const& remedy, Finding const& finding, Tally& tally) {
    Trial const& trial = tryOut(remedy);
    tally.isAnyTried = true;
    if (trial.end == StepEnd::Refused || run_.progress.cancelled())
        return;
    auto const note = [&remedy](Remedy const*& place) {
        if (place == nullptr)
            place = &remedy;
    };
    switch (judgeTrial(run_.result, trial.after, finding)) {
    case Verdict::Better:
        note(trial.end == StepEnd::Done ? tally.better : tally.partly);
        break;
    case Verdict::TakesMuch:
        note(trial.end == StepEnd::Done ? tally.takesMuch : tally.partly);
        break;
    case Verdict::Trade:
        note(tally.trade);
        break;
    case Verdict::NoBetter:
        break;
    }
}

Trials::Tally Trials::tryAll(std::vector<Remedy> const& remedies, Finding const& finding) {
    Tally tally;
    for (Remedy const& remedy : remedies) {
        if (tally.better != nullptr || run_.progress.cancelled())
            break;
        if (canTry(remedy, &remedy == &remedies.front()))
            judge(remedy, finding, tally);
        else if (tally.untried == nullptr)
            tally.untried = &remedy;
    }
    return tally;
}

void Trials::choose(Finding& finding) {
    bool const isNote = finding.severity == Finding::Severity::Note;
    auto const remedies = isNote ? std::nullopt : candidatesFor(run_, finding);
    if (!remedies) {
        finding.isSure = !finding.remedy.empty();
        return;
    }
    finding.remedy.clear();
    Tally const tally = tryAll(*remedies, finding);
    std::string const words = choose(finding, tally);
    if (finding.remedy.empty() && tally.partly == nullptr)
        addSentence(finding.advice, wordsOfOpen(finding.kind));
    else if (!finding.remedy.empty())
        addSentence(finding.advice, wordsOfMended(finding.kind));
    addSentence(finding.advice, words);
}

std::string Trials::choose(Finding& finding, Tally const& tally) {
    if (Remedy const* const told = tally.better != nullptr ? tally.better : tally.takesMuch) {
        finding.remedy = commandOf(*told);
        finding.isSure = tally.better != nullptr;
        return "Tried on a copy: " + outcomeInWords(*told, finding) +
               (finding.isSure ? "" : " That is much: look whether what is left is what you want.");
    }
    if (tally.untried != nullptr && !tally.isAnyTried) {
        finding.remedy = commandOf(*tally.untried);
        return "This may mend it: it was not tried, for the time that it takes. Look again "
               "afterwards.";
    }
    if (tally.partly != nullptr)
        return "'" + commandOf(*tally.partly) +
               "' ends better, but with code 1: it cannot do all that it sets out to. Tried on a "
               "copy: " +
               outcomeInWords(*tally.partly, finding);
    if (tally.trade != nullptr)
        return "'" + commandOf(*tally.trade) +
               "' is a trade: " + outcomeInWords(*tally.trade, finding);
    if (tally.untried != nullptr)
        return "'" + commandOf(*tally.untried) + "' was not tried, for the time that it takes.";
    return {};
}

}  // namespace

void chooseRemedies(DiagnosisRun& run) {
    Trials trials(run);
    for (Finding& finding : run.result.findings)
        if (!run.progress.cancelled())
            trials.choose(finding);
}

}  // namespace trimora
