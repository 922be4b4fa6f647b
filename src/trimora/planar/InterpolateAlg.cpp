#include "trimora/planar/InterpolateAlg.h"

#include <algorithm>
#include <utility>

namespace koGeom {

namespace {

using Doubles = ko::vector<double>;

/// The end of the interval that t falls into: 1 or more, n - 1 for all beyond.
int intervalEnd(int n, double const* x, double t) {
    int i = 1;
    while (i < n - 1 && !(x[i] > t))
        ++i;
    return i;
}

Doubles intervalLengths(int n, double const* x) {
    Doubles h(static_cast<std::size_t>(n));
    for (int i = 0; i + 1 < n; ++i)
        h[static_cast<std::size_t>(i)] = x[i + 1] - x[i];
    return h;
}

/// Right side of a spline's system for the sample in the middle of the intervals i and i + 1.
double bendAt(int i, double const* y, double const* h) {
    return (y[i + 2] - y[i + 1]) * (3.0 / h[i + 1]) - (y[i + 1] - y[i]) * (3.0 / h[i]);
}

/// The other two coefficients from the second ones.
void finishSpline(int n, double const* y, double const* h, double* b, double const* c, double* d) {
    for (int i = 0; i + 1 < n; ++i) {
        d[i] = (c[i + 1] - c[i]) / (3.0 * h[i]);
        b[i] = (y[i + 1] - y[i]) / h[i] - (2.0 * c[i] + c[i + 1]) * h[i] / 3.0;
    }
}

void straightPieces(int n, double const* x, double const* y, double* b, double* c, double* d) {
    for (int i = 0; i < n; ++i)
        b[i] = c[i] = d[i] = 0.0;
    for (int i = 0; i + 1 < n; ++i)
        b[i] = (y[i + 1] - y[i]) / (x[i + 1] - x[i]);
}

}  // namespace

InterpolateAlg::~InterpolateAlg() = default;

void InterpolateAlg::setInput(ko::vector<Point2Flt> const& points) {
    input_ = points;
    release();
}

void InterpolateAlg::release() {
    for (Doubles* table : {&xs_, &ys_, &coefficients_, &splineB_, &splineC_, &splineD_})
        Doubles().swap(*table);
}

// Tables are made whole before any is kept: running out of memory leaves none of them half made.
void InterpolateAlg::makeSamples() {
    Doubles xs, ys;
    xs.reserve(input_.size());
    ys.reserve(input_.size());
    for (Point2Flt const& p : input_) {
        xs.push_back(p.x);
        ys.push_back(p.y);
    }
    xs_ = std::move(xs);
    ys_ = std::move(ys);
}

void InterpolateAlg::makeSpline() {
    Doubles b(xs_.size()), c(xs_.size()), d(xs_.size());
    cubic_nak(static_cast<int>(xs_.size()), xs_.data(), ys_.data(), b.data(), c.data(), d.data());
    splineB_ = std::move(b);
    splineC_ = std::move(c);
    splineD_ = std::move(d);
}

double InterpolateAlg::evaluate(double t) {
    if (input_.empty())
        return 0.0;

    if (xs_.empty())
        makeSamples();
    int const n = static_cast<int>(xs_.size());
    switch (hint_) {
    case EInterpolationHint::Neville:
        return neville(n, xs_.data(), ys_.data(), t);
    case EInterpolationHint::DividedDifferences:
        if (coefficients_.empty()) {
            Doubles c(xs_.size());
            divdiff(n, xs_.data(), ys_.data(), c.data());
            coefficients_ = std::move(c);
        }
        return nf_eval(n, xs_.data(), coefficients_.data(), t);
    case EInterpolationHint::PiecewiseLinear:
        return simpleLinear(n, xs_.data(), ys_.data(), t);
    case EInterpolationHint::CubicSpline:
        break;
    }

    if (n < 4)
        return simpleLinear(n, xs_.data(), ys_.data(), t);
    if (splineB_.empty())
        makeSpline();
    return spline_eval(n, xs_.data(), ys_.data(), splineB_.data(), splineC_.data(), splineD_.data(),
                       t);
}

double InterpolateAlg::simpleLinear(double x0, double y0, double x1, double y1, double t) {
    return (t - x0) * (y1 - y0) / (x1 - x0) + y0;
}

double InterpolateAlg::simpleLinear(int n, double* x, double* y, double t) {
    if (n < 2)
        return n < 1 ? 0.0 : y[0];
    int const i = intervalEnd(n, x, t);
    return simpleLinear(x[i - 1], y[i - 1], x[i], y[i], t);
}

double InterpolateAlg::neville(int n, double* x, double* y, double t) {
    if (n < 1)
        return 0.0;
    Doubles scratch(y, y + n);
    double* const q = scratch.data();
    for (int i = 1; i < n; ++i)
        for (int j = n - 1; j >= i; --j)
            q[j] = ((t - x[j - i]) * q[j] - (t - x[j]) * q[j - 1]) / (x[j] - x[j - i]);
    return q[n - 1];
}

void InterpolateAlg::divdiff(int n, double* x, double* y, double* c) {
    if (n < 1)
        return;
    std::copy(y, y + n, c);
    for (int j = 1; j < n; ++j)
        for (int i = n - 1; i >= j; --i)
            c[i] = (c[i] - c[i - 1]) / (x[i] - x[i - j]);
}

double InterpolateAlg::nf_eval(int n, double* x, double* c, double t) {
    if (n < 1)
        return 0.0;
    double result = c[n - 1];
    for (int i = n - 2; i >= 0; --i)
        result = (t - x[i]) * result + c[i];
    return result;
}

void InterpolateAlg::tridiagonal(int n, double* sub, double* diag, double* sup, double* rhs) {
    if (n < 1)
        return;
    for (int i = 0; i < n - 1; ++i) {
        sup[i] /= diag[i];
        diag[i + 1] -= sub[i] * sup[i];
    }
    rhs[0] /= diag[0];
    for (int i = 1; i < n; ++i)
        rhs[i] = (rhs[i] - sub[i - 1] * rhs[i - 1]) / diag[i];
    for (int i = n - 2; i >= 0; --i)
        rhs[i] -= sup[i] * rhs[i + 1];
}

void InterpolateAlg::cubic_nak(int n, double* x, double* y, double* b, double* c, double* d) {
    if (n < 4) {
        straightPieces(n, x, y, b, c, d);
        return;
    }

    Doubles const lengths = intervalLengths(n, x);
    double const* const h = lengths.data();
    auto const size = static_cast<std::size_t>(n);
    Doubles lower(size), middle(size), upper(size);
    double* const sub = lower.data();
    double* const diag = middle.data();
    double* const sup = upper.data();

    for (int i = 0; i <= n - 4; ++i)
        sub[i] = sup[i] = h[i + 1];
    for (int i = 0; i <= n - 3; ++i) {
        diag[i] = 2.0 * (h[i] + h[i + 1]);
        c[i] = bendAt(i, y, h);
    }
    // The third derivative is the same on both sides of the second sample, and of the last but one.
    diag[0] += h[0] * h[0] / h[1] + h[0];
    diag[n - 3] += h[n - 2] * h[n - 2] / h[n - 3] + h[n - 2];
    sup[0] -= h[0] * h[0] / h[1];
    sub[n - 4] -= h[n - 2] * h[n - 2] / h[n - 3];

    tridiagonal(n - 2, sub, diag, sup, c);
    std::copy_backward(c, c + n - 2, c + n - 1);
    double const first = h[0] / h[1];
    c[0] = (first + 1.0) * c[1] - first * c[2];
    double const last = h[n - 2] / h[n - 3];
    c[n - 1] = (last + 1.0) * c[n - 2] - last * c[n - 3];
    finishSpline(n, y, h, b, c, d);
}

void InterpolateAlg::cubic_clamped(int n, double* x, double* y, double* b, double* c, double* d,
                                   double fpa, double fpb) {
    if (n < 2) {
        straightPieces(n, x, y, b, c, d);
        return;
    }

    Doubles const lengths = intervalLengths(n, x);
    double const* const h = lengths.data();
    auto const size = static_cast<std::size_t>(n);
    Doubles lower(size), middle(size);
    double* const sub = lower.data();
    double* const diag = middle.data();

    std::copy(h, h + n - 1, sub);
    Doubles upper = lower;
    diag[0] = 2.0 * h[0];
    diag[n - 1] = 2.0 * h[n - 2];
    c[0] = (y[1] - y[0]) * (3.0 / h[0]) - 3.0 * fpa;
    c[n - 1] = 3.0 * fpb - (y[n - 1] - y[n - 2]) * (3.0 / h[n - 2]);
    for (int i = 1; i < n - 1; ++i) {
        diag[i] = 2.0 * (h[i - 1] + h[i]);
        c[i] = bendAt(i - 1, y, h);
    }

    tridiagonal(n, sub, diag, upper.data(), c);
    finishSpline(n, y, h, b, c, d);
}

double InterpolateAlg::spline_eval(int n, double* x, double* y, double* b, double* c, double* d,
                                   double t) {
    if (n < 1)
        return 0.0;
    int const i = intervalEnd(n, x, t) - 1;
    double const h = t - x[i];
    return ((h * d[i] + c[i]) * h + b[i]) * h + y[i];
}

}  // namespace koGeom
