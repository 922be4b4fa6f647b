#include "toolkit/meshHoles.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/detail/borderLoops.h"
#include "toolkit/detail/patchEstimate.h"
#include "toolkit/meshCounts.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/connectivity/meshComponents.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koLinear::Point;

constexpr double outerShare = 0.25;  // of the component's area
constexpr double slitWidth = 1e-3;   // of the mean edge
constexpr double shareOfTables = 0.5;

Point pointOf(CompactMesh const& mesh, int vertex) {
    return mesh.getVertices()[vertex].asPoint();
}

bool isFinite(Point const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

struct Fault {
    std::string text;
    std::optional<std::array<double, 3>> place;
};

Fault faultAt(std::string const& what, Point const& place, std::string const& advice) {
    return {what + " at " + positionInWords(place) + "; " + advice, {{place.x, place.y, place.z}}};
}

/// Judges the triangles around single vertices, each once however many holes ask for it.
class StarJudge {
public:
    StarJudge(CompactMesh const& mesh, MeshAdjTris const& adjTris)
        : mesh_(mesh), adjTris_(adjTris), verdicts_(at(mesh.getNumVertices()), Unknown) {}

    /// The first fault at the vertices of a hole or at their neighbours.
    Fault faultNear(std::vector<int> const& vertices);

private:
    enum Verdict : char { Unknown, Sound, Bad };

    bool isSound(int vertex);
    Fault faultOf(int vertex);
    Fault faultOfEdges(int vertex);

    CompactMesh const& mesh_;
    MeshAdjTris const& adjTris_;
    std::vector<char> verdicts_;
    std::vector<std::pair<int, int>>
        spokes_;  // neighbour, and 1 where a triangle runs to it, -1 from it
};

Fault StarJudge::faultNear(std::vector<int> const& vertices) {
    for (int const vertex : vertices) {
        if (!isSound(vertex))
            return faultOf(vertex);
        int const* const around = adjTris_.triIndices(vertex);
        for (int i = 0; i < adjTris_.numTris(vertex); ++i) {
            for (int const neighbour : mesh_.getTriangles()[around[i]].vertices) {
                if (!isSound(neighbour))
                    return faultOf(neighbour);
            }
        }
    }
    return {};
}

bool StarJudge::isSound(int vertex) {
    char& verdict = verdicts_[at(vertex)];
    if (verdict == Unknown)
        verdict = faultOf(vertex).text.empty() ? Sound : Bad;
    return verdict == Sound;
}

Fault StarJudge::faultOf(int vertex) {
    if (!isFinite(pointOf(mesh_, vertex)))
        return {"a triangle has a corner that is NaN or infinite; leave such triangles out first "
                "(--drop-nonfinite)",
                {}};
    spokes_.clear();
    int const* const around = adjTris_.triIndices(vertex);
    for (int i = 0; i < adjTris_.numTris(vertex); ++i) {
        koGeom::MeshTriangle const& corners = mesh_.getTriangles()[around[i]];
        if (corners[0] == corners[1] || corners[1] == corners[2] || corners[2] == corners[0])
            return faultAt("a triangle names a vertex twice", pointOf(mesh_, vertex),
                           "run 'trimora repair' first");
        int const k = corners[0] == vertex ? 0 : corners[1] == vertex ? 1 : 2;
        spokes_.emplace_back(corners[(k + 1) % 3], 1);
        spokes_.emplace_back(corners[(k + 2) % 3], -1);
    }
    return faultOfEdges(vertex);
}

Fault StarJudge::faultOfEdges(int vertex) {
    std::sort(spokes_.begin(), spokes_.end());
    for (std::size_t i = 1; i < spokes_.size(); ++i) {
        if (i > 1 && spokes_[i].first == spokes_[i - 2].first)
            return faultAt("more than two triangles meet on the edge", pointOf(mesh_, vertex),
                           "run 'trimora repair' first");
    }
    for (std::size_t i = 1; i < spokes_.size(); ++i) {
        if (spokes_[i] == spokes_[i - 1])
            return faultAt("neighbouring triangles are wound against one another",
                           pointOf(mesh_, vertex), "run 'trimora repair' first");
    }
    return {};
}

/// The area of each component, by vertex.
class ComponentAreas {
public:
    ComponentAreas(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
        componentOf_.setSize(mesh.getNumVertices());
        areas_.resize(at(koGeom::meshComponents(mesh, adjTris, &componentOf_)), 0.0);
        for (int t = 0; t < mesh.getNumTriangles(); ++t) {
            koGeom::MeshTriangle const& corners = mesh.getTriangles()[t];
            Point const a = pointOf(mesh, corners[0]);
            double const area =
                0.5 * cross(pointOf(mesh, corners[1]) - a, pointOf(mesh, corners[2]) - a).length();
            areas_[at(componentOf_[corners[0]])] += std::isfinite(area) ? area : 0.0;
        }
    }

    double areaAround(int vertex) const { return areas_[at(componentOf_[vertex])]; }

private:
    koGeom::Array<int> componentOf_;
    std::vector<double> areas_;
};

void measureLoop(CompactMesh const& mesh, MeshHole& hole) {
    hole.low.fill(HUGE_VAL);
    hole.high.fill(-HUGE_VAL);
    Point previous = pointOf(mesh, hole.vertices.back());
    for (int const vertex : hole.vertices) {
        Point const p = pointOf(mesh, vertex);
        hole.perimeter += distance(previous, p);
        previous = p;
        double const xyz[] = {p.x, p.y, p.z};
        for (std::size_t k = 0; k < 3; ++k) {
            hole.low[k] = std::min(hole.low[k], xyz[k]);
            hole.high[k] = std::max(hole.high[k], xyz[k]);
        }
    }
}

double meanEdgeLength(CompactMesh const& mesh, koGeom::MeshAdjVertices const& adjVertices,
                      int vertex) {
    int const count = adjVertices.numNeighbours(vertex);
    double sum = 0.0;
    for (int i = 0; i < count; ++i)
        sum += distance(pointOf(mesh, vertex), pointOf(mesh, adjVertices.neighbours(vertex)[i]));
    return count > 0 ? sum / count : 0.0;
}

/// The distance between neighbouring floats at the outermost point of the hole's box.
double floatStepAt(MeshHole const& hole) {
    double largest = 0.0;
    for (std::size_t k = 0; k < 3; ++k)
        largest = std::max({largest, std::abs(hole.low[k]), std::abs(hole.high[k])});
    return largest * std::numeric_limits<float>::epsilon();
}

bool hasEqualPlaces(CompactMesh const& mesh, MeshHole const& hole) {
    std::vector<std::array<float, 3>> places;
    for (int const vertex : hole.vertices) {
        koGeom::MeshVertex const& p = mesh.getVertices()[vertex];
        places.push_back({p.x, p.y, p.z});
    }
    std::sort(places.begin(), places.end());
    return std::adjacent_find(places.begin(), places.end()) != places.end();
}

void judgeSlit(CompactMesh const& mesh, MeshHole& hole) {
    double const width =
        std::max(slitWidth * hole.perimeter / std::max(hole.numEdges(), 1), floatStepAt(hole));
    hole.hasArea = hole.patchArea > width * hole.perimeter;
    hole.isSeam = !hole.hasArea && hasEqualPlaces(mesh, hole);
}

void predictPatch(CompactMesh const& mesh, koGeom::MeshAdjVertices const& adjVertices,
                  double componentArea, MeshHole& hole) {
    std::vector<Point> loop;
    std::vector<double> edgeLengths;
    for (int const vertex : hole.vertices) {
        loop.push_back(pointOf(mesh, vertex));
        edgeLengths.push_back(meanEdgeLength(mesh, adjVertices, vertex));
    }
    PatchEstimate const estimate = estimatePatch(loop, edgeLengths);
    hole.patchArea = estimate.area;
    hole.looksOuter = estimate.area > outerShare * componentArea;
    judgeSlit(mesh, hole);
    auto const flat = static_cast<std::int64_t>(estimate.flatTriangles);
    auto const refined = static_cast<std::int64_t>(std::llround(estimate.refinedTriangles));
    hole.newTriangles = {flat, hole.hasArea ? refined : flat, hole.hasArea ? refined : flat};
}

void findFault(CompactMesh const& mesh, StarJudge& stars, bool isClosed, MeshHole& hole) {
    Fault fault = stars.faultNear(hole.vertices);
    if (fault.text.empty() && (!isClosed || hole.vertices.size() < 3))
        fault = faultAt("the border is no loop", pointOf(mesh, hole.vertices.back()),
                        "run 'trimora repair' first");
    hole.fault = std::move(fault.text);
    hole.faultPlace = fault.place;
}

bool isChosen(MeshHole const& hole, HoleChoice const& choice) {
    switch (choice.kind) {
    case HoleChoice::Kind::Inner:
        return !hole.looksOuter;
    case HoleChoice::Kind::MaxEdges:
        return hole.numEdges() <= choice.limit;
    case HoleChoice::Kind::MaxPerimeter:
        return hole.perimeter <= choice.limit;
    case HoleChoice::Kind::All:
    case HoleChoice::Kind::Numbers:
        break;
    }
    return true;
}

}  // namespace

HolesOutcome findHoles(CompactMesh const& mesh, koUtil::Progress& progress) {
    HolesOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    if (progress.cancelled())
        return cancelledOutcome<HolesOutcome>();
    koGeom::SimpleMeshCache cache;
    auto const adjTris = cache.getAdjTris(mesh);
    auto const adjVertices = cache.getAdjVertices(mesh);
    if (progress.cancelled())
        return cancelledOutcome<HolesOutcome>();
    std::vector<BorderLoop> loops = findBorderLoops(mesh, *adjTris);
    StarJudge stars(mesh, *adjTris);
    ComponentAreas const areas(mesh, *adjTris);
    outcome.holes.resize(loops.size());
    for (std::size_t i = 0; i < loops.size(); ++i) {
        progress.set(shareOfTables + (1.0 - shareOfTables) * double(i) / double(loops.size()));
        if (progress.cancelled())
            return cancelledOutcome<HolesOutcome>();
        MeshHole& hole = outcome.holes[i];
        hole.vertices = std::move(loops[i].vertices);
        measureLoop(mesh, hole);
        predictPatch(mesh, *adjVertices, areas.areaAround(hole.vertices.front()), hole);
        findFault(mesh, stars, loops[i].isClosed, hole);
    }
    progress.set(1.0);
    return outcome;
}

std::vector<int> chooseHoles(std::vector<MeshHole> const& holes, HoleChoice const& choice) {
    auto const count = static_cast<std::int64_t>(holes.size());
    std::vector<char> marks(holes.size(), choice.kind != HoleChoice::Kind::Numbers);
    for (auto const& [first, last] : choice.ranges) {
        for (std::int64_t number = std::max<std::int64_t>(first, 1);
             number <= std::min(last, count); ++number)
            marks[static_cast<std::size_t>(number - 1)] = 1;
    }
    std::vector<int> chosen;
    for (std::size_t i = 0; i < holes.size(); ++i) {
        if (marks[i] != 0 && isChosen(holes[i], choice))
            chosen.push_back(static_cast<int>(i));
    }
    return chosen;
}

}  // namespace trimora
