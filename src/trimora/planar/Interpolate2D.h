#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors2.h"
#include "trimora/export.h"

namespace koGeom {

/// Walks along a stroke that grows by one sample at a time.
///
/// Add a sample, call interpolate() until it is false, add the next one. There is no reset: a new stroke takes a new object.
///
/// units     those of the samples, in single precision throughout; not-a-numbers go through as they fall
/// cost      constant a call; nothing is allocated after construction
/// threads   none: an object is used by one thread at a time
class TRIMORA_API Interpolate2D : public ko::ReferenceCount {
public:
    ~Interpolate2D() override;

    virtual void add_point(Point2Flt const& p) = 0;
    /// Goes to the end of what there is at one stroke.
    ///
    /// out       the point reached; untouched when the result is false
    /// param     null, or where the point lies between two samples: 0 at the first, 1 at the second; untouched likewise
    /// returns   false when there is nothing to walk before the next add_point()
    virtual bool interpolate(Point2Flt& out, float* param) = 0;
    /// Goes on by a length, above 0: no step never ends. As above otherwise.
    virtual bool interpolate(float step, Point2Flt& out, float* param) = 0;
    /// The unit direction of the present segment; false, and v untouched, where there is none.
    virtual bool dir(Vector2Flt& v) = 0;
    /// Where the walker stands; the origin before the first sample.
    virtual void current(Point2Flt& p) = 0;

protected:
    Interpolate2D() = default;
    Interpolate2D(Interpolate2D const&) = default;
    Interpolate2D& operator=(Interpolate2D const&) = default;
};

/// Walks the straight lines between the samples.
///
/// The first interpolate() after the second sample gives the start without a move.
class TRIMORA_API FltInterpolate2D : public Interpolate2D {
public:
    /// carryRemainder   true: steps keep their length across corners, measured along the two lines. The walker stands behind a
    ///                  corner then, on the new line, so that `param` is negative there; a step shorter than what is carried is
    ///                  lengthened to reach the corner. False: each segment starts where the walker stands, which cuts corners
    explicit FltInterpolate2D(bool carryRemainder = true);
    ~FltInterpolate2D() override;

    void add_point(Point2Flt const& p) override;
    bool interpolate(Point2Flt& out, float* param) override;
    /// False also when less than a step remains: the same step succeeds after enough further samples.
    bool interpolate(float step, Point2Flt& out, float* param) override;
    bool dir(Vector2Flt& v) override;
    void current(Point2Flt& p) override;

private:
    int count_ = 0;  // of samples; stays at 2
    Point2Flt previous_;
    Point2Flt last_;
    Point2Flt position_;
    float segmentLength_ = 0.0f;
    float inverseLength_ = 0.0f;  // 0 for a segment without length, as is its direction
    float remaining_ = 0.0f;      // to walk before last_
    Vector2Flt direction_;
    float carry_ = 0.0f;  // what remained of the segment before
    bool isFirst_ = true;
    bool carriesRemainder_;
};

}  // namespace koGeom
