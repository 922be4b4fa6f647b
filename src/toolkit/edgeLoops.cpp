// A walk along edges that were not used before. Where it comes back to a vertex that is on it, the part since then is a loop and
// is taken off; where nothing goes on it steps back, and the edge is dropped.

#include "toolkit/detail/edgeLoops.h"

#include <algorithm>
#include <cstddef>

namespace trimora {

namespace {

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

class LoopWalk {
public:
    explicit LoopWalk(std::vector<std::pair<int, int>> const& edges);

    std::vector<std::vector<int>> run();

private:
    struct Spoke {
        int from;
        int to;
        int edge;
    };

    int numberOf(int vertex) const {
        return static_cast<int>(std::lower_bound(vertices_.begin(), vertices_.end(), vertex) -
                                vertices_.begin());
    }
    Spoke const* nextSpoke(int from);
    void walkFrom(int start);
    void takeLoop(int place);

    std::vector<int> vertices_;  // ascending; the walk goes by their places here
    std::vector<Spoke> spokes_;  // each edge from both of its ends
    std::vector<std::size_t> next_;
    std::vector<std::size_t> ends_;  // of a vertex's spokes
    std::vector<char> isUsed_;       // by edge
    std::vector<int> path_;
    std::vector<int> places_;  // on the path
    std::vector<std::vector<int>> loops_;
};

LoopWalk::LoopWalk(std::vector<std::pair<int, int>> const& edges) : isUsed_(edges.size(), 0) {
    for (auto const& [a, b] : edges) {
        vertices_.push_back(a);
        vertices_.push_back(b);
    }
    std::sort(vertices_.begin(), vertices_.end());
    vertices_.erase(std::unique(vertices_.begin(), vertices_.end()), vertices_.end());
    for (std::size_t i = 0; i < edges.size(); ++i) {
        int const a = numberOf(edges[i].first);
        int const b = numberOf(edges[i].second);
        spokes_.push_back({a, b, static_cast<int>(i)});
        spokes_.push_back({b, a, static_cast<int>(i)});
    }
    std::sort(spokes_.begin(), spokes_.end(), [](Spoke const& a, Spoke const& b) {
        return a.from != b.from ? a.from < b.from : a.to < b.to;
    });
    for (std::size_t i = 0; i < spokes_.size(); ++i) {
        if (i == 0 || spokes_[i].from != spokes_[i - 1].from) {
            next_.push_back(i);
            ends_.push_back(i);
        }
        ++ends_.back();
    }
    places_.assign(vertices_.size(), -1);
}

std::vector<std::vector<int>> LoopWalk::run() {
    for (int v = 0; v < static_cast<int>(vertices_.size()); ++v)
        walkFrom(v);
    for (std::vector<int>& loop : loops_) {
        std::rotate(loop.begin(), std::min_element(loop.begin(), loop.end()), loop.end());
        if (loop[1] > loop.back())
            std::reverse(loop.begin() + 1, loop.end());
        for (int& v : loop)
            v = vertices_[at(v)];
    }
    std::sort(loops_.begin(), loops_.end());
    return std::move(loops_);
}

LoopWalk::Spoke const* LoopWalk::nextSpoke(int from) {
    std::size_t& next = next_[at(from)];
    while (next < ends_[at(from)] && isUsed_[at(spokes_[next].edge)] != 0)
        ++next;
    return next < ends_[at(from)] ? &spokes_[next] : nullptr;
}

void LoopWalk::walkFrom(int start) {
    path_.assign(1, start);
    places_[at(start)] = 0;
    while (!path_.empty()) {
        Spoke const* const spoke = nextSpoke(path_.back());
        if (spoke == nullptr) {
            places_[at(path_.back())] = -1;
            path_.pop_back();
            continue;
        }
        isUsed_[at(spoke->edge)] = 1;
        if (int const place = places_[at(spoke->to)]; place >= 0) {
            takeLoop(place);
        } else {
            places_[at(spoke->to)] = static_cast<int>(path_.size());
            path_.push_back(spoke->to);
        }
    }
}

/// Off the end of the path; its first vertex stays.
void LoopWalk::takeLoop(int place) {
    loops_.emplace_back(path_.begin() + place, path_.end());
    for (auto v = path_.begin() + place + 1; v != path_.end(); ++v)
        places_[at(*v)] = -1;
    path_.resize(at(place) + 1);
}

}  // namespace

std::vector<std::vector<int>> joinEdgesToLoops(std::vector<std::pair<int, int>> const& edges) {
    return LoopWalk(edges).run();
}

}  // namespace trimora
