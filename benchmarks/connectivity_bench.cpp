#include "harness.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/connectivity/meshBoundingBox.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koGeom/BoundingBox.h"

#include <memory>

namespace bench {

namespace {

using namespace koGeom;

void tables(NamedMesh const& named) {
    CompactMesh const& mesh = named.mesh;
    int const numTriangles = mesh.getNumTriangles();
    std::unique_ptr<MeshAdjTris> adjTris;
    run({"vert_tri", named.name, numTriangles, 0.0,
         [&] { adjTris = std::make_unique<MeshAdjTris>(); }, [&] { meshAdjTris(mesh, *adjTris); },
         [&] { return figure("first", adjTris->triIndices(0)[0]); }});

    MeshAdjTris table;
    meshAdjTris(mesh, table);
    std::unique_ptr<MeshAdjVertices> adjVertices;
    run({"vert_vert", named.name, numTriangles, 0.0,
         [&] { adjVertices = std::make_unique<MeshAdjVertices>(); },
         [&] { meshAdjVertices(mesh, table, *adjVertices); },
         [&] { return figure("valence0", adjVertices->data[adjVertices->offsets[0]]); }});

    ArrayOfSets none;
    std::unique_ptr<MeshTriAdjTris> triAdjTris;
    run({"tri_tri", named.name, numTriangles, 0.0,
         [&] { triAdjTris = std::make_unique<MeshTriAdjTris>(none); },
         [&] { meshTriAdjTris(mesh, *triAdjTris); },
         [&] { return figure("neighbours0", triAdjTris->numTris(0)); }});

    MeshAdjVertices vertexTable;
    meshAdjVertices(mesh, table, vertexTable);
    int components = 0;
    run({"components", named.name, numTriangles, 0.0, [] {},
         [&] { components = meshComponents(mesh, table, nullptr); },
         [&] { return figure("components", components); }});
    std::unique_ptr<MeshBoundaries> boundaries;
    run({"boundaries", named.name, numTriangles, 0.0,
         [&] { boundaries = std::make_unique<MeshBoundaries>(); },
         [&] { meshComputeBoundary(mesh, table, vertexTable, *boundaries); },
         [&] { return figure("loops", boundaries->size()); }});
}

void kernels(NamedMesh const& named) {
    CompactMesh copy(named.mesh);
    int const numTriangles = copy.getNumTriangles();
    run({"normals", named.name, numTriangles, 0.0, [] {}, [&] { meshComputeNormals(copy); },
         [&] { return figure("x0", static_cast<double>(copy.getNormals()[0].x)); }});
    BoundingBox box;
    run({"boxes", named.name, numTriangles, 0.0, [] {}, [&] { meshBoundingBox(copy, box); },
         [&] { return figure("diagonal", static_cast<double>(box.diagonalLength())); }});
}

}  // namespace

void connectivityCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        tables(*named);
        kernels(*named);
    }
}

}  // namespace bench
