#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

namespace koGeom {

class MeshCurve;

/// Makes a line mesh of a curve on a mesh: one vertex a point, in order, narrowed to float; lines
/// and one strip.
///
/// curve     on `mesh`; a point on no triangle gives the origin
/// returns   a new mesh: vertices 0 to n - 1, the line i to i + 1 for each, and n - 1 to 0 when the
///           curve is closed; the strip holds 0 to n - 1, closed or not. An empty curve gives an
///           empty mesh
/// cost      linear
TRIMORA_API ko::Reference<CompactMesh> meshExtractLine(CompactMesh const& mesh,
                                                       MeshCurve const& curve);

/// Makes a line mesh of one run of vertices of a mesh.
///
/// sequence   runs of vertex indices of `mesh`
/// run        number of the run; outside the sequence the result is an empty mesh
/// closed     adds the line from the run's end to its start
/// returns    a new mesh: vertices numbered as the run first meets them, one met twice stored once;
///            one strip, the run; and its consecutive pairs as lines
/// cost       linear; one int a vertex of `mesh` as scratch
TRIMORA_API ko::Reference<CompactMesh>
meshExtractLine(CompactMesh const& mesh, MeshSequence const& sequence, int run, bool closed);

/// The same for all runs together: vertices are shared between runs, each run gives a strip and its
/// lines.
TRIMORA_API ko::Reference<CompactMesh> meshExtractLines(CompactMesh const& mesh,
                                                        MeshSequence const& sequence, bool closed);

}  // namespace koGeom
