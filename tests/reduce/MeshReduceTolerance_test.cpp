#include "reduction.h"
#include "support/checks.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/detail/MeshReduceTolerance.h"

#include <doctest/doctest.h>
#include <limits>
#include <numeric>

// What becomes of the points that were removed, and of the progress.

using namespace koGeom;

namespace {

/// Lets a test do what the driver does.
class OpenTolerance : public detail::MeshReduceTolerance {
public:
    explicit OpenTolerance(CompactMesh& source) : MeshReduceTolerance(source, 1.0) {}

    using MeshReduceTolerance::afterMerge;
    using MeshReduceTolerance::beforeMerge;
    using MeshReduceTolerance::beginBatch;
    using MeshReduceTolerance::beginPass;
    using MeshReduceTolerance::endBatch;
    using MeshReduceTolerance::endPass;
    using MeshReduceTolerance::pointsOfTriangle;
    using MeshReduceTolerance::removedPoints;

    double valueAfter(int passIndex, int candidateCount, koUtil::Progress& progress) {
        beginPass(passIndex, candidateCount, progress);
        endPass();
        return progress.getValue();
    }
};

/// The triangle of each of the points, -1 for none.
std::vector<int> trianglesOfPoints(ArrayOfSets const& sets, std::size_t numPoints) {
    std::vector<int> triangles(numPoints, -1);
    for (int t = 0; t < sets.getNumSets(); ++t)
        for (int i = 0; i < sets.getSetSize(t); ++i) {
            REQUIRE(triangles.at(static_cast<std::size_t>(sets.getSet(t)[i])) == -1);
            triangles[static_cast<std::size_t>(sets.getSet(t)[i])] = t;
        }
    return triangles;
}

double distanceTo(CompactMesh const& mesh, int triangle, Point const& p) {
    MeshCoord coord;
    coord.project(triangle, mesh.getVerticesRaw(), mesh.getTrianglesRaw(), p);
    return distance(coord.evaluate(mesh.getVerticesRaw(), mesh.getTrianglesRaw()), p);
}

/// Follows a reduction by searches through all triangles.
class Watched : public detail::MeshReduceTolerance {
public:
    using MeshReduceTolerance::MeshReduceTolerance;

    int numKept = 0;
    int numPlaced = 0;
    double largest = 0.0;  // of the distances found here

protected:
    void beforeMerge() override {
        oldPlaces_ = trianglesOfPoints(pointsOfTriangle, removedPoints.size());
        oldTriangles_ = support::trianglesOf(mesh);
        MeshReduceTolerance::beforeMerge();
    }
    void afterMerge(Array<int>& remap) override {
        MeshReduceTolerance::afterMerge(remap);
        std::vector<int> const places = trianglesOfPoints(pointsOfTriangle, removedPoints.size());
        std::set<std::array<int, 3>> corners;
        for (int t = 0; t < mesh.getNumTriangles(); ++t)
            corners.insert(cornersOf(t));
        for (std::size_t i = 0; i < places.size(); ++i) {
            REQUIRE(places[i] >= 0);
            std::array<int, 3> before = {-1, -1, -1};
            for (std::size_t k = 0; k < 3 && oldPlaces_[i] >= 0; ++k)
                before[k] = remap[oldTriangles_[3 * static_cast<std::size_t>(oldPlaces_[i]) + k]];
            if (corners.count(before) != 0) {
                ++numKept;
                CHECK(cornersOf(places[i]) == before);
                continue;
            }
            ++numPlaced;
            double nearest = std::numeric_limits<double>::max();
            for (int t = 0; t < mesh.getNumTriangles(); ++t)
                nearest = std::min(nearest, distanceTo(mesh, t, removedPoints[i]));
            CHECK(distanceTo(mesh, places[i], removedPoints[i]) == doctest::Approx(nearest));
            largest = std::max(largest, nearest);
        }
        CHECK(maxDeviation == doctest::Approx(largest).epsilon(1e-12));
    }

private:
    std::array<int, 3> cornersOf(int t) const {
        MeshTriangle const& triangle = mesh.getTriangles()[t];
        return {triangle[0], triangle[1], triangle[2]};
    }

    std::vector<int> oldPlaces_;
    std::vector<int> oldTriangles_;
};

}  // namespace

TEST_SUITE("MeshReduceTolerance") {

    // The candidates halve: it takes 7 passes until a hundredth of them is left.
    TEST_CASE("progressGoesByTheShrinkingOfTheCandidates") {
        CompactMesh mesh = support::cube();
        OpenTolerance reducer(mesh);
        koUtil::Progress progress;
        std::string caption;
        progress.setListener([&](double, char const* text) { caption = text; });
        CHECK(reducer.valueAfter(0, 1000, progress) == doctest::Approx(0.1));
        CHECK(caption == "Reducing (8 verts)");
        for (int pass = 1; pass < 7; ++pass)
            CHECK(reducer.valueAfter(pass, 1000 >> pass, progress) ==
                  doctest::Approx(0.1 + 0.9 * pass / 7));
        // Later ones take half of what is done, as far as there is room.
        CHECK(reducer.valueAfter(7, 4, progress) == doctest::Approx(1.0));

        OpenTolerance single(mesh);
        koUtil::Progress other;
        single.valueAfter(0, 1000, other);
        CHECK(single.valueAfter(1, 5, other) == doctest::Approx(0.1 + 0.9));  // one pass more
    }

    TEST_CASE("progressSurvivesCandidatesThatDoNotShrink") {
        CompactMesh mesh = support::cube();
        for (int const second : {1000, 1001, 2000, 200000, 2147483647}) {
            OpenTolerance reducer(mesh);
            koUtil::Progress progress;
            for (int pass = 0; pass < 5; ++pass) {
                double const value = reducer.valueAfter(pass, pass == 0 ? 1000 : second, progress);
                CHECK((value >= 0.0 && value <= 1.0));
            }
        }
    }

    // The point lies 1 above the first triangle and is kept with the second one, 10 away from it.
    TEST_CASE("aPointStaysWithATriangleWhoseCornersComeInTheSameOrder") {
        struct After {
            std::vector<int> remap;
            std::vector<int> triangles;
            int place;
            double deviation;
        };
        std::vector<int> const same = {0, 1, 2, 3, 4, 5};
        std::vector<int> const moved = {3, 4, 5, 0, 1, 2};
        for (After const& after :
             {After{same, {0, 1, 2, 3, 4, 5}, 1, 0.0}, After{same, {3, 4, 5, 0, 1, 2}, 0, 0.0},
              After{moved, {3, 4, 5, 0, 1, 2}, 1, 0.0}, After{same, {0, 1, 2, 4, 5, 3}, 0, 1.0},
              After{same, {0, 1, 2, 5, 4, 3}, 0, 1.0},
              After{{0, 1, 2, 3, 4, -1}, {0, 1, 2, 3, 4, 5}, 0, 1.0}}) {
            CompactMesh const source = support::meshOf(
                {0, 0, 0, 1, 0, 0, 0, 1, 0, 10, 0, 0, 11, 0, 0, 10, 1, 0}, {0, 1, 2, 3, 4, 5});
            CompactMesh mesh = source;
            OpenTolerance reducer(mesh);
            reducer.removedPoints = {Point(0.25, 0.25, 1)};
            int const pair[] = {1, 0};
            reducer.pointsOfTriangle.assignFromPairs(2, 1, pair);
            reducer.beforeMerge();

            Array<int> remap(6);
            for (int v = 0; v < 6; ++v) {
                remap[v] = after.remap[static_cast<std::size_t>(v)];
                if (remap[v] >= 0)
                    mesh.getVertices()[remap[v]] = source.getVertices()[v];
            }
            mesh.copyTriangles(2, after.triangles.data());
            reducer.afterMerge(remap);
            CHECK(trianglesOfPoints(reducer.pointsOfTriangle, 1) == std::vector<int>{after.place});
            CHECK(reducer.getMaxDeviation() == after.deviation);
        }
    }

    TEST_CASE("deviationIsTheLargestDistanceOfAPointThatWasPlaced") {
        int numKept = 0;
        int numPlaced = 0;
        std::vector<support::NamedMesh> meshes = support::manifoldZoo();
        meshes.push_back({"rough", support::terrain(24, 24, 4)});
        meshes.push_back({"ball", support::sphere(3)});
        for (auto const& named : meshes)
            for (double const tolerance : {0.02, 0.3, 3.0}) {
                CAPTURE(named.name);
                CAPTURE(tolerance);
                CompactMesh mesh = named.mesh;
                Watched reducer(mesh, tolerance);
                koUtil::Progress progress;
                reducer.reduce(progress);
                CHECK(reducer.getMaxDeviation() == doctest::Approx(reducer.largest));
                numKept += reducer.numKept;
                numPlaced += reducer.numPlaced;
            }
        CHECK(numKept > 300);
        CHECK(numPlaced > 1000);
    }

    // Half of the first pass, which has a tenth of all. Thread 0 speaks for its own share of the points.
    TEST_CASE("placingReportsAtEveryThousandthPointAndCanBeCancelled") {
        constexpr int numPoints = 3500;
        support::withPools([](int numThreads) {
            for (bool const isCancelled : {false, true}) {
                CompactMesh mesh = support::grid(2, 2);
                OpenTolerance reducer(mesh);
                for (int i = 0; i < numPoints; ++i)
                    reducer.removedPoints.emplace_back(i * 2.0 / numPoints, 1.0, 0.5);
                int const pair[] = {3, 77};
                reducer.pointsOfTriangle.assignFromPairs(8, 1, pair);
                koUtil::Progress progress;
                std::vector<double> values;
                reducer.beginPass(0, 1000, progress);
                reducer.beginBatch(500, 1000);
                progress.setListener([&](double value, char const*) {
                    values.push_back(value);
                    if (isCancelled)
                        progress.cancel();
                });
                Array<int> remap(9);
                std::iota(remap.begin(), remap.end(), 0);
                reducer.beforeMerge();
                reducer.afterMerge(remap);

                int const numOwn = (numPoints - 1 + numThreads - 1) / numThreads;  // one is kept
                bool const isStopped = isCancelled && numOwn >= 1000;
                std::vector<double> expected;
                for (int count = 1000; count <= (isStopped ? 1000 : numOwn); count += 1000)
                    expected.push_back(0.1 * 0.5 * count / numOwn);
                REQUIRE(values.size() == expected.size());
                for (std::size_t i = 0; i < values.size(); ++i)
                    CHECK(values[i] == doctest::Approx(expected[i]).epsilon(1e-12));
                // Cancelled, the sets are those of before.
                CHECK(reducer.pointsOfTriangle.items.size() == (isStopped ? 1 : numPoints));
                CHECK(reducer.getMaxDeviation() == 0.5);
                reducer.endBatch();
                CHECK(progress.getValue() == doctest::Approx(0.05).epsilon(1e-12));
            }
        });
    }
}
