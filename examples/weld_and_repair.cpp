// From a damaged mesh to a clean one: weld, ask what is wrong, repair, ask again.

#include "toolkit/sampleMeshes.h"

#include "trimora/trimora.h"

#include <cstdio>

int main() {
    koGeom::CompactMesh mesh = trimora::makeDamagedScan(5, 7);
    std::printf("soup:     %6d vertices %6d triangles\n", mesh.getNumVertices(),
                mesh.getNumTriangles());

    koUtil::Progress progress;
    koGeom::meshCompact(mesh, progress);
    std::printf("welded:   %6d vertices %6d triangles\n", mesh.getNumVertices(),
                mesh.getNumTriangles());

    koGeom::MeshRepair repair(mesh);
    bool fullyRepaired = false;
    repair.repairAll(&fullyRepaired);
    std::printf("repaired: %6d vertices %6d triangles, %s\n", mesh.getNumVertices(),
                mesh.getNumTriangles(), fullyRepaired ? "clean" : "not clean");
    return fullyRepaired ? 0 : 1;
}
