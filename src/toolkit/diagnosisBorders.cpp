// Borders: holes, outer borders, and cracks. A loop of which every edge is told as an unwelded seam is not told again.

#include "toolkit/detail/borderStretches.h"
#include "toolkit/detail/diagnosis.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshHoles.h"
#include "toolkit/meshStitching.h"
#include "toolkit/meshTidying.h"

#include <cmath>
#include <numeric>
#include <string>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using Severity = Finding::Severity;

// Sewing is tried up to so many triangles: it takes seconds.
constexpr int mostToTry = 100000;
constexpr double margin = 1.25;    // a distance to sew by has to be more than the gap
constexpr double edgeShare = 0.1;  // of an edge, where there is next to no gap
constexpr double farther = 8.0;    // distances beyond sew something else

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

class BorderDiagnosis {
public:
    BorderDiagnosis(DiagnosisRun& run, DiagnosisEdges const& edges) : run_(run), edges_(edges) {}

    void find();

private:
    CompactMesh turned() const;
    int numOpenChains() const;
    void markOut();
    /// At surplus triangles a walk may turn back at once, or follow edges that are none of a border.
    bool isBorder(std::size_t hole) const {
        return loops_[hole].size() > 2 &&
               std::count(isOut_[hole].begin(), isOut_[hole].end(), 0) > 0;
    }
    void tellHoles();
    void tellOuter();
    void tellCracks();
    std::vector<MeshHole> holesAsRead() const;
    bool canFill() const;
    std::string stitchCommand(double least) const;
    FindingPlace placeOf(MeshHole const& hole) const;
    FindingPlace placeOf(BorderStretch const& stretch) const;

    DiagnosisRun& run_;
    DiagnosisEdges const& edges_;
    std::vector<MeshHole> holes_;
    std::vector<std::vector<int>> loops_;
    std::vector<std::vector<char>>
        isOut_;  // the edge that leaves each vertex is a seam, or not open
    std::vector<BorderStretch> cracks_;
    std::vector<int> inner_;  // holes to be told
    std::vector<int> outer_;
};

void BorderDiagnosis::find() {
    holes_ = findHoles(turned());
    for (MeshHole const& hole : holes_)
        loops_.push_back(hole.vertices);
    markOut();
    cracks_ = findBorderStretches(run_.of.surface, *run_.of.adjTris, loops_, isOut_);
    std::vector<std::size_t> cracked(holes_.size(), 0);
    for (BorderStretch const& crack : cracks_)
        cracked[at(crack.loop)] += crack.vertices.size() - 1;
    for (std::size_t i = 0; i < holes_.size(); ++i) {
        if (!isBorder(i))
            continue;
        ++run_.result.boundaries;
        if (cracked[i] < loops_[i].size())
            (holes_[i].looksOuter ? outer_ : inner_).push_back(static_cast<int>(i));
    }
    // The borders of what has one side only are cut into pieces above.
    if (!edges_.oneSided.empty())
        run_.result.boundaries = numOpenChains();
    tellCracks();
    tellHoles();
    tellOuter();
}

/// The surface with its neighbours wound alike: a border leads along triangles, and would end where they change over.
CompactMesh BorderDiagnosis::turned() const {
    CompactMesh mesh = run_.of.surface;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        if (edges_.isTurned[at(t)] != 0)
            std::swap(mesh.getTriangles()[t][1], mesh.getTriangles()[t][2]);
    return mesh;
}

/// Groups of open edges that hang together by vertices: the borders, but that those which touch are one.
int BorderDiagnosis::numOpenChains() const {
    std::vector<int> parents(at(run_.of.surface.getNumVertices()));
    std::iota(parents.begin(), parents.end(), 0);
    auto const rootOf = [&parents](int v) {
        while (parents[at(v)] != v)
            v = parents[at(v)] = parents[at(parents[at(v)])];
        return v;
    };
    std::vector<int> ends;
    for (VertexPair const& edge : edges_.open) {
        if (!run_.of.isSoup && run_.of.isSeam(edge.first, edge.second))
            continue;
        VertexPair const roots(std::minmax(rootOf(edge.first), rootOf(edge.second)));
        parents[at(roots.second)] = roots.first;
        ends.push_back(edge.first);
    }
    for (int& v : ends)
        v = rootOf(v);
    std::sort(ends.begin(), ends.end());
    return static_cast<int>(std::unique(ends.begin(), ends.end()) - ends.begin());
}

void BorderDiagnosis::markOut() {
    for (std::vector<int> const& loop : loops_) {
        std::vector<char>& marks = isOut_.emplace_back();
        for (std::size_t i = 0; i < loop.size(); ++i) {
            VertexPair const edge(std::minmax(loop[i], loop[(i + 1) % loop.size()]));
            bool const isOpen = std::binary_search(edges_.open.begin(), edges_.open.end(), edge);
            bool const isSeam = !run_.of.isSoup && run_.of.isSeam(edge.first, edge.second);
            marks.push_back(!isOpen || isSeam ? 1 : 0);
        }
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

/// What the editing commands will meet: they do not take out of the way what this diagnosis does.
std::vector<MeshHole> BorderDiagnosis::holesAsRead() const {
    bool const isAnyTurned =
        std::any_of(edges_.isTurned.begin(), edges_.isTurned.end(), [](char t) { return t != 0; });
    if (run_.of.isWhole() && !isAnyTurned)
        return holes_;
    return run_.of.isSoup || !run_.of.outOfRange.empty() ? std::vector<MeshHole>()
                                                         : findHoles(run_.of.inRange);
}

bool BorderDiagnosis::canFill() const {
    std::vector<MeshHole> const holes = holesAsRead();
    return std::any_of(holes.begin(), holes.end(), [](MeshHole const& hole) {
        return !hole.looksOuter && hole.fault.empty() && !hole.isSeam;
    });
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
    if (canFill())
        finding.remedy = "trimora fill IN OUT";
    if (run_.of.isSoup)
        finding.advice = "Weld first, then fill.";
    else if (numFaulty > 0)
        finding.advice = countInWords(numFaulty, "hole lies", "holes lie") +
                         " beside other faults: repair these first, then fill what is left.";
    else if (finding.remedy.empty())
        finding.advice = "Mend what is told above first, then look again.";
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

/// Distances that may sew what the least one should: those that the borders suggest, too.
std::vector<double> distancesFor(double least, CompactMesh const& mesh,
                                 std::vector<MeshHole> const& holes, std::vector<int> const& all) {
    std::vector<double> distances = {least};
    if (auto const suggestion = suggestStitchDistance(mesh, holes, all))
        for (double const distance : suggestion->distances)
            if (distance > distances.front() && distance < farther * distances.front())
                distances.push_back(distance);
    return distances;
}

/// The command that sews the cracks, once a copy was sewn so. None is tried where graver faults stand in the way, or on meshes so
/// large that a try takes long.
std::string BorderDiagnosis::stitchCommand(double least) const {
    for (char const* const kind : {"nonfiniteTriangles", "crowdedEdges", "opposedNeighbours",
                                   "moebiusStrips", "duplicateTriangles", "degenerateTriangles"})
        if (run_.has(kind))
            return {};
    std::vector<MeshHole> const holes = holesAsRead();
    if (holes.empty() || run_.of.inRange.getNumTriangles() > mostToTry)
        return {};
    std::vector<int> all(holes.size());
    for (std::size_t i = 0; i < all.size(); ++i)
        all[i] = static_cast<int>(i);
    for (double const distance : distancesFor(least, run_.of.inRange, holes, all)) {
        std::string const words = lengthInWords(distance);
        StitchOptions options;
        options.distance = std::stod(words);  // what will be typed
        options.testIntersections = run_.options.testIntersections;
        CompactMesh copy = bareCopy(run_.of.inRange);
        koUtil::Progress unwatched;
        StitchOutcome const outcome = stitchMesh(copy, holes, all, options, unwatched);
        if (outcome.refusal.empty() && outcome.sewnLength() > 0.0)
            return "trimora stitch IN OUT --distance " + words;
        if (run_.progress.cancelled())
            break;
    }
    return {};
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
    finding.remedy = stitchCommand(least);
    if (finding.remedy.empty())
        finding.advice =
            run_.of.isSoup ? std::string("Weld first; then this can be sewn.")
                           : "'trimora stitch IN OUT --distance " + lengthInWords(least) +
                                 "' may sew them once what is graver is mended; it refuses to make "
                                 "the surface worse.";
    finding.unit = "length";
    run_.addPlaces(
        finding, cracks_,
        [](BorderStretch const& a, BorderStretch const& b) {
            return a.length != b.length ? a.length > b.length : a.vertices < b.vertices;
        },
        [this](BorderStretch const& crack) { return placeOf(crack); });
}

}  // namespace

void diagnoseBorders(DiagnosisRun& run, DiagnosisEdges const& edges) {
    BorderDiagnosis(run, edges).find();
}

}  // namespace trimora
