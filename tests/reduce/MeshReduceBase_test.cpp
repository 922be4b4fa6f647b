#include "reduction.h"
#include "support/checks.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/detail/MeshReduceFraction.h"
#include "trimora/reduce/detail/vertexFlatness.h"

#include <doctest/doctest.h>
#include <functional>
#include <numeric>

using namespace koGeom;
using detail::TrianglePoints;

namespace {

/// A reducer whose judgements the test makes, and which keeps what it was asked.
class Scripted : public detail::MeshReduceBase {
public:
    using MeshReduceBase::MeshReduceBase;

    std::function<bool(int)> accept = [](int) { return true; };
    std::function<bool(int)> allow = [](int) { return true; };
    std::function<bool()> note = [] { return true; };
    int passLimit = 1;
    int target = 0;

    std::vector<int> judged;                  // vertices, as they came
    std::vector<std::array<int, 2>> passes;   // index, candidates
    std::vector<std::array<int, 2>> batches;  // size, candidates
    int merges = 0;

    /// The candidates of a first pass.
    std::vector<int> firstCandidates() {
        detail::vertexFlatness(mesh, *cache.getAdjVertices(mesh), flatness.get());
        koUtil::Ordering order;
        order.sort(flatness.get(), flatness.get() + initialVertexCount);
        return chooseCandidates(order);
    }
    void run() {
        koUtil::Progress progress;
        reduce(progress);
    }

protected:
    bool noteRemoval() override { return note(); }
    void beginPass(int passIndex, int candidateCount, koUtil::Progress&) override {
        passes.push_back({passIndex, candidateCount});
    }
    void beginBatch(int batchSize, int candidateCount) override {
        batches.push_back({batchSize, candidateCount});
    }
    bool wantsMore(int vertexCount) override {
        return vertexCount > target && iteration < passLimit;
    }
    bool acceptRemoval(int vertex, ko::vector<TrianglePoints> const&) override {
        judged.push_back(vertex);
        return accept(vertex);
    }
    bool canRemove(int vertex) override { return allow(vertex); }
    void beforeMerge() override { ++merges; }
};

/// Candidates by searches through all triangles: flattest first, the lower number of equals; inside, in a closed fan, and no
/// two of them neighbours.
std::vector<int> plainCandidates(CompactMesh const& mesh, std::function<bool(int)> const& allow,
                                 int target) {
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    MeshAdjVertices adjVertices;
    meshAdjVertices(mesh, adjTris, adjVertices);
    int numLeft = mesh.getNumVertices();
    std::vector<double> flatness(static_cast<std::size_t>(numLeft));
    detail::vertexFlatness(mesh, adjVertices, flatness.data());
    std::vector<int> order(flatness.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        return flatness[static_cast<std::size_t>(a)] < flatness[static_cast<std::size_t>(b)];
    });

    std::set<int> blocked;
    std::vector<int> candidates;
    for (int const v : order) {
        std::set<int> neighbours;
        std::multiset<int> around;
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            MeshTriangle const& triangle = mesh.getTriangles()[t];
            for (int k = 0; k < 3; ++k) {
                if (triangle[k] != v)
                    continue;
                around.insert(t);
                neighbours.insert({triangle[0], triangle[1], triangle[2]});
            }
        }
        neighbours.erase(v);
        if (blocked.count(v) != 0 || neighbours.size() < 3 || neighbours.size() != around.size() ||
            !allow(v))
            continue;
        candidates.push_back(v);
        blocked.insert(neighbours.begin(), neighbours.end());
        if (--numLeft <= target)
            break;
    }
    return candidates;
}

/// Tetrahedra side by side: each has one candidate, its first vertex.
CompactMesh tetrahedra(int count) {
    CompactMesh const one = support::tetrahedron();
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (int i = 0; i < count; ++i) {
        for (int v = 0; v < 4; ++v) {
            reduction::Position const p = reduction::positionOf(one, v);
            coordinates.insert(coordinates.end(),
                               {p[0] + 3.0f * static_cast<float>(i % 400),
                                p[1] + 3.0f * static_cast<float>(i / 400), p[2]});
        }
        for (int const corner : support::trianglesOf(one))
            triangles.push_back(4 * i + corner);
    }
    return support::meshOf(coordinates, triangles);
}

}  // namespace

TEST_SUITE("MeshReduceBase") {

    TEST_CASE("candidatesAreTheFlattestNoTwoOfWhichAreNeighbours") {
        for (auto& named : support::zoo()) {
            CompactMesh& mesh = named.mesh;
            CAPTURE(named.name);
            for (int const target : {0, mesh.getNumVertices() - 5}) {
                auto const allow = [&](int v) { return target != 0 || v % 7 != 3; };
                Scripted reducer(mesh);
                reducer.allow = allow;
                reducer.target = target;
                CHECK(reducer.firstCandidates() == plainCandidates(mesh, allow, target));
            }
        }
    }

    TEST_CASE("refusingEverythingChangesNothing") {
        for (auto const& named : support::zoo()) {
            CompactMesh const& source = named.mesh;
            CAPTURE(named.name);
            CompactMesh mesh = source;
            support::ModificationCounter counter(mesh);
            Scripted reducer(mesh);
            reducer.accept = [](int) { return false; };
            reducer.passLimit = 5;
            reducer.run();
            CHECK(support::trianglesOf(mesh) == support::trianglesOf(source));
            CHECK(support::coordinatesOf(mesh) == support::coordinatesOf(source));
            CHECK(counter.total() == 0);
            CHECK(reducer.getRemovedPoints().empty());
            CHECK(mesh.getSelectedVertices().count == 0);
            CHECK(mesh.getSelectedTriangles().count == 0);
            CHECK(reducer.report().passes == static_cast<int>(!reducer.passes.empty()));
            CHECK(reducer.report().reason == (!reducer.judged.empty() ? MeshReduceReport::Tolerance
                                              : mesh.getNumVertices() > 0
                                                  ? MeshReduceReport::NothingLeft
                                                  : MeshReduceReport::Target));
        }
    }

    TEST_CASE("poorBatchIsTriedAgainWithoutThoseThatCouldNotGo") {
        CompactMesh const source = reduction::jitteredGrid(12, 12);
        CompactMesh mesh = source;
        support::ModificationCounter counter(mesh);
        Scripted reducer(mesh);
        reducer.accept = [](int v) { return v % 3 == 0; };
        reducer.run();

        std::vector<int> gone;
        for (int const v : std::set<int>(reducer.judged.begin(), reducer.judged.end())) {
            if (v % 3 == 0)
                gone.push_back(v);
        }
        // First all, ascending, then those that were accepted.
        std::size_t const numFirst = reducer.judged.size() - gone.size();
        REQUIRE(gone.size() * 3 / 2 < numFirst);
        auto const second = reducer.judged.begin() + static_cast<std::ptrdiff_t>(numFirst);
        CHECK(std::is_sorted(reducer.judged.begin(), second));
        CHECK(std::vector<int>(second, reducer.judged.end()) == gone);
        CHECK(reducer.merges == 1);
        CHECK(counter.total() == 1);

        // The points of the dropped attempt stay listed.
        REQUIRE(reducer.getRemovedPoints().size() == 2 * gone.size());
        std::multiset<reduction::Position> left = reduction::positionsOf(source);
        for (std::size_t i = 0; i < gone.size(); ++i) {
            Point const p = source.getVertices()[gone[i]].asPoint();
            CHECK(reducer.getRemovedPoints()[i] == p);
            CHECK(reducer.getRemovedPoints()[i + gone.size()] == p);
            left.erase(reduction::positionOf(source, gone[i]));
        }
        CHECK(reduction::positionsOf(mesh) == left);
        CHECK(support::area(mesh) == doctest::Approx(144.0));
        CHECK(reduction::isOrientedManifold(mesh));
    }

    TEST_CASE("vertexThatIsRefusedInAGoodBatchStays") {
        CompactMesh const source = reduction::jitteredGrid(12, 12);
        CompactMesh mesh = source;
        Scripted reducer(mesh);
        std::multiset<reduction::Position> left = reduction::positionsOf(source);
        reducer.accept = [&](int v) {
            if (v % 10 != 0)
                left.erase(reduction::positionOf(source, v));
            return v % 10 != 0;
        };
        reducer.run();
        CHECK(reducer.judged.size() > reducer.getRemovedPoints().size());
        CHECK(reduction::positionsOf(mesh) == left);
        CHECK(support::faultOf(mesh).empty());
        CHECK(support::area(mesh) == doctest::Approx(144.0));
        CHECK(support::eulerNumber(mesh) == 1);
        CHECK(reduction::isOrientedManifold(mesh));
    }

    // Two thirds, rounded down: of two that go out of three, 2 * 3 / 2 is as much as were tried.
    TEST_CASE("twoThirdsOfABatchAreEnough") {
        for (int const numAccepted : {0, 1, 2, 3}) {
            CAPTURE(numAccepted);
            CompactMesh mesh = tetrahedra(3);
            Scripted reducer(mesh);
            reducer.accept = [&](int v) { return v / 4 < numAccepted; };
            reducer.run();
            CHECK(reducer.judged.size() == (numAccepted == 1 ? 4u : 3u));
            CHECK(mesh.getNumVertices() == 12 - numAccepted);
        }
    }

    TEST_CASE("stopMergesWhatWentAndTriesNothingAgain") {
        CompactMesh mesh = reduction::jitteredGrid(20, 20);
        Scripted reducer(mesh);
        reducer.note = [&] { return reducer.getRemovedPoints().size() < 3; };
        reducer.run();
        CHECK(reducer.judged.size() == 3);
        CHECK(reducer.merges == 1);
        CHECK(mesh.getNumVertices() == 21 * 21 - 3);
        CHECK(support::area(mesh) == doctest::Approx(400.0));
        CHECK(mesh.getSelectedTriangles().count == 0);
    }

    TEST_CASE("batchesAreCutSoThatNoSmallOneIsLeft") {
        for (int const count : {98304, 98305}) {
            CompactMesh mesh = tetrahedra(count);
            Scripted reducer(mesh);
            reducer.run();
            std::vector<std::array<int, 2>> const expected =
                count == 98304
                    ? std::vector<std::array<int, 2>>{{count, count}}
                    : std::vector<std::array<int, 2>>{{65536, count}, {count - 65536, count}};
            CHECK(reducer.batches == expected);
            CHECK(reducer.passes == std::vector<std::array<int, 2>>{{0, count}});
            CHECK(mesh.getNumVertices() == 3 * count);
            CHECK(mesh.getNumTriangles() == 2 * count);
            CHECK(reducer.getRemovedPoints().size() == static_cast<std::size_t>(count));
        }
    }
}

TEST_SUITE("MeshReduceFraction") {

    // A picky one drops batches, whose points count: it passes the number to remove, and then is silent.
    TEST_CASE("progressIsTheShareOfRemovalsAtEveryHundredth") {
        class Picky : public detail::MeshReduceFraction {
        public:
            Picky(CompactMesh& source, int everyNth)
                : MeshReduceFraction(source, 0.5), n(everyNth) {}

        protected:
            bool acceptRemoval(int vertex, ko::vector<TrianglePoints> const&) override {
                return vertex % n == 0;
            }
            int const n;
        };
        for (int const n : {1, 3}) {
            CompactMesh mesh = support::terrain(60, 50, 2);
            int const numToRemove = mesh.getNumVertices() - mesh.getNumVertices() / 2;
            Picky reducer(mesh, n);
            koUtil::Progress progress;
            std::vector<double> values;
            progress.setListener([&](double value, char const*) { values.push_back(value); });
            reducer.reduce(progress);
            int const numListed = static_cast<int>(reducer.getRemovedPoints().size());
            CHECK((numListed > numToRemove) == (n == 3));
            std::vector<double> expected;
            for (int count = 100; count <= std::min(numListed, numToRemove); count += 100)
                expected.push_back(static_cast<double>(count) / numToRemove);
            CHECK(values == expected);
        }
    }
}
