#include "trimora/connectivity/MeshTriAdjTris.h"

#include "trimora/connectivity/detail/VertexBuckets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <limits>
#include <utility>
#include <vector>

// Triangle to triangles, in linear time and without a search tree: the edges of all triangles are dealt into buckets by
// their smaller vertex; within a bucket edges with the same larger vertex are one edge of the surface. Nearly always it has
// one or two triangles, and then each edge gets a link straight to the other triangle. An edge of more triangles, or
// one that a triangle holds twice, gets a link to its group in the sorted bucket. On a closed manifold the links are
// the table; else it is written triangle by triangle from the links.
//
// Edge k of triangle t, from corner k to corner k + 1, has the number 3t + k, which is where it starts in the raw triangles.

namespace koGeom {

namespace {

/// An edge in the bucket of its smaller vertex, with the larger one beside it: to fetch that from the triangle takes longer.
struct Edge {
    int larger;
    int number;
};

struct EdgeKeys {
    Edge* edges;

    static int vertex(MeshTriangle const& triangle, int corner) {
        return std::min(triangle[corner], triangle[corner == 2 ? 0 : corner + 1]);
    }
    void place(int position, MeshTriangle const& triangle, int index, int corner) {
        edges[position] = {std::max(triangle[corner], triangle[corner == 2 ? 0 : corner + 1]),
                           3 * index + corner};
    }
};

/// What lies across each edge: a triangle, nothing, or (encoded) the first position of a group of edges.
constexpr int noLink = -1;
constexpr int groupLink(int position) {
    return -2 - position;
}
constexpr int groupOf(int link) {
    return -2 - link;
}

/// The edges by bucket, shared by the stages.
struct EdgeBuckets {
    explicit EdgeBuckets(CompactMesh const& mesh)
        : numVertices(mesh.getNumVertices()),
          numTriangles(mesh.getNumTriangles()),
          numEdges(detail::tableSize(std::int64_t{3} * numTriangles)),
          triangles(mesh.getTriangles()),
          startArray_(detail::tableSize(std::int64_t{numVertices} + 1)),
          edgeArray_(numEdges),
          starts(startArray_.data()),
          edges(edgeArray_.data()) {
        detail::VertexBuckets<EdgeKeys> buckets(numVertices, triangles, numTriangles,
                                                EdgeKeys{edges});
        buckets.run(starts);
        starts[numVertices] = numEdges;
    }

    int numVertices;
    int numTriangles;
    int numEdges;
    MeshTriangle const* triangles;

private:
    Array<int> startArray_;
    Array<Edge> edgeArray_;

public:
    int* starts;  // one a vertex, and the end
    Edge* edges;
};

/// Finds what lies across each edge. A thread takes a slice of the buckets; an edge lies in one bucket only.
class LinkAlg : public koUtil::ThreadedAlg {
public:
    LinkAlg(EdgeBuckets& buckets, int* links)
        : numVertices_(buckets.numVertices),
          starts_(buckets.starts),
          edges_(buckets.edges),
          links_(links) {}

    void initialize(int numThreads) override {
        counts_.assign(static_cast<std::size_t>(std::min(numThreads, detail::maxTableThreads)),
                       Counts());
    }

    void execute(int threadIndex, int /*numThreads*/) override {
        int const numSlices = static_cast<int>(counts_.size());
        if (threadIndex >= numSlices)
            return;
        int const begin = getBeginIndex(threadIndex, numSlices, numVertices_);
        int const end = getBeginIndex(threadIndex + 1, numSlices, numVertices_);
        Array<int> lastMet(numVertices_);
        lastMet.fill(neverMet);

        Counts counts;
        for (int v = begin; v < end; ++v) {
            int const numPairs = linkPairs(starts_[v], starts_[v + 1], lastMet.data());
            if (numPairs >= 0)
                counts.pairs += numPairs;
            else
                counts.groupItems += linkGroups(starts_[v], starts_[v + 1]);
        }
        counts_[static_cast<std::size_t>(threadIndex)] = counts;
    }

    struct Counts {
        /// Edges of the surface with two triangles, without those of buckets that have groups.
        std::int64_t pairs = 0;
        /// Items of the table that the buckets with groups account for, at most.
        std::int64_t groupItems = 0;
    };
    Counts total() const {
        Counts total;
        for (Counts const& counts : counts_) {
            total.pairs += counts.pairs;
            total.groupItems += counts.groupItems;
        }
        return total;
    }

private:
    static constexpr int neverMet = std::numeric_limits<int>::min();

    /// Links the edges of a bucket two by two and returns the number of pairs; -1 when one of them is no pair of two
    /// triangles, the links being undefined then. `lastMet` holds for each larger vertex the position where it was met
    /// last, or that it was met twice in the bucket that begins at ~lastMet; what lies before this bucket is old.
    int linkPairs(int begin, int end, int* lastMet) const {
        int numPairs = 0;
        int numFaulty = 0;
        for (int position = begin; position < end; ++position) {
            Edge const edge = edges_[position];
            int& last = lastMet[edge.larger];
            bool const isMet = last >= begin;
            bool const isTaken = last == ~begin;
            int const partner = edges_[isMet ? last : position].number;
            last = isMet ? ~begin : position;

            // Without branches: whether an edge has been met is a toss of a coin.
            int const triangle = edge.number / 3;
            int const partnerTriangle = partner / 3;
            numFaulty += int{isTaken} | (int{isMet} & int{partnerTriangle == triangle});
            links_[partner] = triangle;
            links_[edge.number] = isMet ? partnerTriangle : noLink;
            numPairs += isMet;
        }
        return numFaulty == 0 ? numPairs : -1;
    }

    /// Links the edges of any bucket: sorts it, so that the edges of a group stand together by ascending triangle. Returns
    /// the number of items that its groups take.
    std::int64_t linkGroups(int begin, int end) const {
        std::sort(edges_ + begin, edges_ + end, [](Edge const& a, Edge const& b) {
            return std::pair(a.larger, a.number) < std::pair(b.larger, b.number);
        });
        std::int64_t items = 0;
        for (int first = begin; first < end;) {
            int last = first + 1;
            while (last < end && edges_[last].larger == edges_[first].larger)
                ++last;
            std::int64_t const size = last - first;
            items += size * (size - 1);
            for (int position = first; position < last; ++position)
                links_[edges_[position].number] = size == 1 ? noLink : groupLink(first);
            first = last;
        }
        return items;
    }

    int numVertices_;
    int const* starts_;
    Edge* edges_;                 // a thread sorts its own buckets
    int* links_;                  // a thread writes the edges of its buckets
    std::vector<Counts> counts_;  // a slot a thread
};

/// Writes the table from the links: counts the items of each slice of the triangles, then places them.
class ItemAlg : public koUtil::ThreadedAlg {
public:
    ItemAlg(EdgeBuckets const& buckets, int const* links) : buckets_(buckets), links_(links) {}

    void run(koUtil::ThreadPool& pool, ArrayOfSets& sets) {
        pool.run(*this);
        std::int64_t total = 0;
        for (std::int64_t& slice : sliceItems_) {
            std::int64_t const items = slice;
            slice = total;
            total += items;
        }
        sets.starts.setSize(buckets_.numTriangles);
        sets.items.setSize(detail::tableSize(total));
        starts_ = sets.starts.data();
        items_ = sets.items.data();
        counting_ = false;
        pool.run(*this);
    }

    void initialize(int numThreads) override {
        if (counting_)
            sliceItems_.assign(static_cast<std::size_t>(numThreads), 0);
    }

    void execute(int threadIndex, int numThreads) override {
        int const begin = getBeginIndex(threadIndex, numThreads, buckets_.numTriangles);
        int const end = getBeginIndex(threadIndex + 1, numThreads, buckets_.numTriangles);
        std::int64_t& items = sliceItems_[static_cast<std::size_t>(threadIndex)];
        if (counting_)
            items = count(begin, end);
        else
            place(begin, end, static_cast<int>(items));
    }

private:
    std::int64_t count(int begin, int end) const {
        std::int64_t items = 0;
        for (int edge = 3 * begin; edge < 3 * end; ++edge)
            forEachAcross(edge, [&](int) { ++items; });
        return items;
    }

    void place(int begin, int end, int position) const {
        for (int t = begin; t < end; ++t) {
            starts_[t] = position;
            for (int edge = 3 * t; edge < 3 * t + 3; ++edge)
                forEachAcross(edge, [&](int other) { items_[position++] = other; });
        }
    }

    /// Visits the other triangles on an edge, ascending.
    template <class Visit>
    void forEachAcross(int edge, Visit const& visit) const {
        int const link = links_[edge];
        if (link >= 0)
            visit(link);
        else if (link != noLink)
            forEachInGroup(groupOf(link), edge, visit);
    }

    template <class Visit>
    void forEachInGroup(int first, int edge, Visit const& visit) const {
        MeshTriangle const& triangle = buckets_.triangles[edge / 3];
        int const smaller = EdgeKeys::vertex(triangle, edge % 3);
        Edge const* const edges = buckets_.edges;
        for (int position = first, end = buckets_.starts[smaller + 1];
             position < end && edges[position].larger == edges[first].larger; ++position)
            if (edges[position].number / 3 != edge / 3)
                visit(edges[position].number / 3);
    }

    EdgeBuckets const& buckets_;
    int const* links_;
    bool counting_ = true;
    std::vector<std::int64_t> sliceItems_;  // a slot a thread: its items, then where they begin
    int* starts_ = nullptr;                 // a thread writes its slice of the triangles
    int* items_ = nullptr;                  // and their items
};

/// Three neighbours a triangle, one an edge: the links are the items.
void takeLinksAsItems(int numTriangles, Array<int>& links, ArrayOfSets& sets) {
    sets.items.swap(links);
    sets.starts.setSize(numTriangles);
    int* const starts = sets.starts.data();
    for (int t = 0; t < numTriangles; ++t)
        starts[t] = 3 * t;
}

}  // namespace

MeshTriAdjTris::MeshTriAdjTris() = default;
MeshTriAdjTris::MeshTriAdjTris(ArrayOfSets& sets) {
    sets_.swap(sets);
}
MeshTriAdjTris::MeshTriAdjTris(MeshTriAdjTris const&) = default;
MeshTriAdjTris& MeshTriAdjTris::operator=(MeshTriAdjTris const&) = default;
MeshTriAdjTris::~MeshTriAdjTris() = default;

void MeshTriAdjTris::swap(MeshTriAdjTris& other) {
    sets_.swap(other.sets_);
}

void meshTriAdjTris(CompactMesh const& mesh, MeshTriAdjTris& triAdjTris) {
    assert(detail::hasTrianglesInRange(mesh));
    koOS::StopWatch watch;
    watch.start();

    EdgeBuckets buckets(mesh);
    koUtil::ThreadPool& pool = detail::tablePool(buckets.numTriangles);
    Array<int> links(buckets.numEdges);
    LinkAlg linkAlg(buckets, links.data());
    pool.run(linkAlg);

    LinkAlg::Counts const total = linkAlg.total();
    detail::tableSize(
        total.groupItems);  // refused before the time that a hopeless table would take
    ArrayOfSets sets;
    if (2 * total.pairs == buckets.numEdges)
        takeLinksAsItems(buckets.numTriangles, links, sets);
    else
        ItemAlg(buckets, links.data()).run(pool, sets);

    MeshTriAdjTris computed(sets);
    triAdjTris.swap(computed);
    debugChannel().print("MeshTriAdjTris: %d vertices %d triangles %f\n", buckets.numVertices,
                         buckets.numTriangles, watch.stop());
}

}  // namespace koGeom
