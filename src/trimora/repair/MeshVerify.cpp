#include "trimora/repair/MeshVerify.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Edges and fans are checked vertex by vertex: a counting sort puts what the corners at a vertex say side by side, so that
/// pairs of faces or edges far apart in the lists never have to be compared.
namespace koGeom {

namespace {

/// Of creation, from 0.
template <typename Handle>
std::uint32_t numberOf(Handle handle) {
    return handle.record()->number;
}

/// For each vertex, one number from each corner of a face at it.
class CornerTable {
public:
    explicit CornerTable(std::size_t numVertices) : ends_(numVertices + 1, 0) {}

    void count(TopoMeshVertex vertex) { ++ends_[slotOf(vertex) + 1]; }
    /// Once all corners are counted: makes room for them.
    void allocate() {
        for (std::size_t slot = 1; slot < ends_.size(); ++slot)
            ends_[slot] += ends_[slot - 1];
        values_.resize(ends_.back());
        next_.assign(ends_.begin(), ends_.end() - 1);
    }
    void add(TopoMeshVertex vertex, std::uint32_t value) {
        values_[next_[slotOf(vertex)]++] = value;
    }

    std::uint32_t* begin(TopoMeshVertex vertex) { return values_.data() + ends_[slotOf(vertex)]; }
    std::uint32_t* end(TopoMeshVertex vertex) { return values_.data() + ends_[slotOf(vertex) + 1]; }

private:
    static std::size_t slotOf(TopoMeshVertex vertex) { return numberOf(vertex); }

    std::vector<std::size_t> ends_;  // before allocate(): counts
    std::vector<std::size_t> next_;
    std::vector<std::uint32_t> values_;
};

/// The checks in turn; each is true when it passes.
class Verifier {
public:
    explicit Verifier(TopoMesh const& mesh) : mesh_(mesh) {}

    bool checkCorners() const;
    bool checkDirectedEdges() const;
    bool checkFaceRings() const;
    bool checkVertexFans() const;
    bool checkVertexEdges() const;

private:
    template <typename Visit>
    bool walkRing(TopoMeshFace face, Visit visit) const;
    template <typename Visit>
    bool walkRings(Visit visit) const;
    template <typename Visit>
    void walkStar(TopoMeshVertex vertex, Visit visit) const;
    template <typename Value>
    bool fill(CornerTable& table, Value value) const;
    std::size_t numSlots() const;

    TopoMesh const& mesh_;
};

/// Visits the edges of a face until one of them displeases. False then, and where the ring does not come back to its
/// first edge by living elements of the mesh.
template <typename Visit>
bool Verifier::walkRing(TopoMeshFace face, Visit visit) const {
    TopoMeshEdge const first = face.edge();
    TopoMeshEdge e = first;
    int numLeft = mesh_.numEdges();
    do {
        if (!mesh_.contains(e) || !mesh_.contains(e.origin()) || numLeft-- == 0)
            return false;
        if (!mesh_.contains(e.next()) || e.next().prev() != e || !visit(e))
            return false;
        e = e.next();
    } while (e != first);
    return true;
}

template <typename Visit>
bool Verifier::walkRings(Visit visit) const {
    for (TopoMeshFace f = mesh_.firstFace(); f; f = f.nextInList())
        if (!walkRing(f, [&](TopoMeshEdge e) { return visit(e, f); }))
            return false;
    return true;
}

/// Visits the edges that leave a vertex, as far as its iterator goes.
template <typename Visit>
void Verifier::walkStar(TopoMeshVertex vertex, Visit visit) const {
    int numLeft = mesh_.numEdges();
    auto const isWhole = [this](TopoMeshEdge e) {
        return mesh_.contains(e) && mesh_.contains(e.prev()) && mesh_.contains(e.next());
    };
    for (TopoMeshEdgeVertexIterator i = {vertex, vertex.edge(), 1}; isWhole(i.edge) && numLeft > 0;
         i.next()) {
        visit(i.edge);
        --numLeft;
    }
}

/// Enters the value of each corner; false when a ring is broken.
template <typename Value>
bool Verifier::fill(CornerTable& table, Value value) const {
    bool const isWhole = walkRings([&](TopoMeshEdge e, TopoMeshFace) {
        table.count(e.origin());
        return true;
    });
    table.allocate();
    return isWhole && walkRings([&](TopoMeshEdge e, TopoMeshFace f) {
               table.add(e.origin(), value(e, f));
               return true;
           });
}

/// Numbers of creation are below this.
std::size_t Verifier::numSlots() const {
    std::size_t count = 0;
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList())
        count = std::size_t(numberOf(v)) + 1;
    return count;
}

bool Verifier::checkCorners() const {
    return walkRings([](TopoMeshEdge e, TopoMeshFace) {
        Point const corner = e.origin().point();
        Normal const toNext(e.next().origin().point() - corner);
        Normal const toPrevious(e.prev().origin().point() - corner);
        return !(std::abs(dot(toNext, toPrevious) - 1.0) <= epsilonTol);
    });
}

bool Verifier::checkDirectedEdges() const {
    CornerTable ends(numSlots());
    if (!fill(ends, [](TopoMeshEdge e, TopoMeshFace) { return numberOf(e.next().origin()); }))
        return false;
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList()) {
        std::sort(ends.begin(v), ends.end(v));
        if (std::adjacent_find(ends.begin(v), ends.end(v)) != ends.end(v))
            return false;
    }
    return true;
}

bool Verifier::checkFaceRings() const {
    std::vector<std::uint32_t> corners;
    for (TopoMeshFace f = mesh_.firstFace(); f; f = f.nextInList()) {
        corners.clear();
        if (!walkRing(f, [&](TopoMeshEdge e) {
                corners.push_back(numberOf(e.origin()));
                return e.face() == f;
            }))
            return false;
        std::sort(corners.begin(), corners.end());
        if (std::adjacent_find(corners.begin(), corners.end()) != corners.end())
            return false;
    }
    return true;
}

bool Verifier::checkVertexFans() const {
    CornerTable faces(numSlots());
    if (!fill(faces, [](TopoMeshEdge, TopoMeshFace f) { return numberOf(f); }))
        return false;
    std::vector<std::uint32_t> met;
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList()) {
        std::uint32_t* const first = faces.begin(v);
        std::sort(first, faces.end(v));
        std::uint32_t* const last = std::unique(first, faces.end(v));
        if (last - first < 2)
            continue;
        met.clear();
        walkStar(v, [&met](TopoMeshEdge e) {
            if (e.face())
                met.push_back(numberOf(e.face()));
        });
        std::sort(met.begin(), met.end());
        if (!std::includes(met.begin(), met.end(), first, last))
            return false;
    }
    return true;
}

bool Verifier::checkVertexEdges() const {
    CornerTable corners(numSlots());
    if (!fill(corners, [](TopoMeshEdge, TopoMeshFace) { return 0u; }))
        return false;
    for (TopoMeshVertex v = mesh_.firstVertex(); v; v = v.nextInList()) {
        std::ptrdiff_t numMet = 0;
        walkStar(v, [&numMet](TopoMeshEdge) { ++numMet; });
        if (numMet != corners.end(v) - corners.begin(v))
            return false;
    }
    return true;
}

}  // namespace

bool MeshVerify::operator()(TopoMesh& mesh, Info const& info) {
    Verifier const verifier(mesh);
    return (!info.checkCorners || verifier.checkCorners()) &&
           (!info.checkDirectedEdges || verifier.checkDirectedEdges()) &&
           (!info.checkFaceRings || verifier.checkFaceRings()) &&
           (!info.checkVertexFans || verifier.checkVertexFans()) &&
           (!info.checkVertexEdges || verifier.checkVertexEdges());
}

void meshVerify(CompactMesh const&) {}

}  // namespace koGeom
