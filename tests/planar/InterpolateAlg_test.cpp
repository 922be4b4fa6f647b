#include "support/builders.h"

#include "trimora/planar/InterpolateAlg.h"

#include <cmath>
#include <doctest/doctest.h>
#include <vector>

using namespace koGeom;
using Hint = InterpolateAlg::EInterpolationHint;

namespace {

using Doubles = std::vector<double>;

struct Spline {
    Doubles b, c, d;

    explicit Spline(std::size_t n) : b(n), c(n), d(n) {}
};

/// n rising samples of noise.
struct Samples {
    Doubles x, y;

    Samples(int n, std::uint64_t seed) {
        support::Random random(seed);
        double at = -2.0;
        for (int i = 0; i < n; ++i) {
            at += random.real(0.2, 1.0);
            x.push_back(at);
            y.push_back(random.real(-1.0, 1.0));
        }
    }
    int count() { return static_cast<int>(x.size()); }
    ko::vector<Point2Flt> asPoints() const {
        ko::vector<Point2Flt> points;
        for (std::size_t i = 0; i < x.size(); ++i)
            points.push_back({static_cast<float>(x[i]), static_cast<float>(y[i])});
        return points;
    }
};

Spline notAKnot(Samples& s) {
    Spline spline(s.x.size());
    InterpolateAlg::cubic_nak(s.count(), s.x.data(), s.y.data(), spline.b.data(), spline.c.data(),
                              spline.d.data());
    return spline;
}

Spline clamped(Samples& s, double first, double last) {
    Spline spline(s.x.size());
    InterpolateAlg::cubic_clamped(s.count(), s.x.data(), s.y.data(), spline.b.data(),
                                  spline.c.data(), spline.d.data(), first, last);
    return spline;
}

double valueAt(Samples& s, Spline& p, double t) {
    return InterpolateAlg::spline_eval(s.count(), s.x.data(), s.y.data(), p.b.data(), p.c.data(),
                                       p.d.data(), t);
}

/// Gauss with row pivots; a is row-major, b becomes the solution.
void solveDense(Doubles& a, Doubles& b) {
    std::size_t const n = b.size();
    for (std::size_t k = 0; k < n; ++k) {
        std::size_t best = k;
        for (std::size_t row = k; row < n; ++row)
            if (std::abs(a[row * n + k]) > std::abs(a[best * n + k]))
                best = row;
        for (std::size_t column = 0; column < n; ++column)
            std::swap(a[k * n + column], a[best * n + column]);
        std::swap(b[k], b[best]);
        for (std::size_t row = 0; row < n; ++row) {
            if (row == k)
                continue;
            double const factor = a[row * n + k] / a[k * n + k];
            for (std::size_t column = k; column < n; ++column)
                a[row * n + column] -= factor * a[k * n + column];
            b[row] -= factor * b[k];
        }
    }
    for (std::size_t k = 0; k < n; ++k)
        b[k] /= a[k * n + k];
}

/// The spline out of its definition: unknowns b, c, d of every interval, one row a condition.
Doubles denseSpline(Samples const& s, bool isClamped, double firstSlope, double lastSlope) {
    std::size_t const m = s.x.size() - 1, n = 3 * m;
    Doubles a(n * n), rhs(n);
    std::size_t row = 0;
    auto const put = [&](std::size_t interval, int which, double value) {
        a[row * n + 3 * interval + static_cast<std::size_t>(which)] += value;
    };
    for (std::size_t i = 0; i < m; ++i, ++row) {  // through the next sample
        double const h = s.x[i + 1] - s.x[i];
        put(i, 0, h), put(i, 1, h * h), put(i, 2, h * h * h);
        rhs[row] = s.y[i + 1] - s.y[i];
    }
    for (std::size_t i = 0; i + 1 < m; ++i) {
        double const h = s.x[i + 1] - s.x[i];
        put(i, 0, 1.0), put(i, 1, 2.0 * h), put(i, 2, 3.0 * h * h), put(i + 1, 0, -1.0), ++row;
        put(i, 1, 2.0), put(i, 2, 6.0 * h), put(i + 1, 1, -2.0), ++row;
    }
    if (isClamped) {
        double const h = s.x[m] - s.x[m - 1];
        put(0, 0, 1.0), rhs[row++] = firstSlope;
        put(m - 1, 0, 1.0), put(m - 1, 1, 2.0 * h), put(m - 1, 2, 3.0 * h * h);
        rhs[row++] = lastSlope;
    } else {
        put(0, 2, 1.0), put(1, 2, -1.0), ++row;
        put(m - 2, 2, 1.0), put(m - 1, 2, -1.0), ++row;
    }
    REQUIRE(row == n);
    solveDense(a, rhs);
    return rhs;
}

void checkEqual(Spline const& spline, Doubles const& dense) {
    for (std::size_t i = 0; 3 * i < dense.size(); ++i) {
        CHECK(spline.b[i] == doctest::Approx(dense[3 * i]).epsilon(1e-9));
        CHECK(spline.c[i] == doctest::Approx(dense[3 * i + 1]).epsilon(1e-9));
        CHECK(spline.d[i] == doctest::Approx(dense[3 * i + 2]).epsilon(1e-9));
    }
}

double cubic(double t) {
    return ((0.5 * t - 1.0) * t + 3.0) * t - 2.0;
}

}  // namespace

TEST_CASE("splinesAgreeWithADenseSolve") {
    for (int n = 4; n <= 12; ++n) {
        Samples samples(n, static_cast<std::uint64_t>(n));
        checkEqual(notAKnot(samples), denseSpline(samples, false, 0.0, 0.0));
    }
    for (int n = 2; n <= 9; ++n) {
        Samples samples(n, 100u + static_cast<std::uint64_t>(n));
        checkEqual(clamped(samples, 0.7, -2.0), denseSpline(samples, true, 0.7, -2.0));
    }
}

TEST_CASE("splinesReproduceCubicsInsideAndBeyond") {
    for (int n : {4, 5, 9}) {
        Samples samples(n, 40u + static_cast<std::uint64_t>(n));
        for (std::size_t i = 0; i < samples.x.size(); ++i)
            samples.y[i] = cubic(samples.x[i]);
        double const first = samples.x.front(), last = samples.x.back();
        auto const slope = [](double t) { return (1.5 * t - 2.0) * t + 3.0; };
        Spline free = notAKnot(samples);
        Spline fixed = clamped(samples, slope(first), slope(last));
        for (double t = first - 1.0; t < last + 1.0; t += 0.03) {
            CHECK(valueAt(samples, free, t) == doctest::Approx(cubic(t)).epsilon(1e-9));
            CHECK(valueAt(samples, fixed, t) == doctest::Approx(cubic(t)).epsilon(1e-9));
        }
    }
}

TEST_CASE("everyHintTakesEffectAtOnce") {
    Samples const samples(6, 8);
    ko::vector<Point2Flt> const points = samples.asPoints();
    InterpolateAlg alg;
    alg.setInput(points);
    Samples exact(6, 8);  // as the floats have it
    for (std::size_t i = 0; i < points.size(); ++i) {
        exact.x[i] = points[i].x;
        exact.y[i] = points[i].y;
    }
    Spline spline = notAKnot(exact);
    Doubles newton(6);
    InterpolateAlg::divdiff(6, exact.x.data(), exact.y.data(), newton.data());
    auto const evaluate = [&](Hint hint, double t) {
        alg.setInterpolationHint(hint);
        return alg.evaluate(t);
    };
    for (double t = -3.0; t < 4.0; t += 0.37) {
        double* const x = exact.x.data();
        double* const y = exact.y.data();
        double const polynomial = InterpolateAlg::neville(6, x, y, t);
        CHECK(evaluate(Hint::Neville, t) == polynomial);
        CHECK(evaluate(Hint::CubicSpline, t) == valueAt(exact, spline, t));
        CHECK(evaluate(Hint::DividedDifferences, t) ==
              InterpolateAlg::nf_eval(6, x, newton.data(), t));
        CHECK(alg.evaluate(t) == doctest::Approx(polynomial).epsilon(1e-9));
        CHECK(evaluate(Hint::PiecewiseLinear, t) == InterpolateAlg::simpleLinear(6, x, y, t));
        CHECK(evaluate(static_cast<Hint>(4), t) == valueAt(exact, spline, t));
    }
    for (std::size_t i = 0; i < 6; ++i)
        for (Hint hint :
             {Hint::CubicSpline, Hint::Neville, Hint::DividedDifferences, Hint::PiecewiseLinear})
            CHECK(evaluate(hint, exact.x[i]) == doctest::Approx(exact.y[i]).epsilon(1e-12));

    alg.setInput({{0.0f, 1.0f}, {1.0f, 3.0f}, {2.0f, 5.0f}, {3.0f, 7.0f}});
    for (int hint = 0; hint < 5; ++hint)
        CHECK(evaluate(static_cast<Hint>(hint), 1.25) == doctest::Approx(3.5));
    alg.release();
    CHECK(alg.evaluate(-2.0) == doctest::Approx(-3.0));
}

TEST_CASE("linesGoOnBeyondTheSamples") {
    double x[] = {0.0, 1.0, 3.0}, y[] = {0.0, 2.0, 0.0};
    CHECK(InterpolateAlg::simpleLinear(0.0, 1.0, 2.0, 5.0, 0.5) == 2.0);
    for (auto const& [t, value] :
         {std::pair(-1.0, -2.0), {0.5, 1.0}, {1.0, 2.0}, {2.0, 1.0}, {3.0, 0.0}, {5.0, -2.0}})
        CHECK(InterpolateAlg::simpleLinear(3, x, y, t) == value);
}

TEST_CASE("fewSamplesGiveStraightLines") {
    InterpolateAlg alg;
    ko::vector<Point2Flt> points;
    double const expected[4][2] = {{0.0, 0.0}, {3.0, 3.0}, {2.0, 1.0}, {2.0, 2.0}};
    Point2Flt const samples[3] = {{0.0f, 3.0f}, {1.0f, 2.0f}, {2.0f, 2.0f}};
    for (int n = 0; n < 4; ++n) {
        alg.setInput(points);
        for (int hint : {0, 3, 7}) {
            alg.setInterpolationHint(static_cast<Hint>(hint));
            CHECK(alg.evaluate(1.0) == expected[n][0]);
            CHECK(alg.evaluate(2.0) == expected[n][1]);
        }
        for (Hint hint : {Hint::Neville, Hint::DividedDifferences}) {
            alg.setInterpolationHint(hint);
            CHECK(alg.evaluate(1.0) == doctest::Approx(expected[n][0]));
        }
        if (n < 3)
            points.push_back(samples[n]);
    }

    Samples three(3, 1);
    Spline pieces = notAKnot(three);
    for (double t = -3.0; t < 3.0; t += 0.4)
        CHECK(valueAt(three, pieces, t) ==
              doctest::Approx(InterpolateAlg::simpleLinear(3, three.x.data(), three.y.data(), t)));
}
