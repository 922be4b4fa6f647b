// Bound pieces of a pattern: the convex hull of each, and the rectangle of least area round it with a margin for the cutter.

#include "svg.h"

#include "trimora/trimora.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace {

using namespace koGeom;

/// A leaf with a wavy rim, turned and moved.
Polyline2d leaf(double angle, Point2 const& place) {
    Polyline2d outline;
    for (int i = 0; i <= 120; ++i) {
        double const turn = 2.0 * 3.14159265358979 * i / 120.0;
        double const wave = 1.0 + 0.15 * std::cos(9.0 * turn);
        double const x = 4.0 * wave * std::cos(turn);
        double const y = 1.5 * wave * std::sin(turn) + 0.1 * x * x;
        outline.appendVertex({place.x + x * std::cos(angle) - y * std::sin(angle),
                              place.y + x * std::sin(angle) + y * std::cos(angle)});
    }
    return outline;
}

ko::vector<Point2> pointsOf(Polyline2d const& polyline) {
    ko::vector<Point2> points;
    for (int i = 0; i < polyline.getNumVertices(); ++i)
        points.push_back(polyline.getVertex(i));
    return points;
}

}  // namespace

int main(int argc, char** argv) {
    double const margin = 0.3;
    Svg picture({{-7.0, -7.0}, {28.0, 7.0}});
    for (int i = 0; i < 3; ++i) {
        Polyline2d const outline = leaf(0.4 + 0.8 * i, {10.5 * i, 0.0});
        ko::vector<Point2> const points = pointsOf(outline);
        ko::vector<Point2> hull;
        Rect2 rect;
        float anisotropy = 0.0f;
        if (!convexHull2d(points, hull))
            return 1;
        minAreaBound(ko::vector<Polyline2d const*>{&outline}, margin, rect, anisotropy);

        picture.polygon(std::array{rect.p0, rect.p1, rect.p3, rect.p2}, "#eee", "#888");
        picture.polygon(hull, "#cde8e4", "teal");
        picture.polyline(points, "#333");
        double const area = distance(rect.p0, rect.p1) * distance(rect.p0, rect.p2);
        std::printf("piece %d: %d points, %d on the hull, rectangle of %.2f, %.2f times better "
                    "than the worst\n",
                    i, static_cast<int>(points.size()), static_cast<int>(hull.size()), area,
                    static_cast<double>(anisotropy));
        if (hull.size() < 3 || anisotropy < 1.0f)
            return 1;
    }
    return picture.write(argc > 1 ? argv[1] : "hulls.svg") ? 0 : 1;
}
