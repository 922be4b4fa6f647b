#pragma once

#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace koGeom::detail {

/// The children of each node that a walk need look at, for OctreeClosestIt::reset: inner nodes, and leaves in which a
/// table lists triangles. One pass over the nodes, a byte for each inner one.
class OctreeOccupancy {
public:
    OctreeOccupancy(Octree const& octree, OctreeTris const& table) {
        // Every inner node has 8 children, which lie side by side after the root.
        int const numInner = octree.numVoxels > 0 ? (octree.numVoxels - 1) / 7 : 0;
        sets_.resize(static_cast<std::size_t>(numInner), 0);
        OctreeNode const* node = octree.getRoot().node + 1;
        for (std::uint8_t& set : sets_)
            for (unsigned child = 0; child < 8; ++child, ++node)
                if (node->isLeaf == 0 || table.numTris(node->voxelIndex) > 0)
                    set |= static_cast<std::uint8_t>(1u << child);
    }

    std::uint8_t const* sets() const { return sets_.data(); }

private:
    std::vector<std::uint8_t> sets_;
};

}  // namespace koGeom::detail
