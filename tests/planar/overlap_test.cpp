#include "support/builders.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/planar/PolylineBBoxCache.h"
#include "trimora/planar/PolylineProjectPt.h"
#include "trimora/planar/overlap.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

using Chain = ko::Reference<Polyline>;

Chain chainOf(ko::vector<Polyline::vertex> const& vertices) {
    return Chain(new Polyline(static_cast<int>(vertices.size()), vertices.data()));
}

/// Whole parameters from 0 on.
Chain chainThrough(ko::vector<Point> const& points) {
    ko::vector<Polyline::vertex> vertices;
    for (Point const& p : points)
        vertices.emplace_back(p, static_cast<double>(vertices.size()));
    return chainOf(vertices);
}

struct Found {
    Range1d a{-7.0, -7.0};
    Range1d b{-7.0, -7.0};
    double area = -7.0;
    double maxDistance = -7.0;
    double length = -7.0;
    bool reversed = true;
    bool isThere = false;

    bool operator==(Found const&) const = default;
};

struct Settings {
    double tolerance = 0.2;
    double endTolerance = 0.0;
    bool sameDirectionOnly = false;
};

Found find(Chain const& a, Chain const& b, Settings const& settings = {}) {
    Found found;
    found.isThere =
        overlap(*a, *b, settings.tolerance, settings.endTolerance, settings.sameDirectionOnly,
                found.a, found.b, found.area, found.maxDistance, found.length, found.reversed);
    return found;
}

Found findCached(Chain const& a, Chain const& b, PolylineBBoxCache& cache,
                 Settings const& settings = {}) {
    Found found;
    found.isThere = overlap(*a, *b, cache, settings.tolerance, settings.endTolerance,
                            settings.sameDirectionOnly, found.a, found.b, found.area,
                            found.maxDistance, found.length, found.reversed);
    return found;
}

void checkRange(Range1d const& range, double lower, double upper, double tolerance = 1e-9) {
    CHECK(std::abs(range.lower - lower) <= tolerance);
    CHECK(std::abs(range.upper - upper) <= tolerance);
}

Chain const line = chainThrough({{0, 0, 0}, {10, 0, 0}});

/// A wide helix, which never comes near itself.
Point helixAt(double turn) {
    return {5.0 * std::cos(turn), 5.0 * std::sin(turn), 2.0 * turn};
}

Chain helix(int numVertices, double from, double to) {
    ko::vector<Point> points;
    for (int i = 0; i < numVertices; ++i)
        points.push_back(helixAt(from + (to - from) * i / (numVertices - 1)));
    return chainThrough(points);
}

/// The part of a polyline between two parameters.
Chain pieceOf(Chain const& whole, double from, double to) {
    ko::vector<Point> points{whole->eval(from)};
    for (double next = std::floor(from) + 1.0; next < to; next += 1.0)
        points.push_back(whole->eval(next));
    points.push_back(whole->eval(to));
    return chainThrough(points);
}

Chain reversedChain(Chain const& chain) {
    ko::vector<Point> points;
    for (int i = chain->getNumVertices() - 1; i >= 0; --i)
        points.push_back(chain->getVertex(i));
    return chainThrough(points);
}

}  // namespace

TEST_CASE("straightPolylineOverlapsItselfWhole") {
    Found const found = find(line, line);
    CHECK(found.isThere);
    CHECK(found.a == Range1d(0.0, 1.0));
    CHECK(found.b == Range1d(0.0, 1.0));
    CHECK(found.area == 0.0);
    CHECK(found.maxDistance == 0.0);
    CHECK(found.length == 10.0);
    CHECK_FALSE(found.reversed);
}

TEST_CASE("shiftedLinesHaveTheAreaBetweenThem") {
    Found const found = find(chainThrough({{0, 0.1, 0}, {4, 0.1, 0}, {10, 0.1, 0}}), line);
    CHECK(found.isThere);
    checkRange(found.a, 0.0, 2.0);
    checkRange(found.b, 0.0, 1.0);
    CHECK(found.area == doctest::Approx(1.0));
    CHECK(found.maxDistance == doctest::Approx(0.1));
    CHECK(found.length == doctest::Approx(10.0));
}

TEST_CASE("oppositeLineIsReversed") {
    for (bool const sameDirectionOnly : {false, true}) {
        Found const found = find(reversedChain(line), line, {0.2, 0.0, sameDirectionOnly});
        CHECK(found.isThere);
        CHECK(found.reversed);
        CHECK(found.b == Range1d(0.0, 1.0));
    }
}

//  a   --------            3 to 7 of b
//  b  ------------------
TEST_CASE("partsAreFoundOnBoth") {
    Found const found = find(chainThrough({{3, 0, 0.1}, {7, 0, 0.1}}), line);
    checkRange(found.a, 0.0, 1.0);
    checkRange(found.b, 0.3, 0.7);
    CHECK(found.length == doctest::Approx(4.0));
    Found const swapped = find(line, chainThrough({{3, 0, 0.1}, {7, 0, 0.1}}));
    checkRange(swapped.a, 0.3, 0.7);
    checkRange(swapped.b, 0.0, 1.0);
}

// a rises from 0 to 0.5 along b: it leaves the tolerance of 0.2 at two fifths.
TEST_CASE("leaningLineIsCutWhereItLeaves") {
    Found const found = find(chainThrough({{0, 0, 0}, {10, 0.5, 0}}), line);
    checkRange(found.a, 0.0, 0.4);
    checkRange(found.b, 0.0, 0.4);
    CHECK(found.maxDistance == doctest::Approx(0.2));
    CHECK(found.area == doctest::Approx(0.4));
}

// Too long and flat for an angle: what counts is the distance at the ends, up to 1.1 times the radius.
TEST_CASE("parallelLineMayLeanALittlePastTheTolerance") {
    Chain const longLine = chainThrough({{0, 0, 0}, {1e5, 0, 0}});
    Settings const settings{0.1, 0.0, false};
    Found const within = find(chainThrough({{0, 0.06, 0}, {1e5, 0.109, 0}}), longLine, settings);
    CHECK(within.isThere);
    CHECK(within.maxDistance == doctest::Approx(0.109));
    CHECK_FALSE(find(chainThrough({{0, 0.06, 0}, {1e5, 0.111, 0}}), longLine, settings).isThere);
}

//  a  0 ---------- 1      goes along b, then back
//          2 ------
TEST_CASE("changeOfDirectionEndsAStretchWhereItIsAskedFor") {
    Chain const folded = chainThrough({{0, 0.1, 0}, {6, 0.1, 0}, {3, -0.1, 0}});
    Found const either = find(folded, line);
    checkRange(either.a, 0.0, 2.0);
    checkRange(either.b, 0.0, 0.6);
    CHECK_FALSE(either.reversed);
    Found const same = find(folded, line, {0.2, 0.0, true});
    checkRange(same.a, 0.0, 1.0);
    checkRange(same.b, 0.0, 0.6);
    // The way back is the longer one.
    Found const back =
        find(chainThrough({{3, 0.1, 0}, {6, 0.1, 0}, {0, -0.1, 0}}), line, {0.2, 0.0, true});
    checkRange(back.a, 1.0, 2.0);
    CHECK(back.reversed);
}

//          v2 --- v3
//          |       |        b leaves a and comes back
//  v0 --- v1      v4 ------- v5
TEST_CASE("jumpAlongBEndsAStretch") {
    ko::vector<Polyline::vertex> detour = {{0, 0, 0, 0},    {5, 0, 0, 1},   {5, 20, 0, 2},
                                           {5.5, 20, 0, 3}, {5.5, 0, 0, 4}, {12, 0, 0, 5}};
    for (Chain const& a : {chainThrough({{0, 0, 0}, {12, 0, 0}}),
                           chainThrough({{0, 0, 0}, {5.25, 0, 0}, {12, 0, 0}})}) {
        Found const found = find(a, chainOf(detour));
        checkRange(found.b, 4.0, 5.0);
        CHECK(found.length == doctest::Approx(6.5));
    }
    // The same way, but the detour takes a tenth of the parameters.
    Chain const a = chainThrough({{0, 0, 0}, {4, 0, 0}, {6, 0, 0}, {12, 0, 0}});
    checkRange(find(a, chainOf(detour)).a, 2.0, 3.0);
    double const parameters[] = {0.0, 1.0, 1.01, 1.02, 1.03, 2.0};
    for (std::size_t i = 0; i < detour.size(); ++i)
        detour[i].parameter = parameters[i];
    Found const joined = find(a, chainOf(detour));
    checkRange(joined.a, 0.0, 3.0);
    checkRange(joined.b, 0.0, 2.0);
    CHECK(joined.length == doctest::Approx(52.0));
}

TEST_CASE("segmentWithoutLengthEndsAStretch") {
    Found const found = find(chainThrough({{0, 0, 0}, {4, 0, 0}, {4, 0, 0}, {10, 0, 0}}), line);
    checkRange(found.a, 2.0, 3.0);
    checkRange(found.b, 0.4, 1.0);
}

TEST_CASE("firstOfEqualStretchesIsTaken") {
    Found const found =
        find(chainThrough({{0, 0, 0}, {4, 0, 0}, {5, 5, 0}, {6, 0, 0}, {10, 0, 0}}), line);
    CHECK(found.a.lower == 0.0);
    CHECK(found.a.upper < 2.0);
}

// b starts 0.05 after a: the gap is closed when it is shorter than the distance across.
TEST_CASE("smallGapAtTheEndIsClosed") {
    Chain const shorter = chainThrough({{0.05, 0, 0}, {9.95, 0, 0}});
    checkRange(find(chainThrough({{0, 0.1, 0}, {10, 0.1, 0}}), shorter).a, 0.0, 1.0, 0.0);
    checkRange(find(chainThrough({{0, 0.02, 0}, {10, 0.02, 0}}), shorter).a, 0.005, 0.995);
    // The other way round, against the direction of b.
    Chain const away = chainThrough({{10, 0.1, 0}, {0, 0.1, 0}});
    Found const found = find(shorter, away);
    checkRange(found.b, 0.0, 1.0, 0.0);
    CHECK(found.reversed);
    // Segments inside of both polylines keep their gaps.
    Chain const inside = chainThrough({{-9, 9, 0}, {0, 0.1, 0}, {10, 0.1, 0}, {19, 9, 0}});
    Chain const between = chainThrough({{-9, -9, 0}, {0.05, 0, 0}, {9.95, 0, 0}, {19, -9, 0}});
    CHECK(find(inside, between).isThere);
}

TEST_CASE("endsNearTheEndsBecomeThem") {
    Chain const shorter = chainThrough({{0.3, 0, 0}, {9.6, 0, 0}});
    checkRange(find(shorter, line).b, 0.03, 0.96);
    checkRange(find(shorter, line, {0.2, 0.35, false}).b, 0.0, 0.96);
    Found const both = find(shorter, line, {0.2, 0.5, false});
    CHECK(both.b == Range1d(0.0, 1.0));
    CHECK(both.length == doctest::Approx(9.3));
}

TEST_CASE("polylineOverlapsAPieceOfItself") {
    Chain const whole = helix(200, 0.0, 12.0);
    for (double const from : {0.0, 7.3, 150.5}) {
        double const to = from + 31.25;
        Chain const piece = pieceOf(whole, from, to);
        for (bool const isReversed : {false, true}) {
            Found const found =
                find(isReversed ? reversedChain(piece) : piece, whole, {1e-3, 0.0, true});
            CHECK(found.isThere);
            CHECK(found.reversed == isReversed);
            checkRange(found.a, 0.0, piece->getDomain().upper, 1e-6);
            checkRange(found.b, from, to, 1e-6);
            CHECK(found.length == doctest::Approx(whole->getLength(from, to)));
            CHECK(found.maxDistance < 1e-3);
        }
    }
}

TEST_CASE("outputsAreUntouchedWhereThereIsNothing") {
    Found untouched;
    CHECK(find(chainThrough({{0, 5, 0}, {10, 5, 0}}), line) == untouched);
    CHECK(find(chainThrough({{0, 3, -1}, {10, -3, 3}}), line, {0.01, 0.0, false}) == untouched);
    CHECK(find(chainThrough({{5, -3, 0}, {5, 3, 0}}), line) == untouched);
    CHECK(find(line, line, {0.0, 0.0, false}) == untouched);
    CHECK(find(line, chainThrough({})) == untouched);
    CHECK(find(chainThrough({{1, 0, 0}}), line) == untouched);
    CHECK(find(line, chainThrough({{1, 0, 0}})) == untouched);
}

// Waves along x that cross and leave each other.
TEST_CASE("stretchesStayWithinTheToleranceAndDoNotDependOnTheCache") {
    support::Random random(9);
    for (int round = 0; round < 100; ++round) {
        auto const wave = [&](double height) {
            ko::vector<Point> points;
            for (int i = 0; i < 300; ++i)
                points.emplace_back(0.1 * i, height * std::sin(0.02 * i) + random.real(-0.01, 0.01),
                                    random.real(0.0, 0.01));
            return chainThrough(points);
        };
        Chain const b = wave(1.0);
        PolylineBBoxCache cache(*b);
        for (int k = 0; k < 3; ++k) {
            Chain const a = wave(random.real(-1.5, 1.5));
            Settings const settings{random.real(0.02, 0.3), 0.0, round % 2 == 0};
            Found const found = find(a, b, settings);
            REQUIRE(findCached(a, b, cache, settings) == found);
            if (!found.isThere)
                continue;
            REQUIRE(found.maxDistance <= 1.1 * settings.tolerance);
            for (int i = 0; i <= 50; ++i) {
                Point const p = a->eval(found.a.lower + found.a.size() * i / 50.0);
                Point closest;
                double distanceToB = 0.0;
                PolylineProjectPt(*b).project(p, closest, distanceToB);
                REQUIRE(distanceToB <= 1.1 * settings.tolerance + 0.05);
            }
        }
    }
}

// Groups of eight boxes: every count around their bounds, every place of a short piece.
TEST_CASE("noSegmentIsLeaptOver") {
    for (int const count : {2, 8, 9, 10, 64, 65, 66, 130}) {
        ko::vector<Point> points;
        for (int i = 0; i < count; ++i)
            points.emplace_back(i, 0.3 * (i % 2), 0.0);
        Chain const zigzag = chainThrough(points);
        PolylineBBoxCache cache(*zigzag);
        for (int k = 0; k + 1 < count; ++k) {
            Found const found =
                findCached(pieceOf(zigzag, k + 0.25, k + 0.75), zigzag, cache, {1e-3, 0.0, false});
            REQUIRE(found.isThere);
            checkRange(found.b, k + 0.25, k + 0.75, 1e-9);
        }
    }
}

TEST_CASE("hostilePolylinesEnd") {
    support::Random random(12);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const values[] = {0.0, 1.0, 2.0, 3.0, -1.0, nan, HUGE_VAL, -HUGE_VAL, 1e308, 5e-324};
    auto const chain = [&](int numValues) {
        ko::vector<Polyline::vertex> vertices;
        for (int i = 0, count = random.index(7); i < count; ++i)
            vertices.emplace_back(values[random.index(numValues)], values[random.index(numValues)],
                                  values[random.index(numValues)], values[random.index(numValues)]);
        return chainOf(vertices);
    };
    for (int round = 0; round < 20000; ++round) {
        int const numValues = round % 2 == 0 ? 5 : 10;
        Settings const settings{values[random.index(10)], values[random.index(10)], round % 3 == 0};
        Found const found = find(chain(numValues), chain(numValues), settings);
        REQUIRE((found.isThere || found == Found()));
    }
    PolylineBBoxCache empty;
    CHECK_FALSE(findCached(line, line, empty).isThere);
}
