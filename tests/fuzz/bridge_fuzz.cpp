// A drawn region of a lattice mesh over the bridge to half-edges and back, untouched or with faces deleted and divided: what
// lies outside stays, what lies inside is what the half-edge mesh holds.

#include "fuzzMesh.h"
#include "support/builders.h"
#include "support/checks.h"
#include "support/oracles.h"
#include "support/topoBuilders.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/topology/MeshModifyRep.h"

using namespace koGeom;

namespace {

constexpr std::size_t bytesOfProgram = 24;

void edit(TopoMesh& topo, fuzz::Bytes& bytes) {
    for (TopoMeshFace const face : support::listOf(topo.firstFace())) {
        int const choice = bytes.next() % 4;
        if (choice == 1)
            topo.deleteFace(face);
        else if (choice == 2)
            topo.subdivideFace(face, face.centroid());
    }
}

/// The faces of a half-edge mesh and the triangles outside of the region.
std::multiset<std::array<std::array<float, 3>, 3>> surfaceOf(CompactMesh const& outside,
                                                             TopoMesh& topo) {
    auto surface = support::positionTriples(outside);
    std::vector<float> coordinates;
    std::vector<int> triangles;
    for (TopoMeshFace const face : support::listOf(topo.firstFace()))
        for (TopoMeshEdge const edge : support::ringOf(face)) {
            triangles.push_back(static_cast<int>(triangles.size()));
            Point const p = edge.origin().point();
            coordinates.insert(coordinates.end(), {float(p.x), float(p.y), float(p.z)});
        }
    surface.merge(support::positionTriples(support::meshOf(coordinates, triangles)));
    return surface;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    CompactMesh mesh =
        (flags & 1) != 0 ? fuzz::gridMesh(bytes) : fuzz::latticeMesh(bytes, false, bytesOfProgram);
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    BitVector triangles(mesh.getNumTriangles()), vertices(mesh.getNumVertices());
    CompactMesh outside = mesh;
    std::vector<int> kept;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if ((bytes.next() + flags) % 3 != 0)
            triangles.setBit(t);
        else
            kept.insert(kept.end(), mesh.getTriangles()[t].vertices,
                        mesh.getTriangles()[t].vertices + 3);
    }
    outside.copyTriangles(static_cast<int>(kept.size() / 3), kept.data());
    MeshSelect(mesh, adjTris, triangles, vertices).selectVerticesFromTriangles();

    MeshModifyRep bridge(mesh, triangles, vertices, adjTris);
    TopoMesh& topo = bridge.extract();
    std::string fault = support::faultOf(topo);
    fuzz::require(fault.empty(), fault.c_str());
    if ((flags & 2) != 0)
        edit(topo, bytes);
    fault = support::faultOf(topo);
    fuzz::require(fault.empty(), fault.c_str());
    auto const expected = surfaceOf(outside, topo);
    bridge.merge();
    fault = support::faultOf(mesh);
    fuzz::require(fault.empty(), fault.c_str());
    fuzz::require(support::positionTriples(mesh) == expected,
                  "the surface is not what the two sides held");
    return 0;
}
