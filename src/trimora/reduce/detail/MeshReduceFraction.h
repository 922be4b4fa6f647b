#pragma once

#include "trimora/reduce/detail/MeshReduceBase.h"

namespace koGeom::detail {

/// Reduces until a share of the vertices is left.
class TRIMORA_API MeshReduceFraction : public MeshReduceBase {
public:
    MeshReduceFraction(CompactMesh& meshToReduce, double fraction);

protected:
    bool noteRemoval() override;
    void beginPass(int passIndex, int candidateCount, koUtil::Progress& callersProgress) override;
    void endPass() override;
    bool wantsMore(int vertexCount) override { return vertexCount > targetVertexCount; }

    int const targetVertexCount;

private:
    koUtil::Progress* progress = nullptr;  // the caller's, within a pass only
};

}  // namespace koGeom::detail
