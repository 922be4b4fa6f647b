#pragma once

#include "support/checks.h"
#include "support/oracles.h"
#include "surfaceCurves.h"

#include "trimora/repair/MeshVerify.h"
#include "trimora/topology/MeshConvertRep.h"
#include "trimora/topology/detail/MeshCutImpl.h"
#include "trimora/topology/meshCut.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

/// Cuts for the tests, through all steps that a host takes, and what is looked at afterwards.
namespace curves {

using detail::Conditioning;
using Curves = MeshCurveTopology::Curves;

inline constexpr double tolerance = 1e-6;

struct Shape {
    int euler = 0;
    int components = 0;
    int boundaries = 0;
    double area = 0.0;
    std::vector<double> partAreas;  // of pieces that hang together by twins, ascending

    explicit Shape(TopoMesh& mesh);
};

inline double areaOf(TopoMeshFace triangle) {
    Point const a = triangle.edge().origin().point();
    return 0.5 * cross(triangle.edge().next().origin().point() - a,
                       triangle.edge().prev().origin().point() - a)
                     .length();
}

inline Shape::Shape(TopoMesh& mesh) {
    std::unique_ptr<CompactMesh> const compact(meshConvertRep(mesh));
    euler = support::eulerNumber(*compact);
    components = support::numComponents(*compact);
    ko::set<TopoMeshFace> reached;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList()) {
        std::vector<TopoMeshFace> part;
        if (reached.insert(f).second)
            part.push_back(f);
        double sum = 0.0;
        for (std::size_t i = 0; i < part.size(); ++i) {
            sum += areaOf(part[i]);
            for (TopoMeshEdge e : support::ringOf(part[i]))
                if (e.twin() && reached.insert(e.twin().face()).second)
                    part.push_back(e.twin().face());
        }
        if (!part.empty())
            partAreas.push_back(sum);
        area += sum;
    }
    std::sort(partAreas.begin(), partAreas.end());
    std::set<void const*> seen;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInList()) {
        if (e.twin() || seen.count(e.record()) != 0)
            continue;
        ++boundaries;
        TopoMeshBoundaryIterator loop = {e, 0};
        do {
            seen.insert(loop.nextEdge().record());
        } while (loop.edge != e);
    }
}

inline std::string faultAfterCut(TopoMesh& mesh, bool checkCorners = true) {
    std::string const fault = support::faultOf(mesh);
    if (!fault.empty())
        return fault;
    for (TopoMeshFace f = mesh.firstFace(); f; f = f.nextInList())
        if (f.numVertices() != 3)
            return "a face with other than three corners";
    MeshVerify::Info info;
    info.checkCorners = checkCorners;
    return MeshVerify()(mesh, info) ? "" : "verification fails";
}

/// Curves to cut along, through all steps that a host takes.
struct Cut {
    Curves all;
    std::unique_ptr<MeshCurveTopology> topology;
    TopoMeshCutResult result;

    Cut(Surface& surface, std::vector<Polyline> const& polylines,
        Conditioning conditioning = Conditioning::Off, bool trim = true) {
        for (Polyline const& polyline : polylines)
            MeshCurveTopology::convert(all, polyline, tolerance);
        MeshCurveTopology::extend(all, tolerance);
        topology = std::make_unique<MeshCurveTopology>(surface.mesh, all, tolerance);
        if (trim)
            topology->trimInteriorEndPoints();
        result = detail::cutTopoMesh(surface.mesh, *topology, nullptr, conditioning);
    }
};

}  // namespace curves
