// Closed parts that are inside out are turned over, whatever lies in whatever; everything else stays.

#include "support/builders.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/meshInvariants.h"
#include "toolkit/partsOutward.h"

#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/repair/meshReverseWinding.h"

#include <doctest/doctest.h>

using koGeom::CompactMesh;
using trimora::OutwardOutcome;

namespace {

OutwardOutcome turnOutward(CompactMesh& mesh) {
    koUtil::Progress progress;
    return trimora::turnPartsOutward(mesh, progress);
}

CompactMesh ball(float radius, bool isInward = false) {
    CompactMesh mesh = support::sphere(3);
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= radius;
    if (isInward)
        koGeom::meshReverseWinding(mesh, false);
    return mesh;
}

/// Spheres in each other, the largest first: a bit of `inward` for each.
CompactMesh nested(std::vector<bool> const& inward) {
    CompactMesh mesh;
    float radius = 1.0f;
    for (bool const isInward : inward) {
        mesh = support::joined(mesh, ball(radius, isInward));
        radius *= 0.7f;
    }
    return mesh;
}

/// Whether each of the nested spheres faces inward.
std::vector<bool> facings(CompactMesh const& mesh) {
    int const size = support::sphere(3).getNumTriangles();
    std::vector<bool> inward;
    for (int first = 0; first < mesh.getNumTriangles(); first += size) {
        koGeom::MeshTriangle const& c = mesh.getTriangles()[first];
        koLinear::Point const a = mesh.getVertices()[c[0]].asPoint();
        koLinear::Vector const normal =
            cross(mesh.getVertices()[c[1]].asPoint() - a, mesh.getVertices()[c[2]].asPoint() - a);
        inward.push_back(dot(normal, a.asVector()) < 0.0);
    }
    return inward;
}

}  // namespace

TEST_CASE("partsAreTurnedByWhatLiesRoundThem") {
    struct Case {
        std::vector<bool> inward;
        std::vector<bool> turned;
        int parts;
    };
    std::vector<Case> const cases = {
        {{false}, {false}, 0},
        {{true}, {false}, 1},
        {{false, true}, {false, true}, 0},    // a cavity
        {{false, false}, {false, false}, 0},  // material within material, which may be meant
        {{true, false}, {false, true}, 2},    // a ball with a cavity, inside out as a whole
        {{true, true}, {false, true}, 1},
        {{false, true, false}, {false, true, false}, 0},
        {{false, true, true}, {false, true, false}, 1},
        {{true, false, true}, {false, true, false}, 3},
        {{false, false, true}, {false, false, false}, 1},
    };
    for (Case const& each : cases) {
        CAPTURE(each.inward);
        CompactMesh mesh = nested(each.inward);
        OutwardOutcome const outcome = turnOutward(mesh);
        CHECK(outcome.refusal == "");
        CHECK(outcome.partsTurned == each.parts);
        CHECK(outcome.trianglesTurned == each.parts * support::sphere(3).getNumTriangles());
        CHECK((facings(mesh) == each.turned));
        CHECK(turnOutward(mesh).partsTurned == 0);
    }
}

TEST_CASE("whatIsNotClosedStays") {
    CompactMesh open = ball(1.0f, true);
    open.resizeTriangleArray(open.getNumTriangles() - 1);
    for (CompactMesh const& mesh :
         {open, support::grid(3, 3), support::moebius(9),
          support::flipped(support::sphere(2), 0.3, 3), support::threeOnAnEdge(), CompactMesh()}) {
        CompactMesh same = mesh;
        CHECK(turnOutward(same).partsTurned == 0);
        CHECK((support::trianglesOf(same) == support::trianglesOf(mesh)));
    }
}

TEST_CASE("aSoupIsTurnedAsOnceWelded") {
    CompactMesh mesh =
        support::joined(support::soup(ball(1.0f, true)), support::soup(support::cube()), 5.0f);
    OutwardOutcome const outcome = turnOutward(mesh);
    CHECK(outcome.partsTurned == 1);
    CHECK(outcome.trianglesTurned == support::sphere(3).getNumTriangles());
    CHECK(facings(mesh).front() == false);
}

TEST_CASE("normalsAndDuplicatesGoAlongAndSelectionsStay") {
    CompactMesh mesh = support::joined(ball(1.0f, true), support::cube(), 5.0f);
    std::vector<int> triangles = support::trianglesOf(mesh);
    triangles.insert(triangles.end(), triangles.begin(), triangles.begin() + 3);  // once more
    mesh = support::meshOf(support::coordinatesOf(mesh), triangles);
    koGeom::meshComputeNormals(mesh);
    mesh.setNormalsComputed(false);
    int const onCube = mesh.getNumVertices() - 1;
    koGeom::MeshNormal const onBall = mesh.getNormals()[0];
    koGeom::MeshNormal const beside = mesh.getNormals()[onCube];
    mesh.getSelectedTriangles() = koGeom::BitVector(mesh.getNumTriangles());
    mesh.getSelectedTriangles().setBit(7);

    trimora::NoticeRecorder const recorder(mesh);
    CHECK(turnOutward(mesh).trianglesTurned == support::sphere(3).getNumTriangles() + 1);
    CHECK(recorder.count() == 1);
    REQUIRE(mesh.getNormals() != nullptr);
    CHECK(mesh.getNormals()[0].x == -onBall.x);
    CHECK(mesh.getNormals()[onCube].x == beside.x);
    CHECK(mesh.getSelectedTriangles().count == 1);
    CHECK(mesh.getSelectedTriangles().isBitSet(7) != 0);
    int const last = mesh.getNumTriangles() - 1;
    CHECK(mesh.getTriangles()[last][0] == mesh.getTriangles()[0][0]);

    turnOutward(mesh);
    CHECK(recorder.count() == 1);
}

TEST_CASE("refusalsAndCancelsLeaveTheMesh") {
    CompactMesh broken = support::meshOf({0, 0, 0}, {});
    broken.resizeTriangleArray(1);
    broken.getTriangles()[0].vertices[0] = 5;
    CHECK(turnOutward(broken).refusal != "");

    CompactMesh mesh = nested({true, true});
    std::vector<int> const before = support::trianglesOf(mesh);
    koUtil::Progress progress;
    progress.cancel();
    CHECK(trimora::turnPartsOutward(mesh, progress).cancelled);
    CHECK((support::trianglesOf(mesh) == before));
}

TEST_CASE("theRepairTurnsPartsOutwardOnRequest") {
    CompactMesh mesh = support::flipped(ball(1.0f, true), 0.1, 3);
    trimora::RepairOptions options;
    options.outward = true;
    koUtil::Progress progress;
    trimora::RepairOutcome const outcome = trimora::repairMesh(mesh, options, progress);
    CHECK(outcome.fullyRepaired);
    REQUIRE(outcome.steps.size() == 2);
    CHECK(outcome.steps[0].what == "orient");
    CHECK(outcome.steps[1].what == "turn parts outward");
    CHECK(outcome.steps[1].trianglesTurned == mesh.getNumTriangles());
    CHECK(facings(mesh).front() == false);
}
