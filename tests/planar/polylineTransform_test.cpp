#include "polylineBuilders.h"

#include "trimora/contract/koLinear/matrices.h"
#include "trimora/planar/polylineTransform.h"

#include <doctest/doctest.h>

using namespace koGeom;

TEST_CASE("movesPositionsAndKeepsParameters") {
    Polyline polyline = planarTest::polylineOf({{0, 0, 0}, {1, 2, 3}});
    AffineMatrix matrix;
    matrix.setFrame(Point(10, 20, 30), Vector(0, 1, 0), Vector(-1, 0, 0), Vector(0, 0, 2));
    polylineTransform(polyline, matrix);
    CHECK(polyline.getVertex(0) == Polyline::vertex(10, 20, 30, 0));
    CHECK(polyline.getVertex(1) == Polyline::vertex(8, 21, 36, 1));
    CHECK(polyline.getBoundingBox() == Range3d(Point(8, 20, 30), Point(10, 21, 36)));

    Polyline empty = planarTest::polylineOf({});
    polylineTransform(empty, matrix);
    CHECK(empty.getNumVertices() == 0);
}
