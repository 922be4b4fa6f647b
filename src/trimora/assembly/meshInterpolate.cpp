#include "trimora/assembly/meshInterpolate.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

namespace koGeom {

namespace {

float blend(float a, float b, float c, float u, float v) {
    return (1.0f - u - v) * a + u * b + v * c;
}

}  // namespace

void meshInterpolate(CompactMesh const& mesh, int triangle, float u, float v, MeshUV& out) {
    out.set(0.0f, 0.0f);
    MeshUV const* const uvs = mesh.getUVs();
    if (uvs == nullptr || triangle < 0 || triangle >= mesh.getNumTriangles())
        return;
    MeshTriangle const& corners = mesh.getTriangles()[triangle];
    MeshUV const& uv0 = uvs[corners[0]];
    MeshUV const& uv1 = uvs[corners[1]];
    MeshUV const& uv2 = uvs[corners[2]];
    out.set(blend(uv0.u, uv1.u, uv2.u, u, v), blend(uv0.v, uv1.v, uv2.v, u, v));
}

void meshInterpolate(MeshAttributes const& source, int i0, int i1, int i2, float u, float v,
                     MeshAttributes& target, int k) {
    assert(source.dimension == target.dimension);
    assert(detail::isInRange(i0, source.getNumElements()));
    assert(detail::isInRange(i1, source.getNumElements()));
    assert(detail::isInRange(i2, source.getNumElements()));
    assert(detail::isInRange(k, target.getNumElements()));
    std::ptrdiff_t const stride = source.dimension;
    float const* const element0 = source.asFloat() + stride * i0;
    float const* const element1 = source.asFloat() + stride * i1;
    float const* const element2 = source.asFloat() + stride * i2;
    float* const element = target.asFloat() + std::ptrdiff_t{target.dimension} * k;
    for (int c = 0; c < std::min(source.dimension, target.dimension); ++c)
        element[c] = blend(element0[c], element1[c], element2[c], u, v);
    target.invalidateRange();
}

}  // namespace koGeom
