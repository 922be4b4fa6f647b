#include "harness.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshArea.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/measure/MeshDeviation.h"
#include "trimora/measure/MeshMassCalculator.h"
#include "trimora/measure/MeshSilhouette.h"
#include "trimora/measure/meshCurvature.h"
#include "trimora/measure/meshSmoothBilateral.h"
#include "trimora/measure/meshSmoothLaplacian.h"
#include "trimora/spatial/computeOctreeTris.h"

#include <algorithm>
#include <cmath>

namespace bench {

namespace {

using namespace koGeom;

/// The mesh moved by smooth waves of 0.4 % of the diagonal: every vertex near the surface, hardly one on it.
CompactMesh waved(CompactMesh const& mesh, double diagonal) {
    CompactMesh moved(mesh);
    MeshVertex const* const from = mesh.getVertices();
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        double const xyz[3] = {from[v].x, from[v].y, from[v].z};
        double to[3];
        for (int k = 0; k < 3; ++k)
            to[k] = xyz[k] + 0.004 * diagonal * std::sin(31.0 * xyz[(k + 1) % 3] / diagonal);
        moved.getVertices()[v].set(to);
    }
    meshComputeNormals(moved);
    return moved;
}

std::string figures(std::vector<float> const& values, double diagonal) {
    double squares = 0.0, largest = 0.0, negative = 0.0;
    for (float const value : values) {
        double const wide = std::abs(static_cast<double>(value));
        squares += wide * wide;
        largest = std::max(largest, wide);
        negative += value < 0.0f;
    }
    return figure("rms/diag", std::sqrt(squares / static_cast<double>(values.size())) / diagonal) +
           " " + figure("max", largest / diagonal) + " " + figure("negative", negative);
}

void deviationCase(NamedMesh const& named) {
    CompactMesh const& reference = named.mesh;
    BoundingBox box;
    meshBoundingBox(reference, box);
    double const diagonal = static_cast<double>(box.diagonalLength());
    CompactMesh const mesh = waved(reference, diagonal);
    Octree const octree(reference.getNumVertices(), reference.getVerticesRaw(), box, true, 16);
    OctreeTris octreeTris;
    computeOctreeTris(reference, octree, octreeTris);
    std::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
    run({"deviation", named.name, reference.getNumTriangles(), static_cast<double>(values.size()),
         [] {},
         [&] {
             AffineMatrix matrix;
             MeshDeviation deviation(reference, matrix, octree, octreeTris, nullptr);
             deviation.calculate(&mesh, matrix, values.data(), false, false);
         },
         [&] { return figures(values, diagonal); }});
}

void massCases(NamedMesh const& named) {
    ko::list<ko::Reference<CompactMesh>> meshes;
    meshes.emplace_back(new CompactMesh(named.mesh));
    MeshMassCalculator mass(meshes);
    int const numTriangles = named.mesh.getNumTriangles();
    double volume = 0.0, x = 0.0, y = 0.0, z = 0.0;
    auto const moments = [&] { return figure("x", x) + " " + figure("z", z); };
    run({"mass volume", named.name, numTriangles, 0.0, [] {},
         [&] { volume = mass.calculateVolume(); }, [&] { return figure("volume", volume); }},
        {1});
    run({"mass first moments", named.name, numTriangles, 0.0, [] {},
         [&] { mass.calculateFirstMom(x, y, z, MeshMassCalculator::X); }, moments},
        {1});
    run({"mass second moments", named.name, numTriangles, 0.0, [] {},
         [&] { mass.calculateSecondMom(x, y, z, MeshMassCalculator::X); }, moments},
        {1});
    run({"mass centroid", named.name, numTriangles, 0.0, [] {},
         [&] { mass.calculateCentroid(x, y, z); }, moments},
        {1});
}

void silhouetteCase(CompactMesh const& mesh, std::string const& name) {
    MeshSilhouette silhouette(mesh, 1e-6f);
    int numSegments = 0;
    run({"silhouette", name, mesh.getNumTriangles(), 0.0, [] {},
         [&] {
             numSegments = silhouette.computeOrtho({0.3f, 0.8f, 0.5f})->getNumLineStrips();
         },
         [&] { return figure("segments", numSegments); }},
        {1});
}

void smoothingCases(NamedMesh const& named, MeshAdjVertices const& adjVertices) {
    CompactMesh mesh(named.mesh);
    meshComputeNormals(mesh);
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedVertices().setAllBits();
    double area = static_cast<double>(meshArea(mesh, MeshChannelVertices));
    double const edge = std::sqrt(area / mesh.getNumTriangles() * 4.0 / std::sqrt(3.0));
    koUtil::Progress progress;
    auto const restore = [&] {
        mesh.copyVertices(mesh.getNumVertices(), named.mesh.getVertices());
    };
    auto const check = [&] { return figure("area", meshArea(mesh, MeshChannelVertices) / area); };
    run({"smooth laplacian", named.name, mesh.getNumTriangles(),
         static_cast<double>(mesh.getNumVertices()), restore,
         [&] { meshSmoothLaplacian(mesh, adjVertices, progress); }, check},
        {1});
    run({"smooth bilateral, sigma of 2 edges", named.name, mesh.getNumTriangles(),
         static_cast<double>(mesh.getNumVertices()), restore,
         [&] { meshSmoothBilateral(mesh, adjVertices, 2.0 * edge, progress); }, check},
        {1});
}

}  // namespace

void measureCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        CompactMesh mesh(named->mesh);
        meshComputeNormals(mesh);
        SimpleMeshCache cache;
        ko::Reference<MeshAdjTris> const adjTris = cache.getAdjTris(mesh);
        ko::Reference<MeshAdjVertices> const adjVertices = cache.getAdjVertices(mesh);
        std::vector<float> values(static_cast<std::size_t>(mesh.getNumVertices()));
        run({"curvature", named->name, mesh.getNumTriangles(), 0.0, [] {},
             [&] {
                 meshCurvature(mesh, *adjTris, *adjVertices, AffineMatrixFlt::Identity,
                               MaxCurvature, values.data());
             },
             [&] { return figure("first", static_cast<double>(values[0])); }});
        deviationCase(*named);
        massCases(*named);
        silhouetteCase(mesh, named->name);
        smoothingCases(*named, *adjVertices);
    }
}

}  // namespace bench
