#include "trimora/reduce/detail/MeshReduceFraction.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/contract/koUtil/saturatingInt.h"

#include <cmath>

namespace koGeom::detail {

namespace {

/// Removals between two looks at the progress.
constexpr int pollStride = 100;

/// What is not a number asks for nothing.
int targetOf(int vertexCount, double fraction) {
    return std::isnan(fraction) ? vertexCount : koUtil::saturatingInt(vertexCount * fraction);
}

}  // namespace

MeshReduceFraction::MeshReduceFraction(CompactMesh& meshToReduce, double fraction)
    : MeshReduceBase(meshToReduce), targetVertexCount(targetOf(initialVertexCount, fraction)) {}

bool MeshReduceFraction::noteRemoval() {
    if (removedPoints.size() % pollStride != 0)
        return true;
    if (progress->cancelled())
        return false;
    double const numToRemove = static_cast<double>(initialVertexCount) - targetVertexCount;
    double const done = static_cast<double>(removedPoints.size()) / numToRemove;
    if (1.0 >= done)  // points of dropped batches count too
        progress->set(done);
    return true;
}

void MeshReduceFraction::beginPass(int /*passIndex*/, int /*candidateCount*/,
                                   koUtil::Progress& callersProgress) {
    progress = &callersProgress;
}

void MeshReduceFraction::endPass() {
    progress = nullptr;
}

}  // namespace koGeom::detail
