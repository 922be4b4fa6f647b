// Points along all open edges go into a tree, about as far apart as edges are long. The middle of an edge then asks for points
// near it, and measures the distance to their edges.
//
// Whole loops are asked by their shape, however long their edges are: from nearly all of a loop the surface goes away from the
// other loop, and beyond that one it goes on. Some edges of each loop are looked at; most loops fail at the first ones.

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

// Of loops that face each other:
constexpr double reach =
    0.02;  // of the loop's length; the gap of two halves of a ball may be a sixteenth of it
constexpr double facingShare = 0.9;      // of a loop
constexpr double leastContinuing = 0.5;  // cosine between the surfaces on both sides
constexpr std::size_t mostAsked = 200;   // edges of a loop

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
    Vector inward;  // along the triangle, of length 1

    Point middle() const { return start + 0.5 * along; }
};

Point nearestOn(OpenEdge const& edge, Point const& p) {
    double const t =
        std::clamp(dot(p - edge.start, edge.along) / (edge.length * edge.length), 0.0, 1.0);
    return edge.start + t * edge.along;
}

double distanceTo(OpenEdge const& edge, Point const& p) {
    return distance(p, nearestOn(edge, p));
}

/// The surface goes away from the other edge, and on beyond it.
bool doFace(OpenEdge const& edge, OpenEdge const& other, Point const& p, Point const& nearest) {
    Vector const across = nearest - p;
    return dot(edge.inward, other.inward) <= -leastContinuing &&
           dot(edge.inward, across) <= leastContinuing * across.length() &&
           dot(other.inward, across) >= -leastContinuing * across.length();
}

/// The loop that most of another one faces, and how far away it is.
struct Facing {
    int loop = -1;
    double gap = 0.0;
};

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
    void searchAround(Point const& p, double radius);
    std::optional<double> gapOf(OpenEdge const& edge);
    void measureFacingLoops(std::vector<std::vector<double>>& gaps);
    Facing facingOf(std::size_t begin, std::size_t end, double length);
    Facing nearestFacing(OpenEdge const& edge, double radius);
    bool areNeighbours(int triangle, int other) const;
    int triangleOn(int from, int to) const;
    Vector inwardFrom(int from, int to, int triangle) const;
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
    measureFacingLoops(gaps);
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

/// 0 where the triangle has no height.
Vector StretchSearch::inwardFrom(int from, int to, int triangle) const {
    Point const start = mesh_.getVertices()[from].asPoint();
    Vector const along = mesh_.getVertices()[to].asPoint() - start;
    MeshTriangle const& c = mesh_.getTriangles()[triangle];
    int const third = c[0] != from && c[0] != to ? c[0] : c[1] != from && c[1] != to ? c[1] : c[2];
    Vector const up = mesh_.getVertices()[third].asPoint() - start;
    Vector const height = up - dot(up, along) / dot(along, along) * along;
    double const length = height.length();
    return length > 0.0 ? (1.0 / length) * height : Vector();
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
            Vector const inward = triangle >= 0 ? inwardFrom(from, to, triangle) : Vector();
            if (isOut_[i][k] == 0 && triangle >= 0 && length > 0.0 && std::isfinite(length) &&
                std::isfinite(start.x + start.y + start.z))
                edges_.push_back({static_cast<int>(i), static_cast<int>(k), triangle, start, along,
                                  length, inward});
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

/// Finds the samples that may be on edges so near.
void StretchSearch::searchAround(Point const& p, double radius) {
    auto const half = static_cast<float>(radius + 0.5 * spacing_);
    float const x = static_cast<float>(p.x);
    float const y = static_cast<float>(p.y);
    float const z = static_cast<float>(p.z);
    float const box[6] = {x - half, y - half, z - half, x + half, y + half, z + half};
    found_.clear();
    tree_.searchAll(samples_.data(), box, found_);
}

/// The distance to the nearest edge beside this one.
std::optional<double> StretchSearch::gapOf(OpenEdge const& edge) {
    Point const p = edge.middle();
    searchAround(p, nearShare * edge.length);
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

/// The nearest edge of another loop, as far as it faces this one.
Facing StretchSearch::nearestFacing(OpenEdge const& edge, double radius) {
    Point const p = edge.middle();
    searchAround(p, radius);
    Facing best{-1, radius};
    int last = -1;
    for (int const sample : found_) {
        int const number = edgeOf_[at(sample)];
        OpenEdge const& other = edges_[at(number)];
        if (number == last || other.loop == edge.loop)
            continue;
        last = number;
        Point const nearest = nearestOn(other, p);
        double const gap = distance(p, nearest);
        if (gap <= best.gap && doFace(edge, other, p, nearest))
            best = {other.loop, gap};
    }
    return best;
}

/// Of the edges of one loop, [begin, end).
Facing StretchSearch::facingOf(std::size_t begin, std::size_t end, double length) {
    std::size_t const stride = (end - begin - 1) / mostAsked + 1;
    std::size_t const count = (end - begin - 1) / stride + 1;
    auto const mayFail = static_cast<std::size_t>((1.0 - facingShare) * static_cast<double>(count));
    std::size_t numFailed = 0;
    Facing facing;
    for (std::size_t i = begin; i < end; i += stride) {
        Facing const here = nearestFacing(edges_[i], reach * length);
        bool const isSame = here.loop >= 0 && (facing.loop < 0 || here.loop == facing.loop);
        if (isSame)
            facing = {here.loop, std::max(facing.gap, here.gap)};
        else if (++numFailed > mayFail)
            return {};
    }
    return facing;
}

/// Gives every edge of loops that face each other a gap.
void StretchSearch::measureFacingLoops(std::vector<std::vector<double>>& gaps) {
    std::vector<Facing> facing(loops_.size());
    for (std::size_t begin = 0, end = 0; begin < edges_.size(); begin = end) {
        double length = 0.0;
        for (; end < edges_.size() && edges_[end].loop == edges_[begin].loop; ++end)
            length += edges_[end].length;
        auto const loop = at(edges_[begin].loop);
        if (end - begin == loops_[loop].size())  // no edge of it is out
            facing[loop] = facingOf(begin, end, length);
    }
    for (std::size_t i = 0; i < loops_.size(); ++i) {
        int const other = facing[i].loop;
        if (other < 0 || facing[at(other)].loop != static_cast<int>(i))
            continue;
        for (double& gap : gaps[i])
            gap = gap < 0.0 ? facing[i].gap : gap;
    }
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
