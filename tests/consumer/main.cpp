// Ten lines of a user: read or make a mesh, weld it, repair it, say what came out. Exits with 1 if it is not clean.

#include <cstdio>
#include <toolkit/sampleMeshes.h>
#include <trimora/trimora.h>

int main() {
    koGeom::CompactMesh mesh = trimora::makeDamagedScan(5, 1);
    koUtil::Progress progress;
    koGeom::meshCompact(mesh, progress);
    koGeom::MeshRepair repair(mesh);
    bool fullyRepaired = false;
    repair.repairAll(&fullyRepaired);
    std::printf("Trimora %s: %d vertices, %d triangles, %s\n", koGeom::trimoraVersion(),
                mesh.getNumVertices(), mesh.getNumTriangles(),
                fullyRepaired ? "clean" : "not clean");
    return fullyRepaired ? 0 : 1;
}
