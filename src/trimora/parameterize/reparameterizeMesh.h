#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <memory>

namespace koUtil {
class Progress;
}

namespace koGeom {

class CompactMesh;

/// Gives a mesh texture coordinates by conformal flattening: angles are kept as well as a disk allows.
///
/// Works on a copy, welded and, where the surface is no disk, cut open (see cutSurface). Holes are closed with triangles of their own
/// that take part in the computation only. Two vertices of the outer border are pinned, the rest follows from one sparse linear system,
/// solved by conjugate gradients. Construct, set the flags, flatten once.
///
/// expects    one component, manifold and oriented; a mesh of a size of about 100: the solver's stop is absolute where numbers are small
/// messages   for the user, through `koOS::AppOutput`
/// source     Levy et al. 2002 [levy2002], Desbrun et al. 2002 [desbrun2002]
class TRIMORA_API reparameterizeMesh {
public:
    /// Copies the mesh.
    ///
    /// mesh   receives the coordinates; must outlive this object
    explicit reparameterizeMesh(CompactMesh& mesh);
    reparameterizeMesh(reparameterizeMesh const&) = delete;
    reparameterizeMesh& operator=(reparameterizeMesh const&) = delete;
    ~reparameterizeMesh();

    /// Whether the weld of the copy is trusted (at first true). It is made in either case; false takes it back when it has changed the
    /// number of boundaries.
    void enableMeshCompact(bool enable);
    /// Whether a surface that is no disk is cut open (at first true) or refused.
    void enableMeshCutSurface(bool enable);

    /// Computes the coordinates and writes them to the mesh.
    ///
    /// The first of the boundaries with the largest extent along an axis is the outer one; its two extreme vertices there are pinned.
    ///
    /// progress   asked for cancellation after copying, after measuring, at each vertex, at each step of the solver and behind it. Its
    ///            range: 0.225 up to the filled holes, 0.075 for the system, 0.6 for the solver
    /// returns    true when coordinates were written: one a vertex, scaled alike in both axes into the unit square, which one
    ///            of them fills. One modification of type Attributes. Where the copy was cut, a vertex has the coordinates of one of its
    ///            copies: the seam cannot be seen in the mesh. Vertices that no triangle with an area uses get their place in the plane.
    ///            The solver's outcome is told in a message and not judged
    ///            false, and the mesh as it was: cancelled; a triangle with two equal corners; more or less than a disk without leave to
    ///            cut, or after the cut; a boundary of fewer than 3 vertices; no boundary of any extent
    /// again      a second call starts from the copy as the first one left it, cut and welded
    /// cost       about (number of vertices)^1.5 for the solver, O(n^3) for a hole of n edges; about 1 kB a vertex. On
    ///            the calling thread, but for the weld and the tables
    bool flatten(koUtil::Progress& progress);
    bool flatten();

    /// How the solver ended in the latest call that came so far.
    struct SolverOutcome {
        int code = 0;        ///< a ConjugateGradient::StatusCode; 0 when it had not come to its end
        int iterations = 0;  ///< calls of ConjugateGradient::iterate()
    };
    SolverOutcome solverOutcome() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace koGeom
