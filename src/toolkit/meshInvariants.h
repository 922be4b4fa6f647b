#pragma once

#include "toolkit/surfaceFault.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/export.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace trimora {

/// How much is looked at.
enum class InvariantDepth {
    Arrays,  ///< what a pass over the arrays tells: some 10 ns a triangle
    Surface  ///< the surface and the derived data too: some 0.8 us a triangle, mostly for the half-edges
};

/// Above this many triangles a checked operation looks at the arrays alone, but in debug builds.
inline constexpr int mostTrianglesInDepth = 5'000;

TRIMORA_API InvariantDepth depthFor(koGeom::CompactMesh const& mesh);

/// How a surface hangs together, counted from its faces alone: the triangles, or the polygons where there are none.
struct SurfaceCensus {
    std::int64_t faces = 0;
    int usedVertices = 0;
    std::int64_t edges = 0;             ///< each once
    std::int64_t openEdges = 0;         ///< of one face
    std::int64_t turnedEdges = 0;       ///< of two that run them the same way
    std::int64_t nonManifoldEdges = 0;  ///< of more than two
    std::int64_t repeatedCorners = 0;   ///< sides from a vertex to itself
    int pinchedVertices = 0;  ///< where several fans meet; not counted while edges are not manifold
    int components = 0;       ///< faces that share a vertex hang together
    /// Loops of open edges; none where that is no matter of counting: several leave a vertex, or run against one another.
    std::optional<int> loops;

    std::int64_t eulerNumber() const { return usedVertices - edges + faces; }
    bool isManifold() const {
        return nonManifoldEdges == 0 && pinchedVertices == 0 && repeatedCorners == 0;
    }
    bool isOriented() const { return isManifold() && turnedEdges == 0; }
};

/// cost   linear but for sorting around each vertex; the indices have to be in range
TRIMORA_API SurfaceCensus censusOf(koGeom::CompactMesh const& mesh);

/// What is kept of a mesh to see afterwards what an edit made of it.
struct MeshState {
    int vertices = 0;
    int triangles = 0;
    std::int64_t nonfiniteVertices = 0;  ///< with a coordinate that is NaN or infinite
    std::int64_t nonfiniteValues = 0;    ///< of the other vertex sets
    std::uint64_t positionsDigest = 0;
    std::uint64_t facesDigest = 0;
    std::uint64_t restDigest = 0;         ///< of all else: sets, selections, lines, strips, names
    std::optional<SurfaceCensus> census;  ///< InvariantDepth::Surface

    /// Whether anything that can be seen differs, as far as digests of 64 bits tell.
    bool isSameAs(MeshState const& other) const {
        return positionsDigest == other.positionsDigest && facesDigest == other.facesDigest &&
               restDigest == other.restDigest;
    }
};

/// mesh   sound, see faultOfMesh
TRIMORA_API MeshState stateOf(koGeom::CompactMesh const& mesh, InvariantDepth depth);

/// What an operation says of its result. What is not set is not looked at.
struct Expectation {
    bool samePositions = false;  ///< bit by bit
    bool sameFaces = false;
    bool noMoreVertices = false;
    bool noMoreTriangles = false;
    std::optional<std::int64_t> vertices;
    std::optional<std::int64_t> triangles;
    bool spreadsNonfinite = false;  ///< where there was NaN or infinity, there may be more of it

    // Looked at with InvariantDepth::Surface:
    bool keepsManifold = false;  ///< a manifold comes out as one
    bool keepsOrientation = false;
    bool isOriented = false;  ///< comes out as an oriented manifold, whatever it was
    std::optional<std::int64_t> eulerNumber;
    std::optional<int> components;
    std::optional<int> mostComponents;
    std::optional<int> loops;

    /// Notices that were sent; empty where nobody counted them.
    std::optional<int> notices;
    /// Told exceptions from "one notice if anything changed, else none": the core's MeshRepair::repair, which sends one for each fix,
    /// pipes of several operations, and writing values that were there already.
    bool severalNotices = false;

    /// The surface keeps its Euler number, components and borders where it was a manifold, to which alone that can be promised.
    TRIMORA_API static Expectation ofKeptTopology(MeshState const& before);
};

/// The one check that ends every operation: what is wrong with a mesh after an edit, in words that begin a sentence; no text:
/// nothing is.
///
/// always      indices in range, runs that add up, sets in step with the vertices, no new NaN or infinity, selections with the
///             right counts, notices, the counts that were predicted
/// in depth    (before.census is there) Euler number, components and borders as predicted, no table out of date (ranges of vertex sets,
///             places of runs, computed normals), half-edges that fit together wherever the surface is an oriented manifold
/// before      see stateOf, of the mesh before the edit; a state of its own (MeshState()) for a mesh that was made
/// after       out unless null: the state that was found, where there is no fault
/// cost        see InvariantDepth
TRIMORA_API SurfaceFault checkInvariants(MeshState const& before, koGeom::CompactMesh const& mesh,
                                         Expectation const& expected, MeshState* after = nullptr);

/// Keeps the modifications that a mesh sends while this lives.
class TRIMORA_API NoticeRecorder {
public:
    explicit NoticeRecorder(koGeom::PointMesh const& mesh);
    ~NoticeRecorder();
    NoticeRecorder(NoticeRecorder const&) = delete;
    NoticeRecorder& operator=(NoticeRecorder const&) = delete;

    int count() const { return static_cast<int>(notices_.size()); }
    std::vector<koGeom::MeshModification> const& notices() const { return notices_; }

private:
    void received(koGeom::EntityModification& modification);

    koRTB::Connection* connection_;
    std::vector<koGeom::MeshModification> notices_;
};

}  // namespace trimora
