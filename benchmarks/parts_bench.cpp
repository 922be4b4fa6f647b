#include "harness.h"

#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/MeshTriStrip.h"
#include "trimora/assembly/meshRemapStripsAndFans.h"
#include "trimora/assembly/meshSplit.h"
#include "trimora/assembly/polygonalPartition.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/contract/koGeom/Remap.h"

#include <memory>

namespace bench {

namespace {

using namespace koGeom;
using SubsetList = ko::list<ko::Reference<MeshSubset>>;

constexpr int pieceSize = 10000;
constexpr int stripLength = 1000;
constexpr int cacheSize = 24;

std::string figuresOf(SubsetList const& subsets, CompactMesh const& mesh) {
    double numVertices = 0.0;
    for (auto const& subset : subsets)
        numVertices += subset->numVertices;
    return figure("subsets", double(subsets.size())) +
           figure("increase", numVertices / mesh.getNumVertices());
}

void partitionCases(NamedMesh const& named) {
    CompactMesh mesh = named.mesh;
    int const numTriangles = mesh.getNumTriangles();
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    SubsetList subsets;
    run({"partition 10k", named.name, numTriangles, 0.0, [&] { subsets.clear(); },
         [&] { subsets = MeshPartition(mesh, adjTris, pieceSize).partition(); },
         [&] { return figuresOf(subsets, mesh); }},
        {1});

    std::vector<std::unique_ptr<CompactMesh>> pieces;
    run({"split 10k", named.name, numTriangles, 0.0, [&] { pieces.clear(); },
         [&] {
             ko::vector<CompactMesh*> out;
             meshSplit(mesh, pieceSize, out);
             for (CompactMesh* piece : out)
                 pieces.emplace_back(piece);
         },
         [&] { return figure("pieces", double(pieces.size())); }},
        {1});
    pieces.clear();

    // Polygons of two triangles each, of which the growth parts some.
    MeshTriAdjTris adjacent;
    meshTriAdjTris(mesh, adjacent);
    mesh.polys.resize(0, numTriangles / 2 + 1);
    Remap polygons(numTriangles, mesh.getNumPolys());
    for (int t = 0; t < numTriangles; ++t)
        polygons.set(t, t / 2);
    SubsetList repaired;
    run({"partition by polygons", named.name, numTriangles, 0.0, [&] { repaired.clear(); },
         [&] { repaired = polygonalPartition(mesh, polygons, adjacent, subsets); },
         [&] { return figuresOf(repaired, mesh); }},
        {1});
}

void stripCases(NamedMesh const& named) {
    CompactMesh mesh = named.mesh;
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    for (bool const isSingle : {false, true})
        run({isSingle ? "strips joined" : "strips", named.name, mesh.getNumTriangles(), 0.0, [] {},
             [&] { MeshTriStrip(mesh, adjTris).computeStrips(stripLength, isSingle); },
             [&] {
                 return figure("strips", mesh.getNumTriStrips()) +
                        figure("compactness",
                               2.0 * mesh.getNumVertices() / mesh.getNumTriStripPoints());
             }},
            {1});
    CompactMesh work;
    run({"strips remap", named.name, mesh.getNumTriangles(), 0.0, [&] { work = mesh; },
         [&] { meshRemapStripsAndFans(work, cacheSize); },
         [&] { return figure("increase", double(work.getNumVertices()) / mesh.getNumVertices()); }},
        {1});
}

}  // namespace

void partsCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        partitionCases(*named);
        stripCases(*named);
    }
}

}  // namespace bench
