// The charts of a texture atlas, as rectangles, packed into the unit square. They are shrunk together until they fit, so
// that a texel stays as large on one chart as on another.

#include "svg.h"

#include "trimora/trimora.h"

#include <cstdio>
#include <string>

namespace {

using namespace koGeom;

/// Sides between 0.3 and 3, small ones more often.
ko::vector<Range2d> makeCharts(int count) {
    srand48(7);
    auto const side = [] {
        double const x = drand48();
        return 0.3 + 2.7 * x * x * x;
    };
    ko::vector<Range2d> charts;
    for (int i = 0; i < count; ++i) {
        double const width = side();
        charts.emplace_back(0.0, 0.0, width, side());
    }
    return charts;
}

ko::vector<Point2> cornersOf(Range2d const& rect) {
    return {rect.lower, {rect.upper.x, rect.lower.y}, rect.upper, {rect.lower.x, rect.upper.y}};
}

}  // namespace

int main(int argc, char** argv) {
    ko::vector<Range2d> const charts = makeCharts(200);
    ko::vector<Range2d> placed = charts;
    pack(placed, 50);

    Svg picture(Range2d::unitSquare);
    picture.polygon(cornersOf(Range2d::unitSquare), "#333");
    char const* const colours[] = {"#7fb069", "#e6aa68", "#ca3c25", "#5b8e7d", "#8cb4d8"};
    double covered = 0.0;
    for (std::size_t i = 0; i < placed.size(); ++i) {
        picture.polygon(cornersOf(placed[i]), colours[i % 5], "white", 0.5);
        covered += placed[i].area();
    }
    std::printf("%d charts at %.1f %% of their size cover %.0f %% of the atlas\n",
                static_cast<int>(placed.size()), 100.0 * placed[0].size().x / charts[0].size().x,
                100.0 * covered);
    if (!picture.write(argc > 1 ? argv[1] : "atlas.svg"))
        return 1;
    return covered > 0.5 && covered <= 1.0 ? 0 : 1;
}
