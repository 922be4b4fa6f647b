#pragma once

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/contract/koUtil/Ordering.h"
#include "trimora/export.h"
#include "trimora/reduce/detail/VertexRemoval.h"
#include "trimora/reduce/meshReduce.h"

#include <memory>
#include <vector>

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;
class MeshModifyRep;

namespace detail {

/// The driver of the reductions by vertex removal. What may go, and when there is enough, is for the class derived.
///
/// pass     ranks all vertices by flatness, chooses candidates no two of which are neighbours, removes them in batches
/// batch    moves the surroundings of its vertices into a half-edge mesh, tries each vertex in ascending order, and writes
///          the region back. A poor batch is dropped and tried again without the vertices that could not go
class TRIMORA_API MeshReduceBase {
public:
    /// The mesh outlives the object, and nobody else changes it meanwhile.
    explicit MeshReduceBase(CompactMesh& meshToReduce);
    MeshReduceBase(MeshReduceBase const&) = delete;
    MeshReduceBase& operator=(MeshReduceBase const&) = delete;
    virtual ~MeshReduceBase();

    /// Once for each object.
    void reduce(koUtil::Progress& progress);

    MeshReduceReport report() const { return {reason, iteration}; }
    /// Positions in order of removal, those of dropped batches among them.
    std::vector<Point> const& getRemovedPoints() const { return removedPoints; }

protected:
    /// After each removal; false ends the batch, which is then merged as it is.
    virtual bool noteRemoval() { return true; }
    virtual void beginPass(int /*passIndex*/, int /*candidateCount*/, koUtil::Progress&) {}
    virtual void endPass() {}
    virtual void beginBatch(int /*batchSize*/, int /*candidateCount*/) {}
    virtual void endBatch() {}
    /// Whether a mesh with that many vertices is to be reduced.
    virtual bool wantsMore(int vertexCount) = 0;
    /// The judgement on a removal, by what would fill the hole; false takes it back.
    virtual bool acceptRemoval(int /*vertex*/, ko::vector<TrianglePoints> const& /*triangles*/) {
        return true;
    }
    /// Whether the vertex may become a candidate.
    virtual bool canRemove(int /*vertex*/) { return true; }
    /// Around each merge that changes the mesh. `vertexRemap` leads from old to new vertex numbers, -1 for none.
    virtual void beforeMerge() {}
    virtual void afterMerge(Array<int>& /*vertexRemap*/) {}

    /// The vertices to try in this pass, by ascending flatness: the order of all vertices.
    std::vector<int> chooseCandidates(koUtil::Ordering const& order);

    CompactMesh& mesh;
    SimpleMeshCache cache;  // empty again after each merge
    int const initialVertexCount;
    std::unique_ptr<double[]> const flatness;  // of the vertices at the beginning of the pass
    std::vector<Point> removedPoints;
    int iteration = 0;                         // passes begun
    std::unique_ptr<MeshModifyRep> modifyRep;  // null between batches

private:
    void runPasses(koUtil::Progress& progress);
    MeshReduceReport::Reason reasonOfNoRemoval() const;
    int removeCandidates(std::vector<int>& candidates, koUtil::Progress const& progress);
    int removeBatch(BitVector& vertices, Array<int>& remap);
    void selectRegion(BitVector const& vertices, MeshAdjTris const& adjTris);
    int attemptAll(BitVector& vertices);

    MeshReduceReport::Reason reason = MeshReduceReport::Target;
    bool stopped = false;     // by noteRemoval, in this batch
    bool refusedAny = false;  // by canRemove or acceptRemoval, in this pass
};

}  // namespace detail
}  // namespace koGeom
