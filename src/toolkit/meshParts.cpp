#include "toolkit/meshParts.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshComponents.h"

namespace trimora {

using koGeom::CompactMesh;

std::vector<CompactMesh> splitIntoParts(CompactMesh const& mesh) {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::Array<int> components;
    components.setSize(mesh.getNumVertices());
    std::size_t const numParts =
        static_cast<std::size_t>(koGeom::meshComponents(mesh, adjTris, &components));

    std::vector<std::vector<koGeom::MeshVertex>> vertices(numParts);
    std::vector<int> placeOf(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        if (components[v] < 0)
            continue;
        auto& list = vertices[static_cast<std::size_t>(components[v])];
        placeOf[static_cast<std::size_t>(v)] = static_cast<int>(list.size());
        list.push_back(mesh.getVertices()[v]);
    }
    std::vector<std::vector<int>> corners(numParts);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& triangle = mesh.getTriangles()[t];
        auto& list = corners[static_cast<std::size_t>(components[triangle[0]])];
        for (int const v : triangle.vertices)
            list.push_back(placeOf[static_cast<std::size_t>(v)]);
    }

    std::vector<CompactMesh> parts;
    parts.reserve(numParts);
    for (std::size_t i = 0; i < numParts; ++i) {
        parts.emplace_back(static_cast<int>(vertices[i].size()), vertices[i].data(), nullptr,
                           nullptr, nullptr);
        parts.back().copyTriangles(static_cast<int>(corners[i].size() / 3), corners[i].data());
    }
    return parts;
}

}  // namespace trimora
