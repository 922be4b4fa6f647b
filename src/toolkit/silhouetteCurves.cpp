// The library gives loose segments, whose ends on a common edge are the same to the last bits only, and chains them by distance.
// Its tolerances are absolute: all of this happens at a diagonal of about 1, reached by a power of two, so that no digit changes.

#include "toolkit/silhouetteCurves.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/connectivity/meshComputeNormals.h"
#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/measure/MeshSilhouette.h"
#include "trimora/planar/MergeSegments.h"

#include <algorithm>
#include <cmath>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshNormal;
using koGeom::MeshVertex;
using koLinear::Point;
using koLinear::PointFlt;
using koLinear::Vector;
using koLinear::VectorFlt;

constexpr double angleTolerance = 1e-6;
constexpr double chainTolerance = 1e-6;
constexpr double farthestEye = 1e6;  // in diagonals: beyond, floats do not tell it from a direction

/// What is no direction becomes 0, which counts as at right angles to every sight.
MeshNormal atUnitLength(MeshNormal const& normal) {
    double const x = normal.x, y = normal.y, z = normal.z;
    double const length = std::hypot(x, y, z);
    if (!(length > 0.0) || !std::isfinite(length))
        return {0.0f, 0.0f, 0.0f};
    return {static_cast<float>(x / length), static_cast<float>(y / length),
            static_cast<float>(z / length)};
}

/// Positions, triangles and normals at the working size.
CompactMesh workingCopy(CompactMesh const& mesh, double scale) {
    CompactMesh copy = bareCopy(mesh);
    scaleVertices(copy, scale);
    if (mesh.getNormals() == nullptr) {
        koGeom::meshComputeNormals(copy);
        return copy;
    }
    copy.allocNormalArray();
    std::transform(mesh.getNormals(), mesh.getNormals() + mesh.getNumVertices(), copy.getNormals(),
                   atUnitLength);
    return copy;
}

double largestCoordinate(CompactMesh const& mesh) {
    double largest = 0.0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
        for (int const v : mesh.getTriangles()[t].vertices) {
            MeshVertex const& p = mesh.getVertices()[v];
            largest = std::max(
                {largest, double(std::abs(p.x)), double(std::abs(p.y)), double(std::abs(p.z))});
        }
    return largest;
}

class Silhouette {
public:
    Silhouette(CompactMesh const& mesh, SilhouetteView const& view, koUtil::Progress& progress)
        : mesh_(mesh), view_(view), progress_(progress), diagonal_(diagonalOf(mesh)) {}

    SilhouetteOutcome run();

private:
    bool isFit();
    bool isStoppedAt(double share);
    ko::Reference<CompactMesh> findSegments();
    ko::Reference<CompactMesh> segmentsOf(CompactMesh const& mesh, double tolerance);
    void chain(CompactMesh const& lines);
    void store(koGeom::Polyline const& chain, double tolerance);
    double distanceOfEye() const;

    CompactMesh const& mesh_;
    SilhouetteView const& view_;
    koUtil::Progress& progress_;
    double const diagonal_;
    double scale_ = 1.0;
    SilhouetteOutcome outcome_;
};

SilhouetteOutcome Silhouette::run() {
    if (!isFit() || mesh_.getNumTriangles() == 0 || !(diagonal_ > 0.0))
        return std::move(outcome_);
    scale_ = std::ldexp(1.0, -std::ilogb(diagonal_));
    if (isStoppedAt(0.0))
        return cancelledOutcome<SilhouetteOutcome>();
    ko::Reference<CompactMesh> const lines = findSegments();
    if (lines.get() == nullptr || isStoppedAt(0.8))
        return cancelledOutcome<SilhouetteOutcome>();
    chain(*lines);
    if (isStoppedAt(1.0))
        return cancelledOutcome<SilhouetteOutcome>();
    return std::move(outcome_);
}

/// share   of the time, gone by now
bool Silhouette::isStoppedAt(double share) {
    progress_.set(share);
    return progress_.cancelled();
}

bool Silhouette::isFit() {
    if (isRefused(outcome_, mesh_))
        return false;
    auto const& [x, y, z] = view_.place;
    bool const isPlace = std::isfinite(x) && std::isfinite(y) && std::isfinite(z);
    if (SurfaceFault const fault = faultOfCoordinates(mesh_))
        refuse(outcome_, fault);
    else if (!isPlace || (view_.isDirection && x == 0.0 && y == 0.0 && z == 0.0))
        outcome_.refusal = "the view is NaN or infinite, or a direction without length";
    else if (!view_.isDirection && distanceOfEye() > farthestEye * diagonal_)
        outcome_.refusal = "the eye is more than a million diagonals away; give a direction";
    return outcome_.refusal.empty();
}

/// From the first corner, which is as good as any.
double Silhouette::distanceOfEye() const {
    if (mesh_.getNumTriangles() == 0 || !(diagonal_ > 0.0))
        return 0.0;
    Point const p = mesh_.getVertices()[mesh_.getTriangles()[0][0]].asPoint();
    return std::hypot(view_.place[0] - p.x, view_.place[1] - p.y, view_.place[2] - p.z);
}

/// Null when it was cancelled.
ko::Reference<CompactMesh> Silhouette::findSegments() {
    CompactMesh const mesh = workingCopy(mesh_, scale_);
    double const sight = view_.isDirection ? 1.0 : scale_ * distanceOfEye();
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    if (isStoppedAt(0.4))
        return {};
    ko::list<int> alongSight;
    koGeom::MeshSilhouette silhouette(mesh, static_cast<float>(angleTolerance * sight));
    silhouette.setAdjacentTrianglesForDuplicateEdgeDetection(adjTris);
    silhouette.setZeroCrossingTriangleList(&alongSight);
    auto const& [x, y, z] = view_.place;
    double const most = std::max({std::abs(x), std::abs(y), std::abs(z)});
    ko::Reference<CompactMesh> lines;
    if (view_.isDirection) {
        Vector const way(x / most, y / most, z / most);  // so that no square leaves the range
        lines = silhouette.computeOrtho(VectorFlt(way / way.length()));
    } else {
        lines = silhouette.computePersp(PointFlt(Point(x * scale_, y * scale_, z * scale_)));
    }
    outcome_.alongSight = static_cast<int>(alongSight.size());
    return lines;
}

void Silhouette::chain(CompactMesh const& lines) {
    std::deque<koGeom::Segment> segments;
    float const* const points = lines.getVerticesRaw();
    for (std::ptrdiff_t i = 0; i < lines.getNumLineStrips(); ++i) {
        float const* const start = points + 6 * i;
        if (!std::equal(start, start + 3, start + 3))
            segments.emplace_back(start, start + 3);
    }
    double const tolerance = chainTolerance * std::max(1.0, scale_ * largestCoordinate(mesh_));
    ko::vector<ko::Reference<koGeom::Polyline>> chains;
    koGeom::MergeSegments()(chains, segments, static_cast<float>(tolerance));
    for (auto const& chain : chains)
        store(*chain, tolerance);
}

void Silhouette::store(koGeom::Polyline const& chain, double tolerance) {
    Polyline curve;
    for (int i = 0; i < chain.getNumVertices(); ++i) {
        Point const& p = chain.getVertex(i);
        curve.emplace_back(p.x / scale_, p.y / scale_, p.z / scale_);
        if (i > 0)
            outcome_.length += koLinear::distance(curve[curve.size() - 2], curve.back());
    }
    double const apart = scale_ * koLinear::distance(curve.front(), curve.back());
    if (curve.size() > 3 && apart <= 2.0 * tolerance) {
        curve.back() = curve.front();
        ++outcome_.numClosed;
    }
    outcome_.curves.push_back(std::move(curve));
}

}  // namespace

SilhouetteOutcome silhouetteCurves(CompactMesh const& mesh, SilhouetteView const& view,
                                   koUtil::Progress& progress) {
    return Silhouette(mesh, view, progress).run();
}

}  // namespace trimora
