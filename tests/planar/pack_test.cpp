#include "support/builders.h"

#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/planar/pack.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

using namespace koGeom;

namespace {

using Rects = ko::vector<Range2d>;

double largerSide(Range2d const& rect) {
    return std::max(rect.size().x, rect.size().y);
}

/// The tree by its definition: owned children, first fit by recursion.
struct PlainNode {
    Range2d bounds = Range2d::unitSquare;
    std::unique_ptr<PlainNode> first;
    std::unique_ptr<PlainNode> second;
    bool occupied = false;

    PlainNode* insert(Range2d const& rect) {
        if (first != nullptr) {
            PlainNode* const taken = first->insert(rect);
            return taken != nullptr ? taken : second->insert(rect);
        }
        if (occupied)
            return nullptr;
        double const dx = bounds.size().x - rect.size().x;
        double const dy = bounds.size().y - rect.size().y;
        if (dx < -epsilonTol || dy < -epsilonTol)
            return nullptr;
        if (equivalent(Vector2(dx, dy), Vector2::zero, epsilonTol)) {
            occupied = true;
            return this;
        }
        first = std::make_unique<PlainNode>();
        second = std::make_unique<PlainNode>();
        first->bounds = second->bounds = bounds;
        if (dx > dy)
            first->bounds.upper.x = second->bounds.lower.x = bounds.lower.x + rect.size().x;
        else
            first->bounds.upper.y = second->bounds.lower.y = bounds.lower.y + rect.size().y;
        return first->insert(rect);
    }
};

bool plainPack(Rects& rects) {
    if (largerSide(rects.back()) > 1.0)
        return false;
    PlainNode root;
    for (Range2d& rect : rects) {
        PlainNode const* const taken = root.insert(rect);
        if (taken == nullptr)
            return false;
        rect = taken->bounds;
    }
    return true;
}

/// The rule of the tries, to the bit.
Rects plainTries(Rects rects, int steps, int& iterations) {
    std::vector<std::size_t> order(rects.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return largerSide(rects[a]) > largerSide(rects[b]);
    });
    Rects sorted;
    for (std::size_t const i : order)
        sorted.push_back(rects[i]);
    float const factor = powf(0.499f, 1.0f / static_cast<float>(steps));
    for (iterations = 1; !plainPack(sorted); ++iterations)
        for (Range2d& rect : sorted)
            rect = Range2d(0.0, 0.0, rect.size().x * static_cast<double>(factor),
                           rect.size().y * static_cast<double>(factor));
    Range2d all;
    for (std::size_t i = 0; i < order.size(); ++i) {
        rects[order[i]] = sorted[i];
        all.include(sorted[i]);
    }
    double const growth = 1.0 / largerSide(all);
    for (Range2d& rect : rects)
        if (growth > 1.01)
            rect = Range2d(rect.lower.x * growth, rect.lower.y * growth, rect.upper.x * growth,
                           rect.upper.y * growth);
    return rects;
}

Range2d sized(double width, double height) {
    return {3.0, -2.0, 3.0 + width, -2.0 + height};
}

Rects randomRects(support::Random& random, int count, double largest) {
    Rects rects;
    for (int i = 0; i < count; ++i)
        rects.push_back(sized(largest * random.real(0.05, 1.0), largest * random.real(0.05, 1.0)));
    return rects;
}

void checkLayout(Rects const& rects) {
    bool isInside = true;
    for (Range2d const& rect : rects)
        isInside &= Range2d::unitSquare.contains(rect.lower, 1e-11) &&
                    Range2d::unitSquare.contains(rect.upper, 1e-11);
    CHECK(isInside);
    Rects sorted = rects;
    std::sort(sorted.begin(), sorted.end(),
              [](Range2d const& a, Range2d const& b) { return a.lower.x < b.lower.x; });
    int numOverlaps = 0;
    for (std::size_t i = 0; i < sorted.size(); ++i)
        for (std::size_t j = i + 1;
             j < sorted.size() && sorted[j].lower.x < sorted[i].upper.x - 1e-11; ++j)
            numOverlaps += sorted[i].lower.y < sorted[j].upper.y - 1e-11 &&
                           sorted[j].lower.y < sorted[i].upper.y - 1e-11;
    CHECK(numOverlaps == 0);
}

std::string messagesOf(Rects& rects, int steps) {
    std::string text;
    debugChannel().setSink([&text](char const* message) { text += message; });
    pack(rects, steps);
    debugChannel().setSink(nullptr);
    return text;
}

}  // namespace

//   +-----+-----+      The first cut goes along the axis with more room, here x at 0.5;
//   |     |     |      then the part of the rectangle is cut along y.
//   |  1  |     |
//   +-----+  2  |      The second rectangle is too wide for region 1, and goes to region 2.
//   |  0  |     |
//   +-----+-----+
TEST_CASE("cutsAlongTheAxisWithMoreRoom") {
    Rects rects = {sized(0.25, 0.5), sized(0.5, 0.25), sized(0.125, 0.5)};
    REQUIRE(pack(rects));
    CHECK(rects[0] == Range2d(0.0, 0.0, 0.25, 0.5));
    CHECK(rects[1] == Range2d(0.25, 0.0, 0.75, 0.25));
    CHECK(rects[2] == Range2d(0.0, 0.5, 0.125, 1.0));

    Rects even = {sized(0.5, 0.5), sized(0.5, 0.5), sized(1.0, 0.5)};
    REQUIRE(pack(even));
    CHECK(even[0] == Range2d(0.0, 0.0, 0.5, 0.5));
    CHECK(even[1] == Range2d(0.5, 0.0, 1.0, 0.5));
    CHECK(even[2] == Range2d(0.0, 0.5, 1.0, 1.0));
}

TEST_CASE("failedTriesKeepWhatTheyPlaced") {
    Rects tooMany = {sized(0.75, 1.0), sized(0.5, 0.5), sized(0.25, 0.25)};
    CHECK_FALSE(pack(tooMany));
    CHECK(tooMany[0] == Range2d(0.0, 0.0, 0.75, 1.0));
    CHECK(tooMany[1] == sized(0.5, 0.5));
    CHECK(tooMany[2] == sized(0.25, 0.25));

    Rects lastTooLarge = {sized(0.25, 0.25), sized(0.25, 1.5)};
    CHECK_FALSE(pack(lastTooLarge));
    CHECK(lastTooLarge[0] == sized(0.25, 0.25));

    Rects none;
    CHECK(pack(none));
}

TEST_CASE("placesAsAPlainDescentDoes") {
    support::Random random(3);
    int numFailed = 0;
    for (int round = 0; round < 300; ++round) {
        Rects rects = randomRects(random, 1 + random.index(200), random.real(0.05, 0.4));
        if (round % 3 == 0)  // sizes that recur fill regions exactly
            for (Range2d& rect : rects)
                rect = sized(0.125 * (1 + random.index(3)), 0.0625 * (1 + random.index(3)));
        if (round % 7 == 0)
            rects.push_back(sized(0.0, random.real(0.0, 0.1)));
        Rects expected = rects;
        bool const fits = plainPack(expected);
        CHECK(pack(rects) == fits);
        CHECK(rects == expected);
        numFailed += !fits;
    }
    CHECK(numFailed > 30);
    CHECK(numFailed < 270);
}

TEST_CASE("triesScaleUntilAllFit") {
    support::Random random(4);
    for (int round = 0; round < 60; ++round) {
        Rects rects = randomRects(random, 1 + random.index(60), random.real(0.02, 3.0));
        int const steps = 1 + random.index(40);
        int iterations = 0;
        Rects const before = rects;
        Rects const expected = plainTries(rects, steps, iterations);
        std::string const text = messagesOf(rects, steps);
        CHECK(rects == expected);
        CHECK(text.find(" coverage in " + std::to_string(iterations) + " iterations in ") !=
              std::string::npos);
        checkLayout(rects);

        double const scale = rects[0].size().x / before[0].size().x;
        for (std::size_t i = 0; i < rects.size(); ++i) {
            CHECK(rects[i].size().x == doctest::Approx(scale * before[i].size().x).epsilon(1e-9));
            CHECK(rects[i].size().y == doctest::Approx(scale * before[i].size().y).epsilon(1e-9));
        }
    }
}

TEST_CASE("oneRectangleFillsTheSquare") {
    Rects whole = {sized(1.0, 1.0)};
    std::string const text = messagesOf(whole, 10);
    CHECK(whole[0] == Range2d::unitSquare);
    CHECK(text.rfind("Packed (3.0000,-2.0000)-(4.0000,-1.0000) to"
                     " (0.0000,0.0000)-(1.0000,1.0000)\n"
                     "Packed 1 items with 1.00 coverage in 1 iterations in ",
                     0) == 0);
    CHECK(text.find(" seconds.\n") != std::string::npos);

    Rects half = {sized(0.5, 0.5)};
    CHECK(messagesOf(half, 10).find("Scaling packing by 2.00\nPacked 1 items") !=
          std::string::npos);
    CHECK(half[0] == Range2d::unitSquare);

    Rects large = {sized(7.0, 3.5)};
    pack(large, 5);
    CHECK(largerSide(large[0]) == doctest::Approx(1.0).epsilon(0.011));
    CHECK(large[0].lower == Point2::origin);
}

TEST_CASE("tellsOfTheFirstSixInTheOrderOfTheirSizes") {
    Rects rects;
    for (int i = 1; i <= 8; ++i)
        rects.push_back(Range2d(0.0, 0.0, 0.01 * i, 0.02));
    std::string const text = messagesOf(rects, 4);
    CHECK(text.rfind("Packed (0.0000,0.0000)-(0.0800,0.0200) to", 0) == 0);
    CHECK(text.find("-(0.0300,0.0200) to") != std::string::npos);
    CHECK(text.find("-(0.0200,0.0200) to") == std::string::npos);
}

TEST_CASE("tenThousandRectanglesFit") {
    support::Random random(5);
    Rects rects = randomRects(random, 10000, 0.025);
    pack(rects, 20);
    checkLayout(rects);
    double covered = 0.0;
    for (Range2d const& rect : rects)
        covered += rect.area();
    CHECK(covered > 0.7);
}

TEST_CASE("rectanglesThatNeverFitEndTheTry") {
    double const infinity = std::numeric_limits<double>::infinity();
    double const nan = std::numeric_limits<double>::quiet_NaN();
    for (Range2d const& bad : {Range2d(0, 0, infinity, 0.5), Range2d(0, 0, nan, 0.5),
                               Range2d(0, nan, 0.5, nan), Range2d(), Range2d(-infinity, 0, 0, 1)}) {
        Rects rects = {sized(0.25, 0.25), bad, sized(0.25, 0.25)};
        CHECK_FALSE(pack(rects));
        CHECK(rects[0] == Range2d(0.0, 0.0, 0.25, 0.25));
        Rects untouched = {sized(0.25, 0.25), bad};
        CHECK(messagesOf(untouched, 5).empty());
        CHECK(untouched[0] == sized(0.25, 0.25));
    }
    Rects rects = {sized(0.25, 0.25)};
    CHECK(messagesOf(rects, 0).empty());
    Rects none;
    CHECK(messagesOf(none, 5).empty());
    // Rounds to a factor of 1 in floats.
    Rects nearly = {sized(0.0, 0.0), Range2d(0.0, 0.0, 1.0 + 1e-7, 0.1)};
    pack(nearly, 2000000000);
    CHECK(nearly[1].size().x < 1.0);
    // Without size they all lie on one point, which nothing can enlarge.
    Rects dots(3, sized(0.0, 0.0));
    pack(dots, 3);
    CHECK(dots[2] == Range2d(0.0, 0.0, 0.0, 0.0));
}

TEST_CASE("cutsEndWithoutATolerance") {
    double const usual = epsilonTol;
    epsilonTol = 0.0;
    support::Random random(6);
    for (int round = 0; round < 200; ++round) {
        Rects rects = randomRects(random, 50, 0.1);
        if (round % 2 == 0)
            rects.push_back(sized(random.real(-1e6, 0.1), random.real(-1e6, 0.1)));
        pack(rects);
    }
    epsilonTol = usual;
    CHECK(epsilonTol > 0.0);
}
