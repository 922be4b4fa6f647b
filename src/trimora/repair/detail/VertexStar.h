#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshElements.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace koGeom {

/// The triangles around one vertex, with the two questions that manifoldness asks of them.
///
/// One object serves vertex after vertex, and its buffers only grow. Every query is linear in the
/// size of the star: a table over all vertices finds a spoke again at once, so that a hub of a
/// million triangles costs no more than its triangles.
///
///        r1 --- r0        spokes run from the centre c to the rim (r0, r1, ...)
///       /  \   /  \       a fan is a run of triangles linked through common spokes
///     r2 -- c ---- r5
///       \  /   \  /
///        r3 --- r4
class VertexStar {
public:
    struct Spoke {
        int rim;
        int count;          // star triangles that use the spoke
        int firstTriangle;  // position in the star of the first of them
    };

    enum class Kind { Manifold, SeveralFans, OverusedSpoke };

    /// numVertices   above every index in `triangles`; the array may be rewritten between two loads
    VertexStar(MeshAdjTris const& adj, MeshTriangle const* triangles, int numVertices);

    /// True when the star is one closed fan, wound alike and with sound spokes: nearly every star
    /// is, and the other questions need not be asked then. False leaves them open. Whatever was
    /// loaded is gone.
    bool isClosedFan(int vertex);

    void load(int vertex);

    int numTris() const { return numTris_; }
    /// The star's triangles in the order of the adjacency table.
    int const* triIndices() const { return triIndices_; }
    std::vector<Spoke> const& spokes() const { return spokes_; }

    /// True when no spoke is used by more than two triangles.
    bool hasSoundSpokes() const;
    /// Appends every overused spoke as (lower vertex, higher vertex).
    void appendOverusedSpokes(ko::vector<std::pair<int, int>>& edges) const;

    /// Labels the fans in the order of their first triangles; 0 is the fan of the star's first
    /// triangle. Call it on a star with sound spokes.
    int countFans();
    /// The fan of the i-th star triangle, after countFans.
    int fanLabel(int i) const { return labels_[static_cast<std::size_t>(i)]; }

    /// Spokes first, then fans (labelled unless a spoke is overused).
    Kind classify();

private:
    struct RimEntry {
        std::uint32_t stamp;
        int position;  // of the spoke or the triangle that the rim vertex stands for
    };

    void nextStamp();
    int useSpoke(int rim, int triangle);
    int findFan(int i);
    void joinFans(int i, int j);

    MeshAdjTris const& adj_;
    MeshTriangle const* triangles_;
    std::vector<RimEntry> rim_;  // by vertex; valid where the stamp is the current one
    std::uint32_t stamp_ = 0;

    std::vector<int> rimEnds_;  // by star triangle, of the last closed fan tried
    int centre_ = -1;
    int numTris_ = 0;
    int const* triIndices_ = nullptr;
    std::vector<Spoke> spokes_;
    std::vector<std::pair<int, int>> triSpokes_;  // by star triangle
    std::vector<int> labels_;  // while fans are joined: an earlier triangle of the same fan
};

}  // namespace koGeom
