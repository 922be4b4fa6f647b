// Borders: holes, outer borders, cracks and T-junctions. A loop of which every edge is told as an unwelded seam is not told again.
//
// Loops lead along triangles. At surplus triangles, and where a patch has one side only, they follow edges that are not open; the
// open ones among these are put together once more without regard to their direction, and what comes to no loop is no border.

#include "toolkit/detail/borderStretches.h"
#include "toolkit/detail/diagnosis.h"
#include "toolkit/detail/edgeLoops.h"
#include "toolkit/detail/patchEstimate.h"
#include "toolkit/detail/stitchPlan.h"
#include "toolkit/detail/tJunctions.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshHoles.h"
#include "toolkit/meshStitching.h"

#include <cmath>
#include <numeric>
#include <string>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Severity = Finding::Severity;

constexpr double margin = 1.25;    // a distance to sew by has to be more than the gap
constexpr double edgeShare = 0.1;  // of an edge, where there is next to no gap
constexpr double farther = 8.0;    // distances beyond sew something else
constexpr std::size_t mostGuesses = 3;
// Measured, in triangles of a trial of another kind.
constexpr double costOfSample = 0.1;
constexpr double costOfPair = 30.0;
constexpr double outerShare =
    0.25;  // of the area round a border, which a patch over an outer one has
constexpr double slitWidth = 1e-3;  // of a border's mean edge: nearer vertices lie on it

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

class BorderDiagnosis {
public:
    BorderDiagnosis(DiagnosisRun& run, DiagnosisEdges const& edges) : run_(run), edges_(edges) {}

    void find();

private:
    CompactMesh turned() const;
    void findLoops();
    bool isOpen(VertexPair const& edge) const {
        return std::binary_search(edges_.open.begin(), edges_.open.end(), edge);
    }
    std::vector<double> patchAreas() const;
    MeshHole holeOf(std::vector<int> const& loop) const;
    void markOut();
    bool isBorder(std::size_t hole) const {
        return std::count(isOut_[hole].begin(), isOut_[hole].end(), 0) > 0;
    }
    void takeTJunctions();
    void sortLoops();
    void tellHoles();
    void tellOuter();
    void tellCracks();
    void tellTJunctions();
    void tellAlongCrowded();
    std::vector<StitchGuess> stitchGuesses(double least) const;
    std::int64_t costOfStitching(double distance) const;
    FindingPlace placeOf(MeshHole const& hole) const;
    FindingPlace placeOf(BorderStretch const& stretch) const;

    DiagnosisRun& run_;
    DiagnosisEdges const& edges_;
    std::vector<MeshHole> holes_;
    std::vector<std::vector<int>> loops_;
    std::vector<std::vector<char>> isOut_;  // the edge that leaves each vertex is a seam, or told
    bool hasLooseEdges_ = false;            // open ones that lead to no loop
    std::vector<TJunction> tJunctions_;
    std::vector<BorderStretch> cracks_;
    std::vector<int> inner_;  // holes to be told
    std::vector<int> outer_;
};

void BorderDiagnosis::find() {
    findLoops();
    markOut();
    for (std::size_t i = 0; i < holes_.size(); ++i)
        run_.result.boundaries += isBorder(i) ? 1 : 0;
    takeTJunctions();
    cracks_ = findBorderStretches(run_.of.surface, *run_.of.adjTris, loops_, isOut_);
    sortLoops();
    tellCracks();
    tellTJunctions();
    tellHoles();
    tellOuter();
    tellAlongCrowded();
}

/// A loop that is a crack for the most part is no hole as well.
void BorderDiagnosis::sortLoops() {
    std::vector<double> cracked(holes_.size(), 0.0);
    for (BorderStretch const& crack : cracks_)
        cracked[at(crack.loop)] += crack.length;
    for (std::size_t i = 0; i < holes_.size(); ++i) {
        bool const isCrack = 2.0 * cracked[i] > holes_[i].perimeter;
        if (isBorder(i) && !isCrack)
            (holes_[i].looksOuter ? outer_ : inner_).push_back(static_cast<int>(i));
    }
}

/// The surface with its neighbours wound alike: a border leads along triangles, and would end where they change over.
CompactMesh BorderDiagnosis::turned() const {
    CompactMesh mesh = run_.of.surface;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (edges_.isTurned[at(t)] != 0)
            std::swap(mesh.getTriangles()[t][1], mesh.getTriangles()[t][2]);
    return mesh;
}

void BorderDiagnosis::findLoops() {
    std::vector<VertexPair> loose;
    HolesOutcome found = findHoles(turned(), run_.progress);
    for (MeshHole& hole : found.holes) {
        std::vector<VertexPair> open;
        for (std::size_t i = 0; i < hole.vertices.size(); ++i) {
            VertexPair const edge(
                std::minmax(hole.vertices[i], hole.vertices[(i + 1) % hole.vertices.size()]));
            if (isOpen(edge))
                open.push_back(edge);
        }
        if (open.size() > 2 && open.size() == hole.vertices.size())
            holes_.push_back(std::move(hole));
        else
            loose.insert(loose.end(), open.begin(), open.end());
    }
    std::sort(loose.begin(), loose.end());
    loose.erase(std::unique(loose.begin(), loose.end()), loose.end());
    std::size_t numJoined = 0;
    std::vector<double> const areas = loose.empty() ? std::vector<double>() : patchAreas();
    for (std::vector<int> const& loop : joinEdgesToLoops(loose)) {
        int const triangle = trianglesOnEdge(run_.of, loop[0], loop[1]).front();
        MeshHole& hole = holes_.emplace_back(holeOf(loop));
        hole.looksOuter = hole.patchArea > outerShare * areas[at(edges_.patchOf[at(triangle)])];
        numJoined += loop.size();
    }
    hasLooseEdges_ = numJoined < loose.size();
    for (MeshHole const& hole : holes_)
        loops_.push_back(hole.vertices);
}

/// By the number of the patch.
std::vector<double> BorderDiagnosis::patchAreas() const {
    std::vector<double> areas(edges_.patchOf.size(), 0.0);
    for (int t = 0; t < run_.of.surface.getNumTriangles(); ++t)
        if (run_.of.isFinite(t))
            areas[at(edges_.patchOf[at(t)])] += 0.5 * run_.of.areaVector(t).length();
    return areas;
}

/// All but whether it looks like an outer border.
MeshHole BorderDiagnosis::holeOf(std::vector<int> const& loop) const {
    MeshHole hole;
    hole.vertices = loop;
    hole.low.fill(HUGE_VAL);
    hole.high.fill(-HUGE_VAL);
    std::vector<koLinear::Point> points;
    for (std::size_t i = 0; i < loop.size(); ++i) {
        koLinear::Point const p = run_.of.position(loop[i]);
        points.push_back(p);
        hole.perimeter += distance(p, run_.of.position(loop[(i + 1) % loop.size()]));
        double const xyz[] = {p.x, p.y, p.z};
        for (std::size_t k = 0; k < 3; ++k) {
            hole.low[k] = std::min(hole.low[k], xyz[k]);
            hole.high[k] = std::max(hole.high[k], xyz[k]);
        }
    }
    double const meanEdge = hole.perimeter / static_cast<double>(loop.size());
    hole.patchArea = estimatePatch(points, std::vector<double>(loop.size(), meanEdge)).area;
    hole.hasArea = hole.patchArea > slitWidth * meanEdge * hole.perimeter;
    hole.fault = "edges of many triangles are beside it, or the surface has one side only";
    return hole;
}

void BorderDiagnosis::markOut() {
    for (std::vector<int> const& loop : loops_) {
        std::vector<char>& marks = isOut_.emplace_back();
        for (std::size_t i = 0; i < loop.size(); ++i)
            marks.push_back(!run_.of.isSoup &&
                            run_.of.isSeam(loop[i], loop[(i + 1) % loop.size()]));
    }
}

/// Borders without area are slits. Those on which a vertex lies on an edge are told by their T-junctions alone.
void BorderDiagnosis::takeTJunctions() {
    for (std::size_t i = 0; i < holes_.size(); ++i) {
        MeshHole const& hole = holes_[i];
        if (hole.hasArea || !isBorder(i) || !std::isfinite(hole.perimeter))
            continue;
        double const tolerance = slitWidth * hole.perimeter / hole.numEdges();
        std::vector<TJunction> const found =
            findTJunctions(run_.of.surface, hole.vertices, tolerance);
        tJunctions_.insert(tJunctions_.end(), found.begin(), found.end());
        if (!found.empty())
            isOut_[i].assign(isOut_[i].size(), 1);
    }
}

FindingPlace BorderDiagnosis::placeOf(MeshHole const& hole) const {
    PlaceElements elements;
    std::size_t const count = hole.vertices.size();
    for (std::size_t i = 0; i < count; ++i)
        elements.edges.push_back(run_.edgeAsRead(hole.vertices[i], hole.vertices[(i + 1) % count]));
    FindingPlace place = run_.place(std::move(elements));
    place.measure = hole.perimeter;
    double const size = std::sqrt((hole.high[0] - hole.low[0]) * (hole.high[0] - hole.low[0]) +
                                  (hole.high[1] - hole.low[1]) * (hole.high[1] - hole.low[1]) +
                                  (hole.high[2] - hole.low[2]) * (hole.high[2] - hole.low[2]));
    place.note = "border of " + countInWords(hole.numEdges(), "edge") + ", " +
                 lengthInWords(hole.perimeter) + " long, " + lengthInWords(size) + " across";
    return place;
}

FindingPlace BorderDiagnosis::placeOf(BorderStretch const& stretch) const {
    PlaceElements elements;
    for (std::size_t i = 0; i + 1 < stretch.vertices.size(); ++i) {
        elements.edges.push_back(run_.edgeAsRead(stretch.vertices[i], stretch.vertices[i + 1]));
        for (int const t : trianglesOnEdge(run_.of, stretch.vertices[i], stretch.vertices[i + 1]))
            elements.triangles.push_back(run_.of.triangleOf[at(t)]);
    }
    FindingPlace place = run_.place(std::move(elements));
    place.measure = stretch.gap;
    place.note = countInWords(std::int64_t(stretch.vertices.size()) - 1, "edge") + ", " +
                 lengthInWords(stretch.length) + " long, up to " + lengthInWords(stretch.gap) +
                 " from the other side";
    return place;
}

void BorderDiagnosis::tellHoles() {
    if (inner_.empty())
        return;
    std::int64_t numFaulty = 0;
    for (int const hole : inner_)
        numFaulty += holes_[at(hole)].fault.empty() ? 0 : 1;
    auto const count = std::int64_t(inner_.size());
    Finding& finding = run_.add(
        "holes", Severity::Moderate, count, countInWords(count, "hole"),
        "Borders round openings that are small beside their part of the surface. With them "
        "there is no volume and no inside; prints and simulations need a closed surface.");
    if (numFaulty > 0)
        finding.advice = countInWords(numFaulty, "hole lies", "holes lie") +
                         " beside other faults, which have to be mended first.";
    finding.unit = "length";
    run_.addPlaces(
        finding, inner_,
        [this](int a, int b) {
            double const lengthA = holes_[at(a)].perimeter;
            double const lengthB = holes_[at(b)].perimeter;
            bool const isKnown = std::isfinite(lengthA) && std::isfinite(lengthB);
            return isKnown && lengthA != lengthB                      ? lengthA > lengthB
                   : std::isfinite(lengthA) != std::isfinite(lengthB) ? std::isfinite(lengthA)
                                                                      : a < b;
        },
        [this](int hole) { return placeOf(holes_[at(hole)]); });
}

void BorderDiagnosis::tellOuter() {
    if (outer_.empty())
        return;
    auto const count = std::int64_t(outer_.size());
    Finding& finding = run_.add("openBorders", Severity::Note, count,
                                "The surface is open at " + countInWords(count, "outer border"),
                                "So large an opening is meant, most likely: a sheet, a scan of one "
                                "side, a vessel. Volume and "
                                "inside are not defined.");
    finding.advice = "'trimora fill IN OUT --holes all' closes such borders as well.";
    finding.unit = "length";
    run_.addPlaces(finding, outer_, std::less<>(),
                   [this](int hole) { return placeOf(holes_[at(hole)]); });
}

/// Distances that may sew what the least one should: those that the borders suggest, too. Where borders crowd so that not even that one
/// will be tried, a suggestion takes as long.
std::vector<StitchGuess> BorderDiagnosis::stitchGuesses(double least) const {
    std::vector<StitchGuess> guesses = {{least, costOfStitching(least)}};
    if (guesses.front().cost > mostCostOfTrials)
        return guesses;
    std::vector<int> all(holes_.size());
    std::iota(all.begin(), all.end(), 0);
    if (auto const suggestion = suggestStitchDistance(run_.of.surface, holes_, all))
        for (double const distance : suggestion->distances)
            if (guesses.size() < mostGuesses && distance > least && distance < farther * least)
                guesses.push_back({distance, costOfStitching(distance)});
    return guesses;
}

/// Every border is asked for those beside it, where boxes tell nothing apart; and at points of its own.
std::int64_t BorderDiagnosis::costOfStitching(double distance) const {
    std::vector<MeshHole const*> byLow;
    double samples = 0.0;
    for (MeshHole const& hole : holes_) {
        byLow.push_back(&hole);
        samples +=
            std::isfinite(hole.perimeter) ? samplesPerDistance * hole.perimeter / distance : 0.0;
    }
    std::sort(byLow.begin(), byLow.end(),
              [](MeshHole const* a, MeshHole const* b) { return a->low[0] < b->low[0]; });
    auto const areNear = [distance](MeshHole const& a, MeshHole const& b, std::size_t axis) {
        return a.low[axis] <= b.high[axis] + distance && b.low[axis] <= a.high[axis] + distance;
    };
    double const most = static_cast<double>(mostCostOfTrials);
    double cost = costOfSample * samples;
    for (std::size_t i = 0; i < byLow.size() && cost <= most; ++i)
        for (std::size_t k = i + 1;
             k < byLow.size() && cost <= most && areNear(*byLow[i], *byLow[k], 0); ++k)
            cost += areNear(*byLow[i], *byLow[k], 1) && areNear(*byLow[i], *byLow[k], 2)
                        ? costOfPair
                        : costOfSample;
    return static_cast<std::int64_t>(std::min(cost, most + 1.0));
}

void BorderDiagnosis::tellCracks() {
    if (cracks_.empty())
        return;
    double widest = 0.0;
    double length = 0.0;
    for (BorderStretch const& crack : cracks_) {
        widest = std::max(widest, crack.gap);
        length += crack.length;
    }
    auto const count = std::int64_t(cracks_.size());
    Finding& finding = run_.add(
        "cracks", Severity::Moderate, count,
        countInWords(count, "stretch of border runs", "stretches of border run") +
            " close beside another one",
        "The surface looks closed there and is not: " + lengthInWords(length) +
            " of border have another one beside them, " +
            (widest > 0.0 ? "up to " + lengthInWords(widest) + " away." : "without a gap."));
    std::size_t numEdges = 0;
    for (BorderStretch const& crack : cracks_)
        numEdges += crack.vertices.size() - 1;
    double const least =
        std::max(margin * widest, edgeShare * length / static_cast<double>(numEdges));
    if (run_.options.tryRemedies)
        run_.stitchGuesses = stitchGuesses(least);
    finding.unit = "length";
    run_.addPlaces(
        finding, cracks_,
        [](BorderStretch const& a, BorderStretch const& b) {
            return a.length != b.length ? a.length > b.length : a.vertices < b.vertices;
        },
        [this](BorderStretch const& crack) { return placeOf(crack); });
}

void BorderDiagnosis::tellTJunctions() {
    if (tJunctions_.empty())
        return;
    auto const count = std::int64_t(tJunctions_.size());
    Finding& finding = run_.add(
        "tJunctions", Severity::Moderate, count,
        countInWords(count, "vertex lies", "vertices lie") +
            " on an edge that runs past instead of ending there",
        "A T-junction: the surface looks closed and is open, since the triangle beyond the edge "
        "does not have the vertex. Light leaks through, and edits tear it open.");
    finding.advice =
        "The triangle beyond the edge is to be split at the vertex. 'trimora fill' closes "
        "the surface as well, with triangles that are next to nothing.";
    run_.addPlaces(
        finding, tJunctions_,
        [](TJunction const& a, TJunction const& b) { return a.vertex < b.vertex; },
        [this](TJunction const& junction) {
            FindingPlace place = run_.placeOfVertex(junction.vertex);
            for (int const t : trianglesOnEdge(run_.of, junction.edge[0], junction.edge[1]))
                place.triangles.push_back(run_.of.triangleOf[at(t)]);
            place.edges.push_back(run_.edgeAsRead(junction.edge[0], junction.edge[1]));
            return place;
        });
}

/// Open edges that lead from surplus triangles to surplus triangles go round fins, and round holes that cannot be told yet.
void BorderDiagnosis::tellAlongCrowded() {
    if (!hasLooseEdges_)
        return;
    for (Finding& finding : run_.result.findings)
        if (finding.kind == "crowdedEdges")
            finding.advice += std::string(finding.advice.empty() ? "" : " ") +
                              "Borders that run along these edges are told once they are mended.";
}

}  // namespace

void diagnoseBorders(DiagnosisRun& run, DiagnosisEdges const& edges) {
    BorderDiagnosis(run, edges).find();
}

}  // namespace trimora
