#include "toolkit/detail/recentring.h"

#include "trimora/connectivity/finiteBounds.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace trimora {

namespace {

constexpr double coarsestSpacing = 1e-6;  // of floats, as a part of the box's diagonal

/// Distance to the next float away from 0.
double floatSpacing(double value) {
    auto const magnitude = static_cast<float>(std::abs(value));
    float const next = std::nextafter(magnitude, std::numeric_limits<float>::infinity());
    return static_cast<double>(next) - static_cast<double>(magnitude);
}

/// The box of the finite coordinates, with a shift put back.
std::pair<Shift, Shift> boundsOf(koGeom::CompactMesh const& mesh, Shift const& shift) {
    koGeom::BoundingBox const box = koGeom::finiteBounds(mesh);
    std::pair<Shift, Shift> bounds;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        bounds.first[axis] = static_cast<double>(box.min(static_cast<int>(axis))) + shift[axis];
        bounds.second[axis] = static_cast<double>(box.max(static_cast<int>(axis))) + shift[axis];
    }
    return bounds;
}

}  // namespace

Shift chooseShift(Shift const& low, Shift const& high) {
    Shift shift{};
    double const diagonal = std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
    if (!std::isfinite(diagonal))
        return shift;
    // Round for people, and the same for nearly the same box. A box without size may be one that floats closed up.
    double const step = diagonal > 1.0 ? std::pow(10.0, std::floor(std::log10(diagonal))) : 1.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (low[axis] > high[axis])
            return Shift{};
        double const farthest = std::max(std::abs(low[axis]), std::abs(high[axis]));
        if (floatSpacing(farthest) > coarsestSpacing * diagonal)
            shift[axis] = std::round((low[axis] / 2 + high[axis] / 2) / step) * step;
    }
    return shift;
}

Shift chooseShift(koGeom::CompactMesh const& mesh) {
    auto const [low, high] = boundsOf(mesh, Shift{});
    return chooseShift(low, high);
}

Shift correctedShift(koGeom::CompactMesh const& mesh, Shift const& shift) {
    if (!isShift(chooseShift(mesh)))
        return shift;
    auto const [low, high] = boundsOf(mesh, shift);
    return chooseShift(low, high);
}

double unshifted(float value, double shift) {
    auto const exact = static_cast<double>(value) + shift;
    if (shift == 0.0 || !std::isfinite(value))
        return exact;
    std::array<char, maxFloatSize> text{};
    char const* const end = printFloat(text.data(), value);
    double decimal = 0.0;
    std::from_chars(text.data(), end, decimal);
    double const rounded = decimal + shift;
    return static_cast<float>(rounded - shift) == value ? rounded : exact;
}

}  // namespace trimora
