#include "harness.h"

#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/planar/pack.h"
#include "trimora/planar/polygonRelations.h"

#include <cmath>
#include <numbers>
#include <random>
#include <string>

namespace bench {

namespace {

using namespace koGeom;

/// Numbers in [0, 1) that are the same everywhere.
class Noise {
public:
    double next() { return static_cast<double>(generator_() >> 11) * 0x1p-53; }

private:
    std::mt19937_64 generator_;
};

ko::vector<Point2> ring(int numCorners, double jaggedness, double middle) {
    Noise noise;
    ko::vector<Point2> points;
    for (int i = 0; i < numCorners; ++i) {
        double const angle = 2.0 * std::numbers::pi * (i + 0.3) / numCorners;
        double const radius = 1.0 - jaggedness * noise.next();
        points.emplace_back(middle + radius * std::cos(angle), radius * std::sin(angle));
    }
    points.push_back(Point2(points.front()));
    return points;
}

Polyline2d polylineOf(ko::vector<Point2> const& points) {
    Polyline2d polyline;
    for (Point2 const& point : points)
        polyline.appendVertex(point);
    return polyline;
}

/// A million points against one polygon, whose corners go round or jump about.
void pointCases() {
    constexpr int numPoints = 1000000;
    Noise noise;
    ko::vector<Point2> points;
    for (int i = 0; i < numPoints; ++i) {
        double const x = 2.2 * noise.next() - 1.1;
        points.emplace_back(x, 2.2 * noise.next() - 1.1);
    }
    for (double const jaggedness : {0.0, 0.5}) {
        ko::vector<Point2> const polygon = ring(1000, jaggedness, 0.0);
        int counts[3] = {};
        run({"point_in_polygon", jaggedness > 0.0 ? "jagged_1000" : "round_1000", 0, numPoints,
             [&] { counts[0] = counts[1] = counts[2] = 0; },
             [&] {
                 for (Point2 const& point : points) {
                     pointPolygonRelation relation = pointOutside;
                     isPointInPolygon(point, polygon, relation, 1e-9);
                     ++counts[relation];
                 }
             },
             [&] { return figure("inside", counts[pointInside]); }},
            {1});
    }
}

/// Two round polygons of which a third is common.
void intersectionCase(int numCorners) {
    Polyline2d const first = polylineOf(ring(numCorners, 0.0, 0.0));
    Polyline2d const second = polylineOf(ring(numCorners, 0.0, 0.7));
    Polyline2d result;
    EPolygonsIntersection status = polygonsInvalid;
    run({"intersect_polygons", "round_" + std::to_string(numCorners), 0, 2.0 * numCorners, [] {},
         [&] { intersectPolygons(first, second, status, result, 1e-6); },
         [&] {
             return figure("status", status) + figure("corners", result.getNumVertices()) +
                    figure("width", result.getBoundingBox().size().x);
         }},
        {1});
}

/// Sides from a twentieth to the whole of `largest`; one try, or tries until all fit.
void packCases() {
    constexpr int numRects = 10000;
    auto const rectsUpTo = [](double largest) {
        Noise noise;
        ko::vector<Range2d> rects;
        for (int i = 0; i < numRects; ++i) {
            double const width = largest * (0.05 + 0.95 * noise.next());
            rects.emplace_back(0.0, 0.0, width, largest * (0.05 + 0.95 * noise.next()));
        }
        return rects;
    };
    ko::vector<Range2d> rects;
    double covered = 0.0;
    auto const check = [&] {
        covered = 0.0;
        for (Range2d const& rect : rects)
            covered += rect.area();
        return figure("covered", covered);
    };
    bool fits = false;
    run({"pack_once", "unsorted_10k", 0, numRects, [&] { rects = rectsUpTo(0.014); },
         [&] { fits = pack(rects); }, [&] { return check() + figure("fits", fits); }},
        {1});
    for (int const steps : {10, 100})
        run({"pack_steps_" + std::to_string(steps), "sorted_10k", 0, numRects,
             [&] { rects = rectsUpTo(0.03); }, [&] { pack(rects, steps); }, check},
            {1});
}

}  // namespace

void polygonCases() {
    pointCases();
    for (int const numCorners : {100, 1000, 10000})
        intersectionCase(numCorners);
    packCases();
}

}  // namespace bench
