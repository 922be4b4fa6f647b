// make_damaged_scan FILE.obj [LEVELS [SEED]]: writes a generated scan with every kind of damage.

#include "toolkit/sampleMeshes.h"
#include "toolkit/writeMesh.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_damaged_scan FILE.obj [LEVELS [SEED]]\n");
        return 2;
    }
    int const levels = argc > 2 ? std::atoi(argv[2]) : 6;
    std::uint64_t const seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1;
    koGeom::CompactMesh const mesh = trimora::makeDamagedScan(levels, seed);
    trimora::FileOutcome const outcome = trimora::writeMesh(argv[1], mesh);
    if (!outcome) {
        std::fprintf(stderr, "%s\n", outcome.message.c_str());
        return 1;
    }
    std::printf("%s: %d vertices, %d triangles\n", argv[1], mesh.getNumVertices(),
                mesh.getNumTriangles());
    return 0;
}
