#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koLinear {
struct AffineMatrixFlt;
}

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshAdjVertices;

/// Which curvature `meshCurvature` computes.
enum MeshCurvature : int {
    MeanCurvature = 0,      ///< H, above 0 where the surface bends away from the vertex normal
    GaussianCurvature = 1,  ///< K
    MinCurvature = 2,       ///< the principal curvature of smaller absolute value
    MaxCurvature = 3        ///< the principal curvature of larger absolute value
};

/// Computes one curvature for each vertex of a triangle mesh, in the mesh's units: H, the smallest
/// and the largest in 1 / length, K in 1 / length^2. A sphere of radius r with outward normals has
/// H = 1 / r and K = 1 / r^2.
///
/// mesh         read; without vertex normals H is not negative. A kind outside the enumeration
///              gives 0 at every interior vertex
/// adjTris, adjVertices  the mesh's tables, up to date
/// matrix       the curvature is that of the surface transformed by this; the identity within
///              `epsilonTolFlt` uses the mesh as it is, any other copies points and normals
/// result       out: one float a vertex, all written
/// boundary     a vertex with as many neighbours as triangles is interior. Any other takes the mean
///              of its interior neighbours; one with at most two neighbours then the mean of those
///              neighbours that have more than two; with none of them, 0. Isolated vertices get 0
/// accuracy     formulas of one ring: they trust every vertex and every triangle next to it. Right
///              to second order in the edge length on smooth meshes of even triangles; the two
///              principal ones to first order where they are equal, since they differ by a root.
///              Where triangles are uneven the error does not shrink with refinement: with vertices
///              displaced along the surface by a third of an edge, H and K are off by 4 % on the
///              mean and at single vertices by their own size and far more. Noise off the surface
///              counts in inverse proportion to the edge: 1 % of an edge moves H by a third of
///              itself where 40 edges span the radius. On scans smooth the mesh first, or average
/// degenerate   a triangle without area yields infinite or NaN values at its vertices
/// cost         O(vertices + triangles), 3 doubles a triangle of scratch; four runs on the shared
///              pool; the result does not depend on the number of threads
/// source       Meyer, Desbrun, Schroeder, Barr 2003 [meyer2003]
TRIMORA_API void meshCurvature(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                               MeshAdjVertices const& adjVertices,
                               koLinear::AffineMatrixFlt const& matrix, MeshCurvature kind,
                               float* result);

}  // namespace koGeom
