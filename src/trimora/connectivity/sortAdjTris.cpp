#include "trimora/connectivity/sortAdjTris.h"

#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>

// Fan order by selection: the triangle after each one is the first of those left that has the directed edge from the vertex to
// the corner before it; it changes places with what stands there. A vertex of many triangles keeps the candidates of each
// directed edge in a heap by place instead of walking all that is left; both give the same order.

namespace koGeom {

namespace {

constexpr int maxSearched = 64;  // triangles up to which a walk is faster than sorting

/// The corner before `vertex` in winding order; the last corner is taken for `vertex` when neither other is.
int cornerBefore(int vertex, MeshTriangle const& triangle) {
    int const corner = triangle[0] == vertex ? 0 : triangle[1] == vertex ? 1 : 2;
    return triangle[(corner + 2) % 3];
}

bool hasDirectedEdge(MeshTriangle const& triangle, int from, int to) {
    return (triangle[0] == from && triangle[1] == to) ||
           (triangle[1] == from && triangle[2] == to) || (triangle[2] == from && triangle[0] == to);
}

void sortBySearching(int vertex, MeshTriangle const* triangles, ko::vector<int>& tris) {
    for (auto current = tris.begin(); current != tris.end(); ++current) {
        int const previousCorner = cornerBefore(vertex, triangles[*current]);
        auto const next = std::find_if(current + 1, tris.end(), [&](int t) {
            return hasDirectedEdge(triangles[t], vertex, previousCorner);
        });
        if (next != tris.end())
            std::iter_swap(current + 1, next);
    }
}

/// The triangles of a long list with the directed edges that leave the vertex, and where each triangle stands now.
class LongFan {
public:
    LongFan(int vertex, MeshTriangle const* triangles, ko::vector<int> const& tris)
        : tris_(tris), order_(tris.size()), places_(tris.size()) {
        std::iota(order_.begin(), order_.end(), std::size_t{0});
        std::iota(places_.begin(), places_.end(), std::size_t{0});
        for (std::size_t i = 0; i < tris.size(); ++i)
            for (int corner = 0; corner < 3; ++corner)
                if (triangles[tris[i]][corner] == vertex)
                    candidates_.push_back({triangles[tris[i]][(corner + 1) % 3], i, i});
        std::stable_sort(candidates_.begin(), candidates_.end(),
                         [](Candidate const& a, Candidate const& b) { return a.head < b.head; });
        heapSizes_.resize(candidates_.size());
        for (std::size_t i = candidates_.size(); i-- > 0;) {
            bool const continues =
                i + 1 < candidates_.size() && candidates_[i + 1].head == candidates_[i].head;
            heapSizes_[i] = 1 + (continues ? heapSizes_[i + 1] : 0);
        }
    }

    int triangle(std::size_t place) const { return tris_[order_[place]]; }

    /// Puts the first triangle behind `place` whose edge runs to `head` right behind it.
    void bringNext(std::size_t place, int head) {
        std::size_t const next = firstBehind(place, head);
        if (next == order_.size())
            return;
        std::swap(order_[place + 1], order_[next]);
        places_[order_[place + 1]] = place + 1;
        places_[order_[next]] = next;
    }

private:
    struct Candidate {
        int head;
        std::size_t number;  // in tris_
        std::size_t place;   // where it stood when it was last looked at; it only ever moves back
    };
    static bool standsBehind(Candidate const& a, Candidate const& b) { return a.place > b.place; }

    /// The least place behind `place` of a candidate; the list's length when there is none. What stands before it has
    /// had its turn and leaves the heap for good.
    std::size_t firstBehind(std::size_t place, int head) {
        auto const first =
            std::lower_bound(candidates_.begin(), candidates_.end(), head,
                             [](Candidate const& a, int value) { return a.head < value; });
        if (first == candidates_.end() || first->head != head)
            return order_.size();
        std::size_t& size = heapSizes_[static_cast<std::size_t>(first - candidates_.begin())];
        while (size > 0) {
            std::size_t const now = places_[first->number];
            if (now > place && now == first->place)
                return now;
            auto const end = first + static_cast<std::ptrdiff_t>(size);
            std::pop_heap(first, end, standsBehind);
            (end - 1)->place = now;
            if (now > place)
                std::push_heap(first, end, standsBehind);
            else
                --size;
        }
        return order_.size();
    }

    ko::vector<int> const& tris_;
    ko::vector<std::size_t> order_;     // numbers in tris_, as they stand
    ko::vector<std::size_t> places_;    // and the inverse
    ko::vector<Candidate> candidates_;  // grouped by head, each group a heap: the least place first
    ko::vector<std::size_t> heapSizes_;  // at a group's first candidate: how many are left in it
};

void sortByLookup(int vertex, MeshTriangle const* triangles, ko::vector<int>& tris) {
    LongFan fan(vertex, triangles, tris);
    for (std::size_t place = 0; place < tris.size(); ++place)
        fan.bringNext(place, cornerBefore(vertex, triangles[fan.triangle(place)]));
    ko::vector<int> sorted(tris.size());
    for (std::size_t place = 0; place < tris.size(); ++place)
        sorted[place] = fan.triangle(place);
    tris.swap(sorted);
}

}  // namespace

void sortAdjTris(int vertex, int numTris, int const* tris, MeshTriangle const* triangles,
                 ko::vector<int>& out) {
    assert(detail::allHoldVertex(tris, numTris, triangles, vertex));
    ko::vector<int> sorted(tris, tris + std::max(numTris, 0));
    if (numTris <= maxSearched)
        sortBySearching(vertex, triangles, sorted);
    else
        sortByLookup(vertex, triangles, sorted);
    out.swap(sorted);
}

}  // namespace koGeom
