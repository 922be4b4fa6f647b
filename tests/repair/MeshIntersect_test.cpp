#include "support/builders.h"
#include "support/checks.h"

#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/spatial/computeOctreeTris.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;
using Cuts = std::deque<MeshIntersectPair>;
using Pairs = std::vector<std::pair<int, int>>;

namespace {

// A mesh with its tree and its table.
struct Indexed {
    CompactMesh mesh;
    Octree octree;
    OctreeTris tris;

    explicit Indexed(CompactMesh const& source, int leafSize = 16)
        : mesh(source),
          octree(mesh.getNumVertices(), mesh.getVerticesRaw(), boxOf(mesh), true, leafSize) {
        computeOctreeTris(mesh, octree, tris);
    }

    static BoundingBox boxOf(CompactMesh const& mesh) {
        BoundingBox box;
        meshBoundingBox(mesh, box);
        return box;
    }

    Cuts selfCuts() const {
        Cuts result{MeshIntersectPair()};
        koUtil::Progress progress;
        MeshIntersect(mesh, octree, tris).selfIntersect(progress, result);
        return result;
    }
};

Pairs pairsOf(Cuts const& cuts) {
    Pairs pairs;
    REQUIRE(cuts.size() % 2 == 0);
    for (std::size_t i = 0; i < cuts.size(); i += 2) {
        pairs.push_back({cuts[i].start.triangle, cuts[i + 1].start.triangle});
        CHECK(cuts[i].end.triangle == cuts[i].start.triangle);
        CHECK(cuts[i + 1].end.triangle == cuts[i + 1].start.triangle);
    }
    return pairs;
}

Point cornerOf(CompactMesh const& mesh, int t, int k) {
    return mesh.getVertices()[mesh.getTriangles()[t][k]].asPoint();
}

bool shareVertex(MeshTriangle const& a, MeshTriangle const& b) {
    for (int const v : a.vertices)
        if (v == b[0] || v == b[1] || v == b[2])
            return true;
    return false;
}

Pairs pairsByTryingAll(CompactMesh const& mesh) {
    Pairs pairs;
    Point start;
    Point end;
    for (int a = 0; a < mesh.getNumTriangles(); ++a)
        for (int b = 0; b < a; ++b)
            if (!shareVertex(mesh.getTriangles()[a], mesh.getTriangles()[b]) &&
                intersect(cornerOf(mesh, a, 0), cornerOf(mesh, a, 1), cornerOf(mesh, a, 2),
                          cornerOf(mesh, b, 0), cornerOf(mesh, b, 1), cornerOf(mesh, b, 2), start,
                          end))
                pairs.push_back({a, b});
    return pairs;
}

bool sameBits(MeshCoord const& a, MeshCoord const& b) {
    return a.triangle == b.triangle && std::memcmp(a.weights, b.weights, sizeof a.weights) == 0;
}

bool sameBits(Cuts const& a, Cuts const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](MeshIntersectPair const& p, MeshIntersectPair const& q) {
                          return sameBits(p.start, q.start) && sameBits(p.end, q.end);
                      });
}

Point positionOf(CompactMesh const& mesh, MeshCoord const& coord) {
    return coord.evaluate(mesh.getVertices(), mesh.getTriangles());
}

// Triangles of random corners in the unit cube, none sharing a vertex.
CompactMesh confetti(int numTriangles, double size, std::uint64_t seed) {
    support::Random random(seed);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int t = 0; t < numTriangles; ++t) {
        double const center[3] = {random.real(0, 1), random.real(0, 1), random.real(0, 1)};
        for (int k = 0; k < 3; ++k) {
            for (double const x : center)
                coordinates.push_back(static_cast<float>(x + random.real(-size, size)));
            triangles.push_back(3 * t + k);
        }
    }
    return support::meshOf(coordinates, triangles);
}

}  // namespace

TEST_SUITE("MeshIntersect") {

    TEST_CASE("pairGivesTheSegmentOnTheGreaterThenOnTheLesserTriangle") {
        Indexed const crossing(support::meshOf(
            {-4, -4, 0, 4, -4, 0, 0, 4, 0, -1, 0, -1, 0, 0, 1, 1, 0, -1}, {0, 1, 2, 3, 4, 5}));
        support::DebugCapture capture;
        Cuts const cuts = crossing.selfCuts();
        CHECK(pairsOf(cuts) == Pairs{{1, 0}});
        CHECK(capture.text().find(
                  "koGeom::meshSelfIntersect: 2 triangles\n    2 tri/tri intersections\n    ") !=
              std::string::npos);
        for (MeshIntersectPair const& record : cuts) {
            CHECK(std::abs(positionOf(crossing.mesh, record.start).x) == doctest::Approx(0.5));
            CHECK(positionOf(crossing.mesh, record.end).x ==
                  doctest::Approx(-positionOf(crossing.mesh, record.start).x));
        }
        CHECK(distance(positionOf(crossing.mesh, cuts[0].start),
                       positionOf(crossing.mesh, cuts[1].start)) < 1e-12);
    }

    //   The two triangles cross, but they have vertex 0 in common.
    TEST_CASE("trianglesWithACommonVertexAreFoundOnlyBetweenTwoMeshes") {
        Indexed const fin(
            support::meshOf({0, 0, 0, 4, -2, 0, 4, 2, 0, 4, 0, -2, 4, 0, 2}, {1, 2, 0, 3, 4, 0}));
        CHECK(fin.selfCuts().empty());
        Cuts result;
        Cuts otherResult;
        koUtil::Progress progress;
        MeshIntersect(fin.mesh, fin.octree, fin.tris)
            .intersect(fin.mesh, fin.octree, fin.tris, AffineMatrix::Identity, progress, result,
                       otherResult);
        REQUIRE(result.size() == 2);
        REQUIRE(otherResult.size() == 2);
        for (std::size_t i = 0; i < 2; ++i) {
            CHECK(result[i].start.triangle == static_cast<int>(i));
            CHECK(otherResult[i].start.triangle == 1 - static_cast<int>(i));
        }
    }

    TEST_CASE("agreesWithTryingAllPairs") {
        std::vector<support::NamedMesh> meshes = support::zoo();
        for (std::uint64_t seed = 1; seed <= 12; ++seed) {
            meshes.push_back({"confetti", confetti(200, 0.02 * static_cast<double>(seed), seed)});
            meshes.push_back({"lattice", support::latticeSoup(60, 60, seed)});
            meshes.push_back({"lattice soup", support::soup(support::latticeSoup(30, 50, seed))});
        }
        std::size_t numPairs = 0;
        for (auto const& named : meshes) {
            CAPTURE(named.name);
            CompactMesh const& mesh = named.mesh;
            Pairs const expected = pairsByTryingAll(mesh);
            numPairs += expected.size();
            for (int const leafSize : {1, 4, 16})
                CHECK(pairsOf(Indexed(mesh, leafSize).selfCuts()) == expected);
        }
        CHECK(numPairs > 1000);
    }

    // A disc of thin triangles round vertex 0, pierced by confetti: nearly every voxel is crowded with triangles that share the
    // hub. Without regard to that, the large disc would try ten thousand million pairs.
    TEST_CASE("hubOfAHugeFanCostsNoPairs") {
        auto const pierced = [](int numTriangles, int numPieces) {
            std::vector<float> coordinates{0.5f, 0.5f, 0.5f};
            std::vector<int> triangles;
            for (int i = 0; i < numTriangles; ++i) {
                double const turn = 6.283185307179586 * i / numTriangles;
                coordinates.insert(coordinates.end(),
                                   {static_cast<float>(0.5 + 0.5 * std::cos(turn)),
                                    static_cast<float>(0.5 + 0.5 * std::sin(turn)), 0.5f});
                triangles.insert(triangles.end(), {0, i + 1, (i + 1) % numTriangles + 1});
            }
            return support::joined(support::meshOf(coordinates, triangles),
                                   confetti(numPieces, 0.1, 3));
        };
        CompactMesh const small = pierced(700, 600);
        Pairs const expected = pairsByTryingAll(small);
        CHECK(expected.size() > 100);
        CHECK(pairsOf(Indexed(small).selfCuts()) == expected);
        CHECK(Indexed(pierced(150000, 0)).selfCuts().empty());
    }

    TEST_CASE("outcomeIsTheSameBitsOnAnyNumberOfThreads") {
        Indexed const spheres(
            support::joined(support::sphere(4), support::sphere(4), 0.7f, 0.1f, 0.05f));
        Indexed const other(support::torus(40, 20));
        AffineMatrix matrix;
        matrix.setFrame(Point(0.2, 0.3, 0.1), Vector(0, 1.5, 0), Vector(-1.5, 0, 0),
                        Vector(0, 0, 1.5));
        Cuts self;
        Cuts first;
        Cuts second;
        support::withPools([&](int numThreads) {
            koUtil::Progress progress;
            Cuts const cuts = spheres.selfCuts();
            Cuts result;
            Cuts otherResult;
            MeshIntersect(spheres.mesh, spheres.octree, spheres.tris)
                .intersect(other.mesh, other.octree, other.tris, matrix, progress, result,
                           otherResult);
            if (numThreads == 1) {
                self = cuts;
                first = result;
                second = otherResult;
                CHECK(self.size() > 200);
                CHECK(first.size() > 100);
            }
            CHECK(sameBits(cuts, self));
            CHECK(sameBits(result, first));
            CHECK(sameBits(otherResult, second));
        });
        Pairs const pairs = pairsOf(self);
        CHECK(std::is_sorted(pairs.begin(), pairs.end()));
    }

    TEST_CASE("placedMeshIsCutWhereItsTransformedCopyIs") {
        Indexed const ball(support::sphere(2));
        Indexed const ring(support::torus(16, 10, 0.8, 0.3));
        AffineMatrix matrix;
        matrix.setFrame(Point(0.31, 0.17, -0.05), Vector(0.9, 0.2, 0), Vector(-0.2, 0.9, 0.1),
                        Vector(0, -0.1, 1.1));
        Cuts result;
        Cuts otherResult;
        koUtil::Progress progress;
        MeshIntersect(ball.mesh, ball.octree, ball.tris)
            .intersect(ring.mesh, ring.octree, ring.tris, matrix, progress, result, otherResult);

        Pairs expected;
        Point start;
        Point end;
        for (int a = 0; a < ball.mesh.getNumTriangles(); ++a)
            for (int b = 0; b < ring.mesh.getNumTriangles(); ++b)
                if (intersect(cornerOf(ball.mesh, a, 0) * matrix,
                              cornerOf(ball.mesh, a, 1) * matrix,
                              cornerOf(ball.mesh, a, 2) * matrix, cornerOf(ring.mesh, b, 0),
                              cornerOf(ring.mesh, b, 1), cornerOf(ring.mesh, b, 2), start, end))
                    expected.push_back({a, b});
        Pairs pairs;
        REQUIRE(result.size() == otherResult.size());
        for (std::size_t i = 0; i < result.size(); ++i) {
            pairs.push_back({result[i].start.triangle, otherResult[i].start.triangle});
            CHECK(distance(positionOf(ball.mesh, result[i].end) * matrix,
                           positionOf(ring.mesh, otherResult[i].end)) < 1e-6);
        }
        CHECK(expected.size() > 50);
        CHECK(pairs == expected);
    }

    TEST_CASE("boxesApartLeaveTheResultsAlone") {
        Indexed const ball(support::sphere(1));
        AffineMatrix matrix;
        matrix.setFrame(Point(50, 0, 0), Vector::xAxis, Vector::yAxis, Vector::zAxis);
        Cuts result(3);
        Cuts otherResult(4);
        koUtil::Progress progress;
        support::DebugCapture capture;
        MeshIntersect intersect(ball.mesh, ball.octree, ball.tris);
        intersect.intersect(ball.mesh, ball.octree, ball.tris, matrix, progress, result,
                            otherResult);
        CHECK(result.size() == 3);
        CHECK(otherResult.size() == 4);
        CHECK(capture.text().ends_with("koGeom::meshIntersect: bboxes don't overlap\n"));
        // Boxes that meet over surfaces that do not: emptied.
        matrix.setFrame(Point(0, 0, 0), Vector(0.1, 0, 0), Vector(0, 0.1, 0), Vector(0, 0, 0.1));
        intersect.intersect(ball.mesh, ball.octree, ball.tris, matrix, progress, result,
                            otherResult);
        CHECK(result.empty());
        CHECK(otherResult.empty());
    }

    TEST_CASE("cancelledRunDeliversWhatItHas") {
        Indexed const spheres(
            support::joined(support::sphere(3), support::sphere(3), 0.7f, 0.1f, 0.05f));
        Pairs const all = pairsOf(spheres.selfCuts());
        koUtil::ThreadPool pool(1);  // its one thread reports every chunk
        koUtil::ThreadPool::setShared(&pool);
        koUtil::Progress progress;
        progress.setListener([&](double value, char const*) {
            if (value > 0.4)
                progress.cancel();
        });
        Cuts result;
        MeshIntersect intersect(spheres.mesh, spheres.octree, spheres.tris);
        intersect.selfIntersect(progress, result);
        Pairs const some = pairsOf(result);
        CHECK(some.size() < all.size());
        CHECK(std::includes(all.begin(), all.end(), some.begin(), some.end()));

        result.resize(5);
        intersect.selfIntersect(progress, result);
        CHECK(result.empty());
        koUtil::ThreadPool::setShared(nullptr);
    }

    TEST_CASE("copySharesTheTablesOfTheOriginal") {
        Indexed const spheres(
            support::joined(support::sphere(2), support::sphere(2), 0.7f, 0.1f, 0.05f));
        MeshIntersect original(spheres.mesh, spheres.octree, spheres.tris);
        koUtil::Progress progress;
        Cuts first;
        Cuts second;
        {
            MeshIntersect copy(original);
            copy.selfIntersect(progress, first);
        }
        original.selfIntersect(progress, second);
        CHECK(sameBits(first, second));
        CHECK_FALSE(first.empty());
    }

    TEST_CASE("hostileNumbersEndWithValidTriangles") {
        float const bad[] = {std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity(), 1e30f, 1e-30f};
        for (float const value : bad)
            for (std::uint64_t seed = 1; seed <= 6; ++seed) {
                CompactMesh mesh = support::latticeSoup(40, 80, seed);
                support::Random random(seed);
                for (int i = 0; i < 12; ++i)
                    mesh.getVerticesRaw()[random.index(120)] = value;
                Indexed const indexed(mesh);
                Cuts const cuts = indexed.selfCuts();
                Pairs const pairs = pairsOf(cuts);
                CHECK(std::is_sorted(pairs.begin(), pairs.end()));
                for (auto const& [greater, lesser] : pairs) {
                    CHECK(greater < 80);
                    CHECK(lesser >= 0);
                    CHECK(greater > lesser);
                }
                Cuts result;
                Cuts otherResult;
                koUtil::Progress progress;
                MeshIntersect(mesh, indexed.octree, indexed.tris)
                    .intersect(mesh, indexed.octree, indexed.tris, AffineMatrix::Identity, progress,
                               result, otherResult);
                CHECK(result.size() == otherResult.size());
            }
    }

    TEST_CASE("emptyMeshHasNoCuts") {
        Indexed const nothing{CompactMesh()};
        CHECK(nothing.selfCuts().empty());
        Indexed const points(support::meshOf({0, 0, 0, 1, 1, 1}, {}));
        CHECK(points.selfCuts().empty());
    }
}
