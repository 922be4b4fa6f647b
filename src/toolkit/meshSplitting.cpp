#include "toolkit/meshSplitting.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshParts.h"

#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koOS/StopWatch.h"

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshSubset;
using SubsetList = ko::list<ko::Reference<MeshSubset>>;

SubsetList grow(CompactMesh const& mesh, int maxVertices, koUtil::Progress& progress) {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    koGeom::MeshPartition partition(mesh, adjTris, maxVertices);
    SubsetList subsets;
    double placed = 0.0;
    while (!progress.cancelled()) {
        ko::Reference<MeshSubset> const subset = partition.nextSubMesh();
        if (!subset)
            break;
        subsets.push_back(subset);
        placed += subset->numTriangles;
        progress.set(placed / mesh.getNumTriangles());
    }
    return subsets;
}

SubsetList componentsBySize(CompactMesh const& mesh) {
    SubsetList parts = findParts(mesh);
    parts.sort([](auto const& a, auto const& b) { return a->numTriangles > b->numTriangles; });
    return parts;
}

void countUses(CompactMesh const& mesh, SubsetList const& subsets, SplitOutcome& outcome) {
    std::vector<int> uses(static_cast<std::size_t>(mesh.getNumVertices()), 0);
    for (auto const& subset : subsets)
        for (int k = 0; k < subset->numVertices; ++k)
            ++uses[static_cast<std::size_t>(subset->vertices[k])];
    for (int const count : uses) {
        outcome.sharedVertices += count > 1;
        outcome.unusedVertices += count == 0;
    }
}

std::string faultOf(CompactMesh const& mesh, SplitOptions const& options) {
    if (mesh.getNumTriangles() == 0)
        return "holds no triangles to split";
    if (options.by == SplitOptions::By::Vertices && options.maxVertices < 4)
        return "a piece needs room for 4 vertices; allow more than " +
               std::to_string(options.maxVertices);
    return {};
}

std::string faultOfCount(std::size_t count, SplitOptions const& options) {
    if (count <= options.maxParts)
        return {};
    bool const isByVertices = options.by == SplitOptions::By::Vertices;
    return "the result has " + countInWords(std::int64_t(count), "part") +
           ", each for a file of its own, and the limit is " + std::to_string(options.maxParts) +
           (isByVertices ? "; allow more vertices in each, or more parts"
                         : "; weld the mesh first, or allow more parts");
}

/// Each triangle is in one part.
SurfaceFault faultOfParts(CompactMesh const& mesh, std::vector<CompactMesh> const& parts) {
    MeshState const source = stateOf(mesh, InvariantDepth::Arrays);
    std::int64_t numTriangles = 0;
    for (CompactMesh const& part : parts) {
        numTriangles += part.getNumTriangles();
        if (SurfaceFault fault = faultOfMade(source, part, {}))
            return fault;
    }
    return numTriangles == mesh.getNumTriangles()
               ? SurfaceFault()
               : asRefusal({"the parts have not the triangles of the mesh", {}}, 0.0);
}

}  // namespace

SplitOutcome splitMesh(CompactMesh const& mesh, SplitOptions const& options,
                       koUtil::Progress& progress) {
    SplitOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    outcome.refusal = faultOf(mesh, options);
    if (!outcome.refusal.empty())
        return outcome;
    koOS::StopWatch watch;
    watch.start();
    SubsetList const subsets = options.by == SplitOptions::By::Vertices
                                   ? grow(mesh, options.maxVertices, progress)
                                   : componentsBySize(mesh);
    outcome.cancelled = progress.cancelled();
    if (outcome.cancelled)
        return outcome;
    outcome.refusal = faultOfCount(subsets.size(), options);
    outcome.isTooMany = !outcome.refusal.empty();
    if (outcome.isTooMany)
        return outcome;
    koGeom::meshExtract(outcome.parts, mesh, subsets);
    countUses(mesh, subsets, outcome);
    if (SurfaceFault const fault = faultOfParts(mesh, outcome.parts)) {
        outcome = SplitOutcome();
        refuse(outcome, fault);
        return outcome;
    }
    progress.set(1.0);
    outcome.seconds = watch.clear();
    return outcome;
}

}  // namespace trimora
