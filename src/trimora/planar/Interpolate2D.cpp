#include "trimora/planar/Interpolate2D.h"

#include <cmath>

namespace koGeom {

Interpolate2D::~Interpolate2D() = default;

FltInterpolate2D::FltInterpolate2D(bool carryRemainder) : carriesRemainder_(carryRemainder) {}

FltInterpolate2D::~FltInterpolate2D() = default;

void FltInterpolate2D::add_point(Point2Flt const& p) {
    if (count_ == 0) {
        count_ = 1;
        last_ = position_ = p;
        return;
    }
    count_ = 2;

    if (carriesRemainder_) {
        carry_ = remaining_;
        position_ = last_;
    }
    previous_ = position_;
    last_ = p;

    Vector2Flt const along = last_ - previous_;
    float const square = along.x * along.x + along.y * along.y;
    segmentLength_ = static_cast<float>(std::sqrt(static_cast<double>(square)));
    if (segmentLength_ > 0.0f) {
        inverseLength_ = 1.0f / segmentLength_;
        direction_ = Vector2Flt(inverseLength_ * along.x, inverseLength_ * along.y);
    } else {
        segmentLength_ = inverseLength_ = 0.0f;
        direction_ = Vector2Flt();
    }

    if (!carriesRemainder_) {
        remaining_ = segmentLength_;
        return;
    }
    // Behind the corner, on the new line: the next step of length s lands s - carry beyond the corner.
    position_.x -= carry_ * direction_.x;
    position_.y -= carry_ * direction_.y;
    remaining_ = carry_ + segmentLength_;
}

bool FltInterpolate2D::interpolate(Point2Flt& out, float* param) {
    if (count_ < 2)
        return false;

    float value = 0.0f;
    if (isFirst_) {
        isFirst_ = false;
    } else {
        if (!(remaining_ > 0.0f))
            return false;
        value = 1.0f;
        position_ = last_;
        remaining_ = 0.0f;
    }

    out = position_;
    if (param != nullptr)
        *param = value;
    return true;
}

bool FltInterpolate2D::interpolate(float step, Point2Flt& out, float* param) {
    if (count_ < 2)
        return false;

    if (isFirst_) {
        isFirst_ = false;
    } else {
        if (!(remaining_ >= step))
            return false;
        // More is carried than a step where the caller left the segment before early: the corner is reached at once.
        float const length = carry_ > step ? carry_ : step;
        carry_ = 0.0f;
        position_.x += length * direction_.x;
        position_.y += length * direction_.y;
        remaining_ -= length;
    }

    out = position_;
    if (param != nullptr)
        *param = segmentLength_ == 0.0f ? 0.0f : 1.0f - remaining_ * inverseLength_;
    return true;
}

bool FltInterpolate2D::dir(Vector2Flt& v) {
    if (count_ < 2 || segmentLength_ == 0.0f)
        return false;
    v = direction_;
    return true;
}

void FltInterpolate2D::current(Point2Flt& p) {
    p = position_;
}

}  // namespace koGeom
