#pragma once

#include "toolkit/meshCheck.h"
#include "toolkit/meshHoles.h"

#include "trimora/contract/koUtil/Progress.h"
#include "trimora/stitch/meshStitch.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace trimora {

/// A boundary with fewer samples than this cannot be stitched.
inline constexpr int fewestStitchSamples = 10;
/// More than this many in all are refused: a distance that asks for them is a slip, and they take gigabytes.
inline constexpr std::int64_t mostStitchSamples = 20'000'000;

/// Where boundaries have more others than this within the distance, summed over all boundaries, they are refused: copies of a
/// surface that lie in one place have. Each takes a few hundred bytes and some microseconds for every attempt, and as a third copy
/// contradicts the first two, nothing comes of it.
inline constexpr std::int64_t mostNearBoundaries = 1'000'000;

struct StitchOptions {
    double distance = 0.0;          ///< in mesh units, above 0: how near is alongside
    double tolerance = 0.01;        ///< see koGeom::meshStitch
    double foldAngle = 15.0;        ///< degrees, see CheckOptions
    bool testIntersections = true;  ///< see that no more triangles cut each other than before
};

/// A distance at which boundaries can be stitched.
struct StitchSuggestion {
    struct Neighbour {
        int boundary;  ///< place in the list of holes
        double gap;    ///< about the widest distance to the boundaries beside it
    };

    double distance =
        0.0;  ///< a quarter more than the widest gap, or a tenth of an edge if that is more
    std::vector<Neighbour> neighbours;  ///< the chosen boundaries that have another one near
    /// The same for smaller gaps, a tenth apart at least, ascending, at most 4; the last one is the distance above.
    std::vector<double> distances;
    std::optional<double> sewnLength;  ///< of a try of the distance; empty where none was made
};

/// Proposes a distance from the distances between boundary loops.
///
/// holes, chosen   see findHoles and chooseHoles
/// returns         nothing when no chosen boundary has another one within a tenth of its length
/// cost            O(n log n) in the edges of the boundaries
TRIMORA_API std::optional<StitchSuggestion>
suggestStitchDistance(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                      std::vector<int> const& chosen);

/// Meshes of more triangles than this are not stitched to see what a distance comes to.
inline constexpr int mostTrianglesToTry = 200'000;

/// Proposes the one of the suggested distances that sews most, each tried on a copy; of those that sew alike the smallest.
///
/// options     all but the distance
/// returns     nothing where none is suggested, or none can be stitched soundly; on larger meshes what suggestStitchDistance says
/// progress    polled between the steps; what was found until then when it is cancelled
/// cost        stitchMesh for each of at most 4 distances
TRIMORA_API std::optional<StitchSuggestion>
proposeStitchDistance(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                      std::vector<int> const& chosen, StitchOptions options,
                      koUtil::Progress& progress);

/// What became of a boundary that was chosen.
struct StitchBoundary {
    int boundary = 0;          ///< place in the list of holes
    std::int64_t samples = 0;  ///< points a fifth of the distance apart
    std::string words;         ///< not empty: it was left out, and why
};

/// The chosen boundaries, those marked that cannot take part: faults of the surface beside them, too few samples.
TRIMORA_API std::vector<StitchBoundary> planStitching(koGeom::CompactMesh const& mesh,
                                                      std::vector<MeshHole> const& holes,
                                                      std::vector<int> const& chosen,
                                                      double distance);

struct StitchOutcome {
    using Fate = koGeom::MeshStitchReport::Outcome;

    /// A pair of stretches that run alongside each other.
    struct Seam {
        int boundary;  ///< places in the list of holes
        int otherBoundary;
        bool circular;         ///< both are whole loops
        double stretchLength;  ///< of the first stretch, as far as it has the other one near
        double sewnLength;     ///< of that, how much was sewn; may be a little more, by corners
        double gap;            ///< about the widest distance between the two
        double endDistance;    ///< the wider one between ends that were to meet; 0 for whole loops
        double quality;        ///< the square of the gap by the length: low is good
        Fate fate;
    };

    /// A component whose triangles were turned round, so that its boundaries run against the others.
    struct Turned {
        int vertex;  ///< one of it, by its number before
        std::array<double, 3> position;
        int triangles;
    };

    /// A border of the result that was not there before.
    struct Gap {
        MeshHole border;
        double width;  ///< the mean: twice the area of a flat patch by the length of the border
    };

    /// A count of defects that is higher than before.
    struct Worsening {
        std::string key;  ///< of the report of checkMesh, say "foldedEdges", or "openLength"
        double before;
        double after;
    };

    std::string refusal;  ///< not empty: the mesh is as it was; what is wrong, and what to do
    std::optional<std::array<double, 3>> problemPoint;
    std::vector<Worsening> worse;  ///< why the result was thrown away
    std::vector<StitchBoundary> boundaries;
    std::vector<Seam> seams;  ///< in the order in which they were sewn
    std::vector<Turned> turned;
    /// Longest edges of triangles with next to no height, at folds and where triangles came out flat.
    int swappedEdges = 0;
    /// Where triangles at a seam came to lie back to back: moved to the mean of their neighbours.
    int smoothedVertices = 0;
    std::vector<Gap> gaps;  ///< what is left open; borders that look like outer ones among it
    std::vector<std::string> dropped;  ///< vertex sets that the mesh had, see dropVertexSets
    CheckResult before;
    CheckResult after;
    double distance = 0.0;   ///< of the attempt that counts; 0 before any
    double seconds = 0.0;    ///< of the stitching alone
    bool cancelled = false;  ///< the mesh is as it was; the other fields mean nothing

    /// Whether seams were sewn on from their ends as far as their sides stay near each other (koGeom::meshCloseSlits). Not where no
    /// seam ended early, and not where the result would have been worse for it.
    bool isSewnOn = false;
    /// Calls of the library: more than one where components were turned, and where ends would have met that are farther apart than
    /// the distance or the result was worse: then slightly smaller distances are tried, and what sews most counts.
    int attempts = 0;

    /// Seams that were sewn: whole, or but for some edges.
    TRIMORA_API int numSewn() const;
    TRIMORA_API double sewnLength() const;
    /// Whether every seam was sewn, along about its whole length, and no new gap is left that is narrower than the distance and does
    /// not look like an outer border.
    TRIMORA_API bool isComplete() const;
};

/// Closes the gaps between boundaries that run alongside each other, and keeps the result only if checkMesh finds no more
/// wrong with it than with the mesh as it was.
///
/// The library ends a seam where samples of the two sides line up best, which may be far from where the sides part; so it is sewn
/// on from there. Folds that the seams make are smoothed away as far as that helps. Works at a size at which the library's absolute
/// tolerances are fitting, see unitScale, and about the origin where the mesh lies far away and can be moved there exactly.
///
/// Triangles that cut each other count by their places: a seam may split one that cut another before (numCrossingTriangles of seamCrossings.h).
///
/// mesh       edited in place along the boundaries, renumbered, and without its vertex sets; as it was when it is refused
/// holes      see findHoles, of the mesh as it stands
/// chosen     see chooseHoles
/// refuses    when fewer than two boundaries can take part, nothing runs alongside, no seam can be sewn, the sides cannot be
///            made to run against each other, more than mostStitchSamples samples, more than mostNearBoundaries, and when the
///            result would be worse
/// progress   polled between the steps
/// sends      one Topology modification if anything was stitched
/// cost       koGeom::meshStitch on a copy for each of the attempts, at most 5, and two checks, one more for each further attempt
///            and for what is sewn on and turns out worse
TRIMORA_API StitchOutcome stitchMesh(koGeom::CompactMesh& mesh, std::vector<MeshHole> const& holes,
                                     std::vector<int> const& chosen, StitchOptions const& options,
                                     koUtil::Progress& progress);

/// One word that scripts can rely on: "sewn", "leftOpen", "shifted" ...
TRIMORA_API char const* nameOfFate(StitchOutcome::Fate fate);
/// The same for people; empty for what was sewn.
TRIMORA_API char const* wordsOfFate(StitchOutcome::Fate fate);

}  // namespace trimora
