#include "harness.h"
#include "toolkit/checkedRepair.h"
#include "toolkit/sampleMeshes.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/repair/MeshIntersect.h"
#include "trimora/repair/MeshOrient.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshManifold.h"

#include <deque>

namespace bench {

namespace {

using namespace koGeom;

void tests(NamedMesh const& named) {
    CompactMesh const& mesh = named.mesh;
    int const numTriangles = mesh.getNumTriangles();
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    bool oriented = false;
    run({"oriented", named.name, numTriangles, 0.0, [] {},
         [&] { oriented = meshOriented(mesh, adjTris); },
         [&] { return figure("oriented", oriented ? 1 : 0); }});
    MeshManifoldResult manifold;
    run({"manifold", named.name, numTriangles, 0.0, [] {},
         [&] { meshManifold(mesh, adjTris, manifold); },
         [&] { return figure("badEdges", static_cast<double>(manifold.badEdgeAdj.size())); }});
    MeshDuplicateTrisResult duplicates;
    run({"dupdegen", named.name, numTriangles, 0.0, [] {},
         [&] { meshDuplicateTris(mesh, duplicates); },
         [&] { return figure("duplicates", static_cast<double>(duplicates.duplicates.size())); }});
}

void intersections(NamedMesh const& named) {
    CompactMesh const& mesh = named.mesh;
    SimpleMeshCache cache;
    ko::Reference<Octree> octree = cache.getOctree(mesh, -1);
    ko::Reference<OctreeTris> octreeTris = cache.getOctreeTris(mesh);
    std::deque<MeshIntersectPair> pairs;
    auto const check = [&] { return figure("pairs", static_cast<double>(pairs.size()) / 2); };
    run({"selfint_tables_ready", named.name, mesh.getNumTriangles(), 0.0, [] {},
         [&] {
             MeshIntersect intersect(mesh, *octree, *octreeTris);
             koUtil::Progress progress;
             intersect.selfIntersect(progress, pairs);
         },
         check});
    run({"selfint", named.name, mesh.getNumTriangles(), 0.0, [] {},
         [&] {
             SimpleMeshCache fresh;
             octree = fresh.getOctree(mesh, -1);
             octreeTris = fresh.getOctreeTris(mesh);
             MeshIntersect intersect(mesh, *octree, *octreeTris);
             koUtil::Progress progress;
             intersect.selfIntersect(progress, pairs);
         },
         check});
}

void repairs(int levels) {
    CompactMesh const damaged = trimora::makeDamagedScan(levels, 1);
    CompactMesh work;
    trimora::RepairOutcome outcome;
    auto const check = [&] {
        return figure("triangles", work.getNumTriangles()) +
               figure("repaired", outcome.fullyRepaired ? 1 : 0);
    };
    for (bool const intersecting : {false, true}) {
        trimora::RepairOptions repairOptions;
        repairOptions.selfIntersections = intersecting;
        run({intersecting ? "repair_all_selfint" : "repair_all", "damaged",
             damaged.getNumTriangles(), 0.0, [&] { work = damaged; },
             [&] {
                 koUtil::Progress progress;
                 outcome = trimora::repairMesh(work, repairOptions, progress);
             },
             check});
    }
}

}  // namespace

void repairCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        tests(*named);
        intersections(*named);
    }
    repairs(7);
    if (!options().smallOnly)
        repairs(9);
}

}  // namespace bench
