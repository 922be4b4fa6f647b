#include "support/builders.h"
#include "support/topoBuilders.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/reduce/detail/CollapseQueue.h"
#include "trimora/reduce/detail/Quadric.h"

#include <bit>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <set>

// The parts of edge collapse that stand in for simpler ones, against those.

using namespace koGeom;

// Costs on a few values and over the whole range of doubles; entries come, go and come again, and are taken from the top.
TEST_CASE("theQueueIsAMultimapThatKeepsTheOrderOfInsertion") {
    constexpr int numTriangles = 700;
    double const largest = std::numeric_limits<double>::max();
    for (std::uint64_t seed = 0; seed < 6; ++seed) {
        support::Random random(seed);
        TopoMesh mesh;
        support::fill(mesh, support::soup(support::latticeSoup(50, numTriangles, 1)));
        TopoMeshTriangles links(mesh);
        // Some runs begin shortly before the tickets pass what a tag can hold, or what an entry may lag behind.
        std::uint64_t const firstTickets[] = {0, 0xffffff00u, 0x7fffff00u};
        CollapseQueue queue(links, firstTickets[seed % 3]);
        std::multimap<double, std::uint32_t> plain;
        std::map<std::uint32_t, std::multimap<double, std::uint32_t>::iterator> places;
        auto const cost = [&] {
            double const few[] = {0.0, -0.0, 1.0, largest, -1e-20, 1e-320};
            if (random.index(3) == 0)
                return few[random.index(6)];
            double const spread = std::ldexp(random.real(-1.0, 1.0), random.index(2000) - 1000);
            return seed % 2 == 0 ? random.real(0.9, 1.1) : spread;
        };
        for (int step = 0; step < 40000; ++step) {
            auto const h =
                static_cast<std::uint32_t>(4 * random.index(numTriangles) + random.index(3));
            REQUIRE(queue.holds(h) == (places.count(h) != 0));
            int const kind = random.index(8);
            if (places.count(h) != 0 && kind < 3) {
                queue.erase(h);
                plain.erase(places[h]);
                places.erase(h);
            } else if (places.count(h) == 0 && kind < 7) {
                double const c = cost();
                queue.insert(h, c);
                places[h] = plain.emplace(c, h);
            }
            CollapseQueue::Entry const* const top = queue.top();
            REQUIRE((top == nullptr) == plain.empty());
            if (top == nullptr)
                continue;
            REQUIRE(top->halfEdge == plain.begin()->second);
            REQUIRE(std::bit_cast<std::uint64_t>(top->cost) ==
                    std::bit_cast<std::uint64_t>(plain.begin()->first));
            if (kind == 7) {
                places.erase(top->halfEdge);
                queue.erase(top->halfEdge);
                plain.erase(plain.begin());
            }
        }
        std::size_t numEntries = 0;
        queue.forEach([&](CollapseQueue::Entry const& entry) {
            ++numEntries;
            CHECK(places.at(entry.halfEdge)->first == entry.cost);
        });
        CHECK(numEntries == plain.size());
    }
}

// Planes at random, few enough that many sums have no single minimum, and coefficients at the ends of the range.
TEST_CASE("theMinimumOfAQuadricIsThatOfTheGeneralInverse") {
    support::Random random(9);
    int numFound = 0;
    int numMissed = 0;
    for (int round = 0; round < 20000; ++round) {
        Quadric quadric;
        double const size = round % 5 == 0 ? std::ldexp(1.0, random.index(2400) - 1300) : 1.0;
        for (int planes = random.index(6); planes >= 0; --planes) {
            Vector n(random.index(3) - 1, random.index(3) - 1, random.index(3) - 1);
            if (round % 2 == 0)
                n = Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
            quadric.addPlane(size * n, round % 7 == 0 ? 0.0 : random.real(-10, 10));
        }
        double* const coefficients = &quadric.xx;
        if (round % 50 == 0)
            coefficients[random.index(10)] = std::nan("");
        if (round % 50 == 1)
            coefficients[random.index(10)] = std::numeric_limits<double>::infinity();

        ProjMatrix inverse = quadric.matrix();
        inverse.m[3] = inverse.m[7] = inverse.m[11] = 0.0;
        inverse.m[15] = 1.0;
        bool const exists = inverse.invertFast();
        Point p(7, 8, 9);
        REQUIRE(quadric.findMinimum(p) == exists);
        ++(exists ? numFound : numMissed);
        if (!exists) {
            REQUIRE(p == Point(7, 8, 9));
            continue;
        }
        REQUIRE(std::bit_cast<std::uint64_t>(p.x) == std::bit_cast<std::uint64_t>(inverse.m[12]));
        REQUIRE(std::bit_cast<std::uint64_t>(p.y) == std::bit_cast<std::uint64_t>(inverse.m[13]));
        REQUIRE(std::bit_cast<std::uint64_t>(p.z) == std::bit_cast<std::uint64_t>(inverse.m[14]));
    }
    CHECK(numFound > 4000);
    CHECK(numMissed > 1000);
}
