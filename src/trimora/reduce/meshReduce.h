#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;

/// How a reduction by vertex removal ended.
struct MeshReduceReport {
    enum Reason {
        Target,     // no more vertices than were asked for
        Tolerance,  // the last pass removed nothing: what could go would leave the tolerance
        NothingLeft,  // the last pass removed nothing: borders, fans that are not closed, and folds stay
        OnePercent,  // the last pass removed some, but less than 1 % of the vertices that it left
        Cancelled
    };

    Reason reason = Target;
    int passes = 0;  // begun
};

/// Removes the flattest vertices, with all triangles around them, until a share of the vertices is
/// left, and fills the holes. Vertices that stay keep their positions; none is made.
///
/// A pass ranks the vertices by their distance from the plane fitted to them and their neighbours, takes
/// an independent set of the flattest ones, and removes each of them by swapping its edges away;
/// the fill is improved by further swaps. Nothing bounds the deviation: meshReduceWithTolerance does.
///
/// mesh           edited in place: vertices and triangles are renumbered, normals, texture coordinates
///                and other sets are dropped, the selection ends empty. Borders stay vertex for vertex, a closed manifold
///                stays one of the same genus (of a tetrahedron two faces on the same corners can stay);
///                broken fans are left alone
/// fraction       of the vertices, to be left; 1 and above changes nothing. The target can be missed upwards: a
///                pass that removes less than 1 % of what it leaves is the last one
/// progress       polled at every 100th removal and after each batch; cancelled: the mesh is valid
///                and holds what was removed so far
/// removedPoints  the positions of removed vertices are appended in the order of removal. A batch in
///                which few vertices could go is undone and tried again without those that could not: the
///                points of both attempts are listed, so that there may be more than the vertices that went
/// notices        one Topology modification a batch that removed anything
/// cost           O(n log n) for a given fraction; about 550 bytes a vertex. Flatness and sort run on
///                the shared pool, the removals on the calling thread. Results do not depend on the
///                number of threads
/// ties           of equally flat vertices the lowest number goes first
/// source         vertex decimation [schroeder1992] with independent sets
TRIMORA_API void meshReduceToFraction(CompactMesh& mesh, double fraction,
                                      koUtil::Progress& progress, ko::vector<Point>& removedPoints);
/// As above; `report` out: how it ended.
TRIMORA_API void meshReduceToFraction(CompactMesh& mesh, double fraction,
                                      koUtil::Progress& progress, ko::vector<Point>& removedPoints,
                                      MeshReduceReport& report);

/// The same, as far as every vertex of the mesh stays within a distance of the result.
///
/// Each removed point is kept with the triangle nearest to it; a vertex goes only when it and all
/// points of its triangles are near the triangles that fill the hole. That holds for the mesh's vertices, not
/// for the insides of its triangles, nor for the way from the result to the mesh.
///
/// tolerance      in mesh units; 0, below 0 and NaN remove nothing: a vertex goes only if it is flatter than this
/// progress       polled after each batch and while points are assigned; advances by estimated passes
/// returns        the largest distance, over all merges, of a removed point from the mesh at the time when it was
///                assigned anew: the deviation found, at most the tolerance but for rounding
/// cost           further: an octree and a closest point for each point in a changed triangle, a batch
TRIMORA_API double meshReduceWithTolerance(CompactMesh& mesh, double tolerance,
                                           koUtil::Progress& progress,
                                           ko::vector<Point>& removedPoints);
/// As above; `report` out: how it ended.
TRIMORA_API double meshReduceWithTolerance(CompactMesh& mesh, double tolerance,
                                           koUtil::Progress& progress,
                                           ko::vector<Point>& removedPoints,
                                           MeshReduceReport& report);

}  // namespace koGeom
