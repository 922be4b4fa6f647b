#include "trimora/measure/meshLongestEdge.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <cmath>
#include <cstddef>

namespace koGeom {

namespace {

template <int dimension>
double longestEdge(CompactMesh const& mesh, float const* coordinates) {
    int const* const triangles = mesh.getTrianglesRaw();
    std::ptrdiff_t const numCorners = 3 * static_cast<std::ptrdiff_t>(mesh.getNumTriangles());
    float greatest = 0.0f;
    for (std::ptrdiff_t corner = 0; corner < numCorners; ++corner) {
        std::ptrdiff_t const next = corner % 3 == 2 ? corner - 2 : corner + 1;
        float const* const a =
            coordinates + dimension * static_cast<std::ptrdiff_t>(triangles[corner]);
        float const* const b =
            coordinates + dimension * static_cast<std::ptrdiff_t>(triangles[next]);
        float length2 = 0.0f;
        for (int axis = 0; axis < dimension; ++axis)
            length2 += (b[axis] - a[axis]) * (b[axis] - a[axis]);
        if (length2 > greatest)
            greatest = length2;
    }
    return static_cast<double>(std::sqrt(greatest));
}

}  // namespace

double meshLongestEdge(CompactMesh const& mesh) {
    assert(detail::hasTrianglesInRange(mesh));
    return longestEdge<3>(mesh, mesh.getVerticesRaw());
}

double meshLongestEdge2D(CompactMesh const& mesh, float const* uv) {
    assert(detail::hasTrianglesInRange(mesh));
    return longestEdge<2>(mesh, uv);
}

}  // namespace koGeom
