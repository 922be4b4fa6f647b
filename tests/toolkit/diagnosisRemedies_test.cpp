// Remedies are told where a trial ended better, and are said to be guesses where none was made.

#include "support/builders.h"
#include "toolkit/detail/remedies.h"
#include "toolkit/diagnosisPaint.h"
#include "toolkit/meshDiagnosis.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

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

//   Two balls that cut each other: without the triangles that do so all four pieces would be open.
TEST_CASE("closedSolidsAreNotOpened") {
    CompactMesh const balls = support::joined(support::sphere(3), support::sphere(3), 0.7f, 0.1f);
    Finding const cuts = findingOf(diagnose(balls), "selfIntersections");
    CHECK(cuts.remedy == "");
    CHECK(cuts.advice.find("better joined where they were made") != std::string::npos);
}

namespace {

using Severity = Finding::Severity;

Finding found(char const* kind, Severity severity, std::int64_t count) {
    Finding finding;
    finding.kind = kind;
    finding.severity = severity;
    finding.count = count;
    return finding;
}

Diagnosis stateOf(std::vector<Finding> const& findings, double area = 1.0, int boundaries = 2) {
    Diagnosis diagnosis;
    diagnosis.findings = findings;
    diagnosis.area = area;
    diagnosis.boundaries = boundaries;
    return diagnosis;
}

}  // namespace

TEST_CASE("equalsAreNotTradedForEachOther") {
    using trimora::judgeTrial;
    using trimora::Verdict;
    Finding const crowded = found("crowdedEdges", Severity::Severe, 9);
    Finding const cuts = found("selfIntersections", Severity::Moderate, 26);
    Finding const copies = found("duplicateTriangles", Severity::Moderate, 5);
    Diagnosis const before = stateOf({crowded, cuts, copies});
    auto const fewer = [](Finding finding, std::int64_t count) {
        finding.count = count;
        return finding;
    };
    Finding const dust = found("dust", Severity::Slight, 90);
    Finding const folds = found("folds", Severity::Moderate, 3);
    auto const judge = [&](std::vector<Finding> const& after, Finding const& finding) {
        return judgeTrial(before, stateOf(after), finding);
    };
    CHECK(judge({crowded, fewer(cuts, 18), copies}, cuts) == Verdict::Better);
    CHECK(judge({crowded, fewer(cuts, 18), copies, dust}, cuts) == Verdict::Better);
    CHECK(judge({crowded, cuts, copies}, cuts) == Verdict::NoBetter);
    // A new kind as grave; one that grew; both of them graver.
    CHECK(judge({crowded, fewer(cuts, 18), copies, folds}, cuts) == Verdict::Trade);
    CHECK(judge({crowded, fewer(cuts, 18), fewer(copies, 6)}, cuts) == Verdict::Trade);
    CHECK(judge({fewer(crowded, 10), copies}, cuts) == Verdict::NoBetter);
    // What is graver and mended along makes up for it where no surface is made or cut.
    CHECK(judge({fewer(cuts, 18), copies, folds}, cuts) == Verdict::Trade);
    CHECK(judge({cuts, folds}, copies) == Verdict::Better);
    CHECK(judge({crowded, cuts, folds}, copies) == Verdict::Trade);
    CHECK(judge({crowded, cuts, fewer(copies, 4), folds}, copies) == Verdict::NoBetter);
    CHECK(judge({cuts, copies, folds}, crowded) == Verdict::Better);

    CHECK(judgeTrial(before, stateOf({crowded, copies}, 0.8), cuts) == Verdict::TakesMuch);
    CHECK(judgeTrial(before, stateOf({crowded, copies}, 1.0, 3), cuts) == Verdict::NoBetter);
    CHECK(judgeTrial(before, stateOf({cuts, copies}, 0.5, 3), crowded) == Verdict::Better);
    CHECK(judgeTrial(before, stateOf({cuts, copies}, 0.3), crowded) == Verdict::TakesMuch);
    CHECK(judgeTrial(before, stateOf({}, 0.0), crowded) == Verdict::NoBetter);
    Diagnosis closed = before;
    closed.volume = 1.0;
    CHECK(judgeTrial(closed, stateOf({crowded, copies}), cuts) == Verdict::NoBetter);
}

//   Six triangles on an edge, of which the repair keeps two.
TEST_CASE("whatTakesMuchIsToldWithItsPrice") {
    std::vector<float> coordinates = {0, 0, 0, 0, 0, 1};
    std::vector<int> triangles;
    for (int i = 0; i < 6; ++i) {
        coordinates.insert(coordinates.end(), {static_cast<float>(std::cos(i)),
                                               static_cast<float>(std::sin(i)), 0.5f});
        triangles.insert(triangles.end(), {0, 1, 2 + i});
    }
    Finding const crowded =
        findingOf(diagnose(support::meshOf(coordinates, triangles)), "crowdedEdges");
    CHECK(crowded.remedy == "trimora repair IN OUT");
    CHECK_FALSE(crowded.isSure);
    CHECK(crowded.advice.find("67 % of the area goes") != std::string::npos);
}

TEST_CASE("nothingIsToldWithoutAWayOn") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    CompactMesh const ball = support::sphere(2);
    CompactMesh point(ball);
    for (int v = 0; v < point.getNumVertices(); ++v)
        point.getVertices()[v] = {0, 0, 0};
    CompactMesh tiny(ball);
    for (int i = 0; i < 3 * tiny.getNumVertices(); ++i)
        tiny.getVerticesRaw()[i] *= 1e-41f;
    std::vector<CompactMesh> const meshes = {
        support::bowTie(),
        finned(ball),
        support::moebius(9),
        support::threeOnAnEdge(),
        support::flipped(ball, 0.3, 1),
        support::joined(ball, ball, 0.5f),
        support::soup(holedBall()),
        point,
        tiny,
        support::meshOf({0, 0, 0, 1, 0, 0, 2, 0, 0}, {0, 1, 2, 0, 0, 1}),
        support::meshOf({0, 0, 0, 1, 0, 0, nan, 0, 0}, {0, 1, 2}),
        support::joined(finned(ball), support::meshOf({9, 9, 9}, {})),
        support::meshOf({}, {})};
    for (CompactMesh const& mesh : meshes)
        for (Finding const& finding : diagnose(mesh).findings) {
            CAPTURE(finding.kind);
            bool const isNote = finding.severity == Severity::Note;
            CHECK((isNote || !finding.remedy.empty() || !finding.advice.empty()));
        }
    Diagnosis const flat = diagnose(point);
    REQUIRE(!flat.findings.empty());
    CHECK(flat.findings[0].kind == "degenerateTriangles");
    CHECK(flat.findings[0].severity == Severity::Fatal);
    // Ten to the 41st is no float; the largest power is a matrix that can be typed.
    CHECK(findingOf(diagnose(tiny), "extremeScale").remedy ==
          "trimora merge OUT IN --matrix 1:1e+38,0,0,0,1e+38,0,0,0,1e+38,0,0,0");
    CompactMesh huge(ball);
    for (int i = 0; i < 3 * huge.getNumVertices(); ++i)
        huge.getVerticesRaw()[i] *= 1e9f;
    CHECK(findingOf(diagnose(huge), "extremeScale").isSure);
    CHECK(findingOf(diagnose(meshes[10]), "nonfiniteTriangles").remedy == "");
}

//   Strips in one plane that cross others: each border is near all of those. A few are tried, many are not, however few triangles.
TEST_CASE("crowdsOfBordersAreNotTried") {
    auto const combs = [](int count) {
        CompactMesh mesh;
        for (int i = 0; i < 2 * count; ++i) {
            float const a = static_cast<float>(i / 2) / static_cast<float>(count);
            float const b = a + 0.9f / static_cast<float>(count);
            CompactMesh const strip =
                i % 2 == 0
                    ? support::meshOf({a, 0, 0, b, 0, 0, b, 1, 0, a, 1, 0}, {0, 1, 2, 0, 2, 3})
                    : support::meshOf({0, a, 0, 0, b, 0, 1, b, 0, 1, a, 0}, {0, 1, 2, 0, 2, 3});
            mesh = support::joined(mesh, strip);
        }
        return mesh;
    };
    std::string const untried = "was not tried, for the time that it takes";
    Finding const few = findingOf(diagnose(combs(10)), "cracks");
    CHECK(few.advice.find(untried) == std::string::npos);
    Finding const many = findingOf(diagnose(combs(110)), "cracks");
    CHECK(many.remedy == "");
    CHECK(many.advice.find(untried) != std::string::npos);
}

//   What the budget does not reach any more is no guess where shorter candidates were tried and failed.
TEST_CASE("whatWasTriedAndFailedIsNoGuess") {
    CompactMesh const balls = support::joined(support::sphere(3), support::sphere(3), 0.7f, 0.1f);
    CompactMesh const large = support::joined(balls, support::torus(220, 220), 9.0f);
    REQUIRE(large.getNumTriangles() < trimora::mostTrianglesToMend);
    Finding const cuts = findingOf(diagnose(large), "selfIntersections");
    CHECK(cuts.remedy == "");
    CHECK(cuts.advice.find("better joined where they were made") != std::string::npos);
    CHECK(cuts.advice.find("| repair --outward\"' was not tried") != std::string::npos);
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
    CHECK(findingOf(diagnosis, "unusedVertices").remedy == "");
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
