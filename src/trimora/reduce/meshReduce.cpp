#include "trimora/reduce/meshReduce.h"

#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"
#include "trimora/reduce/detail/MeshReduceFraction.h"
#include "trimora/reduce/detail/MeshReduceTolerance.h"

#include <cassert>

// The entry points. MeshReduceBase drives the passes, the classes MeshReduceFraction and MeshReduceTolerance say what may go
// and when there is enough, VertexRemoval takes a single vertex out of a half-edge mesh, vertexFlatness ranks.

namespace koGeom {

namespace {

void appendRemovedPoints(detail::MeshReduceBase const& reducer, ko::vector<Point>& removedPoints) {
    std::vector<Point> const& points = reducer.getRemovedPoints();
    removedPoints.reserve(removedPoints.size() + points.size());
    removedPoints.insert(removedPoints.end(), points.begin(), points.end());
}

}  // namespace

void meshReduceToFraction(CompactMesh& mesh, double fraction, koUtil::Progress& progress,
                          ko::vector<Point>& removedPoints, MeshReduceReport& report) {
    assert(detail::hasTrianglesInRange(mesh));
    detail::MeshReduceFraction reducer(mesh, fraction);
    reducer.reduce(progress);
    appendRemovedPoints(reducer, removedPoints);
    report = reducer.report();
}

void meshReduceToFraction(CompactMesh& mesh, double fraction, koUtil::Progress& progress,
                          ko::vector<Point>& removedPoints) {
    MeshReduceReport report;
    meshReduceToFraction(mesh, fraction, progress, removedPoints, report);
}

double meshReduceWithTolerance(CompactMesh& mesh, double tolerance, koUtil::Progress& progress,
                               ko::vector<Point>& removedPoints, MeshReduceReport& report) {
    assert(detail::hasTrianglesInRange(mesh));
    koOS::StopWatch watch;
    watch.start();
    detail::MeshReduceTolerance reducer(mesh, tolerance);
    reducer.reduce(progress);
    appendRemovedPoints(reducer, removedPoints);
    report = reducer.report();
    debugChannel().print("meshReduce: iterations(%d): %f s\n", report.passes, watch.clear());
    return reducer.getMaxDeviation();
}

double meshReduceWithTolerance(CompactMesh& mesh, double tolerance, koUtil::Progress& progress,
                               ko::vector<Point>& removedPoints) {
    MeshReduceReport report;
    return meshReduceWithTolerance(mesh, tolerance, progress, removedPoints, report);
}

}  // namespace koGeom
