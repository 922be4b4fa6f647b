#include "toolkit/detail/weldCorners.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/contract/koUtil/Progress.h"

#include <algorithm>
#include <cstddef>

namespace trimora {

void weldCorners(koGeom::CompactMesh& mesh, ReadReport& report) {
    koUtil::Progress unwatched;
    koGeom::Remap remap;
    int const numCorners = mesh.getNumVertices();
    koGeom::meshCompact(mesh, unwatched, remap);
    int const numVertices = mesh.getNumVertices();

    // Neighbours in the file stay neighbours in memory, which a sorted order does not give.
    std::vector<int> rankOf(static_cast<std::size_t>(numVertices), -1);
    std::vector<float> positions;
    positions.reserve(3 * static_cast<std::size_t>(numVertices));
    report.weldedVertex.resize(static_cast<std::size_t>(numCorners));
    int numRanks = 0;
    for (int corner = 0; corner < numCorners; ++corner) {
        int const vertex = remap(corner);
        int& rank = rankOf[static_cast<std::size_t>(vertex)];
        if (rank < 0) {
            rank = numRanks++;
            float const* const p = mesh.getVerticesRaw() + 3 * static_cast<std::ptrdiff_t>(vertex);
            positions.insert(positions.end(), p, p + 3);
        }
        report.weldedVertex[static_cast<std::size_t>(corner)] = rank;
    }
    std::copy(positions.begin(), positions.end(), mesh.getVerticesRaw());
    int* const triangles = mesh.getTrianglesRaw();
    std::transform(triangles, triangles + 3 * static_cast<std::ptrdiff_t>(mesh.getNumTriangles()),
                   triangles, [&rankOf](int v) { return rankOf[static_cast<std::size_t>(v)]; });
}

}  // namespace trimora
