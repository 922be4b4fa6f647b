// The toolkit cuts and scales a copy of each component before the library sees it: so it knows where the seams are. The
// library welds its own copy, which would sew the cut up again, so equal positions are moved apart by a float's step.

#include "toolkit/meshFlattening.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/chartPacking.h"
#include "toolkit/meshCheck.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshCutting.h"
#include "toolkit/meshParts.h"
#include "toolkit/surfaceFault.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/parameterize/ConjugateGradient.h"
#include "trimora/parameterize/cutSurface.h"
#include "trimora/parameterize/reparameterizeMesh.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshBoundaries;
using koLinear::Point;

constexpr double workSize = 100.0;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

struct Box {
    Point low = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
    Point high = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

    void include(Point const& p) {
        low.set(std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z));
        high.set(std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z));
    }
    double largestSide() const {
        return std::max({high.x - low.x, high.y - low.y, high.z - low.z});
    }
};

/// Centred, and with a largest side of 100. False for one without extent.
bool bringToSize(CompactMesh& mesh) {
    Box box;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        box.include(pointOf(mesh, v));
    double const scale = workSize / box.largestSide();
    if (!std::isfinite(scale))
        return false;
    Point const centre = combine(0.5, box.low, 0.5, box.high);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        koLinear::Vector const place = (pointOf(mesh, v) - centre) * scale;
        mesh.getVertices()[v].set(static_cast<float>(place.x), static_cast<float>(place.y),
                                  static_cast<float>(place.z));
    }
    return true;
}

/// Moves vertices at equal positions apart, by as little as floats allow.
void partEqualPositions(CompactMesh& mesh) {
    koGeom::MeshVertex* const vertices = mesh.getVertices();
    auto const keyOf = [vertices](int v) {
        return std::tie(vertices[v].x, vertices[v].y, vertices[v].z);
    };
    std::vector<int> order;
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        order.push_back(v);
    constexpr int mostRounds = 32;  // a moved vertex may meet another, but hardly twice
    bool isMoved = true;
    for (int round = 0; isMoved && round < mostRounds; ++round) {
        isMoved = false;
        std::sort(order.begin(), order.end(), [&keyOf](int a, int b) {
            return keyOf(a) != keyOf(b) ? keyOf(a) < keyOf(b) : a < b;
        });
        for (std::size_t begin = 0, end = 1; begin < order.size(); begin = end++) {
            koGeom::MeshVertex const first = vertices[order[begin]];
            while (end < order.size() && keyOf(order[end]) == std::tie(first.x, first.y, first.z))
                ++end;
            for (std::size_t i = begin + 1; i < end; ++i) {
                float& x = vertices[order[i]].x;
                for (std::size_t step = begin; step < i; ++step)
                    x = std::nextafter(x, HUGE_VALF);
                isMoved = true;
            }
        }
    }
}

struct Topology {
    int genus = 0;
    int boundaries = 0;
    bool isDisk() const { return genus == 0 && boundaries == 1; }
};

Topology topologyOf(CompactMesh const& mesh, MeshBoundaries const& boundaries) {
    std::int64_t openEdges = 0;
    for (int i = 0; i < boundaries.size(); ++i)
        openEdges += boundaries.getLength(i);
    std::int64_t const triangles = mesh.getNumTriangles();
    std::int64_t const edges = (3 * triangles + openEdges) / 2;
    std::int64_t const euler = mesh.getNumVertices() - edges + triangles;
    return {static_cast<int>((2 - boundaries.size() - euler) / 2), boundaries.size()};
}

/// The longest of the borders that the library closes with triangles: all but the one of the largest extent.
int longestInnerBorder(CompactMesh const& mesh, MeshBoundaries const& boundaries) {
    int outer = 0;
    double largest = 0.0;
    for (int i = 0; i < boundaries.size(); ++i) {
        Box box;
        std::for_each(boundaries.getStart(i), boundaries.getEnd(i),
                      [&](int vertex) { box.include(pointOf(mesh, vertex)); });
        if (box.largestSide() > largest) {
            largest = box.largestSide();
            outer = i;
        }
    }
    int longest = 0;
    for (int i = 0; i < boundaries.size(); ++i)
        longest = i == outer ? longest : std::max(longest, boundaries.getLength(i));
    return longest;
}

/// One component on its way into the plane.
class ChartMaker {
public:
    explicit ChartMaker(CompactMesh part) : part_(std::move(part)) {}

    /// Returns why it cannot be flattened, or nothing; also when it is cancelled.
    std::string run(koUtil::Progress& progress);

    FlatChart const& chart() const { return chart_; }
    /// Cut where it had to be, with texture coordinates.
    CompactMesh const& part() const { return part_; }

private:
    std::string cutOpen();
    std::string solve(koUtil::Progress& progress);

    CompactMesh part_;
    FlatChart chart_;
};

std::string ChartMaker::run(koUtil::Progress& progress) {
    chart_.triangles = part_.getNumTriangles();
    if (!bringToSize(part_))
        return "the surface at " + positionInWords(pointOf(part_, 0)) +
               " has no extent; delete it first";
    if (std::string refusal = cutOpen(); !refusal.empty())
        return refusal;
    partEqualPositions(part_);
    return solve(progress);
}

std::string ChartMaker::cutOpen() {
    koGeom::SimpleMeshCache cache;
    auto const boundaries = cache.getBoundaries(part_);
    Topology const topology = topologyOf(part_, *boundaries);
    chart_.genus = topology.genus;
    chart_.boundaries = topology.boundaries;
    chart_.isCut = topology.genus > 0 || topology.boundaries == 0;
    if (!chart_.isCut) {
        int const longest = longestInnerBorder(part_, *boundaries);
        return longest <= maxPolygonCorners
                   ? std::string()
                   : "a hole has " + std::to_string(longest) + " edges, " +
                         std::to_string(maxPolygonCorners) +
                         " at most; fill it first, or cut the surface open from the hole to its "
                         "border";
    }
    koGeom::cutSurface().makeDisk(part_);
    return topologyOf(part_, *cache.getBoundaries(part_)).isDisk()
               ? std::string()
               : "the surface could not be cut open into a disk; cut it by hand first";
}

std::string ChartMaker::solve(koUtil::Progress& progress) {
    koGeom::reparameterizeMesh flattener(part_);
    bool const isDone = flattener.flatten(progress);
    chart_.solverCode = flattener.solverOutcome().code;
    chart_.iterations = flattener.solverOutcome().iterations;
    if (progress.cancelled())
        return {};
    if (!isDone)
        return "its border has no extent that could hold a map; repair the mesh first";
    float const* const uvs = part_.getUVsRaw();
    bool const isFinite = std::all_of(uvs, uvs + 2 * part_.getNumVertices(),
                                      [](float value) { return std::isfinite(value); });
    return isFinite ? std::string()
                    : "the solver lost its way (" + std::string(solverInWords(chart_.solverCode)) +
                          "); remove needle-like triangles first";
}

class Flattener {
public:
    Flattener(CompactMesh& mesh, FlattenOptions const& options, FlattenOutcome& outcome)
        : mesh_(mesh), options_(options), outcome_(outcome) {}

    void run(koUtil::Progress& progress);

private:
    bool isRefused();
    bool makeCharts(koUtil::Progress& progress);
    void layOut();
    void collectCorners();
    void store();
    int splitSeams();
    void countSeamTriangles();

    CompactMesh& mesh_;
    FlattenOptions const& options_;
    FlattenOutcome& outcome_;
    koGeom::Array<int> componentOf_;  // by vertex, -1 for unused ones
    int numComponents_ = 0;
    std::vector<ChartMaker> charts_;
    std::vector<int> copies_;  // by corner: which vertex of all charts it is
    int numCopies_ = 0;
};

void Flattener::run(koUtil::Progress& progress) {
    if (isRefused() || !makeCharts(progress))
        return;
    collectCorners();
    if (charts_.size() > 1)
        layOut();
    store();
}

bool Flattener::isRefused() {
    koGeom::MeshAdjTris adjTris;
    koGeom::meshAdjTris(mesh_, adjTris);
    componentOf_.setSize(mesh_.getNumVertices());
    numComponents_ = koGeom::meshComponents(mesh_, adjTris, &componentOf_);
    outcome_.unusedVertices = static_cast<int>(
        std::count(componentOf_.data(), componentOf_.data() + mesh_.getNumVertices(), -1));
    koGeom::BitVector everything(mesh_.getNumTriangles());
    for (int t = 0; t < mesh_.getNumTriangles(); ++t)
        everything.setBit(t);
    if (SurfaceFault const fault = faultOfSurface(mesh_, adjTris, everything)) {
        outcome_.refusal =
            fault.text + "; " +
            (fault.isNonfinite ? "leave such triangles out first" : "repair the mesh first");
        outcome_.problemPoint = fault.place;
        outcome_.isNonfinite = fault.isNonfinite;
    } else if (numComponents_ == 0) {
        outcome_.refusal = "there are no triangles to flatten";
    } else if (numComponents_ > 1 && !options_.each) {
        outcome_.refusal = "the mesh has " + std::to_string(numComponents_) +
                           " components; flatten each by itself";
        if (numCoincidentVertices(mesh_) > 0)
            outcome_.refusal += ", or weld the mesh first where they only touch";
    }
    return !outcome_.refusal.empty();
}

bool Flattener::makeCharts(koUtil::Progress& progress) {
    for (CompactMesh& part : splitIntoParts(mesh_))
        charts_.emplace_back(std::move(part));
    koUtil::Progress child;
    for (ChartMaker& chart : charts_) {
        progress.subPhase(
            static_cast<double>(chart.part().getNumTriangles()) / mesh_.getNumTriangles(), child);
        outcome_.refusal = chart.run(child);
        outcome_.cancelled = progress.cancelled();
        if (outcome_.cancelled || !outcome_.refusal.empty())
            return false;
        outcome_.charts.push_back(chart.chart());
    }
    return true;
}

void Flattener::collectCorners() {
    std::vector<int> firstCopies;
    for (ChartMaker const& chart : charts_) {
        firstCopies.push_back(numCopies_);
        numCopies_ += chart.part().getNumVertices();
    }
    std::vector<int> nextTriangles(charts_.size(), 0);
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        std::size_t const i = at(componentOf_[mesh_.getTriangles()[t][0]]);
        outcome_.chartOf.push_back(static_cast<int>(i));
        CompactMesh const& part = charts_[i].part();
        for (int const v : part.getTriangles()[nextTriangles[i]++].vertices) {
            outcome_.corners.push_back(part.getUVs()[v]);
            copies_.push_back(firstCopies[i] + v);
        }
    }
}

/// The maps of all components in one square, in proportion to their surfaces.
void Flattener::layOut() {
    std::vector<double> areas(charts_.size(), 0.0);
    std::vector<double> uvAreas(charts_.size(), 0.0);
    std::vector<ChartBox> boxes(charts_.size());
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        std::size_t const i = at(componentOf_[mesh_.getTriangles()[t][0]]);
        TriangleMap const map = mapOfTriangle(mesh_, outcome_.corners, t);
        areas[i] += map.area;
        uvAreas[i] += std::abs(map.uvArea);
        for (std::size_t k = 0; k < 3; ++k) {
            koGeom::MeshUV const& uv = outcome_.corners[3 * at(t) + k];
            boxes[i].width = std::max(boxes[i].width, static_cast<double>(uv.u));
            boxes[i].height = std::max(boxes[i].height, static_cast<double>(uv.v));
        }
    }
    std::vector<double> scales(charts_.size());
    for (std::size_t i = 0; i < charts_.size(); ++i) {
        double const scale = std::sqrt(areas[i] / uvAreas[i]);
        scales[i] = std::isfinite(scale) ? scale : 0.0;
        boxes[i].width *= scales[i];
        boxes[i].height *= scales[i];
    }
    double const side = packCharts(boxes);
    for (std::size_t corner = 0; side > 0.0 && corner < outcome_.corners.size(); ++corner) {
        std::size_t const i = at(componentOf_[mesh_.getTrianglesRaw()[corner]]);
        koGeom::MeshUV& uv = outcome_.corners[corner];
        uv.set((boxes[i].u + static_cast<double>(uv.u) * scales[i]) / side,
               (boxes[i].v + static_cast<double>(uv.v) * scales[i]) / side);
    }
}

void Flattener::store() {
    if (mesh_.getUVs() == nullptr)
        mesh_.allocUVArray();
    std::fill_n(mesh_.getUVsRaw(), 2 * mesh_.getNumVertices(), 0.0f);
    if (options_.seams == SeamForm::Split)
        outcome_.verticesAdded = splitSeams();
    for (std::size_t corner = copies_.size();
         corner-- > 0;)  // backwards: a vertex's first place stays
        mesh_.getUVs()[mesh_.getTrianglesRaw()[corner]] = outcome_.corners[corner];
    if (options_.seams == SeamForm::Keep)
        countSeamTriangles();
    bool const isGrown = outcome_.verticesAdded > 0;
    koGeom::MeshModification modification(
        &mesh_, isGrown ? koGeom::MeshModification::Topology : koGeom::MeshModification::Attributes,
        nullptr);
    modification.uvsModified();
    for (int i = 1; isGrown && i < mesh_.getNumAttributes(); ++i)
        modification.vertexAttribsModified(mesh_.getAttributes(i)->getName());
    mesh_.modified(modification);
}

/// Gives each further copy of a vertex a number of its own; the one that the lowest triangle has keeps the vertex's.
int Flattener::splitSeams() {
    int const oldCount = mesh_.getNumVertices();
    std::vector<int> vertexOf(at(numCopies_), -1);
    std::vector<char> isTaken(at(oldCount), 0);
    std::vector<int> sources;  // of the new vertices
    int* const corners = mesh_.getTrianglesRaw();
    for (std::size_t i = 0; i < copies_.size(); ++i) {
        int& vertex = vertexOf[at(copies_[i])];
        if (vertex < 0 && isTaken[at(corners[i])] == 0) {
            vertex = corners[i];
            isTaken[at(corners[i])] = 1;
        } else if (vertex < 0) {
            vertex = oldCount + static_cast<int>(sources.size());
            sources.push_back(corners[i]);
        }
        corners[i] = vertex;
    }
    int const newCount = oldCount + static_cast<int>(sources.size());
    mesh_.resizeVertexArray(newCount);
    for (int i = 0; i < mesh_.getNumAttributes(); ++i) {
        koGeom::MeshAttributes& set = *mesh_.getAttributes(i);
        std::size_t const dimension = at(set.dimension);
        for (std::size_t j = 0; j < sources.size(); ++j)
            std::copy_n(set.asFloat() + dimension * at(sources[j]), dimension,
                        set.asFloat() + dimension * (at(oldCount) + j));
        set.invalidateRange();
    }
    return newCount - oldCount;
}

void Flattener::countSeamTriangles() {
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        bool isTorn = false;
        for (int k = 0; k < 3; ++k) {
            koGeom::MeshUV const& written = mesh_.getUVs()[mesh_.getTriangles()[t][k]];
            koGeom::MeshUV const& meant = outcome_.corners[3 * at(t) + at(k)];
            isTorn = isTorn || written.u != meant.u || written.v != meant.v;
        }
        outcome_.seamTriangles += isTorn;
    }
}

Expectation predict(MeshState const& before, FlattenOutcome const& outcome) {
    Expectation expected;
    expected.triangles = before.triangles;
    expected.vertices = std::int64_t{before.vertices} + outcome.verticesAdded;
    bool const staysWhole = outcome.verticesAdded == 0;
    expected.samePositions = staysWhole;
    expected.sameFaces = staysWhole;
    expected.keepsManifold = true;
    expected.keepsOrientation = true;
    return expected;
}

}  // namespace

FlattenOutcome flattenMesh(CompactMesh& mesh, FlattenOptions const& options,
                           koUtil::Progress& progress) {
    return editChecked(
        mesh,
        [&](CompactMesh& work) {
            FlattenOutcome outcome;
            koOS::StopWatch watch;
            watch.start();
            Flattener(work, options, outcome).run(progress);
            outcome.seconds = watch.clear();
            return outcome;
        },
        predict);
}

char const* solverInWords(int code) {
    switch (code) {
    case koGeom::ConjugateGradient::CG_CONVERGED:
        return "converged";
    case koGeom::ConjugateGradient::CG_MAX_ITERATIONS:
        return "stopped at as many iterations as unknowns";
    case koGeom::ConjugateGradient::CG_ZERO_CURVATURE:
        return "came to rest: no step changes anything";
    case koGeom::ConjugateGradient::CG_ZERO_RHO:
        return "came to rest: the residual vanished";
    case koGeom::ConjugateGradient::CG_NEGATIVE_CURVATURE:
        return "broke down: the system is not positive definite";
    default:
        return "did not finish within as many iterations as unknowns";
    }
}

}  // namespace trimora
