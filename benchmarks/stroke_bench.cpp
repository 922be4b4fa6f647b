#include "harness.h"

#include "trimora/planar/Interpolate2D.h"
#include "trimora/planar/InterpolateAlg.h"
#include "trimora/planar/Smooth2D.h"

#include <cmath>
#include <string>

namespace bench {

namespace {

using namespace koGeom;

Point2Flt loopsAt(int i) {
    float const angle = 0.01f * static_cast<float>(i);
    return {100.0f * std::cos(angle) + 0.05f * angle, 100.0f * std::sin(2.0f * angle)};
}

/// Steps along a stroke of loops until there are as many as asked for; a check figure of where they went.
double walk(Interpolate2D& walker, int numSteps) {
    Point2Flt p;
    double sum = 0.0;
    float param = 0.0f;
    for (int i = 0, done = 0; done < numSteps; ++i) {
        walker.add_point(loopsAt(i));
        for (; done < numSteps && walker.interpolate(0.01f, p, &param); ++done)
            sum += double(p.x) + double(p.y) + double(param);
    }
    return sum / numSteps;
}

template <typename Walker>
void strokeCase(char const* job) {
    int const numSteps = 10'000'000;
    double mean = 0.0;
    Case each;
    each.job = job;
    each.mesh = "10M steps";
    each.items = numSteps;
    each.body = [&] {
        Walker walker;
        mean = walk(walker, numSteps);
    };
    each.check = [&] { return figure("mean", mean); };
    run(each, {1});
}

void splineCase(int numSamples, int numQueries) {
    ko::vector<Point2Flt> samples;
    for (int i = 0; i < numSamples; ++i)
        samples.push_back({static_cast<float>(i), std::sin(0.3f * static_cast<float>(i))});
    double largest = 0.0;
    Case each;
    each.job = "spline_evaluate";
    each.mesh = std::to_string(numSamples) + " samples";
    each.items = numQueries;
    each.body = [&] {
        InterpolateAlg alg;
        alg.setInput(samples);
        largest = 0.0;
        for (int i = 0; i < numQueries; ++i) {
            double const t = 5.0 + (numSamples - 10.0) * i / numQueries;
            largest = std::max(largest, std::abs(alg.evaluate(t) - std::sin(0.3 * t)));
        }
    };
    each.check = [&] { return figure("largest_error", largest); };
    run(each, {1});
}

}  // namespace

void strokeCases() {
    strokeCase<FltInterpolate2D>("stroke_steps");
    strokeCase<SmoothInterpolate2D>("stroke_smooth_steps");
    splineCase(100, 1'000'000);
}

}  // namespace bench
