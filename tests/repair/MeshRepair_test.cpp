#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/repair/MeshRepair.h"

#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

bool isClean(CompactMesh const& mesh, int tests) {
    return MeshCharacteristics(mesh).check(tests) == tests;
}

std::vector<support::NamedMesh> zooAndSoups() {
    std::vector<support::NamedMesh> meshes = support::zoo();
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        int const size = static_cast<int>(seed);
        meshes.push_back({"soup " + std::to_string(seed),
                          support::latticeSoup(6 + 2 * size, 10 + 3 * size, seed)});
    }
    return meshes;
}

}  // namespace

TEST_SUITE("MeshRepair") {

    TEST_CASE("cleanMeshNeedsNothing") {
        for (auto& named : support::manifoldZoo()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            support::ModificationCounter counter(mesh);
            MeshRepair repair(mesh);
            repair.checkSelfIntersection(true);
            repair.checkGoodAngles(true);
            CHECK_FALSE(repair.needsRepair());
            CHECK_FALSE(repair.canRepair());
            CHECK_FALSE(repair.repair());
            CHECK_FALSE(repair.repairOnce());
            bool fullyRepaired = false;
            CHECK_FALSE(repair.repairAll(&fullyRepaired));
            CHECK(fullyRepaired);
            CHECK(counter.total() == 0);
        }
    }

    TEST_CASE("oneCallMakesOneFixInTheFixedOrder") {
        // Fins on an edge, one of them doubled, beside a misfit square.
        CompactMesh mesh = support::joined(
            support::meshOf({0, 0, 0, 0, 0, 1, 1, 0, 0, -1, 1, 0, -1, -1, 0},
                            {0, 1, 2, 1, 0, 3, 0, 1, 4, 4, 1, 0}),
            support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {3, 0, 1, 0, 2, 3}), 9.0f);
        support::ModificationCounter counter(mesh);
        MeshRepair repair(mesh);
        CHECK(repair.repair());
        CHECK(mesh.getNumTriangles() == 5);  // the double is gone
        CHECK(repair.getCharacteristics()->getTestsPerformed() == 0);
        CHECK(repair.repair());
        CHECK(mesh.getNumTriangles() == 4);  // one fin is gone
        CHECK(repair.repair());
        CHECK(mesh.getNumTriangles() == 4);
        CHECK(isClean(mesh, 7));
        CHECK(counter.total() == 3);
        CHECK_FALSE(repair.repair());
        CHECK(counter.total() == 3);
    }

    TEST_CASE("everythingThatCanBeRepairedIs") {
        for (auto& named : zooAndSoups()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            bool const wasClean = isClean(mesh, 7);
            MeshRepair repair(mesh);
            bool fullyRepaired = false;
            CHECK(repair.repairAll(&fullyRepaired) == !wasClean);
            CHECK_FALSE(repair.canRepair());
            CHECK(fullyRepaired == isClean(mesh, 7));
            CHECK(fullyRepaired == !repair.needsRepair());
            CHECK((fullyRepaired || repair.hasMobiusStrip()));
            CHECK(support::faultOf(mesh) == "");
        }
    }

    TEST_CASE("cuttingAndFoldedTrianglesGoOnRequest") {
        for (auto& named : zooAndSoups()) {
            CAPTURE(named.name);
            CompactMesh& mesh = named.mesh;
            MeshRepair repair(mesh);
            repair.checkSelfIntersection(true);
            repair.checkGoodAngles(true);
            repair.setMinGoodAngle(15.0);
            bool fullyRepaired = false;
            repair.repairAll(&fullyRepaired);
            CHECK((fullyRepaired || repair.hasMobiusStrip()));
            CHECK((!fullyRepaired || isClean(mesh, 63)));
            CHECK(support::faultOf(mesh) == "");
        }
        CompactMesh cutting =
            support::joined(support::sphere(1), support::sphere(1), 0.7f, 0.1f, 0.05f);
        MeshRepair repair(cutting);
        CHECK_FALSE(repair.needsRepair());
        repair.checkSelfIntersection(true);
        CHECK(repair.needsRepair());
        CHECK(repair.repairAll(nullptr));
        CHECK(cutting.getNumTriangles() < 60);
        CHECK(cutting.getNumTriangles() > 0);
    }

    TEST_CASE("stripThatIsTheWholeMeshStays") {
        for (int const numSteps : {3, 9, 10}) {
            CompactMesh mesh = support::moebius(numSteps);
            MeshRepair repair(mesh);
            CHECK_FALSE(repair.hasMobiusStrip());
            bool fullyRepaired = true;
            bool const changed = repair.repairAll(&fullyRepaired);
            CHECK(changed);
            CHECK_FALSE(fullyRepaired);
            CHECK(repair.hasMobiusStrip());
            CHECK_FALSE(repair.isMobiusStripRemovable());
            CHECK(mesh.getNumTriangles() == 2 * numSteps);
            CHECK_FALSE(repair.repair());
        }
    }

    TEST_CASE("stripBesideABallIsDeletedAndTheBallStays") {
        CompactMesh mesh = support::joined(support::flipped(support::sphere(1), 0.3, 5),
                                           support::moebius(9), 5.0f);
        MeshRepair repair(mesh);
        CHECK(repair.repair());
        CHECK(repair.hasMobiusStrip());
        REQUIRE(repair.isMobiusStripRemovable());
        CHECK(mesh.getNumTriangles() == 50);

        repair.selectMobiusStrip();
        int const numSelected = mesh.getSelectedTriangles().count;
        CHECK(numSelected > 0);
        CHECK(numSelected <= 18);
        for (int t = 0; t < 32; ++t)
            CHECK_FALSE(mesh.getSelectedTriangles().isBitSet(t));

        CHECK(repair.repair());
        CHECK(mesh.getNumTriangles() == 50 - numSelected);
        bool fullyRepaired = false;
        repair.repairAll(&fullyRepaired);
        CHECK(fullyRepaired);
        CHECK(mesh.getNumTriangles() >= 32);
        CHECK(isClean(mesh, 63));
    }

    TEST_CASE("turningATestOffForgetsThatItRan") {
        CompactMesh mesh = support::cube();
        MeshRepair repair(mesh);
        repair.checkGoodAngles(true);
        repair.checkSelfIntersection(true);
        CHECK_FALSE(repair.needsRepair());
        CHECK(repair.getCharacteristics()->getTestsPerformed() == 63);
        repair.checkGoodAngles(false);
        CHECK(repair.getCharacteristics()->getTestsPerformed() == 47);
        repair.checkSelfIntersection(false);
        CHECK(repair.getCharacteristics()->getTestsPerformed() == 39);
    }

    TEST_CASE("foldsAreJudgedByAboutOneAndAHalfDegreesUnlessTold") {
        // The opening is some 5.7 degrees.
        CompactMesh mesh =
            support::meshOf({0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0.1f, 0}, {0, 1, 2, 1, 0, 3});
        MeshRepair repair(mesh);
        repair.checkGoodAngles(true);
        CHECK_FALSE(repair.needsRepair());
        repair.setMinGoodAngle(15.0);
        CHECK(repair.needsRepair());
        CHECK(repair.repairOnce());
        CHECK(mesh.getNumTriangles() == 0);
    }

    TEST_CASE("characteristicsAndTheirCacheMayBeShared") {
        CompactMesh mesh = support::bowTie();
        SimpleMeshCache cache;
        ko::Reference<MeshCharacteristics> const shared = new MeshCharacteristics(mesh);
        shared->setCache(cache);
        MeshRepair repair(mesh);
        repair.setCharacteristics(shared);
        MeshRepair copy(repair);
        CHECK(copy.getCharacteristics().get() == shared.get());
        CHECK(copy.needsRepair());
        CHECK(repair.getCharacteristics()->getTestsPerformed() == 35);
        CHECK(repair.repairAll(nullptr));
        CHECK_FALSE(copy.needsRepair());
    }

    TEST_CASE("soupOfManyFaultsEndsCleanAndStaysClean") {
        CompactMesh mesh =
            support::joined(support::flipped(support::holed(support::sphere(3), 0.9, 1), 0.2, 2),
                            support::latticeSoup(80, 120, 3), 4.0f);
        MeshRepair repair(mesh);
        bool fullyRepaired = false;
        CHECK(repair.repairAll(&fullyRepaired));
        CHECK(fullyRepaired);
        std::vector<int> const triangles = support::trianglesOf(mesh);
        MeshRepair again(mesh);
        CHECK_FALSE(again.repairAll(&fullyRepaired));
        CHECK(fullyRepaired);
        CHECK(support::trianglesOf(mesh) == triangles);
    }
}
