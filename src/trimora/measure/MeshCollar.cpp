#include "trimora/measure/MeshCollar.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/contract/ko/ImplBase.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshCurve.h"
#include "trimora/detail/callerContract.h"
#include "trimora/measure/detail/CollarPath.h"

#include <cassert>
#include <cstdio>
#include <iostream>

/// The handle and its three roads: a region of half-edges, a path in it (MeshCollar_path.cpp), samples at equal steps, and what stands at
/// each (MeshCollar_samples.cpp).
namespace koGeom {

using detail::CollarPath;
using detail::CollarRegion;

class MeshCollarImpl : public ko::ImplBase {
public:
    MeshCollarImpl(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                   MeshBoundaries const& boundaries)
        : mesh_(mesh), adjTris_(adjTris), boundaries_(boundaries) {}

    double distance(MeshCoord const& start, MeshCoord const& end, int boundary, bool forward) const;
    void samplesOfBoundary(MeshCoord const& start, MeshCoord const& end,
                           MeshCollar::Params const& params, int boundary, bool forward,
                           ko::vector<MeshCollar::Point>& result) const;
    /// Between two ends, or along all of it where they are null.
    void samplesOfCurve(MeshCoord const* start, MeshCoord const* end,
                        MeshCollar::Params const& params, MeshCurve const& curve,
                        ko::vector<MeshCollar::Point>& result) const;

private:
    bool isBoundary(int boundary) const { return boundary >= 0 && boundary < boundaries_.size(); }
    CollarRegion regionOf(int boundary) const {
        return CollarRegion(mesh_, adjTris_, boundaries_.getStart(boundary),
                            boundaries_.getEnd(boundary));
    }
    CollarPath stretch(CollarRegion const& region, MeshCoord const& start, MeshCoord const& end,
                       int boundary, bool forward) const;
    bool isOnMesh(MeshCoord const& coord) const {
        return coord.valid() && coord.triangle < mesh_.getNumTriangles();
    }
    Point evaluate(MeshCoord const& coord) const {
        return coord.evaluate(mesh_.getVertices(), mesh_.getTriangles());
    }

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    MeshBoundaries const& boundaries_;
};

CollarPath MeshCollarImpl::stretch(CollarRegion const& region, MeshCoord const& start,
                                   MeshCoord const& end, int boundary, bool forward) const {
    auto const from = region.pointAt(start);
    auto const to = region.pointAt(end);
    if (!from || !to)
        return CollarPath();
    return boundaryStretch(region, boundaries_.getStart(boundary), boundaries_.getEnd(boundary),
                           *from, *to, forward);
}

double MeshCollarImpl::distance(MeshCoord const& start, MeshCoord const& end, int boundary,
                                bool forward) const {
    if (!isBoundary(boundary))
        return 0.0;
    CollarRegion const region = regionOf(boundary);
    return stretch(region, start, end, boundary, forward).length();
}

namespace {

/// As many samples as there are points, or as there are pieces to cut.
int numPieces(CollarPath const& path, MeshCollar::Params const& params) {
    return params.useExistingPoints ? static_cast<int>(path.numSegments()) : params.numPoints;
}

/// A stray line for each value that callers have come to expect.
void printCurvature(double curvature) {
    char line[400];  // %f of the largest double takes 317 characters
    std::snprintf(line, sizeof line, "curvature: %f\n", curvature);
    std::cout << line;
}

void sample(CollarPath& path, MeshCollar::Params const& params,
            ko::vector<MeshCollar::Point>& result) {
    detail::resample(path, numPieces(path, params));
    result.reserve(path.points.size());
    for (std::size_t i = 0; i < path.points.size(); ++i) {
        result.push_back(detail::collarSample(path, i, params.cornerAngle));
        if (!params.computeCurvature)
            continue;
        result.back().curvature = detail::collarCurvature(*path.points[i], result.back());
        printCurvature(result.back().curvature);
    }
}

}  // namespace

void MeshCollarImpl::samplesOfBoundary(MeshCoord const& start, MeshCoord const& end,
                                       MeshCollar::Params const& params, int boundary, bool forward,
                                       ko::vector<MeshCollar::Point>& result) const {
    result.clear();
    if (!isBoundary(boundary))
        return;
    CollarRegion const region = regionOf(boundary);
    CollarPath path = stretch(region, start, end, boundary, forward);
    sample(path, params, result);
}

void MeshCollarImpl::samplesOfCurve(MeshCoord const* start, MeshCoord const* end,
                                    MeshCollar::Params const& params, MeshCurve const& curve,
                                    ko::vector<MeshCollar::Point>& result) const {
    result.clear();
    if ((start != nullptr && !isOnMesh(*start)) || (end != nullptr && !isOnMesh(*end)))
        return;
    CollarRegion const region(mesh_, adjTris_, curve);
    CollarPath path = curvePath(region, curve);
    if (start != nullptr && end != nullptr)
        path = partBetween(path, evaluate(*start), evaluate(*end));
    sample(path, params, result);
}

MeshCollar::MeshCollar(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                       MeshBoundaries const& boundaries)
    : impl_(new MeshCollarImpl(mesh, adjTris, boundaries)), ownsImpl_(true) {
    assert(detail::countsMatch(adjTris, mesh) && detail::areBoundariesOf(boundaries, mesh));
}

MeshCollar::MeshCollar(MeshCollar const& other) : impl_(other.impl_), ownsImpl_(false) {}

MeshCollar::~MeshCollar() {
    if (ownsImpl_)
        delete impl_;
}

double MeshCollar::getDistance(MeshCoord const& start, MeshCoord const& end, int boundary,
                               bool forward) {
    return impl_->distance(start, end, boundary, forward);
}

void MeshCollar::getPoints(MeshCoord const& start, MeshCoord const& end, Params const& params,
                           int boundary, bool forward, ko::vector<MeshCollar::Point>& result) {
    impl_->samplesOfBoundary(start, end, params, boundary, forward, result);
}

void MeshCollar::getPoints(MeshCoord const& start, MeshCoord const& end, Params const& params,
                           MeshCurve const& curve, ko::vector<MeshCollar::Point>& result) {
    impl_->samplesOfCurve(&start, &end, params, curve, result);
}

void MeshCollar::getPoints(Params const& params, MeshCurve const& curve,
                           ko::vector<MeshCollar::Point>& result) {
    impl_->samplesOfCurve(nullptr, nullptr, params, curve, result);
}

}  // namespace koGeom
