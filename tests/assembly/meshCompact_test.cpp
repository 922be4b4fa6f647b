#include "support/builders.h"
#include "support/checks.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/contract/koUtil/Progress.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <doctest/doctest.h>
#include <limits>
#include <numeric>
#include <vector>

using namespace koGeom;
using support::coordinatesOf;
using support::trianglesOf;
using Ints = std::vector<int>;
using Floats = std::vector<float>;

namespace {

Ints tableOf(Remap const& remap) {
    return {remap.table.begin(), remap.table.end()};
}

Ints weld(CompactMesh& mesh) {
    koUtil::Progress progress;
    Remap remap;
    meshCompact(mesh, progress, remap);
    CHECK(remap.getDomainSize() == static_cast<int>(tableOf(remap).size()));
    CHECK(support::faultOf(mesh) == "");
    return tableOf(remap);
}

/// Exact like the default one, but the weld cannot know that.
struct HostChecker : IMeshVertexEqualityChecker {
    bool equal(MeshVertex const* a, MeshVertex const* b) override {
        return a->x == b->x && a->y == b->y && a->z == b->z;
    }
};

/// Equal up to a tolerance in x.
struct TolerantChecker : IMeshVertexEqualityChecker {
    bool equal(MeshVertex const* a, MeshVertex const* b) override {
        return std::abs(a->x - b->x) <= 0.1f && a->y == b->y && a->z == b->z;
    }
};

CompactMesh cloud(Floats const& coordinates) {
    return support::meshOf(coordinates, {});
}

using Key = std::array<float, 8>;

/// Keys of a vertex in the order of their comparison; 0 for those that do not count.
Key keyOf(CompactMesh const& mesh, int v) {
    Key key{};
    std::copy_n(mesh.getVerticesRaw() + 3 * v, 3, key.begin());
    if (mesh.getNormals() != nullptr && !mesh.getNormalsComputed()) {
        std::copy_n(mesh.getNormalsRaw() + 3 * v, 3, key.begin() + 3);
        if (mesh.getUVs() != nullptr)
            std::copy_n(mesh.getUVsRaw() + 2 * v, 2, key.begin() + 6);
    }
    return key;
}

/// The remap of an exact weld, by a stable sort and a scan.
Ints expectedRemap(CompactMesh const& mesh) {
    Ints order(static_cast<std::size_t>(mesh.getNumVertices()));
    std::iota(order.begin(), order.end(), 0);
    Ints remap = order;
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return keyOf(mesh, a) < keyOf(mesh, b); });
    int next = -1;
    for (std::size_t i = 0; i < order.size(); ++i) {
        next += i == 0 || keyOf(mesh, order[i]) != keyOf(mesh, order[i - 1]);
        remap[static_cast<std::size_t>(order[i])] = next;
    }
    if (next + 1 == mesh.getNumVertices())
        std::iota(remap.begin(), remap.end(), 0);
    return remap;
}

/// Random data from few values, both zeros among them.
void fill(float* values, int count, support::Random& random) {
    for (int i = 0; i < count; ++i)
        values[i] = random.index(6) == 0 ? -0.0f : static_cast<float>(random.index(5)) - 2.0f;
}

struct Welded {
    Ints remap;
    Floats coordinates, normals, uvs;
    Ints triangles;
    bool operator==(Welded const&) const = default;
};

Welded weldedBy(CompactMesh mesh, IMeshVertexEqualityChecker& checker) {
    koUtil::Progress progress;
    Remap remap;
    meshCompact(mesh, progress, remap, checker);
    Welded result{tableOf(remap), coordinatesOf(mesh), {}, {}, trianglesOf(mesh)};
    auto const numVertices = static_cast<std::size_t>(mesh.getNumVertices());
    if (mesh.getNormals() != nullptr)
        result.normals.assign(mesh.getNormalsRaw(), mesh.getNormalsRaw() + 3 * numVertices);
    if (mesh.getUVs() != nullptr)
        result.uvs.assign(mesh.getUVsRaw(), mesh.getUVsRaw() + 2 * numVertices);
    return result;
}

}  // namespace

//   2 == 3---5      two triangles with vertices of their own on the shared edge (1, 2) = (4, 3)
//   |  \ \   |
//   0---1 4--'
TEST_CASE("mergesEqualVerticesIntoLexicographicOrder") {
    CompactMesh mesh =
        support::meshOf({0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0}, {0, 1, 2, 3, 4, 5});
    CHECK(weld(mesh) == Ints{0, 2, 1, 1, 2, 3});
    CHECK(coordinatesOf(mesh) == Floats{0, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0});
    CHECK(trianglesOf(mesh) == Ints{0, 2, 1, 1, 2, 3});
}

TEST_CASE("leavesAMeshWithoutEqualVerticesInItsOrder") {
    CompactMesh mesh = support::meshOf({3, 0, 0, 1, 0, 0, 2, 0, 0}, {0, 1, 2});
    support::ModificationCounter const counter(mesh);
    CHECK(weld(mesh) == Ints{0, 1, 2});
    CHECK(coordinatesOf(mesh) == Floats{3, 0, 0, 1, 0, 0, 2, 0, 0});
    CompactMesh one = cloud({1, 2, 3});
    CHECK(weld(one) == Ints{0});
    CompactMesh none;
    CHECK(weld(none).empty());
    CHECK(counter.total() == 0);
}

TEST_CASE("oneEqualPairPutsAllVerticesInOrder") {
    CompactMesh mesh = cloud({3, 0, 0, 1, 0, 0, 2, 0, 0, 1, 0, 0});
    CHECK(weld(mesh) == Ints{2, 0, 1, 0});
    CHECK(coordinatesOf(mesh) == Floats{1, 0, 0, 2, 0, 0, 3, 0, 0});
}

TEST_CASE("keepsTrianglesThatBecomeDegenerateOrEqual") {
    CompactMesh mesh =
        support::meshOf({0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 1, 0}, {0, 2, 3, 1, 2, 3, 0, 1, 2});
    weld(mesh);
    CHECK(trianglesOf(mesh) == Ints{0, 1, 2, 0, 1, 2, 0, 0, 1});
}

TEST_CASE("highestOldIndexGivesTheData") {
    CompactMesh mesh = cloud({0, 1, 1, -0.0f, 1, 1});
    mesh.allocUVArray();
    mesh.getUVs()[0].set(0.25f, 0.0f);
    mesh.getUVs()[1].set(0.75f, 0.0f);
    weld(mesh);
    REQUIRE(mesh.getNumVertices() == 1);
    CHECK(std::signbit(mesh.getVertices()[0].x));
    CHECK(mesh.getUVs()[0].u == 0.75f);
}

TEST_CASE("textureCoordinatesKeepVerticesApartOnlyBesideAuthoredNormals") {
    CompactMesh mesh = cloud({1, 1, 1, 1, 1, 1});
    mesh.allocUVArray();
    mesh.getUVs()[1].set(1.0f, 0.0f);
    SUBCASE("no normals: merged") {
        CHECK(weld(mesh) == Ints{0, 0});
    }
    SUBCASE("computed normals: merged though the normals differ, and those go") {
        mesh.allocNormalArray();
        mesh.setNormalsComputed(true);
        mesh.getNormals()[1].z = 1.0f;
        CHECK(weld(mesh) == Ints{0, 0});
        CHECK(mesh.getNormals() == nullptr);
    }
    SUBCASE("equal authored normals: kept apart by the texture coordinate") {
        mesh.allocNormalArray();
        CHECK(weld(mesh) == Ints{0, 1});
        mesh.deleteUVs();
        CHECK(weld(mesh) == Ints{0, 0});
        CHECK(mesh.getNormals() != nullptr);
    }
    SUBCASE("different authored normals: kept apart") {
        mesh.deleteUVs();
        mesh.allocNormalArray();
        mesh.getNormals()[0].y = 1.0f;
        CHECK(weld(mesh) == Ints{0, 1});
    }
}

TEST_CASE("tolerantCheckerMeetsSortNeighboursAloneAndDoesNotCreep") {
    TolerantChecker checker;
    koUtil::Progress progress;
    Remap remap;
    CompactMesh chain = cloud({0, 0, 0, 0.0625f, 0, 0, 0.125f, 0, 0, 0.1875f, 0, 0});
    meshCompact(chain, progress, remap, checker);
    CHECK(tableOf(remap) == Ints{0, 0, 1, 1});
    CHECK(coordinatesOf(chain) == Floats{0.0625f, 0, 0, 0.1875f, 0, 0});

    CompactMesh parted = cloud({0, 0, 0, 0.03125f, 5, 0, 0.0625f, 0, 0});
    meshCompact(parted, progress, remap, checker);
    CHECK(tableOf(remap) == Ints{0, 1, 2});
}

TEST_CASE("hostCheckerSeesPointersIntoTheMesh") {
    struct Watcher : HostChecker {
        MeshVertex const* first = nullptr;
        int count = 0, calls = 0;
        bool equal(MeshVertex const* a, MeshVertex const* b) override {
            ++calls;
            CHECK(a >= first);
            CHECK(b < first + count);
            return HostChecker::equal(a, b);
        }
    } checker;
    CompactMesh mesh = support::soup(support::cube());
    checker.first = mesh.getVertices();
    checker.count = mesh.getNumVertices();
    koUtil::Progress progress;
    Remap remap;
    meshCompact(mesh, progress, remap, checker);
    CHECK(checker.calls == 35);
    CHECK(mesh.getNumVertices() == 8);
}

TEST_CASE("mapsStripsAndFansAndDropsWhatItDoesNotMap") {
    CompactMesh mesh = support::meshOf({1, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0}, {1, 0, 2});
    mesh.resizeTriStripArrays(4, 1);
    mesh.getTriStripLengths()[0] = 4;
    std::copy_n(Ints{0, 1, 2, 3}.begin(), 4, mesh.getTriStripPoints());
    mesh.resizeTriFanArrays(3, 1);
    mesh.getTriFanLengths()[0] = 3;
    std::copy_n(Ints{3, 1, 2}.begin(), 3, mesh.getTriFanPoints());
    mesh.allocTriangleNormalArray();
    mesh.resizeLineArray(1);
    mesh.allocAttributes("weight", 1);

    support::ModificationCounter const counter(mesh);
    CHECK(weld(mesh) == Ints{2, 0, 1, 2});
    CHECK(Ints(mesh.triStrips.points.begin(), mesh.triStrips.points.end()) == Ints{2, 0, 1, 2});
    CHECK(Ints(mesh.triFans.points.begin(), mesh.triFans.points.end()) == Ints{2, 0, 1});
    CHECK(mesh.getTriangleNormals() != nullptr);
    CHECK(mesh.getNumLines() == 0);
    CHECK(mesh.getAttributes("weight") == nullptr);
    REQUIRE(counter.total() == 1);
    CHECK(counter.type(0) == MeshModification::Topology);
}

TEST_CASE("tellsItsStepsWithTheirTimes") {
    CompactMesh mesh = support::soup(support::triangle());
    std::copy_n(mesh.getVerticesRaw(), 3, mesh.getVerticesRaw() + 3);
    mesh.allocNormalArray();
    support::DebugCapture const capture;
    weld(mesh);
    std::string text = capture.text();
    for (std::size_t at = 0; (at = text.find(": 0.", at)) != std::string::npos; ++at)
        text.erase(at + 2, text.find(" s\n", at) - at - 2);
    CHECK(text ==
          "meshCompact: 3 vertices, 1 triangles\n  sorted vertices:  s\n  initialized remap:  s\n"
          "  remapped vertices:  s\n  remapped normals:  s\n  remapped triangles:  s\n");
}

TEST_CASE("progressIsCutIntoSortAndRest") {
    CompactMesh mesh = support::soup(support::cube());
    koUtil::Progress progress;
    std::vector<double> values;
    progress.setListener([&values](double value, char const*) { values.push_back(value); });
    meshCompact(mesh, progress);
    CHECK(values == std::vector<double>{0.8});  // where the rest begins

    mesh = support::soup(support::cube());
    koUtil::Progress cancelled;
    cancelled.cancel();
    meshCompact(mesh, cancelled);
    CHECK(mesh.getNumVertices() == 8);  // a weld is not to be stopped
}

TEST_CASE("comparisonsGoThroughTheKeysInOrder") {
    Floats const vertices = {1, 2, 3, 1, 2, 4, 1, 2, 3, std::nanf(""), 2, 3};
    Floats const normals = {0, 0, 1, 0, 0, 0, 0, 0, 2, 0, 0, 0};
    Floats const uvs = {0, 1, 0, 0, 0, 0, 0, 0};
    VertexCompare const byVertex{vertices.data()};
    CHECK(byVertex.compare(0, 1) == -1);
    CHECK(byVertex.compare(1, 0) == 1);
    CHECK(byVertex.compare(0, 2) == 0);
    CHECK(byVertex.compare(0, 3) == 0);
    CHECK(byVertex(0, 1));
    CHECK_FALSE(byVertex(0, 2));
    CHECK(VertexNormalCompare{vertices.data(), normals.data()}.compare(0, 2) == -1);
    CHECK(VertexNormalUVCompare{vertices.data(), vertices.data(), uvs.data()}.compare(0, 2) == 1);
}

TEST_CASE("agreesWithAStableSortAndAScanOnAllKeysAndPools") {
    support::Random random(9);
    for (int round = 0; round < 44; ++round) {
        // The last are so large that they are dealt out to several parts.
        int const numVertices = round < 40 ? 1 + random.index(300) : 20000 + random.index(40000);
        CompactMesh mesh =
            support::latticeSoup(numVertices, numVertices, static_cast<std::uint64_t>(round));
        fill(mesh.getVerticesRaw(), 3 * numVertices, random);
        if (round % 3 != 0) {
            mesh.allocNormalArray();
            fill(mesh.getNormalsRaw(), 3 * numVertices, random);
            mesh.setNormalsComputed(round % 7 == 0);
        }
        if (round % 4 != 0) {
            mesh.allocUVArray();
            fill(mesh.getUVsRaw(), 2 * numVertices, random);
        }
        Ints const expected = expectedRemap(mesh);
        Ints mapped = trianglesOf(mesh);
        for (int& v : mapped)
            v = expected[static_cast<std::size_t>(v)];

        support::withPools([&](int numThreads) {
            CAPTURE(numThreads);
            CAPTURE(round);
            DefaultMeshVertexEqualityChecker exact;
            HostChecker host;
            Welded const result = weldedBy(mesh, exact);
            REQUIRE((result.remap == expected));
            REQUIRE((result.triangles == mapped));
            REQUIRE((result == weldedBy(mesh, host)));
        });
    }
}

TEST_CASE("keysMadeToCollideAreWeldedAllTheSame") {
    // Undoes the hash: x and y for which its last word is `hash` when z is 0.
    auto const unshift = [](std::uint64_t x, int bits) {
        std::uint64_t result = x;
        for (int done = bits; done < 64; done += bits)
            result = x ^ result >> bits;
        return result;
    };
    std::uint64_t const factor = 0x9E3779B97F4A7C15u;
    std::uint64_t inverse = factor;
    for (int i = 0; i < 6; ++i)
        inverse *= 2 - factor * inverse;
    Floats coordinates;
    for (std::uint64_t upper = 1; coordinates.size() < 3 * 10000; ++upper) {
        std::uint64_t word = unshift(upper << 40, 29) * inverse;
        word = unshift(unshift(word, 32) * inverse, 32) * inverse;
        float const x = std::bit_cast<float>(static_cast<std::uint32_t>(word));
        float const y = std::bit_cast<float>(static_cast<std::uint32_t>(word >> 32));
        if (x == x && y == y && x != 0 && y != 0)
            coordinates.insert(coordinates.end(), {x, y, 0, x, y, -0.0f});
    }
    CompactMesh const mesh = cloud(coordinates);
    DefaultMeshVertexEqualityChecker exact;
    HostChecker host;
    Welded const result = weldedBy(mesh, exact);
    CHECK(result.coordinates.size() == coordinates.size() / 2);
    CHECK((result == weldedBy(mesh, host)));
}

TEST_CASE("weldingASoupGivesBackTheSurface") {
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        CAPTURE(named.name);
        CompactMesh mesh = support::soup(named.mesh);
        CompactMesh reference = named.mesh;
        weld(mesh);
        CHECK(mesh.getNumVertices() == reference.getNumVertices());
        CHECK(mesh.getNumTriangles() == reference.getNumTriangles());
        weld(mesh);
        CHECK(mesh.getNumVertices() == reference.getNumVertices());
    }
}

TEST_CASE("notANumberMergesWithNothing") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    HostChecker host;
    DefaultMeshVertexEqualityChecker exact;
    CompactMesh mesh = cloud({nan, 0, 0, 1, 0, 0, nan, 0, 0, 1, 0, 0, 0, -nan, 2, 0, 0, 0});
    Ints const remap = weldedBy(mesh, exact).remap;
    CHECK(*std::max_element(remap.begin(), remap.end()) == 4);
    CHECK(remap[1] == remap[3]);
    CHECK(remap[5] == 0);

    support::Random random(21);
    for (int round = 0; round < 30; ++round) {
        Floats coordinates;
        for (int i = 0; i < 3 * (1 + random.index(4000)); ++i)
            coordinates.push_back(random.index(3) == 0 ? nan : static_cast<float>(random.index(3)));
        coordinates.resize(coordinates.size() / 3 * 3);
        CompactMesh const hostile = cloud(coordinates);
        for (IMeshVertexEqualityChecker* const checker :
             {static_cast<IMeshVertexEqualityChecker*>(&exact),
              static_cast<IMeshVertexEqualityChecker*>(&host)}) {
            Ints const table = weldedBy(hostile, *checker).remap;
            for (std::size_t i = 0; i < table.size(); ++i)
                REQUIRE((table[i] >= 0 && table[i] < hostile.getNumVertices()));
        }
    }
}
