#pragma once

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koLinear/matrices.h"
#include "trimora/contract/koOS/AppOutput.h"
#include "trimora/parameterize/reparameterizeMesh.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class ConjugateGradient;
class Remap;

/// The steps of flattening, in the order in which they run.
class reparameterizeMesh::Impl {
public:
    explicit Impl(CompactMesh& mesh);

    bool flatten(koUtil::Progress& progress);

private:
    /// A directed edge of the border.
    struct boundaryEdge {
        int start, end;
    };
    using Boundary = ko::vector<boundaryEdge>;
    using BoundarySet = ko::vector<Boundary>;
    /// For each vertex its number among those that are not pinned, -1 for the two that are.
    using FreeIndices = ko::vector<int>;

    void prepareMesh(koUtil::Progress& progress, Remap& remap);
    /// The boundaries are appended. -1 for a mesh that cannot be flattened.
    int getMeshGenus(BoundarySet& boundaries);
    bool testDegenerate(int triangle, int const* vertices) const;
    /// Measures, and cuts the surface where it is no disk; false when it is none in the end.
    bool makeSureOfDisk(koUtil::Progress& progress, BoundarySet& boundaries);
    /// The outer boundary, -1 for none, and the two vertices to be pinned.
    int getExtremeVerts(BoundarySet const& boundaries, int* fixed) const;
    AffineMatrix determineRotMatrix(Boundary const& boundary, int const* fixed) const;
    void rotateAndProject(Boundary const& boundary, ko::vector<Point>& points,
                          int const* fixed) const;
    void buildFreeToCompleteMapping(FreeIndices& freeIndices, int const* fixed) const;
    /// Closes all boundaries but the outer one. The triangles enter the system, never the mesh.
    void fillHoles(BoundarySet const& boundaries, int outer, ko::vector<MeshTriangle>& holes) const;
    /// Sets up and solves the system; incomplete when cancelled.
    void doCG(ko::vector<Point2>& uvs, ko::vector<Point> const& points,
              FreeIndices const& freeIndices, ko::vector<MeshTriangle> const& holes,
              koUtil::Progress& progress);
    void iterate(ConjugateGradient& solver, int numUnknowns, koUtil::Progress& progress);
    void applyUvsToMesh(ko::vector<Point2> const& uvs, Remap const& remap);

    CompactMesh& mesh_;  // the caller's
    CompactMesh work_;
    SimpleMeshCache cache_;
    koOS::AppOutput& output_;

public:
    bool compactEnabled = true;
    bool cutEnabled = true;
    SolverOutcome solverOutcome;
};

}  // namespace koGeom
