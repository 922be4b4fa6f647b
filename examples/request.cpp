// The road of one request, from a file to a reduced file: every step answers for itself, and nothing is written before all
// have gone well.
//
//     example_request IN OUT      of any format

#include "toolkit/checkedRepair.h"
#include "toolkit/meshReduction.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include <cstdio>

int main(int argc, char** argv) {
    auto const stop = [](std::string const& why) {
        return std::fprintf(stderr, "%s\n", why.c_str()), 1;
    };
    if (argc != 3)
        return stop("usage: example_request IN OUT");
    koUtil::Progress progress;  // cancel() from another thread ends any step
    koGeom::CompactMesh mesh;
    trimora::ReadReport report;
    if (auto const read = trimora::readMesh(argv[1], mesh, report); !read)
        return stop(read.message);
    trimora::RepairOutcome const repaired = trimora::repairMesh(mesh, {}, progress);
    if (!repaired.refusal.empty())
        return stop(repaired.refusal);
    trimora::ReduceOptions const half = {trimora::ReduceMethod::Fraction, 0.5};
    trimora::ReduceOutcome const reduced = trimora::reduceMesh(mesh, half, progress);
    if (!reduced.refusal.empty())
        return stop(reduced.refusal);
    if (auto const written = trimora::writeMesh(argv[2], mesh); !written)
        return stop(written.message);
    std::printf("%d triangles in place of %lld\n", mesh.getNumTriangles(),
                static_cast<long long>(report.triangles));
    return 0;
}
