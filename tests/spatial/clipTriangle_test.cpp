#include "support/builders.h"

#include "trimora/spatial/clipTriangle.h"

#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

using Place = std::array<double, 4>;
constexpr int weightAt = 9;  // of the first of three weights that travel along

ClipPolygon polygonOf(std::vector<Place> const& places, std::uint32_t mask = 15) {
    ClipPolygon polygon;
    polygon.mask = mask;
    polygon.count = static_cast<int>(places.size());
    for (int i = 0; i < polygon.count; ++i)
        for (int k = 0; k < 16; ++k)
            polygon.vertices[i][k] = k < 4 ? places[static_cast<std::size_t>(i)][std::size_t(k)]
                                           : (k >= weightAt && k - weightAt == i ? 1.0 : 0.0);
    return polygon;
}

std::vector<Place> placesOf(ClipPolygon const& polygon) {
    std::vector<Place> places;
    for (int i = 0; i < polygon.count; ++i) {
        ClipVert const& v = polygon.vertices[i];
        places.push_back({v[0], v[1], v[2], v[3]});
    }
    return places;
}

bool isWithin(ClipBox const& box, Place const& p, double slack) {
    double const low[3] = {box.minX, box.minY, box.minZ}, high[3] = {box.maxX, box.maxY, box.maxZ};
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (low[axis] * p[3] > p[axis] + slack || p[axis] > high[axis] * p[3] + slack)
            return false;
    return true;
}

Place mixed(std::vector<Place> const& corners, double const* weights) {
    Place p{};
    for (std::size_t k = 0; k < 4; ++k)
        for (std::size_t c = 0; c < 3; ++c)
            p[k] += weights[c] * corners[c][k];
    return p;
}

/// Which part of a triangle lies within the box, by a lattice over its weights.
double sampledPart(std::vector<Place> const& corners, ClipBox const& box, int steps) {
    int numInside = 0, numAll = 0;
    for (int i = 0; i < steps; ++i)
        for (int j = 0; i + j < steps; ++j, ++numAll) {
            double const u = (i + 1.0 / 3.0) / steps, v = (j + 1.0 / 3.0) / steps;
            double const weights[3] = {1.0 - u - v, u, v};
            numInside += isWithin(box, mixed(corners, weights), 0.0) ? 1 : 0;
        }
    return static_cast<double>(numInside) / numAll;
}

/// The same of a piece, by the weights that travelled along.
double partOf(ClipPolygon const& piece) {
    double twice = 0.0;
    for (int i = 0; i < piece.count; ++i) {
        ClipVert const& a = piece.vertices[i];
        ClipVert const& b = piece.vertices[(i + 1) % piece.count];
        twice += a[weightAt + 1] * b[weightAt + 2] - b[weightAt + 1] * a[weightAt + 2];
    }
    return twice;
}

}  // namespace

//       b           the upper corner is cut off: the walk starts on the edge from the last corner to the first,
//      / \          so that the first corner stays first, if it is kept
//   --x---x--
//    /     \        .
//   a ----- c
TEST_CASE("cornersBeyondAFaceAreCutOff") {
    ClipPolygon polygon = polygonOf({{-0.5, -1, 0, 1}, {0, 3, 0, 1}, {0.5, -1, 0, 1}});
    CHECK(clipTriangle(polygon, ClipBox()) == IntersectionClipped);
    CHECK(
        (placesOf(polygon) ==
         std::vector<Place>{{-0.5, -1, 0, 1}, {-0.25, 1, 0, 1}, {0.25, 1, 0, 1}, {0.5, -1, 0, 1}}));
    CHECK(polygon.mask == 15);

    ClipBox half;
    half.maxX = 0.0;
    ClipPolygon right = polygonOf({{-1, 0, 0, 1}, {1, 0, 0, 1}, {-1, 1, 0, 1}}, 15 | 1u << 7);
    right.vertices[1][7] = 8.0;
    right.vertices[1][8] = 8.0;  // not in the mask: stays with the corner that goes
    right.vertices[2][8] = 5.0;
    CHECK(clipTriangle(right, half) == IntersectionClipped);
    CHECK((placesOf(right) ==
           std::vector<Place>{{-1, 0, 0, 1}, {0, 0, 0, 1}, {0, 0.5, 0, 1}, {-1, 1, 0, 1}}));
    CHECK(right.vertices[1][7] == 4.0);
    CHECK(right.vertices[2][7] == 4.0);
    CHECK(right.vertices[3][8] == 5.0);
}

TEST_CASE("whatIsInsideStaysAndWhatTouchesIsKept") {
    std::vector<Place> const inside = {{-1, -1, -1, 1}, {1, 1, 1, 1}, {2, 0, 0, 2}};
    ClipPolygon polygon = polygonOf(inside);
    CHECK(clipTriangle(polygon, ClipBox()) == IntersectionInside);
    CHECK((placesOf(polygon) == inside));

    // A corner on a face is kept and is no crossing: here nothing else is left, thrice.
    ClipPolygon touching = polygonOf({{1, 0, 0, 1}, {2, 0, 0, 1}, {2, 1, 0, 1}});
    CHECK(clipTriangle(touching, ClipBox()) == IntersectionClipped);
    CHECK(touching.count == 3);
    for (Place const& place : placesOf(touching))
        CHECK((place == Place{1, 0, 0, 1}));

    ClipPolygon beyond = polygonOf({{1.5, 0, 0, 1}, {2, 0, 0, 1}, {2, 1, 0, 1}});
    CHECK(clipTriangle(beyond, ClipBox()) == IntersectionOutside);
    CHECK(beyond.count == 0);
    // No face has all corners beyond it, and nothing is left after some passes.
    ClipPolygon around = polygonOf({{-5, 0, 0, 1}, {0, 5, 0, 1}, {-5, 5, 0, 1}});
    CHECK(clipTriangle(around, ClipBox()) == IntersectionOutside);
    CHECK(around.count == 0);
    // Behind the eye every point is beyond one of two faces that lie across.
    ClipPolygon behind = polygonOf({{0, 0, 0, -1}, {0.1, 0, 0, -1}, {0, 0.1, 0, -1}});
    CHECK(clipTriangle(behind, ClipBox()) == IntersectionOutside);
}

TEST_CASE("piecesHaveTheAreaOfTheTriangleWithinTheBox") {
    support::Random random(71);
    int numClipped = 0, numBehind = 0;
    for (int round = 0; round < 400; ++round) {
        std::vector<Place> corners(3);
        for (Place& corner : corners) {
            for (double& value : corner)
                value = random.real(-2.0, 2.0);
            if (random.index(2) == 0)
                corner[3] = std::abs(corner[3]);
            numBehind += corner[3] < 0.0 ? 1 : 0;
        }
        ClipBox box;
        if (random.index(3) == 0)
            box = {-0.5, 1.5, -2.0, 0.3, -0.9, 1.0};
        ClipPolygon polygon = polygonOf(corners, 15 | 7u << weightAt);
        IntersectionResult const result = clipTriangle(polygon, box);
        double const part = sampledPart(corners, box, 120);
        if (result == IntersectionInside)
            CHECK(part == 1.0);
        else if (result == IntersectionOutside)
            CHECK(part == 0.0);
        else
            ++numClipped;
        CHECK(polygon.count <= 9);
        CHECK(std::abs(partOf(polygon) - part) < 0.015);  // a lattice of 7260 places
        for (int i = 0; i < polygon.count; ++i) {
            ClipVert const& v = polygon.vertices[i];
            Place const place{v[0], v[1], v[2], v[3]};
            Place const expected = mixed(corners, &v.components[weightAt]);
            for (std::size_t k = 0; k < 4; ++k)
                CHECK(std::abs(place[k] - expected[k]) < 1e-12);
            CHECK(isWithin(box, place, 1e-12));
        }
    }
    CHECK(numClipped > 100);
    CHECK(numBehind > 200);
}

TEST_CASE("brokenPolygonsStayWithinTheirTenVertices") {
    double const odd[] = {std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(),
                          1e308,
                          -1e308,
                          0.0,
                          -0.0,
                          3.0};
    support::Random random(73);
    for (int round = 0; round < 3000; ++round) {
        std::vector<Place> places(static_cast<std::size_t>(random.index(11)));
        for (Place& place : places)
            for (double& value : place)
                value = random.index(3) == 0 ? odd[random.index(8)] : random.real(-2.0, 2.0);
        ClipPolygon polygon = polygonOf(places, static_cast<std::uint32_t>(random.next()));
        clipTriangle(polygon, ClipBox());
        CHECK(polygon.count >= 0);
        CHECK(polygon.count <= 10);
    }
    ClipPolygon zigzag;  // every edge crosses two faces
    zigzag.count = 10;
    for (int i = 0; i < 10; ++i)
        for (int k = 0; k < 16; ++k)
            zigzag.vertices[i][k] = k == 3 ? 1.0 : (i % 2 == 0 ? 5.0 : -5.0) * (k == 0 ? 1.0 : 0.1);
    CHECK(clipTriangle(zigzag, ClipBox()) == IntersectionClipped);
    CHECK(zigzag.count == 10);

    ClipPolygon empty = polygonOf({});
    CHECK(clipTriangle(empty, ClipBox()) == IntersectionInside);
    for (int count : {-5, std::numeric_limits<int>::max()}) {
        ClipPolygon hostile = zigzag;
        hostile.count = count;
        clipTriangle(hostile, ClipBox());
        CHECK(hostile.count >= 0);
        CHECK(hostile.count <= 10);
    }
}
