// Overlaps in one plane: small cases, and all pairs in whole numbers.

#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/detail/selfCuts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <doctest/doctest.h>

using koGeom::CompactMesh;
using support::meshOf;
using trimora::CoplanarOverlap;
using Ids = std::vector<int>;
using Pairs = std::vector<std::array<int, 2>>;

namespace {

std::vector<CoplanarOverlap> overlapsIn(CompactMesh const& mesh) {
    koUtil::Progress progress;
    std::vector<CoplanarOverlap> overlaps;
    trimora::findSelfCuts(mesh, progress, &overlaps);
    return overlaps;
}

Pairs pairsIn(CompactMesh const& mesh) {
    Pairs pairs;
    for (CoplanarOverlap const& overlap : overlapsIn(mesh))
        pairs.push_back({overlap.triangle, overlap.other});
    return pairs;
}

/// Triangles of a plane lattice, without area none, each turned to the front.
CompactMesh latticeTriangles(int side, int numTriangles, std::uint64_t seed) {
    support::Random random(seed);
    std::vector<float> coordinates;
    for (int i = 0; i < side * side; ++i)
        for (int const c : {i % side, i / side, 0})
            coordinates.push_back(static_cast<float>(c));
    Ids triangles;
    while (static_cast<int>(triangles.size()) < 3 * numTriangles) {
        int const corners[3] = {random.index(side * side), random.index(side * side),
                                random.index(side * side)};
        auto const x = [&](int k) { return corners[k] % side; };
        auto const y = [&](int k) { return corners[k] / side; };
        if ((x(1) - x(0)) * (y(2) - y(0)) > (y(1) - y(0)) * (x(2) - x(0)))
            triangles.insert(triangles.end(), corners, corners + 3);
    }
    return meshOf(coordinates, triangles);
}

/// A side of `a` that has all of `b` beyond it or on it.
bool areParted(CompactMesh const& mesh, int a, int b) {
    auto const at = [&mesh](int t, int k) { return mesh.getVertices()[mesh.getTriangles()[t][k]]; };
    for (int k = 0; k < 3; ++k) {
        auto const p = at(a, k);
        auto const q = at(a, (k + 1) % 3);
        bool isBeyond = true;
        for (int i = 0; i < 3; ++i) {
            auto const r = at(b, i);
            isBeyond &= (q.x - p.x) * (r.y - p.y) <= (q.y - p.y) * (r.x - p.x);
        }
        if (isBeyond)
            return true;
    }
    return false;
}

Pairs pairsByBruteForce(CompactMesh const& mesh) {
    Pairs pairs;
    for (int b = 0; b < mesh.getNumTriangles(); ++b)
        for (int a = 0; a < b; ++a) {
            int numCommon = 0;
            for (int const v : mesh.getTriangles()[a].vertices)
                for (int const w : mesh.getTriangles()[b].vertices)
                    numCommon += v == w ? 1 : 0;
            if (numCommon < 2 && !areParted(mesh, a, b) && !areParted(mesh, b, a))
                pairs.push_back({a, b});
        }
    return pairs;
}

/// Turned and moved, so that no coordinate is exact any more.
CompactMesh turned(CompactMesh mesh, double scale) {
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        auto& p = mesh.getVertices()[v];
        double const x = static_cast<double>(p.x);
        double const y = static_cast<double>(p.y);
        p.x = static_cast<float>(scale * (0.36 * x + 0.48 * y + 3.1));
        p.y = static_cast<float>(scale * (-0.8 * x + 0.6 * y + 0.7));
        p.z = static_cast<float>(scale * (0.48 * x + 0.64 * y - 1.3));
    }
    return mesh;
}

}  // namespace

//    2
//    | \  5       0-1-2 and 3-4-5 share the square of side 1 at their right angles; 6-7-8 touches along a side, 9-10-11 is above
//    |  \ |
// 6..0---\3..1
TEST_CASE("overlapsAreMeasured") {
    CompactMesh const mesh =
        meshOf({0, 0, 0, 3, 0, 0, 0,  3, 0, 1, 1, 0,      -2, 1, 0,      1, -2, 0,
                0, 0, 0, 0, 3, 0, -3, 3, 0, 0, 0, 0.001f, 3,  0, 0.001f, 0, 3,  0.001f},
               {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    auto const overlaps = overlapsIn(mesh);
    REQUIRE(!overlaps.empty());
    CHECK(overlaps[0].triangle == 0);
    CHECK(overlaps[0].other == 1);
    CHECK(overlaps[0].area == doctest::Approx(1.0));
    CHECK(overlaps[0].centre.x == doctest::Approx(0.5));
    CHECK(overlaps[0].centre.y == doctest::Approx(0.5));
    for (CoplanarOverlap const& overlap : overlaps)
        CHECK(overlap.other != 3);
}

TEST_CASE("overlapsAgreeWithBruteForce") {
    std::size_t numFound = 0;
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
        CAPTURE(seed);
        CompactMesh const mesh = latticeTriangles(7, 60, seed);
        Pairs const expected = pairsByBruteForce(mesh);
        numFound += expected.size();
        CHECK(pairsIn(mesh) == expected);
        // Rounding makes some pairs cut that overlap: none is lost.
        CompactMesh const rounded = turned(mesh, std::ldexp(1.0, -40));
        koUtil::Progress progress;
        std::vector<CoplanarOverlap> overlaps;
        Pairs found;
        for (trimora::SelfCut const& cut : trimora::findSelfCuts(rounded, progress, &overlaps))
            found.push_back({cut.triangle, cut.other});
        for (CoplanarOverlap const& overlap : overlaps)
            found.push_back({overlap.triangle, overlap.other});
        auto const byOther = [](auto const& a, auto const& b) {
            return a[1] != b[1] ? a[1] < b[1] : a[0] < b[0];
        };
        std::sort(found.begin(), found.end(), byOther);
        CHECK(std::includes(found.begin(), found.end(), expected.begin(), expected.end(), byOther));
        for (CoplanarOverlap const& overlap : overlaps)
            CHECK(std::binary_search(expected.begin(), expected.end(),
                                     std::array<int, 2>{overlap.triangle, overlap.other}, byOther));
    }
    CHECK(numFound > 1000);
}

//   .-----.-----.
//   |     |\    |      neighbours that meet at a vertex of the one on an edge of the other, rounded: they overlap by a hair
//   |     | >---|
//   |     |/    |
//   '-----'-----'
TEST_CASE("neighboursAlongARoundedEdgeDoNotOverlap") {
    std::vector<float> coordinates;
    Ids triangles;
    for (int i = 0; i < 30; ++i) {
        int const first = static_cast<int>(coordinates.size()) / 3;
        double const t = (i + 1) / 32.0;
        for (double const c :
             {0.0, 3.0 * i, 0.0, 2.0, 3.0 * i + 1.0, 0.0, -1.0, 3.0 * i + 2.0, 0.0, 2.0 * t - 1e-7,
              3.0 * i + t + 1e-7, 0.0, 2.0, 3.0 * i - 1.0, 0.0, 2.0 * t + 1.0, 3.0 * i - 1.0, 0.0})
            coordinates.push_back(static_cast<float>(c));
        triangles.insert(triangles.end(),
                         {first, first + 1, first + 2, first + 3, first + 4, first + 5});
    }
    CHECK(pairsIn(turned(meshOf(coordinates, triangles), 1.0)) == Pairs());
    for (support::NamedMesh const& named : support::manifoldZoo()) {
        CAPTURE(named.name);
        CHECK(pairsIn(named.mesh) == Pairs());
    }
}

TEST_CASE("overlapsDoNotDependOnThreads") {
    CompactMesh const mesh =
        support::joined(support::grid(40, 40), support::grid(40, 40), 0.4f, 0.3f);
    Pairs first;
    support::withPools([&](int numThreads) {
        CAPTURE(numThreads);
        Pairs const pairs = pairsIn(mesh);
        if (first.empty())
            first = pairs;
        CHECK(pairs.size() > 3200);
        CHECK(pairs == first);
    });
}

// A flat fan of 100,000 triangles has as many neighbours in its middle; one triangle lies on it there.
TEST_CASE("hugeFlatFansAreAskedInTime") {
    int const count = 100000;
    std::vector<float> coordinates = {0, 0, 0};
    Ids triangles;
    for (int i = 0; i < count; ++i) {
        double const angle = 6.283185307179586 * i / count;
        for (double const c : {1e4 * std::cos(angle), 1e4 * std::sin(angle), 0.0})
            coordinates.push_back(static_cast<float>(c));
        triangles.insert(triangles.end(), {0, 1 + i, 1 + (i + 1) % count});
    }
    for (float const c : {9000.0f, 10.0f, 0.0f, 9001.0f, 10.0f, 0.0f, 9000.0f, 11.0f, 0.0f})
        coordinates.push_back(c);
    triangles.insert(triangles.end(), {count + 1, count + 2, count + 3});
    Pairs const pairs = pairsIn(meshOf(coordinates, triangles));
    REQUIRE(!pairs.empty());
    CHECK(pairs.size() < 10);
    for (auto const& pair : pairs)
        CHECK(pair[1] == count);
}
