#include "harness.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/computeSubdivMesh.h"

#include <memory>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

std::unique_ptr<TopoMesh> toTopoMesh(CompactMesh const& mesh) {
    auto topo = std::make_unique<TopoMesh>();
    std::vector<TopoMeshVertex> vertices;
    vertices.reserve(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        vertices.push_back(topo->allocVertex(mesh.getVertices()[v].asPoint()));
    auto const at = [&vertices](int v) { return vertices[static_cast<std::size_t>(v)]; };
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        topo->allocTriangle(at(corners[0]), at(corners[1]), at(corners[2]));
    }
    return topo;
}

}  // namespace

void topologyCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        std::unique_ptr<TopoMesh> topo;
        int const numTriangles = named->mesh.getNumTriangles();
        run({"halfedge", named->name, numTriangles, 0.0, [&] { topo.reset(); },
             [&] { topo = toTopoMesh(named->mesh); },
             [&] { return figure("halfedges", topo->numEdges()); }},
            {1});
        topo = toTopoMesh(named->mesh);
        std::unique_ptr<TopoMesh> finer;
        run({"catmull_clark_1", named->name, numTriangles, 0.0, [&] { finer.reset(); },
             [&] { finer.reset(computeSubdivMesh(*topo)); },
             [&] {
                 return figure("vertices", finer->numVertices()) +
                        figure("faces", finer->numFaces());
             }},
            {1});
    }
}

}  // namespace bench
