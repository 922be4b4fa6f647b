#include "trimora/topology/meshCut.h"

#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"
#include "trimora/topology/MeshCurveTopology.h"
#include "trimora/topology/MeshModifyRep.h"
#include "trimora/topology/detail/ConditionMesh.h"
#include "trimora/topology/detail/MeshCutImpl.h"
#include "trimora/topology/detail/edgesAround.h"

#include <algorithm>
#include <cassert>
#include <utility>

/// Cutting along curves: the curves are checked, points on edges become vertices, faces are split along the curves, the
/// edges now under the curves are opened, what has more than three corners is triangulated, and the mesh beside the new
/// boundary is mended. Each stage has its own source, meshCut_<stage>.cpp; all work is near the curves, so that the size of
/// the mesh does not matter.
namespace koGeom {

void TopoMeshCutResult::setError(Status status, TopoMeshCoord const& place) {
    status_ = status;
    problemPoint_ = place;
}

void TopoMeshCutResult::setError(Status status, TopoMeshFace face) {
    status_ = status;
    std::fill_n(problemPoint_.weights, 3, 1.0 / 3.0);
    problemPoint_.face = face;
}

void CompactMeshCutResult::setError(Status status, Point const& place) {
    status_ = status;
    problemPoint_ = place;
}

namespace detail {

MeshCut::MeshCut(TopoMesh& mesh, MeshCurveTopology& curves)
    : mesh_(mesh),
      topology_(curves),
      curves_(curves.getCurves()),
      hadTrianglesOnly_(mesh.numEdges() == 3 * mesh.numFaces()) {
    findGrounds();
}

void MeshCut::cut() {
    noteBoundary();
    insertEdgePoints();
    followEdges();
    splitFaces();
    openEdges();
    triangulateFaces();
}

ko::set<TopoMeshVertex> MeshCut::newBoundaryVertices() const {
    ko::set<TopoMeshVertex> found;
    auto const include = [&](TopoMeshVertex v) {
        if (v.onBoundary() && formerBoundary_.count(v) == 0)
            found.insert(v);
    };
    for (MeshCurveTopologyIterator i(curves_); i.valid(); i.next())
        include((*i.getIterator())->vertex);
    for (TopoMeshEdge e : opened_) {
        include(e.origin());
        include(e.next().origin());
    }
    return found;
}

namespace {

void condition(TopoMesh& mesh, ko::set<TopoMeshVertex> vertices, double tolerance,
               koRTB::SignalArg<TopoMeshVertex>* vertexRemoved) {
    std::vector<TopoMeshVertex> const boundary(vertices.begin(), vertices.end());
    for (TopoMeshVertex v : boundary) {
        forEachEdgeAround(v.edge(), [&vertices](TopoMeshEdge e) {
            for (TopoMeshVertex const neighbour : {e.next().origin(), e.prev().origin()})
                if (!neighbour.onBoundary())
                    vertices.insert(neighbour);
        });
    }
    ConditionMesh conditioner(mesh, std::move(vertices), tolerance);
    if (vertexRemoved != nullptr)
        conditioner.vertexRemoved().addCallback(
            new koRTB::FunctionArgMember(vertexRemoved, &koRTB::SignalArg<TopoMeshVertex>::raise));
    conditioner.run();
}

bool areCurves(MeshCurveTopology::Curves const& curves) {
    return !curves.empty() && std::all_of(curves.begin(), curves.end(),
                                          [](auto const& curve) { return curve.size() >= 2; });
}

}  // namespace

TopoMeshCutResult cutTopoMesh(TopoMesh& mesh, MeshCurveTopology& curves,
                              koRTB::SignalArg<TopoMeshVertex>* vertexRemoved,
                              Conditioning conditioning) {
    debugChannel().print("meshCut:  curves(%d) IPoints(%d) faces(%d)\n",
                         static_cast<int>(curves.getCurves().size()),
                         static_cast<int>(curves.getIPoints().size()), mesh.numFaces());
    koOS::StopWatch watch;
    watch.start();
    TopoMeshCutResult result;
    if (!areCurves(curves.getCurves())) {
        result.setError(TopoMeshCutResult::CutNoCurves);
        return result;
    }

    MeshCut cut(mesh, curves);
    result = cut.check();
    if (result) {
        cut.cut();
        if (conditioning == Conditioning::On)
            condition(mesh, cut.newBoundaryVertices(), curves.getTolerance(), vertexRemoved);
        TopoMeshModification modification(mesh, TopoMeshModification::Topology);
        mesh.modified(modification);
    }
    debugChannel().print("  after: faces(%d)  %g s\n", mesh.numFaces(), watch.clear());
    return result;
}

namespace {

/// Carries a region of an array mesh over to a half-edge mesh and back.
class CompactMeshCut {
public:
    CompactMeshCut(CompactMesh& mesh, MeshAdjTris const& adj, double tolerance)
        : rep_(mesh, adj), tolerance_(tolerance) {}

    CompactMeshCutResult cut(std::deque<std::deque<MeshCoord>> const& polylines);

private:
    MeshCurveTopology::Curves convert(std::deque<std::deque<MeshCoord>> const& polylines);

    MeshModifyRep rep_;
    double const tolerance_;
};

MeshCurveTopology::Curves
CompactMeshCut::convert(std::deque<std::deque<MeshCoord>> const& polylines) {
    MeshCurveTopology::Curves curves;
    for (std::deque<MeshCoord> const& polyline : polylines) {
        if (polyline.empty())
            continue;
        std::deque<TopoMeshCoord> coords;
        for (MeshCoord const& coord : polyline)
            coords.push_back(rep_.copy(coord));
        MeshCurveTopology::convert(curves, coords, tolerance_);
    }
    MeshCurveTopology::extend(curves, tolerance_);
    return curves;
}

CompactMeshCutResult CompactMeshCut::cut(std::deque<std::deque<MeshCoord>> const& polylines) {
    TopoMesh& topo = rep_.extract();
    MeshCurveTopology::Curves curves = convert(polylines);
    MeshCurveTopology topology(topo, curves, tolerance_);
    topology.trimInteriorEndPoints();

    CompactMeshCutResult result;
    if (topology.getIPoints().empty()) {
        result.setError(CompactMeshCutResult::CutNothingLeft);
        return result;
    }
    koRTB::SignalArg<TopoMeshVertex> vertexRemoved;
    vertexRemoved.addCallback(new koRTB::FunctionArgMember(&rep_, &MeshModifyRep::removeVertex));
    TopoMeshCutResult const outcome = meshCut(topo, topology, &vertexRemoved);
    if (!outcome) {
        result.setError(static_cast<CompactMeshCutResult::Status>(outcome.getStatus()),
                        outcome.getProblemPoint().evaluate());
        return result;
    }
    rep_.merge();
    return result;
}

}  // namespace

}  // namespace detail

CompactMeshCutResult meshCut(CompactMesh& mesh, MeshAdjTris const& adj,
                             std::deque<std::deque<MeshCoord>> const& curves, double tolerance) {
    assert(detail::countsMatch(adj, mesh));
    return detail::CompactMeshCut(mesh, adj, tolerance).cut(curves);
}

TopoMeshCutResult meshCut(TopoMesh& mesh, MeshCurveTopology& curves,
                          koRTB::SignalArg<TopoMeshVertex>* vertexRemoved) {
    return detail::cutTopoMesh(mesh, curves, vertexRemoved, detail::Conditioning::On);
}

}  // namespace koGeom
