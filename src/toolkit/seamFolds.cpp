#include "toolkit/detail/seamFolds.h"

#include "toolkit/detail/openEdges.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/repair/meshDuplicateTris.h"
#include "trimora/repair/meshFindAnglesLessThan.h"

#include <algorithm>
#include <optional>
#include <unordered_set>

namespace trimora {

namespace {

using koGeom::BitVector;
using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshDihedralAnglesResult;
using koGeom::MeshTriangle;
using koLinear::Point;
using koLinear::Vector;

constexpr int mostRounds = 10;
// Of its longest edge: a triangle of less height is a cap when its third corner stands away from both ends of that edge.
constexpr double capHeight = 0.02;
constexpr double capMargin = 0.02;

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

/// The edges of triangles with two corners in one place, as these run them.
EdgeKeys keysOfFlat(CompactMesh const& mesh) {
    koGeom::MeshDuplicateTrisResult bad;
    koGeom::meshDuplicateTris(mesh, bad);
    EdgeKeys keys;
    for (int const t : bad.geomDegenerate) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        for (EdgeKey const& key : keysOf(mesh, {corners[0], corners[1], corners[2]}))
            keys.insert(key);
    }
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

/// The corner opposite to the longest edge, if that is the third corner of a cap; else -1.
int apexOfCap(CompactMesh const& mesh, int triangle) {
    MeshTriangle const& corners = mesh.getTriangles()[triangle];
    auto const at = [&](int k) { return mesh.getVertices()[corners[k % 3]].asPoint(); };
    int apex = 0;
    for (int k = 1; k < 3; ++k)
        if (distance2(at(k + 1), at(k + 2)) > distance2(at(apex + 1), at(apex + 2)))
            apex = k;
    Vector const base = at(apex + 2) - at(apex + 1);
    Vector const side = at(apex) - at(apex + 1);
    double const squared = dot(base, base);
    double const foot = dot(base, side);
    bool const isCap = squared > 0.0 && foot > capMargin * squared &&
                       foot < (1.0 - capMargin) * squared &&
                       cross(base, side).length() < capHeight * squared;
    return isCap ? apex : -1;
}

/// One round of swaps. Tables are those of the round's start: what was touched since is left for the next one.
class CapSwaps {
public:
    CapSwaps(CompactMesh& mesh, MeshAdjTris const& adjTris)
        : mesh_(mesh), adjTris_(adjTris), touched_(mesh.getNumVertices()) {}

    /// Whether the triangle was a cap, and its longest edge could be swapped.
    bool trySwap(int triangle);

private:
    int neighbourOver(int triangle, int from, int to) const;
    bool haveEdge(int a, int b) const;

    CompactMesh& mesh_;
    MeshAdjTris const& adjTris_;
    BitVector touched_;
};

/// The only other triangle on the edge, running it the other way; else -1.
int CapSwaps::neighbourOver(int triangle, int from, int to) const {
    int found = -1;
    for (int i = 0; i < adjTris_.numTris(from); ++i) {
        int const t = adjTris_.triIndices(from)[i];
        MeshTriangle const& corners = mesh_.getTriangles()[t];
        bool const isOnEdge = corners[0] == to || corners[1] == to || corners[2] == to;
        if (t == triangle || !isOnEdge)
            continue;
        if (found >= 0)
            return -1;
        found = t;
    }
    if (found < 0)
        return -1;
    MeshTriangle const& corners = mesh_.getTriangles()[found];
    for (int k = 0; k < 3; ++k)
        if (corners[k] == to && corners[(k + 1) % 3] == from)
            return found;
    return -1;
}

bool CapSwaps::haveEdge(int a, int b) const {
    int const* const first = adjTris_.triIndices(a);
    return std::any_of(first, first + adjTris_.numTris(a), [&](int t) {
        MeshTriangle const& corners = mesh_.getTriangles()[t];
        return corners[0] == b || corners[1] == b || corners[2] == b;
    });
}

//         b                     b
//     .       .             .   |   .         the cap p q b and its neighbour q p d become p d b and d q b
//   p -------- q    ->    p     |     q
//     \       /             \    |    /
//         d                     d
bool CapSwaps::trySwap(int triangle) {
    int const apex = apexOfCap(mesh_, triangle);
    if (apex < 0)
        return false;
    MeshTriangle const cap = mesh_.getTriangles()[triangle];
    int const b = cap[apex];
    int const p = cap[(apex + 1) % 3];
    int const q = cap[(apex + 2) % 3];
    int const other = neighbourOver(triangle, p, q);
    if (other < 0)
        return false;
    MeshTriangle const& corners = mesh_.getTriangles()[other];
    int const d = corners[0] + corners[1] + corners[2] - p - q;
    bool const isTouched = touched_.isBitSet(p) != 0 || touched_.isBitSet(q) != 0 ||
                           touched_.isBitSet(b) != 0 || touched_.isBitSet(d) != 0;
    if (isTouched || b == d || haveEdge(b, d))
        return false;
    mesh_.getTriangles()[triangle] = MeshTriangle{{p, d, b}};
    mesh_.getTriangles()[other] = MeshTriangle{{d, q, b}};
    for (int const v : {p, q, b, d})
        touched_.setBit(v);
    return true;
}

class SeamMender {
public:
    SeamMender(CompactMesh& edited, CompactMesh const& before, double angle)
        : edited_(edited), before_(before), angle_(angle) {}

    SeamMending run();

private:
    bool findFaults();
    bool isNewlyFlat(int triangle) const;
    int swapCaps();
    void smooth(BitVector& moved);

    CompactMesh& edited_;
    CompactMesh const& before_;
    double const angle_;
    std::optional<EdgeKeys> foldsBefore_;  // when they are needed
    std::optional<EdgeKeys> flatBefore_;
    koGeom::SimpleMeshCache cache_;
    ko::vector<int> folded_;  // triangles at new folds
    ko::vector<int> flat_;    // new ones with two corners in one place
};

/// Whether there are any that were not there before.
bool SeamMender::findFaults() {
    auto const adjTris = cache_.getAdjTris(edited_);
    MeshDihedralAnglesResult folds = findFolds(edited_, *adjTris, angle_);
    if (!folds.edges.empty() && !foldsBefore_)
        foldsBefore_ = keysOfFolds(before_, angle_);
    auto const isKnown = [&](auto const& edge) {
        return foldsBefore_->count(keysOf(edited_, {edge.first, edge.second}).front()) > 0;
    };
    folds.edges.erase(std::remove_if(folds.edges.begin(), folds.edges.end(), isKnown),
                      folds.edges.end());
    folded_.clear();
    if (!folds.edges.empty())
        folds.getAdjacentTriangles(edited_, *adjTris, folded_);

    koGeom::MeshDuplicateTrisResult bad;
    koGeom::meshDuplicateTris(edited_, bad);
    flat_.assign(bad.geomDegenerate.begin(), bad.geomDegenerate.end());
    if (!flat_.empty() && !flatBefore_)
        flatBefore_ = keysOfFlat(before_);
    flat_.erase(
        std::remove_if(flat_.begin(), flat_.end(), [this](int t) { return !isNewlyFlat(t); }),
        flat_.end());
    return !folded_.empty() || !flat_.empty();
}

bool SeamMender::isNewlyFlat(int triangle) const {
    MeshTriangle const& corners = edited_.getTriangles()[triangle];
    auto const keys = keysOf(edited_, {corners[0], corners[1], corners[2]});
    return std::any_of(keys.begin(), keys.end(),
                       [this](EdgeKey const& key) { return flatBefore_->count(key) == 0; });
}

int SeamMender::swapCaps() {
    auto const adjTris = cache_.getAdjTris(edited_);
    CapSwaps swaps(edited_, *adjTris);
    int count = 0;
    for (int const t : folded_)
        count += swaps.trySwap(t);
    if (count > 0) {
        koGeom::MeshModification modification(&edited_, koGeom::MeshModification::Topology,
                                              nullptr);
        edited_.modified(modification);
    }
    return count;
}

void SeamMender::smooth(BitVector& moved) {
    auto const borders = cache_.getBoundaries(edited_);
    BitVector moving(edited_.getNumVertices());
    for (ko::vector<int> const* const triangles : {&folded_, &flat_})
        for (int const t : *triangles)
            for (int const v : edited_.getTriangles()[t].vertices)
                moving.setBit(v);
    for (int b = 0; b < borders->size(); ++b)
        for (int const* v = borders->getStart(b); v != borders->getEnd(b); ++v)
            moving.clearBit(*v);
    move(edited_, *cache_.getAdjVertices(edited_), moving);
    moved |= moving;
}

SeamMending SeamMender::run() {
    SeamMending mending;
    for (int round = 0; round < mostRounds && findFaults(); ++round) {
        int const count = swapCaps();
        mending.swappedEdges += count;
        if (count == 0)
            break;
    }
    BitVector moved(edited_.getNumVertices());
    bool isFaulty = !folded_.empty() || !flat_.empty();
    for (int round = 0; round < mostRounds && isFaulty; ++round) {
        smooth(moved);
        isFaulty = findFaults();
    }
    mending.movedVertices = moved.count;
    return mending;
}

}  // namespace

SeamMending mendSeams(CompactMesh& edited, CompactMesh const& before, double angle) {
    return SeamMender(edited, before, angle).run();
}

}  // namespace trimora
