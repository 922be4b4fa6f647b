#include "support/topoBuilders.h"

#include <bit>
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

std::vector<std::uint64_t> stateOf(TopoMesh const& mesh) {
    std::vector<std::uint64_t> state;
    auto const addNumber = [&](auto const* record) {
        state.push_back(record != nullptr ? record->number : std::uint64_t(-1));
    };
    auto const addReal = [&](double value) {
        state.push_back(value != value ? ~std::uint64_t(0) : std::bit_cast<std::uint64_t>(value));
    };
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList()) {
        addNumber(v.record());
        addNumber(v.edge().record());
        addNumber(v.record()->firstLeaving);
        for (double const value : {v.point().x, v.point().y, v.point().z})
            addReal(value);
        for (int i = 0; i < TopoMeshVertex::numBlindSlots; ++i)
            addReal(v.blind(i).asDouble());
    }
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList()) {
        for (TopoMeshEdge link : {e, e.next(), e.prev(), e.twin()})
            addNumber(link.record());
        addNumber(e.record()->nextLeaving);
        addNumber(e.record()->prevLeaving);
        addNumber(e.origin().record());
        addNumber(e.face().record());
        addReal(e.blind(0).asDouble());
        addReal(e.blind(1).asDouble());
    }
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        addNumber(f.record());
        addNumber(f.edge().record());
    }
    for (int const count : {mesh.numVertices(), mesh.numEdges(), mesh.numFaces()})
        state.push_back(static_cast<std::uint64_t>(count));
    return state;
}

}  // namespace support
