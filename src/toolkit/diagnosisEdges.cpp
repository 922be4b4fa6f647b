// How triangles hang together: edges of three and more, vertices where fans meet, winding, and what cannot be wound.
//
// Triangles that share an edge of two are joined into patches, each with a mark whether it is turned against the first one
// of its patch. A patch that closes on itself with the wrong mark has one side only.

#include "toolkit/detail/diagnosis.h"
#include "toolkit/meshCounts.h"

#include <numeric>

namespace trimora {

namespace {

using Severity = Finding::Severity;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

/// Disjoint sets of triangles that know whether each is turned against the root of its set.
class TurnedSets {
public:
    explicit TurnedSets(int size) : parents_(at(size)), turned_(at(size), 0) {
        std::iota(parents_.begin(), parents_.end(), 0);
    }

    struct Root {
        int triangle;
        bool isTurned;
    };

    Root find(int triangle) {
        int root = triangle;
        char turned = 0;
        while (parents_[at(root)] != root) {
            turned ^= turned_[at(root)];
            root = parents_[at(root)];
        }
        char rest = turned;
        for (int t = triangle; parents_[at(t)] != root && t != root;) {
            int const next = parents_[at(t)];
            char const own = turned_[at(t)];
            parents_[at(t)] = root;
            turned_[at(t)] = rest;
            rest ^= own;
            t = next;
        }
        return {root, turned != 0};
    }

    /// False when they are in one set already and turned otherwise. The root of a set is its lowest triangle.
    bool join(int a, int b, bool areTurned) {
        Root const rootA = find(a);
        Root const rootB = find(b);
        bool const between = (rootA.isTurned != rootB.isTurned) != areTurned;
        if (rootA.triangle == rootB.triangle)
            return !between;
        auto const [low, high] = std::minmax(rootA.triangle, rootB.triangle);
        parents_[at(high)] = low;
        turned_[at(high)] = between ? 1 : 0;
        return true;
    }

private:
    std::vector<int> parents_;
    std::vector<char> turned_;  // against the parent
};

struct Use {
    int farEnd;
    int triangle;
    bool isForward;

    bool operator<(Use const& other) const {
        return farEnd != other.farEnd ? farEnd < other.farEnd : triangle < other.triangle;
    }
};

/// The edges from a vertex to higher ones.
void gatherUses(DiagnosisSurface const& of, int vertex, std::vector<Use>& uses) {
    uses.clear();
    int const* const around = of.adjTris->triIndices(vertex);
    for (int i = 0; i < of.adjTris->numTris(vertex); ++i) {
        koGeom::MeshTriangle const& c = of.corners(around[i]);
        int const k = c[0] == vertex ? 0 : c[1] == vertex ? 1 : 2;
        int const next = c[(k + 1) % 3];
        int const previous = c[(k + 2) % 3];
        if (next > vertex)
            uses.push_back({next, around[i], true});
        if (previous > vertex)
            uses.push_back({previous, around[i], false});
    }
    std::sort(uses.begin(), uses.end());
}

}  // namespace

DiagnosisEdges::DiagnosisEdges(DiagnosisSurface const& of) {
    int const numTriangles = of.surface.getNumTriangles();
    TurnedSets sets(numTriangles);
    std::vector<std::pair<int, VertexPair>> conflicts;  // with a triangle of the patch
    std::vector<Use> uses;
    for (int v = 0; v < of.surface.getNumVertices(); ++v) {
        gatherUses(of, v, uses);
        for (std::size_t i = 0, end = 0; i < uses.size(); i = end) {
            while (end < uses.size() && uses[end].farEnd == uses[i].farEnd)
                ++end;
            VertexPair const edge(v, uses[i].farEnd);
            if (end - i == 1)
                open.push_back(edge);
            if (end - i > 2)
                crowded.push_back({edge, static_cast<int>(end - i)});
            if (end - i != 2)
                continue;
            bool const isAlike = uses[i].isForward == uses[i + 1].isForward;
            if (isAlike)
                runAlike.push_back(edge);
            if (!sets.join(uses[i].triangle, uses[i + 1].triangle, isAlike))
                conflicts.emplace_back(uses[i].triangle, edge);
        }
    }
    patchOf.resize(at(numTriangles));
    isTurned.resize(at(numTriangles));
    for (int t = 0; t < numTriangles; ++t) {
        auto const root = sets.find(t);
        patchOf[at(t)] = root.triangle;
        isTurned[at(t)] = root.isTurned ? 1 : 0;
    }
    for (auto const& [triangle, edge] : conflicts) {
        oneSided.push_back(patchOf[at(triangle)]);
        conflicting.push_back(edge);
    }
    std::sort(oneSided.begin(), oneSided.end());
    oneSided.erase(std::unique(oneSided.begin(), oneSided.end()), oneSided.end());
}

namespace {

bool isOneSided(DiagnosisEdges const& edges, int triangle) {
    return std::binary_search(edges.oneSided.begin(), edges.oneSided.end(),
                              edges.patchOf[at(triangle)]);
}

void diagnoseCrowdedEdges(DiagnosisRun& run, DiagnosisEdges const& edges) {
    if (edges.crowded.empty())
        return;
    auto const count = std::int64_t(edges.crowded.size());
    Finding& finding = run.add(
        "crowdedEdges", Severity::Severe, count,
        countInWords(count, "edge has", "edges have") + " more than two triangles",
        "A surface has one triangle on either side of an edge. Where there are more, inside and "
        "outside are not told apart, and most algorithms refuse the mesh or go astray.");
    finding.unit = "triangles";
    std::vector<DiagnosisEdges::Crowded> items = edges.crowded;
    using Crowded = DiagnosisEdges::Crowded;
    run.addPlaces(
        finding, items,
        [](Crowded const& a, Crowded const& b) {
            return a.numTriangles != b.numTriangles ? a.numTriangles > b.numTriangles
                                                    : a.edge < b.edge;
        },
        [&run](Crowded const& item) {
            FindingPlace place = run.placeOfEdge(item.edge.first, item.edge.second);
            place.measure = item.numTriangles;
            place.note = countInWords(item.numTriangles, "triangle");
            return place;
        });
}

void diagnoseWinding(DiagnosisRun& run, DiagnosisEdges const& edges) {
    std::vector<VertexPair> wrong;
    for (VertexPair const& edge : edges.runAlike)
        if (!isOneSided(edges, trianglesOnEdge(run.of, edge.first, edge.second).front()))
            wrong.push_back(edge);
    if (wrong.empty())
        return;
    // The smaller side of each patch is the one to be turned.
    std::vector<std::int64_t> sizes(edges.patchOf.size(), 0);
    std::vector<std::int64_t> turned(edges.patchOf.size(), 0);
    for (std::size_t t = 0; t < edges.patchOf.size(); ++t) {
        ++sizes[at(edges.patchOf[t])];
        turned[at(edges.patchOf[t])] += edges.isTurned[t];
    }
    std::int64_t toTurn = 0;
    for (std::size_t t = 0; t < sizes.size(); ++t)
        if (!std::binary_search(edges.oneSided.begin(), edges.oneSided.end(), static_cast<int>(t)))
            toTurn += std::min(turned[t], sizes[t] - turned[t]);
    auto const count = std::int64_t(wrong.size());
    Finding& finding = run.add(
        "opposedNeighbours", Severity::Severe, count,
        "Neighbours are wound against each other at " + countInWords(count, "edge"),
        "One side of the surface is its outside and the other one its inside, and here they "
        "change over: shading, volume and offsets come out wrong. " +
            countInWords(toTurn, "triangle has", "triangles have") + " to be turned.");
    run.addPlaces(finding, wrong, std::less<>(), [&run](VertexPair const& edge) {
        return run.placeOfEdge(edge.first, edge.second);
    });
}

void diagnoseOneSided(DiagnosisRun& run, DiagnosisEdges const& edges) {
    if (edges.oneSided.empty())
        return;
    auto const count = std::int64_t(edges.oneSided.size());
    Finding& finding = run.add(
        "moebiusStrips", Severity::Severe, count,
        countInWords(count, "part has", "parts have") + " one side only",
        "A Moebius strip: however its triangles are turned, somewhere neighbours are wound against "
        "each other. It has no inside and no outside.");
    std::vector<PlaceElements> elements(edges.oneSided.size());
    auto const indexOf = [&edges](int triangle) {
        return static_cast<std::size_t>(std::lower_bound(edges.oneSided.begin(),
                                                         edges.oneSided.end(),
                                                         edges.patchOf[at(triangle)]) -
                                        edges.oneSided.begin());
    };
    for (int t = 0; t < run.of.surface.getNumTriangles(); ++t)
        if (isOneSided(edges, t))
            elements[indexOf(t)].triangles.push_back(run.of.triangleOf[at(t)]);
    for (VertexPair const& edge : edges.conflicting)
        elements[indexOf(trianglesOnEdge(run.of, edge.first, edge.second).front())].edges.push_back(
            run.edgeAsRead(edge.first, edge.second));
    for (std::size_t i = 0; i < std::min(elements.size(), run.options.mostPlaces); ++i) {
        std::string const note =
            countInWords(std::int64_t(elements[i].triangles.size()), "triangle");
        finding.places.push_back(run.place(std::move(elements[i])));
        finding.places.back().note = note;
    }
}

/// Counts the groups of a vertex's triangles that hang together over edges at it.
class FanCounter {
public:
    explicit FanCounter(DiagnosisSurface const& of) : of_(of) {}

    int count(int vertex) {
        int const numTris = of_.adjTris->numTris(vertex);
        int const* const around = of_.adjTris->triIndices(vertex);
        spokes_.clear();
        parents_.resize(at(numTris));
        std::iota(parents_.begin(), parents_.end(), 0);
        for (int i = 0; i < numTris; ++i)
            for (int const v : of_.corners(around[i]).vertices)
                if (v != vertex)
                    spokes_.emplace_back(v, i);
        std::sort(spokes_.begin(), spokes_.end());
        int numFans = numTris;
        for (std::size_t i = 1; i < spokes_.size(); ++i)
            if (spokes_[i].first == spokes_[i - 1].first)
                numFans -= join(spokes_[i - 1].second, spokes_[i].second);
        return numFans;
    }

private:
    int rootOf(int i) {
        while (parents_[at(i)] != i)
            i = parents_[at(i)] = parents_[at(parents_[at(i)])];
        return i;
    }
    bool join(int a, int b) {
        int const rootA = rootOf(a);
        int const rootB = rootOf(b);
        parents_[at(std::max(rootA, rootB))] = std::min(rootA, rootB);
        return rootA != rootB;
    }

    DiagnosisSurface const& of_;
    std::vector<std::pair<int, int>> spokes_;  // neighbour, and place in the star
    std::vector<int> parents_;
};

}  // namespace

void diagnoseEdges(DiagnosisRun& run, DiagnosisEdges const& edges) {
    diagnoseCrowdedEdges(run, edges);
    diagnoseWinding(run, edges);
    diagnoseOneSided(run, edges);
}

void diagnoseFans(DiagnosisRun& run) {
    struct BowTie {
        int vertex;
        int numFans;
    };
    std::vector<BowTie> bowTies;
    FanCounter fans(run.of);
    for (int v = 0; v < run.of.surface.getNumVertices(); ++v)
        if (int const numFans = fans.count(v); numFans > 1)
            bowTies.push_back({v, numFans});
    if (bowTies.empty())
        return;
    auto const count = std::int64_t(bowTies.size());
    Finding& finding = run.add(
        "bowTies", Severity::Moderate, count,
        "Parts of the surface touch in a point only at " +
            countInWords(count, "vertex", "vertices"),
        "Such a vertex, a bow-tie, belongs to several fans of triangles: walking round it ends "
        "half-way, and many edits refuse the mesh.");
    finding.unit = "fans";
    run.addPlaces(
        finding, bowTies,
        [](BowTie const& a, BowTie const& b) {
            return a.numFans != b.numFans ? a.numFans > b.numFans : a.vertex < b.vertex;
        },
        [&run](BowTie const& item) {
            FindingPlace place = run.placeOfVertex(item.vertex);
            int const* const around = run.of.adjTris->triIndices(item.vertex);
            for (int i = 0; i < run.of.adjTris->numTris(item.vertex); ++i)
                place.triangles.push_back(run.of.triangleOf[at(around[i])]);
            place.measure = item.numFans;
            place.note = countInWords(item.numFans, "fan");
            return place;
        });
}

}  // namespace trimora
