#include "polylineBuilders.h"

#include "trimora/planar/PolylineBBoxCache.h"

#include <doctest/doctest.h>

using namespace koGeom;
using planarTest::polylineOf;

TEST_CASE("holdsABoxForEachSegment") {
    Polyline const bent = polylineOf({{0, 1, 0}, {4, 0, 5}, {4, 2, -1}});
    PolylineBBoxCache cache(bent);
    CHECK(cache.boxes.empty());
    CHECK(cache.getSegmentBBox(1) == Range3d(Point(4, 0, -1), Point(4, 2, 5)));
    CHECK(cache.getSegmentBBox(0) == Range3d(Point(0, 0, 0), Point(4, 1, 5)));
    CHECK(cache.boxes.size() == 2);
    CHECK(cache.getSegmentBBox(2).lower.x > cache.getSegmentBBox(2).upper.x);
    CHECK(cache.getSegmentBBox(-1) == Range3d());
}

TEST_CASE("boxesStayOnceTheyAreBuilt") {
    Polyline bent = polylineOf({{0, 0, 0}, {4, 0, 5}});
    Polyline const other = polylineOf({{7, 7, 7}, {8, 8, 8}, {9, 9, 9}});
    PolylineBBoxCache cache(bent);
    Range3d const box = cache.getSegmentBBox(0);
    bent.getVertex(0) = {-3, 0, 0, 0};
    bent.modified();
    CHECK(cache.getSegmentBBox(0) == box);
    cache.initialize(other);
    CHECK(cache.polyline == &other);
    CHECK(cache.getSegmentBBox(0) == box);
    PolylineBBoxCache copy(cache);
    CHECK(copy.getSegmentBBox(0) == box);
    copy = PolylineBBoxCache(other);
    CHECK(copy.getSegmentBBox(0).lower == Point(7, 7, 7));
}

TEST_CASE("polylinesWithoutASegmentHaveNoBoxes") {
    CHECK(PolylineBBoxCache().getSegmentBBox(0) == Range3d());
    Polyline growing = polylineOf({{1, 2, 3}});
    PolylineBBoxCache cache(growing);
    CHECK(cache.getSegmentBBox(0) == Range3d());
    growing = polylineOf({{1, 2, 3}, {2, 3, 4}});
    CHECK(cache.getSegmentBBox(0) == Range3d(Point(1, 2, 3), Point(2, 3, 4)));
}
