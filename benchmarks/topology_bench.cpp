#include "halfEdges.h"
#include "harness.h"

#include "trimora/assembly/MeshSelect.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/topology/MeshEdgeSwapper.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/computeSubdivMesh.h"

#include <memory>
#include <vector>

namespace bench {

namespace {

using namespace koGeom;

/// A region of a mesh, and the bridge to it, remade for each run.
struct Bridge {
    CompactMesh const& source;
    MeshAdjTris adjTris;
    BitVector triangles;
    BitVector vertices;
    CompactMesh mesh;
    std::unique_ptr<MeshModifyRep> rep;

    /// At least the given part of the triangles, in one piece round the first.
    Bridge(CompactMesh const& from, int part) : source(from) {
        meshAdjTris(source, adjTris);
        MeshSelect selection(source, adjTris, triangles, vertices);
        selection.getSelectedVertices();
        selection.getSelectedTriangles().setBit(0);
        if (part == 1)
            triangles.setAllBits();
        while (part > 0 && triangles.count < source.getNumTriangles() / part)
            selection.selectTrianglesRecursive(true);
        if (part == 0)
            triangles.clearBits();
        selection.selectVerticesFromTriangles();
    }
    void reset() {
        rep.reset();
        mesh = source;
        rep = std::make_unique<MeshModifyRep>(mesh, triangles, vertices, adjTris);
    }
    std::string figures() const {
        return figure("region", triangles.count) + figure("vertices", mesh.getNumVertices()) +
               figure("triangles", mesh.getNumTriangles());
    }
};

/// Extract and merge of the whole mesh, of a hundredth of it and of nothing, without an edit.
void bridgeCases(NamedMesh const& named) {
    for (int const part : {1, 100, 0}) {
        char const* const name = part == 1 ? "whole" : part == 100 ? "hundredth" : "nothing";
        Bridge bridge(named.mesh, part);
        int const numTriangles = named.mesh.getNumTriangles();
        run({std::string("bridge_extract_") + name, named.name, numTriangles, 0.0,
             [&] { bridge.reset(); }, [&] { bridge.rep->extract(); },
             [&] { return bridge.figures(); }},
            {1});
        run({std::string("bridge_merge_") + name, named.name, numTriangles, 0.0,
             [&] {
                 bridge.reset();
                 bridge.rep->extract();
             },
             [&] {
                 Array<int> vertexMap;
                 ArrayMap<TopoMeshVertex, int> topoMap;
                 bridge.rep->merge(vertexMap, &topoMap);
             },
             [&] { return bridge.figures(); }},
            {1});
    }
}

using Criterion = void (*)(TopoMeshEdge, bool&);

/// Each criterion alone, asked for every pair of half-edges; then swaps until nothing is left to gain.
void swapCases(NamedMesh const& named) {
    std::unique_ptr<TopoMesh> topo = topoMeshOf(named.mesh);
    int const numTriangles = named.mesh.getNumTriangles();
    double const numEdges = topo->numEdges() / 2.0;
    struct Named {
        char const* name;
        Criterion criterion;
    };
    for (Named const& each : {Named{"swap_ask_angles", &MeshEdgeSwapper::minimizeOppositeAngleSum},
                              Named{"swap_ask_features", &MeshEdgeSwapper::preserveFeatures},
                              Named{"swap_ask_foldover", &MeshEdgeSwapper::preventFoldover}}) {
        int numVetoes = 0;
        run({each.name, named.name, numTriangles, numEdges, [&] { numVetoes = 0; },
             [&] {
                 for (TopoMeshEdge e = topo->firstEdge(); e; e = e.nextInList()) {
                     bool veto = !e.twin() || !ko::less<TopoMeshEdge>()(e, e.twin());
                     each.criterion(e, veto);
                     numVetoes += veto;
                 }
             },
             [&] { return figure("vetoes", numVetoes); }},
            {1});
    }

    int numSwaps = 0;
    run({"swap_repeatedly", named.name, numTriangles, 0.0, [&] { topo = topoMeshOf(named.mesh); },
         [&] {
             MeshEdgeSwapper swapper;
             for (Criterion const criterion :
                  {&MeshEdgeSwapper::minimizeOppositeAngleSum, &MeshEdgeSwapper::preventFoldover})
                 swapper.getVetoSignal().addCallback(
                     new koRTB::Function2ArgsGlobal<TopoMeshEdge, bool&>(criterion));
             numSwaps = meshSwapEdgesRepeatedly(*topo, swapper);
         },
         [&] { return figure("swaps", numSwaps); }},
        {1});
}

}  // namespace

void topologyCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        std::unique_ptr<TopoMesh> topo;
        int const numTriangles = named->mesh.getNumTriangles();
        run({"halfedge", named->name, numTriangles, 0.0, [&] { topo.reset(); },
             [&] { topo = topoMeshOf(named->mesh); },
             [&] { return figure("halfedges", topo->numEdges()); }},
            {1});
        topo = topoMeshOf(named->mesh);
        std::unique_ptr<TopoMesh> finer;
        run({"catmull_clark_1", named->name, numTriangles, 0.0, [&] { finer.reset(); },
             [&] { finer.reset(computeSubdivMesh(*topo)); },
             [&] {
                 return figure("vertices", finer->numVertices()) +
                        figure("faces", finer->numFaces());
             }});
        topo.reset();
        finer.reset();
        bridgeCases(*named);
        swapCases(*named);
    }
}

}  // namespace bench
