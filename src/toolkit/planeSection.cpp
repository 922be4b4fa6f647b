// Cuts every triangle with the plane and chains the segments. Nodes are told apart by what they lie on (an edge or a
// vertex), never by position, so that no segment misses its neighbour for rounding.

#include "toolkit/planeSection.h"

#include "toolkit/detail/CheckedEdit.h"

#include "trimora/repair/triIntersect.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshCoord;
using koLinear::Point;

constexpr int pollInterval = 4096;      // triangles between two looks at the progress
constexpr double shareOfCutting = 0.8;  // of the time; the rest chains what was found

/// What a triangle beside an edge in the plane says about where the surface goes there.
enum Side : unsigned { Crosses = 0, Above = 1, Below = 2, InPlane = 4 };

class SectionGraph {
public:
    SectionGraph(CompactMesh const& mesh, SectionPlane const& plane, double tolerance,
                 koUtil::Progress& progress)
        : mesh_(mesh), plane_(plane), tolerance_(tolerance), progress_(progress) {}

    /// Some of the curves, or none, when it was cancelled.
    SurfaceCurves run();

private:
    using Pair = std::pair<int, int>;

    bool cutTriangles();
    void cutTriangle(int triangle);
    void addPlaneTriangle(int triangle);
    int node(int triangle, int const (&edge)[2], double param);
    unsigned sideOf(int triangle, int const (&a)[2], int const (&b)[2]) const;
    void addSegment(int a, int b, unsigned side);
    void link();
    bool walkAll(bool endsAndBranchings, SurfaceCurves& curves);
    std::deque<MeshCoord> walk(int start, std::size_t slot);

    bool isFinite(int triangle) const {
        double sum = 0.0;  // not finite as soon as one of its terms is not
        for (int k = 0; k < 3; ++k)
            sum += corner(triangle, k).x + corner(triangle, k).y + corner(triangle, k).z;
        return std::isfinite(sum);
    }
    Point corner(int triangle, int k) const {
        return mesh_.getVertices()[mesh_.getTriangles()[triangle][k]].asPoint();
    }

    CompactMesh const& mesh_;
    SectionPlane const& plane_;
    double const tolerance_;
    koUtil::Progress& progress_;

    std::map<Pair, int> nodeOf_;  // by the two vertices of an edge, lower first, or a vertex twice
    std::vector<MeshCoord> coords_;  // of each node
    std::map<Pair, unsigned>
        segments_;  // two nodes, lower first; the sides beside a segment in the plane
    std::vector<std::vector<int>> neighbours_;  // of each node, ascending; -1: walked
};

SurfaceCurves SectionGraph::run() {
    SurfaceCurves curves;
    if (!cutTriangles())
        return curves;
    link();
    if (walkAll(true, curves))
        walkAll(false, curves);
    return curves;
}

bool SectionGraph::cutTriangles() {
    int const count = mesh_.getNumTriangles();
    for (int t = 0; t < count; ++t) {
        if (t % pollInterval == 0) {
            progress_.set(shareOfCutting * t / count);
            if (progress_.cancelled())
                return false;
        }
        cutTriangle(t);
    }
    progress_.set(shareOfCutting);
    return !progress_.cancelled();
}

void SectionGraph::cutTriangle(int triangle) {
    if (!isFinite(triangle))
        return;
    Point a, b;
    double aParam = 0.0, bParam = 0.0;
    int aEdge[2], bEdge[2];
    int const found =
        koGeom::intersect(plane_.coefficients.data(), corner(triangle, 0), corner(triangle, 1),
                          corner(triangle, 2), tolerance_, a, aParam, aEdge, b, bParam, bEdge);
    if (found == 3)
        addPlaneTriangle(triangle);
    if (found != 2)
        return;
    // One after the other, as nodes are numbered when they are met first.
    int const last = node(triangle, bEdge, bParam);
    int const first = node(triangle, aEdge, aParam);
    addSegment(first, last, sideOf(triangle, aEdge, bEdge));
}

void SectionGraph::addPlaneTriangle(int triangle) {
    int nodes[3];
    for (int k = 0; k < 3; ++k)
        nodes[k] = node(triangle, {k, k}, 1.0);
    for (int k = 0; k < 3; ++k)
        addSegment(nodes[k], nodes[(k + 1) % 3], InPlane);
}

int SectionGraph::node(int triangle, int const (&edge)[2], double param) {
    koGeom::MeshTriangle const& corners = mesh_.getTriangles()[triangle];
    Pair const key = std::minmax({corners[edge[0]], corners[edge[1]]});
    auto const [entry, isNew] = nodeOf_.try_emplace(key, static_cast<int>(coords_.size()));
    if (isNew) {
        MeshCoord coord;
        coord.triangle = triangle;
        coord.weights[edge[1]] = 1.0 - param;
        coord.weights[edge[0]] = param;
        coords_.push_back(coord);
    }
    return entry->second;
}

// Two corners in the plane: the third one tells on which side the triangle lies.
unsigned SectionGraph::sideOf(int triangle, int const (&a)[2], int const (&b)[2]) const {
    if (a[0] != a[1] || b[0] != b[1])
        return Crosses;
    Point const third = corner(triangle, 3 - a[0] - b[0]);
    auto const& [x, y, z, d] = plane_.coefficients;
    return x * third.x + y * third.y + z * third.z + d > 0.0 ? Above : Below;
}

void SectionGraph::addSegment(int a, int b, unsigned side) {
    if (a != b)
        segments_[std::minmax(a, b)] |= side;
}

void SectionGraph::link() {
    neighbours_.resize(coords_.size());
    for (auto const& [ends, sides] : segments_) {
        bool const isTouched = sides == Above || sides == Below || sides == InPlane;
        if (isTouched)
            continue;
        neighbours_[static_cast<std::size_t>(ends.first)].push_back(ends.second);
        neighbours_[static_cast<std::size_t>(ends.second)].push_back(ends.first);
    }
    for (auto& list : neighbours_)
        std::sort(list.begin(), list.end());
}

/// All that begin at ends and branchings, or all that are left; false when it was cancelled.
bool SectionGraph::walkAll(bool endsAndBranchings, SurfaceCurves& curves) {
    for (std::size_t n = 0; n < neighbours_.size(); ++n) {
        if (endsAndBranchings && neighbours_[n].size() == 2)
            continue;
        for (std::size_t slot = 0; slot < neighbours_[n].size(); ++slot) {
            if (neighbours_[n][slot] < 0)
                continue;
            if (progress_.cancelled())
                return false;
            curves.push_back(walk(static_cast<int>(n), slot));
        }
    }
    return true;
}

// From a node along one of its segments, until a node where no one segment goes on.
std::deque<MeshCoord> SectionGraph::walk(int start, std::size_t slot) {
    std::deque<MeshCoord> points = {coords_[static_cast<std::size_t>(start)]};
    int from = start;
    for (;;) {
        auto& list = neighbours_[static_cast<std::size_t>(from)];
        int const to = std::exchange(list[slot], -1);
        auto& back = neighbours_[static_cast<std::size_t>(to)];
        *std::find(back.begin(), back.end(), from) = -1;
        points.push_back(coords_[static_cast<std::size_t>(to)]);
        if (back.size() != 2 || to == start)
            return points;
        slot = back[0] >= 0 ? 0 : 1;
        from = to;
    }
}

std::string faultOf(SectionPlane const& plane, double tolerance) {
    auto const& [x, y, z, d] = plane.coefficients;
    if (!(std::hypot(x, y, z) > 0.0) || !std::isfinite(x + y + z + d))
        return "the plane has no normal, or numbers that are NaN or infinite";
    if (!(tolerance >= 0.0 && std::isfinite(tolerance)))
        return "the tolerance has to be a length, not below 0";
    return {};
}

}  // namespace

bool SectionPlane::set(std::array<double, 4> const& numbers) {
    double const length = std::hypot(numbers[0], numbers[1], numbers[2]);
    if (!(length > 0.0) || !std::isfinite(length) || !std::isfinite(numbers[3] / length))
        return false;
    for (std::size_t i = 0; i < 4; ++i)
        coefficients[i] = numbers[i] / length;
    return true;
}

SectionOutcome planeSection(CompactMesh const& mesh, SectionPlane const& plane, double tolerance,
                            koUtil::Progress& progress) {
    SectionOutcome outcome;
    if (isRefused(outcome, mesh))
        return outcome;
    outcome.refusal = faultOf(plane, tolerance);
    if (!outcome.refusal.empty())
        return outcome;
    outcome.curves = SectionGraph(mesh, plane, tolerance, progress).run();
    if (progress.cancelled())
        return cancelledOutcome<SectionOutcome>();
    progress.set(1.0);
    return outcome;
}

}  // namespace trimora
