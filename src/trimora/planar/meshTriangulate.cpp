#include "trimora/planar/meshTriangulate.h"

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <cstddef>

namespace koGeom {

namespace {

bool needsTriangles(CompactMesh const& mesh) {
    return mesh.getNumTriangles() <= 0 && mesh.getNumPolys() > 0;
}

int numFanTriangles(CompactMesh const& mesh) {
    assert(detail::hasSoundRuns(mesh.polys, mesh.getNumVertices()));
    int count = 0;
    for (int const length : mesh.polys.lengths)
        count += std::max(length - 2, 0);
    return count;
}

/// Writes the fans of all polygons; `remap`, when not null, is as large as their number.
void fillTriangles(CompactMesh& mesh, int numTriangles, Remap* remap) {
    ko::vector<int> indices(3 * static_cast<std::size_t>(numTriangles));
    int* out = indices.data();
    int const* polygon = mesh.polys.points.data();
    int triangle = 0;
    for (int p = 0; p < mesh.getNumPolys(); ++p) {
        int const length = mesh.polys.getLength(p);
        for (int corner = 1; corner + 1 < length; ++corner) {
            *out++ = polygon[0];
            *out++ = polygon[corner];
            *out++ = polygon[corner + 1];
            if (remap != nullptr)
                remap->set(triangle, p);
            ++triangle;
        }
        polygon += length;
    }
    mesh.copyTriangles(numTriangles, indices.data());
}

}  // namespace

void meshTriangulate(CompactMesh& mesh) {
    if (needsTriangles(mesh))
        fillTriangles(mesh, numFanTriangles(mesh), nullptr);
}

void meshTriangulate(CompactMesh& mesh, Remap& remap) {
    if (!needsTriangles(mesh))
        return;
    int const numTriangles = numFanTriangles(mesh);
    remap.resize(numTriangles, mesh.getNumPolys());
    fillTriangles(mesh, numTriangles, &remap);
}

}  // namespace koGeom
