// A border is given to the core as a closed curve over its vertices, so that k steps give k samples. The way off the surface is
// worked out here, from the same steps.

#include "toolkit/collarSampling.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/holeLists.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koGeom/MeshCurve.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/measure/MeshCollar.h"

#include <cmath>
#include <utility>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshCoord;
using koGeom::Point;
using koGeom::Vector;

/// The corner of a triangle on the border from which the edge to the next vertex leaves.
MeshCoord coordAt(CompactMesh const& mesh, MeshAdjTris const& adjTris, int vertex, int next) {
    for (int i = 0; i < adjTris.numTris(vertex); ++i) {
        int const triangle = adjTris.triIndices(vertex)[i];
        koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
        for (int k = 0; k < 3; ++k) {
            if (corners[k] == vertex && corners[(k + 1) % 3] == next)
                return {triangle, k == 0 ? 1.0 : 0.0, k == 1 ? 1.0 : 0.0, k == 2 ? 1.0 : 0.0};
        }
    }
    return {};
}

Vector unitOrZero(Vector const& v, double tolerance = 0.0) {
    double const length = v.length();
    return length > tolerance ? v / length : Vector();
}

std::array<double, 3> asArray(Vector const& v) {
    return {v.x, v.y, v.z};
}

class CollarSampling {
public:
    CollarSampling(CompactMesh const& mesh, MeshHole const& hole, CollarOptions const& options)
        : hole_(hole),
          options_(options),
          mesh_(bareCopy(mesh)),
          scale_(unitScale(diagonalOf(mesh))) {
        scaleVertices(mesh_, scale_);
    }

    CollarOutcome run();

private:
    struct Step {
        std::size_t edge;
        double along;  // it, from its start
    };

    std::size_t size() const { return hole_.vertices.size(); }
    int vertex(std::size_t place) const { return hole_.vertices[place % size()]; }
    Vector edge(std::size_t place) const {
        return mesh_.getVertices()[vertex(place + 1)].asPoint() -
               mesh_.getVertices()[vertex(place)].asPoint();
    }

    void measure();
    ko::vector<koGeom::MeshCollar::Point> askCore() const;
    Step advance(Step step, double length) const;
    Vector outward(Step const& step, Vector const& normal) const;
    CollarSample sample(koGeom::MeshCollar::Point const& point, Step const& step,
                        double distance) const;

    MeshHole const& hole_;
    CollarOptions const& options_;
    CompactMesh mesh_;
    double scale_;
    double length_ = 0.0;
    int numSamples_ = 0;
};

void CollarSampling::measure() {
    for (std::size_t i = 0; i < size(); ++i)
        length_ += edge(i).length();
    numSamples_ = options_.samples > 0 ? options_.samples : static_cast<int>(size());
}

ko::vector<koGeom::MeshCollar::Point> CollarSampling::askCore() const {
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh_);
    std::deque<MeshCoord> coords;
    for (std::size_t i = 0; i < size(); ++i)
        coords.push_back(coordAt(mesh_, *adjTris, vertex(i), vertex(i + 1)));
    ko::Reference<koGeom::MeshCurve> const curve(new koGeom::MeshCurve(coords, true));
    koGeom::MeshCollar::Params params;
    params.computeCurvature = options_.curvature;
    params.useExistingPoints = false;
    params.numPoints = numSamples_;
    koGeom::MeshBoundaries const none;
    ko::vector<koGeom::MeshCollar::Point> points;
    koGeom::MeshCollar(mesh_, *adjTris, none).getPoints(params, *curve, points);
    return points;
}

/// A sample that is as near to a vertex as rounding can tell stands on it, as it does for the core.
CollarSampling::Step CollarSampling::advance(Step step, double length) const {
    double const tolerance = double{koLinear::epsilonTolFlt} * length_;
    step.along += length;
    double edgeLength = edge(step.edge).length();
    while (step.along >= edgeLength - tolerance && step.edge + 1 < size()) {
        step.along -= edgeLength;
        edgeLength = edge(++step.edge).length();
    }
    return step;
}

Vector CollarSampling::outward(Step const& step, Vector const& normal) const {
    double const tolerance = double{koLinear::epsilonTolFlt};
    Vector const own = cross(unitOrZero(edge(step.edge)), normal);
    bool const isOnVertex = std::abs(step.along) <= tolerance * length_;
    if (!isOnVertex)
        return unitOrZero(own);
    Vector const before = unitOrZero(edge(step.edge + size() - 1));
    Vector const off = unitOrZero(own + cross(before, normal), tolerance);
    return off == Vector() ? before : off;  // on a spike the two sides cancel: it points on
}

CollarSample CollarSampling::sample(koGeom::MeshCollar::Point const& point, Step const& step,
                                    double distance) const {
    return {asArray(point.position.asVector() / scale_),
            distance / scale_,
            {vertex(step.edge), vertex(step.edge + 1)},
            asArray(point.normal),
            asArray(outward(step, point.normal)),
            asArray(point.direction),
            point.curvature * scale_};
}

CollarOutcome CollarSampling::run() {
    CollarOutcome outcome;
    measure();
    outcome.length = length_ / scale_;
    if (!(length_ > 0.0)) {
        outcome.refusal = "the border has no length: all its vertices are in one place";
        return outcome;
    }
    auto const points = askCore();
    outcome.samples.reserve(points.size());
    Step step = {0, 0.0};
    double walked = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        double const distance = length_ * static_cast<double>(i) / numSamples_;
        step = advance(step, distance - walked);
        walked = distance;
        outcome.samples.push_back(sample(points[i], step, distance));
    }
    return outcome;
}

}  // namespace

CollarOutcome sampleCollar(CompactMesh const& mesh, MeshHole const& hole,
                           CollarOptions const& options) {
    CollarOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (options.samples < 0 || options.samples > maxCollarSamples)
        outcome.refusal =
            "the number of samples is below 0, or above " + std::to_string(maxCollarSamples);
    else
        outcome.refusal = faultOfHoles(mesh, {hole}, {0});
    if (!outcome.refusal.empty())
        return outcome;
    if (!hole.fault.empty()) {
        outcome.refusal = hole.fault;
        outcome.problemPoint = hole.faultPlace;
        return outcome;
    }
    koOS::StopWatch watch;
    watch.start();
    outcome = CollarSampling(mesh, hole, options).run();
    outcome.seconds = watch.clear();
    return outcome;
}

}  // namespace trimora
