// Self-intersections, on the surface exactly welded: triangles that share an edge by position but not by vertex number would
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

FindingPlace placeOf(DiagnosisRun const& run, SelfCut const& cut) {
    int const a = run.of.triangleOf[at(cut.triangle)];
    int const b = run.of.triangleOf[at(cut.other)];
    FindingPlace place = run.place({{std::min(a, b), std::max(a, b)}, {}, {}});
    koLinear::Point const middle = combine(0.5, cut.start, 0.5, cut.end);
    place.centre = {middle.x, middle.y, middle.z};
    place.measure = distance(cut.start, cut.end);
    place.note = "cut " + lengthInWords(*place.measure) + " long";
    return place;
}

}  // namespace

void diagnoseCuts(DiagnosisRun& run) {
    if (!run.options.testIntersections)
        return;
    std::vector<SelfCut> cuts = findSelfCuts(weldedSurface(run.of), run.progress);
    if (cuts.empty() || run.progress.cancelled())
        return;
    auto const count = std::int64_t(cuts.size());
    Finding& finding =
        run.add("selfIntersections", Finding::Severity::Moderate, count,
                countInWords(count, "pair of triangles cut", "pairs of triangles cut") +
                    " each other, " + countInWords(numTrianglesIn(cuts), "triangle") + " in all",
                "The surface passes through itself: inside and outside are muddled there, and "
                "solids made of "
                "it are not what they seem.");
    bool const isAnyPlain =
        std::any_of(cuts.begin(), cuts.end(), [](SelfCut const& cut) { return cut.isPlain; });
    if (isAnyPlain)
        finding.remedy = "trimora repair IN OUT --self-intersections";
    finding.advice =
        isAnyPlain
            ? "The repair removes these triangles; 'trimora fill' closes what is left open. Parts "
              "that are meant to overlap are better joined where they were made."
            : "Corners lie exactly on the other triangles here, or are shared with them: move one "
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

}  // namespace trimora
