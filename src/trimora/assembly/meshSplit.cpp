#include "trimora/assembly/meshSplit.h"

#include "trimora/assembly/MeshPartition.h"
#include "trimora/assembly/meshExtract.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"

#include <memory>
#include <utility>

namespace koGeom {

void meshSplit(CompactMesh const& mesh, int maxSize, ko::vector<CompactMesh*>& out) {
    out.clear();
    MeshAdjTris adjTris;
    meshAdjTris(mesh, adjTris);
    auto const subsets = MeshPartition(mesh, adjTris, maxSize).partition();
    if (subsets.size() < 2)
        return;

    ko::vector<CompactMesh> extracted;
    meshExtract(extracted, mesh, subsets);
    ko::vector<std::unique_ptr<CompactMesh>> pieces;  // so that no failed allocation leaves half
    for (CompactMesh& piece : extracted)
        pieces.push_back(std::make_unique<CompactMesh>(std::move(piece)));
    out.reserve(pieces.size());
    for (auto& piece : pieces)
        out.push_back(piece.release());

    debugChannel().print("meshSplit: s\n");
}

}  // namespace koGeom
