// What all operations have in common: what they do with a mesh that is none, how they tell changes, and that what they predict of their
// results holds over a zoo of meshes.

#include "operationTable.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/sanitizers.h"
#include "toolkit/collarSampling.h"
#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/flatPicture.h"
#include "toolkit/mapDistortion.h"
#include "toolkit/meshDistance.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshInvariants.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshOffsetting.h"
#include "toolkit/meshReduction.h"
#include "toolkit/vertexCurvature.h"
#include "unwatched.h"

#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>

using koGeom::CompactMesh;
using koGeom::MeshModification;
using operations::Operation;
using trimora::InvariantDepth;
using trimora::MeshState;
using trimora::stateOf;

namespace {

struct Break {
    std::string words;  // that the refusal begins with
    std::function<void(CompactMesh&)> apply;
    bool hasPlace = false;  // a corner beside the bad one is there, and finite
};

std::vector<Break> const breaks = {
    {"triangle 3 names vertex -1, and the vertices",
     [](CompactMesh& m) { m.getTriangles()[3][2] = -1; }, true},
    {"triangle 0 names vertex", [](CompactMesh& m) { m.getTriangles()[0][0] = m.getNumVertices(); },
     true},
    {"triangle 2 names vertex 2147483647", [](CompactMesh& m) { m.getTriangles()[2][1] = INT_MAX; },
     true},
    {"triangle 2 names vertex -2147483648",
     [](CompactMesh& m) { m.getTriangles()[2][1] = INT_MIN; }, true},
    {"triangle 0 names vertex", [](CompactMesh& m) { m.resizeVertexArray(0); }},
    {"line 0 names vertex -7",
     [](CompactMesh& m) {
         m.resizeLineArray(1);
         m.getLines()[0][1] = -7;
     },
     true},
    {"polygon 0 names vertex -2",
     [](CompactMesh& m) {
         m.polys.resize(3, 1);
         m.polys.lengths[0] = 3;
         m.polys.points[1] = -2;
     },
     true},
    {"the lengths of each triangle strip add up to 0",
     [](CompactMesh& m) { m.resizeTriStripArrays(4, 0); }},
    {"the selection of triangles says",
     [](CompactMesh& m) {
         m.getSelectedTriangles().resize(m.getNumTriangles());
         m.getSelectedTriangles().count = 5;
     }},
    {"the selection of vertices has number 999, and there are",
     [](CompactMesh& m) {
         m.getSelectedVertices().resize(1000);
         m.getSelectedVertices().setBit(999);
     }},
};

/// Bytes of everything, also of what is no mesh: what the digests of stateOf see.
bool isUntouched(MeshState const& before, CompactMesh const& mesh) {
    return before.isSameAs(stateOf(mesh, InvariantDepth::Arrays));
}

/// Small questions, whose answers have no room for a refusal.
bool isSmallQuestion(Operation const& operation) {
    for (char const* const name :
         {"count", "find parts", "propose a distance", "paint curvature", "paint components"})
        if (operation.name == name)
            return true;
    return false;
}

struct SmallOutcome {
    std::string refusal;
    std::optional<std::array<double, 3>> problemPoint;
    int value = 0;
};

}  // namespace

TEST_CASE("everyOperationRefusesAMeshThatIsNone") {
    for (Operation const& operation : operations::all()) {
        CompactMesh const sound = operation.sample();
        operations::Run const run = operation.prepare(sound);
        for (Break const& each : breaks) {
            CAPTURE(operation.name);
            CAPTURE(each.words);
            CompactMesh mesh(sound);
            each.apply(mesh);
            MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
            support::ModificationCounter const notices(mesh);
            koUtil::Progress progress;
            operations::Result const result = operations::outcomeOf(run, mesh, progress);
            CHECK_MESSAGE(result.refusal.rfind(each.words, 0) == 0, result.refusal);
            CHECK(result.isThrown == isSmallQuestion(operation));
            CHECK(!result.cancelled);
            if (result.tellsPlaces)
                CHECK(result.place.has_value() == each.hasPlace);
            CHECK(isUntouched(before, mesh));
            CHECK(notices.total() == 0);
        }
    }
}

TEST_CASE("everyOperationKeepsTheInvariantsOnEveryMesh") {
    auto meshes = support::zoo();
    CompactMesh holdsNan = support::holed(support::sphere(1), 0.9, 4);
    holdsNan.getVertices()[3].x = std::numeric_limits<float>::quiet_NaN();
    meshes.push_back({"a corner that is NaN", holdsNan});
    CompactMesh point = support::sphere(1);
    for (int v = 0; v < point.getNumVertices(); ++v)
        point.getVertices()[v] = {1.0f, 2.0f, 3.0f};
    meshes.push_back({"all in one point", point});
    CompactMesh huge = support::holed(support::sphere(1), 0.9, 4);
    for (int v = 0; v < huge.getNumVertices(); ++v)
        for (float* x :
             {&huge.getVertices()[v].x, &huge.getVertices()[v].y, &huge.getVertices()[v].z})
            *x *= 3e38f;
    meshes.push_back({"nearly beyond floats", huge});
    CompactMesh tiny = support::holed(support::sphere(1), 0.9, 4);
    for (int v = 0; v < tiny.getNumVertices(); ++v)
        for (float* x :
             {&tiny.getVertices()[v].x, &tiny.getVertices()[v].y, &tiny.getVertices()[v].z})
            *x *= 1e-40f;
    meshes.push_back({"denormal", tiny});
    // A run takes the thread sanitizer fifteen times as long: it sees each operation on some of the meshes.
    int const step = support::hasThreadSanitizer ? 7 : 1;
    int numRuns = 0;
    for (Operation const& operation : operations::all()) {
        for (support::NamedMesh const& named : meshes) {
            if (numRuns++ % step != 0)
                continue;
            CAPTURE(operation.name);
            CAPTURE(named.name);
            CompactMesh mesh(named.mesh);
            mesh.allocUVArray();
            operations::Run const run = operation.prepare(mesh);
            MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
            support::ModificationCounter const notices(mesh);
            koUtil::Progress progress;
            operations::Result const result = operations::outcomeOf(run, mesh, progress);
            CHECK_MESSAGE(result.refusal.find("internal fault") == std::string::npos,
                          result.refusal);
            CHECK(support::faultOf(mesh).empty());
            bool const isSame = isUntouched(before, mesh);
            CHECK(notices.total() == (isSame ? 0 : 1));
            if (!operation.edits || !result.refusal.empty())
                CHECK(isSame);
        }
    }
}

TEST_CASE("everyEditHasSomethingToDoOnItsSample") {
    for (Operation const& operation : operations::all()) {
        CAPTURE(operation.name);
        CompactMesh mesh = operation.sample();
        MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
        koUtil::Progress progress;
        operations::Result const result =
            operations::outcomeOf(operation.prepare(mesh), mesh, progress);
        CHECK_MESSAGE(result.refusal.empty(), result.refusal);
        CHECK(isUntouched(before, mesh) == !operation.edits);
    }
}

TEST_CASE("anEditThatBreaksAnInvariantIsPutBackAndTold") {
    CompactMesh mesh = support::sphere(1);
    MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
    support::ModificationCounter const notices(mesh);
    auto const edit = [](CompactMesh& work) {
        work.getTriangles()[0][0] = 99;
        MeshModification modification(&work, MeshModification::Topology, nullptr);
        work.modified(modification);
        return SmallOutcome{{}, {}, 7};
    };
    auto const nothing = [](MeshState const&, SmallOutcome const&) {
        return trimora::Expectation();
    };
    SmallOutcome const outcome = trimora::editChecked(mesh, edit, nothing);
    CHECK(outcome.refusal.rfind("internal fault: triangle 0 names vertex 99, ", 0) == 0);
    CHECK(outcome.refusal.find("; nothing was changed. Please report this, with the mesh") !=
          std::string::npos);
    CHECK(outcome.problemPoint.has_value());
    CHECK(outcome.value == 0);
    CHECK(isUntouched(before, mesh));
    CHECK(notices.total() == 0);
}

TEST_CASE("anEditThatLeavesFloatsIsTheMeshesDoing") {
    CompactMesh mesh = support::sphere(1);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].x *= 1e38f;
    auto const edit = [](CompactMesh& work) {
        work.getVertices()[0].x = std::numeric_limits<float>::infinity();
        return SmallOutcome();
    };
    auto const nothing = [](MeshState const&, SmallOutcome const&) {
        return trimora::Expectation();
    };
    CHECK(trimora::editChecked(mesh, edit, nothing).refusal ==
          "the result leaves the range of floats, 3.4e38; scale the mesh down first");
}

TEST_CASE("manyNoticesOfStepsBecomeOneWithTheirMarks") {
    CompactMesh mesh = support::sphere(1);
    mesh.allocUVArray();
    mesh.allocAttributes("heat", 1);
    mesh.allocNormalArray();
    trimora::NoticeRecorder const recorder(mesh);
    auto const edit = [](CompactMesh& work) {
        MeshModification first(&work, MeshModification::Attributes, nullptr);
        work.modified(first);
        work.resizeVertexArray(work.getNumVertices() + 1);
        MeshModification second(&work, MeshModification::Topology, nullptr);
        second.uvsModified();
        second.vertexAttribsModified("heat");
        work.modified(second);
        return SmallOutcome();
    };
    auto const nothing = [](MeshState const&, SmallOutcome const&) {
        return trimora::Expectation();
    };
    trimora::editChecked(mesh, edit, nothing);
    REQUIRE(recorder.count() == 1);
    MeshModification const& notice = recorder.notices().front();
    CHECK(notice.getType() == MeshModification::Topology);
    CHECK(notice.isModified(MeshModification::UVs));
    CHECK(notice.keepsVertexAttribs("heat"));
    CHECK(notice.getEntity() == &mesh);
    CHECK(mesh.getNumVertices() == 19);
    CHECK(mesh.getUVs() != nullptr);
    CHECK(mesh.getAttributes("heat") != nullptr);
    CHECK(mesh.getNormals() == nullptr);  // dropped by the second notice
}

TEST_CASE("anEditThatThrowsLeavesTheMesh") {
    CompactMesh mesh = support::sphere(1);
    MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
    auto const edit = [](CompactMesh& work) -> SmallOutcome {
        work.resizeTriangleArray(1);
        throw std::bad_alloc();
    };
    auto const nothing = [](MeshState const&, SmallOutcome const&) {
        return trimora::Expectation();
    };
    CHECK_THROWS_AS(trimora::editChecked(mesh, edit, nothing), std::bad_alloc);
    CHECK(isUntouched(before, mesh));
}

TEST_CASE("refusesArgumentsThatAreNone") {
    CompactMesh const open = support::holed(support::sphere(1), 0.9, 4);
    std::vector<trimora::MeshHole> const holes = unwatched::findHoles(open);
    REQUIRE(!holes.empty());
    koUtil::Progress progress;
    CompactMesh mesh(open);

    trimora::FillOptions filling;
    filling.quality = static_cast<koGeom::HoleQuality>(77);
    CHECK(trimora::fillHoles(mesh, holes, {0}, filling, progress).refusal ==
          "there is no hole quality of this number");
    std::vector<trimora::MeshHole> around = holes;
    around[0].vertices = {3, 5, 7, 3};
    CHECK(trimora::fillHoles(mesh, around, {0}, {}, progress).refusal ==
          "hole 1 of the list names vertex 3 twice, which no border does");

    trimora::CollarOptions collar;
    collar.samples = trimora::maxCollarSamples + 1;
    CHECK(trimora::sampleCollar(mesh, holes[0], collar).refusal ==
          "the number of samples is below 0, or above 10000000");

    CHECK(
        trimora::measureCurvature(mesh, static_cast<koGeom::MeshCurvature>(99), progress).refusal ==
        "there is no curvature of this number");

    trimora::OffsetOptions offset;
    offset.distance = std::numeric_limits<double>::quiet_NaN();
    CHECK(trimora::offsetMesh(mesh, offset, progress).refusal == "the distance is no number");

    ko::list<koGeom::MeshPlacement> placed;
    placed.push_back({koGeom::AffineMatrixFlt::Identity, &mesh});
    for (double const tolerance : {-1.0, -1e-300, double(INFINITY), double(NAN)})
        CHECK(trimora::mergeMeshes(placed, tolerance, mesh, progress).refusal ==
              "the tolerance is below 0, or no finite number");

    trimora::CornerUVs const corners(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    CHECK(trimora::mapOfTriangle(mesh, corners, 0).area > 0.0);
    CHECK(trimora::mapOfTriangle(mesh, corners, -1).area == 0.0);
    CHECK(trimora::mapOfTriangle(mesh, corners, mesh.getNumTriangles()).area == 0.0);
    CHECK(trimora::mapOfTriangle(mesh, {}, 0).area == 0.0);
    char const* const otherCorners = "texture coordinates of another number of corners";
    CHECK(trimora::measureMap(mesh, {}).refusal == otherCorners);
    CHECK(trimora::drawFlatMap(mesh, {}).refusal == otherCorners);
    CHECK(trimora::drawFlatMap(mesh, {}).svg.empty());
    CHECK(trimora::cornersOf(mesh).refusal == "the mesh has no texture coordinates");
    auto const numTriangles = static_cast<std::size_t>(mesh.getNumTriangles());
    for (auto const& [groups, numGroups] : {std::pair(std::vector<int>(numTriangles, 1), 1),
                                            {std::vector<int>(numTriangles, -1), 1},
                                            {std::vector<int>(numTriangles - 1, 0), 1},
                                            {std::vector<int>(), 0}})
        CHECK(trimora::measureMaps(mesh, corners, groups, numGroups).refusal ==
              "groups that are not those of the triangles");
    CHECK(!trimora::measureMaps(CompactMesh(), {}, {}, -1).refusal.empty());

    trimora::SectionPlane plane;
    for (double const tolerance : {-1.0, double(INFINITY), double(NAN)})
        CHECK(trimora::planeSection(mesh, plane, tolerance, progress).refusal ==
              "the tolerance has to be a length, not below 0");
    for (double const bad : {0.0, double(NAN), double(INFINITY)}) {
        plane.coefficients = {0.0, 0.0, bad, 1.0};
        CHECK(trimora::planeSection(mesh, plane, 0.0, progress).refusal ==
              "the plane has no normal, or numbers that are NaN or infinite");
    }
    CHECK(isUntouched(stateOf(open, InvariantDepth::Arrays), mesh));
}

//   2-----3
//   | \ 1 |      the fan of the square from vertex 0 is 0 1 3 and 0 3 2; these two are none
//   | 0 \ |
//   0-----1
TEST_CASE("facesThatAreNoneAreRefused") {
    CompactMesh const square =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {0, 1, 2, 1, 3, 2});
    koUtil::Progress progress;
    auto const subdivided = trimora::subdivideMesh(square, {0, 0}, 1, progress);
    CHECK(subdivided.refusal.rfind("triangle 1 does not go on with the fan of its face", 0) == 0);
    CHECK(subdivided.problemPoint == std::array<double, 3>{1.0, 0.0, 0.0});
    CHECK(subdivided.mesh.getNumPolys() == 0);
    auto const verified = trimora::verifyMesh(square, {0, 0}, progress);
    CHECK(verified.refusal == subdivided.refusal);
    CHECK(!verified.passed);
    CHECK(verified.problemPoint == subdivided.problemPoint);
    for (std::vector<int> const& faces : {std::vector<int>{0}, {0, 1, 2}}) {
        CHECK(trimora::subdivideMesh(square, faces, 1, progress).refusal ==
              "the faces of another number of triangles");
        CHECK(trimora::verifyMesh(square, faces, progress).refusal ==
              "the faces of another number of triangles");
    }
    for (int const levels : {0, -1, INT_MIN, 15, INT_MAX})
        CHECK(trimora::subdivideMesh(square, {}, levels, progress)
                  .refusal.rfind("levels of subdivision have to be 1 or more", 0) == 0);
    // Faces have any numbers.
    CHECK(trimora::subdivideMesh(square, {-1, -2}, 1, progress).mesh.getNumPolys() == 6);
}

TEST_CASE("ofTwoMeshesTheRefusedOneIsTold") {
    CompactMesh const sound = support::cube();
    CompactMesh broken = support::cube();
    broken.getTriangles()[4][1] = 8;
    koUtil::Progress progress;
    CHECK(trimora::measureDistance(sound, broken, progress).mesh == 1);
    CHECK(trimora::measureDistance(broken, sound, progress).mesh == 0);
    ko::list<koGeom::MeshPlacement> placed;
    placed.push_back({koGeom::AffineMatrixFlt::Identity, &sound});
    placed.push_back({koGeom::AffineMatrixFlt::Identity, &broken});
    CompactMesh result;
    CHECK(trimora::mergeMeshes(placed, 0.0, result, progress).mesh == 1);
}

// A reducer that finds nothing to remove leaves its selections empty, but of another size: that is no change.
TEST_CASE("reducingWhatCannotShrinkIsNoFault") {
    support::Random random(3);
    int numUnchanged = 0;
    for (int k = 0; k < 300; ++k) {
        CompactMesh mesh = support::grid(1 + k % 3, 1 + k % 3);
        for (int v = 0; v < mesh.getNumVertices(); ++v)
            mesh.getVertices()[v] = {float(random.index(4)), float(random.index(4)),
                                     float(random.index(4))};
        support::ModificationCounter const notices(mesh);
        trimora::ReduceOptions options;
        options.method = k % 2 ? trimora::ReduceMethod::Tolerance : trimora::ReduceMethod::Fraction;
        options.value = 0.1 * (1 + k % 9);
        koUtil::Progress progress;
        trimora::ReduceOutcome const outcome = trimora::reduceMesh(mesh, options, progress);
        CHECK_MESSAGE(outcome.refusal.empty(), outcome.refusal);
        numUnchanged += notices.total() == 0;
    }
    CHECK(numUnchanged > 30);
}
