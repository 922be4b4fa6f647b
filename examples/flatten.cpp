// Texture coordinates for a surface: close its holes, so that the map has none, flatten what is left open, and tell how far
// the map is from keeping angles.
//
//     example_flatten [MESH.obj [MAP.svg]]        without a file it makes an open scan of its own

#include "toolkit/flatPicture.h"
#include "toolkit/meshFlattening.h"
#include "toolkit/meshHoleFilling.h"
#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"
#include "toolkit/writeText.h"

#include <cstdio>
#include <vector>

namespace {

/// The upper half of a scan, with holes in it.
koGeom::CompactMesh makeOpenScan() {
    koGeom::CompactMesh scan = trimora::makeScan(5, 3);
    std::vector<int> kept;
    for (int t = 0; t < scan.getNumTriangles(); ++t) {
        int const* const corners = scan.getTriangles()[t].vertices;
        bool const isBelow = scan.getVertices()[corners[0]].z < 0.2f;
        if (!isBelow && t % 997 != 0)
            kept.insert(kept.end(), corners, corners + 3);
    }
    scan.copyTriangles(static_cast<int>(kept.size() / 3), kept.data());
    return scan;
}

}  // namespace

int main(int argc, char** argv) {
    koGeom::CompactMesh mesh;
    if (argc > 1) {
        trimora::ReadReport report;
        if (auto const outcome = trimora::readMesh(argv[1], mesh, report); !outcome) {
            std::fprintf(stderr, "%s\n", outcome.message.c_str());
            return 1;
        }
    } else {
        mesh = makeOpenScan();
    }
    koUtil::Progress progress;
    auto const holes = trimora::findHoles(mesh, progress).holes;
    auto const inner = trimora::chooseHoles(holes, {});  // all but what looks like an outer border
    auto const filled = trimora::fillHoles(mesh, holes, inner, {}, progress);
    std::printf("%d of %zu borders filled\n", filled.count(trimora::HoleFate::Filled),
                holes.size());

    progress.set(0.0);
    auto const flat = trimora::flattenMesh(mesh, {}, progress);
    if (!flat.refusal.empty()) {
        std::printf("%s\n", flat.refusal.c_str());
        return 1;
    }
    trimora::MapDistortion const distortion = trimora::measureMap(mesh, flat.corners).whole;
    std::printf("%d triangles flattened in %.2f s, %d iterations (the solver %s)\n",
                mesh.getNumTriangles(), flat.seconds, flat.charts[0].iterations,
                trimora::solverInWords(flat.charts[0].solverCode));
    std::printf("distortion of angles: mean %.3f, largest %.3f; %d triangles turned over\n",
                distortion.mean, distortion.largest, distortion.flippedTriangles);
    if (argc > 2 && !trimora::writeText(argv[2], trimora::drawFlatMap(mesh, flat.corners).svg))
        return 1;
    return distortion.mean < 2.0 ? 0 : 1;
}
