#include "trimora/spatial/SceneBoundingBox.h"

#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

BoundingBox boxOf(float x0, float y0, float z0, float x1, float y1, float z1) {
    return {PointFlt(x0, y0, z0), PointFlt(x1, y1, z1)};
}

}  // namespace

TEST_CASE("sceneBoxGrowsWithItemsAndNeverShrinks") {
    SceneBoundingBox scene;
    CHECK(scene.known());
    CHECK_FALSE(scene.getSceneBox().isValid());
    scene.addItemBox(boxOf(0, 0, 0, 4, 4, 4));
    scene.addItemBox(boxOf(1, 1, 1, 2, 2, 9));
    CHECK(scene.getSceneBox() == boxOf(0, 0, 0, 4, 4, 9));
    CHECK(scene.known());
    scene.removeItemBox(boxOf(1, 1, 1, 2, 2, 9));
    CHECK(scene.getSceneBox() == boxOf(0, 0, 0, 4, 4, 9));
    CHECK_FALSE(scene.known());
    scene.reset();
    CHECK_FALSE(scene.getSceneBox().isValid());
    CHECK(scene.known());
}

TEST_CASE("removalOfAnInnerItemChangesNothing") {
    SceneBoundingBox scene;
    scene.addItemBox(boxOf(0, 0, 0, 4, 4, 4));
    scene.addItemBox(boxOf(1, 1, 1, 2, 2, 2));
    scene.removeItemBox(boxOf(1, 1, 1, 2, 2, 2));
    CHECK(scene.known());
    scene.removeItemBox(boxOf(7, 7, 7, 8, 8, 8));  // was never there
    CHECK(scene.known());
    scene.removeItemBox(BoundingBox());
    CHECK(scene.known());
}

TEST_CASE("removalAtAFaceCollapsesThatAxisUntilTheRebuild") {
    SceneBoundingBox const full = [] {
        SceneBoundingBox scene;
        scene.addItemBox(boxOf(0, 0, 0, 4, 4, 4));
        return scene;
    }();
    SUBCASE("at the lower face the range shrinks to the upper one") {
        SceneBoundingBox scene = full;
        scene.removeItemBox(boxOf(0, 1, 1, 1, 2, 2));
        CHECK_FALSE(scene.known());
        scene.removeItemBox(boxOf(2, 1, 1, 4, 2, 2));  // x is 4..4, not 1..4: it stays
        scene.addItemBox(boxOf(0, 1, 1, 0, 2, 2));     // now 0..4 again
        CHECK(scene.known());
    }
    SUBCASE("at the upper face it shrinks to the lower one") {
        SceneBoundingBox scene = full;
        scene.removeItemBox(boxOf(1, 1, 1, 2, 2, 4));
        CHECK_FALSE(scene.known());
        scene.removeItemBox(boxOf(1, 1, 0, 2, 2, 0.5f));  // z is 0..0, not 0..1: it stays
        scene.addItemBox(boxOf(1, 1, 4, 2, 2, 4));
        CHECK(scene.known());
    }
    SUBCASE("at both the axis is empty and the other axes stay") {
        SceneBoundingBox scene = full;
        scene.removeItemBox(boxOf(0, 1, 1, 4, 2, 2));
        CHECK_FALSE(scene.known());
        scene.addItemBox(boxOf(0, 1, 1, 0, 2, 2));  // x was empty: now 0..0
        CHECK_FALSE(scene.known());
        scene.addItemBox(boxOf(0, 1, 1, 4, 2, 2));
        CHECK(scene.known());
    }
    SUBCASE("the last item leaves nothing behind") {
        SceneBoundingBox scene = full;
        scene.removeItemBox(boxOf(0, 0, 0, 4, 4, 4));
        CHECK_FALSE(scene.known());
        scene.removeItemBox(boxOf(0, 0, 0, 4, 4, 4));  // an empty axis has nothing to take from
        scene.addItemBox(boxOf(0, 0, 0, 4, 4, 4));
        CHECK(scene.known());
    }
}
