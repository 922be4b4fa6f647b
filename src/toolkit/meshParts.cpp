#include "toolkit/meshParts.h"

#include "toolkit/surfaceFault.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshComponents.h"

namespace trimora {

using koGeom::CompactMesh;
using koGeom::MeshSubset;

ko::list<ko::Reference<MeshSubset>> findParts(CompactMesh const& mesh) {
    requireSoundMesh(mesh);
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::Array<int> components;
    components.setSize(mesh.getNumVertices());
    std::size_t const numParts =
        static_cast<std::size_t>(koGeom::meshComponents(mesh, adjTris, &components));

    std::vector<std::vector<int>> vertices(numParts);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        if (components[v] >= 0)
            vertices[static_cast<std::size_t>(components[v])].push_back(v);
    std::vector<std::vector<int>> triangles(numParts);
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        triangles[static_cast<std::size_t>(components[mesh.getTriangles()[t][0]])].push_back(t);

    ko::list<ko::Reference<MeshSubset>> parts;
    for (std::size_t i = 0; i < numParts; ++i)
        parts.push_back(new MeshSubset(static_cast<int>(vertices[i].size()), vertices[i].data(),
                                       static_cast<int>(triangles[i].size()), triangles[i].data()));
    return parts;
}

std::vector<CompactMesh> splitIntoParts(CompactMesh const& mesh) {
    auto const subsets = findParts(mesh);
    std::vector<int> placeOf(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<CompactMesh> parts;
    parts.reserve(subsets.size());
    for (auto const& subset : subsets) {
        CompactMesh& part =
            parts.emplace_back(subset->numVertices, nullptr, nullptr, nullptr, nullptr);
        for (int k = 0; k < subset->numVertices; ++k) {
            placeOf[static_cast<std::size_t>(subset->vertices[k])] = k;
            part.getVertices()[k] = mesh.getVertices()[subset->vertices[k]];
        }
        part.resizeTriangleArray(subset->numTriangles);
        for (int k = 0; k < subset->numTriangles; ++k) {
            koGeom::MeshTriangle const& from = mesh.getTriangles()[subset->triangles[k]];
            for (int corner = 0; corner < 3; ++corner)
                part.getTriangles()[k][corner] = placeOf[static_cast<std::size_t>(from[corner])];
        }
    }
    return parts;
}

}  // namespace trimora
