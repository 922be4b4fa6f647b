// Remedies are told where a trial ended better, and are said to be guesses where none was made.

#include "support/builders.h"
#include "toolkit/diagnosisPaint.h"
#include "toolkit/meshDiagnosis.h"

#include <doctest/doctest.h>

using koGeom::CompactMesh;
using trimora::Diagnosis;
using trimora::DiagnosisOptions;
using trimora::Finding;

namespace {

Diagnosis diagnose(CompactMesh const& mesh, DiagnosisOptions const& options = {}) {
    koUtil::Progress progress;
    return trimora::diagnoseMesh(mesh, {}, options, progress);
}

Finding findingOf(Diagnosis const& diagnosis, std::string const& kind) {
    for (Finding const& finding : diagnosis.findings)
        if (finding.kind == kind)
            return finding;
    FAIL("no finding " << kind);
    return {};
}

CompactMesh withTriangles(CompactMesh const& mesh, std::vector<int> const& more) {
    std::vector<int> all = support::trianglesOf(mesh);
    all.insert(all.end(), more.begin(), more.end());
    return support::meshOf(support::coordinatesOf(mesh), all);
}

CompactMesh finned(CompactMesh const& mesh) {
    return withTriangles(
        support::joined(mesh, support::meshOf({3, 3, 3}, {})),
        {mesh.getTriangles()[0][2], mesh.getTriangles()[0][0], mesh.getNumVertices()});
}

CompactMesh holedBall() {
    CompactMesh ball = support::sphere(3);
    ball.resizeTriangleArray(ball.getNumTriangles() - 1);
    return ball;
}

}  // namespace

TEST_CASE("trialsTellWhatIsLeft") {
    Finding const hole = findingOf(diagnose(holedBall()), "holes");
    CHECK(hole.remedy == "trimora fill IN OUT");
    CHECK(hole.isSure);
    CHECK(hole.advice == "Tried on a copy: nothing of this is left.");
}

TEST_CASE("severalStepsAreOneCommand") {
    // Corners of their own, and a hole: filled only once welded.
    Finding const hole = findingOf(diagnose(support::soup(holedBall())), "holes");
    CHECK(hole.remedy == "trimora run IN OUT --task \"repair | fill\"");
    CHECK(hole.isSure);

    // A spike right through a ball: what cuts goes, and two holes are filled.
    CompactMesh spiked = support::sphere(4);
    koGeom::MeshVertex& tip = spiked.getVertices()[spiked.getTriangles()[0][0]];
    tip = {-1.3f * tip.x + 0.01f, -1.3f * tip.y + 0.02f, -1.3f * tip.z + 0.03f};
    Finding const cuts = findingOf(diagnose(spiked), "selfIntersections");
    CHECK(cuts.remedy == "trimora run IN OUT --task \"repair --self-intersections | fill\"");
    CHECK(cuts.isSure);
}

//   A fold whose removal opens what a patch closes in the same way: a pyramid so flat that its
//   four sides lie back to back with its square.
//
//        2---3
//        |\ /|     4 above the middle
//        | 4 |
//        |/ \|
//        0---1
TEST_CASE("whatGoesRoundInCirclesIsNoRemedy") {
    CompactMesh const flat =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0.5f, 0.5f, 0.02f},
                        {0, 3, 1, 0, 2, 3, 0, 1, 4, 1, 3, 4, 3, 2, 4, 2, 0, 4});
    Finding const folds = findingOf(diagnose(flat), "folds");
    CHECK(folds.count == 4);
    CHECK(folds.remedy == "");
    CHECK_FALSE(folds.isSure);
    CHECK(folds.advice.find("leaves the surface no better") != std::string::npos);
}

TEST_CASE("aSurfaceInsideOutIsTurned") {
    CompactMesh ball = support::sphere(2);
    for (int t = 0; t < ball.getNumTriangles(); ++t)
        std::swap(ball.getTriangles()[t][0], ball.getTriangles()[t][1]);
    Diagnosis const diagnosis = diagnose(ball);
    CHECK(findingOf(diagnosis, "insideOutParts").remedy == "trimora repair IN OUT --outward");
    CHECK(findingOf(diagnosis, "insideOutParts").isSure);
}

TEST_CASE("largeMeshesGetGuesses") {
    int const side = 230;  // 105,800 triangles
    CompactMesh const sheet = finned(support::grid(side, side));
    REQUIRE(sheet.getNumTriangles() > trimora::mostTrianglesToMend);
    Finding const crowded = findingOf(diagnose(sheet), "crowdedEdges");
    CHECK(crowded.remedy == "trimora repair IN OUT");
    CHECK_FALSE(crowded.isSure);
    CHECK(crowded.advice.find("This may mend it") != std::string::npos);
}

TEST_CASE("withoutTrialsNothingThatNeedsOneIsTold") {
    DiagnosisOptions options;
    options.tryRemedies = false;
    CompactMesh const mesh =
        support::joined(finned(support::sphere(2)), support::meshOf({9, 9, 9}, {}));
    Diagnosis const diagnosis = diagnose(mesh, options);
    CHECK(findingOf(diagnosis, "crowdedEdges").remedy == "");
    CHECK(findingOf(diagnosis, "unusedVertices").remedy != "");
}

TEST_CASE("aPictureShowsWhatTheTextTells") {
    // A hole, a bow-tie, and a vertex of no triangle.
    CompactMesh const mesh = support::joined(support::joined(holedBall(), support::bowTie(), 3.0f),
                                             support::meshOf({9, 9, 9}, {}));
    Diagnosis const diagnosis = diagnose(mesh);
    trimora::PaintedDiagnosis const painted = trimora::paintDiagnosis(mesh, diagnosis);
    trimora::SurfacePaint const& paint = painted.paint;
    CHECK(paint.title == "not sound");
    std::vector<std::string> told;
    for (auto const& swatch : paint.swatches)
        told.push_back(swatch.label);
    for (auto const& aside : paint.asides)
        told.push_back(aside.label);
    for (Finding const& finding : diagnosis.findings) {
        bool const isTold = finding.severity != Finding::Severity::Note;
        CHECK(std::count(told.begin(), told.end(), finding.title) == (isTold ? 1 : 0));
    }
    REQUIRE(paint.swatches.size() == 2);
    CHECK_FALSE(paint.swatches[0].isLine);  // of the bow-tie
    CHECK(paint.swatches[1].isLine);        // of the hole
    CHECK(std::count(paint.kinds.begin(), paint.kinds.end(), 0) == 6);
    CHECK(paint.edges.size() == 3);
    CHECK(painted.mesh.getNumTriangles() == mesh.getNumTriangles());

    CHECK(trimora::paintDiagnosis(support::cube(), diagnose(support::cube())).paint.title ==
          "sound");
}
