#include "surfaceCurves.h"

#include "trimora/topology/MeshCurveTopology.h"

#include <array>
#include <doctest/doctest.h>
#include <iterator>
#include <limits>
#include <map>
#include <memory>

using namespace koGeom;
using curves::at;
using curves::nodesOf;
using curves::Polyline;
using curves::Surface;
using Curves = MeshCurveTopology::Curves;
using Curve = MeshCurveTopology::Curve;

namespace {

constexpr double tolerance = 1e-6;

/// Curves through points of the plane, one after the other.
Curves curvesOf(Surface const& surface, std::vector<std::vector<Point2>> const& polylines) {
    Curves all;
    for (auto const& polyline : polylines)
        MeshCurveTopology::convert(all, surface.polyline(polyline), tolerance);
    return all;
}

Curve const& nth(Curves const& all, int n) {
    return *std::next(all.begin(), n);
}

std::string allNodes(MeshCurveTopology& topology) {
    std::string text;
    for (Curve const& curve : topology.getCurves())
        text += (text.empty() ? "" : ", ") + nodesOf(topology, curve);
    return text;
}

}  // namespace

//   2 ----- 3        grid(1, 1): face 0 is 0 1 3, face 1 is 0 3 2
//   | 1  /  |
//   |  /  0 |
//   0 ----- 1
TEST_CASE("convertsAPolylineAndDropsRepeats") {
    Surface const surface(support::grid(1, 1));
    TopoMeshFace const f = surface.faces[0];
    TopoMeshFace const g = surface.faces[1];
    Curves all;

    SUBCASE("on a vertex seen from two faces") {
        MeshCurveTopology::convert(all, {at(f, 1, 0, 0), at(g, 1, 0, 0), at(g, 0, 0.5, 0.5)}, 0.0);
        CHECK(all.back().size() == 2);
    }
    SUBCASE("on the two halves of an edge") {
        MeshCurveTopology::convert(all, {at(f, 0.5, 0, 0.5), at(g, 0.5, 0.5, 0)}, 0.0);
        CHECK(all.back().size() == 1);
    }
    SUBCASE("in a face within the tolerance") {
        MeshCurveTopology::convert(all, {at(f, 0.4, 0.3, 0.3), at(f, 0.4, 0.3001, 0.2999)}, 1e-3);
        CHECK(all.back().size() == 1);
    }
    SUBCASE("what is not appended still is what the next point is compared with") {
        MeshCurveTopology::convert(all,
                                   {at(f, 0.4, 0.3, 0.3), at(f, 0.3994, 0.3006, 0.3),
                                    at(f, 0.3988, 0.3012, 0.3), at(f, 0.3982, 0.3018, 0.3)},
                                   1e-3);
        CHECK(all.back().size() == 1);
    }
    SUBCASE("places on different edges are no repeats however close") {
        MeshCurveTopology::convert(all, {at(f, 0.99, 0.01, 0), at(f, 0.99, 0, 0.01)}, 1e-9);
        CHECK(all.back().size() == 2);
    }
}

TEST_CASE("aJumpBetweenFacesStartsANewCurve") {
    Surface const surface(support::grid(3, 1));
    Curves all;
    MeshCurveTopology::convert(all, surface.polyline({{0.5, 0.2}, {0.6, 0.3}, {2.5, 0.2}}),
                               tolerance);
    REQUIRE(all.size() == 2);
    CHECK(all.front().size() == 2);
    CHECK(all.back().size() == 1);
    // Each call begins with a curve of its own, also for nothing.
    MeshCurveTopology::convert(all, {}, tolerance);
    CHECK(all.size() == 3);
    CHECK(all.back().empty());
}

TEST_CASE("pushesEndsInAFaceToItsRim") {
    Surface const surface(support::grid(1, 1));
    Curves all = curvesOf(surface, {{{0.5, 0.0}, {0.6, 0.1}, {0.7, 0.3}}});
    MeshCurveTopology::extend(all, tolerance);
    CHECK(all.front().front()->position == Point(0.5, 0.0, 0.0));
    CHECK(all.front().back()->kind == TopoMeshPoint::OnEdge);
    CHECK(equivalent(all.front().back()->position, Point(1.0, 0.9, 0.0), 1e-12));

    SUBCASE("but not where they meet another end") {
        Curves pair = curvesOf(surface, {{{0.5, 0.0}, {0.7, 0.4}}, {{1.0, 0.5}, {0.7, 0.4}}});
        MeshCurveTopology::extend(pair, tolerance);
        CHECK(pair.front().back()->kind == TopoMeshPoint::InFace);
        CHECK(pair.back().back()->kind == TopoMeshPoint::InFace);
    }
    SUBCASE("and not without a direction") {
        Curves still = curvesOf(surface, {{{0.7, 0.4}}});
        still.front().push_back(new TopoMeshPoint(*still.front().front()));
        MeshCurveTopology::extend(still, 0.0);
        CHECK(still.front().back()->kind == TopoMeshPoint::InFace);
    }
}

TEST_CASE("curvesThatShareAnEndSegmentReduceToTheLaterOne") {
    Surface surface(support::grid(2, 2));
    std::vector<Point2> const line{{0.5, 0.0}, {0.6, 0.2}, {0.7, 0.4}};
    std::vector<Point2> const turned(line.rbegin(), line.rend());
    SUBCASE("equal ones") {
        Curves all = curvesOf(surface, {line, line, turned});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(all.size() == 1);
        CHECK(all.front().front()->position == Point(0.7, 0.4, 0.0));
    }
    SUBCASE("the rest is not looked at") {
        std::vector<Point2> const other{{0.5, 0.0}, {0.6, 0.2}, {0.9, 0.3}, {1.0, 0.4}};
        Curves all = curvesOf(surface, {other, line});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(all.size() == 1);
        CHECK(all.front().size() == 3);
    }
    SUBCASE("curves that share an end alone both stay") {
        Curves all = curvesOf(surface, {line, {{0.5, 0.0}, {0.4, 0.2}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(all.size() == 2);
        CHECK(topology.findOverlappingCurve() == all.end());
    }
}

TEST_CASE("deletesAPolylineOfTwoPointsThatCoincide") {
    Surface surface(support::grid(1, 1));
    Curves all;
    MeshCurveTopology::convert(
        all, {at(surface.faces[0], 0.99, 0.01, 0), at(surface.faces[0], 0.99, 0, 0.01)}, 1e-3);
    REQUIRE(all.front().size() == 2);
    MeshCurveTopology topology(surface.mesh, all, 0.05);
    CHECK(all.empty());
    CHECK(topology.getIPoints().empty());
}

TEST_CASE("closedCurvesHaveAJointOfDegreeTwo") {
    Surface surface(support::grid(1, 1));
    Curves all = curvesOf(surface, {{{0.5, 0.1}, {0.8, 0.1}, {0.8, 0.3}, {0.5, 0.1}}});
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(all.front().front() == all.front().back());
    CHECK(allNodes(topology) == "f0*2 f0 f0 f0*2");
}

TEST_CASE("joinsEndsThatMeetEachOnceAPair") {
    Surface surface(support::grid(1, 1));
    // Three curves end at one point, the first two form a ring as well.
    Curves all = curvesOf(surface, {{{0.5, 0.1}, {0.6, 0.2}, {0.8, 0.1}},
                                    {{0.8, 0.1}, {0.7, 0.05}, {0.5, 0.1}},
                                    {{0.5, 0.1}, {0.3, 0.0}}});
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(allNodes(topology) == "f0*3 f0 f0*2, f0*2 f0 f0*3, f0*3 e0-1*1");
    CHECK(topology.getIPoints().size() == 3);
    // In order of first appearance.
    CHECK(topology.getIPoints().begin()->first == all.front().front());
}

TEST_CASE("anObjectThatTwoCurvesHoldCountsForTheLaterOne") {
    Surface surface(support::grid(1, 1));
    Curves all = curvesOf(surface, {{{0.5, 0.0}, {0.6, 0.2}}, {{1.0, 0.5}, {0.9, 0.3}}});
    all.back().push_back(all.front().back());
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(allNodes(topology) == "e0-1*1 f0*1, e1-3*1 f0 f0*1");
    // The other curve has no use to lose: trimming ends.
    topology.trimInteriorEndPoints();
    CHECK(all.size() == 1);
}

TEST_CASE("passesOverEmptyCurves") {
    Surface surface(support::grid(1, 1));
    Curves all = curvesOf(surface, {{}, {{0.5, 0.0}, {0.6, 0.2}}, {}});
    MeshCurveTopology::extend(all, tolerance);
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    topology.trimInteriorEndPoints();
    CHECK(all.size() >= 2);
    MeshCurveTopologyIterator i(all);
    Curves none(3);
    CHECK_FALSE(MeshCurveTopologyIterator(none).valid());
}

//          |               both curves get a node at the crossing, which is one object
//       ---x---
//          |
TEST_CASE("aCrossingInAFaceIsOneSharedPoint") {
    Surface surface(support::grid(1, 1));
    Point2 const x(0.75, 0.25);
    SUBCASE("between the nodes of both") {
        Curves all = curvesOf(surface, {{{0.5, 0.25}, {1.0, 0.25}}, {{0.75, 0.0}, {0.75, 0.5}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(nth(all, 0).size() == 3);
        CHECK(nth(all, 1).size() == 3);
    }
    SUBCASE("on a node of the first") {
        Curves all = curvesOf(surface, {{{0.5, 0.25}, x, {1.0, 0.25}}, {{0.75, 0.0}, {0.75, 0.5}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(nth(all, 0).size() == 3);
        CHECK(nth(all, 1).size() == 3);
    }
    SUBCASE("on a node of the second") {
        Curves all = curvesOf(surface, {{{0.5, 0.25}, {1.0, 0.25}}, {{0.75, 0.0}, x, {0.75, 0.5}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(nth(all, 0).size() == 3);
        CHECK(nth(all, 1).size() == 3);
    }
    SUBCASE("on nodes of both") {
        Curves all =
            curvesOf(surface, {{{0.5, 0.25}, x, {1.0, 0.25}}, {{0.75, 0.0}, x, {0.75, 0.5}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        CHECK(nth(all, 0).size() == 3);
        CHECK(nth(all, 1).size() == 3);
    }
    Curves all = curvesOf(surface, {{{0.5, 0.25}, x, {1.0, 0.25}}, {{0.75, 0.0}, {0.75, 0.5}}});
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    auto const shared = *std::next(nth(all, 0).begin());
    CHECK(shared == *std::next(nth(all, 1).begin()));
    MeshCurveTopology::IPoint const* const point = topology.getIPoint(shared);
    REQUIRE(point != nullptr);
    CHECK(point->getDegree() == 2);
    CHECK(point->uses.front().curve != point->uses.back().curve);
    CHECK(equivalent(shared->position, Point(0.75, 0.25, 0.0), 1e-12));
}

TEST_CASE("curvesThroughTheSameVertexShareAPoint") {
    Surface surface(support::grid(2, 2));
    // Both come through the middle vertex, number 4, and touch nowhere else.
    Curves all = curvesOf(
        surface, {{{0.5, 0.0}, {1.0, 1.0}, {0.8, 1.3}}, {{1.2, 0.7}, {1.0, 1.0}, {1.5, 1.2}}});
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(allNodes(topology).find("v4*2") != std::string::npos);
    CHECK(*std::next(nth(all, 0).begin()) == *std::next(nth(all, 1).begin()));
}

//   6 - 7 - 8       the first curve runs along the edges 1-4-7, the second crosses the edge 1-4 at half its length
//   | / | / |
//   3 - 4 - 5
//   | / | / |
//   0 - 1 - 2
TEST_CASE("findsCrossingsWithCurvesAlongEdges") {
    Surface surface(support::grid(2, 2));
    Curves all = curvesOf(
        surface, {{{1.0, 0.0}, {1.0, 1.0}, {1.0, 2.0}}, {{0.5, 0.5}, {1.0, 0.5}, {1.5, 0.5}}});
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(nth(all, 0).size() == 4);
    CHECK(*std::next(nth(all, 0).begin()) == *std::next(nth(all, 1).begin()));

    SUBCASE("two of them on one edge") {
        Curves three = curvesOf(surface, {{{1.0, 0.0}, {1.0, 1.0}},
                                          {{0.7, 0.6}, {1.0, 0.6}, {1.5, 0.6}},
                                          {{0.6, 0.3}, {1.0, 0.3}, {1.5, 0.3}}});
        MeshCurveTopology graph(surface.mesh, three, tolerance);
        REQUIRE(nth(three, 0).size() == 4);
        CHECK((*std::next(nth(three, 0).begin(), 1))->position.y == doctest::Approx(0.3));
        CHECK((*std::next(nth(three, 0).begin(), 2))->position.y == doctest::Approx(0.6));
    }
}

TEST_CASE("tellsSegmentsAlongEdgesByTheVeryHalf") {
    Surface surface(support::grid(1, 1));
    TopoMeshFace const f = surface.faces[0];
    TopoMeshFace const g = surface.faces[1];
    Curves all;
    MeshCurveTopology::convert(all, {at(f, 0.7, 0, 0.3), at(f, 0.3, 0, 0.7)}, tolerance);
    MeshCurveTopology::convert(all, {at(f, 0.7, 0, 0.3), at(g, 0.2, 0.8, 0)}, tolerance);
    MeshCurveTopology::convert(all, {at(f, 1, 0, 0), at(g, 0.1, 0.9, 0), at(f, 0, 0, 1)},
                               tolerance);
    Curves none;
    MeshCurveTopology topology(surface.mesh, none, tolerance);
    auto const edgeUnder = [&](int curve, int node) {
        Curve& each = *std::next(all.begin(), curve);
        return topology.isBoundarySegment({&each, std::next(each.begin(), node)});
    };
    CHECK(edgeUnder(0, 0) == TopoMesh::findEdge(surface.vertices[3], surface.vertices[0]));
    CHECK_FALSE(edgeUnder(1, 0));
    CHECK(edgeUnder(2, 0) == TopoMesh::findEdge(surface.vertices[0], surface.vertices[3]));
    CHECK(edgeUnder(2, 1) == TopoMesh::findEdge(surface.vertices[0], surface.vertices[3]));
}

TEST_CASE("aCurveMayCrossItself") {
    Surface surface(support::grid(1, 1));
    Curves all = curvesOf(
        surface, {{{0.5, 0.1}, {0.9, 0.1}, {0.9, 0.4}, {0.7, 0.4}, {0.7, 0.05}, {0.6, 0.0}}});
    MeshCurveTopology topology(surface.mesh, all, tolerance);
    CHECK(allNodes(topology) == "f0*1 f0*2 f0 f0 f0 f0*2 f0 e0-1*1");
}

//      ______
//     /      |      the tail of the nine goes, the ring stays; a chain of curves goes link by link
//     \______|
//            |
TEST_CASE("trimsWhatDangles") {
    Surface surface(support::grid(1, 1));
    SUBCASE("a tail of a ring") {
        Curves all = curvesOf(
            surface, {{{0.5, 0.1}, {0.9, 0.1}, {0.9, 0.4}, {0.7, 0.4}, {0.7, 0.05}, {0.65, 0.03}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        topology.trimInteriorEndPoints();
        CHECK(allNodes(topology) == "f0*2 f0 f0 f0 f0*2");
    }
    SUBCASE("but not ends on the boundary") {
        Curves all = curvesOf(surface, {{{0.5, 0.0}, {0.6, 0.1}, {1.0, 0.1}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        topology.trimInteriorEndPoints();
        CHECK(allNodes(topology) == "e0-1*1 f0 e1-3*1");
    }
    SUBCASE("a chain in any order") {
        for (bool turned : {false, true}) {
            Curves all;
            for (int i = 0; i < 20; ++i) {
                int const k = turned ? 19 - i : i;
                double const x = 0.3 + 0.03 * k;
                MeshCurveTopology::convert(
                    all, surface.polyline({{x, 0.1}, {x + 0.01, 0.12}, {x + 0.03, 0.1}}),
                    tolerance);
            }
            MeshCurveTopology topology(surface.mesh, all, tolerance);
            CHECK(topology.getIPoints().size() == 21);
            topology.trimInteriorEndPoints();
            CHECK(all.empty());
            CHECK(topology.getIPoints().empty());
        }
    }
    SUBCASE("back to a crossing that another curve keeps") {
        Curves all = curvesOf(surface, {{{0.5, 0.2}, {0.8, 0.2}}, {{0.6, 0.0}, {0.6, 0.6}}});
        MeshCurveTopology topology(surface.mesh, all, tolerance);
        topology.trimInteriorEndPoints();
        // The second one ends on the inner edge: it dangles as well once the first is gone.
        CHECK(all.empty());
    }
}

TEST_CASE("crossesAlikeAtAnySize") {
    Surface surface(support::grid(1, 1));
    Curves none;
    MeshCurveTopology topology(surface.mesh, none, tolerance);
    for (double const size : {1e-30, 1e-9, 1.0, 1e9, 1e30}) {
        CAPTURE(size);
        auto const p = [size](double x, double y) { return Point(size * x, size * y, 0.0); };
        Point hit;
        CHECK(topology.intersect(p(0, 0), p(2, 2), p(0, 2), p(2, 0), hit));
        CHECK(distance(hit, p(1, 1)) <= 1e-14 * size);
        // Ends that touch count, what stops short does not, nor what is parallel.
        CHECK(topology.intersect(p(0, 0), p(2, 2), p(1, 1), p(2, 0), hit));
        CHECK(topology.intersect(p(0, 0), p(1, 1), p(1, 1), p(2, 0), hit));
        CHECK_FALSE(topology.intersect(p(0, 0), p(2, 2), p(1.001, 1), p(2, 0), hit));
        CHECK_FALSE(topology.intersect(p(0, 0), p(1, 1), p(0, 0), p(2, 2), hit));
    }
    Point hit;
    double const nan = std::numeric_limits<double>::quiet_NaN();
    CHECK_FALSE(topology.intersect(Point(), Point(), Point(), Point(), hit));
    CHECK_FALSE(
        topology.intersect(Point(nan, 0, 0), Point(1, 0, 0), Point(0, 1, 0), Point(1, 1, 0), hit));
}

TEST_CASE("copiesAnswerForTheSameCurves") {
    Surface surface(support::grid(1, 1));
    Curves all = curvesOf(surface, {{{0.5, 0.25}, {1.0, 0.25}}, {{0.75, 0.0}, {0.75, 0.5}}});
    auto topology = std::make_unique<MeshCurveTopology>(surface.mesh, all, tolerance);
    MeshCurveTopology copy(*topology);
    std::string const nodes = allNodes(*topology);
    topology.reset();
    CHECK(allNodes(copy) == nodes);
    copy.trimInteriorEndPoints();
    CHECK(all.size() == 2);
}

namespace {

/// Which ends meet after joining, by comparing all pairs of curves.
struct PairwiseEnds {
    std::vector<std::array<int, 2>> object;  // of each curve's two ends

    PairwiseEnds(Curves const& all, double reach) {
        std::vector<TopoMeshPoint const*> points;
        for (Curve const& curve : all) {
            int const n = static_cast<int>(points.size());
            object.push_back({n, n + 1});
            points.insert(points.end(), {curve.front().get(), curve.back().get()});
        }
        auto const meet = [&](int a, int b) {
            return MeshCurveTopology::equivalent(*points[static_cast<std::size_t>(a)],
                                                 *points[static_cast<std::size_t>(b)], reach);
        };
        auto const merge = [&](int keep, int gone) {
            for (auto& ends : object)
                for (int& end : ends)
                    if (end == gone)
                        end = keep;
        };
        for (auto& ends : object)
            if (meet(ends[0], ends[1]))
                merge(ends[0], ends[1]);
        for (std::size_t i = 0; i < object.size(); ++i) {
            for (std::size_t j = i + 1; j < object.size(); ++j) {
                if (object[i][0] == object[i][1] || object[j][0] == object[j][1])
                    continue;
                int refs[4] = {object[i][0], object[i][1], object[j][0], object[j][1]};
                for (auto const& [keep, gone] : {std::array{0, 2}, {0, 3}, {1, 2}, {1, 3}}) {
                    if (refs[keep] < 0 || refs[gone] < 0 || !meet(refs[keep], refs[gone]))
                        continue;
                    merge(refs[keep], refs[gone]);
                    refs[keep] = refs[gone] = -1;
                }
            }
        }
    }
};

}  // namespace

TEST_CASE("joinsTheEndsThatAComparisonOfAllPairsJoins") {
    Surface surface(support::grid(1, 1));
    for (std::uint64_t seed = 0; seed < 30; ++seed) {
        support::Random random(seed);
        double const reach = random.index(2) == 0 ? 1e-6 : 0.02;
        Curves all;
        for (int i = 0; i < 60; ++i) {
            // A lattice with some noise about as large as the reach: chains of neighbours, near misses.
            auto const place = [&] {
                double const x = 0.3 + 0.04 * (1 + random.index(8)) + random.real(-0.012, 0.012);
                double const y = 0.02 + 0.03 * random.index(6) + random.real(-0.012, 0.012);
                return Point2(x, std::max(y, 0.01));
            };
            Polyline const line = surface.polyline({place(), place(), place()});
            all.emplace_back();
            for (TopoMeshCoord const& coord : line)
                all.back().push_back(new TopoMeshPoint(coord, 1e-9));
        }
        Curves none;
        PairwiseEnds const expected(all, reach);
        // The steps alone, on copies of the lists that share the objects.
        MeshCurveTopology topology(surface.mesh, none, reach);
        topology.getCurves() = all;
        topology.createIPoints();
        topology.linkCurves();
        std::map<TopoMeshPoint const*, int> objects;
        std::map<int, TopoMeshPoint const*> inverse;
        std::size_t i = 0;
        for (Curve const& curve : topology.getCurves()) {
            for (int side = 0; side < 2; ++side) {
                auto const* const point = (side == 0 ? curve.front() : curve.back()).get();
                int const number = expected.object[i][static_cast<std::size_t>(side)];
                CHECK(objects.try_emplace(point, number).first->second == number);
                CHECK(inverse.try_emplace(number, point).first->second == point);
            }
            ++i;
        }
        CHECK(i == expected.object.size());
    }
}

TEST_CASE("endsAndRepeatsOnHostileCurves") {
    double const bad[] = {std::numeric_limits<double>::quiet_NaN(),
                          std::numeric_limits<double>::infinity(),
                          1e300,
                          -1e300,
                          1e-320,
                          1e18,
                          -3.0};
    for (std::uint64_t seed = 0; seed < 120; ++seed) {
        CAPTURE(seed);
        std::string nodes[2];
        for (std::string& text : nodes) {
            support::Random random(seed);
            Surface surface(seed % 2 == 0 ? support::grid(2, 2) : support::sphere(1));
            double const reach = std::array{0.0, 1e-6, 0.05, 1e300}[seed % 4];
            Curves all;
            for (int i = 0; i < 4; ++i) {
                Polyline walk = curves::randomWalk(surface, random, seed % 3 == 0, 12);
                for (int k = 0; k < 2; ++k)
                    walk[static_cast<std::size_t>(random.index(static_cast<int>(walk.size())))]
                        .weights[random.index(3)] = bad[random.index(7)];
                MeshCurveTopology::convert(all, walk, reach);
            }
            MeshCurveTopology::extend(all, reach);
            MeshCurveTopology topology(surface.mesh, all, reach);
            topology.trimInteriorEndPoints();
            text = allNodes(topology);
            // Each use of a point of the graph stands at a node that holds it.
            for (auto const& [point, at] : topology.getIPoints())
                for (auto const& use : at.uses)
                    CHECK(*use.node == point);
        }
        CHECK(nodes[0] == nodes[1]);
    }
}
