#include "trimora/connectivity/meshSingleSourceShortestPath.h"

#include "trimora/connectivity/MeshAdjVertices.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <cassert>
#include <limits>
#include <utility>
#include <vector>

// Dijkstra over the vertex graph with the edges' lengths in double. The heap holds the vertices that have been reached and
// are not settled; distances do not depend on the order of ties.

namespace koGeom {

namespace {

constexpr double unreached = std::numeric_limits<double>::max();

/// A binary min-heap of vertices by distance, in which a vertex can be moved up.
class VertexHeap {
public:
    explicit VertexHeap(int numVertices, double const* distances)
        : distances_(distances), places_(static_cast<std::size_t>(numVertices), notInHeap) {}

    bool empty() const { return heap_.empty(); }

    /// Adds the vertex, or restores the order after its distance fell.
    void raise(int vertex) {
        std::size_t place = places_[index(vertex)];
        if (place == notInHeap) {
            place = heap_.size();
            heap_.push_back(vertex);
        }
        while (place > 0 && distance(vertex) < distance(heap_[(place - 1) / 2])) {
            put(place, heap_[(place - 1) / 2]);
            place = (place - 1) / 2;
        }
        put(place, vertex);
    }

    int popNearest() {
        int const nearest = heap_.front();
        int const moved = heap_.back();
        heap_.pop_back();
        places_[index(nearest)] = notInHeap;
        if (!heap_.empty())
            sink(moved);
        return nearest;
    }

private:
    static constexpr std::size_t notInHeap = std::numeric_limits<std::size_t>::max();

    static std::size_t index(int vertex) { return static_cast<std::size_t>(vertex); }
    double distance(int vertex) const { return distances_[vertex]; }

    void put(std::size_t place, int vertex) {
        heap_[place] = vertex;
        places_[index(vertex)] = place;
    }

    /// Lets a vertex sink from the root.
    void sink(int vertex) {
        std::size_t place = 0;
        for (std::size_t child = 1; child < heap_.size(); child = 2 * place + 1) {
            if (child + 1 < heap_.size() && distance(heap_[child + 1]) < distance(heap_[child]))
                ++child;
            if (!(distance(heap_[child]) < distance(vertex)))
                break;
            put(place, heap_[child]);
            place = child;
        }
        put(place, vertex);
    }

    double const* distances_;
    std::vector<int> heap_;
    std::vector<std::size_t> places_;
};

}  // namespace

void meshSingleSourceShortestPath(CompactMesh const& mesh, MeshAdjVertices const& adjVertices,
                                  int source, Array<double>& distances, Array<int>& predecessors) {
    assert(detail::isTableOf(adjVertices, mesh));
    int const numVertices = mesh.getNumVertices();
    distances.setSize(numVertices);
    distances.fill(unreached);
    predecessors.setSize(numVertices);
    predecessors.fill(-1);  // deliberate: never written again
    if (source < 0 || source >= numVertices)
        return;

    MeshVertex const* const vertices = mesh.getVertices();
    double* const shortest = distances.data();
    VertexHeap heap(numVertices, shortest);
    shortest[source] = 0.0;
    heap.raise(source);
    while (!heap.empty()) {
        int const v = heap.popNearest();
        for (int i = 0; i < adjVertices.numNeighbours(v); ++i) {
            int const w = adjVertices.neighbours(v)[i];
            double const length = distance(vertices[v].asPoint(), vertices[w].asPoint());
            if (shortest[w] > length + shortest[v]) {
                shortest[w] = length + shortest[v];
                heap.raise(w);
            }
        }
    }
}

}  // namespace koGeom
