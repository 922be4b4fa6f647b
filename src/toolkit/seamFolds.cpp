#include "toolkit/detail/seamFolds.h"

#include "toolkit/detail/openEdges.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/repair/meshFindAnglesLessThan.h"

#include <algorithm>
#include <unordered_set>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koGeom::MeshDihedralAnglesResult;

constexpr int mostRounds = 10;

using EdgeKeys = std::unordered_set<EdgeKey, EdgeKeyHash>;

MeshDihedralAnglesResult findFolds(CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris,
                                   double angle) {
    MeshDihedralAnglesResult folds;
    koGeom::meshFindAnglesLessThan(mesh, adjTris, angle, folds);
    return folds;
}

/// Both ways, as either triangle may be the first one afterwards.
EdgeKeys keysOfFolds(CompactMesh const& mesh, double angle) {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    EdgeKeys keys;
    for (auto const& [from, to] : findFolds(mesh, adjTris, angle).edges)
        for (EdgeKey const& key : keysOf(mesh, {from, to}))
            keys.insert(key);
    return keys;
}

void move(CompactMesh& mesh, koGeom::MeshAdjVertices const& adjVertices, BitVector const& moving) {
    std::vector<koGeom::MeshVertex> const former(mesh.getVertices(),
                                                 mesh.getVertices() + mesh.getNumVertices());
    for (int v = 0; v < moving.size; ++v) {
        if (moving.isBitSet(v) == 0)
            continue;
        int const count = adjVertices.numNeighbours(v);
        koLinear::Vector sum;
        for (int i = 0; i < count; ++i)
            sum +=
                former[static_cast<std::size_t>(adjVertices.neighbours(v)[i])].asPoint().asVector();
        double const mean[] = {sum.x / count, sum.y / count, sum.z / count};
        mesh.getVertices()[v].set(mean);
    }
}

}  // namespace

int smoothNewFolds(CompactMesh& edited, CompactMesh const& before, double angle) {
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(edited);
    MeshDihedralAnglesResult folds = findFolds(edited, *adjTris, angle);
    if (folds.edges.empty())
        return 0;
    EdgeKeys const known = keysOfFolds(before, angle);
    auto const adjVertices = cache.getAdjVertices(edited);
    auto const borders = cache.getBoundaries(edited);
    BitVector moved(edited.getNumVertices());
    for (int round = 0; round < mostRounds; ++round) {
        auto const isKnown = [&](auto const& edge) {
            return known.count(keysOf(edited, {edge.first, edge.second}).front()) > 0;
        };
        folds.edges.erase(std::remove_if(folds.edges.begin(), folds.edges.end(), isKnown),
                          folds.edges.end());
        if (folds.edges.empty())
            break;
        ko::vector<int> triangles;
        folds.getAdjacentTriangles(edited, *adjTris, triangles);
        BitVector moving(edited.getNumVertices());
        for (int const t : triangles)
            for (int const v : edited.getTriangles()[t].vertices)
                moving.setBit(v);
        for (int b = 0; b < borders->size(); ++b)
            for (int const* v = borders->getStart(b); v != borders->getEnd(b); ++v)
                moving.clearBit(*v);
        move(edited, *adjVertices, moving);
        moved |= moving;
        folds = findFolds(edited, *adjTris, angle);
    }
    return moved.count;
}

}  // namespace trimora
