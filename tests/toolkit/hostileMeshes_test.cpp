// All operations on meshes that nobody would think of giving them: with selections, with polygons alone, of random corners, in every
// size that floats have; and stopped before they begin.

#include "operationTable.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/sanitizers.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/meshInvariants.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshReduction.h"
#include "toolkit/meshStitching.h"
#include "unwatched.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <string>

using koGeom::CompactMesh;
using operations::Operation;
using support::NamedMesh;
using trimora::InvariantDepth;
using trimora::MeshState;
using trimora::stateOf;

namespace {

CompactMesh scaled(CompactMesh mesh, float scale) {
    float* const coordinates = mesh.getVerticesRaw();
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        coordinates[i] *= scale;
    return mesh;
}

/// A triangle and a vertex that no triangle uses, before it or behind it.
CompactMesh withUnusedVertex(bool isFirst) {
    return support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 1},
                           isFirst ? std::vector{1, 2, 3} : std::vector{0, 1, 2});
}

std::vector<NamedMesh> hostileMeshes() {
    std::vector<NamedMesh> meshes = {{"a vertex unused at the front", withUnusedVertex(true)},
                                     {"a vertex unused at the end", withUnusedVertex(false)}};
    for (unsigned seed = 0; seed < 12; ++seed)
        meshes.push_back({"random corners " + std::to_string(seed),
                          support::latticeSoup(4 + static_cast<int>(seed), 20, seed)});
    CompactMesh const bowl = support::holed(support::sphere(1), 0.8, 4);
    for (float const scale : {1e-44f, 1e-30f, 1e10f, 1e18f, 1e38f})
        meshes.push_back({"holes, 2^" + std::to_string(std::ilogb(scale)), scaled(bowl, scale)});
    return meshes;
}

CompactMesh withSelections(CompactMesh mesh) {
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    mesh.getSelectedTriangles().setBit(0);
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedVertices().setBit(mesh.getNumVertices() - 1);
    return mesh;
}

/// The triangles as polygons, and no triangles.
CompactMesh asPolygons(CompactMesh mesh) {
    int const count = mesh.getNumTriangles();
    mesh.polys.resize(3 * count, count);
    std::copy_n(mesh.getTrianglesRaw(), 3 * count, mesh.polys.points.data());
    std::fill_n(mesh.polys.lengths.data(), count, 3);
    mesh.resizeTriangleArray(0);
    return mesh;
}

/// Runs an operation, which has to keep its word whatever the mesh.
void checkRun(Operation const& operation, NamedMesh const& named, bool isStopped) {
    CAPTURE(operation.name);
    CAPTURE(named.name);
    CompactMesh mesh(named.mesh);
    operations::Run const run = operation.prepare(mesh);
    MeshState const before = stateOf(mesh, InvariantDepth::Arrays);
    support::ModificationCounter const notices(mesh);
    koUtil::Progress progress;
    if (isStopped)
        progress.cancel();
    operations::Result const result = operations::outcomeOf(run, mesh, progress);
    CHECK_MESSAGE(result.refusal.find("internal fault") == std::string::npos, result.refusal);
    CHECK(!result.isThrown);
    CHECK(support::faultOf(mesh).empty());
    CHECK_MESSAGE(!trimora::faultOfMesh(mesh), trimora::faultOfMesh(mesh).text);
    bool const isSame = before.isSameAs(stateOf(mesh, InvariantDepth::Arrays));
    CHECK(notices.total() == (isSame ? 0 : 1));
    if (isStopped || !operation.edits || !result.refusal.empty())
        CHECK(isSame);
}

/// A run takes the thread sanitizer fifteen times as long: it sees each operation on some of the meshes.
void checkAll(CompactMesh (*variant)(CompactMesh), bool isStopped) {
    int const step = support::hasThreadSanitizer ? 7 : 1;
    int numRuns = 0;
    for (NamedMesh& named : hostileMeshes()) {
        named.mesh = variant(std::move(named.mesh));
        for (Operation const& operation : operations::all())
            if (numRuns++ % step == 0)
                checkRun(operation, named, isStopped);
    }
}

}  // namespace

TEST_CASE("selectionsDoNotMisleadAnyOperation") {
    checkAll(withSelections, false);
}

TEST_CASE("polygonsAloneAreNothingToDo") {
    checkAll(asPolygons, false);
}

TEST_CASE("whatIsStoppedBeforeItBeginsLeavesTheMesh") {
    checkAll([](CompactMesh mesh) { return mesh; }, true);
}

TEST_CASE("aReducedMeshHasNoSelectionAndAnotherKeepsIt") {
    koUtil::Progress progress;
    CompactMesh mesh = withSelections(withUnusedVertex(true));
    REQUIRE(trimora::reduceMesh(mesh, {trimora::ReduceMethod::Tolerance, 0.0}, progress)
                .refusal.empty());
    CHECK(mesh.getNumVertices() == 3);
    CHECK(mesh.getSelectedVertices().count == 0);
    CHECK(mesh.getSelectedTriangles().count == 0);

    CompactMesh whole = withSelections(support::cube());
    REQUIRE(trimora::reduceMesh(whole, {trimora::ReduceMethod::Fraction, 1.0}, progress)
                .refusal.empty());
    CHECK(whole.getNumVertices() == 8);
    CHECK(whole.getSelectedVertices().isBitSet(7) != 0);
    CHECK(whole.getSelectedTriangles().isBitSet(0) != 0);
}

TEST_CASE("holesOfAMeshThatHasGrownSinceAreRefused") {
    CompactMesh const bowl = support::holed(support::sphere(1), 0.8, 4);
    std::vector<trimora::MeshHole> const holes = unwatched::findHoles(bowl);
    REQUIRE(holes.size() > 1);
    CompactMesh large = scaled(bowl, 1e30f);
    koUtil::Progress progress;
    std::string const words = "hole 1 of the list has another length than on this mesh; find the "
                              "holes of the mesh as it stands";
    trimora::StitchOptions options;
    options.distance = 1e29;
    CHECK(trimora::stitchMesh(large, holes, {0, 1}, options, progress).refusal == words);
    CHECK(trimora::fillHoles(large, holes, {0}, {}, progress).refusal == words);
}

TEST_CASE("aPlaceWithoutAMeshHasNoSize") {
    CHECK(trimora::diagonalOf(ko::list<koGeom::MeshPlacement>(1)) == 0.0);
}
