// The distance between boundary loops, on samples of them: from points of one loop to the edges of the others, which a tree of
// their samples finds. How far a loop is from its neighbours is told by the larger part of what is near, as a loop may have a
// neighbour along a part of it only.

#include "toolkit/detail/holeLists.h"
#include "toolkit/meshStitching.h"
#include "toolkit/surfaceFault.h"

#include "trimora/contract/koGeom/KDTree.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <unordered_map>

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

/// Edges of loops that run from one and the same place to another, cut into as many pieces: copies of a surface in one place have
/// them in common, and ask and are asked for once.
struct BorderEdge {
    Point start, end;
    std::size_t firstSample;
    int numSamples;
    int loop;  // the first that has it
    bool hasSeveralLoops;
};

/// By the bits of the coordinates and the number of pieces.
using EdgeKey = std::array<std::uint32_t, 7>;

struct EdgeKeyHash {
    std::size_t operator()(EdgeKey const& key) const {
        std::uint64_t hash = 0xcbf29ce484222325u;
        for (std::uint32_t const word : key)
            hash = ((hash ^ word) * 0x9e3779b97f4a7c15u) ^ (hash >> 29);
        return static_cast<std::size_t>(hash);
    }
};

class BorderDistances {
public:
    BorderDistances(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                    std::vector<int> const& chosen);

    /// Nothing for a loop without a neighbour.
    std::optional<double> gapOf(int loop);

private:
    struct Sample {
        int edge;
        // What a loop of this perimeter was told, if every loop of this perimeter is told it.
        double perimeter = -1.0;
        std::optional<double> distance;
    };

    void addLoop(int loop);
    int addEdge(int loop, int start, int end);
    std::optional<double> distanceToOthers(int loop, std::size_t sample);
    std::optional<double> askForOthers(int loop, std::size_t sample, bool& isForAll) const;
    std::optional<double> nearest(int loop, std::size_t sample, double radius,
                                  bool& isForAll) const;

    CompactMesh const& mesh_;
    std::vector<MeshHole> const& holes_;
    std::unordered_map<EdgeKey, int, EdgeKeyHash> edgeOf_;
    std::vector<BorderEdge> edges_;
    std::vector<std::vector<int>> edgesOfLoop_;
    std::vector<Sample> samples_;
    std::vector<float> places_;
    koGeom::KDTree tree_;
};

BorderDistances::BorderDistances(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                                 std::vector<int> const& chosen)
    : mesh_(mesh), holes_(holes), edgesOfLoop_(holes.size()), tree_(0) {
    for (int const loop : chosen)
        if (std::isfinite(holes[at(loop)].perimeter))
            addLoop(loop);
    for (int i = 0; i < static_cast<int>(samples_.size()); ++i)
        tree_.insert(places_.data(), i);
}

void BorderDistances::addLoop(int loop) {
    std::vector<int> const& vertices = holes_[at(loop)].vertices;
    std::vector<int>& edges = edgesOfLoop_[at(loop)];
    edges.clear();
    for (std::size_t i = 0; i < vertices.size(); ++i)
        edges.push_back(addEdge(loop, vertices[i], vertices[(i + 1) % vertices.size()]));
}

int BorderDistances::addEdge(int loop, int start, int end) {
    double const perimeter = holes_[at(loop)].perimeter;
    Point const from = pointOf(mesh_, start);
    Vector const along = pointOf(mesh_, end) - from;
    double const share = perimeter > 0.0 ? std::min(along.length() / perimeter, 1.0) : 0.0;
    int const pieces = static_cast<int>(std::max(1.0, std::ceil(share * samplesPerLoop)));
    EdgeKey key = {};
    std::memcpy(key.data(), &mesh_.getVertices()[start], 3 * sizeof(float));
    std::memcpy(key.data() + 3, &mesh_.getVertices()[end], 3 * sizeof(float));
    key[6] = static_cast<std::uint32_t>(pieces);
    auto const [known, isNew] = edgeOf_.emplace(key, static_cast<int>(edges_.size()));
    if (!isNew) {
        BorderEdge& edge = edges_[at(known->second)];
        edge.hasSeveralLoops = edge.hasSeveralLoops || edge.loop != loop;
        return known->second;
    }
    edges_.push_back({from, pointOf(mesh_, end), samples_.size(), pieces, loop, false});
    for (int i = 0; i < pieces; ++i) {
        Point const p = from + static_cast<double>(i) / pieces * along;
        samples_.push_back({known->second, -1.0, {}});
        for (double const c : {p.x, p.y, p.z})
            places_.push_back(static_cast<float>(c));
    }
    return known->second;
}

/// To the edges of other loops with samples in the box.
///
/// isForAll   out: false when the answer may be another for a loop whose own edges are others
std::optional<double> BorderDistances::nearest(int loop, std::size_t sample, double radius,
                                               bool& isForAll) const {
    float const* const p = &places_[3 * sample];
    auto const r = static_cast<float>(radius);
    float const box[6] = {p[0] - r, p[1] - r, p[2] - r, p[0] + r, p[1] + r, p[2] + r};
    std::vector<int> found;
    tree_.searchAll(places_.data(), box, found);
    std::optional<double> best;
    for (int const other : found) {
        BorderEdge const& edge = edges_[at(samples_[at(other)].edge)];
        isForAll = isForAll && edge.hasSeveralLoops;
        if (!edge.hasSeveralLoops && edge.loop == loop)
            continue;
        double const d = distanceToEdge(Point(p[0], p[1], p[2]), edge.start, edge.end);
        best = best ? std::min(*best, d) : d;
    }
    return best;
}

std::optional<double> BorderDistances::askForOthers(int loop, std::size_t sample,
                                                    bool& isForAll) const {
    double const perimeter = holes_[at(loop)].perimeter;
    for (double radius = perimeter / samplesPerLoop; radius <= reach * perimeter; radius *= 2.0) {
        if (auto const found = nearest(loop, sample, radius,
                                       isForAll))  // an edge may be near whose samples are not
            return *found == 0.0 ? found : nearest(loop, sample, 2.0 * radius, isForAll);
        if (!(radius > 0.0))
            break;
    }
    return std::nullopt;
}

std::optional<double> BorderDistances::distanceToOthers(int loop, std::size_t sample) {
    double const perimeter = holes_[at(loop)].perimeter;
    if (samples_[sample].perimeter == perimeter)
        return samples_[sample].distance;
    bool isForAll = true;
    auto const distance = askForOthers(loop, sample, isForAll);
    if (isForAll) {
        samples_[sample].perimeter = perimeter;
        samples_[sample].distance = distance;
    }
    return distance;
}

std::optional<double> BorderDistances::gapOf(int loop) {
    std::size_t count = 0;
    for (int const edge : edgesOfLoop_[at(loop)])
        count += at(edges_[at(edge)].numSamples);
    std::size_t const stride = count / mostQueries + 1;
    std::vector<double> distances;
    std::size_t numQueries = 0;
    std::size_t next = 0;  // along the loop: the sample to ask for
    std::size_t passed = 0;
    for (int const number : edgesOfLoop_[at(loop)]) {
        BorderEdge const& edge = edges_[at(number)];
        for (; next < passed + at(edge.numSamples); next += stride, ++numQueries)
            if (auto const d = distanceToOthers(loop, edge.firstSample + (next - passed)))
                distances.push_back(*d);
        passed += at(edge.numSamples);
    }
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
    BorderDistances distances(mesh, holes, chosen);
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
