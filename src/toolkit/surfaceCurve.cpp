// Walks from triangle to triangle along a plane. On which side of it a vertex lies decides alone where the walk goes on; a
// vertex in the plane counts as above it, so that the walk never has to pass through a vertex: where it grazes one, the
// points on the edges there come to lie on it.

#include "toolkit/surfaceCurve.h"

#include "toolkit/detail/CheckedEdit.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshTidying.h"

#include "trimora/connectivity/SimpleMeshCache.h"
#include "trimora/spatial/MeshClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshCoord;
using koLinear::Point;
using koLinear::Vector;

Point scaled(Point const& point, double scale) {
    return {scale * point.x, scale * point.y, scale * point.z};
}

/// A place on the mesh, and what it lies on: a vertex, an edge, or else the inside of its triangle.
struct Place {
    MeshCoord coord;
    Point position;
    std::vector<int> triangles;  // that hold it, ascending
    int vertices[2] = {-1, -1};  // the vertex, or the edge's ends
    Vector normal;               // unit, the mean of its triangles'; zero where there is none

    bool holds(int triangle) const {
        return std::binary_search(triangles.begin(), triangles.end(), triangle);
    }
    bool isOn(int vertex) const { return vertex == vertices[0] && vertices[1] < 0; }
    bool isOnEdge(int a, int b) const {
        return (a == vertices[0] && b == vertices[1]) || (a == vertices[1] && b == vertices[0]);
    }
};

class CurveLayer {
public:
    /// Lengths and places in the result and its texts come out in `unit`s of the mesh's coordinates.
    CurveLayer(CompactMesh const& mesh, koGeom::MeshCache& cache, double tolerance, double unit,
               koUtil::Progress& progress)
        : mesh_(mesh),
          octree_(cache.getOctree(mesh, 64)),
          octreeTris_(cache.getOctreeTris(mesh)),
          adjTris_(cache.getAdjTris(mesh)),
          search_(mesh, *octree_, *octreeTris_),
          tolerance_(tolerance),
          unit_(unit),
          progress_(progress) {}

    LaidCurves run(std::vector<Polyline> const& polylines);

private:
    /// Where a stretch leaves its first triangle: through the edge from corner `edge` to the next one.
    struct Start {
        int triangle;
        int edge;
        double progress;  // along the stretch
    };

    bool lay(Polyline const& polyline, std::string const& name, std::deque<MeshCoord>& curve);
    bool findPlace(Point const& point, Place& place);
    void findTriangles(Place& place) const;
    bool follow(Place const& from, Place const& to, std::deque<MeshCoord>& curve);
    std::vector<Start> findStarts(Place const& from, Place const& to) const;
    bool walk(Start const& start, Place const& to, double& length, std::deque<MeshCoord>& path);
    int across(int triangle, int a, int b) const;
    MeshCoord crossing(int triangle, int edge) const;
    void refuse(std::string const& where, Point const& point, std::string const& why);

    int corner(int triangle, int k) const { return mesh_.getTriangles()[triangle][k % 3]; }
    Point pointOf(int vertex) const { return mesh_.getVertices()[vertex].asPoint(); }
    double height(int vertex) const { return dot(planeNormal_, pointOf(vertex) - planeOrigin_); }
    bool isAbove(int vertex) const { return height(vertex) >= 0.0; }
    bool crosses(int triangle, int edge) const {
        return isAbove(corner(triangle, edge)) != isAbove(corner(triangle, edge + 1));
    }
    Point evaluate(MeshCoord const& coord) const {
        return coord.evaluate(mesh_.getVertices(), mesh_.getTriangles());
    }
    void snap(MeshCoord& coord) const;

    CompactMesh const& mesh_;
    ko::Reference<koGeom::Octree> octree_;
    ko::Reference<koGeom::OctreeTris> octreeTris_;
    ko::Reference<MeshAdjTris> adjTris_;
    koGeom::MeshClosestPoint search_;
    double const tolerance_;
    double const unit_;
    koUtil::Progress& progress_;

    Vector planeNormal_;  // of the present stretch
    Point planeOrigin_;
    std::string reason_;  // why the present stretch failed
    LaidCurves result_;
};

LaidCurves CurveLayer::run(std::vector<Polyline> const& polylines) {
    progress_.setCaption("laying curves");
    for (std::size_t i = 0; i < polylines.size() && result_.refusal.empty(); ++i) {
        result_.curves.emplace_back();
        if (!lay(polylines[i], "curve " + std::to_string(i + 1), result_.curves.back()))
            result_.curves.clear();
        if (progress_.cancelled())
            break;
        progress_.set(double(i + 1) / double(polylines.size()));
    }
    result_.cancelled = progress_.cancelled();
    return std::move(result_);
}

bool CurveLayer::lay(Polyline const& polyline, std::string const& name,
                     std::deque<MeshCoord>& curve) {
    Place from;
    for (std::size_t i = 0; i < polyline.size() && !progress_.cancelled(); ++i) {
        Place to;
        if (!findPlace(polyline[i], to)) {
            refuse(name, polyline[i], "the mesh has no triangle to lay it on");
            return false;
        }
        if (i > 0 && !follow(from, to, curve)) {
            refuse(name + " between its points " + std::to_string(i) + " and " +
                       std::to_string(i + 1),
                   from.position, reason_);
            return false;
        }
        curve.push_back(to.coord);
        from = std::move(to);
    }
    return true;
}

bool CurveLayer::findPlace(Point const& point, Place& place) {
    double const distance = search_.compute(point, &place.coord);
    if (!place.coord.valid())
        return false;
    result_.farthest = std::max(result_.farthest, unit_ * distance);
    snap(place.coord);
    place.position = evaluate(place.coord);
    findTriangles(place);
    for (int const t : place.triangles) {
        Point const a = pointOf(corner(t, 0));
        Vector normal = cross(pointOf(corner(t, 1)) - a, pointOf(corner(t, 2)) - a);
        if (normal.normalize())
            place.normal += normal;
    }
    if (!place.normal.normalize())
        place.normal = Vector();
    return true;
}

// Onto the corner or the edge that lies within the tolerance, with weights that say so exactly.
void CurveLayer::snap(MeshCoord& coord) const {
    float const* const vertices = mesh_.getVerticesRaw();
    int const* const triangles = mesh_.getTrianglesRaw();
    int k = -1;
    if (coord.onVertex(vertices, triangles, tolerance_, &k)) {
        coord = MeshCoord(coord.triangle, k == 0, k == 1, k == 2);
    } else if (coord.onEdge(vertices, triangles, tolerance_, &k)) {
        Point const a = pointOf(corner(coord.triangle, k));
        Vector const along = pointOf(corner(coord.triangle, k + 1)) - a;
        double const squared = along.length2();
        double const param =
            squared > 0.0 ? std::clamp(dot(evaluate(coord) - a, along) / squared, 0.0, 1.0) : 0.0;
        coord = MeshCoord(coord.triangle, 0.0, 0.0, 0.0);
        coord.weights[k] = 1.0 - param;
        coord.weights[(k + 1) % 3] = param;
    }
}

// Exact zeros tell what a place lies on, since it has been snapped.
void CurveLayer::findTriangles(Place& place) const {
    int const triangle = place.coord.triangle;
    int count = 0;
    for (int k = 0; k < 3; ++k) {
        if (place.coord.weights[k] != 0.0 && count < 3) {
            if (count < 2)
                place.vertices[count] = corner(triangle, k);
            ++count;
        }
    }
    if (count == 3) {
        place.vertices[0] = place.vertices[1] = -1;
        place.triangles = {triangle};
        return;
    }
    int const* const around = adjTris_->triIndices(place.vertices[0]);
    for (int i = 0; i < adjTris_->numTris(place.vertices[0]); ++i) {
        koGeom::MeshTriangle const& corners = mesh_.getTriangles()[around[i]];
        int const* const end = corners.vertices + 3;
        bool const holdsIt =
            count == 1 || std::find(corners.vertices, end, place.vertices[1]) != end;
        if (holdsIt && (place.triangles.empty() || place.triangles.back() != around[i]))
            place.triangles.push_back(around[i]);
    }
}

// Appends the points between the two places.
bool CurveLayer::follow(Place const& from, Place const& to, std::deque<MeshCoord>& curve) {
    if (std::any_of(from.triangles.begin(), from.triangles.end(),
                    [&to](int t) { return to.holds(t); }))
        return true;
    planeOrigin_ = from.position;
    planeNormal_ = cross(to.position - from.position, from.normal + to.normal);
    if (!planeNormal_.normalize()) {
        reason_ = "the surface faces opposite ways at the two; add points in between";
        return false;
    }
    reason_ = "no way over the surface leads from the one to the other; add points in between";
    double best = std::numeric_limits<double>::infinity();
    std::deque<MeshCoord> bestPath;
    for (Start const& start : findStarts(from, to)) {
        double length = best;
        std::deque<MeshCoord> path;
        if (walk(start, to, length, path)) {
            best = length;
            bestPath = std::move(path);
        }
    }
    curve.insert(curve.end(), bestPath.begin(), bestPath.end());
    return std::isfinite(best);
}

// The edges through which the plane leaves the triangles of the first place towards the second, the straightest first.
std::vector<CurveLayer::Start> CurveLayer::findStarts(Place const& from, Place const& to) const {
    Vector const way = to.position - from.position;
    std::vector<Start> starts;
    for (int const t : from.triangles) {
        for (int k = 0; k < 3; ++k) {
            int const a = corner(t, k);
            int const b = corner(t, k + 1);
            if (from.isOn(a) || from.isOn(b) || from.isOnEdge(a, b) || !crosses(t, k))
                continue;
            Vector step = evaluate(crossing(t, k)) - from.position;
            step.normalize();
            double const progress = dot(step, way);
            if (progress > 0.0)
                starts.push_back({t, k, progress});
        }
    }
    std::stable_sort(starts.begin(), starts.end(),
                     [](Start const& a, Start const& b) { return a.progress > b.progress; });
    return starts;
}

// `length` holds the most that the walk may take, then what it took.
bool CurveLayer::walk(Start const& start, Place const& to, double& length,
                      std::deque<MeshCoord>& path) {
    double const most = length;
    Point last = planeOrigin_;
    int triangle = start.triangle;
    int edge = start.edge;
    length = 0.0;
    for (int steps = 0; steps <= mesh_.getNumTriangles(); ++steps) {
        path.push_back(crossing(triangle, edge));
        Point const here = evaluate(path.back());
        length += distance(last, here);
        last = here;
        int const a = corner(triangle, edge);
        int const b = corner(triangle, edge + 1);
        triangle = across(triangle, a, b);
        if (triangle == start.triangle || length > most)
            return false;
        if (triangle < 0) {
            reason_ = (triangle == -1 ? "the surface ends on the way, at "
                                      : "more than two triangles meet on the way, at ") +
                      positionInWords(scaled(here, unit_)) + "; add points that lead round it";
            return false;
        }
        if (to.holds(triangle)) {
            length += distance(last, to.position);
            return length <= most;
        }
        for (edge = 0; edge < 3; ++edge) {
            int const c = corner(triangle, edge);
            int const d = corner(triangle, edge + 1);
            bool const isEntry = (c == a && d == b) || (c == b && d == a);
            if (!isEntry && crosses(triangle, edge))
                break;
        }
        if (edge == 3)
            return false;  // a triangle that names a vertex twice
    }
    return false;
}

// The triangle on the other side of an edge; -1 on the border, -2 where there are several.
int CurveLayer::across(int triangle, int a, int b) const {
    int found = -1;
    int const* const around = adjTris_->triIndices(a);
    for (int i = 0; i < adjTris_->numTris(a); ++i) {
        koGeom::MeshTriangle const& corners = mesh_.getTriangles()[around[i]];
        int const* const end = corners.vertices + 3;
        if (around[i] == triangle || around[i] == found ||
            std::find(corners.vertices, end, b) == end)
            continue;
        if (found >= 0)
            return -2;
        found = around[i];
    }
    return found;
}

MeshCoord CurveLayer::crossing(int triangle, int edge) const {
    double const a = height(corner(triangle, edge));
    double const b = height(corner(triangle, edge + 1));
    MeshCoord coord(triangle, 0.0, 0.0, 0.0);
    coord.weights[edge] = b / (b - a);
    coord.weights[(edge + 1) % 3] = a / (a - b);
    snap(coord);
    return coord;
}

void CurveLayer::refuse(std::string const& where, Point const& point, std::string const& why) {
    result_.refusal = where + ": " + why;
    result_.problemPoint = scaled(point, unit_);
}

std::string faultOf(CompactMesh const& mesh, std::vector<Polyline> const& polylines,
                    double tolerance) {
    if (SurfaceFault const fault = faultOfMesh(mesh))
        return fault.text;
    if (!(tolerance >= 0.0 && std::isfinite(tolerance)))
        return "the tolerance has to be a length, not below 0";
    for (Polyline const& polyline : polylines)
        for (Point const& p : polyline)
            if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z))
                return "a curve has a point that is NaN or infinite";
    return {};
}

}  // namespace

LaidCurves laySurfaceCurves(CompactMesh const& mesh, koGeom::MeshCache& cache,
                            std::vector<Polyline> const& polylines, double tolerance,
                            koUtil::Progress& progress) {
    LaidCurves refused;
    refused.refusal = faultOf(mesh, polylines, tolerance);
    if (!refused.refusal.empty())
        return refused;
    double const scale = unitScale(diagonalOf(mesh));
    if (scale == 1.0)
        return CurveLayer(mesh, cache, tolerance, 1.0, progress).run(polylines);
    CompactMesh scaledMesh = bareCopy(mesh);
    scaleVertices(scaledMesh, scale);
    std::vector<Polyline> scaledPolylines = polylines;
    for (Polyline& polyline : scaledPolylines) {
        for (Point& point : polyline)
            point = scaled(point, scale);
    }
    koGeom::SimpleMeshCache scaledCache;
    return CurveLayer(scaledMesh, scaledCache, scale * tolerance, 1.0 / scale, progress)
        .run(scaledPolylines);
}

}  // namespace trimora
