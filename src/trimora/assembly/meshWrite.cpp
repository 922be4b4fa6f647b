#include "trimora/assembly/meshWrite.h"

#include "trimora/assembly/detail/textFiles.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"

namespace koGeom {

namespace {

using detail::TextWriter;

constexpr int numDigits = 10;

template <class Position>
void writePosition(TextWriter& writer, Position const& p) {
    writer.number(p.x, numDigits) << ' ';
    writer.number(p.y, numDigits) << ' ';
    writer.number(p.z, numDigits) << '\n';
}

/// Calls work(edge) round the face until the ring closes or ends.
template <class Work>
void forRing(TopoMeshFace face, Work work) {
    TopoMeshEdge const first = face.edge();
    TopoMeshEdge edge = first;
    while (edge) {
        work(edge);
        edge = edge.next();
        if (edge == first)
            break;
    }
}

}  // namespace

void meshWrite(CompactMesh const& mesh, koOS::Filename const& name) {
    TextWriter writer(name.path());
    if (!writer.isOpen())
        return;
    writer << mesh.getNumVertices() << ' ' << mesh.getNumTriangles() << '\n';
    MeshVertex const* const vertices = mesh.getVertices();
    for (int i = 0; i < mesh.getNumVertices(); ++i)
        writePosition(writer, vertices[i]);
    MeshTriangle const* const triangles = mesh.getTriangles();
    for (int i = 0; i < mesh.getNumTriangles(); ++i) {
        MeshTriangle const& corners = triangles[i];
        writer << "3 " << corners[0] << ' ' << corners[1] << ' ' << corners[2] << '\n';
    }
}

void meshWrite(TopoMesh& mesh, koOS::Filename const& name) {
    TextWriter writer(name.path());
    if (!writer.isOpen())
        return;
    writer << mesh.numVertices() << ' ' << mesh.numFaces() << '\n';
    ko::map<TopoMeshVertex, int> numbers;
    for (TopoMeshVertex vertex = mesh.firstVertex(); vertex; vertex = vertex.nextInList()) {
        numbers.emplace_hint(numbers.end(), vertex, static_cast<int>(numbers.size()));
        writePosition(writer, vertex.point());
    }
    for (TopoMeshFace face = mesh.firstFace(); face; face = face.nextInList()) {
        int numCorners = 0;
        forRing(face, [&numCorners](TopoMeshEdge) { ++numCorners; });
        writer << numCorners;
        forRing(face, [&](TopoMeshEdge edge) { writer << ' ' << numbers[edge.origin()]; });
        writer << '\n';
    }
}

}  // namespace koGeom
