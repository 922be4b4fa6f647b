// A drawn line made lighter, a point of it picked and one projected on it; and the outlines that a plane cuts from a surface,
// chained from loose segments.
//
//     example_polyline [PICTURE.svg]

#include "svg.h"

#include "trimora/trimora.h"

#include <cmath>
#include <cstdio>
#include <deque>

namespace {

using namespace koGeom;

/// A wave as a shaking hand would draw it.
ko::Reference<Polyline> drawWave() {
    ko::vector<Polyline::vertex> vertices;
    for (int i = 0; i <= 1000; ++i) {
        double const x = 0.01 * i;
        double const shake = 0.02 * std::sin(97.0 * i) * std::cos(31.0 * i);
        vertices.emplace_back(x, std::sin(x) + shake, 0.0, i);
    }
    return new Polyline(static_cast<int>(vertices.size()), vertices.data());
}

/// Three circles in segments that come and run as they like.
std::deque<Segment> cutCircles() {
    constexpr int perCircle = 60;
    std::deque<Segment> segments;
    for (int k = 0; k < 3 * perCircle; ++k) {
        int const i = 77 * k % (3 * perCircle);
        double const centre = 2.0 + 3.0 * (i / perCircle);
        double const angles[2] = {2.0 * std::acos(-1.0) * i / perCircle,
                                  2.0 * std::acos(-1.0) * (i + 1) / perCircle};
        double ends[2][3] = {};
        for (int end = 0; end < 2; ++end) {
            ends[end][0] = centre + std::cos(angles[end]);
            ends[end][1] = -3.0 + std::sin(angles[end]);
        }
        segments.emplace_back(ends[k % 2], ends[1 - k % 2]);
    }
    return segments;
}

ko::vector<Point> pointsOf(Polyline const& polyline) {
    ko::vector<Point> points;
    for (int i = 0; i < polyline.getNumVertices(); ++i)
        points.push_back(polyline.getVertex(i));
    return points;
}

}  // namespace

int main(int argc, char** argv) {
    ko::Reference<Polyline> const wave = drawWave();
    Svg picture(Range2d(0.0, -4.0, 10.0, 1.5));
    picture.polyline(pointsOf(*wave), "silver", 4.0);

    int const numDrawn = wave->getNumVertices();
    decimate(*wave, 0.05);
    std::printf("%d of %d vertices tell the wave within 0.05\n", wave->getNumVertices(), numDrawn);
    picture.polyline(pointsOf(*wave), "teal");
    for (Point const& point : pointsOf(*wave))
        picture.circle(point, 3.0, "teal");

    // A view ray down on the sheet, and a pen that is held beside the line. Parameters are still those of the drawing.
    ParamLine const ray(Point(5.0, -0.5, 10.0), Vector(0.0, 0.0, -1.0));
    double depth = 0.0;
    double picked = 0.0;
    if (!PolylineIntersectPt(*wave).intersect(ray, true, depth, picked))
        return 1;
    Point closest;
    double away = 0.0;
    Point const pen(2.5, 1.3, 0.0);
    double const projected = PolylineProjectPt(*wave).project(pen, closest, away);
    std::printf("picked at %.1f, %.2f below the eye; the pen is %.2f from %.1f\n", picked, depth,
                away, projected);
    picture.circle(wave->eval(picked), 6.0, "crimson");
    picture.text(wave->eval(picked) - Vector(0.2, 0.3, 0.0), "picked");
    picture.polyline(ko::vector<Point>{pen, closest}, "crimson");
    picture.text(pen, "projected");

    ko::vector<ko::Reference<Polyline>> chains;
    MergeSegments()(chains, cutCircles(), 1e-4f);
    bool areClosed = true;
    for (ko::Reference<Polyline> const& chain : chains) {
        areClosed = areClosed && chain->getClosed();
        picture.polygon(pointsOf(*chain), "lavender", "slateblue");
    }
    std::printf("180 segments are %zu outlines, %s\n", chains.size(),
                areClosed ? "closed" : "open");

    if (argc > 1 && !picture.write(argv[1]))
        return 1;
    return chains.size() == 3 && areClosed ? 0 : 1;
}
