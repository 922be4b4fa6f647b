// A wall of a rough surface: its noise smoothed away without its edges, a shell put inside, and the outline drawn from above.
//
//     example_thicken [IN.obj WALL.obj OUTLINE.obj]        without files it makes a scan and writes nothing

#include "toolkit/meshCounts.h"
#include "toolkit/meshMeasuring.h"
#include "toolkit/meshOffsetting.h"
#include "toolkit/meshSmoothing.h"
#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"
#include "toolkit/silhouetteCurves.h"
#include "toolkit/writeMesh.h"

#include <cstdio>

namespace {

int fail(std::string const& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    koGeom::CompactMesh mesh = trimora::makeScan(5, 2);
    trimora::ReadReport report;
    if (argc > 3)
        if (auto const read = trimora::readMesh(argv[1], mesh, report); !read)
            return fail(read.message);

    // A mean edge is the sigma to begin with.
    koUtil::Progress progress;
    koGeom::BitVector everything(mesh.getNumTriangles());
    everything.setAllBits();
    trimora::SmoothOptions smoothing;
    smoothing.method = trimora::SmoothOptions::Method::Bilateral;
    smoothing.passes = 2;
    smoothing.sigma = trimora::measureMesh(mesh, false, progress).whole.meanEdge;
    auto const smoothed = trimora::smoothMesh(mesh, everything, smoothing, progress);
    if (!smoothed.refusal.empty())
        return fail(smoothed.refusal);
    std::printf("%d vertices moved, by %g at most\n", smoothed.moved, smoothed.largest);

    trimora::OffsetOptions offset;
    offset.distance = 0.01 * trimora::diagonalOf(mesh);
    auto const walled = trimora::offsetMesh(mesh, offset, progress);
    if (!walled.refusal.empty())
        return fail(walled.refusal);
    std::printf("%d of %d vertices of the shell removed; %d new folds, %d new intersections\n",
                walled.removed, walled.copies, walled.newFolds(), walled.newIntersections());

    auto const outline = trimora::silhouetteCurves(mesh, {true, {0.0, 0.0, 1.0}}, progress);
    std::printf("%zu curves from above, %d of them closed\n", outline.curves.size(),
                outline.numClosed);
    if (argc > 3) {
        if (auto const written = trimora::writeMesh(argv[2], mesh); !written)
            return fail(written.message);
        if (auto const written = trimora::writePolylines(argv[3], outline.curves); !written)
            return fail(written.message);
    }
    return walled.after.closed && outline.numClosed > 0 ? 0 : 1;
}
