#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/contract/koGeom/Sphere.h"

#include <algorithm>
#include <doctest/doctest.h>
#include <type_traits>

using namespace koGeom;

namespace {

Point const camera[8] = {{-1, -1, 1}, {1, -1, 1}, {1, 1, 1}, {-1, 1, 1},
                         {-4, -4, 4}, {4, -4, 4}, {4, 4, 4}, {-4, 4, 4}};

bool inside(Frustum const& frustum, Point const& p) {
    return std::all_of(frustum.planes, frustum.planes + 6, [&p](Plane const& plane) {
        return dot(plane.normal, p - plane.origin) <= 0.0;
    });
}

}  // namespace

TEST_CASE("planesPointOutWhicheverWayTheCornersAreWound") {
    Point mirrored[8];
    for (int i = 0; i < 8; ++i)
        mirrored[i] = camera[(i & 4) | ((8 - i) & 3)];
    for (Point const* corners : {camera, static_cast<Point const*>(mirrored)}) {
        Frustum const frustum(corners);
        CHECK(std::equal(corners, corners + 8, frustum.corners));
        CHECK(frustum.planes[0].normal == Normal(0, 0, -1));
        CHECK(frustum.planes[1].normal == Normal(0, 0, 1));
        for (Plane const& plane : frustum.planes)
            CHECK(plane.isValid());
        CHECK(inside(frustum, Point(0, 0, 2)));
        CHECK(inside(frustum, Point(1.9, -1.9, 2)));
        CHECK_FALSE(inside(frustum, Point(2.1, 0, 2)));
        CHECK_FALSE(inside(frustum, Point(0, -2.1, 2)));
        CHECK_FALSE(inside(frustum, Point(0, 0, 0.9)));
        CHECK_FALSE(inside(frustum, Point(0, 0, 4.1)));
    }
}

TEST_CASE("centralRayRunsFromTheFirstQuadToTheSecond") {
    Frustum const frustum(camera);
    Line const ray = frustum.getRay();
    CHECK(ray.origin == Point(0, 0, 1));
    CHECK(ray.direction == Normal(0, 0, 1));
    CHECK(frustum.getVector() == Vector(0, 0, 1));
}

TEST_CASE("pyramidAndCollapsedBodyAreSafe") {
    Point pyramid[8];
    std::copy_n(camera, 8, pyramid);
    std::fill_n(pyramid, 4, Point(0, 0, 0));
    Frustum const frustum(pyramid);
    CHECK_FALSE(frustum.planes[0].isValid());  // bounds nothing
    CHECK(inside(frustum, Point(0.9, 0.9, 1)));
    CHECK_FALSE(inside(frustum, Point(1.1, 0.9, 1)));
    CHECK_FALSE(inside(frustum, Point(0, 0, -1)));

    Point same[8];
    std::fill_n(same, 8, Point(1, 2, 3));
    Frustum const nothing(same);
    CHECK_FALSE(nothing.getRay().isValid());
    CHECK(nothing.getVector() == Vector(0, 0, 0));
    CHECK(inside(nothing, Point(7, 7, 7)));
}

TEST_CASE("sphereIsCenterThenRadius") {
    static_assert(sizeof(Sphere) == 32 && std::is_trivially_copyable_v<Sphere>);
    Sphere const sphere{Point(1, 2, 3), 4.0};
    CHECK(sphere.center == Point(1, 2, 3));
    CHECK(sphere.radius == 4.0);
}
