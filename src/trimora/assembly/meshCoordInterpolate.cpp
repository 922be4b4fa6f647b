#include "trimora/assembly/meshCoordInterpolate.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/detail/callerContract.h"
#include "trimora/topology/meshTwin.h"

#include <algorithm>
#include <cassert>

// A small half-edge mesh of the triangles around both points answers which face holds the two.

namespace koGeom {

namespace {

// The triangles around two points, as half-edges.
class Surroundings {
public:
    Surroundings(CompactMesh const& mesh, MeshAdjTris const& adjTris)
        : mesh_(mesh), adjTris_(adjTris) {}

    void addTrianglesAround(int triangle) {
        for (int const vertex : mesh_.getTriangles()[triangle].vertices) {
            int const* const around = adjTris_.triIndices(vertex);
            for (int k = 0; k < adjTris_.numTris(vertex); ++k)
                faces_[around[k]] = TopoMeshFace();
        }
    }

    void build() {
        for (auto& [triangle, face] : faces_) {
            MeshTriangle const& corners = mesh_.getTriangles()[triangle];
            TopoMeshVertex const v0 = vertexFor(corners[0]);
            TopoMeshVertex const v1 = vertexFor(corners[1]);
            TopoMeshVertex const v2 = vertexFor(corners[2]);
            face = topoMesh_.allocTriangle(v0, v1, v2);
        }
        meshTwin(topoMesh_);
    }

    TopoMeshPoint pointAt(MeshCoord const& coord, double tolerance) const {
        TopoMeshCoord topoCoord;
        std::copy_n(coord.weights, 3, topoCoord.weights);
        topoCoord.face = faces_.at(coord.triangle);
        return TopoMeshPoint(topoCoord, tolerance);
    }

    /// The mesh's triangle, -1 for a null face.
    int triangleOf(TopoMeshFace face) const {
        auto const found = std::find_if(faces_.begin(), faces_.end(),
                                        [face](auto const& entry) { return entry.second == face; });
        return face && found != faces_.end() ? found->first : -1;
    }

private:
    TopoMeshVertex vertexFor(int vertex) {
        auto const [place, isNew] = vertices_.try_emplace(vertex);
        if (isNew)
            place->second = topoMesh_.allocVertex(mesh_.getVertices()[vertex].asPoint());
        return place->second;
    }

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    TopoMesh topoMesh_;
    ko::map<int, TopoMeshVertex> vertices_;
    ko::map<int, TopoMeshFace> faces_;
};

}  // namespace

MeshCoord meshCoordInterpolate(CompactMesh const& mesh, MeshAdjTris const& adjTris, double t0,
                               MeshCoord const& a, double t1, MeshCoord const& b,
                               double tolerance) {
    assert(detail::countsMatch(adjTris, mesh) && detail::isOn(a, mesh) && detail::isOn(b, mesh));
    MeshCoord result;
    if (a.triangle < 0 || b.triangle < 0)
        return result;

    Surroundings surroundings(mesh, adjTris);
    surroundings.addTrianglesAround(a.triangle);
    surroundings.addTrianglesAround(b.triangle);
    surroundings.build();
    TopoMeshPoint const pointA = surroundings.pointAt(a, tolerance);
    TopoMeshPoint const pointB = surroundings.pointAt(b, tolerance);
    int const triangle = surroundings.triangleOf(pointA.adjacent(pointB));

    float const* const vertices = mesh.getVerticesRaw();
    int const* const triangles = mesh.getTrianglesRaw();
    Point const combined =
        combine(t0, a.evaluate(vertices, triangles), t1, b.evaluate(vertices, triangles));
    result.setFromPoint(triangle, vertices, triangles, combined);
    return result;
}

}  // namespace koGeom
