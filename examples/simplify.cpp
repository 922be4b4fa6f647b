// From a fine mesh to a coarse one: three ways to simplify it, and how far each result is from where it began.
//
//     example_simplify [MESH.obj]        without a file it makes a scan of its own

#include "toolkit/meshDistance.h"
#include "toolkit/meshReduction.h"
#include "toolkit/readMesh.h"
#include "toolkit/sampleMeshes.h"

#include <cstdio>

namespace {

bool simplify(koGeom::CompactMesh const& fine, char const* name,
              trimora::ReduceOptions const& options) {
    koUtil::Progress progress;
    koGeom::CompactMesh coarse(fine);
    trimora::ReduceOutcome const outcome = trimora::reduceMesh(coarse, options, progress);
    if (!outcome.refusal.empty()) {
        std::printf("%-20s %s\n", name, outcome.refusal.c_str());
        return false;
    }
    progress.set(0.0);
    trimora::MeshDistance const deviation = trimora::measureDistance(fine, coarse, progress);
    std::printf(
        "%-20s %7d triangles, largest deviation %.3f %%, rms %.4f %% of the diagonal (%s)\n", name,
        coarse.getNumTriangles(), 100.0 * deviation.relative(deviation.fromFirst.largest),
        100.0 * deviation.relative(deviation.fromFirst.rms), trimora::stopInWords(outcome).c_str());
    return coarse.getNumTriangles() < fine.getNumTriangles();
}

}  // namespace

int main(int argc, char** argv) {
    koGeom::CompactMesh fine;
    if (argc > 1) {
        trimora::ReadReport report;
        if (auto const outcome = trimora::readMesh(argv[1], fine, report); !outcome) {
            std::fprintf(stderr, "%s\n", outcome.message.c_str());
            return 1;
        }
    } else {
        fine = trimora::makeScan(6, 3);
    }
    std::printf("%-20s %7d triangles\n", "input", fine.getNumTriangles());
    using trimora::ReduceMethod;
    double const tolerance = 0.001 * trimora::diagonalOf(fine);
    bool const all = simplify(fine, "a tenth", {ReduceMethod::Fraction, 0.1}) &&
                     simplify(fine, "within 0.1 %", {ReduceMethod::Tolerance, tolerance}) &&
                     simplify(fine, "by edge collapse", {ReduceMethod::Collapse, 0.1});
    return all ? 0 : 1;
}
