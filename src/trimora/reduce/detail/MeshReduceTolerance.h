#pragma once

#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/reduce/detail/HoleFill.h"
#include "trimora/reduce/detail/MeshReduceBase.h"

namespace koGeom::detail {

/// Reduces as long as every removed point stays within a distance of the triangle that it is kept with.
///
/// Every removed point belongs to one triangle, the nearest one when it was last looked at. A removal takes the triangles
/// around a vertex, and is refused unless the vertex and all points of those triangles are near the fill. After a merge,
/// points of triangles that are still there stay with them; the others are given the nearest triangle.
class TRIMORA_API MeshReduceTolerance : public MeshReduceBase {
public:
    MeshReduceTolerance(CompactMesh& meshToReduce, double toleranceInMeshUnits);

    /// The largest distance of a point from the triangle that it was given.
    double getMaxDeviation() const { return maxDeviation; }

protected:
    void beginPass(int passIndex, int candidateCount, koUtil::Progress& progress) override;
    void endPass() override;
    void beginBatch(int batchSize, int candidateCount) override;
    void endBatch() override;
    bool wantsMore(int /*vertexCount*/) override { return true; }
    bool acceptRemoval(int vertex, ko::vector<TrianglePoints> const& triangles) override;
    bool canRemove(int vertex) override { return tolerance > flatness.get()[vertex]; }
    void beforeMerge() override;
    void afterMerge(Array<int>& vertexRemap) override;

    double const tolerance;
    double maxDeviation = 0.0;
    ArrayOfSets pointsOfTriangle;  // numbers in removedPoints; no sets before the first merge

private:
    double stepOfPass(int passIndex, int candidateCount);

    Array<MeshTriangle> savedTriangles;  // as they were before a merge
    HoleFill holeFill;
    ko::Reference<MeshAdjTris> batchAdjTris;  // of the mesh as it is during a batch

    int lastCandidateCount = 0;
    int estimatedPasses = 0;
    double progressDone = 0.0;
    koUtil::Progress passProgress;   // a phase of the caller's
    koUtil::Progress batchProgress;  // a phase of the pass's
};

}  // namespace koGeom::detail
