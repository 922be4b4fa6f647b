// Whether a trial ended better, and the words for it.
//
// Kinds of findings are compared one by one. The gravest severity in which any of them differs decides: nothing of it may be more, or
// the trial is a trade at best. What removes or adds surface is held to more: no kind that is as grave as the finding, or graver,
// may be more, whatever else is mended on the way; that is better done by itself, first. So whoever follows the remedies never comes back to
// where he was.

#include "toolkit/detail/remedies.h"

#include <cmath>

namespace trimora {

namespace {

using Severity = Finding::Severity;

// Half of what is there twice may go, and some more.
constexpr double leastAreaKept = 0.4;
// Of what takes surface away to be rid of how it lies.
constexpr double leastAreaOfCutting = 0.9;
constexpr double leastToTell = 0.01;  // of the area

bool isAnyOf(std::string const& kind, std::initializer_list<char const*> kinds) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

bool takesSurface(Finding const& finding) {
    return isAnyOf(finding.kind, {"folds", "selfIntersections", "overlaps"});
}

bool changesSurface(Finding const& finding) {
    return takesSurface(finding) || isAnyOf(finding.kind, {"holes", "cracks", "tJunctions"});
}

Finding const* find(Diagnosis const& diagnosis, std::string const& kind) {
    for (Finding const& finding : diagnosis.findings)
        if (finding.kind == kind)
            return &finding;
    return nullptr;
}

/// Of a kind, if it is at least as grave.
std::int64_t countOf(Diagnosis const& diagnosis, std::string const& kind, Severity severity) {
    Finding const* const finding = find(diagnosis, kind);
    return finding == nullptr || finding->severity > severity ? 0 : finding->count;
}

/// Of findings that are worse than notes.
std::int64_t countOf(Diagnosis const& diagnosis, std::string const& kind) {
    return countOf(diagnosis, kind, Severity::Slight);
}

std::int64_t sumOf(Diagnosis const& diagnosis, Severity severity) {
    std::int64_t sum = 0;
    for (Finding const& finding : diagnosis.findings)
        sum += finding.severity == severity ? finding.count : 0;
    return sum;
}

/// The gravest severity of which there is more after than before, of some kind; notes where there is no more of any that is worse.
Severity gravestMore(Diagnosis const& before, Diagnosis const& after) {
    Severity gravest = Severity::Note;
    for (Finding const& finding : after.findings)
        if (finding.count > countOf(before, finding.kind, finding.severity))
            gravest = std::min(gravest, finding.severity);
    return gravest;
}

/// The gravest severity in which the sums differ, but none beyond the finding's own; and whether there is less of it.
bool isLessInSum(Diagnosis const& before, Diagnosis const& after, Severity own) {
    for (int s = 0; s <= static_cast<int>(own); ++s) {
        std::int64_t const sumBefore = sumOf(before, static_cast<Severity>(s));
        std::int64_t const sumAfter = sumOf(after, static_cast<Severity>(s));
        if (sumBefore != sumAfter)
            return sumAfter < sumBefore;
    }
    return false;
}

/// Whether what removes surface leaves it open where it was not.
bool opens(Diagnosis const& before, Diagnosis const& after) {
    return after.boundaries > before.boundaries || (before.volume && !after.volume);
}

/// The share of the area that is gone; 0 where there is more, or where the remedy is another unit.
double areaLost(Diagnosis const& before, Diagnosis const& after, Finding const& finding) {
    return before.area > 0.0 && finding.kind != "extremeScale"
               ? std::max(0.0, 1.0 - after.area / before.area)
               : 0.0;
}

std::string grown(std::string const& name, std::int64_t before, std::int64_t after) {
    return after > before
               ? "; " + name + " " + std::to_string(before) + " -> " + std::to_string(after)
               : std::string();
}

/// What the command of a kind does, or what to do where none mends it.
struct Words {
    char const* kind;
    char const* mended;
    char const* open;
};

constexpr Words wordsOfKinds[] = {
    {"nonfiniteTriangles", "",
     "Nothing is left without them: find out in the program that wrote the file what made them."},
    {"triangleSoup", "", "A weld leaves the surface no better as it is."},
    {"crowdedEdges", "The repair removes surplus triangles, and keeps the older ones.",
     "The repair leaves the surface no better: take the surplus triangles out where it was made."},
    {"opposedNeighbours", "",
     "The repair leaves the surface no better: turn triangles over where it was made."},
    {"moebiusStrips", "The repair removes the strip, or a band of it.",
     "Cut it across where it is meant to end."},
    {"insideOutParts", "",
     "To turn them leaves the surface no better as it is: mend what else is severe first, then "
     "look again."},
    {"coincidentVertices", "",
     "To weld them leaves the surface no better: more than two triangles would meet in an edge, "
     "or surfaces that merely touch would be joined."},
    {"duplicateTriangles", "",
     "To take them away leaves the surface no better as it is: mend what is told above first, if "
     "there is anything, then look again."},
    {"degenerateTriangles", "",
     "To take them away leaves the surface no better: swap or collapse their edges where it was "
     "made."},
    {"bowTies", "The repair gives each fan a vertex of its own, in the same place.",
     "To part the fans leaves the surface no better as it is: mend what is told above first, if "
     "there is anything, then look again."},
    {"folds", "The triangles at these edges are removed.",
     "To remove these triangles, and to fill what is open then, leaves the surface no better: "
     "smooth or edit it there."},
    {"selfIntersections",
     "These triangles are removed. Parts that are meant to overlap are better joined where they "
     "were made.",
     "To remove these triangles, and to fill what is open then, leaves the surface no better: "
     "parts that are meant to overlap are better joined where they were made, others edited "
     "there."},
    {"holes", "",
     "To fill them leaves the surface no better as it is: mend what is told above first, if there "
     "is anything, then look again."},
    {"cracks", "",
     "What was tried does not sew these as they are, or leaves the surface no better: mend what "
     "is told above first, if there is anything, then look again."},
    {"needleTriangles", "Short edges go, and the surface changes a little there.",
     "Reducing the surface a little does not take them away: flip or collapse their long edges "
     "where it was made."},
    {"unusedVertices", "",
     "A repair that drops them leaves the surface no better as it is: mend what is told above "
     "first, then look again."},
    {"dust", "",
     "A repair that leaves them out makes the surface no better as it is: mend what is told above "
     "first, then look again. 'trimora split IN OUT --components' writes each part to a file of "
     "its own."},
    {"extremeScale", "", "Choose another unit where it was made."},
};

Words const* findWords(std::string const& kind) {
    for (Words const& words : wordsOfKinds)
        if (kind == words.kind)
            return &words;
    return nullptr;
}

}  // namespace

Verdict judgeTrial(Diagnosis const& before, Diagnosis const& after, Finding const& finding) {
    Severity const more = gravestMore(before, after);
    bool const isLess = countOf(after, finding.kind) < finding.count &&
                        isLessInSum(before, after, finding.severity);
    bool const isLost = after.area <= 0.0 || (takesSurface(finding) && opens(before, after));
    if (!isLess || isLost || more < finding.severity)
        return Verdict::NoBetter;
    if (more == finding.severity) {
        bool const isGraverMended = isLessInSum(
            before, after, static_cast<Severity>(std::max(0, static_cast<int>(more) - 1)));
        if (more == Severity::Fatal || changesSurface(finding) || !isGraverMended)
            return sumOf(after, more) < sumOf(before, more) ? Verdict::Trade : Verdict::NoBetter;
    }
    double const least = takesSurface(finding) ? leastAreaOfCutting : leastAreaKept;
    return areaLost(before, after, finding) > 1.0 - least ? Verdict::TakesMuch : Verdict::Better;
}

std::string trialInWords(Diagnosis const& before, Diagnosis const& after, Finding const& finding) {
    std::int64_t const left = countOf(after, finding.kind);
    std::string text = left == 0 ? std::string("nothing of this is left")
                                 : std::to_string(left) + " of " + std::to_string(finding.count) +
                                       (left == 1 ? " is left" : " are left");
    for (Finding const& other : after.findings)
        if (other.severity != Severity::Note)
            text += grown(other.kind, countOf(before, other.kind), other.count);
    text += grown("borders", before.boundaries, after.boundaries);
    if (double const lost = areaLost(before, after, finding); lost >= leastToTell)
        text += "; " + std::to_string(std::lround(100.0 * lost)) + " % of the area goes";
    return text;
}

std::string wordsOfMended(std::string const& kind) {
    Words const* const words = findWords(kind);
    return words == nullptr ? "" : words->mended;
}

std::string wordsOfOpen(std::string const& kind) {
    Words const* const words = findWords(kind);
    return words == nullptr ? "" : words->open;
}

}  // namespace trimora
