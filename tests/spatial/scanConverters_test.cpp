#include "support/builders.h"

#include "trimora/planar/isPointInTriangle.h"
#include "trimora/spatial/scanConverters.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <map>
#include <utility>
#include <vector>

using namespace koGeom;

namespace {

using Cell = std::pair<int, int>;

struct Samples {
    std::vector<Cell> cells;  // as they come
    std::map<Cell, std::pair<float, float>> weights;
    std::vector<Cell> boxes;

    static void point(void* user, int x, int y, float a, float b) {
        auto& samples = *static_cast<Samples*>(user);
        samples.cells.push_back({x, y});
        samples.weights[{x, y}] = {a, b};
    }
    static void box(void* user, int width, int height) {
        static_cast<Samples*>(user)->boxes.push_back({width, height});
    }
};

MeshVertex at(double x, double y) {
    return {static_cast<float>(x), static_cast<float>(y), 9.0f};
}

Samples scan(int width, int height, float border, MeshVertex const (&p)[3]) {
    Samples samples;
    MeshScanConverter converter(width, height, border);
    converter.setPointSampleCB(&Samples::point, &samples);
    converter.setTriangleCB(&Samples::box, &samples);
    int const count = converter.scanTriangle(p[0], p[1], p[2]);
    CHECK(count == static_cast<int>(samples.cells.size()));
    CHECK(samples.cells.size() == samples.weights.size());  // none twice
    CHECK(std::is_sorted(samples.cells.begin(), samples.cells.end(),
                         [](Cell const& a, Cell const& b) {
                             return std::pair(a.second, a.first) < std::pair(b.second, b.first);
                         }));
    return samples;
}

struct Walk {
    std::vector<Cell> cells;
    std::vector<double> params;
    bool isReversed = false;

    static void step(void* user, int x, int y, double t, bool reversed) {
        auto& walk = *static_cast<Walk*>(user);
        walk.cells.push_back({x, y});
        walk.params.push_back(t);
        walk.isReversed = reversed;
    }
};

Walk line(int width, int height, float border, MeshVertex const& a, MeshVertex const& b) {
    Walk walk;
    LineScanConverter converter(width, height, border, &Walk::step, &walk);
    int const count = converter.scanLine(a, b);
    CHECK(count == static_cast<int>(walk.cells.size()));
    return walk;
}

}  // namespace

//   4 .  .  .  .  .
//   3 .  .  .  .  .     (0, 0), (1, 0), (0, 1) over 5 x 5 points:
//   2 x  .  .  .  .     x are inside, the long edge among them
//   1 ...
TEST_CASE("cornersAndEdgesAreInside") {
    Samples const samples = scan(5, 5, 0.0f, {at(1, 0), at(0, 1), at(0, 0)});
    std::vector<Cell> expected;
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x + y < 5; ++x)
            expected.push_back({x, y});
    CHECK((samples.cells == expected));
    CHECK((samples.boxes == std::vector<Cell>{{5, 5}}));
    // Sorted by height, then from left to right: (0, 0), (1, 0), (0, 1).
    CHECK((samples.weights.at({3, 1}) == std::pair(0.75f, 0.25f)));
}

TEST_CASE("everySampleInsideIsReportedOnce") {
    support::Random random(31);
    auto const coordinate = [&] { return random.real(-0.3, 1.3); };
    for (int i = 0; i < 300; ++i) {
        int const width = 1 + random.index(40), height = 2 + random.index(40);
        MeshVertex const p[3] = {at(coordinate(), coordinate()), at(coordinate(), coordinate()),
                                 at(coordinate(), coordinate())};
        Samples const samples = scan(width, height, 0.0f, p);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                Point2Flt const q(static_cast<float>(x) / static_cast<float>(width - 1),
                                  static_cast<float>(y) / static_cast<float>(height - 1));
                // Clear of the edges, where the two ways of writing the grid may differ.
                float u, v;
                bool const isInside = isPointInTriangleDefinitive(
                    q, {p[0].x, p[0].y}, {p[1].x, p[1].y}, {p[2].x, p[2].y}, u, v);
                float const least = std::min({u, v, 1.0f - u - v});
                if (width == 1 || std::abs(least) < 1e-4f || (u == v && u == 1.0f / 3.0f))
                    continue;
                CHECK(samples.weights.count({x, y}) == (isInside ? 1u : 0u));
            }
        for (auto const& [cell, weight] : samples.weights) {  // the weights give the point back
            std::vector<MeshVertex> sorted(p, p + 3);
            std::sort(sorted.begin(), sorted.end(), [](auto const& a, auto const& b) {
                return std::pair(a.y, a.x) < std::pair(b.y, b.x);
            });
            auto const [a, b] = weight;
            float const c = 1.0f - a - b;
            CHECK(c * sorted[0].x + a * sorted[1].x + b * sorted[2].x ==
                  doctest::Approx(double(cell.first) / (width - 1)).epsilon(1e-3));
        }
    }
}

TEST_CASE("borderLiesBetweenTheGridAndTheSquare") {
    // 3 x 3 points with one cell around: they stand at 1/4, 1/2 and 3/4.
    Samples const whole = scan(3, 3, 1.0f, {at(0, 0), at(1, 0), at(0, 1)});
    CHECK(whole.weights.at({0, 0}) == std::pair(0.25f, 0.25f));
    // Rows and columns are sought as without a border: the lower left point is left out here.
    CHECK(scan(3, 3, 1.0f, {at(0.2, 0.2), at(0.3, 0.2), at(0.2, 0.3)}).cells.size() == 1);
    CHECK(scan(3, 3, 1.0f, {at(0.7, 0.7), at(0.8, 0.7), at(0.7, 0.8)}).cells.size() == 1);
    Walk const walk = line(3, 1, 1.0f, at(0, 0), at(1, 0));
    CHECK((walk.params == std::vector<double>{0.25, 0.5, 0.75}));
}

TEST_CASE("whatLiesOutsideIsNotTold") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const infinity = std::numeric_limits<float>::infinity();
    for (auto const& [x, y] : {std::pair(1.1, 0.0), {-2.0, 0.0}, {0.0, 1.1}, {0.0, -2.0}}) {
        Samples const samples = scan(9, 9, 0.0f, {at(x, y), at(x + 0.5, y), at(x, y + 0.5)});
        CHECK(samples.cells.empty());
        CHECK(samples.boxes.empty());
    }
    CHECK(scan(9, 9, 0.0f, {at(0.5, 0.5), at(0.5, 0.5), at(0.7, 0.7)}).cells.empty());
    for (float bad : {nan, infinity, -infinity, 3e38f}) {
        scan(9, 9, 0.0f, {at(bad, 0), at(1, 0), at(0, 1)});
        scan(9, 9, bad, {at(0, 0), at(1, bad), at(0, 1)});
        line(9, 9, 0.0f, at(bad, 0), at(1, bad));
        line(9, 9, bad, at(bad, bad), at(bad, bad));
    }
    for (auto const& [width, height] : {std::pair(0, 4), {4, 0}, {INT_MIN, 4}, {4, -1}}) {
        CHECK(scan(width, height, 0.0f, {at(0, 0), at(1, 0), at(0, 1)}).cells.empty());
        CHECK(line(width, height, 0.0f, at(0, 0), at(1, 1)).cells.empty());
    }
    MeshScanConverter silent(4, 4, 0.0f);
    CHECK(silent.scanTriangle(at(0, 0), at(1, 0), at(0, 1)) == 10);
    CHECK(LineScanConverter(4, 4, 0.0f, nullptr, nullptr).scanLine(at(0, 0), at(1, 1)) == 4);
}

//   2 . . . . x x     from (0, 0) to (5, 2)
//   1 . . x x . .
//   0 x x . . . .
TEST_CASE("linesFollowTheirLongerAxisUpwards") {
    std::vector<Cell> const cells{{0, 0}, {1, 0}, {2, 1}, {3, 1}, {4, 2}, {5, 2}};
    auto const turned = [](std::vector<Cell> walk) {
        for (Cell& cell : walk)
            std::swap(cell.first, cell.second);
        return walk;
    };
    Walk const flat = line(6, 3, 0.0f, at(0, 0), at(1, 1));
    CHECK((flat.cells == cells));
    CHECK_FALSE(flat.isReversed);
    CHECK(flat.params.front() == 0.0);
    CHECK(flat.params.back() == 1.0);
    CHECK(std::is_sorted(flat.params.begin(), flat.params.end()));
    Walk const steep = line(3, 6, 0.0f, at(1, 1), at(0, 0));
    CHECK((turned(steep.cells) == cells));
    CHECK(steep.isReversed);
    CHECK(steep.params.front() == 1.0);

    Walk const falling = line(6, 3, 0.0f, at(1, 0), at(0, 1));
    CHECK(falling.isReversed);
    CHECK((falling.cells.front() == Cell(0, 2)));
    Walk const point = line(6, 6, 0.0f, at(0.4, 0.4), at(0.4, 0.4));
    CHECK((point.cells == std::vector<Cell>{{2, 2}}));

    support::Random random(12);
    for (int i = 0; i < 200; ++i) {
        MeshVertex const a = at(random.real(0.0, 1.0), random.real(0.0, 1.0));
        MeshVertex const b = at(random.real(0.0, 1.0), random.real(0.0, 1.0));
        Walk const walk = line(50, 30, 0.0f, a, b);
        for (std::size_t k = 1; k < walk.cells.size(); ++k) {  // no gaps
            CHECK(std::abs(walk.cells[k].first - walk.cells[k - 1].first) <= 1);
            CHECK(std::abs(walk.cells[k].second - walk.cells[k - 1].second) <= 1);
        }
        for (Cell const& cell : walk.cells) {  // near the segment
            Point2 const q(cell.first / 49.0, cell.second / 29.0);
            double const dx = double(b.x) - double(a.x), dy = double(b.y) - double(a.y);
            double const side = dx * (q.y - double(a.y)) - dy * (q.x - double(a.x));
            CHECK(std::abs(side) <= 2.0 / 29.0 * std::hypot(dx, dy) + 1e-6);
        }
    }
}

TEST_CASE("walksOfTheGridTakeAnyCells") {
    Walk walk;
    LineScanConverter converter(8, 8, 0.0f, &Walk::step, &walk);
    CHECK(converter.bresenhams(-3, 2, 4, -1) == 8);
    CHECK((walk.cells.front() == Cell(-3, 2)));
    CHECK((walk.cells.back() == Cell(4, -1)));
    CHECK(converter.bresenhams(INT_MAX, INT_MAX, INT_MAX - 1, INT_MAX - 1) == 2);
    CHECK((walk.cells.back() == Cell(INT_MAX, INT_MAX)));
}
