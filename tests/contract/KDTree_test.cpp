#include "pointTreeChecks.h"
#include "support/captureBinding.h"

#include "trimora/contract/koGeom/KDTree.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <numeric>
#include <vector>

using koGeom::KDTree;
using pointTrees::Cloud;

namespace {

std::vector<int> bruteForce(Cloud const& cloud, std::vector<int> const& stored, float const* box) {
    std::vector<int> found;
    for (int const i : stored) {
        float const* const p = cloud.data() + 3 * static_cast<std::ptrdiff_t>(i);
        if (box[0] <= p[0] && p[0] <= box[3] && box[1] <= p[1] && p[1] <= box[4] &&
            box[2] <= p[2] && p[2] <= box[5])
            found.push_back(i);
    }
    std::sort(found.begin(), found.end());
    return found;
}

/// A box about a stored point, of a size between nothing and everything.
void drawBox(Cloud const& cloud, support::Random& random, float* box) {
    int const i = random.index(pointTrees::numPointsOf(cloud));
    double const sizes[] = {0.0, 1e-31, 1e-3, 0.1, 1.0, 1e25, INFINITY};
    double const size = sizes[random.index(7)];
    for (int axis = 0; axis < 3; ++axis) {
        float const x = cloud[static_cast<std::size_t>(3 * i + axis)];
        box[axis] = x - static_cast<float>(random.real(0, 1) * size);
        box[axis + 3] = x + static_cast<float>(random.real(0, 1) * size);
    }
}

void checkAgainstBruteForce(Cloud const& cloud, std::vector<int> const& order, int capacity) {
    support::Random random(4);
    KDTree tree(capacity);
    std::vector<int> stored;
    for (int const index : order) {
        tree.insert(cloud.data(), index);
        stored.push_back(index);
        if (random.index(8) != 0)
            continue;
        float box[6];
        drawBox(cloud, random, box);
        std::vector<int> const expected = bruteForce(cloud, stored, box);
        CHECK(tree.search(cloud.data(), box) == (expected.empty() ? -1 : expected.front()));
        std::vector<int> found = {-7};
        tree.searchAll(cloud.data(), box, found);
        REQUIRE(found.front() == -7);  // appended
        CHECK(std::vector<int>(found.begin() + 1, found.end()) == expected);
    }
}

}  // namespace

TEST_CASE("searchesAgreeWithBruteForceInEveryOrderOfInsertion") {
    for (auto const& [name, cloud] : pointTrees::clouds(600, 21)) {
        CAPTURE_BINDING(name);
        std::vector<int> order(600);
        std::iota(order.begin(), order.end(), 0);
        checkAgainstBruteForce(cloud, order, 600);
        std::reverse(order.begin(), order.end());
        checkAgainstBruteForce(cloud, order, 0);
        support::Random random(8);
        for (int i = 599; i > 0; --i)
            std::swap(order[static_cast<std::size_t>(i)],
                      order[static_cast<std::size_t>(random.index(i + 1))]);
        order.insert(order.end(), order.begin(), order.begin() + 50);  // some twice
        checkAgainstBruteForce(cloud, order, -1);
    }
}

TEST_CASE("emptyTreeFindsNothing") {
    KDTree const tree(10);
    float const everything[6] = {-INFINITY, -INFINITY, -INFINITY, INFINITY, INFINITY, INFINITY};
    float const none[3] = {};
    std::vector<int> found;
    CHECK(tree.search(none, everything) == -1);
    tree.searchAll(none, everything, found);
    CHECK(found.empty());
}

TEST_CASE("facesOfTheBoxAreInside") {
    float const points[] = {1, 2, 3};
    KDTree tree(1);
    tree.insert(points, 0);
    float const touching[6] = {0, 2, 3, 1, 5, 3};
    CHECK(tree.search(points, touching) == 0);
    float const beside[6] = {0, 2, std::nextafter(3.0f, 4.0f), 1, 5, 9};
    CHECK(tree.search(points, beside) == -1);
    float const broken[6] = {0, 2, NAN, 1, 5, 9};
    CHECK(tree.search(points, broken) == -1);
}

// A tree that follows the order of insertion would take hours here.
TEST_CASE("sortedAndCoincidentInputStaysFast") {
    int const numPoints = 100000;
    Cloud const sorted =
        pointTrees::cloudOf(numPoints, [](int i, int) { return static_cast<float>(i); });
    Cloud const same = pointTrees::cloudOf(numPoints, [](int, int) { return 1.0f; });
    Cloud const heap = pointTrees::cloudOf(
        numPoints, [](int i, int) { return i % 10 == 0 ? static_cast<float>(i) : 50000.0f; });
    for (Cloud const* cloud : {&sorted, &same, &heap}) {
        KDTree tree(numPoints);
        int numFirst = 0;
        for (int i = 0; i < numPoints; ++i) {
            float const* const p = cloud->data() + 3 * static_cast<std::ptrdiff_t>(i);
            float const box[6] = {p[0], p[1], p[2], p[0], p[1], p[2]};
            numFirst += tree.search(cloud->data(), box) < 0;
            tree.insert(cloud->data(), i);
        }
        CHECK(numFirst == (cloud == &same ? 1 : cloud == &sorted ? numPoints : 10000));
    }
}
