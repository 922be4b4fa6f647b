#pragma once

#include "trimora/contract/koGeom/TopoMeshTriangles.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace koGeom {

/// The neighbours of each vertex of a mesh side by side in memory, for questions that a walk from link to link would take
/// several times as long to answer.
///
/// A neighbour stands in a list once for each edge that joins the two, so usually once, in no order. Lists of up to 14 are
/// kept, each in a line of the cache. A vertex that ever had more is crowded: its neighbours are read from the links, and
/// where that can be avoided, from the other end; so a hub with a million neighbours costs no more than what moves at it.
/// memory    64 bytes a vertex
class TRIMORA_API NeighbourLists {
public:
    using Index = TopoMeshTriangles::Index;

    /// The links outlive the object.
    explicit NeighbourLists(TopoMeshTriangles const& links);

    std::size_t size(Index vertex) const { return lists_[vertex].count; }
    bool isCrowded(Index vertex) const { return lists_[vertex].isCrowded; }
    /// Of a vertex that is not crowded.
    Index const* begin(Index vertex) const { return lists_[vertex].items; }
    Index const* end(Index vertex) const { return begin(vertex) + size(vertex); }
    /// Calls function(neighbour) for all, crowded or not.
    template <typename Function>
    void forEach(Index vertex, Function const& function) const;
    /// Looks at the end that has fewer.
    bool areJoined(Index a, Index b) const;
    /// True when nothing stood in a list twice at first.
    bool isSimple() const { return isSimple_; }
    /// Asks for the memory of a list.
    void prefetch(Index vertex) const { __builtin_prefetch(&lists_[vertex]); }

    /// Says that the one edge between two vertices is about to collapse: the edges of `gone` will end at `kept`.
    void join(Index kept, Index gone);
    /// Says that one edge between the two is about to go.
    void separate(Index a, Index b);

private:
    static constexpr std::uint32_t maxListed = 14;

    struct alignas(64) List {
        std::uint32_t count = 0;
        bool isCrowded = false;
        Index items[maxListed];
    };

    bool findSimple() const;
    void append(List& list, Index vertex);
    void remove(List& list, Index vertex);

    TopoMeshTriangles const& links_;
    std::vector<List> lists_;
    bool isSimple_ = false;
};

template <typename Function>
void NeighbourLists::forEach(Index vertex, Function const& function) const {
    if (!isCrowded(vertex)) {
        for (Index const* i = begin(vertex); i != end(vertex); ++i)
            function(*i);
        return;
    }
    for (Index h = links_.firstLeaving(vertex); h != TopoMeshTriangles::none;
         h = links_.nextLeaving(h)) {
        function(links_.end(h));
        // What arrives without a partner that leaves is seen from its other end alone.
        Index const arriving = TopoMeshTriangles::prev(h);
        if (links_.opposite(arriving) == TopoMeshTriangles::none)
            function(links_.origin(arriving));
    }
}

}  // namespace koGeom
