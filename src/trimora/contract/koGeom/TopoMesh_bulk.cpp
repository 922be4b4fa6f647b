#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/TopoMeshBulk.h"
#include "trimora/contract/koGeom/detail/TopoMeshLinks.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <utility>
#include <vector>

/// Building a half-edge mesh in bulk. Twins are worked out as numbers, in arrays that are a fraction of the size of the
/// records; then every record is written once, in the order of memory. The outcome is that of one allocation after the
/// other.
namespace koGeom {

using namespace detail;

namespace {

constexpr int none = -1;

constexpr std::size_t maxHalfEdges = 0x7fffffff;  // they are numbered in ints

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// The half-edges as numbers: half-edge i of `count` runs from corners[i] to the next corner of its face.
struct HalfEdges {
    int count;
    int sides;
    int const* corners;

    int start(int i) const { return corners[at(i)]; }
    int end(int i) const { return corners[at((i + 1) % sides != 0 ? i + 1 : i + 1 - sides)]; }
    int before(int i) const { return i % sides != 0 ? i - 1 : i + sides - 1; }
};

/// Finds twins as one allocation after the other would: each half-edge, in turn, takes the latest of an earlier face that
/// runs against it and has none.
class TwinFinder {
public:
    TwinFinder(HalfEdges const& edges, int numVertices)
        : edges_(edges),
          ends_(at(edges.count)),
          latest_(at(numVertices), none),
          older_(at(edges.count)),
          twins(at(edges.count), none) {}

    void run() {
        for (int i = 0; i < edges_.count; ++i)
            ends_[at(i)] = edges_.end(i);
        for (int face = 0; face < edges_.count / edges_.sides; ++face) {
            int const begin = face * edges_.sides;
            for (int i = begin; i - begin < edges_.sides; ++i)
                link(i, findOpposite(i));
            for (int i = begin; i - begin < edges_.sides; ++i) {
                int& head = latest_[at(edges_.start(i))];
                older_[at(i)] = head;
                head = i;
            }
        }
    }

private:
    void link(int i, int opposite) {
        if (opposite == none)
            return;
        twins[at(i)] = opposite;
        twins[at(opposite)] = i;
    }
    int findOpposite(int i) const;

    HalfEdges const edges_;
    std::vector<int> ends_;
    std::vector<int> latest_;  // by vertex: the half-edge that left it last
    std::vector<int> older_;   // by half-edge: the one that left the same vertex before

public:
    std::vector<int> twins;
};

/// The search of detail::findHalfEdge, in numbers.
int TwinFinder::findOpposite(int i) const {
    int const from = edges_.start(i);
    int const to = ends_[at(i)];
    int leaving = latest_[at(to)];
    int afterArriving = latest_[at(from)];
    for (int step = 0; leaving != none && afterArriving != none; ++step) {
        if (ends_[at(leaving)] == from && twins[at(leaving)] == none)
            return leaving;
        leaving = older_[at(leaving)];
        if (step < fewLeaving)
            continue;
        int const arriving = edges_.before(afterArriving);
        if (edges_.start(arriving) == to && twins[at(arriving)] == none)
            return arriving;
        afterArriving = older_[at(afterArriving)];
    }
    return none;
}

bool areInRange(HalfEdges const& edges, int numVertices) {
    for (int i = 0; i < edges.count; ++i)
        if (edges.start(i) < 0 || edges.start(i) >= numVertices)
            return false;
    return true;
}

bool areTwins(HalfEdges const& edges, int const* twins) {
    for (int i = 0; i < edges.count; ++i) {
        int const t = twins[at(i)];
        if (t == none)
            continue;
        if (t < 0 || t >= edges.count || t == i || twins[at(t)] != i)
            return false;
        // The other end of an opposed pair is looked at when t has its turn.
        bool const opposed = edges.start(t) == edges.end(i);
        if (!opposed && (edges.start(t) != edges.start(i) || edges.end(t) != edges.end(i)))
            return false;
    }
    return true;
}

/// Writes the records, each chunk those of a slice of the points and of a slice of the faces.
class WriteAlg final : public koUtil::ThreadedChunkAlg {
public:
    WriteAlg(TopoMeshBulk const& bulk, Point const* points, int numPoints, HalfEdges const& edges,
             int const* twins, TopoMeshChains const& leaving)
        : bulk_(bulk),
          points_(points),
          numPoints_(numPoints),
          edges_(edges),
          twins_(twins),
          leaving_(leaving) {}

    void executeChunk(int chunk, int /*threadIndex*/) override {
        int const* const earliest = leaving_.earliest.data();
        int const* const latest = leaving_.latest.data();
        for (int v = begin(chunk, numPoints_); v < begin(chunk + 1, numPoints_); ++v)
            bulk_.writeVertex(v, points_[v], earliest[v], latest[v]);
        int const numFaces = edges_.count / edges_.sides;
        for (int f = begin(chunk, numFaces); f < begin(chunk + 1, numFaces); ++f) {
            bulk_.writeFace(f, bulk_.edge(f * edges_.sides));
            writeRing(f);
        }
    }

private:
    int begin(int chunk, int total) const { return getBeginIndex(chunk, numChunks, total); }

    void writeRing(int face) const {
        int const* const earlier = leaving_.earlier.data();
        int const* const later = leaving_.later.data();
        F* const f = bulk_.face(face);
        int const begin = face * edges_.sides;
        int const last = begin + edges_.sides - 1;
        E* before = bulk_.edge(last);
        E* own = bulk_.edge(begin);
        for (int i = begin; i <= last; ++i) {
            E* const after = bulk_.edge(i < last ? i + 1 : begin);
            bulk_.writeEdge(i, {bulk_.vertex(edges_.start(i)), after, before, bulk_.edge(twins_[i]),
                                f, bulk_.edge(earlier[i]), bulk_.edge(later[i])});
            before = own;
            own = after;
        }
    }

    TopoMeshBulk const& bulk_;
    Point const* points_;
    int numPoints_;
    HalfEdges edges_;
    int const* twins_;
    TopoMeshChains const& leaving_;
};

/// Below this many faces waking the pool costs more than it saves.
constexpr int minPooledFaces = 10000;

}  // namespace

TopoMeshFace TopoMesh::allocFaces(int numPoints, Point const* points, int numFaces, int sides,
                                  int const* corners, int const* givenTwins) {
    if (numPoints <= 0 || numFaces <= 0 || sides < 3 || at(numFaces) > maxHalfEdges / at(sides))
        return TopoMeshFace();
    HalfEdges const halfEdges = {numFaces * sides, sides, corners};
    if (!areInRange(halfEdges, numPoints) ||
        (givenTwins != nullptr && !areTwins(halfEdges, givenTwins)))
        return TopoMeshFace();
    std::vector<int> found;
    if (givenTwins == nullptr) {
        TwinFinder finder(halfEdges, numPoints);
        finder.run();
        found = std::move(finder.twins);
    }
    TopoMeshChains const leaving(numPoints, halfEdges.count,
                                 [corners](int i) { return corners[i]; });
    TopoMeshBulk const bulk(*this, numPoints, halfEdges.count, numFaces);
    WriteAlg alg(bulk, points, numPoints, halfEdges,
                 givenTwins != nullptr ? givenTwins : found.data(), leaving);
    (numFaces < minPooledFaces ? koUtil::ThreadPool::getSingleThreadedPool()
                               : koUtil::ThreadPool::get())
        .run(alg);
    return TopoMeshFace(bulk.face(0));
}

}  // namespace koGeom
