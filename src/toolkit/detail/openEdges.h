#pragma once

#include "toolkit/detail/borderLoops.h"

#include <cstddef>
#include <unordered_map>
#include <vector>

namespace trimora {

/// A directed edge by the positions of its ends, which outlive any renumbering.
struct EdgeKey {
    float ends[6];

    bool operator==(EdgeKey const& other) const;
};

struct EdgeKeyHash {
    std::size_t operator()(EdgeKey const& key) const;
};

/// The edges of a border as keys, from its first vertex on.
std::vector<EdgeKey> keysOf(koGeom::CompactMesh const& mesh, std::vector<int> const& loop);

/// The borders of a mesh as it now is, by their edges.
class OpenEdges {
public:
    OpenEdges(koGeom::CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris);

    std::size_t count(EdgeKey const& key) const {
        auto const found = loopsOf_.find(key);
        return found == loopsOf_.end() ? 0 : found->second.size();
    }
    /// The loop that has these edges and no others, or -1.
    int find(std::vector<EdgeKey> const& keys) const;
    /// For the library.
    koGeom::MeshBoundaries asBoundaries() const;

private:
    std::vector<BorderLoop> loops_;
    std::unordered_map<EdgeKey, std::vector<int>, EdgeKeyHash> loopsOf_;
};

}  // namespace trimora
