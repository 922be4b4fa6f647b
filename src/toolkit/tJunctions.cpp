// Edges are sorted by the lowest x of their boxes. A vertex looks at those that begin at most the longest edge before it.

#include "toolkit/detail/tJunctions.h"

#include <algorithm>
#include <cstddef>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;

constexpr double fromEnds =
    2.0;  // tolerances between the vertex and the ends of the edge, at least

struct BorderEdge {
    double low;  // in x
    double extent;
    int from;
    int to;
};

class JunctionSearch {
public:
    JunctionSearch(CompactMesh const& mesh, std::vector<int> const& loop, double tolerance)
        : mesh_(mesh), loop_(loop), tolerance_(tolerance) {
        for (std::size_t i = 0; i < loop.size(); ++i) {
            int const from = loop[i];
            int const to = loop[(i + 1) % loop.size()];
            auto const [low, high] = std::minmax({pointOf(from).x, pointOf(to).x});
            edges_.push_back({low, high - low, from, to});
            longest_ = std::max(longest_, high - low);
        }
        std::sort(edges_.begin(), edges_.end(), [](BorderEdge const& a, BorderEdge const& b) {
            return a.low != b.low ? a.low < b.low : a.from < b.from;
        });
    }

    std::vector<TJunction> run() const;

private:
    Point pointOf(int vertex) const { return mesh_.getVertices()[vertex].asPoint(); }
    double distanceTo(BorderEdge const& edge, Point const& p) const;

    CompactMesh const& mesh_;
    std::vector<int> const& loop_;
    double tolerance_;
    double longest_ = 0.0;
    std::vector<BorderEdge> edges_;
};

/// More than the tolerance where the nearest point is an end.
double JunctionSearch::distanceTo(BorderEdge const& edge, Point const& p) const {
    Point const start = pointOf(edge.from);
    Vector const along = pointOf(edge.to) - start;
    double const length = along.length();
    double const place = dot(p - start, along) / length;
    bool const isBetween = place > fromEnds * tolerance_ && place < length - fromEnds * tolerance_;
    return isBetween ? distance(p, start + place / length * along) : 2.0 * tolerance_;
}

std::vector<TJunction> JunctionSearch::run() const {
    std::vector<TJunction> junctions;
    for (int const v : loop_) {
        Point const p = pointOf(v);
        auto edge = std::lower_bound(
            edges_.begin(), edges_.end(), p.x - longest_ - tolerance_,
            [](BorderEdge const& candidate, double x) { return candidate.low < x; });
        double nearest = tolerance_;
        BorderEdge const* best = nullptr;
        for (; edge != edges_.end() && edge->low <= p.x + tolerance_; ++edge) {
            if (edge->from == v || edge->to == v || edge->low + edge->extent < p.x - tolerance_)
                continue;
            if (double const d = distanceTo(*edge, p); d <= nearest) {
                nearest = d;
                best = &*edge;
            }
        }
        if (best != nullptr)
            junctions.push_back(
                {v, {std::min(best->from, best->to), std::max(best->from, best->to)}});
    }
    std::sort(junctions.begin(), junctions.end(),
              [](TJunction const& a, TJunction const& b) { return a.vertex < b.vertex; });
    return junctions;
}

}  // namespace

std::vector<TJunction> findTJunctions(CompactMesh const& mesh, std::vector<int> const& loop,
                                      double tolerance) {
    return JunctionSearch(mesh, loop, tolerance).run();
}

}  // namespace trimora
