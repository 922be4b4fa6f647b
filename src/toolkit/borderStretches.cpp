// Points along all open edges go into a tree, about as far apart as edges are long. The middle of an edge then asks for points
// near it, and measures the distance to their edges.

#include "toolkit/detail/borderStretches.h"

#include "trimora/contract/koGeom/KDTree.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshTriangle;
using koLinear::Point;
using koLinear::Vector;

constexpr double nearShare = 0.15;  // of the shorter edge
constexpr double leastCosine = 0.9;
constexpr double mostSamples = 256.0;  // of an edge

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

struct OpenEdge {
    int loop;
    int place;
    int triangle;
    Point start;
    Vector along;
    double length;

    Point middle() const { return start + 0.5 * along; }
};

double distanceTo(OpenEdge const& edge, Point const& p) {
    double const t =
        std::clamp(dot(p - edge.start, edge.along) / (edge.length * edge.length), 0.0, 1.0);
    return distance(p, edge.start + t * edge.along);
}

class StretchSearch {
public:
    StretchSearch(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                  std::vector<std::vector<int>> const& loops,
                  std::vector<std::vector<char>> const& isOut)
        : mesh_(mesh), adjTris_(adjTris), loops_(loops), isOut_(isOut), tree_(0) {}

    std::vector<BorderStretch> run();

private:
    void takeEdges();
    void takeSamples();
    std::optional<double> gapOf(OpenEdge const& edge);
    bool areNeighbours(int triangle, int other) const;
    int triangleOn(int from, int to) const;
    void joinGaps(int loop, std::vector<double> const& gaps);

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    std::vector<std::vector<int>> const& loops_;
    std::vector<std::vector<char>> const& isOut_;
    std::vector<OpenEdge> edges_;
    double spacing_ = 0.0;
    std::vector<float> samples_;
    std::vector<int> edgeOf_;  // of each sample
    koGeom::KDTree tree_;
    std::vector<int> found_;
    std::vector<BorderStretch> stretches_;
};

std::vector<BorderStretch> StretchSearch::run() {
    takeEdges();
    if (edges_.size() < 2)
        return {};
    takeSamples();
    std::vector<std::vector<double>> gaps(loops_.size());  // -1 where there is nothing beside
    for (std::size_t i = 0; i < loops_.size(); ++i)
        gaps[i].assign(loops_[i].size(), -1.0);
    for (OpenEdge const& edge : edges_)
        if (auto const gap = gapOf(edge))
            gaps[at(edge.loop)][at(edge.place)] = *gap;
    for (std::size_t i = 0; i < loops_.size(); ++i)
        joinGaps(static_cast<int>(i), gaps[i]);
    return std::move(stretches_);
}

int StretchSearch::triangleOn(int from, int to) const {
    int const* const around = adjTris_.triIndices(from);
    for (int i = 0; i < adjTris_.numTris(from); ++i) {
        MeshTriangle const& c = mesh_.getTriangles()[around[i]];
        if (c[0] == to || c[1] == to || c[2] == to)
            return around[i];
    }
    return -1;
}

void StretchSearch::takeEdges() {
    for (std::size_t i = 0; i < loops_.size(); ++i)
        for (std::size_t k = 0; k < loops_[i].size(); ++k) {
            int const from = loops_[i][k];
            int const to = loops_[i][(k + 1) % loops_[i].size()];
            Point const start = mesh_.getVertices()[from].asPoint();
            Vector const along = mesh_.getVertices()[to].asPoint() - start;
            double const length = along.length();
            int const triangle = triangleOn(from, to);
            if (isOut_[i][k] == 0 && triangle >= 0 && length > 0.0 && std::isfinite(length) &&
                std::isfinite(start.x + start.y + start.z))
                edges_.push_back(
                    {static_cast<int>(i), static_cast<int>(k), triangle, start, along, length});
        }
}

void StretchSearch::takeSamples() {
    std::vector<double> lengths;
    for (OpenEdge const& edge : edges_)
        lengths.push_back(edge.length);
    auto const median = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
    std::nth_element(lengths.begin(), median, lengths.end());
    spacing_ = *median;
    for (std::size_t i = 0; i < edges_.size(); ++i) {
        OpenEdge const& edge = edges_[i];
        double const count = std::clamp(std::ceil(edge.length / spacing_), 1.0, mostSamples);
        for (double k = 0.0; k < count; ++k) {
            Point const p = edge.start + (k + 0.5) / count * edge.along;
            for (double const c : {p.x, p.y, p.z})
                samples_.push_back(static_cast<float>(c));
            edgeOf_.push_back(static_cast<int>(i));
        }
    }
    for (int i = 0; i < static_cast<int>(edgeOf_.size()); ++i)
        tree_.insert(samples_.data(), i);
}

bool StretchSearch::areNeighbours(int triangle, int other) const {
    MeshTriangle const& a = mesh_.getTriangles()[triangle];
    MeshTriangle const& b = mesh_.getTriangles()[other];
    return std::any_of(a.vertices, a.vertices + 3,
                       [&b](int v) { return v == b[0] || v == b[1] || v == b[2]; });
}

/// The distance to the nearest edge beside this one.
std::optional<double> StretchSearch::gapOf(OpenEdge const& edge) {
    Point const p = edge.middle();
    auto const radius = static_cast<float>(nearShare * edge.length + 0.5 * spacing_);
    float const x = static_cast<float>(p.x);
    float const y = static_cast<float>(p.y);
    float const z = static_cast<float>(p.z);
    float const box[6] = {x - radius, y - radius, z - radius, x + radius, y + radius, z + radius};
    found_.clear();
    tree_.searchAll(samples_.data(), box, found_);
    std::optional<double> best;
    int last = -1;
    for (int const sample : found_) {
        int const number = edgeOf_[at(sample)];
        OpenEdge const& other = edges_[at(number)];
        if (number == last || &other == &edge)
            continue;
        last = number;  // samples of one edge follow each other
        double const gap = distanceTo(other, p);
        bool const isBeside =
            gap <= nearShare * std::min(edge.length, other.length) &&
            std::fabs(dot(edge.along, other.along)) >= leastCosine * edge.length * other.length;
        if (isBeside && (!best || gap < *best) && !areNeighbours(edge.triangle, other.triangle))
            best = gap;
    }
    return best;
}

void StretchSearch::joinGaps(int loop, std::vector<double> const& gaps) {
    std::size_t const count = gaps.size();
    auto const firstFree = std::find(gaps.begin(), gaps.end(), -1.0);
    // A stretch may run on over the loop's start, so the walk begins where there is none.
    auto const origin = firstFree == gaps.end()
                            ? std::size_t(0)
                            : static_cast<std::size_t>(firstFree - gaps.begin());
    bool isOpen = false;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t const place = (origin + i) % count;
        if (gaps[place] < 0.0) {
            isOpen = false;
            continue;
        }
        std::vector<int> const& vertices = loops_[at(loop)];
        if (!isOpen)
            stretches_.push_back({loop, {vertices[place]}, 0.0, 0.0});
        isOpen = true;
        BorderStretch& stretch = stretches_.back();
        int const to = vertices[(place + 1) % count];
        stretch.length += distance(mesh_.getVertices()[vertices[place]].asPoint(),
                                   mesh_.getVertices()[to].asPoint());
        stretch.gap = std::max(stretch.gap, gaps[place]);
        stretch.vertices.push_back(to);
    }
}

}  // namespace

std::vector<BorderStretch> findBorderStretches(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                               std::vector<std::vector<int>> const& loops,
                                               std::vector<std::vector<char>> const& isOut) {
    return StretchSearch(mesh, adjTris, loops, isOut).run();
}

}  // namespace trimora
