// One surface from two that do not fit: a scan in two halves, with a gap between them and borders of different vertices, put
// into one mesh and stitched.
//
//     example_stitch [HALF.obj HALF.obj DISTANCE]        without files it cuts a scan of its own

#include "toolkit/meshCutting.h"
#include "toolkit/meshMerging.h"
#include "toolkit/meshParts.h"
#include "toolkit/meshStitching.h"
#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

std::vector<koGeom::CompactMesh> cutScan() {
    koGeom::CompactMesh scan = trimora::makeScan(5, 3);
    trimora::SectionPlane plane;
    plane.set({0.0, 0.2, 1.0, 0.1});
    double const tolerance = trimora::cutTolerance(scan);
    koUtil::Progress progress;
    auto const section = trimora::planeSection(scan, plane, tolerance, progress);
    trimora::cutMesh(scan, section.curves, tolerance, progress);
    return trimora::splitIntoParts(scan);
}

bool readHalf(char const* path, koGeom::CompactMesh& mesh) {
    trimora::ReadReport report;
    auto const outcome = trimora::readMesh(path, mesh, report);
    if (!outcome)
        std::fprintf(stderr, "%s\n", outcome.message.c_str());
    return static_cast<bool>(outcome);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<koGeom::CompactMesh> halves(2);
    bool const isOwn = argc < 4;
    if (isOwn)
        halves = cutScan();
    else if (!readHalf(argv[1], halves[0]) || !readHalf(argv[2], halves[1]))
        return 1;

    // Both into one mesh; the second half of our own scan goes a hundredth to the side.
    ko::list<koGeom::MeshPlacement> placements;
    for (koGeom::CompactMesh const& half : halves)
        placements.emplace_back().mesh = &half;
    if (isOwn)
        placements.back().matrix.m[9] = 0.01f;
    koUtil::Progress progress;
    koGeom::CompactMesh mesh;
    auto const merged = trimora::mergeMeshes(placements, 0.0, mesh, progress);
    if (!merged.refusal.empty()) {
        std::printf("%s\n", merged.refusal.c_str());
        return 1;
    }

    auto const holes = trimora::findHoles(mesh, progress).holes;
    auto const all = trimora::chooseHoles(holes, {trimora::HoleChoice::Kind::All, {}, 0.0});
    trimora::StitchOptions options;
    if (!isOwn)
        options.distance = std::atof(argv[3]);
    else if (auto const suggestion = trimora::suggestStitchDistance(mesh, holes, all))
        options.distance = suggestion->distance;
    progress.set(0.0);
    auto const outcome = trimora::stitchMesh(mesh, holes, all, options, progress);
    if (!outcome.refusal.empty()) {
        std::printf("%s\n", outcome.refusal.c_str());
        return 1;
    }
    for (auto const& seam : outcome.seams)
        std::printf("boundaries %d and %d: length %.3g, gap %.3g, %s\n", seam.boundary + 1,
                    seam.otherBoundary + 1, seam.sewnLength, seam.gap,
                    trimora::nameOfFate(seam.fate));
    std::printf("stitched within %.3g in %.2f s: %d components before, %d now, %s\n",
                options.distance, outcome.seconds, outcome.before.components,
                outcome.after.components, outcome.after.closed ? "closed" : "open");
    return outcome.isComplete() ? 0 : 1;
}
