#include "harness.h"
#include "toolkit/mapDistortion.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/parameterize/reparameterizeMesh.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace bench {

namespace {

using namespace koGeom;

void makeDiskCase(NamedMesh const& named) {
    CompactMesh mesh;
    run({"make_disk", named.name, named.mesh.getNumTriangles(), 0.0, [&] { mesh = named.mesh; },
         [&] { cutSurface().makeDisk(mesh); },
         [&] {
             return figure("copies", mesh.getNumVertices() - named.mesh.getNumVertices()) +
                    figure("loops", SimpleMeshCache().getBoundaries(mesh)->size());
         }},
        {1});
}

/// A height field of n by n quads, 100 by 100 in size.
CompactMesh hills(int n) {
    CompactMesh mesh;
    mesh.resizeVertexArray((n + 1) * (n + 1));
    mesh.resizeTriangleArray(2 * n * n);
    for (int y = 0; y <= n; ++y)
        for (int x = 0; x <= n; ++x) {
            double const u = static_cast<double>(x) / n, v = static_cast<double>(y) / n;
            double const height =
                12.0 * std::sin(7.0 * u + 1.0) * std::cos(5.0 * v) + 3.0 * std::sin(23.0 * u * v);
            mesh.getVertices()[y * (n + 1) + x].set(static_cast<float>(100.0 * u),
                                                    static_cast<float>(100.0 * v),
                                                    static_cast<float>(height));
        }
    MeshTriangle* triangle = mesh.getTriangles();
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            int const a = y * (n + 1) + x, c = a + n + 1;
            *triangle++ = {{a, a + 1, c + 1}};
            *triangle++ = {{a, c + 1, c}};
        }
    return mesh;
}

/// The mesh brought to a size of 100, for which the solver's stop is made.
CompactMesh sized(CompactMesh mesh) {
    Range3d box;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        box.include(mesh.getVertices()[v].asPoint());
    auto const extent = box.size();
    auto const factor = static_cast<float>(100.0 / std::max({extent.x, extent.y, extent.z}));
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        mesh.getVerticesRaw()[i] *= factor;
    return mesh;
}

/// What the solver did, and what became of the triangles.
std::string figuresOf(CompactMesh const& mesh, reparameterizeMesh::SolverOutcome const& outcome,
                      double setupShare) {
    trimora::CornerUVs corners;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
        corners.push_back(mesh.getUVs()[mesh.getTrianglesRaw()[i]]);
    trimora::MapDistortion const distortion = trimora::measureMap(mesh, corners).whole;
    return figure("steps", outcome.iterations) + figure("code", outcome.code) +
           figure("mean", distortion.mean) + figure("p95", distortion.percentile95) +
           figure("flips", distortion.flippedTriangles) + figure("setup_share", setupShare);
}

void flattenCase(std::string const& name, CompactMesh const& original) {
    if (original.getNumTriangles() == 0)
        return;
    CompactMesh mesh;
    reparameterizeMesh::SolverOutcome outcome;
    double setupSeconds = 0.0, seconds = 0.0;
    run({"flatten", name, original.getNumTriangles(), 0.0, [&] { mesh = original; },
         [&] {
             koOS::StopWatch watch;
             watch.start();
             setupSeconds = 0.0;
             koUtil::Progress progress;
             // All that comes before the solver is below 0.3.
             progress.setListener([&](double value, char const*) {
                 if (setupSeconds == 0.0 && value >= 0.3 - 1e-9)
                     setupSeconds = watch.start();
             });
             reparameterizeMesh flattening(mesh);
             flattening.flatten(progress);
             outcome = flattening.solverOutcome();
             seconds = watch.clear();
         },
         [&] { return figuresOf(mesh, outcome, setupSeconds / seconds); }},
        {1});
}

}  // namespace

void flattenCases() {
    for (NamedMesh const* const named : bothMeshes())
        makeDiskCase(*named);
    flattenCase("hills_10k", hills(70));
    flattenCase("hills_50k", hills(158));
    flattenCase("hills_100k", hills(223));
    flattenCase("mountain", sized(corpusMesh("mountain.obj")));
    flattenCase("cut_scan_2k", sized(trimora::makeScan(4, 1)));
    flattenCase("cut_scan_8k", sized(trimora::makeScan(5, 1)));
}

}  // namespace bench
