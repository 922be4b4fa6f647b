#pragma once

#include "trimora/contract/koGeom/TopoMeshTriangles.h"
#include "trimora/export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace koGeom {

/// The edges of a mesh by ascending cost, equal costs in the order of insertion: what an ordered multiset is for, at a
/// price of a few nanoseconds an insertion.
///
/// Edges are known by one of their half-edges. Costs fall into buckets by their leading bits; only the lowest bucket is kept
/// as a heap, the others are in the order in which they were filled. As collapses seldom make edges cheaper, most of what
/// comes in goes to the end of a bucket, and what never becomes cheap enough is never sorted. An entry that was erased stays
/// where it is, told by its ticket, until it comes up or until such entries are the greater part.
/// memory    24 bytes an entry and as much again for entries erased and for growth
class TRIMORA_API CollapseQueue {
public:
    using Index = TopoMeshTriangles::Index;

    struct Entry {
        double cost;
        std::uint64_t ticket;  ///< counts the insertions from 1
        Index halfEdge;
    };

    /// Uses the tags of the half-edges. The tickets go on from the last one, for tests.
    explicit CollapseQueue(TopoMeshTriangles& links, std::uint64_t lastTicket = 0);

    bool holds(Index h) const { return links_.tag(h) != 0; }
    /// A half-edge that it does not hold; the cost is not NaN.
    void insert(Index h, double cost);
    void erase(Index h);
    /// The least entry, or null when there is none.
    Entry const* top();

    /// All entries, in no order.
    template <typename Function>
    void forEach(Function const& function) const {
        for (Entry const& entry : heap_)
            if (isAlive(entry))
                function(entry);
        for (std::vector<Entry> const& bucket : buckets_)
            for (Entry const& entry : bucket)
                if (isAlive(entry))
                    function(entry);
    }

private:
    /// By the lower half of the ticket, which the tag holds: older entries are purged before those come round.
    bool isAlive(Entry const& entry) const {
        return links_.tag(entry.halfEdge) == static_cast<Index>(entry.ticket);
    }
    std::uint64_t nextTicket();
    std::size_t bucketOf(double cost) const;
    bool openNextBucket();
    void purge();
    void dropErased(std::vector<Entry>& entries) const;

    TopoMeshTriangles& links_;
    std::vector<Entry> heap_;  // all entries of the buckets up to the open one
    std::vector<std::vector<Entry>> buckets_;
    std::size_t openBucket_ = 0;
    int bucketShift_;
    std::uint64_t lastTicket_;
    std::uint64_t lastPurge_;
    std::size_t numHeld_ = 0;
    std::size_t numStored_ = 0;  // those that were erased included
};

}  // namespace koGeom
