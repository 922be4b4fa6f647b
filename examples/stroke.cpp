// A pen stroke as a drawing program gets it: few samples, far apart. Smoothed, and walked at even steps for the brush.

#include "svg.h"

#include "trimora/trimora.h"

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using namespace koGeom;

std::vector<Point2Flt> penSamples() {
    std::vector<Point2Flt> samples;
    for (int i = 0; i < 40; ++i) {
        float const t = 0.25f * static_cast<float>(i);
        samples.push_back({10.0f * t, 20.0f * std::sin(t) + (i % 2 == 0 ? 1.5f : -1.5f)});
    }
    return samples;
}

std::vector<Point2Flt> walk(Interpolate2D& walker, std::vector<Point2Flt> const& samples,
                            float step) {
    std::vector<Point2Flt> points;
    for (Point2Flt const& sample : samples) {
        walker.add_point(sample);
        for (Point2Flt p; walker.interpolate(step, p, nullptr);)
            points.push_back(p);
    }
    return points;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Point2Flt> const samples = penSamples();
    FltInterpolate2D plain;
    SmoothInterpolate2D smooth;
    std::vector<Point2Flt> const dabs = walk(plain, samples, 3.0f);
    std::vector<Point2Flt> const smoothDabs = walk(smooth, samples, 3.0f);
    std::printf("%d samples, %d dabs at even steps, %d smoothed\n",
                static_cast<int>(samples.size()), static_cast<int>(dabs.size()),
                static_cast<int>(smoothDabs.size()));

    // Pressure was told at a few places only; a spline gives it everywhere.
    InterpolateAlg pressure;
    pressure.setInput({{0.0f, 1.0f}, {25.0f, 4.0f}, {50.0f, 2.0f}, {75.0f, 5.0f}, {100.0f, 1.0f}});

    Svg picture({{-5.0, -30.0}, {105.0, 30.0}});
    picture.polyline(samples, "#bbb");
    for (Point2Flt const& p : dabs)
        picture.circle(p, 1.5, "#bbb");
    for (Point2Flt const& p : smoothDabs)
        picture.circle(p, pressure.evaluate(double(p.x)), "teal");
    if (!picture.write(argc > 1 ? argv[1] : "stroke.svg"))
        return 1;
    return smoothDabs.size() > samples.size() ? 0 : 1;
}
