#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors2.h"
#include "trimora/export.h"
#include "trimora/planar/Interpolate2D.h"

namespace koGeom {

namespace detail {

/// Follows one coordinate: a velocity that heads for the input, an acceleration that changes evenly within an input.
class SmoothFilter {
public:
    /// rate 0: the target ignores the input
    SmoothFilter(float rate, float damping);

    /// Takes an input and writes the sub-steps to it.
    ///
    /// numSteps   in: sub-steps to make; out: 0 when none was made, because this was the first input or there were none
    /// out        room for numSteps values
    void step(float input, int& numSteps, float* out);

private:
    float inverseRate_;
    float damping_;
    float velocity_ = 0.0f;      // of the value, a sub-step
    float acceleration_ = 0.0f;  // of the velocity, a sub-step
    float value_ = 0.0f;
    bool isStarted_ = false;
};

/// Both coordinates, and the sub-points that the last input gave.
class SmoothPoints {
public:
    SmoothPoints(float rate, float damping, int numSteps);

    /// Unread sub-points of the input before are lost.
    void add(Point2Flt const& p);
    bool hasNext() const { return cursor_ < available_; }
    /// The next sub-point. @pre hasNext()
    Point2Flt next();

    int numSteps() const { return numSteps_; }
    int cursor() const { return cursor_; }

private:
    SmoothFilter x_;
    SmoothFilter y_;
    int numSteps_;
    ko::vector<float> xs_;
    ko::vector<float> ys_;
    int cursor_ = 0;
    int available_ = 0;
};

}  // namespace detail

/// Smooths a stroke: each input point but the first gives a fixed number of sub-points that follow it, of continuous slope.
///
/// Within an input the acceleration changes evenly, so that the velocity at its last sub-point is
/// (1 - damping) * ((input - point before) / rate + velocity before). The sub-points trail behind the input.
///
/// units     those of the input, in single precision throughout
/// cost      numSteps sub-points an input; nothing is allocated after construction
/// threads   none: an object is used by one thread at a time
class TRIMORA_API Smooth2D : public ko::ReferenceCount {
public:
    /// rate       how slowly the stroke heads for the input, as above; 0: it coasts and does not hear the input. Small ones
    ///            with little damping and many sub-points overshoot more with every input
    /// damping    share of the velocity aimed at that is taken away
    /// numSteps   sub-points an input; below 1 there are none
    explicit Smooth2D(float rate = 0.9f, float damping = 0.921f, int numSteps = 6);
    ~Smooth2D() override;

    /// Sub-points of the input before that were not read are lost.
    void add_point(Point2Flt const& p);
    /// Hands out the next sub-point; false, and out untouched, when all were read.
    bool interpolate(Point2Flt& out);

private:
    detail::SmoothPoints points_;
};

/// Walks along the smoothed stroke: inputs pass the smoother, the sub-points feed an inner walker.
class TRIMORA_API SmoothInterpolate2D : public Interpolate2D {
public:
    /// With a walker of its own that carries remainders. Arguments as for Smooth2D, in another order.
    explicit SmoothInterpolate2D(int numSteps = 6, float rate = 0.9f, float damping = 0.921f);
    /// inner   shared; null: as above
    SmoothInterpolate2D(int numSteps, float rate, float damping,
                        ko::Reference<Interpolate2D> inner);
    ~SmoothInterpolate2D() override;

    void add_point(Point2Flt const& p) override;
    /// `param` runs from 0 to 1 over all sub-points between two inputs, and is never below 0.
    bool interpolate(Point2Flt& out, float* param) override;
    bool interpolate(float step, Point2Flt& out, float* param) override;
    /// That of the inner walker.
    bool dir(Vector2Flt& v) override;
    /// The first input, then the last point handed out.
    void current(Point2Flt& p) override;

private:
    template <typename Advance>
    bool walk(Advance const& advance, Point2Flt& out, float* param);

    detail::SmoothPoints points_;
    float inverseSteps_ = 0.0f;  // from the first input on
    ko::Reference<Interpolate2D> inner_;
    Point2Flt position_;
    bool isFirst_ = true;
};

}  // namespace koGeom
