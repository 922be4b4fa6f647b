#include "toolkit/meshTidying.h"

namespace trimora {

using koGeom::CompactMesh;

std::vector<std::string> dropVertexSets(CompactMesh& mesh) {
    std::vector<std::string> names;
    bool const hadComputedNormals = mesh.getNormalsComputed();
    bool any = false;
    while (mesh.getNumAttributes() > 1) {
        koString::CString const name = mesh.getAttributes(1)->getName();
        if (!hadComputedNormals || name != koGeom::PointMesh::NormalsName)
            names.push_back(name.asChar());
        mesh.deleteAttributes(name);
        any = true;
    }
    if (any) {
        koGeom::MeshModification modification(&mesh, koGeom::MeshModification::Attributes, nullptr);
        mesh.modified(modification);
    }
    return names;
}

int removeUnusedVertices(CompactMesh& mesh) {
    int const numVertices = mesh.getNumVertices();
    int* const corners = mesh.getTrianglesRaw();
    std::ptrdiff_t const numCorners = 3 * static_cast<std::ptrdiff_t>(mesh.getNumTriangles());
    std::vector<int> numberOf(static_cast<std::size_t>(numVertices), -1);
    for (std::ptrdiff_t i = 0; i < numCorners; ++i)
        numberOf[static_cast<std::size_t>(corners[i])] = 0;
    int numUsed = 0;
    for (int v = 0; v < numVertices; ++v) {
        int& number = numberOf[static_cast<std::size_t>(v)];
        if (number < 0)
            continue;
        mesh.getVertices()[numUsed] = mesh.getVertices()[v];
        number = numUsed++;
    }
    if (numUsed == numVertices)
        return 0;
    for (std::ptrdiff_t i = 0; i < numCorners; ++i)
        corners[i] = numberOf[static_cast<std::size_t>(corners[i])];
    mesh.resizeVertexArray(numUsed);
    koGeom::MeshModification modification(&mesh, koGeom::MeshModification::Topology, nullptr);
    mesh.modified(modification);
    return numVertices - numUsed;
}

}  // namespace trimora
