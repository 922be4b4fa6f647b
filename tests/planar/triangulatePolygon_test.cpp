#include "support/builders.h"
#include "triangulationFault.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/planar/triangulatePolygon.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <functional>
#include <limits>
#include <map>
#include <numbers>
#include <optional>

using namespace koGeom;
using support::Random;

namespace {

using Points = ko::vector<Point>;
using Triangles = ko::vector<int>;

/// The weight and normal of a triangle on two chains with the given normals.
PolygonWeight evaluate(Points const& p, int i, int m, int j, Normal const& a, Normal const& b,
                       Normal& normal) {
    Vector const area =
        0.5 * cross(p[std::size_t(i)] - p[std::size_t(m)], p[std::size_t(i)] - p[std::size_t(j)]);
    PolygonWeight weight(area.length(), -1.0);
    normal = Normal(0, 0, 0);
    if (weight.area < epsilonTol)
        return weight;
    normal = Normal(area);
    weight.cosine = std::min(dot(normal, a), dot(normal, b));
    return weight;
}

/// The recurrence without a short cut: spans in ascending order, every split in full, all cells in tables.
class PlainSearch {
public:
    Triangles triangles;
    PolygonWeight weight;
    ko::vector<double> reports;

    PlainSearch(Points const& polygon, BitVector const* forbidden)
        : p_(polygon), n_(int(polygon.size())), forbidden_(forbidden) {
        std::size_t const numCells = std::size_t(n_) * std::size_t(n_ - 1) / 2;
        weights_.resize(numCells);
        splits_.assign(numCells, -1);
        normals_.resize(numCells);
        double total = 0.0;
        for (int s = 3; s < n_; ++s)
            total += double(s - 1) * double(n_ - s);
        for (int i = 0; i + 1 < n_; ++i)
            weights_[cell(i, i + 1)] = PolygonWeight::zero;
        for (int i = 0; i + 2 < n_; ++i)
            weights_[cell(i, i + 2)] = triangleWeight(i, i + 1, i + 2, normals_[cell(i, i + 2)]);
        int count = 0;
        for (int s = 3; s < n_; ++s)
            for (int i = 0; i + s < n_; ++i) {
                search(i, i + s);
                if (++count % 1000 == 0)
                    reports.push_back(count / total);
            }
        weight = weights_[cell(0, n_ - 1)];
        walk(0, n_ - 1);
    }

private:
    std::size_t cell(int i, int j) const {
        std::size_t offset = 0;
        for (int k = 1; k < j - i; ++k)
            offset += std::size_t(n_ - k);
        return offset + std::size_t(i);
    }
    bool forbids(int a, int b) const {
        return forbidden_ != nullptr && forbidden_->isBitSet(n_ * a + b) != 0;
    }
    PolygonWeight triangleWeight(int i, int m, int j, Normal& normal) const {
        normal = Normal(0, 0, 0);
        if (forbids(i, m) || forbids(m, j) || forbids(j, i))
            return PolygonWeight::worst;
        return evaluate(p_, i, m, j, normals_[cell(i, m)], normals_[cell(m, j)], normal);
    }
    void search(int i, int j) {
        PolygonWeight best = PolygonWeight::worst;
        int split = i + 1;
        Normal bestNormal(0, 0, 0);
        for (int m = i + 1; m < j; ++m) {
            Normal normal;
            PolygonWeight const sum =
                triangleWeight(i, m, j, normal) + weights_[cell(i, m)] + weights_[cell(m, j)];
            if (sum.isBetterThan(best)) {
                best = sum;
                split = m;
                bestNormal = normal;
            }
        }
        weights_[cell(i, j)] = best;
        splits_[cell(i, j)] = split;
        normals_[cell(i, j)] = bestNormal;
    }
    void walk(int i, int j) {
        while (j != i + 2) {
            int const m = splits_[cell(i, j)];
            if (m != i + 1)
                walk(i, m);
            triangles.insert(triangles.end(), {i, m, j});
            if (m == j - 1)
                return;
            i = m;
        }
        triangles.insert(triangles.end(), {i, i + 1, j});
    }

    Points const& p_;
    int n_;
    BitVector const* forbidden_;
    ko::vector<PolygonWeight> weights_;
    ko::vector<int> splits_;
    ko::vector<Normal> normals_;
};

/// The weight of a whole triangulation, from its triangles alone: i < m < j in each.
PolygonWeight weightOf(Points const& p, Triangles const& triangles) {
    std::map<std::pair<int, int>, Normal>
        normalBelow;  // by the side from the least to the greatest
    std::function<Normal(int, int)> const below = [&](int a, int b) {
        auto const found = normalBelow.find({a, b});
        return found != normalBelow.end() ? found->second : Normal(0, 0, 0);
    };
    // Wider triangles stand on narrower ones.
    std::multimap<int, std::size_t> bySpan;
    for (std::size_t t = 0; t < triangles.size(); t += 3)
        bySpan.insert({triangles[t + 2] - triangles[t], t});
    PolygonWeight sum = PolygonWeight::zero;
    for (auto const& [span, t] : bySpan) {
        int const i = triangles[t], m = triangles[t + 1], j = triangles[t + 2];
        sum = sum + evaluate(p, i, m, j, below(i, m), below(m, j), normalBelow[{i, j}]);
    }
    return sum;
}

/// Calls `body` with every triangulation of the chain from i to j on top of those triangles that are there already.
void forEachTriangulation(int i, int j, Triangles& triangles, std::function<void()> const& body) {
    if (j - i < 2)
        return body();
    for (int m = i + 1; m < j; ++m) {
        triangles.insert(triangles.end(), {i, m, j});
        forEachTriangulation(i, m, triangles, [&] { forEachTriangulation(m, j, triangles, body); });
        triangles.resize(triangles.size() - 3);
    }
}

PolygonWeight bestOfAll(Points const& p) {
    std::optional<PolygonWeight> best;
    Triangles triangles;
    forEachTriangulation(0, int(p.size()) - 1, triangles, [&] {
        PolygonWeight const weight = weightOf(p, triangles);
        if (!best || weight.isBetterThan(*best))
            best = weight;
    });
    return *best;
}

Points regular(int n) {
    Points points;
    for (int i = 0; i < n; ++i) {
        double const angle = 2.0 * std::numbers::pi * i / n;
        points.emplace_back(std::cos(angle), std::sin(angle), 0.0);
    }
    return points;
}

/// A ring that winds up and down and jitters, as the border of a hole does.
Points ring(Random& random, int n) {
    Points points = regular(n);
    for (Point& p : points) {
        double const radius = random.real(0.6, 1.0);
        p.set(radius * p.x, radius * p.y, 0.3 * p.x * p.y + random.real(0.0, 0.1));
    }
    return points;
}

/// Few different positions: ties, degenerate triangles and repeated points are common.
Points lattice(Random& random, int n, int size) {
    Points points;
    for (int i = 0; i < n; ++i)
        points.emplace_back(random.index(size), random.index(size), random.index(2));
    return points;
}

Points scattered(Random& random, int n) {
    Points points;
    for (int i = 0; i < n; ++i)
        points.emplace_back(random.real(0, 1), random.real(0, 1), random.real(0, 1));
    return points;
}

/// So small that about half of the triangles count as degenerate.
Points tiny(Random& random, int n) {
    Points points = ring(random, n);
    double const size = std::sqrt(epsilonTol) * random.real(1.0, 8.0);
    for (Point& p : points)
        p = (p.asVector() * size).asPoint();
    return points;
}

/// Points among which a few numbers are out of this world.
Points broken(Random& random, int n) {
    double const bad[] = {std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity(),
                          -std::numeric_limits<double>::infinity(),
                          1e154,
                          -1.5e154,
                          1e300,
                          1e-160,
                          std::numeric_limits<double>::denorm_min()};
    Points points = scattered(random, n);
    for (int k = 1 + random.index(n); k > 0; --k)
        (&points[std::size_t(random.index(n))].x)[random.index(3)] = bad[random.index(8)];
    return points;
}

Triangles triangulated(Points const& polygon, BitVector* forbidden = nullptr) {
    Triangles triangles = {9, 9};
    CHECK(triangulatePolygon(polygon, triangles, forbidden, nullptr));
    return triangles;
}

}  // namespace

TEST_CASE("weightsAddAreasAndKeepTheSharpestFold") {
    double const largest = std::numeric_limits<double>::max();
    CHECK(PolygonWeight() == PolygonWeight(largest, 1.0));
    CHECK(PolygonWeight::zero == PolygonWeight(0.0, 1.0));
    CHECK(PolygonWeight::worst == PolygonWeight(largest, -1.0));
    PolygonWeight const large(3.0, 0.5), small(2.0, 0.5), flat(9.0, 0.75);
    CHECK(large + flat == PolygonWeight(12.0, 0.5));
    CHECK(flat + large == PolygonWeight(12.0, 0.5));
    CHECK(small.isBetterThan(large));
    CHECK_FALSE(large.isBetterThan(small));
    CHECK_FALSE(large.isBetterThan(large));
    CHECK(flat.isBetterThan(small));
    CHECK_FALSE(small.isBetterThan(flat));
}

TEST_CASE("triangleIsItsOwnTriangulation") {
    koUtil::Progress progress;
    int numReports = 0;
    progress.setListener([&](double, char const*) { ++numReports; });
    Triangles triangles;
    CHECK(triangulatePolygon({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, triangles, nullptr, &progress));
    CHECK(triangles == Triangles{0, 1, 2});
    CHECK(numReports == 0);

    CHECK(triangulated({}).empty());
    CHECK(triangulated({{0, 0, 0}, {1, 0, 0}}).empty());
}

TEST_CASE("quadTakesTheBetterDiagonal") {
    //  3 --- 2
    //  |     |    Both diagonals cost the same: the lower split wins.
    //  0 --- 1
    Points const square = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    CHECK(triangulated(square) == Triangles{0, 1, 3, 1, 2, 3});

    //      2
    //     / \       The diagonal from 1 to 3 runs outside: its triangles would lie on each other.
    //    / 0 \      (turned by one point: from 0 to 2 as well)
    //   3     1
    Points const dart = {{0, 0, 0}, {1, -1, 0}, {0, 2, 0}, {-1, -1, 0}};
    CHECK(triangulated(dart) == Triangles{0, 1, 2, 0, 2, 3});
    Points const turned = {dart[3], dart[0], dart[1], dart[2]};
    CHECK(triangulated(turned) == Triangles{0, 1, 3, 1, 2, 3});
}

TEST_CASE("mildFoldWinsAgainstASharpOneOfLessArea") {
    Points const quad = {{0, 0, 0}, {-1, 2, 3}, {1, 1, 0}, {0, 1, 0}};
    PolygonWeight const sharp = weightOf(quad, {0, 1, 2, 0, 2, 3});
    CHECK(sharp.cosine == doctest::Approx(-std::sqrt(1.0 / 3.0)));
    PolygonWeight const mild = weightOf(quad, {0, 1, 3, 1, 2, 3});
    CHECK(mild.cosine == 0.0);
    CHECK(mild.area > sharp.area);
    CHECK(triangulated(quad) == Triangles{0, 1, 3, 1, 2, 3});
}

TEST_CASE("forbiddenEdgesAreAvoidedWhileThereIsAWayRound") {
    Points const square = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    BitVector forbidden(16);
    forbidden.setBit(4 * 0 + 2);
    CHECK(triangulated(square, &forbidden) == Triangles{0, 1, 3, 1, 2, 3});
    forbidden.clearBits();
    forbidden.setBit(4 * 1 + 3);
    CHECK(triangulated(square, &forbidden) == Triangles{0, 1, 2, 0, 2, 3});
    // The other direction of the diagonal belongs to the other triangle.
    forbidden.clearBits();
    forbidden.setBit(4 * 3 + 1);
    CHECK(triangulated(square, &forbidden) == Triangles{0, 1, 2, 0, 2, 3});

    // With no way left a fan comes out, from the last point.
    BitVector everything(25);
    everything.setAllBits();
    CHECK(triangulated(regular(5), &everything) == Triangles{0, 1, 4, 1, 2, 4, 2, 3, 4});
    // Bits that are not there forbid nothing.
    BitVector tooShort(4);
    tooShort.setAllBits();
    CHECK(planar::triangulationFault(triangulated(regular(5), &tooShort), 5) == "");
}

TEST_CASE("agreesWithThePlainRecurrenceBitForBit") {
    Random random(2024);
    for (int turn = 0; turn < 490; ++turn) {
        int const n = 3 + random.index(turn % 10 == 0 ? 58 : 24);
        Points const polygon = turn % 7 == 0   ? regular(n)
                               : turn % 7 == 1 ? ring(random, n)
                               : turn % 7 == 2 ? lattice(random, n, 3)
                               : turn % 7 == 3 ? lattice(random, n, 1 + turn % 2)
                               : turn % 7 == 4 ? scattered(random, n)
                               : turn % 7 == 5 ? tiny(random, n)
                                               : broken(random, n);
        BitVector forbidden(n * n);
        double const share = random.real(0.0, turn % 5 == 0 ? 0.9 : 0.2);
        for (int bit = 0; bit < n * n; ++bit)
            if (random.real(0.0, 1.0) < share)
                forbidden.setBit(bit);
        BitVector* const used = turn % 3 == 0 ? nullptr : &forbidden;
        CAPTURE(turn);
        CAPTURE(n);
        Triangles const triangles = triangulated(polygon, used);
        CHECK(triangles == PlainSearch(polygon, used).triangles);
        CHECK(planar::triangulationFault(triangles, n) == "");
    }
}

TEST_CASE("isNeverBetterThanTheBestOfAllTriangulations") {
    Random random(5);
    for (int turn = 0; turn < 60; ++turn) {
        int const n = 3 + turn % 7;
        Points const polygon = turn % 2 == 0 ? ring(random, n) : scattered(random, n);
        PolygonWeight const found = weightOf(polygon, triangulated(polygon));
        PolygonWeight const best = bestOfAll(polygon);
        PolygonWeight const told = PlainSearch(polygon, nullptr).weight;
        CAPTURE(turn);
        CHECK(found.cosine == told.cosine);
        CHECK(found.area == doctest::Approx(told.area).epsilon(1e-14));
        CHECK_FALSE((found.cosine > best.cosine ||
                     (found.cosine == best.cosine && found.area < best.area * (1 - 1e-14))));
    }
}

TEST_CASE("isTheBestOfAllOnPlanarConvexPolygons") {
    for (int n = 3; n <= 9; ++n) {
        Points const polygon = regular(n);
        PolygonWeight const found = weightOf(polygon, triangulated(polygon));
        CHECK(found.cosine == 0.0);
        CHECK(bestOfAll(polygon).cosine == 0.0);
        CHECK(found.area == doctest::Approx(bestOfAll(polygon).area).epsilon(1e-14));
        CHECK(found.area ==
              doctest::Approx(0.5 * n * std::sin(2.0 * std::numbers::pi / n)).epsilon(1e-14));
    }
}

TEST_CASE("planarPolygonsAreCoveredOnce") {
    Random random(17);
    for (int turn = 0; turn < 20; ++turn) {
        Points polygon = regular(10 + random.index(60));
        double area = 0.0;
        for (Point& p : polygon) {
            double const radius = random.real(0.2, 1.0);
            p.set(radius * p.x, radius * p.y, 0.0);
        }
        for (std::size_t i = 0; i < polygon.size(); ++i) {
            Point const& next = polygon[(i + 1) % polygon.size()];
            area += 0.5 * (polygon[i].x * next.y - polygon[i].y * next.x);
        }
        // A star around the origin: its area is that of the triangles only if none is turned over.
        CHECK(weightOf(polygon, triangulated(polygon)).area ==
              doctest::Approx(area).epsilon(1e-12));
    }
}

TEST_CASE("progressIsToldEveryThousandChains") {
    Random random(23);
    Points const polygon = ring(random, 91);
    ko::vector<double> reports;
    koUtil::Progress progress;
    progress.setListener([&](double value, char const*) { reports.push_back(value); });
    Triangles triangles;
    CHECK(triangulatePolygon(polygon, triangles, nullptr, &progress));
    PlainSearch const plain(polygon, nullptr);
    CHECK(reports == plain.reports);
    CHECK(reports.size() == 3);
    CHECK(triangles == plain.triangles);
}

TEST_CASE("cancellationLeavesNoTriangles") {
    Random random(29);
    koUtil::Progress progress;
    int numReports = 0;
    progress.setListener([&](double, char const*) {
        ++numReports;
        progress.cancel();
    });
    Triangles triangles = {1, 2, 3};
    CHECK_FALSE(triangulatePolygon(ring(random, 120), triangles, nullptr, &progress));
    CHECK(triangles.empty());
    CHECK(numReports == 1);
    // Too short to look at it.
    CHECK(triangulatePolygon(ring(random, 40), triangles, nullptr, &progress));
    CHECK(triangles.size() == 3 * 38);
}
