#include "support/builders.h"

#include "trimora/contract/koGeom/GridMesh.h"
#include "trimora/contract/koLinear/random.h"
#include "trimora/parameterize/ChordLengthParameterization.h"

#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

Range2d const unit({0.0, 0.0}, {1.0, 1.0});

GridMesh gridOf(int columns, int rows, std::function<Point(int, int)> const& place) {
    GridMesh mesh(columns, rows);
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i) {
            Point const p = place(i, j);
            mesh.getVertices()[j * columns + i].set(&p.x);
        }
    return mesh;
}

/// Columns at 0, 1, 3, 6, ... and rows at 0, 2, 6, ...
GridMesh stretched(int columns, int rows) {
    return gridOf(columns, rows, [](int i, int j) {
        return Point(i * (i + 1) / 2, j * (j + 1), 0.5 * i * (i + 1) / 2);
    });
}

MeshAttributes uvSet(std::vector<MeshUV> const& uvs) {
    MeshAttributes set("set", 2, static_cast<int>(uvs.size()));
    std::copy(uvs.begin(), uvs.end(), set.asMeshUV());
    return set;
}

std::vector<MeshUV> mapped(ChordLengthParameterization const& map, std::vector<MeshUV> const& uvs) {
    MeshAttributes chord = uvSet(std::vector<MeshUV>(uvs.size(), {-9.0f, -9.0f}));
    map.createChordLengthMapping(uvSet(uvs), chord);
    return {chord.asMeshUV(), chord.asMeshUV() + uvs.size()};
}

void checkNear(MeshUV const& uv, double u, double v, double tolerance = 1e-6) {
    CHECK(std::abs(double(uv.u) - u) <= tolerance);
    CHECK(std::abs(double(uv.v) - v) <= tolerance);
}

}  // namespace

TEST_CASE("evenCoordinatesStayWithinTheRange") {
    GridMesh mesh(5, 3);
    Range2d const range({0.1, 1.0}, {0.7, 2.0});
    createUniformParameterization(mesh, "even", range, 0.0);
    MeshUV const* uv = mesh.getAttributes("even")->asMeshUV();
    for (int j = 0; j < 3; ++j)
        for (int i = 0; i < 5; ++i)
            checkNear(uv[j * 5 + i], 0.1 + 0.15 * i, 1.0 + 0.5 * j, 1e-7);
    CHECK(uv[0].u == 0.1f);  // above 0.1 as it is, and 0.7f is below 0.7
    CHECK(uv[4].u == 0.7f);
    createUniformParameterization(mesh, "even", Range2d({0.7, -1.1}, {1.1, -0.7}), 0.0);
    uv = mesh.getAttributes("even")->asMeshUV();
    CHECK(uv[0].u ==
          nextafterf(0.7f, 1.0f));  // 0.7f is below 0.7, 1.1f above 1.1: one step inwards
    CHECK(uv[14].u == nextafterf(1.1f, 1.0f));
    CHECK(uv[0].v == nextafterf(-1.1f, -1.0f));
    CHECK(uv[14].v == nextafterf(-0.7f, -1.0f));

    createUniformParameterization(mesh, "even", unit, 0.5);  // half a step at both ends
    uv = mesh.getAttributes("even")->asMeshUV();
    for (int i = 0; i < 5; ++i)
        checkNear(uv[i], 0.1 + 0.2 * i, 1.0 / 6.0);

    createUniformParameterization(mesh, PointMesh::VerticesName, unit, 0.0);
    CHECK(mesh.getVerticesRaw()[3] == 0.0f);
    mesh.numV = 4;  // more than there are
    createUniformParameterization(mesh, "wrong", unit, 0.0);
    CHECK(mesh.getAttributes("wrong")->asMeshUV()[7].u == 0.0f);
    GridMesh line(3, 1);
    createUniformParameterization(line, "even", unit, 0.0);
    CHECK(line.getAttributes("even")->asMeshUV()[2].u == 1.0f);
    CHECK(std::isnan(line.getAttributes("even")->asMeshUV()[2].v));
    GridMesh none(-2, 7);
    CHECK(none.numU == 0);
    createUniformParameterization(none, "even", unit, 0.0);
}

TEST_CASE("longestRowAndColumnAreMeasured") {
    GridMesh const mesh = gridOf(3, 4, [](int i, int j) { return Point(i * (j + 1), j, 0.0); });
    float u = -1.0f, v = -1.0f;
    measureMaximumChordLengths(mesh, u, v);
    CHECK(u == 8.0f);
    CHECK(v == doctest::Approx(3.0 * std::sqrt(5.0)));
    measureMaximumChordLengths(GridMesh(), u, v);
    CHECK(u == 0.0f);
    CHECK(v == 0.0f);
}

TEST_CASE("coordinatesAreMappedByLength") {
    ChordLengthParameterization map;
    MeshAttributes untouched = uvSet({{5.0f, 5.0f}});
    map.createChordLengthMapping(uvSet({{0.5f, 0.5f}}), untouched);
    CHECK(untouched.asMeshUV()[0].u == 5.0f);

    //  columns at 0, 1, 3, 6; rows at 0, 2, 6
    map.measureChordLengths(stretched(4, 3), Range2d({0.0, 2.0}, {3.0, 4.0}));
    std::vector<MeshUV> const chord =
        mapped(map, {{0, 2}, {1, 2}, {2, 3}, {3, 4}, {1.5f, 3.5f}, {-3, 2}, {3, 6}});
    checkNear(chord[0], 0.0, 0.0);
    checkNear(chord[1], 1.0 / 6.0, 0.0);
    checkNear(chord[2], 0.5, 1.0 / 3.0);
    checkNear(chord[3], 1.0, 1.0);  // the upper end belongs to the last cell
    checkNear(chord[4], 2.0 / 6.0, 4.0 / 6.0);
    checkNear(chord[5], -1.0, 0.0);  // outside: brought from the range only
    checkNear(chord[6], 1.0, 2.0);
    float const nan = std::numeric_limits<float>::quiet_NaN();
    CHECK(std::isnan(mapped(map, {{nan, 2.0f}})[0].u));

    ChordLengthParameterization const shared = map;
    map.measureChordLengths(gridOf(3, 3, [](int i, int) { return Point(i, 0.0, 0.0); }), unit);
    checkNear(mapped(map, {{0.25f, 0.5f}})[0], 0.25, 0.0);  // columns without length keep theirs
    checkNear(mapped(shared, {{2, 3}})[0], 0.5, 1.0 / 3.0);
    map.measureChordLengths(stretched(4, 3), Range2d({1.0, 1.0}, {1.0, 2.0}));
    checkNear(mapped(map, {{0.25f, 7.0f}})[0], 0.25, 7.0);  // no extent: copied
    map.measureChordLengths(stretched(1, 3), unit);
    checkNear(mapped(map, {{0.25f, 0.75f}})[0], 0.25, 0.75);
    map.measureChordLengths(GridMesh(), unit);
    checkNear(mapped(map, {{0.5f, 0.5f}})[0], -9.0, -9.0);
}

//    0-----1-2     rows alike would hide which of them is taken, and so would columns
//    0-1-----2
//    vertices at x = 0, 1, 4 below and 0, 3, 4 above
TEST_CASE("eachRowAndEachColumnHasSharesOfItsOwn") {
    ChordLengthParameterization map;
    float const along[2][3] = {{0, 1, 4}, {0, 3, 4}};
    map.measureChordLengths(
        gridOf(3, 2, [&](int i, int j) { return Point(along[j][i], 0.0, 0.0); }),
        Range2d({0.0, 0.0}, {2.0, 1.0}));
    CHECK(mapped(map, {{1, 0}})[0].u == 0.25f);
    CHECK(mapped(map, {{1, 1}})[0].u == 0.75f);
    CHECK(mapped(map, {{0.5f, 0.25f}})[0].u == 0.1875f);
    CHECK(mapped(map, {{1, 0.5f}})[0].v == 0.5f);
    CHECK(mapped(map, {{0, 0.5f}})[0].v == 0.0f);  // the outer columns have no length
    map.measureChordLengths(
        gridOf(2, 3, [&](int i, int j) { return Point(0.0, along[i][j], 0.0); }),
        Range2d({0.0, 0.0}, {1.0, 2.0}));
    CHECK(mapped(map, {{0, 1}})[0].v == 0.25f);
    CHECK(mapped(map, {{1, 1}})[0].v == 0.75f);
    CHECK(mapped(map, {{0.25f, 0.5f}})[0].v == 0.1875f);
}

TEST_CASE("linesFromTheToleranceOnEndAtOne") {
    auto const endOfRow = [](float length, int columns) {
        ChordLengthParameterization map;
        map.measureChordLengths(
            gridOf(columns, 2,
                   [&](int i, int j) { return Point(length * static_cast<float>(i), j, 0.0); }),
            Range2d({0.0, 0.0}, {columns - 1.0, 1.0}));  // steps of 1, so that nothing is rounded
        return mapped(map, {{static_cast<float>(columns - 1), 1}})[0].u;
    };
    CHECK(endOfRow(epsilonTolFlt, 2) == 1.0f);
    CHECK(endOfRow(0.5f * epsilonTolFlt, 2) == 0.5f * epsilonTolFlt);
    for (int columns = 2; columns <= 200; ++columns)  // whatever 1 / length rounds to
        CHECK(endOfRow(0.1f, columns) == 1.0f);
}

TEST_CASE("imageInvertsTheMapping") {
    int const size = 33;
    MeshAttributes image("image", 2, size * size);
    ChordLengthParameterization map;
    map.invertChordLengthMapping(size, size, 0.0f, image);
    CHECK(image.asFloat()[100] == 0.0f);

    SUBCASE("evenGridInvertsToItself") {
        map.measureChordLengths(gridOf(9, 5, [](int i, int j) { return Point(i, 2.0 * j, 0.0); }),
                                unit);
        map.invertChordLengthMapping(size, size, 0.0f, image);
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x)
                checkNear(image.asMeshUV()[y * size + x], x / 32.0, y / 32.0);
    }
    SUBCASE("mappingTheImageGivesTheSamples") {
        // Within a cell the image is linear in each half, the mapping bilinear: alike where rows are alike.
        Range2d const range({-2.0, 1.0}, {2.0, 7.0});
        map.measureChordLengths(stretched(7, 6), range);
        map.invertChordLengthMapping(size, size, 0.0f, image);
        for (int y = 1; y < size - 1; ++y)  // rounding decides about samples on the square's edge
            for (int x = 1; x < size - 1; ++x)
                checkNear(mapped(map, {image.asMeshUV()[y * size + x]})[0], x / 32.0, y / 32.0,
                          1e-5);
    }
    SUBCASE("wavyRowsInvertNearly") {
        map.measureChordLengths(gridOf(40, 40,
                                       [](int i, int j) {
                                           return Point(i + 0.02 * i * i, j,
                                                        std::sin(0.3 * i + 0.1 * j));
                                       }),
                                unit);
        map.invertChordLengthMapping(size, size, 0.0f, image);
        for (int y = 1; y < size - 1; ++y)  // rounding decides about samples on the square's edge
            for (int x = 1; x < size - 1; ++x)
                checkNear(mapped(map, {image.asMeshUV()[y * size + x]})[0], x / 32.0, y / 32.0,
                          2e-3);
    }
}

TEST_CASE("samplesMixTheCornersOfTheLastTriangle") {
    ChordLengthParameterization map;
    map.measureChordLengths(gridOf(2, 2, [](int i, int j) { return Point(i, j, 0.0); }), unit);
    MeshAttributes image("image", 2, 12);
    map.invertChordLengthMapping(4, 3, 0.0f, image);
    map.pointSampler(3, 1, 0.25f, 0.5f);  // corners (1, 0), (0, 1), (1, 1) with 1/4, 1/4, 1/2
    CHECK(image.asMeshUV()[7].u == 0.75f);
    CHECK(image.asMeshUV()[7].v == 0.75f);
    MeshUV const before = image.asMeshUV()[11];
    ChordLengthParameterization::pointSamplerCB(&map, 0, 3, 0.0f, 0.0f);  // past the last
    map.pointSampler(-1, 0, 0.0f, 0.0f);
    CHECK(image.asMeshUV()[11].u == before.u);
    ChordLengthParameterization::pointSamplerCB(&map, 0, 0, 1.0f, 0.0f);
    CHECK(image.asMeshUV()[0].u == 0.0f);
    CHECK(image.asMeshUV()[0].v == 1.0f);
}

TEST_CASE("imagesThatDoNotFitAreLeftAlone") {
    ChordLengthParameterization map;
    map.pointSampler(1, 2, 0.25f, 0.5f);
    map.measureChordLengths(stretched(4, 4), unit);
    map.pointSampler(1, 2, 0.25f, 0.5f);
    MeshAttributes small("small", 2, 15), three("three", 3, 64);
    map.invertChordLengthMapping(4, 4, 0.5f, small);
    map.invertChordLengthMapping(4, 4, 0.5f, three);
    map.invertChordLengthMapping(0, 4, 0.5f, three);
    map.invertChordLengthMapping(4, -4, 0.5f, three);
    for (int i = 0; i < 30; ++i)
        CHECK(small.asFloat()[i] == 0.0f);
    for (int i = 0; i < 192; ++i)
        CHECK(three.asFloat()[i] == 0.0f);
}
