#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/repair/MeshCharacteristics.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshFindAnglesLessThan.h"
#include "trimora/repair/meshManifold.h"

#include <doctest/doctest.h>
#include <string>

using namespace koGeom;

namespace {

// How often a message occurs in what was printed.
int countOf(std::string const& message, std::string const& text) {
    int count = 0;
    for (auto at = text.find(message); at != std::string::npos; at = text.find(message, at + 1))
        ++count;
    return count;
}

// Three vertices at one position: a geometrically degenerate triangle and nothing else.
CompactMesh pinched() {
    return support::meshOf({0, 0, 0, 0, 0, 0, 1, 0, 0}, {0, 1, 2});
}

}  // namespace

TEST_SUITE("MeshCharacteristics") {

    TEST_CASE("everyTestPassesOnACleanMesh") {
        for (auto const& named : support::manifoldZoo()) {
            CAPTURE(named.name);
            CompactMesh const& mesh = named.mesh;
            MeshCharacteristics characteristics(mesh);
            CHECK(characteristics.check(63) == 63);
            CHECK(characteristics.getTestsPerformed() == 63);
            CHECK(characteristics.getTestsPassed() == 63);
            CHECK(characteristics.getNumBadTriangles() == 0);
            CHECK(characteristics.getNumNonManifoldEdges() == 0);
            CHECK(characteristics.getNumNonManifoldVertices() == 0);
            CHECK(characteristics.getNumFoldedTriangles() == 0);
            CHECK(characteristics.getIntersectingTriangles().size == 0);
        }
    }

    TEST_CASE("askingForNothingRunsNothing") {
        CompactMesh const mesh = support::bowTie();
        MeshCharacteristics characteristics(mesh);
        support::DebugCapture capture;
        CHECK(characteristics.check(0) == 0);
        CHECK(characteristics.getTestsPerformed() == 0);
        CHECK(capture.text() == "");
    }

    TEST_CASE("eachTestFindsItsFault") {
        CompactMesh const fins = support::threeOnAnEdge();
        MeshCharacteristics edges(fins);
        CHECK_FALSE(edges.checkManifold());
        CHECK(edges.getNumNonManifoldEdges() == 1);
        CHECK(edges.getTestsPerformed() == 2);

        CompactMesh const tie = support::bowTie();
        MeshCharacteristics vertices(tie);
        CHECK_FALSE(vertices.checkManifold());
        CHECK(vertices.getNumNonManifoldVertices() == 1);
        CHECK(vertices.getManifoldResult().isBitSet(0));

        CompactMesh const strip = support::moebius(9);
        CHECK_FALSE(MeshCharacteristics(strip).checkOriented());

        CompactMesh const spheres =
            support::joined(support::sphere(1), support::sphere(1), 0.7f, 0.1f, 0.05f);
        MeshCharacteristics cutting(spheres);
        CHECK_FALSE(cutting.checkNonIntersecting());
        CHECK(cutting.getIntersectingTriangles().size == 64);
        CHECK(cutting.getIntersectingTriangles().count > 4);

        CompactMesh const folded =
            support::meshOf({0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0.1f, 0}, {0, 1, 2, 1, 0, 3});
        MeshCharacteristics angles(folded);
        CHECK_FALSE(angles.checkGoodAngles(15));
        CHECK(angles.getNumFoldedTriangles() == 2);
        CHECK(angles.getGoodAnglesResult().edges.size() == 1);
    }

    TEST_CASE("failedTestIsNotRunAgain") {
        CompactMesh const mesh = support::bowTie();
        MeshCharacteristics characteristics(mesh);
        support::DebugCapture capture;
        CHECK(characteristics.check(2) == 0);
        CHECK(characteristics.check(2) == 0);
        CHECK(countOf("meshManifold:", capture.text()) == 1);
        characteristics.reset(2);
        CHECK(characteristics.getTestsPerformed() == 0);
        CHECK(characteristics.check(2) == 0);
        CHECK(countOf("meshManifold:", capture.text()) == 2);
    }

    TEST_CASE("anglesAreSearchedAgainWheneverTheThresholdChanges") {
        CompactMesh const mesh = support::cube();
        MeshCharacteristics characteristics(mesh);
        support::DebugCapture capture;
        CHECK(characteristics.checkGoodAngles(15));
        CHECK(characteristics.checkGoodAngles(15));
        CHECK(characteristics.check(16) == 16);
        CHECK(countOf("meshFindAnglesLessThan", capture.text()) == 1);
        CHECK_FALSE(characteristics.checkGoodAngles(100));
        CHECK(characteristics.getTestsPassed() == 0);
        CHECK(characteristics.checkGoodAngles(15));
        CHECK(countOf("meshFindAnglesLessThan", capture.text()) == 3);
    }

    TEST_CASE("orderOfTheTwoTriangleTestsMatters") {
        CompactMesh const mesh = pinched();
        MeshCharacteristics first(mesh);
        CHECK(first.check(1) == 0);
        CHECK(first.check(32) == 0);
        CHECK(first.getNumBadTriangles() == 1);

        MeshCharacteristics second(mesh);
        CHECK(second.check(32) == 32);
        CHECK(second.check(1) == 0);
        CHECK(second.getTestsPassed() == 32);
        CHECK(second.check(33) == 32);

        MeshCharacteristics both(mesh);
        CHECK(both.check(33) == 0);

        CompactMesh const clean = support::cube();
        MeshCharacteristics passed(clean);
        CHECK(passed.checkTopoGoodTriangles());
        CHECK(passed.getTestsPassed() == 33);
        CHECK(passed.getTestsPerformed() == 32);
    }

    TEST_CASE("resetDropsAnglesWithTheTriangleTests") {
        CompactMesh const mesh = support::cube();
        MeshCharacteristics characteristics(mesh);
        characteristics.check(63);
        characteristics.reset(16);
        CHECK(characteristics.getTestsPerformed() == 47);
        CHECK(characteristics.getGoodAnglesResult().edges.empty());  // the result itself stays
        CHECK(characteristics.check(16) == 16);
        characteristics.reset(1);
        CHECK(characteristics.getTestsPerformed() == 62);
        CHECK(characteristics.getTestsPassed() == 62);
    }

    TEST_CASE("foreignCacheIsUsedAndNotOwned") {
        CompactMesh const mesh = support::cube();
        SimpleMeshCache cache;
        {
            MeshCharacteristics characteristics(mesh);
            characteristics.setCache(characteristics.getCache());  // nothing changes
            CHECK(characteristics.checkGoodAngles(15));
            characteristics.setCache(cache);
            CHECK(&characteristics.getCache() == &cache);
            CHECK(characteristics.checkManifold());
        }
        support::DebugCapture capture;
        CHECK(cache.getAdjTris(mesh));
        CHECK(capture.text() == "");  // computed by the test above
    }

    TEST_CASE("copySharesResultsAndOutlivesTheOriginal") {
        CompactMesh const mesh = support::bowTie();
        ko::Reference<MeshCharacteristics> const original = new MeshCharacteristics(mesh);
        original->check(63);
        ko::Reference<MeshCharacteristics> const copy = new MeshCharacteristics(*original);
        CHECK(&copy->getManifoldResult() == &original->getManifoldResult());
        CHECK(&copy->getCache() == &original->getCache());
        original->reset(63);
        CHECK(copy->getNumNonManifoldVertices() == 1);
        CHECK(copy->getTestsPerformed() == 63);
        CHECK(original->getTestsPerformed() == 0);
        copy->reset(63);
        CHECK(copy->check(1) == 1);
    }
}
