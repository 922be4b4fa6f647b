#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
class MeshAdjVertices;
class MeshBoundaries;

/// How far a patch is taken. A value that is none of these counts as HoleQualityFair.
enum HoleQuality : int {
    HoleQualityFlat = 0,     ///< triangles between the points of the rim alone
    HoleQualityRefined = 1,  ///< refined until it is as dense as the surface around the hole
    HoleQualityFair = 2,     ///< refined, and its new vertices moved to a fair surface
};

/// Closes chosen boundary loops, each with a patch of its own.
///
/// mesh          edited in place, once, after the last hole; wound alike around each hole
/// adjTris, adjVertices, boundaries   the mesh's own tables, up to date; stale once a hole was filled
/// holes         indices into boundaries, filled in this order: a later patch sees the earlier ones. One that is out of range is
///               refused, and one that comes a second time, at once
/// returns       how many holes were filled; 0 after a cancel, and the mesh is then as it was, to the byte
/// flat          the triangulation of triangulatePolygon, without diagonals that would double an edge of the mesh
/// refined       a triangle is split at its centroid while the distance to each corner, times the square root of 2, is more
///               than the edge length there and than the mean of its three edge lengths; edges are swapped for larger
///               angles. At the rim the edge length is the mean over a vertex's neighbours, at a new vertex that of its triangle.
///               Where the rim is evenly dense, the number of triangles is about twice the patch's area over the square of that
///               length: a long rim of short edges takes very many
/// limits        a triangle stays whole where no split would end: with a corner whose edge length is 0, and with two corners in
///               one place. Refinement ends after 64 passes, and no triangle is split once there are 4 times as many new
///               vertices as the patch has room for, by its area over the square of the edge lengths; an even rim of 1000
///               edges takes 13 passes and half the room. A rim of more than 46,340 points has more edges than the table of
///               those to keep clear of can number; those beyond are found afterwards, and the hole is refused
/// fair          the new vertices take the places where the Laplacian of the Laplacian, with equal weights, is 0 at each of
///               them. Two rings of the mesh take part, so that the patch leaves the rim in the direction of the surface.
///               Vertices on a boundary take none; a new vertex all of whose neighbours lie on one turns the patch into NaN.
///               Of a vertex at which fans touch, the neighbours in its own fan count
/// fins          where the rim passes twice through one place, a vertex that a single triangle holds is taken away with it
///               beforehand. That happens in the mesh as well if any hole is filled, also when this one is refused then
/// refused       silently, and the others are filled all the same: a rim with two such fins side by side; one with fewer
///               than three vertices left, or with a vertex that an earlier hole has taken away; a patch with an edge that
///               the mesh has already in the same direction
/// result        triangles outside the region (two rings beyond those with two vertices on a rim) keep their order, all
///               others follow, patches last. Vertices on the rim of the region keep UVs and number, but for what is closed up;
///               those inside it are appended anew, new ones last, with their position alone. The selection is empty
///               afterwards. See MeshModifyRep::merge()
/// sends         one Topology modification when a hole was filled, nothing else
/// progress      each hole reports into the next part of it, all of them of the same size: 1 over the vertices of all rims.
///               Caption "Filling hole %d of %d". Cancellation is noticed after each hole, also a refused one, between its
///               stages, at every 1000th chain of the triangulation, every pass of the refinement and every one of the
///               swaps in it but for the rare ones beyond the 64th, and every 100th step of the solver
/// cost          linear in the mesh, and linear in the region for all holes together. Each rim of n vertices O(n^3) time and
///               22 n^2 bytes; each refinement O(triangles) a pass, of which an evenly dense rim needs a few more than the
///               logarithm to the base 2 of the hole's diameter in edges; the solver about 19 multiplications a coordinate
///               a step, steps growing with the hole's diameter squared, 3 for each new vertex at most. On the calling
///               thread, but for the sort of a rim of 512 vertices and more
/// errors        std::bad_alloc, the mesh as it was when it comes before the merge
/// source        Liepa 2003 [liepa2003]
TRIMORA_API int meshHoleFill(CompactMesh& mesh, MeshAdjTris const& adjTris,
                             MeshAdjVertices const& adjVertices, MeshBoundaries const& boundaries,
                             ko::list<int> const& holes, HoleQuality quality,
                             koUtil::Progress& progress);

}  // namespace koGeom
