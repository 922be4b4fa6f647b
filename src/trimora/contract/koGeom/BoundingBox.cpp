#include "trimora/contract/koGeom/BoundingBox.h"

#include "trimora/contract/koLinear/matrices.h"

#include <algorithm>
#include <cmath>

namespace koGeom {

namespace {

/// The greatest float not above the value, the least one not below it; NaN as it is.
float roundedDown(double value) {
    float const rounded = static_cast<float>(value);
    return rounded > value ? std::nextafter(rounded, -std::numeric_limits<float>::infinity())
                           : rounded;
}
float roundedUp(double value) {
    float const rounded = static_cast<float>(value);
    return rounded < value ? std::nextafter(rounded, std::numeric_limits<float>::infinity())
                           : rounded;
}

}  // namespace

void BoundingBox::extendToCube() {
    if (!isValid())
        return;
    double const half = 0.5 * std::max({extent(0), extent(1), extent(2)});
    for (int axis = 0; axis < 3; ++axis) {
        double const center = (static_cast<double>(bounds[axis]) + bounds[axis + 3]) * 0.5;
        bounds[axis] = std::min(bounds[axis], roundedDown(center - half));
        bounds[axis + 3] = std::max(bounds[axis + 3], roundedUp(center + half));
    }
}

void BoundingBox::transform(koLinear::AffineMatrix const& matrix) {
    if (!isValid())
        return;
    BoundingBox image;
    for (int column = 0; column < 3; ++column) {
        double lower = matrix.m[9 + column];
        double upper = lower;
        for (int row = 0; row < 3; ++row) {
            double const factor = matrix.m[3 * row + column];
            if (factor == 0.0)
                continue;  // keeps a box without end finite on the axes that do not see that end
            double const atMin = factor * bounds[row];
            double const atMax = factor * bounds[row + 3];
            lower += std::min(atMin, atMax);
            upper += std::max(atMin, atMax);
        }
        image.bounds[column] = roundedDown(lower);
        image.bounds[column + 3] = roundedUp(upper);
    }
    *this = image;
}

void BoundingBox::transform(koLinear::AffineMatrixFlt const& matrix) {
    transform(koLinear::AffineMatrix(matrix));
}

bool equivalent(BoundingBox const& first, BoundingBox const& second, float tolerance) {
    return std::equal(first.bounds, first.bounds + 6, second.bounds, [tolerance](float a, float b) {
        return a == b || std::abs(a - b) <= tolerance;
    });
}

}  // namespace koGeom
