#include "toolkit/detail/exactShift.h"

#include "toolkit/meshCounts.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

using Shift = std::array<double, 3>;

}  // namespace

Shift exactShift(koGeom::CompactMesh const& mesh) {
    Shift shift = {};
    double const diagonal = diagonalOf(mesh);
    int const count = mesh.getNumVertices();
    for (int axis = 0; axis < 3 && count > 0; ++axis) {
        float const* const first = mesh.getVerticesRaw() + axis;
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        for (int v = 0; v < count; ++v) {
            double const c = first[3 * static_cast<std::ptrdiff_t>(v)];
            low = std::min(low, c);
            high = std::max(high, c);
        }
        // As a float it is a multiple of its own step, which those of most coordinates are as well.
        double const middle = static_cast<float>(0.5 * low + 0.5 * high);
        bool isExact = std::isfinite(middle) && std::fabs(middle) > diagonal;
        for (int v = 0; v < count && isExact; ++v) {
            double const moved = first[3 * static_cast<std::ptrdiff_t>(v)] - middle;
            isExact = static_cast<double>(static_cast<float>(moved)) == moved;
        }
        if (isExact)
            shift[static_cast<std::size_t>(axis)] = -middle;
    }
    return shift;
}

void moveVertices(koGeom::CompactMesh& mesh, Shift const& shift, double sign) {
    if (shift == Shift())
        return;
    float* const coordinates = mesh.getVerticesRaw();
    for (std::ptrdiff_t i = 0; i < 3 * static_cast<std::ptrdiff_t>(mesh.getNumVertices()); ++i)
        coordinates[i] =
            static_cast<float>(coordinates[i] + sign * shift[static_cast<std::size_t>(i % 3)]);
}

}  // namespace trimora
