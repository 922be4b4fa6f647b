// The library tells how many holes it filled, not which, and renumbers the vertices around them. So a hole is known by the
// positions along its border from then on: it is open as long as its edges are.

#include "toolkit/meshHoleFilling.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/holeLists.h"
#include "toolkit/detail/openEdges.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <tuple>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshBoundaries;
using koLinear::Point;

constexpr int smallHole = 300;  // edges; its triangulation takes milliseconds

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

// Where edges leave `vertex` that no triangle runs the other way.
int numOpenEdges(CompactMesh const& mesh, MeshAdjTris const& adjTris, int vertex) {
    int count = 0;
    int const* const around = adjTris.triIndices(vertex);
    for (int i = 0; i < adjTris.numTris(vertex); ++i) {
        int const to = koGeom::Boundary::findEdge(vertex, mesh.getTriangles()[around[i]]);
        count += to >= 0 && !koGeom::Boundary::hasEdge(mesh, adjTris, to, vertex);
    }
    return count;
}

FilledHole refused(HoleFate fate, MeshHole const& hole, CompactMesh const& mesh,
                   std::string const& what, std::string const& advice) {
    Point const place = pointOf(mesh, hole.vertices.front());
    return {fate,
            what + " at " + positionInWords(place) + "; " + advice,
            {{place.x, place.y, place.z}}};
}

// The patch of a slit has no area that could be refined.
koGeom::HoleQuality qualityOf(MeshHole const& hole, FillOptions const& options) {
    return hole.hasArea ? options.quality : koGeom::HoleQualityFlat;
}

bool isLoneTriangle(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshHole const& hole) {
    auto const isOfHole = [&hole](int vertex) {
        return std::count(hole.vertices.begin(), hole.vertices.end(), vertex) > 0;
    };
    int const first = hole.vertices.front();
    int const* const around = adjTris.triIndices(first);
    return hole.numEdges() == 3 &&
           std::any_of(around, around + adjTris.numTris(first), [&](int triangle) {
               int const* const corners = mesh.getTriangles()[triangle].vertices;
               return std::all_of(corners, corners + 3, isOfHole);
           });
}

FilledHole planHole(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshHole const& hole,
                    FillOptions const& options) {
    if (!hole.fault.empty())
        return {HoleFate::BadSurface, hole.fault, hole.faultPlace};
    if (isLoneTriangle(mesh, adjTris, hole))
        return refused(HoleFate::LoneTriangle, hole, mesh,
                       "it is the border of a single triangle, and a patch would be its back side",
                       "delete the triangle if it is a left-over");
    if (hole.numEdges() > maxPolygonCorners)
        return refused(HoleFate::TooLarge, hole, mesh,
                       "the border has " + std::to_string(hole.numEdges()) + " edges, " +
                           std::to_string(maxPolygonCorners) + " at most,",
                       "reduce the mesh, or bridge the hole first");
    koGeom::HoleQuality const quality = qualityOf(hole, options);
    std::int64_t const predicted = hole.newTriangles[static_cast<std::size_t>(quality)];
    if (predicted > options.maxTriangles)
        return refused(HoleFate::TooLarge, hole, mesh,
                       "the patch would take about " + std::to_string(predicted) + " triangles, " +
                           std::to_string(options.maxTriangles) + " at most,",
                       "allow more with --max-triangles, or ask for --quality flat");
    bool const isHeld = std::any_of(hole.vertices.begin(), hole.vertices.end(), [&](int vertex) {
        return numOpenEdges(mesh, adjTris, vertex) == 1;
    });
    if (quality == koGeom::HoleQualityFair && !isHeld)
        return refused(HoleFate::NoFixedNeighbour, hole, mesh,
                       "the whole border lies on other borders too, so that nothing holds a faired "
                       "patch,",
                       "ask for --quality refined, or fill the others first");
    return {HoleFate::Filled, {}, {}};
}

/// The power of two that brings the mean length of the holes' edges to between 1 and 2, or as near as floats allow.
int exponentFor(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                std::vector<int> const& chosen) {
    double length = 0.0;
    double edges = 0.0;
    for (int const hole : chosen) {
        length += holes[at(hole)].perimeter;
        edges += holes[at(hole)].numEdges();
    }
    double largest = 0.0;
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i) {
        double const size = std::abs(static_cast<double>(mesh.getVerticesRaw()[i]));
        largest = std::isfinite(size) ? std::max(largest, size) : largest;
    }
    double const mean = length / edges;
    if (!(mean > 0.0) || !std::isfinite(mean))
        return 0;
    constexpr int mostExponent = 60;  // of a coordinate: its square is still far from the limits
    return std::min(-std::ilogb(mean), mostExponent - std::ilogb(std::max(largest, mean)));
}

void scaleBy(CompactMesh& mesh, int exponent) {
    float* const coordinates = mesh.getVerticesRaw();
    std::ptrdiff_t const count = 3 * static_cast<std::ptrdiff_t>(mesh.getNumVertices());
    for (std::ptrdiff_t i = 0; exponent != 0 && i < count; ++i)
        coordinates[i] = std::ldexp(coordinates[i], exponent);
}

/// Whether two corners of the border lie in one place, so that the library may take fins out.
bool meetsItself(CompactMesh const& mesh, std::vector<int> const& vertices) {
    std::vector<Point> points;
    for (int const vertex : vertices)
        points.push_back(pointOf(mesh, vertex));
    std::sort(points.begin(), points.end(), [](Point const& p, Point const& q) {
        return std::tie(p.x, p.y, p.z) < std::tie(q.x, q.y, q.z);
    });
    // In the order of x alone, places that are equal but for a little may stand some steps apart.
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t j = i + 1;
             j < points.size() && points[j].x - points[i].x <= koLinear::epsilonTol; ++j) {
            if (equivalent(points[i], points[j], koLinear::epsilonTol))
                return true;
        }
    }
    return false;
}

/// Whether taking the fins out of a border that meets itself, as the library does, would leave vertices loose or nothing to
/// fill: then it refuses.
bool failsByFins(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshHole const& hole) {
    auto const isTip = [&](int vertex) { return adjTris.numTris(vertex) == 1; };
    int numTips = 0;
    bool areLinked = false;
    for (int const vertex : hole.vertices) {
        if (!isTip(vertex))
            continue;
        ++numTips;
        auto const& corners = mesh.getTriangles()[adjTris.triIndices(vertex)[0]].vertices;
        areLinked = areLinked || std::any_of(corners, corners + 3, [&](int other) {
                        return other != vertex && isTip(other);
                    });
    }
    return areLinked || (numTips > 0 && hole.numEdges() - numTips < 3);
}

/// Whether one triangle alone holds the vertex, or a fan of it: both its edges there are open.
bool hasFin(CompactMesh const& mesh, MeshAdjTris const& adjTris, std::vector<int> const& vertices) {
    return std::any_of(vertices.begin(), vertices.end(), [&](int vertex) {
        int const* const around = adjTris.triIndices(vertex);
        return std::any_of(around, around + adjTris.numTris(vertex), [&](int triangle) {
            int const* const corners = mesh.getTriangles()[triangle].vertices;
            int const k = corners[0] == vertex ? 0 : corners[1] == vertex ? 1 : 2;
            return !koGeom::Boundary::hasEdge(mesh, adjTris, corners[(k + 1) % 3], vertex) &&
                   !koGeom::Boundary::hasEdge(mesh, adjTris, vertex, corners[(k + 2) % 3]);
        });
    });
}

/// Holes that are filled in one call.
struct Batch {
    std::vector<int> holes;
    koGeom::HoleQuality quality;
    bool mayLoseFins = false;  // of a single hole
};

class Filler {
public:
    Filler(CompactMesh const& mesh, std::vector<MeshHole> const& holes, FillOptions const& options,
           koUtil::Progress& progress, FillOutcome& outcome);

    void run();
    CompactMesh& result() { return work_; }

private:
    void makeBatches();
    void fillBatch(Batch const& batch);
    int callLibrary(std::vector<int> const& found, koGeom::HoleQuality quality,
                    ko::list<int> const& borders, MeshBoundaries const& boundaries);
    int numVerticesOn(int hole) const;
    void judge(std::vector<int> const& batch, int numFilled, OpenEdges const& before,
               int oldTriangles, int oldVertices);
    void shareOut(std::vector<int> const& filled, int oldTriangles);
    void refuse(int hole, HoleFate fate);
    double costOf(int hole) const;
    FilledHole& fateOf(int hole) { return outcome_.holes[at(hole)]; }

    std::vector<MeshHole> const& holes_;
    FillOptions const& options_;
    koUtil::Progress& progress_;
    FillOutcome& outcome_;
    int const exponent_;
    CompactMesh work_;
    koGeom::SimpleMeshCache cache_;
    std::vector<Batch> batches_;
    std::vector<int> failing_;  // by fins
    std::map<int, std::vector<EdgeKey>> keys_;
    double totalCost_ = 0.0;
    double doneCost_ = 0.0;
};

std::vector<int> triedOf(FillOutcome const& outcome) {
    std::vector<int> tried;
    for (std::size_t i = 0; i < outcome.holes.size(); ++i) {
        if (outcome.holes[i].fate == HoleFate::Filled)
            tried.push_back(static_cast<int>(i));
    }
    return tried;
}

Filler::Filler(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
               FillOptions const& options, koUtil::Progress& progress, FillOutcome& outcome)
    : holes_(holes),
      options_(options),
      progress_(progress),
      outcome_(outcome),
      exponent_(exponentFor(mesh, holes, triedOf(outcome))),
      work_(bareCopy(mesh)) {
    scaleBy(work_, exponent_);
    for (int const hole : triedOf(outcome)) {
        keys_[hole] = keysOf(work_, holes[at(hole)].vertices);
        totalCost_ += costOf(hole);
    }
    makeBatches();
}

// A rough share of the time: the triangulation's grows with the cube.
double Filler::costOf(int hole) const {
    double const edges = holes_[at(hole)].numEdges();
    auto const triangles = static_cast<double>(
        holes_[at(hole)]
            .newTriangles[static_cast<std::size_t>(qualityOf(holes_[at(hole)], options_))]);
    return 1e-3 * edges * edges * edges + 10.0 * triangles;
}

// What a border that meets itself brings where the library may take fins out of it is told by filling it alone.
void Filler::makeBatches() {
    auto const adjTris = cache_.getAdjTris(work_);
    Batch slits = {{}, koGeom::HoleQualityFlat};
    Batch others = {{}, options_.quality};
    std::vector<Batch> alone;
    for (int const hole : triedOf(outcome_)) {
        MeshHole const& border = holes_[at(hole)];
        bool const isKnotted =
            meetsItself(work_, border.vertices) && hasFin(work_, *adjTris, border.vertices);
        if (isKnotted || border.numEdges() > smallHole)
            alone.push_back({{hole}, qualityOf(border, options_), isKnotted});
        else
            (border.hasArea ? others : slits).holes.push_back(hole);
        if (isKnotted && failsByFins(work_, *adjTris, border))
            failing_.push_back(hole);
    }
    std::stable_sort(alone.begin(), alone.end(), [this](Batch const& a, Batch const& b) {
        return holes_[at(a.holes.front())].numEdges() < holes_[at(b.holes.front())].numEdges();
    });
    for (Batch* const together : {&slits, &others})
        if (!together->holes.empty())
            batches_.push_back(std::move(*together));
    std::move(alone.begin(), alone.end(), std::back_inserter(batches_));
}

void Filler::run() {
    for (Batch const& batch : batches_) {
        if (progress_.cancelled())
            outcome_.cancelled = true;
        if (outcome_.cancelled)
            std::for_each(batch.holes.begin(), batch.holes.end(),
                          [this](int hole) { refuse(hole, HoleFate::Cancelled); });
        else
            fillBatch(batch);
    }
    scaleBy(work_, -exponent_);
}

void Filler::fillBatch(Batch const& batch) {
    OpenEdges const before(work_, *cache_.getAdjTris(work_));
    ko::list<int> borders;
    std::vector<int> found;
    for (int const hole : batch.holes) {
        int const border = before.find(keys_[hole]);
        if (border < 0) {
            refuse(hole, HoleFate::BadSurface);
            continue;
        }
        borders.push_back(border);
        found.push_back(hole);
    }
    int const oldTriangles = work_.getNumTriangles();
    int const oldVertices = work_.getNumVertices();
    int const first = batch.holes.front();
    int const oldOnRim = batch.mayLoseFins ? numVerticesOn(first) : 0;
    int const numFilled = callLibrary(found, batch.quality, borders, before.asBoundaries());
    for (int const hole : batch.holes)
        doneCost_ += costOf(hole);
    if (numFilled == 0 && progress_.cancelled()) {
        outcome_.cancelled = true;
        std::for_each(found.begin(), found.end(),
                      [this](int hole) { refuse(hole, HoleFate::Cancelled); });
        return;
    }
    progress_.set(doneCost_ / totalCost_);
    judge(found, numFilled, before, oldTriangles, oldVertices);
    if (numFilled > 0 && batch.mayLoseFins)
        fateOf(first).finsRemoved = std::max(oldOnRim - numVerticesOn(first), 0);
}

/// Vertices in the places of the border's: a fin's tip goes with it, and another vertex is there.
int Filler::numVerticesOn(int hole) const {
    std::set<std::array<float, 3>> places;
    for (EdgeKey const& key : keys_.at(hole))
        places.insert({key.ends[0], key.ends[1], key.ends[2]});
    int count = 0;
    for (int v = 0; v < work_.getNumVertices(); ++v) {
        koGeom::MeshVertex const& p = work_.getVertices()[v];
        count += static_cast<int>(places.count({p.x, p.y, p.z}));
    }
    return count;
}

// The library gives each hole the same small share of its progress, one part in all edges, so that most of it is never
// reached: the bar would stand still. A listener stretches it, and hands a cancel down.
int Filler::callLibrary(std::vector<int> const& found, koGeom::HoleQuality quality,
                        ko::list<int> const& borders, MeshBoundaries const& boundaries) {
    if (borders.empty())
        return 0;
    double edges = 0.0;
    double cost = 0.0;
    for (int const hole : found) {
        edges += holes_[at(hole)].numEdges();
        cost += costOf(hole);
    }
    double const stretch = edges / static_cast<double>(found.size());
    koUtil::Progress call;
    call.setListener([&](double value, char const*) {
        progress_.set((doneCost_ + cost * std::min(value * stretch, 1.0)) / totalCost_);
        if (progress_.cancelled())
            call.cancel();
    });
    auto const adjTris = cache_.getAdjTris(work_);
    auto const adjVertices = cache_.getAdjVertices(work_);
    return koGeom::meshHoleFill(work_, *adjTris, *adjVertices, boundaries, borders, quality, call);
}

void Filler::judge(std::vector<int> const& batch, int numFilled, OpenEdges const& before,
                   int oldTriangles, int oldVertices) {
    std::vector<int> filled = batch;
    if (numFilled < static_cast<int>(batch.size())) {
        OpenEdges const after(work_, *cache_.getAdjTris(work_));
        auto const isOpen = [&](int hole) {
            EdgeKey const& key = keys_[hole].front();
            return numFilled == 0 || after.count(key) >= before.count(key);
        };
        filled.erase(std::remove_if(filled.begin(), filled.end(), isOpen), filled.end());
        for (int const hole : batch) {
            bool const isFailing =
                std::find(failing_.begin(), failing_.end(), hole) != failing_.end();
            if (std::find(filled.begin(), filled.end(), hole) == filled.end())
                refuse(hole, isFailing ? HoleFate::Fin : HoleFate::EdgesInTheWay);
        }
    }
    if (filled.size() != 1)
        return shareOut(filled, oldTriangles);
    fateOf(filled.front()).trianglesAdded = work_.getNumTriangles() - oldTriangles;
    fateOf(filled.front()).verticesAdded = work_.getNumVertices() - oldVertices;
}

// New triangles stand behind all others, patch by patch, and patches share no edge: the triangles that hang together by
// edges, by their lowest, belong to the holes in their order.
void Filler::shareOut(std::vector<int> const& filled, int oldTriangles) {
    int const count = work_.getNumTriangles() - oldTriangles;
    std::vector<int> parents(at(std::max(count, 0)));
    std::iota(parents.begin(), parents.end(), 0);
    auto const rootOf = [&parents](int i) {
        while (parents[at(i)] != i)
            i = parents[at(i)] = parents[at(parents[at(i)])];
        return i;
    };
    std::vector<std::array<int, 3>> edges;  // lower end, higher end, triangle
    for (int i = 0; i < count; ++i) {
        koGeom::MeshTriangle const& corners = work_.getTriangles()[oldTriangles + i];
        for (int k = 0; k < 3; ++k)
            edges.push_back({std::min(corners[k], corners[(k + 1) % 3]),
                             std::max(corners[k], corners[(k + 1) % 3]), i});
    }
    std::sort(edges.begin(), edges.end());
    for (std::size_t i = 1; i < edges.size(); ++i) {
        int const a = rootOf(edges[i - 1][2]);
        int const b = rootOf(edges[i][2]);
        if (edges[i - 1][0] == edges[i][0] && edges[i - 1][1] == edges[i][1])
            parents[at(std::max(a, b))] = std::min(a, b);
    }
    std::map<int, int> sizes;
    for (int i = 0; i < count; ++i)
        ++sizes[rootOf(i)];
    auto patch = sizes.begin();
    for (std::size_t i = 0; i < filled.size() && patch != sizes.end(); ++i, ++patch) {
        int const onRim = holes_[at(filled[i])].numEdges() - 2;
        fateOf(filled[i]).trianglesAdded = patch->second;
        fateOf(filled[i]).verticesAdded = (patch->second - onRim) / 2;  // each splits one in three
    }
}

void Filler::refuse(int hole, HoleFate fate) {
    FilledHole& record = fateOf(hole);
    Point const p = {static_cast<double>(std::ldexp(keys_[hole].front().ends[0], -exponent_)),
                     static_cast<double>(std::ldexp(keys_[hole].front().ends[1], -exponent_)),
                     static_cast<double>(std::ldexp(keys_[hole].front().ends[2], -exponent_))};
    record = {fate, {}, {{p.x, p.y, p.z}}};
    std::string const place = " at " + positionInWords(p) + "; ";
    switch (fate) {
    case HoleFate::Cancelled:
        record.words = "there was no time left for it";
        break;
    case HoleFate::BadSurface:
        record.words = "the border is no longer the loop that it was, since it meets one that was "
                       "filled" +
                       place + "fill it in a second run";
        break;
    case HoleFate::Fin:
        record.words =
            "triangles hang into it by one edge, and without them vertices would be loose" + place +
            "delete those triangles first";
        break;
    default:
        record.words = "every patch would double edges that are there already" + place +
                       "delete the triangles around it, or fill it in another program";
        break;
    }
}

}  // namespace

int FillOutcome::count(HoleFate fate) const {
    return static_cast<int>(std::count_if(
        holes.begin(), holes.end(), [fate](FilledHole const& hole) { return hole.fate == fate; }));
}

std::vector<FilledHole> planFilling(CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                                    std::vector<int> const& chosen, FillOptions const& options) {
    requireSoundMesh(mesh);
    requireHoles(mesh, holes, chosen);
    MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh, adjTris);
    std::vector<FilledHole> plan(holes.size());
    for (int const hole : chosen)
        plan[at(hole)] = planHole(mesh, adjTris, holes[at(hole)], options);
    return plan;
}

namespace {

FillOutcome fill(CompactMesh& mesh, std::vector<MeshHole> const& holes,
                 std::vector<int> const& chosen, FillOptions const& options,
                 koUtil::Progress& progress) {
    FillOutcome outcome;
    bool const isQuality =
        options.quality >= koGeom::HoleQualityFlat && options.quality <= koGeom::HoleQualityFair;
    outcome.refusal =
        isQuality ? faultOfHoles(mesh, holes, chosen) : "there is no hole quality of this number";
    if (!outcome.refusal.empty())
        return outcome;
    koOS::StopWatch watch;
    watch.start();
    outcome.holes = planFilling(mesh, holes, chosen, options);
    if (outcome.count(HoleFate::Filled) == 0)
        return outcome;
    Filler filler(mesh, holes, options, progress, outcome);
    filler.run();
    if (outcome.count(HoleFate::Filled) > 0)
        outcome.dropped = replaceMesh(mesh, filler.result());
    outcome.seconds = watch.clear();
    return outcome;
}

/// Each patch is a disk on a border of its own; where fins went, that is no matter of counting.
Expectation predict(MeshState const& before, FillOutcome const& outcome) {
    Expectation expected;
    bool const hadFins = std::any_of(outcome.holes.begin(), outcome.holes.end(),
                                     [](FilledHole const& hole) { return hole.finsRemoved > 0; });
    if (!before.census || hadFins)
        return expected;
    int const filled = outcome.count(HoleFate::Filled);
    if (filled == 0) {
        expected.samePositions = true;
        expected.sameFaces = true;
    }
    expected.eulerNumber = before.census->eulerNumber() + filled;
    expected.components = before.census->components;
    if (before.census->loops)
        expected.loops = *before.census->loops - filled;
    expected.keepsManifold = true;
    expected.keepsOrientation = true;
    return expected;
}

}  // namespace

FillOutcome fillHoles(CompactMesh& mesh, std::vector<MeshHole> const& holes,
                      std::vector<int> const& chosen, FillOptions const& options,
                      koUtil::Progress& progress) {
    return editChecked(
        mesh, [&](CompactMesh& work) { return fill(work, holes, chosen, options, progress); },
        predict);
}

char const* nameOfFate(HoleFate fate) {
    switch (fate) {
    case HoleFate::NotChosen:
        return "notChosen";
    case HoleFate::Filled:
        return "filled";
    case HoleFate::Fin:
        return "fin";
    case HoleFate::EdgesInTheWay:
        return "edgesInTheWay";
    case HoleFate::LoneTriangle:
        return "loneTriangle";
    case HoleFate::TooLarge:
        return "tooLarge";
    case HoleFate::NoFixedNeighbour:
        return "noFixedNeighbour";
    case HoleFate::BadSurface:
        return "badSurface";
    case HoleFate::Cancelled:
        break;
    }
    return "cancelled";
}

}  // namespace trimora
