#pragma once

#include "trimora/contract/koGeom/OctreeTables.h"

#include <unordered_map>
#include <vector>

namespace koGeom {

/// For crowded voxels of a table, the vertex that most of their triangles share, and the triangles that do not. Triangles with a
/// common vertex are no pair to be tested: around the hub of a huge fan this leaves almost nothing of a quadratic number of pairs.
class VoxelHubs {
public:
    /// triangles   three indices each, numbered as in the table; both are read during construction only
    VoxelHubs(OctreeTris const& tris, int const* triangles);

    struct Hub {
        int vertex;
        std::vector<int> others;  // triangles of the voxel without the vertex, in the table's order
    };

    /// The hub of a voxel with numTris triangles; null where there is none.
    Hub const* find(int voxel, int numTris) const {
        if (numTris < crowd)
            return nullptr;
        auto const found = hubs_.find(voxel);
        return found != hubs_.end() ? &found->second : nullptr;
    }

private:
    static constexpr int crowd = 256;

    void addVoxel(int voxel, int const* members, int numMembers, int const* triangles);

    std::unordered_map<int, Hub> hubs_;  // by voxel
};

}  // namespace koGeom
