#include "polylineBuilders.h"

#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koGeom/KDTree.h"
#include "trimora/planar/MergeSegments.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;
using planarTest::Points;

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float noNumber = std::numeric_limits<float>::quiet_NaN();

using Chain = std::vector<std::array<float, 3>>;
using Chains = std::vector<Chain>;
using Segments = std::deque<Segment>;

Segment segment(Point const& from, Point const& to) {
    return {&from.x, &to.x};
}

Chains merged(Segments const& segments, float tolerance) {
    ko::vector<ko::Reference<Polyline>> result;
    MergeSegments()(result, segments, tolerance);
    Chains chains;
    for (auto const& polyline : result) {
        Chain chain;
        for (int i = 0; i < polyline->getNumVertices(); ++i) {
            Polyline::vertex const& v = polyline->getVertex(i);
            CHECK(v.parameter == i);
            chain.push_back(
                {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)});
        }
        chains.push_back(chain);
    }
    return chains;
}

/// The rule as it is told, every candidate of every box looked at.
class PlainMerge {
public:
    PlainMerge(Segments const& segments, float tolerance)
        : tolerance_(tolerance),
          tree_(2 * static_cast<int>(segments.size())),
          used_(segments.size()) {
        for (Segment const& each : segments) {
            points_.insert(points_.end(), each.start, each.start + 3);
            points_.insert(points_.end(), each.end, each.end + 3);
        }
        for (int k = 0; k < 2 * static_cast<int>(segments.size()); ++k)
            tree_.insert(points_.data(), k);
    }

    Chains run() {
        Chains chains;
        for (std::size_t i = 0; i < used_.size(); ++i) {
            if (used_[i])
                continue;
            used_[i] = true;
            int const k = 2 * static_cast<int>(i);
            std::deque<PointFlt> chain{at(k), at(k + 1)};
            for (int p = next(chain[0], chain[1]); p >= 0; p = next(chain[0], chain[1])) {
                used_[static_cast<std::size_t>(p / 2)] = true;
                chain.push_front(at(p ^ 1));
            }
            auto const onward = [&] { return next(chain.back(), chain[chain.size() - 2]); };
            for (int p = onward(); p >= 0; p = onward()) {
                used_[static_cast<std::size_t>(p / 2)] = true;
                chain.push_back(at(p ^ 1));
            }
            Chain points;
            for (PointFlt const& p : chain)
                points.push_back({p.x, p.y, p.z});
            chains.push_back(points);
        }
        return chains;
    }

private:
    PointFlt at(int k) const {
        float const* const p = points_.data() + 3 * static_cast<std::ptrdiff_t>(k);
        return {p[0], p[1], p[2]};
    }
    int next(PointFlt const& p, PointFlt const& q) {
        float const box[6] = {p.x - tolerance_, p.y - tolerance_, p.z - tolerance_,
                              p.x + tolerance_, p.y + tolerance_, p.z + tolerance_};
        std::vector<int> found;
        tree_.searchAll(points_.data(), box, found);
        Normal const reference(Point(p) - Point(q));
        double limit = 2.0 * tolerance_;
        int best = -1;
        for (int const candidate : found) {
            if (used_[static_cast<std::size_t>(candidate / 2)])
                continue;
            int near = candidate;
            int far = candidate ^ 1;
            if (distance2(p, at(far)) < distance2(p, at(near)))
                std::swap(near, far);
            if (dot(Normal(Point(at(far)) - Point(at(near))), reference) < 0.0) {
                double const m = 0.01 * std::min(distance(p, q), distance(at(far), at(near)));
                if (equivalent(Point(p), Point(at(near)), m) &&
                    equivalent(Point(q), Point(at(far)), m)) {
                    used_[static_cast<std::size_t>(near / 2)] = true;
                    continue;
                }
            }
            if (distance2(p, at(near)) < limit) {
                best = near;
                limit = distance2(p, at(near));
            }
        }
        return best;
    }

    float tolerance_;
    std::vector<float> points_;
    KDTree tree_;
    std::vector<bool> used_;
};

/// Equal, NaN with NaN.
bool sameBits(Chains const& a, Chains const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](Chain const& c, Chain const& d) {
        return std::equal(c.begin(), c.end(), d.begin(), d.end(), [](auto const& p, auto const& q) {
            return std::equal(p.begin(), p.end(), q.begin(), [](float x, float y) {
                return x == y || (std::isnan(x) && std::isnan(y));
            });
        });
    });
}

bool mergesAsTold(Segments const& segments, float tolerance) {
    return sameBits(merged(segments, tolerance), PlainMerge(segments, tolerance).run());
}

/// The same for a chain and its reverse, and wherever a closed one begins.
Chain canonical(Chain chain) {
    Chain const reversed(chain.rbegin(), chain.rend());
    if (chain.front() != chain.back())
        return std::min(chain, reversed);
    chain.pop_back();
    auto const fromLeast = [](Chain loop) {
        std::rotate(loop.begin(), std::min_element(loop.begin(), loop.end()), loop.end());
        return loop;
    };
    Chain const backward(reversed.begin(), reversed.end() - 1);
    chain = std::min(fromLeast(chain), fromLeast(backward));
    chain.push_back(chain.front());
    return chain;
}

Chains canonical(Chains chains) {
    for (Chain& chain : chains)
        chain = canonical(chain);
    std::sort(chains.begin(), chains.end());
    return chains;
}

/// Points on the unit sphere, spread evenly along a spiral.
Chain spherePoints(int n) {
    Chain points;
    for (int i = 0; i < n; ++i) {
        double const z = 1.0 - (2.0 * i + 1.0) / n;
        double const radius = std::sqrt(1.0 - z * z);
        points.push_back({static_cast<float>(radius * std::cos(2.4 * i)),
                          static_cast<float>(radius * std::sin(2.4 * i)), static_cast<float>(z)});
    }
    return points;
}

}  // namespace

//  0 ----- 1 ----- 2 ----- 3      the middle one first, the last one turned round
TEST_CASE("chainsSegmentsOfEitherDirection") {
    Segments const segments{segment({1, 0, 0}, {2, 0, 0}), segment({3, 0, 0}, {2, 0, 0}),
                            segment({0, 0, 0}, {1, 0, 0})};
    CHECK(merged(segments, 0.1f) == Chains{{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}}});
}

//  3 +---+ 2
//    |   |
//  0 +---+ 1
TEST_CASE("closedLoopsRepeatTheirFirstPoint") {
    Point const corners[] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    Segments segments;
    for (int i = 0; i < 4; ++i)
        segments.push_back(segment(corners[i], corners[(i + 1) % 4]));
    // The first segment's start goes on until it meets its end.
    Chains const chains = merged(segments, 0.01f);
    CHECK(chains == Chains{{{1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 0}, {1, 0, 0}}});
}

//          1 (0, 1)        three segments leave the origin; the second one begins a little beside it
//          |
//  0 ----- o ----- 2
TEST_CASE("ofSeveralTheNearestGoesOnAndTheRestWaits") {
    Segments segments{segment({-1, 0, 0}, {0, 0, 0}), segment({0, 0.05, 0}, {0, 1, 0}),
                      segment({0, 0, 0}, {1, 0, 0})};
    CHECK(merged(segments, 0.1f) ==
          Chains{{{-1, 0, 0}, {0, 0, 0}, {1, 0, 0}}, {{0, 0.05f, 0}, {0, 1, 0}}});
    // As near as the other, the first one goes on.
    segments[1] = segment({0, 0, 0}, {0, 1, 0});
    CHECK(merged(segments, 0.1f) ==
          Chains{{{-1, 0, 0}, {0, 0, 0}, {0, 1, 0}}, {{0, 0, 0}, {1, 0, 0}}});
}

TEST_CASE("gapsAreBridgedByTheBoxAndByTwiceTheTolerance") {
    auto const chainsAt = [](double gap, float tolerance) {
        return merged({segment({-5, 0, 0}, {0, 0, 0}), segment({gap, 0, 0}, {9, 0, 0})}, tolerance)
            .size();
    };
    CHECK(chainsAt(0.1, 0.1f) == 1);
    CHECK(chainsAt(0.11, 0.1f) == 2);
    // The square of the gap is below twice the tolerance, not that of the tolerance.
    CHECK(chainsAt(1.9, 2.0f) == 1);
    CHECK(chainsAt(2.0, 2.0f) == 2);
    CHECK(chainsAt(4.4, 10.0f) == 1);
    CHECK(chainsAt(4.5, 10.0f) == 2);
}

TEST_CASE("noToleranceMergesNothing") {
    Segments const segments{segment({0, 0, 0}, {1, 0, 0}), segment({1, 0, 0}, {2, 0, 0})};
    for (float tolerance : {0.0f, -1.0f, noNumber, -infinity})
        CHECK(merged(segments, tolerance).size() == 2);
    CHECK(merged({}, 0.1f).empty());
}

TEST_CASE("segmentsThatRepeatTheEndAreLeftOut") {
    Segment const forward = segment({0, 0, 0}, {1, 0, 0});
    Segment const backward = segment({1, 0, 0}, {0, 0, 0});
    for (Segment const& twin : {forward, backward})
        CHECK(merged({forward, twin, twin}, 0.01f) == Chains{{{0, 0, 0}, {1, 0, 0}}});
    // A repeated one in the middle is met as the end of a chain that grows.
    CHECK(merged({segment({-1, 0, 0}, {0, 0, 0}), forward, backward}, 0.01f) ==
          Chains{{{-1, 0, 0}, {0, 0, 0}, {1, 0, 0}}});
    // Off by a hundredth of the length at most.
    CHECK(merged({forward, segment({0.009, 0, 0}, {1.009, 0, 0})}, 0.1f).size() == 1);
    CHECK(merged({forward, segment({0, 0.02, 0}, {1, 0.02, 0})}, 0.1f) ==
          Chains{{{1, 0.02f, 0}, {0, 0, 0}, {1, 0, 0}}});
}

TEST_CASE("resultIsReplaced") {
    ko::vector<ko::Reference<Polyline>> result(3);
    MergeSegments()(result, {segment({0, 0, 0}, {1, 0, 0})}, 0.1f);
    CHECK(result.size() == 1);
    CHECK(result[0]->refCount() == 1);
}

TEST_CASE("chainingIsTheRuleToTheLetter") {
    support::Random random(17);
    for (int round = 0; round < 200; ++round) {
        int const side = 2 + round % 4;
        int const n = 1 + random.index(60);
        Vector const offset(0.0, round % 5 == 4 ? 3e6 : 0.0, round % 5 == 3 ? 1e-3 : 0.0);
        float const jitter = round % 3 == 0 ? 0.02f : 0.0f;
        Segments segments;
        for (int i = 0; i < n; ++i) {
            Segment each = segment(planarTest::latticePoint(random, side) + offset,
                                   planarTest::latticePoint(random, side) + offset);
            for (float* const end : {each.start, each.end})
                for (int axis = 0; axis < 3; ++axis) {
                    end[axis] += jitter * static_cast<float>(random.real(-1.0, 1.0));
                    if (round % 10 == 9 && random.index(20) == 0)
                        end[axis] = random.index(2) == 0 ? noNumber : infinity;
                }
            segments.push_back(each);
        }
        for (float tolerance : {0.0f, 1e-7f, 0.01f, 0.05f, 0.6f, 1.0f, 1.5f, 1e30f, infinity})
            CHECK(mergesAsTold(segments, tolerance));
    }
}

TEST_CASE("loopsAndOpenChainsComeBack") {
    support::Random random(19);
    Chains chains;
    Segments segments;
    for (int k = 0; k < 40; ++k) {
        bool const isClosed = k % 2 == 0;
        int const n = 3 + random.index(200);
        Chain chain;
        for (int i = 0; i < n; ++i) {
            double const angle = (isClosed ? 6.283185307 : 5.0) * i / n;
            chain.push_back({static_cast<float>(10.0 * k + 3.0 * std::cos(angle)),
                             static_cast<float>(3.0 * std::sin(angle)),
                             static_cast<float>(std::sin(2.0 * angle))});
        }
        if (isClosed)
            chain.push_back(chain.front());
        for (std::size_t i = 0; i + 1 < chain.size(); ++i)
            for (int repeat = 0; repeat <= random.index(3); ++repeat) {
                bool const isTurned = random.index(2) == 0;
                segments.emplace_back(chain[isTurned ? i + 1 : i].data(),
                                      chain[isTurned ? i : i + 1].data());
            }
        chains.push_back(chain);
    }
    for (std::size_t i = segments.size() - 1; i > 0; --i)
        std::swap(segments[i],
                  segments[static_cast<std::size_t>(random.index(static_cast<int>(i) + 1))]);
    CHECK(canonical(merged(segments, 1e-4f)) == canonical(chains));
}

TEST_CASE("heapsAndStarsTakeNoSquareOfTime") {
    constexpr int n = 20000;  // spokes differ by more than a hundredth of their length
    Chain const spokes = spherePoints(n);
    float const origin[3] = {0.0f, 0.0f, 0.0f};
    float const tip[3] = {1.0f, 0.0f, 0.0f};
    float const odd[3] = {noNumber, noNumber, noNumber};
    Segments heap;
    Segments star;
    Segments bundle;
    for (int i = 0; i < n; ++i) {
        float const* const spoke = spokes[static_cast<std::size_t>(i)].data();
        heap.emplace_back(origin, origin);
        star.emplace_back(i % 2 == 0 ? origin : spoke, i % 2 == 0 ? spoke : origin);
        bundle.emplace_back(i % 3 == 0 ? origin : tip, i % 3 == 0 ? tip : origin);
    }
    CHECK(merged(heap, 0.1f).size() == 1);
    CHECK(merged(star, 1e-6f).size() == n / 2);
    CHECK(merged(star, 1e30f).size() == 1);
    CHECK(merged(bundle, 0.1f).size() == 1);
    CHECK(merged(Segments(n, Segment(odd, origin)), 0.1f).size() == n / 2);
}
