#include "support/builders.h"

#include "trimora/assembly/lineIterators.h"
#include "trimora/assembly/triangleIterators.h"

#include <algorithm>
#include <array>
#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;

namespace {

using Ints = std::vector<int>;
using Triangle = std::array<int, 3>;

template <typename Iterator>
Triangle at(Iterator const& it) {
    Triangle t;
    it.get(t[0], t[1], t[2]);
    unsigned int a, b, c;
    it.get(a, b, c);
    CHECK((t == Triangle{static_cast<int>(a), static_cast<int>(b), static_cast<int>(c)}));
    return t;
}

MeshSequenceShort stripsOf(std::vector<Ints> const& runs) {
    MeshSequenceShort strips;
    int numPoints = 0, place = 0;
    for (Ints const& run : runs)
        numPoints += static_cast<int>(run.size());
    strips.resize(numPoints, static_cast<int>(runs.size()));
    for (std::size_t i = 0; i < runs.size(); ++i) {
        strips.lengths[static_cast<int>(i)] = static_cast<int>(runs[i].size());
        for (int const point : runs[i])
            strips.points[place++] = static_cast<std::uint16_t>(point);
    }
    return strips;
}

std::vector<Triangle> plainTriangles(std::vector<Ints> const& runs) {
    std::vector<Triangle> triangles;
    for (Ints const& run : runs)
        for (std::size_t k = 2; k < run.size(); ++k)
            triangles.push_back(k % 2 == 0 ? Triangle{run[k - 2], run[k - 1], run[k]}
                                           : Triangle{run[k - 1], run[k - 2], run[k]});
    return triangles;
}

template <typename Iterator>
Ints indices(Iterator& it) {
    Ints all;
    for (; it.valid(); it.next())
        all.push_back(it.connected() ? it.index() : -it.index() - 100);
    return all;
}

}  // namespace

TEST_CASE("rawTrianglesAreWalkedInOrder") {
    int const corners[] = {0, 1, 2, 5, 4, 3, 7, 8, 9};
    RawTriIterator it(3, corners);
    CHECK(it.numTri() == 3);
    CHECK((at(it) == Triangle{0, 1, 2}));
    it.next();
    ko::Reference<RawTriIterator> const clone = it.clone();
    it.seek(2);
    CHECK((at(it) == Triangle{7, 8, 9}));
    it.next();
    CHECK_FALSE(it.valid());
    CHECK((at(*clone) == Triangle{5, 4, 3}));
    CHECK_FALSE(RawTriIterator(0, nullptr).valid());
}

TEST_CASE("stripsGiveTrianglesOfOneWinding") {
    ShortTriStripIterator const empty((MeshSequenceShort()));
    CHECK_FALSE(empty.valid());
    CHECK(empty.numTri() == 0);
    MeshSequenceShort const one = stripsOf({{0, 1, 2, 3}});
    ShortTriStripIterator it(one);
    CHECK((at(it) == Triangle{0, 1, 2}));
    it.next();
    CHECK((at(it) == Triangle{2, 1, 3}));
    it.next();
    CHECK_FALSE(it.valid());

    support::Random random(3);
    for (int round = 0; round < 40; ++round) {
        std::vector<Ints> runs(static_cast<std::size_t>(1 + random.index(8)));
        for (Ints& run : runs)
            for (int i = 3 + random.index(6); i > 0; --i)
                run.push_back(random.index(65536));
        MeshSequenceShort const strips = stripsOf(runs);
        std::vector<Triangle> const expected = plainTriangles(runs);
        ShortTriStripIterator walk(strips);
        REQUIRE(walk.numTri() == static_cast<int>(expected.size()));
        for (Triangle const& triangle : expected) {
            REQUIRE(walk.valid());
            CHECK((at(*walk.clone()) == triangle));
            walk.next();
        }
        CHECK_FALSE(walk.valid());
        for (int first = 0; first <= walk.numTri(); ++first) {  // starts can be walked on from
            walk.start(first);
            for (int i = first; i < walk.numTri(); ++i, walk.next())
                CHECK((at(walk) == expected[static_cast<std::size_t>(i)]));
            CHECK_FALSE(walk.valid());
        }
    }
}

TEST_CASE("seekKeepsItsWays") {
    // Three strips of two triangles: the search looks at the middle one first, and takes it for two longer.
    MeshSequenceShort const strips = stripsOf({{0, 1, 2, 3}, {10, 11, 12, 13}, {20, 21, 22, 23}});
    ShortTriStripIterator it(strips);
    Triangle const found[] = {{0, 1, 2},    {2, 1, 3},    {10, 11, 12},
                              {12, 11, 13}, {12, 13, 20}, {20, 13, 21}};
    for (int i = 0; i < 6; ++i) {
        it.seek(i);
        CHECK((at(it) == found[i]));  // the last two should be (20, 21, 22) and (22, 21, 23)
    }
    it.seek(2);
    it.next();
    it.next();  // beyond its strip, which is not noticed
    CHECK((at(it) == Triangle{12, 13, 20}));
    it.seek(0);
    it.next();
    it.next();  // in the first strip it is
    CHECK((at(it) == Triangle{10, 11, 12}));
}

TEST_CASE("linesTellWhereTheyGoOn") {
    CompactMesh mesh = support::meshOf(std::vector<float>(18), {});
    LineVertexIterator none(mesh);
    CHECK_FALSE(none.valid());
    int const ends[] = {0, 1, 1, 2, 4, 5, 5, 0};
    mesh.resizeLineArray(4);
    for (int i = 0; i < 8; ++i)
        mesh.getLines()[i / 2][i % 2] = ends[i];
    LineVertexIterator it(mesh);
    CHECK((indices(it) == Ints{0, 1, 1, 2, -104, 5, 5, 0}));  // the last line leads to the first
    mesh.getLines()[3][1] = 3;
    LineVertexIterator open(mesh);
    CHECK((indices(open) == Ints{-100, 1, 1, 2, -104, 5, 5, 3}));
}

TEST_CASE("lineStripsHaveOnePlaceMore") {
    CompactMesh mesh = support::meshOf(std::vector<float>(18), {});
    LineStripVertexIterator none(mesh);
    CHECK_FALSE(none.valid());
    mesh.resizeLineStripArrays(5, 3);
    int const points[] = {2, 3, 4, 5, 2}, lengths[] = {3, 0, 2};
    std::copy(points, points + 5, mesh.getLineStripPoints());
    std::copy(lengths, lengths + 3, mesh.getLineStripLengths());
    LineStripVertexIterator it(mesh);
    // 2 3 4, then the place behind; the empty strip's; 5 2, and nothing behind the last.
    Ints const all = indices(it);
    CHECK((all == Ints{2, 3, 4, 5, -105, -105, 2, -1}));
    it.start();
    it.nextStrip();
    it.nextStrip();
    CHECK(it.index() == 5);
    it.nextStrip();
    it.nextStrip();
    CHECK_FALSE(it.valid());
}
