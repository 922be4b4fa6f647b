// The library stitches what it is given; here is decided what it gets, and whether the result is any good. Everything happens on
// a copy, so that a result that checkMesh finds worse can be thrown away.

#include "toolkit/meshStitching.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/exactShift.h"
#include "toolkit/detail/holeLists.h"
#include "toolkit/detail/openEdges.h"
#include "toolkit/detail/seamCrossings.h"
#include "toolkit/detail/seamFolds.h"
#include "toolkit/detail/stitchPlan.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/repair/meshReverseWinding.h"
#include "trimora/stitch/meshCloseSlits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshBoundaries;
using koGeom::MeshStitchReport;
using koLinear::Point;

// Of the distance, tried one after the other where ends of a seam lie too far apart, and where the result is worse.
constexpr double otherDistances[] = {0.93, 0.86, 0.8};
// The border grows by rounding, where vertices come to lie on it.
constexpr double lengthSlack = 1e-5;
// Of a distance that was tried: what is nearer to it is no advice.
constexpr double leastChange = 0.1;
// Of two distances that are tried: more than rounding.
constexpr double longer = 1.001;
// Of the time on a mesh of 100 thousand triangles, without the test for intersections.
constexpr double shareOfCheck = 0.35;
constexpr double shareOfStitching = 0.3;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

double openLengthOf(std::vector<MeshHole> const& holes) {
    return std::accumulate(holes.begin(), holes.end(), 0.0,
                           [](double sum, MeshHole const& hole) { return sum + hole.perimeter; });
}

void turnComponents(CompactMesh& mesh, std::vector<int> const& vertices) {
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    for (int const vertex : vertices)
        koGeom::meshReverseWinding(mesh, adjTris, *adjTris.triIndices(vertex));
    mesh.clearSelection();
}

std::vector<int> sorted(std::vector<int> list) {
    std::sort(list.begin(), list.end());
    return list;
}

/// What one call of the library came to, and what was sewn on.
struct Stitched {
    CompactMesh mesh;
    CompactMesh asStitched;  // before it was sewn on
    MeshStitchReport report;
    std::vector<double> sewnOn;  // by seam
    bool isSewnOn = false;

    double length() const {
        return std::accumulate(report.seams.begin(), report.seams.end(),
                               std::accumulate(sewnOn.begin(), sewnOn.end(), 0.0),
                               [](double sum, auto const& seam) { return sum + seam.sewnLength; });
    }
    bool hasFarEnds() const {
        return std::any_of(report.seams.begin(), report.seams.end(), [](auto const& seam) {
            return seam.outcome == MeshStitchReport::Outcome::TooFar;
        });
    }
};

class Stitching {
public:
    Stitching(CompactMesh& mesh, std::vector<MeshHole> const& holes, StitchOptions const& options,
              koUtil::Progress& progress)
        : mesh_(mesh),
          holes_(holes),
          options_(options),
          progress_(progress),
          scale_(unitScale(diagonalOf(mesh))),
          shift_(exactShift(mesh)) {}

    StitchOutcome run(std::vector<int> const& chosen);

private:
    bool plan(std::vector<int> const& chosen);
    CheckResult check(CompactMesh const& mesh, double share);
    bool begin(std::vector<int>& turned);
    void settle(std::vector<int> const& turned);
    bool attempt(std::vector<int> const& turned, double distance);
    void sewOn();
    void forgetSewingOn();
    int loopOf(int boundary) const;
    void noteSeams();
    void noteTurned(std::vector<int> const& vertices);
    void refuse(std::string const& text) { outcome_.refusal = text; }
    void refuseSamples(double count);
    void refuseCrowd();
    void refuseUnaligned();
    void refuseUnsewn();
    void judge(double share);
    void inspect(double share);
    void compare(char const* key, double before, double after);
    void compareCounts(CheckResult const& before, CheckResult const& after);
    void refuseWorse();
    void noteGaps(std::vector<MeshHole>& left);

    CompactMesh& mesh_;
    std::vector<MeshHole> const& holes_;
    StitchOptions const& options_;
    koUtil::Progress& progress_;
    double const scale_;
    std::array<double, 3> const shift_;
    std::vector<int> taking_;  // part: places in the list of holes
    std::vector<int> loops_;   // the list of holes, by the boundaries of the latest attempt
    Stitched stitched_;
    StitchOutcome outcome_;
};

StitchOutcome Stitching::run(std::vector<int> const& chosen) {
    if (!plan(chosen))
        return std::move(outcome_);
    progress_.setCaption("checking the mesh as it is");
    outcome_.before = check(mesh_, shareOfCheck);
    std::vector<int> turned;
    if (!progress_.cancelled() && begin(turned))
        settle(turned);
    outcome_.cancelled = progress_.cancelled();
    if (outcome_.cancelled || !outcome_.refusal.empty())
        return std::move(outcome_);
    outcome_.dropped = replaceMesh(mesh_, stitched_.mesh);
    return std::move(outcome_);
}

bool Stitching::plan(std::vector<int> const& chosen) {
    if (!(options_.distance > 0.0)) {
        refuse("the distance is not above 0");
        return false;
    }
    outcome_.boundaries = planStitching(mesh_, holes_, chosen, options_.distance);
    StitchBoundary const* firstFault = nullptr;
    double numSamples = 0.0;
    for (StitchBoundary const& boundary : outcome_.boundaries) {
        if (!boundary.words.empty()) {
            firstFault = firstFault == nullptr ? &boundary : firstFault;
            continue;
        }
        taking_.push_back(boundary.boundary);
        numSamples += static_cast<double>(boundary.samples);
    }
    if (numSamples > static_cast<double>(mostStitchSamples))
        refuseSamples(numSamples);
    else
        refuseCrowd();
    if (taking_.size() > 1)
        return outcome_.refusal.empty();
    if (holes_.size() == 1) {
        refuse(
            "the mesh has only one boundary, and stitching takes two; 'trimora fill' closes holes");
        return false;
    }
    refuse("stitching takes two boundaries at least, and " +
           (taking_.empty() ? std::string("none") : "only 1") + " of " +
           countInWords(static_cast<std::int64_t>(chosen.size()), "chosen one") + " can take part" +
           (firstFault == nullptr ? std::string()
                                  : "; boundary " + std::to_string(firstFault->boundary + 1) +
                                        ": " + firstFault->words));
    if (firstFault != nullptr)
        outcome_.problemPoint = holes_[at(firstFault->boundary)].faultPlace;
    return false;
}

void Stitching::refuseSamples(double count) {
    char text[200];
    std::snprintf(text, sizeof text,
                  "the distance is too small for boundaries of this length: it takes %.3g points a "
                  "fifth of it apart, and the limit is %.3g; raise it to %.2g or more",
                  count, static_cast<double>(mostStitchSamples),
                  options_.distance * count / static_cast<double>(mostStitchSamples));
    refuse(text);
}

void Stitching::refuseCrowd() {
    auto const numLoops = static_cast<std::int64_t>(taking_.size());
    if (numLoops * (numLoops - 1) <= mostNearBoundaries)
        return;
    std::int64_t const numNear = countNearPairs(mesh_, holes_, taking_, options_.distance);
    if (numNear > mostNearBoundaries)
        refuse("the boundaries crowd: each of " + countInWords(numLoops, "boundary", "boundaries") +
               " has " + std::to_string(numNear / numLoops) +
               " others or more within the distance, and no more than " +
               std::to_string(mostNearBoundaries) +
               " such pairs are looked at; run 'trimora repair' first, which welds and takes "
               "copies away, lessen the distance, or name the boundaries");
}

CheckResult Stitching::check(CompactMesh const& mesh, double share) {
    CheckOptions options;
    options.foldAngle = options_.foldAngle;
    options.testIntersections = options_.testIntersections;
    koUtil::Progress child;
    progress_.subPhase(share, child);
    return checkMesh(mesh, options, child);
}

/// The library turns components that run the wrong way, but goes on with boundaries of its own numbering then, which cuts
/// loops short that touch: so the mesh as it was is turned and stitched afresh.
bool Stitching::begin(std::vector<int>& turned) {
    bool isDone = attempt({}, options_.distance);
    MeshStitchReport const& report = stitched_.report;
    turned.assign(report.turnedComponents.begin(), report.turnedComponents.end());
    if (!turned.empty()) {
        isDone = attempt(turned, options_.distance) && report.turnedComponents.empty();
        noteTurned(turned);
    }
    progress_.set(shareOfCheck + shareOfStitching);
    if (isDone)
        return true;
    outcome_.turned.clear();
    refuse("the sides cannot be made to run against each other by turning whole components round; "
           "choose which ones belong together with --boundaries, or lessen the distance");
    return false;
}

/// Keeps the first attempt if it is sound and every seam found its place, else the best of several: where ends lie is a matter of
/// which samples face each other, and a slightly smaller distance has others.
void Stitching::settle(std::vector<int> const& turned) {
    judge(1.0 - shareOfCheck - shareOfStitching);
    Stitched best;
    StitchOutcome bestOutcome;
    for (double const share : otherDistances) {
        bool const isGood = outcome_.refusal.empty() && !stitched_.hasFarEnds();
        if (isGood || outcome_.seams.empty() || progress_.cancelled())
            return;
        best = std::move(stitched_);
        bestOutcome = outcome_;
        outcome_.refusal.clear();
        outcome_.problemPoint.reset();
        outcome_.worse.clear();
        bool const isDone =
            attempt(turned, share * options_.distance) && stitched_.report.turnedComponents.empty();
        if (isDone)
            judge(0.0);
        bool const isBetter = isDone && outcome_.refusal.empty() &&
                              (!bestOutcome.refusal.empty() || stitched_.length() > best.length());
        if (isBetter)
            continue;
        bestOutcome.attempts = outcome_.attempts;
        bestOutcome.seconds = outcome_.seconds;
        stitched_ = std::move(best);
        outcome_ = std::move(bestOutcome);
    }
}

bool Stitching::attempt(std::vector<int> const& turned, double distance) {
    progress_.setCaption("stitching");
    koOS::StopWatch watch;
    watch.start();
    stitched_ = Stitched();
    ++outcome_.attempts;
    outcome_.distance = distance;
    CompactMesh& mesh = stitched_.mesh;
    mesh = bareCopy(mesh_);
    moveVertices(mesh, shift_, 1.0);
    scaleVertices(mesh, scale_);
    turnComponents(mesh, turned);
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh);
    OpenEdges const openEdges(mesh, *adjTris);
    ko::Reference<MeshBoundaries> const boundaries(new MeshBoundaries(openEdges.asBoundaries()));

    // A loop keeps its vertices when it is turned, though not its place where loops touch.
    std::map<std::vector<int>, int> loopOfVertices;
    for (int const loop : taking_)
        loopOfVertices.emplace(sorted(holes_[at(loop)].vertices), loop);
    ko::vector<int> chosen;
    loops_.assign(at(boundaries->size()), -1);
    for (int b = 0; b < boundaries->size(); ++b) {
        auto const loop =
            loopOfVertices.find(sorted({boundaries->getStart(b), boundaries->getEnd(b)}));
        if (loop == loopOfVertices.end())
            continue;
        loops_[at(b)] = loop->second;
        chosen.push_back(b);
    }
    bool const isDone =
        koGeom::meshStitch(mesh, adjTris, boundaries, chosen, scale_ * distance, options_.tolerance,
                           stitched_.report, scale_ * options_.distance);
    if (isDone && stitched_.report.turnedComponents.empty())
        sewOn();
    outcome_.seconds += watch.clear();
    return isDone;
}

void Stitching::sewOn() {
    MeshStitchReport const& report = stitched_.report;
    ko::vector<Point> ends;
    std::vector<std::size_t> seamOfEnd;
    for (std::size_t i = 0; i < report.seams.size(); ++i) {
        for (Point const& end : report.seams[i].ends) {
            ends.push_back(end);
            seamOfEnd.push_back(i);
        }
    }
    stitched_.sewnOn.assign(report.seams.size(), 0.0);
    if (ends.empty())
        return;
    stitched_.asStitched = stitched_.mesh;
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(stitched_.mesh);
    auto const boundaries = cache.getBoundaries(stitched_.mesh);
    ko::vector<double> lengths;
    stitched_.isSewnOn =
        koGeom::meshCloseSlits(stitched_.mesh, adjTris, boundaries, ends,
                               scale_ * options_.distance, options_.tolerance, lengths);
    for (std::size_t i = 0; i < ends.size(); ++i)
        stitched_.sewnOn[seamOfEnd[i]] += lengths[i];
}

void Stitching::forgetSewingOn() {
    stitched_.isSewnOn = false;
    stitched_.mesh.swap(stitched_.asStitched);
    std::fill(stitched_.sewnOn.begin(), stitched_.sewnOn.end(), 0.0);
    noteSeams();
}

int Stitching::loopOf(int boundary) const {
    return boundary >= 0 && at(boundary) < loops_.size() ? loops_[at(boundary)] : -1;
}

void Stitching::noteSeams() {
    outcome_.isSewnOn = stitched_.isSewnOn;
    outcome_.seams.clear();
    for (std::size_t i = 0; i < stitched_.report.seams.size(); ++i) {
        MeshStitchReport::Seam const& told = stitched_.report.seams[i];
        double const sewnOn = i < stitched_.sewnOn.size() ? stitched_.sewnOn[i] : 0.0;
        StitchOutcome::Seam seam;
        seam.boundary = loopOf(told.boundary);
        seam.otherBoundary = loopOf(told.otherBoundary);
        seam.circular = told.circular;
        seam.stretchLength = told.length / scale_;
        seam.sewnLength = (told.sewnLength + sewnOn) / scale_;
        seam.gap = told.gap / scale_;
        seam.endDistance = told.endDistance / scale_;
        seam.quality = seam.stretchLength > 0.0 ? seam.gap * seam.gap / seam.stretchLength : 0.0;
        seam.fate = told.outcome;
        outcome_.seams.push_back(seam);
    }
}

void Stitching::noteTurned(std::vector<int> const& vertices) {
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh_, adjTris);
    koGeom::Array<int> componentOf;
    componentOf.setSize(mesh_.getNumVertices());
    std::vector<int> sizes(at(koGeom::meshComponents(mesh_, adjTris, &componentOf)), 0);
    for (int t = 0; t < mesh_.getNumTriangles(); ++t)
        ++sizes[at(componentOf[mesh_.getTriangles()[t][0]])];
    for (int const vertex : vertices) {
        Point const p = pointOf(mesh_, vertex);
        outcome_.turned.push_back({vertex, {p.x, p.y, p.z}, sizes[at(componentOf[vertex])]});
    }
}

void Stitching::refuseUnaligned() {
    auto const suggestion = suggestStitchDistance(mesh_, holes_, taking_);
    char advice[96] = "no boundary has another one near it along a good part of its length";
    bool const isOther = suggestion && std::fabs(suggestion->distance - options_.distance) >
                                           leastChange * options_.distance;
    if (isOther)
        std::snprintf(advice, sizeof advice, "from the distances between them %.4g may do",
                      suggestion->distance);
    else if (suggestion)
        std::snprintf(advice, sizeof advice, "the distances between them suggest no other one");
    refuse("no two of " +
           countInWords(static_cast<std::int64_t>(taking_.size()), "boundary", "boundaries") +
           " run within the distance of each other for more than twice it; " + advice);
}

void Stitching::refuseUnsewn() {
    refuse("none of " + countInWords(static_cast<std::int64_t>(outcome_.seams.size()), "seam") +
           " that were found could be sewn, the first since " +
           wordsOfFate(outcome_.seams.front().fate) + "; change the distance");
}

/// Throws the result away when it is worse than what was there; first what was sewn on.
void Stitching::judge(double share) {
    noteSeams();
    if (outcome_.seams.empty())
        return refuseUnaligned();
    if (outcome_.numSewn() == 0)
        return refuseUnsewn();
    inspect(share);
    if (!outcome_.worse.empty() && stitched_.isSewnOn && !progress_.cancelled()) {
        forgetSewingOn();
        inspect(0.0);
    }
    if (!outcome_.worse.empty())
        refuseWorse();
}

void Stitching::inspect(double share) {
    scaleVertices(stitched_.mesh, 1.0 / scale_);
    moveVertices(stitched_.mesh, shift_, -1.0);
    SeamMending const mending = mendSeams(stitched_.mesh, mesh_, options_.foldAngle);
    outcome_.smoothedVertices = mending.movedVertices;
    outcome_.swappedEdges = mending.swappedEdges;
    progress_.setCaption("checking the result");
    outcome_.after = check(stitched_.mesh, share);
    if (progress_.cancelled())
        return;
    outcome_.worse.clear();
    outcome_.gaps.clear();
    koUtil::Progress child;  // the check has had the share
    progress_.subPhase(0.0, child);
    std::vector<MeshHole> left = findHoles(stitched_.mesh, child).holes;
    if (progress_.cancelled())
        return;
    compareCounts(outcome_.before, outcome_.after);
    compare("openLength", openLengthOf(holes_) * (1.0 + lengthSlack), openLengthOf(left));
    noteGaps(left);
}

void Stitching::compare(char const* key, double before, double after) {
    if (after > before)
        outcome_.worse.push_back({key, before, after});
}

void Stitching::compareCounts(CheckResult const& before, CheckResult const& after) {
    compare("duplicateTriangles", before.duplicateTriangles, after.duplicateTriangles);
    compare("degenerateTriangles", before.degenerateTriangles, after.degenerateTriangles);
    compare("nonManifoldEdges", before.nonManifoldEdges, after.nonManifoldEdges);
    if (before.nonManifoldVertices && after.nonManifoldVertices)
        compare("nonManifoldVertices", *before.nonManifoldVertices, *after.nonManifoldVertices);
    compare("notOriented", before.oriented ? 0.0 : 1.0, after.oriented ? 0.0 : 1.0);
    compare("foldedEdges", before.foldedEdges, after.foldedEdges);
    int const numCrossing = before.intersectingTriangles.value_or(0);
    if (after.intersectingTriangles.value_or(0) > numCrossing)  // or only in more pieces
        compare("intersectingTriangles", numCrossing, numCrossingTriangles(stitched_.mesh, mesh_));
    compare("unusedVertices", before.unusedVertices, after.unusedVertices);
}

void Stitching::refuseWorse() {
    std::string list;
    bool isFoldedAlone = true;
    for (StitchOutcome::Worsening const& worsening : outcome_.worse) {
        char text[96];
        std::snprintf(text, sizeof text, "%s%s %.10g (%.10g before)", list.empty() ? "" : ", ",
                      worsening.key.c_str(), worsening.after, worsening.before);
        list += text;
        isFoldedAlone = isFoldedAlone && worsening.key == "foldedEdges";
    }
    for (CheckResult::Offences const& offences : outcome_.after.offences) {
        if (offences.defect != outcome_.worse.front().key)
            continue;
        auto const& p = offences.first.front().position;
        outcome_.problemPoint = {static_cast<double>(p[0]), static_cast<double>(p[1]),
                                 static_cast<double>(p[2])};
    }
    refuse("the stitched mesh would be worse: " + list +
           "; try a smaller distance or another tolerance, or name the boundaries" +
           (isFoldedAlone ? "; the angle of a fold can be set" : ""));
}

void Stitching::noteGaps(std::vector<MeshHole>& left) {
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh_, adjTris);
    OpenEdges const before(mesh_, adjTris);
    for (MeshHole& hole : left) {
        auto const keys = keysOf(stitched_.mesh, hole.vertices);
        if (before.find(keys) >= 0)
            continue;
        double const width = hole.perimeter > 0.0 ? 2.0 * hole.patchArea / hole.perimeter : 0.0;
        outcome_.gaps.push_back({std::move(hole), width});
    }
}

std::string faultOf(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                    std::vector<int> const& chosen, StitchOptions const& options) {
    if (std::isinf(options.distance))
        return "the distance is infinite";
    if (std::isnan(options.tolerance) || std::isnan(options.foldAngle))
        return "the tolerance and the angle of a fold have to be numbers";
    return faultOfHoles(mesh, holes, chosen);
}

/// Parts are joined, and no new ones made.
Expectation predict(MeshState const& before, StitchOutcome const&) {
    Expectation expected;
    if (before.census)
        expected.mostComponents = before.census->components;
    expected.keepsManifold = true;
    expected.keepsOrientation = true;
    return expected;
}

}  // namespace

StitchOutcome stitchMesh(CompactMesh& mesh, std::vector<MeshHole> const& holes,
                         std::vector<int> const& chosen, StitchOptions const& options,
                         koUtil::Progress& progress) {
    return editChecked(
        mesh,
        [&](CompactMesh& work) {
            StitchOutcome outcome;
            outcome.refusal = faultOf(work, holes, chosen, options);
            return outcome.refusal.empty() ? Stitching(work, holes, options, progress).run(chosen)
                                           : outcome;
        },
        predict);
}

std::optional<StitchSuggestion> proposeStitchDistance(CompactMesh const& mesh,
                                                      std::vector<MeshHole> const& holes,
                                                      std::vector<int> const& chosen,
                                                      StitchOptions options,
                                                      koUtil::Progress& progress) {
    auto const suggestion = suggestStitchDistance(mesh, holes, chosen);
    if (!suggestion || mesh.getNumTriangles() > mostTrianglesToTry)
        return suggestion;
    std::optional<StitchSuggestion> best;
    for (double const distance : suggestion->distances) {
        options.distance = distance;
        CompactMesh copy = bareCopy(mesh);
        koUtil::Progress child;
        progress.subPhase(1.0 / static_cast<double>(suggestion->distances.size()), child);
        StitchOutcome const outcome = stitchMesh(copy, holes, chosen, options, child);
        if (outcome.cancelled)
            return best;
        double const least = best ? longer * *best->sewnLength : 0.0;
        if (!outcome.refusal.empty() || !(outcome.sewnLength() > least))
            continue;
        best = suggestion;
        best->distance = distance;
        best->sewnLength = outcome.sewnLength();
    }
    return best;
}

}  // namespace trimora
