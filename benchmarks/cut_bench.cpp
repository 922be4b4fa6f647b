#include "harness.h"
#include "toolkit/meshCutting.h"
#include "toolkit/planeSection.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koLinear/ranges.h"
#include "trimora/topology/MeshConvertRep.h"
#include "trimora/topology/MeshCurveTopology.h"
#include "trimora/topology/meshCut.h"

#include <memory>

namespace bench {

namespace {

using namespace koGeom;

/// A slanted plane through the middle of the mesh.
trimora::SectionPlane middlePlane(CompactMesh const& mesh) {
    Range3d box;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        box.include(Point(mesh.getVertices()[v].asPoint()));
    Vector const up(0.3, 0.2, 1.0);
    trimora::SectionPlane plane;
    plane.set({up.x, up.y, up.z, -dot(up, box.mid().asVector())});
    return plane;
}

std::size_t numPoints(trimora::SurfaceCurves const& curves) {
    std::size_t count = 0;
    for (auto const& curve : curves)
        count += curve.size();
    return count;
}

/// The region, half-edges and all, with the curves on it.
struct Prepared {
    std::unique_ptr<MeshConvertRep> rep;
    TopoMesh* topo = nullptr;
    MeshCurveTopology::Curves curves;
};

}  // namespace

void cutCases() {
    for (NamedMesh const* const named : bothMeshes()) {
        double const tolerance = trimora::cutTolerance(named->mesh);
        koUtil::Progress progress;
        trimora::SurfaceCurves const curves =
            trimora::planeSection(named->mesh, middlePlane(named->mesh), tolerance, progress)
                .curves;
        MeshAdjTris adj;
        meshAdjTris(named->mesh, adj);
        int const numTriangles = named->mesh.getNumTriangles();

        CompactMesh mesh;
        CompactMeshCutResult result;
        run({"cut_plane_whole", named->name, numTriangles, 0.0,
             [&] {
                 mesh = named->mesh;
                 mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
                 mesh.getSelectedTriangles().setAllBits();
                 mesh.getSelectedVertices().resize(mesh.getNumVertices());
                 mesh.getSelectedVertices().setAllBits();
             },
             [&] { result = meshCut(mesh, adj, curves, tolerance); },
             [&] {
                 return figure("status", result.getStatus()) +
                        figure("triangles", mesh.getNumTriangles());
             }},
            {1});

        // Without the bridge: the curves' own work.
        Prepared prepared;
        TopoMeshCutResult topoResult;
        run({"cut_plane_topo", named->name, numTriangles, static_cast<double>(numPoints(curves)),
             [&] {
                 prepared = Prepared();
                 BitVector triangles(numTriangles);
                 BitVector vertices(named->mesh.getNumVertices());
                 triangles.setAllBits();
                 vertices.setAllBits();
                 prepared.rep =
                     std::make_unique<MeshConvertRep>(named->mesh, triangles, vertices, adj);
                 prepared.topo = &prepared.rep->extract();
                 for (auto const& curve : curves) {
                     std::deque<TopoMeshCoord> coords;
                     for (MeshCoord const& coord : curve)
                         coords.push_back(prepared.rep->copy(coord));
                     MeshCurveTopology::convert(prepared.curves, coords, tolerance);
                 }
             },
             [&] {
                 MeshCurveTopology topology(*prepared.topo, prepared.curves, tolerance);
                 topology.trimInteriorEndPoints();
                 topoResult = meshCut(*prepared.topo, topology, nullptr);
             },
             [&] {
                 return figure("status", topoResult.getStatus()) +
                        figure("faces", prepared.topo->numFaces()) +
                        figure("points", static_cast<double>(numPoints(curves)));
             }},
            {1});
    }
}

}  // namespace bench
