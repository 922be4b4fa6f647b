#include "trimora/stitch/MeshStitchSeam.h"

#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshModification.h"
#include "trimora/stitch/detail/SeamCursor.h"
#include "trimora/stitch/detail/openEdges.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

/// Seams. A walk goes along both chains at once and leaves them with as many edges each and the same places; a merge pass
/// then joins them, edge by edge. Whatever a walk needs is counted beforehand, so that a refusal changes nothing and every
/// walk ends: each of its steps passes an edge that was there at the start.
namespace koGeom {

using namespace detail;

namespace {

using Chain = std::vector<TopoMeshEdge>;

bool contains(Chain const& chain, TopoMeshEdge e) {
    return std::find(chain.begin(), chain.end(), e) != chain.end();
}

bool canSplitAll(TopoMesh const& mesh, Chain const& chain) {
    return std::all_of(chain.begin(), chain.end(),
                       [&mesh](TopoMeshEdge e) { return canSplitOpenEdge(mesh, e); });
}

/// Both chains without an edge of each other. Stretches of one loop overlap where one holds the other's first edge.
bool areFit(TopoMesh const& mesh, SeamChains const& chains) {
    return !chains.a.empty() && !chains.b.empty() && canSplitAll(mesh, chains.a) &&
           canSplitAll(mesh, chains.b) && !contains(chains.a, chains.b.front()) &&
           !contains(chains.b, chains.a.front());
}

/// Half-edges between two vertices, each way.
struct Links {
    int there = 0;
    int back = 0;
};

Links linksBetween(TopoMeshVertex from, TopoMeshVertex to) {
    Links links;
    for (TopoMeshEdgeRecord* e = from.record()->firstLeaving; e != nullptr; e = e->nextLeaving) {
        links.there += e->end() == to.record();
        links.back += e->prev->origin == to.record();
    }
    return links;
}

bool areLinked(TopoMeshVertex a, TopoMeshVertex b) {
    return TopoMesh::findEdge(a, b) || TopoMesh::findEdge(b, a);
}

/// Whether the vertices have no neighbour in common but those to which both have one open edge, and these run against each
/// other: else a third face would come to an edge.
bool canBecomeOne(TopoMeshVertex kept, TopoMeshVertex gone) {
    if (kept == gone)
        return true;
    auto const isFine = [kept, gone](TopoMeshVertex x) {
        if (!areLinked(kept, x))
            return true;
        Links const ofKept = linksBetween(kept, x);
        Links const ofGone = linksBetween(gone, x);
        return ofKept.there + ofGone.there <= 1 && ofKept.back + ofGone.back <= 1;
    };
    for (TopoMeshEdgeRecord* e = gone.record()->firstLeaving; e != nullptr; e = e->nextLeaving)
        if (!isFine(TopoMeshVertex(e->end())) || !isFine(TopoMeshVertex(e->prev->origin)))
            return false;
    return true;
}

/// Whether two triangles would lie on the same three corners.
bool wouldCoincide(TopoMeshEdge a, TopoMeshEdge b) {
    return isInTriangle(a) && isInTriangle(b) && a.prev().origin() == b.prev().origin();
}

//     b1 <--b-- b0      Where both ends are to be merged a diagonal would come to lie on the joined edge, and so would further
//                       edges between the ends of a or of b.
//     a0 --a--> a1
bool canSew(TopoMesh const& mesh, TopoMeshEdge a, TopoMeshEdge b) {
    if (!mesh.canMergeVertices(a, b) || wouldCoincide(a, b))
        return false;
    TopoMeshVertex const a0 = a.origin();
    TopoMeshVertex const a1 = endOf(a);
    TopoMeshVertex const b0 = b.origin();
    TopoMeshVertex const b1 = endOf(b);
    Links const ofA = linksBetween(a0, a1);
    Links const ofB = linksBetween(b1, b0);
    bool const isDouble = a0 != b1 && a1 != b0;
    if (isDouble && (areLinked(a0, b0) || areLinked(a1, b1) || ofA.there + ofA.back > 1 ||
                     ofB.there + ofB.back > 1))
        return false;
    return canBecomeOne(a0, b1) && canBecomeOne(a1, b0);
}

/// The first of the loop's vertices that is nearest.
std::size_t nearestOnLoop(Chain const& loop, Point const& point) {
    std::size_t nearest = 0;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < loop.size(); ++i) {
        double const squared = distance2(loop[i].origin().point(), point);
        if (squared < least) {
            least = squared;
            nearest = i;
        }
    }
    return nearest;
}

}  // namespace

class MeshStitchSeamImpl {
public:
    MeshStitchSeamImpl(TopoMesh& edited, MeshStitchSeam& seam) : mesh(edited), seam_(seam) {}
    virtual ~MeshStitchSeamImpl() = default;

    bool canStitch(SeamEnds const& ends) const { return areFit(mesh, chainsBetween(ends)); }
    bool areLoopsFit(Chain const& a, Chain const& b) const;
    void stitch(SeamEnds ends, double tolerance, bool merge);
    void stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool merge);

    TopoMesh& mesh;
    bool preservedA = true;
    int numOpenPairs = 0;
    double joinedLength = 0.0;

private:
    SeamChains chainsBetween(SeamEnds const& ends) const;
    bool walk(SeamEnds& ends, double tolerance);
    void mergePass(SeamEnds const& ends);
    void notify();

    MeshStitchSeam& seam_;
};

SeamChains MeshStitchSeamImpl::chainsBetween(SeamEnds const& ends) const {
    for (TopoMeshVertex const v : {ends.startA, ends.endA, ends.startB, ends.endB})
        if (!mesh.contains(v))
            return {};
    return {openChain(ends.startA, ends.endA), openChain(ends.endB, ends.startB)};
}

bool MeshStitchSeamImpl::walk(SeamEnds& ends, double tolerance) {
    SeamChains const chains = chainsBetween(ends);
    return areFit(mesh, chains) && SeamCursor(mesh, ends, chains, tolerance).run();
}

void MeshStitchSeamImpl::mergePass(SeamEnds const& ends) {
    SeamChains const chains = chainsBetween(ends);
    std::size_t const count = chains.a.size();
    if (chains.b.size() != count || count == 0) {
        numOpenPairs += static_cast<int>(std::max(chains.a.size(), chains.b.size()));
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        TopoMeshEdge const a = chains.a[i];
        TopoMeshEdge const b = chains.b[count - 1 - i];
        if (!canSew(mesh, a, b)) {
            ++numOpenPairs;
            continue;
        }
        if (a.origin() != endOf(b))
            seam_.raise(endOf(b));
        if (endOf(a) != b.origin())
            seam_.raise(b.origin());
        joinedLength += koLinear::distance(a.origin().point(), endOf(a).point());
        mesh.mergeVertices(a, b);
    }
}

void MeshStitchSeamImpl::notify() {
    TopoMeshModification modification(mesh, TopoMeshModification::Topology);
    mesh.modified(modification);
}

void MeshStitchSeamImpl::stitch(SeamEnds ends, double tolerance, bool merge) {
    SeamChains chains = chainsBetween(ends);
    preservedA = true;
    numOpenPairs = 0;
    joinedLength = 0.0;
    if (!areFit(mesh, chains))
        return;
    if (chains.b.size() > chains.a.size()) {
        ends = {ends.endB, ends.startB, ends.endA, ends.startA};
        std::swap(chains.a, chains.b);
        preservedA = false;
    }
    bool const isMatched = SeamCursor(mesh, ends, chains, tolerance).run();
    if (merge && isMatched)
        mergePass(ends);
    else if (merge)
        numOpenPairs = static_cast<int>(chains.a.size());
    notify();
}

bool MeshStitchSeamImpl::areLoopsFit(Chain const& a, Chain const& b) const {
    return a.size() >= 2 && b.size() >= 2 && areFit(mesh, {a, b});
}

void MeshStitchSeamImpl::stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance,
                                        bool merge) {
    preservedA = true;
    numOpenPairs = 0;
    joinedLength = 0.0;
    if (!mesh.contains(a) || !mesh.contains(b))
        return;
    Chain loopA = openLoop(a);
    Chain loopB = openLoop(b);
    if (!areLoopsFit(loopA, loopB))
        return;
    if (loopB.size() > loopA.size()) {
        std::swap(loopA, loopB);
        preservedA = false;
    }
    TopoMeshEdge const startA = loopA.front();
    TopoMeshEdge const halfA = loopA[loopA.size() / 2];
    std::size_t const nearStart = nearestOnLoop(loopB, startA.origin().point());
    std::size_t nearHalf = nearestOnLoop(loopB, halfA.origin().point());
    if (nearHalf == nearStart)
        nearHalf = (nearStart + loopB.size() / 2) % loopB.size();

    // In the second half B leads, forward, and A follows, backward.
    SeamEnds first = {startA.origin(), halfA.origin(), loopB[nearStart].origin(),
                      loopB[nearHalf].origin()};
    bool isMatched = walk(first, tolerance);
    SeamEnds second = {first.startB, first.endB, first.startA, first.endA};
    isMatched = isMatched && walk(second, tolerance);
    if (merge && isMatched) {
        mergePass({second.startB, second.endB, second.startA, second.endA});
        mergePass({second.endB, second.startB, second.endB, second.startB});
    } else if (merge) {
        numOpenPairs = static_cast<int>(loopA.size());
    }
    notify();
}

MeshStitchSeam::MeshStitchSeam(TopoMesh& mesh)
    : impl_(std::make_unique<MeshStitchSeamImpl>(mesh, *this)) {}

MeshStitchSeam::~MeshStitchSeam() = default;

void MeshStitchSeam::stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0,
                            TopoMeshVertex b1, double tolerance, bool merge) {
    impl_->stitch({a0, a1, b0, b1}, tolerance, merge);
}

bool MeshStitchSeam::canStitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0,
                               TopoMeshVertex b1) const {
    return impl_->canStitch({a0, a1, b0, b1});
}

void MeshStitchSeam::stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance,
                                    bool merge) {
    impl_->stitchCircular(a, b, tolerance, merge);
}

bool MeshStitchSeam::canStitchCircular(TopoMeshVertex a, TopoMeshVertex b) const {
    TopoMesh const& mesh = impl_->mesh;
    return mesh.contains(a) && mesh.contains(b) && impl_->areLoopsFit(openLoop(a), openLoop(b));
}

bool MeshStitchSeam::preservedA() const {
    return impl_->preservedA;
}

int MeshStitchSeam::numOpenPairs() const {
    return impl_->numOpenPairs;
}

double MeshStitchSeam::joinedLength() const {
    return impl_->joinedLength;
}

}  // namespace koGeom
