#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/assembly/meshConcatenate.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

using Names = ko::set<koString::CString, ko::less<koString::CString>>;

MeshPlacement at(CompactMesh const& mesh, AffineMatrix const& matrix = AffineMatrix()) {
    return {AffineMatrixFlt(matrix), &mesh};
}

AffineMatrix shifted(double x) {
    AffineMatrix matrix;
    matrix.m[9] = x;
    return matrix;
}

CompactMesh triangleWithNormals() {
    CompactMesh mesh = support::triangle();
    mesh.allocNormalArray();
    for (int v = 0; v < 3; ++v)
        mesh.getNormals()[v] = MeshNormal{0.0f, 0.6f, 0.8f};
    return mesh;
}

// One strip of four points and one fan of four.
CompactMesh withStripAndFan() {
    CompactMesh mesh = support::grid(1, 1);
    mesh.resizeTriStripArrays(4, 1);
    mesh.resizeTriFanArrays(4, 1);
    mesh.getTriStripLengths()[0] = mesh.getTriFanLengths()[0] = 4;
    for (int k = 0; k < 4; ++k)
        mesh.getTriStripPoints()[k] = mesh.getTriFanPoints()[k] = k;
    return mesh;
}

std::vector<int> pointsOf(MeshSequence const& sequence) {
    return {sequence.points.begin(), sequence.points.end()};
}

}  // namespace

TEST_CASE("anEmptyListChangesNothing") {
    CompactMesh target = support::cube();
    support::ModificationCounter counter(target);
    meshConcatenate(target, {}, nullptr, nullptr);
    meshConcatenate(target, {MeshPlacement{AffineMatrixFlt(), nullptr}}, nullptr, nullptr);
    CHECK(target.getNumTriangles() == 12);
    CHECK(counter.total() == 0);
}

TEST_CASE("meshesFollowEachOtherInListOrder") {
    CompactMesh const cube = support::cube();
    CompactMesh const grid = support::grid(2, 1);
    CompactMesh target = support::tetrahedron();
    target.resizeLineArray(2);
    support::ModificationCounter counter(target);
    meshConcatenate(target, {at(cube), at(grid, shifted(5.0))}, nullptr, nullptr);
    CHECK(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Topology);
    CHECK(target.getNumLines() == 0);
    CompactMesh const expected = support::joined(cube, grid, 5.0f);
    CHECK(support::trianglesOf(target) == support::trianglesOf(expected));
    CHECK(support::coordinatesOf(target) == support::coordinatesOf(expected));
}

TEST_CASE("aFlipTurnsTrianglesOverAndNegatesNormals") {
    CompactMesh const mesh = triangleWithNormals();
    ko::vector<bool> flips = {false, true};
    CompactMesh target;
    meshConcatenate(target, {at(mesh), at(mesh)}, nullptr, &flips);
    int const* const first = mesh.getTrianglesRaw();
    CHECK(support::trianglesOf(target) ==
          std::vector<int>{first[0], first[1], first[2], first[2] + 3, first[1] + 3, first[0] + 3});
    REQUIRE(target.getNormals() != nullptr);
    CHECK(target.getNormals()[0].y == 0.6f);
    CHECK(target.getNormals()[4].y == -0.6f);
    CHECK(target.getNormals()[4].z == -0.8f);
}

TEST_CASE("aMirroredPlacementWithItsFlipKeepsVolumeAndNormalsOutward") {
    CompactMesh mesh = support::sphere(2);
    mesh.allocNormalArray();
    std::copy_n(mesh.getVerticesRaw(), 3 * mesh.getNumVertices(), mesh.getNormalsRaw());
    AffineMatrix mirror;
    mirror.m[0] = -1.0;
    ko::vector<bool> flips = {true};
    CompactMesh target;
    meshConcatenate(target, {at(mesh, mirror)}, nullptr, &flips);
    CHECK(support::volume(target) == doctest::Approx(support::volume(mesh)));
    // The normals are mapped by the normal matrix and negated: of a mirrored sphere they point
    // inward.
    for (int i = 0; i < 3 * target.getNumVertices(); ++i)
        CHECK(target.getNormalsRaw()[i] == -target.getVerticesRaw()[i]);
}

TEST_CASE("normalsAreMappedWithoutRenormalising") {
    CompactMesh const mesh = triangleWithNormals();
    AffineMatrix scale;
    scale.m[8] = 4.0;
    CompactMesh target;
    meshConcatenate(target, {at(mesh, scale)}, nullptr, nullptr);
    CHECK(target.getNormals()[0].y == doctest::Approx(0.6f));
    CHECK(target.getNormals()[0].z == doctest::Approx(0.2f));

    AffineMatrix flat;
    flat.m[8] = 0.0;
    ko::vector<bool> flips = {true};
    meshConcatenate(target, {at(mesh, flat)}, nullptr, &flips);
    CHECK(target.getNormals()[0].z == 0.8f);
}

TEST_CASE("withoutNamesTheCommonSetsAreCarried") {
    CompactMesh first = support::triangle();
    first.allocUVArray();
    first.allocAttributes("weights", 1)->setStoreable(false);
    first.getAttributes("weights")->asFloat()[2] = 5.0f;
    CompactMesh second = support::triangle();
    second.allocAttributes("weights", 1);
    second.getAttributes("weights")->asFloat()[0] = 7.0f;
    CompactMesh target;
    target.allocSTArray();
    meshConcatenate(target, {at(first), at(second)}, nullptr, nullptr);
    CHECK(target.getNumAttributes() == 2);
    CHECK(target.getUVs() == nullptr);
    float const* const weights = target.getAttributes("weights")->asFloat();
    CHECK(std::vector<float>(weights, weights + 6) == std::vector<float>{0, 0, 5, 7, 0, 0});
    CHECK_FALSE(target.getAttributes("weights")->isStoreable());
}

TEST_CASE("positionsAreCarriedWhateverNamesSay") {
    CompactMesh first = support::triangle();
    CompactMesh second = support::triangle();
    second.allocUVArray();
    second.getUVs()[1].set(0.5f, 0.25f);
    Names names;
    names.insert("uvs");
    names.insert("nowhere");
    CompactMesh target;
    meshConcatenate(target, {at(first), at(second)}, &names, nullptr);
    CHECK(support::coordinatesOf(target) == support::coordinatesOf(support::joined(first, second)));
    REQUIRE(target.getUVs() != nullptr);
    CHECK(target.getUVs()[0].u == 0.0f);
    CHECK(target.getUVs()[4].u == 0.5f);
    CHECK(target.getNumAttributes() == 2);
}

TEST_CASE("setsOfDifferentDimensionsLeaveZeros") {
    CompactMesh first = support::triangle();
    first.allocAttributes("uvs", 2)->asFloat()[0] = 3.0f;
    CompactMesh second = support::triangle();
    second.allocAttributes("uvs", 4)->asFloat()[0] = 9.0f;
    CompactMesh target;
    meshConcatenate(target, {at(first), at(second)}, nullptr, nullptr);
    CHECK(target.getUVs()[0].u == 3.0f);
    CHECK(target.getUVs()[3].u == 0.0f);
}

TEST_CASE("stripsAndFansAreKeptOnlyIfEveryMeshHasSome") {
    CompactMesh const striped = withStripAndFan();
    ko::vector<bool> flips = {false, true};
    CompactMesh target;
    meshConcatenate(target, {at(striped), at(striped)}, nullptr, &flips);
    CHECK(target.getNumTriStrips() == 2);
    CHECK(target.getNumTriFans() == 2);
    CHECK(pointsOf(target.triStrips) == std::vector<int>{0, 1, 2, 3, 7, 6, 5, 4});
    CHECK(pointsOf(target.triFans) == std::vector<int>{0, 1, 2, 3, 4, 7, 6, 5});

    CompactMesh const plain = support::triangle();
    meshConcatenate(target, {at(striped), at(plain)}, nullptr, nullptr);
    CHECK(target.getNumTriStrips() == 0);
    CHECK(target.getNumTriFans() == 0);
}

TEST_CASE("theTargetsOwnStripsStayInFrontWhileTheyAreInRange") {
    CompactMesh const striped = withStripAndFan();
    CompactMesh target = withStripAndFan();
    target.getTriFanPoints()[2] = 4;
    meshConcatenate(target, {at(striped)}, nullptr, nullptr);
    CHECK(pointsOf(target.triStrips) == std::vector<int>{0, 1, 2, 3, 0, 1, 2, 3});
    CHECK(pointsOf(target.triFans) == std::vector<int>{0, 1, 2, 3});
    CHECK(support::faultOf(target) == "");
}

TEST_CASE("theTargetMayBeListed") {
    CompactMesh target = support::tetrahedron();
    CompactMesh const cube = support::cube();
    CompactMesh const expected = support::joined(cube, support::tetrahedron());
    meshConcatenate(target, {at(cube), at(target)}, nullptr, nullptr);
    CHECK(support::trianglesOf(target) == support::trianglesOf(expected));
    CHECK(support::coordinatesOf(target) == support::coordinatesOf(expected));
}

TEST_CASE("meshesWithoutVerticesOrTrianglesAreHarmless") {
    CompactMesh const empty;
    CompactMesh const points(2, nullptr, nullptr, nullptr, nullptr);
    CompactMesh const triangle = support::triangle();
    CompactMesh target;
    meshConcatenate(target,
                    {at(empty), at(points, shifted(1.0)), at(triangle), at(empty, shifted(2.0))},
                    nullptr, nullptr);
    CHECK(target.getNumVertices() == 5);
    CHECK(target.getVertices()[0].x == 1.0f);
    CHECK(target.getTriangles()[0][0] == triangle.getTriangles()[0][0] + 2);
}
