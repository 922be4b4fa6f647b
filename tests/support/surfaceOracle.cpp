#include "support/surfaceOracle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace support {

using koGeom::CompactMesh;
using koGeom::MeshTriangle;
using koLinear::Point;
using koLinear::Vector;

namespace {

/// A side of a triangle, as edge with the smaller vertex first.
struct Side {
    int low;
    int high;
    int start;  // corner at its lower end, 3 t + k
    int end;    // at its upper end
    bool isForward;

    bool sameEdge(Side const& other) const { return low == other.low && high == other.high; }
    bool operator<(Side const& other) const {
        return low != other.low ? low < other.low : high < other.high;
    }
};

std::vector<Side> sortedSides(CompactMesh const& mesh) {
    std::vector<Side> sides;
    sides.reserve(3 * static_cast<std::size_t>(mesh.getNumTriangles()));
    int const* const corners = mesh.getTrianglesRaw();
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        int const next = i % 3 == 2 ? i - 2 : i + 1;
        bool const isForward = corners[i] < corners[next];
        int const low = isForward ? i : next;
        int const high = isForward ? next : i;
        sides.push_back({corners[low], corners[high], low, high, isForward});
    }
    std::stable_sort(sides.begin(), sides.end());
    return sides;
}

/// Calls `body(first, last)` with the sides of each edge.
template <typename Body>
void forEachEdge(std::vector<Side> const& sides, Body const& body) {
    for (auto first = sides.begin(); first != sides.end();) {
        auto last = first;
        while (last != sides.end() && last->sameEdge(*first))
            ++last;
        body(first, last);
        first = last;
    }
}

class Groups {
public:
    explicit Groups(int count) : parent_(static_cast<std::size_t>(count)) {
        std::iota(parent_.begin(), parent_.end(), 0);
    }
    int rootOf(int i) {
        while (at(i) != i)
            i = at(i) = at(at(i));
        return i;
    }
    void join(int a, int b) { at(rootOf(a)) = rootOf(b); }

private:
    int& at(int i) { return parent_[static_cast<std::size_t>(i)]; }
    std::vector<int> parent_;
};

bool samePosition(CompactMesh const& mesh, int a, int b) {
    koGeom::MeshVertex const& p = mesh.getVertices()[a];
    koGeom::MeshVertex const& q = mesh.getVertices()[b];
    return p.x == q.x && p.y == q.y && p.z == q.z;
}

int numDuplicates(CompactMesh const& mesh) {
    std::vector<std::array<int, 3>> triples;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        triples.push_back({corners[0], corners[1], corners[2]});
        std::sort(triples.back().begin(), triples.back().end());
    }
    std::sort(triples.begin(), triples.end());
    return static_cast<int>(triples.end() - std::unique(triples.begin(), triples.end()));
}

int numDegenerate(CompactMesh const& mesh) {
    int count = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            int const a = corners[k], b = corners[(k + 1) % 3];
            if (a == b || samePosition(mesh, a, b)) {
                ++count;
                break;
            }
        }
    }
    return count;
}

/// Corners at a vertex are in one fan when their triangles share an edge at it.
int numBrokenFans(CompactMesh const& mesh, std::vector<Side> const& sides) {
    Groups fans(3 * mesh.getNumTriangles());
    forEachEdge(sides, [&fans](auto first, auto last) {
        for (auto side = first + 1; side < last; ++side) {
            fans.join(first->start, side->start);
            fans.join(first->end, side->end);
        }
    });
    std::vector<int> fanOf(static_cast<std::size_t>(mesh.getNumVertices()), -1);
    std::vector<int> broken;
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i) {
        auto const vertex = static_cast<std::size_t>(mesh.getTrianglesRaw()[i]);
        int const fan = fans.rootOf(i);
        if (fanOf[vertex] >= 0 && fanOf[vertex] != fan)
            broken.push_back(mesh.getTrianglesRaw()[i]);
        fanOf[vertex] = fan;
    }
    std::sort(broken.begin(), broken.end());
    return static_cast<int>(std::unique(broken.begin(), broken.end()) - broken.begin());
}

struct Corners {
    std::array<Point, 3> p;
    std::array<int, 3> v;
    std::array<double, 3> low, high;
    bool isFinite = true;
};

Corners cornersOf(CompactMesh const& mesh, int triangle) {
    Corners c;
    c.low.fill(std::numeric_limits<double>::infinity());
    c.high.fill(-std::numeric_limits<double>::infinity());
    for (std::size_t k = 0; k < 3; ++k) {
        c.v[k] = mesh.getTriangles()[triangle][static_cast<int>(k)];
        c.p[k] = mesh.getVertices()[c.v[k]].asPoint();
        double const xyz[] = {c.p[k].x, c.p[k].y, c.p[k].z};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            c.isFinite &= std::isfinite(xyz[axis]);
            c.low[axis] = std::min(c.low[axis], xyz[axis]);
            c.high[axis] = std::max(c.high[axis], xyz[axis]);
        }
    }
    return c;
}

bool boxesMeet(Corners const& a, Corners const& b) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (a.low[axis] > b.high[axis] || b.low[axis] > a.high[axis])
            return false;
    return true;
}

bool shareCorner(Corners const& a, Corners const& b) {
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            if (a.v[i] == b.v[j] ||
                (a.p[i].x == b.p[j].x && a.p[i].y == b.p[j].y && a.p[i].z == b.p[j].z))
                return true;
    return false;
}

double sizeOf(Corners const& a) {
    return std::max({a.high[0] - a.low[0], a.high[1] - a.low[1], a.high[2] - a.low[2]});
}

/// Whether the way from p to q passes the triangle from one side to the other, `room` or more from its corners' planes.
bool passesThrough(Point const& p, Point const& q, Corners const& triangle, double room) {
    auto const& [a, b, c] = triangle.p;
    Vector const normal = cross(b - a, c - a);
    double const length = normal.length();
    if (!(length > 0.0))
        return false;
    double const above = dot(p - a, normal) / length;
    double const below = dot(q - a, normal) / length;
    if (!(above * below < 0.0) || std::min(std::abs(above), std::abs(below)) < room)
        return false;
    Point const at = p + above / (above - below) * (q - p);
    for (std::size_t k = 0; k < 3; ++k) {
        Point const& from = triangle.p[k];
        Vector const side = triangle.p[(k + 1) % 3] - from;
        double const inside = dot(cross(side, at - from), normal) / (length * side.length());
        if (!(inside > room))
            return false;
    }
    return true;
}

bool crossClearly(Corners const& a, Corners const& b) {
    double const room = 1e-3 * std::max(sizeOf(a), sizeOf(b));
    for (std::size_t k = 0; k < 3; ++k)
        if (passesThrough(a.p[k], a.p[(k + 1) % 3], b, room) ||
            passesThrough(b.p[k], b.p[(k + 1) % 3], a, room))
            return true;
    return false;
}

}  // namespace

std::string SurfaceFaults::inWords() const {
    std::string text;
    auto const add = [&text](int count, char const* what) {
        if (count > 0)
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
    };
    add(duplicateTriangles, "duplicate triangles");
    add(degenerateTriangles, "degenerate triangles");
    add(crowdedEdges, "crowded edges");
    add(turnedEdges, "turned edges");
    add(brokenFans, "broken fans");
    return text;
}

SurfaceFaults surfaceFaults(CompactMesh const& mesh) {
    SurfaceFaults faults;
    std::vector<Side> const sides = sortedSides(mesh);
    forEachEdge(sides, [&faults](auto first, auto last) {
        faults.crowdedEdges += last - first > 2;
        faults.turnedEdges += last - first == 2 && first->isForward == (first + 1)->isForward;
    });
    faults.duplicateTriangles = numDuplicates(mesh);
    faults.degenerateTriangles = numDegenerate(mesh);
    faults.brokenFans = numBrokenFans(mesh, sides);
    return faults;
}

// A sweep along x.
int numClearCrossings(CompactMesh const& mesh, int most, long long mostPairs) {
    std::vector<Corners> triangles;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        triangles.push_back(cornersOf(mesh, t));
        if (!triangles.back().isFinite)
            triangles.pop_back();
    }
    std::sort(triangles.begin(), triangles.end(),
              [](Corners const& a, Corners const& b) { return a.low[0] < b.low[0]; });
    int count = 0;
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        for (std::size_t j = i + 1;
             j < triangles.size() && triangles[j].low[0] <= triangles[i].high[0]; ++j) {
            if (--mostPairs < 0)
                return count;
            count += boxesMeet(triangles[i], triangles[j]) &&
                     !shareCorner(triangles[i], triangles[j]) &&
                     crossClearly(triangles[i], triangles[j]);
            if (count >= most)
                return count;
        }
    }
    return count;
}

}  // namespace support
