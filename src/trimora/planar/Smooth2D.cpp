#include "trimora/planar/Smooth2D.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <utility>

namespace koGeom {

namespace detail {

SmoothFilter::SmoothFilter(float rate, float damping)
    : inverseRate_(rate == 0.0f ? 0.0f : 1.0f / rate), damping_(damping) {}

void SmoothFilter::step(float input, int& numSteps, float* out) {
    if (!isStarted_ || numSteps <= 0) {
        value_ = input;
        isStarted_ = true;
        numSteps = 0;
        return;
    }

    // Acceleration grows by the jerk at each sub-step: after n of them the velocity has grown by
    // n accelerations and 1 + 2 + ... + n jerks, which brings it to the target.
    float const target = (1.0f - damping_) * ((input - value_) * inverseRate_ + velocity_);
    std::int64_t const n = numSteps;
    float const jerk = (target - velocity_ - static_cast<float>(n) * acceleration_) /
                       static_cast<float>(n * (n + 1) / 2);
    for (int i = 0; i < numSteps; ++i) {
        acceleration_ += jerk;
        velocity_ += acceleration_;
        value_ += velocity_;
        out[i] = value_;
    }
}

SmoothPoints::SmoothPoints(float rate, float damping, int numSteps)
    : x_(rate, damping),
      y_(rate, damping),
      numSteps_(std::max(numSteps, 0)),
      xs_(static_cast<std::size_t>(numSteps_)),
      ys_(static_cast<std::size_t>(numSteps_)) {}

void SmoothPoints::add(Point2Flt const& p) {
    available_ = numSteps_;
    x_.step(p.x, available_, xs_.data());
    y_.step(p.y, available_, ys_.data());
    cursor_ = numSteps_ - available_;
}

Point2Flt SmoothPoints::next() {
    assert(hasNext());
    auto const i = static_cast<std::size_t>(cursor_++);
    return Point2Flt(xs_[i], ys_[i]);
}

}  // namespace detail

Smooth2D::Smooth2D(float rate, float damping, int numSteps) : points_(rate, damping, numSteps) {}

Smooth2D::~Smooth2D() = default;

void Smooth2D::add_point(Point2Flt const& p) {
    points_.add(p);
}

bool Smooth2D::interpolate(Point2Flt& out) {
    if (!points_.hasNext())
        return false;
    out = points_.next();
    return true;
}

SmoothInterpolate2D::SmoothInterpolate2D(int numSteps, float rate, float damping)
    : SmoothInterpolate2D(numSteps, rate, damping, nullptr) {}

SmoothInterpolate2D::SmoothInterpolate2D(int numSteps, float rate, float damping,
                                         ko::Reference<Interpolate2D> inner)
    : points_(rate, damping, numSteps), inner_(std::move(inner)) {
    if (!inner_)
        inner_ = new FltInterpolate2D(true);
}

SmoothInterpolate2D::~SmoothInterpolate2D() = default;

void SmoothInterpolate2D::add_point(Point2Flt const& p) {
    points_.add(p);
    if (isFirst_) {
        position_ = p;
        isFirst_ = false;
        if (points_.numSteps() > 0)
            inverseSteps_ = 1.0f / static_cast<float>(points_.numSteps());
    }
}

template <typename Advance>
bool SmoothInterpolate2D::walk(Advance const& advance, Point2Flt& out, float* param) {
    bool isFound = advance();
    while (!isFound && points_.hasNext()) {
        inner_->add_point(points_.next());
        isFound = advance();
    }
    if (!isFound)
        return false;

    if (param != nullptr) {
        float const value = (*param + static_cast<float>(points_.cursor()) - 1.0f) * inverseSteps_;
        *param = value < 0.0f ? 0.0f : value;
    }
    position_ = out;
    return true;
}

bool SmoothInterpolate2D::interpolate(Point2Flt& out, float* param) {
    return walk([&] { return inner_->interpolate(out, param); }, out, param);
}

bool SmoothInterpolate2D::interpolate(float step, Point2Flt& out, float* param) {
    return walk([&] { return inner_->interpolate(step, out, param); }, out, param);
}

bool SmoothInterpolate2D::dir(Vector2Flt& v) {
    return inner_->dir(v);
}

void SmoothInterpolate2D::current(Point2Flt& p) {
    p = position_;
}

}  // namespace koGeom
