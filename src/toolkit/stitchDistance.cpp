// The distance between boundary loops, on samples of them: from points of one loop to the edges of the others, which a tree of
// their samples finds. How far a loop is from its neighbours is told by the larger part of what is near, as a loop may have a
// neighbour along a part of it only.

#include "toolkit/detail/holeLists.h"
#include "toolkit/meshStitching.h"
#include "toolkit/surfaceFault.h"

#include "trimora/contract/koGeom/KDTree.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koLinear::Point;
using koLinear::Vector;

constexpr double samplesPerLoop = 200.0;   // at least; every vertex is one
constexpr std::size_t mostQueries = 1000;  // of a loop, evenly spread
constexpr double reach = 0.1;              // of a loop's length: what is farther is no neighbour
// A loop with a neighbour along a quarter of it has one. What is farther than this many times the near quarter's distance,
// and half an edge, belongs to the other three quarters.
constexpr std::size_t nearShare = 4;
constexpr double farther = 4.0;
constexpr double margin = 1.25;  // the distance has to be more than the gap
constexpr std::size_t mostDistances = 4;
constexpr double leastStep = 0.1;  // between two of them
constexpr double edgeShare = 0.1;  // of an edge, where there is next to no gap

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

double distanceToEdge(Point const& p, Point const& start, Point const& end) {
    Vector const along = end - start;
    double const squared = dot(along, along);
    double const t = squared > 0.0 ? std::clamp(dot(p - start, along) / squared, 0.0, 1.0) : 0.0;
    return distance(p, start + t * along);
}

double meanEdge(MeshHole const& hole) {
    return hole.perimeter / hole.numEdges();
}

class BorderDistances {
public:
    BorderDistances(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                    std::vector<int> const& chosen);

    /// Nothing for a loop without a neighbour.
    std::optional<double> gapOf(int loop) const;

private:
    struct Sample {
        int loop;
        int place;  // of the edge
    };

    void sampleLoop(int loop);
    int vertexAt(int loop, int place) const {
        std::vector<int> const& vertices = holes_[at(loop)].vertices;
        return vertices[at(place) % vertices.size()];
    }
    std::optional<double> distanceToOthers(int sample) const;
    std::optional<double> nearest(int sample, double radius) const;

    CompactMesh const& mesh_;
    std::vector<MeshHole> const& holes_;
    std::vector<Sample> samples_;
    std::vector<float> places_;
    std::vector<std::pair<int, int>> ranges_;  // of samples, by loop
    koGeom::KDTree tree_;
};

BorderDistances::BorderDistances(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                                 std::vector<int> const& chosen)
    : mesh_(mesh), holes_(holes), ranges_(holes.size()), tree_(0) {
    for (int const loop : chosen)
        if (std::isfinite(holes[at(loop)].perimeter))
            sampleLoop(loop);
    for (int i = 0; i < static_cast<int>(samples_.size()); ++i)
        tree_.insert(places_.data(), i);
}

void BorderDistances::sampleLoop(int loop) {
    MeshHole const& hole = holes_[at(loop)];
    ranges_[at(loop)].first = static_cast<int>(samples_.size());
    for (int place = 0; place < hole.numEdges(); ++place) {
        Point const start = pointOf(mesh_, vertexAt(loop, place));
        Vector const along = pointOf(mesh_, vertexAt(loop, place + 1)) - start;
        double const pieces =
            hole.perimeter > 0.0
                ? std::max(1.0, std::ceil(along.length() / hole.perimeter * samplesPerLoop))
                : 1.0;
        for (double i = 0.0; i < pieces; ++i) {
            Point const p = start + i / pieces * along;
            samples_.push_back({loop, place});
            for (double const c : {p.x, p.y, p.z})
                places_.push_back(static_cast<float>(c));
        }
    }
    ranges_[at(loop)].second = static_cast<int>(samples_.size());
}

/// To the edges with samples in the box.
std::optional<double> BorderDistances::nearest(int sample, double radius) const {
    float const* const p = &places_[3 * at(sample)];
    auto const r = static_cast<float>(radius);
    float const box[6] = {p[0] - r, p[1] - r, p[2] - r, p[0] + r, p[1] + r, p[2] + r};
    std::vector<int> found;
    tree_.searchAll(places_.data(), box, found);
    std::optional<double> best;
    for (int const other : found) {
        auto const& [loop, place] = samples_[at(other)];
        if (loop == samples_[at(sample)].loop)
            continue;
        double const d =
            distanceToEdge(Point(p[0], p[1], p[2]), pointOf(mesh_, vertexAt(loop, place)),
                           pointOf(mesh_, vertexAt(loop, place + 1)));
        if (d == 0.0)
            return d;  // nothing is nearer: where many copies lie in one place the rest need not be looked at
        best = best ? std::min(*best, d) : d;
    }
    return best;
}

std::optional<double> BorderDistances::distanceToOthers(int sample) const {
    double const perimeter = holes_[at(samples_[at(sample)].loop)].perimeter;
    for (double radius = perimeter / samplesPerLoop; radius <= reach * perimeter; radius *= 2.0) {
        if (auto const found =
                nearest(sample, radius))  // an edge may be near whose samples are not
            return *found == 0.0 ? found : nearest(sample, 2.0 * radius);
        if (!(radius > 0.0))
            break;
    }
    return std::nullopt;
}

std::optional<double> BorderDistances::gapOf(int loop) const {
    auto const [begin, end] = ranges_[at(loop)];
    auto const count = static_cast<std::size_t>(end - begin);
    std::size_t const stride = count / mostQueries + 1;
    std::vector<double> distances;
    std::size_t numQueries = 0;
    for (std::size_t i = 0; i < count; i += stride, ++numQueries)
        if (auto const d = distanceToOthers(begin + static_cast<int>(i)))
            distances.push_back(*d);
    std::sort(distances.begin(), distances.end());
    std::size_t const quarter = numQueries / nearShare;
    if (distances.empty() || distances.size() <= quarter)
        return std::nullopt;
    double const limit = farther * distances[quarter] + 0.5 * meanEdge(holes_[at(loop)]);
    return *std::prev(std::upper_bound(distances.begin(), distances.end(), limit));
}

/// Those before the first leap, from the smallest gap on: what is farther are holes that happen to lie side by side.
void keepNearest(std::vector<MeshHole> const& holes,
                 std::vector<StitchSuggestion::Neighbour>& neighbours) {
    using Neighbour = StitchSuggestion::Neighbour;
    std::sort(neighbours.begin(), neighbours.end(), [](Neighbour const& a, Neighbour const& b) {
        return std::tie(a.gap, a.boundary) < std::tie(b.gap, b.boundary);
    });
    auto const leap = std::adjacent_find(
        neighbours.begin(), neighbours.end(), [&](Neighbour const& a, Neighbour const& b) {
            return b.gap > farther * a.gap + 0.5 * meanEdge(holes[at(a.boundary)]);
        });
    if (leap != neighbours.end())
        neighbours.erase(leap + 1, neighbours.end());
    std::sort(neighbours.begin(), neighbours.end(),
              [](Neighbour const& a, Neighbour const& b) { return a.boundary < b.boundary; });
}

/// Up to two digits, for people to type.
double roundedUp(double number) {
    double const unit = std::pow(10.0, std::floor(std::log10(number)) - 1.0);
    double const rounded = std::ceil(number / unit * (1.0 - 1e-9)) * unit;
    return std::isfinite(rounded) && rounded > 0.0 ? rounded : number;
}

/// Some of them, from the smallest to the largest.
std::vector<double> spread(std::vector<double> distances) {
    std::sort(distances.begin(), distances.end());
    std::vector<double> distinct;
    for (double const d : distances) {
        if (!distinct.empty() && d < (1.0 + leastStep) * distinct.back())
            distinct.pop_back();
        distinct.push_back(d);
    }
    if (distinct.size() <= mostDistances)
        return distinct;
    std::vector<double> some;
    for (std::size_t i = 0; i < mostDistances; ++i)
        some.push_back(distinct[i * (distinct.size() - 1) / (mostDistances - 1)]);
    return some;
}

}  // namespace

std::optional<StitchSuggestion> suggestStitchDistance(CompactMesh const& mesh,
                                                      std::vector<MeshHole> const& holes,
                                                      std::vector<int> const& chosen) {
    requireSoundMesh(mesh);
    requireHoles(mesh, holes, chosen);
    BorderDistances const distances(mesh, holes, chosen);
    StitchSuggestion suggestion;
    for (int const loop : chosen) {
        if (auto const gap = distances.gapOf(loop))
            suggestion.neighbours.push_back({loop, *gap});
    }
    keepNearest(holes, suggestion.neighbours);
    std::vector<double> fitting;
    for (auto const& [loop, gap] : suggestion.neighbours)
        if (double const d = std::max(margin * gap, edgeShare * meanEdge(holes[at(loop)])); d > 0.0)
            fitting.push_back(roundedUp(d));
    if (fitting.empty())
        return std::nullopt;
    suggestion.distances = spread(fitting);
    suggestion.distance = suggestion.distances.back();
    return suggestion;
}

}  // namespace trimora
