// Two tracks of one road, recorded on different days: where do they run together, how far apart, and which way?

#include "svg.h"

#include "trimora/trimora.h"

#include <cmath>
#include <cstdio>

namespace {

using namespace koGeom;

/// The road between two places on it, recorded with an error that changes slowly; it turns off at the end.
ko::Reference<Polyline> track(double from, double to, double error, double turnOff) {
    ko::vector<Polyline::vertex> vertices;
    for (int i = 0; i <= 60; ++i) {
        double const x = from + (to - from) * i / 60.0;
        double const off = i > 45 ? turnOff * (i - 45) : 0.0;
        vertices.emplace_back(x, 3.0 * std::sin(0.5 * x) + error * std::cos(1.7 * x) + off, 0.0, i);
    }
    return ko::Reference<Polyline>(
        new Polyline(static_cast<int>(vertices.size()), vertices.data()));
}

/// The points of a part of a track.
ko::vector<Point> partOf(Polyline const& polyline, Range1d const& range) {
    ko::vector<Point> points;
    for (int i = 0; i <= 100; ++i)
        points.push_back(polyline.eval(range.lower + range.size() * i / 100.0));
    return points;
}

}  // namespace

int main(int argc, char** argv) {
    ko::Reference<Polyline> const first = track(0.0, 20.0, 0.05, 0.3);
    ko::Reference<Polyline> const second = track(24.0, 3.0, 0.08, -0.2);
    Range1d onFirst;
    Range1d onSecond;
    double area = 0.0;
    double maxDistance = 0.0;
    double length = 0.0;
    bool reversed = false;
    if (!overlap(*first, *second, 0.25, 0.1, true, onFirst, onSecond, area, maxDistance, length,
                 reversed))
        return 1;
    std::printf("together for %.2f, at most %.2f apart, %.2f on average, %s\n", length, maxDistance,
                area / length, reversed ? "in opposite directions" : "in the same direction");

    Svg picture({{-1.0, -6.0}, {25.0, 9.0}});
    picture.polyline(partOf(*first, onFirst), "gold", 12.0);
    picture.polyline(partOf(*first, first->getDomain()), "teal", 2.0);
    picture.polyline(partOf(*second, second->getDomain()), "#c33", 2.0);
    if (!picture.write(argc > 1 ? argv[1] : "overlap.svg"))
        return 1;
    return reversed && maxDistance < 0.25 ? 0 : 1;
}
