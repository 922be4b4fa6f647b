#include "harness.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/planar/PolylineBBoxCache.h"
#include "trimora/planar/convexHull2d.h"
#include "trimora/planar/minAreaBound.h"
#include "trimora/planar/overlap.h"

#include <cmath>
#include <numbers>
#include <random>
#include <string>

#ifdef TRIMORA_BENCH_CGAL
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_2.h>
#include <CGAL/convex_hull_2.h>
#include <CGAL/min_quadrilateral_2.h>
#endif

namespace bench {

namespace {

using namespace koGeom;
using Points = ko::vector<Point2>;

constexpr int numPoints = 1000000;

struct NamedPoints {
    std::string name;
    Points points;
};

/// Few corners, a few hundred, all points, and a set most of which lies deep inside.
std::vector<NamedPoints> pointSets() {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    std::normal_distribution<double> normal;
    std::vector<NamedPoints> sets = {{"square", {}}, {"disk", {}}, {"circle", {}}, {"normal", {}}};
    for (int i = 0; i < numPoints; ++i) {
        double const angle = 2.0 * std::numbers::pi * uniform(random);
        double const radius = std::sqrt(uniform(random));
        sets[0].points.emplace_back(uniform(random), uniform(random));
        sets[1].points.emplace_back(radius * std::cos(angle), radius * std::sin(angle));
        sets[2].points.emplace_back(std::cos(angle), std::sin(angle));
        sets[3].points.emplace_back(normal(random), normal(random));
    }
    return sets;
}

#ifdef TRIMORA_BENCH_CGAL
using PeerKernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using PeerPoint = PeerKernel::Point_2;

void peerCases(NamedPoints const& set) {
    std::vector<PeerPoint> points;
    for (Point2 const& p : set.points)
        points.emplace_back(p.x, p.y);
    std::vector<PeerPoint> hull;
    std::vector<PeerPoint> rectangle;
    auto const findHull = [&] {
        hull.clear();
        CGAL::convex_hull_2(points.begin(), points.end(), std::back_inserter(hull));
    };
    run({"hull", set.name, numPoints, 0.0, [] {}, findHull,
         [&] { return figure("corners", static_cast<double>(hull.size())); }, "CGAL"},
        {1});
    run({"least_rectangle", set.name, numPoints, 0.0, [] {},
         [&] {
             findHull();
             rectangle.clear();
             CGAL::min_rectangle_2(hull.begin(), hull.end(), std::back_inserter(rectangle));
         },
         [&] {
             return figure("area", std::sqrt(CGAL::squared_distance(rectangle[0], rectangle[1]) *
                                             CGAL::squared_distance(rectangle[1], rectangle[2])));
         },
         "CGAL"},
        {1});
}
#endif

void pointCases(NamedPoints const& set) {
    ko::vector<int> hull;
    run({"hull", set.name, numPoints, 0.0, [] {}, [&] { convexHull2d(set.points, hull); },
         [&] { return figure("corners", static_cast<double>(hull.size())); }},
        {1});

    Polyline2d const polyline(set.points, {});
    Rect2 rect;
    float anisotropy = 0.0f;
    run({"least_rectangle", set.name, numPoints, 0.0, [] {},
         [&] { minAreaBound(ko::vector<Polyline2d const*>{&polyline}, 0.0, rect, anisotropy); },
         [&] {
             return figure("area", distance(rect.p0, rect.p1) * distance(rect.p0, rect.p2)) +
                    figure("anisotropy", double(anisotropy));
         }},
        {1});
}

/// A coil of many turns, moved aside by an offset.
ko::Reference<Polyline> coil(int numVertices, double offset) {
    ko::vector<Polyline::vertex> vertices;
    for (int i = 0; i < numVertices; ++i) {
        double const angle = 0.05 * i;
        vertices.emplace_back((10.0 + offset) * std::cos(angle), (10.0 + offset) * std::sin(angle),
                              0.1 * angle, i);
    }
    return ko::Reference<Polyline>(new Polyline(numVertices, vertices.data()));
}

void overlapCase() {
    constexpr int numVertices = 10000;
    ko::Reference<Polyline> const a = coil(numVertices, 0.01);
    ko::Reference<Polyline> const b = coil(numVertices, 0.0);
    PolylineBBoxCache cache(*b);
    cache.getSegmentBBox(0);
    Range1d rangeA;
    Range1d rangeB;
    double area = 0.0;
    double maxDistance = 0.0;
    double length = 0.0;
    bool reversed = false;
    run({"overlap_cached", "coils_10k", numVertices, 0.0, [] {},
         [&] {
             overlap(*a, *b, cache, 0.05, 0.0, false, rangeA, rangeB, area, maxDistance, length,
                     reversed);
         },
         [&] { return figure("length", length) + figure("area", area); }},
        {1});
}

}  // namespace

void hullCases() {
    for (NamedPoints const& set : pointSets()) {
        pointCases(set);
#ifdef TRIMORA_BENCH_CGAL
        peerCases(set);
#endif
    }
    overlapCase();
}

}  // namespace bench
