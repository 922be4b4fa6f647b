#include "trimora/reduce/detail/reduceDebug.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <cstdio>
#include <memory>

namespace koGeom::detail {

namespace {

constexpr int numberSlot = 0;

/// The edge's other face, null on the boundary.
TopoMeshFace beyond(TopoMeshEdge edge) {
    return edge.twin().face();
}

}  // namespace

void dumpTopoMesh(TopoMesh const& mesh, char const* path) {
    std::unique_ptr<FILE, int (*)(FILE*)> const file(std::fopen(path, "w"), &std::fclose);
    if (file == nullptr)
        return;
    int number = 0;
    for (TopoMeshVertex v = mesh.firstVertex(); v; v = v.nextInList()) {
        v.blind(numberSlot) = ++number;
        Point const p = v.point();
        std::fprintf(file.get(), "v %.15f %.15f %.15f \n", p.x, p.y, p.z);
    }
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const e = f.edge();
        std::fprintf(file.get(), "f %i %i %i \n", e.origin().blind(numberSlot).asInt(),
                     e.next().origin().blind(numberSlot).asInt(),
                     e.prev().origin().blind(numberSlot).asInt());
    }
}

bool hasSoundTriangles(TopoMesh const& mesh) {
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge const e = f.edge();
        if (!(e.next().next().next() == e))
            return false;
        TopoMeshFace const around[3] = {beyond(e), beyond(e.next()), beyond(e.prev())};
        for (int k = 0; k < 3; ++k) {
            if (around[k] && around[k] == around[(k + 1) % 3])
                return false;
        }
    }
    return true;
}

}  // namespace koGeom::detail
