#include "support/topoBuilders.h"

#include <cmath>

namespace support {

using namespace koGeom;

std::vector<TopoMeshVertex> fill(TopoMesh& mesh, CompactMesh const& source) {
    std::vector<TopoMeshVertex> vertices;
    float const* const xyz = source.getVerticesRaw();
    for (int i = 0; i < source.getNumVertices(); ++i)
        vertices.push_back(mesh.allocVertex(Point(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2])));
    int const* const corners = source.getTrianglesRaw();
    auto const at = [&](int i) { return vertices[static_cast<std::size_t>(corners[i])]; };
    for (int t = 0; t < source.getNumTriangles(); ++t)
        mesh.allocTriangle(at(3 * t), at(3 * t + 1), at(3 * t + 2));
    return vertices;
}

std::vector<TopoMeshVertex> fillQuadCube(TopoMesh& mesh) {
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 8; ++i)
        v.push_back(mesh.allocVertex(Point(i & 1 ? 1 : -1, i & 2 ? 1 : -1, i & 4 ? 1 : -1)));
    mesh.allocQuad(v[0], v[2], v[3], v[1]);
    mesh.allocQuad(v[4], v[5], v[7], v[6]);
    mesh.allocQuad(v[0], v[1], v[5], v[4]);
    mesh.allocQuad(v[2], v[6], v[7], v[3]);
    mesh.allocQuad(v[0], v[4], v[6], v[2]);
    mesh.allocQuad(v[1], v[3], v[7], v[5]);
    return v;
}

std::vector<TopoMeshVertex> fillPolygon(TopoMesh& mesh, int sides) {
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < sides; ++i) {
        double const angle = 2.0 * 3.14159265358979323846 * i / sides;
        v.push_back(mesh.allocVertex(Point(std::cos(angle), std::sin(angle), 0.0)));
    }
    mesh.allocFace(v);
    return v;
}

std::vector<TopoMeshEdge> ringOf(TopoMeshFace face) {
    std::vector<TopoMeshEdge> ring;
    TopoMeshEdge e = face.edge();
    while (e && (ring.empty() || e != face.edge())) {
        ring.push_back(e);
        e = e.next();
    }
    return ring;
}

std::string cornersOf(TopoMeshFace face) {
    std::string text;
    for (TopoMeshEdge e : ringOf(face)) {
        if (!text.empty())
            text += ' ';
        text += std::to_string(e.origin().record()->number);
    }
    return text;
}

std::string facesOf(TopoMesh const& mesh) {
    std::string text;
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        if (!text.empty())
            text += ", ";
        text += cornersOf(f);
    }
    return text;
}

int numOpenEdges(TopoMesh const& mesh) {
    int count = 0;
    for (TopoMeshEdge e : listOf(mesh.firstEdge()))
        count += !e.twin();
    return count;
}

std::vector<void const*> digestOf(TopoMesh const& mesh, bool withFirsts) {
    std::vector<void const*> digest;
    for (TopoMeshVertex v : listOf(mesh.firstVertex())) {
        digest.push_back(v.record());
        digest.push_back(withFirsts ? v.edge().record() : nullptr);
    }
    for (TopoMeshEdge e : listOf(mesh.firstEdge())) {
        void const* const links[] = {e.record(),        e.origin().record(), e.next().record(),
                                     e.prev().record(), e.twin().record(),   e.face().record()};
        digest.insert(digest.end(), std::begin(links), std::end(links));
    }
    for (TopoMeshFace f : listOf(mesh.firstFace())) {
        digest.push_back(f.record());
        digest.push_back(withFirsts ? f.edge().record() : nullptr);
    }
    return digest;
}

}  // namespace support
