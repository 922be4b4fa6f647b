#pragma once

#include "trimora/contract/koGeom/TopoMeshHandles.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

namespace koGeom::detail {

/// Notices that swaps have brought back a state in which the edges were before.
///
/// Each swap is an improvement by the criterion that allowed it, so edges that come back have been improved in a circle, which
/// the criterion rules out on a plane only. The ends of the edges tell all: nothing else is swapped. The state after some swap
/// is kept and compared with each later one; keeping a new one when their number has doubled finds a circle of any length,
/// wherever it begins [brent1980].
class SwapRepetition {
public:
    explicit SwapRepetition(std::vector<TopoMeshEdge> const& edges) : edges_(edges) {}

    /// To be asked after each swap.
    bool isReached() {
        ++numSwaps_;
        if (numSwaps_ < firstKept)
            return false;
        if (!kept_.empty() && isAsKept())
            return true;
        if (std::has_single_bit(numSwaps_))
            keep();
        return false;
    }

private:
    struct Ends {
        TopoMeshVertex from, to;

        explicit Ends(TopoMeshEdge edge) : from(edge.origin()), to(edge.next().origin()) {}
        bool operator==(Ends const&) const = default;
    };

    static constexpr std::uint64_t firstKept = 64;  // a power of 2; few runs are as long

    bool isAsKept() const {
        return std::equal(edges_.begin(), edges_.end(), kept_.begin(), kept_.end(),
                          [](TopoMeshEdge edge, Ends const& kept) { return Ends(edge) == kept; });
    }
    void keep() {
        kept_.clear();
        for (TopoMeshEdge const edge : edges_)
            kept_.emplace_back(edge);
    }

    std::vector<TopoMeshEdge> const& edges_;
    std::uint64_t numSwaps_ = 0;
    std::vector<Ends> kept_;
};

}  // namespace koGeom::detail
