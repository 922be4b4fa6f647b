#include "trimora/topology/MeshModifyRep.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/topology/detail/MeshConvertRepImpl.h"

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

/// The way back into the arrays. Everything that the half-edge mesh has is appended, the rim apart, which is written in
/// place; then the old region is deleted as any selection is, and the numbers close up.
///
/// All tables are arrays by slot or by creation number: no search takes part.
namespace koGeom {

namespace {

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

std::size_t numberOf(TopoMeshVertex vertex) {
    return vertex.record()->number;
}

/// a + b, where ints can count it.
int countOf(int a, int b) {
    std::int64_t const sum = std::int64_t(a) + b;
    if (sum > std::numeric_limits<int>::max())
        throw std::bad_alloc();
    return static_cast<int>(sum);
}

}  // namespace

class MeshModifyRep::ModifyImpl : public MeshConvertRep::ConvertImpl {
public:
    ModifyImpl(CompactMesh& source, BitVector const& triangles, BitVector const& vertices,
               MeshAdjTris const& table)
        : ConvertImpl(source, triangles, vertices, table), editedMesh(source) {}

    TopoMesh& extract() override;

    /// The slot of a vertex of the region, -1 for others and for those whose entry was cancelled.
    int slotOf(TopoMeshVertex vertex) const {
        if (!vertex || numberOf(vertex) >= oldNumbers.size())
            return -1;
        int const slot = static_cast<int>(numberOf(vertex));
        return vertexMap[slot] == vertex ? slot : -1;
    }
    bool isCancelled(int slot) const { return !vertexMap[slot]; }
    void cancel(int slot) { vertexMap[slot] = TopoMeshVertex(); }
    void removeVertex(TopoMeshVertex vertex);
    bool canMerge() const;

    CompactMesh& editedMesh;
    std::vector<int> oldNumbers;  ///< by slot: the number in the mesh
    BitVector ownedVertices;      ///< over the mesh's vertices
    bool isMerged = false;

private:
    bool hasAllTriangles(int vertex) const;
};

/// A vertex without triangles has them all. What the table does not know of counts as outside the region.
bool MeshModifyRep::ModifyImpl::hasAllTriangles(int vertex) const {
    if (vertex >= adj.getData().getNumSets())
        return false;
    int const* const triangles = adj.triIndices(vertex);
    for (int i = 0; i < adj.numTris(vertex); ++i)
        if (!selectedTriangles.isBitSet(triangles[i]))
            return false;
    return true;
}

TopoMesh& MeshModifyRep::ModifyImpl::extract() {
    if (isExtracted)
        return topo;

    koOS::StopWatch watch;
    watch.start();

    ConvertImpl::extract();
    oldNumbers.reserve(at(selectedVertices.count));
    ownedVertices.resize(selectedVertices.size);
    forEachSetBit(selectedVertices, [this](int v) {
        oldNumbers.push_back(v);
        if (hasAllTriangles(v))
            ownedVertices.setBit(v);
    });

    debugChannel().print("MeshModifyRep::extract: %f s\n", watch.clear());
    return topo;
}

void MeshModifyRep::ModifyImpl::removeVertex(TopoMeshVertex vertex) {
    int const slot = slotOf(vertex);
    if (slot < 0)
        return;
    ownedVertices.clearBit(oldNumbers[at(slot)]);
    cancel(slot);
}

bool MeshModifyRep::ModifyImpl::canMerge() const {
    return isExtracted && !isMerged && mesh.getNumVertices() == selectedVertices.size &&
           mesh.getNumTriangles() == selectedTriangles.size;
}

namespace {

/// One merge, stage by stage.
class Merger {
public:
    explicit Merger(MeshModifyRep::ModifyImpl& rep)
        : rep_(rep),
          mesh_(rep.editedMesh),
          numOldVertices_(rep.mesh.getNumVertices()),
          numOldTriangles_(rep.mesh.getNumTriangles()),
          hasTriangles_(rep.selectedTriangles.count > 0) {}

    void run(bool wantsTables);
    void giveVertexMap(Array<int>& vertexMap) const;
    void giveTopoMap(ArrayMap<TopoMeshVertex, int>& topoMap) const;

private:
    void keepNumbers();
    void cancelOwned();
    void numberVertices();
    void storePositions();
    void storeFaces();
    void deleteOldRegion();
    void announceAdditions();
    int finalNumber(int number) const;

    MeshModifyRep::ModifyImpl& rep_;
    CompactMesh& mesh_;
    int const numOldVertices_;
    int const numOldTriangles_;
    bool const hasTriangles_;

    std::vector<int>
        keptNumbers_;  // by slot: the old number, -1 for a removed vertex; only when tables are wanted
    std::vector<int> numbers_;  // by creation number: where the vertex stands before the deletion
    int numNewVertices_ = 0;
    bool hasMoved_ = false;         // a position of the mesh has changed
    ko::Reference<Remap> closing_;  // the deletion's table; null when it kept all or nothing
};

void Merger::run(bool wantsTables) {
    if (wantsTables)
        keepNumbers();
    // Without a triangle in the region nothing will be deleted: owned vertices then keep their places as the rim does.
    if (hasTriangles_)
        cancelOwned();
    numberVertices();
    storePositions();
    storeFaces();
    if (hasTriangles_)
        deleteOldRegion();
    else
        announceAdditions();
}

void Merger::keepNumbers() {
    keptNumbers_ = rep_.oldNumbers;
    for (int slot = 0; slot < rep_.vertexMap.numSlots(); ++slot)
        if (rep_.isCancelled(slot))
            keptNumbers_[at(slot)] = -1;
}

void Merger::cancelOwned() {
    for (int slot = 0; slot < rep_.vertexMap.numSlots(); ++slot)
        if (rep_.ownedVertices.isBitSet(rep_.oldNumbers[at(slot)]))
            rep_.cancel(slot);
}

/// Vertices without an entry get the next numbers, in list order.
void Merger::numberVertices() {
    numbers_.reserve(at(rep_.topo.numVertices()));
    for (TopoMeshVertex v = rep_.topo.firstVertex(); v; v = v.nextInList()) {
        int const slot = rep_.slotOf(v);
        numbers_.resize(numberOf(v) + 1, -1);
        numbers_.back() =
            slot >= 0 ? rep_.oldNumbers[at(slot)] : countOf(numOldVertices_, numNewVertices_++);
    }
}

/// True when that is another position than before, bit for bit.
bool store(MeshVertex& place, TopoMeshVertex vertex) {
    using Bits = std::array<std::uint32_t, 3>;
    Point const point = vertex.point();
    Bits const before = std::bit_cast<Bits>(place);
    place.set(&point.x);
    return std::bit_cast<Bits>(place) != before;
}

/// Entries of vertices that were deleted without a word still stand, and are written with the position they had.
void Merger::storePositions() {
    mesh_.resizeVertexArray(countOf(numOldVertices_, numNewVertices_));
    MeshVertex* const places = mesh_.getVertices();
    for (int slot = 0; slot < rep_.vertexMap.numSlots(); ++slot)
        if (!rep_.isCancelled(slot) &&
            store(places[rep_.oldNumbers[at(slot)]], rep_.vertexMap[slot]))
            hasMoved_ = true;
    if (numNewVertices_ == 0)
        return;
    for (TopoMeshVertex v = rep_.topo.firstVertex(); v; v = v.nextInList())
        if (int const number = numbers_[numberOf(v)]; number >= numOldVertices_)
            store(places[number], v);
}

void Merger::storeFaces() {
    mesh_.resizeTriangleArray(countOf(numOldTriangles_, rep_.topo.numFaces()));
    MeshTriangle* triangle = mesh_.getTriangles() + numOldTriangles_;
    for (TopoMeshFace f = rep_.topo.firstFace(); f; f = f.nextInList()) {
        TopoMeshEdge e = f.edge();
        for (int& corner : triangle->vertices) {
            corner = numbers_[numberOf(e.origin())];
            e = e.next();
        }
        ++triangle;
    }
}

void Merger::deleteOldRegion() {
    mesh_.getSelectedVertices().resize(mesh_.getNumVertices());
    mesh_.getSelectedTriangles().resize(mesh_.getNumTriangles());
    mesh_.getSelectedVertices() |= rep_.selectedVertices;
    mesh_.getSelectedTriangles() |= rep_.selectedTriangles;
    MeshDeleteSelected deleteSelected(mesh_);
    deleteSelected();
    closing_ = deleteSelected.getVertexMap();
}

void Merger::announceAdditions() {
    mesh_.getSelectedVertices().resize(0);
    mesh_.getSelectedTriangles().resize(0);
    bool const hasGrown = numNewVertices_ > 0 || rep_.topo.numFaces() > 0;
    if (!hasGrown && !hasMoved_)
        return;
    MeshModification modification(
        &mesh_, hasGrown ? MeshModification::Topology : MeshModification::Geometry, nullptr);
    mesh_.modified(modification);
}

/// By the deletion; without its table everything went, or nothing did.
int Merger::finalNumber(int number) const {
    if (closing_)
        return (*closing_)(number);
    return hasTriangles_ ? -1 : number;
}

void Merger::giveVertexMap(Array<int>& vertexMap) const {
    if (closing_) {
        vertexMap = closing_->table;
    } else {
        vertexMap.setSize(numOldVertices_ + numNewVertices_);
        for (int i = 0; i < vertexMap.size(); ++i)
            vertexMap[i] = finalNumber(i);
    }
    int* const table = vertexMap.data();

    // Owned vertices stand under new numbers: their old ones lead there.
    for (TopoMeshVertex v = rep_.topo.firstVertex(); v; v = v.nextInList()) {
        if (numberOf(v) >= keptNumbers_.size())
            break;
        int const oldNumber = keptNumbers_[numberOf(v)];
        if (oldNumber >= 0 && table[oldNumber] == -1)
            table[oldNumber] = finalNumber(numbers_[numberOf(v)]);
    }
}

void Merger::giveTopoMap(ArrayMap<TopoMeshVertex, int>& topoMap) const {
    topoMap = ArrayMap<TopoMeshVertex, int>();
    topoMap.reserve(rep_.topo.numVertices());
    for (TopoMeshVertex v = rep_.topo.firstVertex(); v; v = v.nextInList())
        topoMap.append(v, finalNumber(numbers_[numberOf(v)]));
    for (int slot = 0; slot < rep_.vertexMap.numSlots(); ++slot)
        if (!rep_.isCancelled(slot) && !rep_.topo.contains(rep_.vertexMap[slot]))
            topoMap.append(rep_.vertexMap[slot], finalNumber(rep_.oldNumbers[at(slot)]));
    topoMap.sort();
}

}  // namespace

MeshModifyRep::MeshModifyRep(CompactMesh& mesh, MeshAdjTris const& adj)
    : MeshModifyRep(mesh, mesh.getSelectedTriangles(), mesh.getSelectedVertices(), adj) {}

MeshModifyRep::MeshModifyRep(CompactMesh& mesh, BitVector const& triangles,
                             BitVector const& vertices, MeshAdjTris const& adj)
    : MeshModifyRep(new ModifyImpl(mesh, triangles, vertices, adj)) {}

MeshModifyRep::MeshModifyRep(ModifyImpl* impl) : MeshConvertRep(impl), impl_(impl) {}

MeshModifyRep::~MeshModifyRep() = default;

TopoMesh& MeshModifyRep::extract() {
    return impl_->extract();
}

void MeshModifyRep::removeVertex(TopoMeshVertex vertex) {
    impl_->removeVertex(vertex);
}

void MeshModifyRep::merge() {
    if (!impl_->canMerge())
        return;
    koOS::StopWatch watch;
    watch.start();

    impl_->isMerged = true;
    Merger(*impl_).run(false);
    debugChannel().print("MeshModifyRep::merge(): %f s\n", watch.clear());
}

void MeshModifyRep::merge(Array<int>& vertexMap, ArrayMap<TopoMeshVertex, int>* topoMap) {
    if (!impl_->canMerge())
        return;
    koOS::StopWatch watch;
    watch.start();

    impl_->isMerged = true;
    Merger merger(*impl_);
    merger.run(true);
    merger.giveVertexMap(vertexMap);
    if (topoMap != nullptr)
        merger.giveTopoMap(*topoMap);
    debugChannel().print("MeshModifyRep::merge(): %f s\n", watch.clear());
}

}  // namespace koGeom
