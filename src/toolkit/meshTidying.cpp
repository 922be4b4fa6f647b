#include "toolkit/meshTidying.h"

#include "toolkit/surfaceFault.h"

#include <cmath>

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

CompactMesh bareCopy(CompactMesh const& mesh) {
    CompactMesh copy(mesh.getNumVertices(), mesh.getVertices(), nullptr, nullptr, nullptr);
    copy.copyTriangles(mesh.getNumTriangles(), mesh.getTrianglesRaw());
    return copy;
}

double unitScale(double diagonal) {
    bool const isHandy = diagonal >= 0x1p-7 && diagonal <= 0x1p33;
    return isHandy || !(diagonal > 0.0) ? 1.0 : std::ldexp(1.0, -std::ilogb(diagonal));
}

void scaleVertices(CompactMesh& mesh, double scale) {
    if (scale == 1.0)
        return;
    float* const coordinates = mesh.getVerticesRaw();
    for (std::ptrdiff_t i = 0; i < 3 * static_cast<std::ptrdiff_t>(mesh.getNumVertices()); ++i)
        coordinates[i] = static_cast<float>(coordinates[i] * scale);
}

std::vector<std::string> replaceMesh(CompactMesh& mesh, CompactMesh& edited) {
    std::vector<std::string> names = dropVertexSets(mesh);
    mesh.swap(edited);
    mesh.clearSelection();
    koGeom::MeshModification modification(&mesh, koGeom::MeshModification::Topology, nullptr);
    mesh.modified(modification);
    return names;
}

int removeUnusedVertices(CompactMesh& mesh) {
    requireSoundMesh(mesh);
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
