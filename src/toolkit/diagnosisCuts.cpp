// Self-intersections and overlaps, on the surface exactly welded: triangles that share an edge by position but not by vertex number would
// count as cutting otherwise.

#include "toolkit/detail/diagnosis.h"
#include "toolkit/detail/selfCuts.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

namespace trimora {

namespace {

using koGeom::CompactMesh;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

CompactMesh weldedSurface(DiagnosisSurface const& of) {
    CompactMesh mesh = bareCopy(of.surface);
    if (of.isSoup || of.coincidentVertices == 0)
        return mesh;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int k = 0; k < 3; ++k)
            mesh.getTriangles()[t][k] = of.weld(mesh.getTriangles()[t][k]);
    // The places of the welded vertices: each image is written by vertices in one place.
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[of.weld(v)] = of.surface.getVertices()[v];
    return mesh;
}

std::int64_t numTrianglesIn(std::vector<SelfCut> const& cuts) {
    std::vector<int> triangles;
    for (SelfCut const& cut : cuts) {
        triangles.push_back(cut.triangle);
        triangles.push_back(cut.other);
    }
    std::sort(triangles.begin(), triangles.end());
    return std::unique(triangles.begin(), triangles.end()) - triangles.begin();
}

FindingPlace placeOfPair(DiagnosisRun const& run, int triangle, int other,
                         koLinear::Point const& middle) {
    int const a = run.of.triangleOf[at(triangle)];
    int const b = run.of.triangleOf[at(other)];
    FindingPlace place = run.place({{std::min(a, b), std::max(a, b)}, {}, {}});
    place.centre = {middle.x, middle.y, middle.z};
    return place;
}

FindingPlace placeOf(DiagnosisRun const& run, SelfCut const& cut) {
    FindingPlace place =
        placeOfPair(run, cut.triangle, cut.other, combine(0.5, cut.start, 0.5, cut.end));
    place.measure = distance(cut.start, cut.end);
    place.note = "cut " + lengthInWords(*place.measure) + " long";
    return place;
}

void tellCuts(DiagnosisRun& run, std::vector<SelfCut>& cuts) {
    if (cuts.empty())
        return;
    auto const count = std::int64_t(cuts.size());
    Finding& finding =
        run.add("selfIntersections", Finding::Severity::Moderate, count,
                countInWords(count, "pair of triangles cut", "pairs of triangles cut") +
                    " each other, " + countInWords(numTrianglesIn(cuts), "triangle") + " in all",
                "The surface passes through itself: inside and outside are muddled there, and "
                "solids made of "
                "it are not what they seem.");
    run.hasPlainCuts =
        std::any_of(cuts.begin(), cuts.end(), [](SelfCut const& cut) { return cut.isPlain; });
    if (!run.hasPlainCuts)
        finding.advice =
            "Corners lie exactly on the other triangles here, or are shared with them: move one "
            "of them a little, or take the triangles out.";
    finding.unit = "length";
    run.addPlaces(
        finding, cuts,
        [](SelfCut const& a, SelfCut const& b) {
            double const lengthA = distance2(a.start, a.end);
            double const lengthB = distance2(b.start, b.end);
            return lengthA != lengthB   ? lengthA > lengthB
                   : a.other != b.other ? a.other < b.other
                                        : a.triangle < b.triangle;
        },
        [&run](SelfCut const& cut) { return placeOf(run, cut); });
}

FindingPlace placeOf(DiagnosisRun const& run, CoplanarOverlap const& overlap) {
    FindingPlace place = placeOfPair(run, overlap.triangle, overlap.other, overlap.centre);
    place.measure = overlap.area;
    place.note = "share an area of " + lengthInWords(overlap.area);
    return place;
}

void tellOverlaps(DiagnosisRun& run, std::vector<CoplanarOverlap>& overlaps) {
    if (overlaps.empty())
        return;
    auto const count = std::int64_t(overlaps.size());
    Finding& finding = run.add(
        "overlaps", Finding::Severity::Moderate, count,
        countInWords(count, "pair of triangles overlaps", "pairs of triangles overlap") +
            " in one plane",
        "They lie on each other without having the same corners: a sheet that is there twice, or "
        "walls in which two solids touch. They flicker when they are drawn, and inside and outside "
        "are not told apart there.");
    finding.advice = "Take out what is there twice; solids that touch are better joined in the "
                     "program that they came from.";
    finding.unit = "area";
    run.addPlaces(
        finding, overlaps,
        [](CoplanarOverlap const& a, CoplanarOverlap const& b) {
            return a.area != b.area     ? a.area > b.area
                   : a.other != b.other ? a.other < b.other
                                        : a.triangle < b.triangle;
        },
        [&run](CoplanarOverlap const& overlap) { return placeOf(run, overlap); });
}

}  // namespace

void diagnoseCuts(DiagnosisRun& run) {
    if (!run.options.testIntersections)
        return;
    std::vector<CoplanarOverlap> overlaps;
    std::vector<SelfCut> cuts = findSelfCuts(weldedSurface(run.of), run.progress, &overlaps);
    if (run.progress.cancelled())
        return;
    tellCuts(run, cuts);
    tellOverlaps(run, overlaps);
}

}  // namespace trimora
