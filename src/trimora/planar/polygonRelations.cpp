#include "trimora/planar/polygonRelations.h"

#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/planar/detail/Outline.h"

#include <algorithm>
#include <cmath>
#include <emmintrin.h>

// Points against polygons. Two questions an edge: does it cross the ray that runs to the right of the point, and does
// the point lie on it? Neither can be so for an edge that lies above or below the point's level by more than the
// tolerance, which is nearly all of them; so runs of vertices beyond the level are passed over, eight at a time.

namespace koGeom {

namespace {

constexpr std::size_t blockSize = 8;

template <bool above>
bool isBeyond(double y, double level) {
    return above ? y > level : y < level;
}

// isBeyond of a whole block.
template <bool above>
bool areAllBeyond(Point2 const* block, __m128d level) {
    __m128d all = _mm_cmpeq_pd(level, level);
    for (std::size_t i = 0; i < blockSize; i += 2) {
        __m128d const y = _mm_unpackhi_pd(_mm_loadu_pd(&block[i].x), _mm_loadu_pd(&block[i + 1].x));
        all = _mm_and_pd(all, above ? _mm_cmpgt_pd(y, level) : _mm_cmplt_pd(y, level));
    }
    return _mm_movemask_pd(all) == 3;
}

// The last vertex of the run beyond the level that starts at `first`; `first` itself if it is not beyond.
template <bool above>
Point2 const* endOfRun(Point2 const* first, Point2 const* last, double level) {
    if (!isBeyond<above>(first->y, level))
        return first;
    __m128d const levels = _mm_set1_pd(level);
    while (static_cast<std::size_t>(last - first) > blockSize &&
           areAllBeyond<above>(first + 1, levels))
        first += blockSize;
    while (first < last && isBeyond<above>(first[1].y, level))
        ++first;
    return first;
}

pointPolygonRelation relationTo(Point2 const* first, Point2 const* last, Point2 const& p,
                                double tolerance) {
    double const reach = tolerance > 0.0 ? tolerance : 0.0;
    Range2d const box(p.x - reach, p.y - reach, p.x + reach, p.y + reach);
    bool isInside = false;
    for (Point2 const* start = first; start < last; ++start) {
        start = endOfRun<true>(start, last, box.upper.y);
        start = endOfRun<false>(start, last, box.lower.y);
        if (start == last)
            break;
        Point2 const& end = start[1];
        if ((start->y > p.y) != (end.y > p.y)) {
            double const x = (end.x - start->x) * (p.y - start->y) / (end.y - start->y) + start->x;
            if (std::abs(x - p.x) < tolerance)
                return pointOnBoundary;
            isInside ^= x > p.x;
        }
        if (!detail::areBeyond(box, *start, end) && isPointOnEdge(*start, end, p, tolerance))
            return pointOnBoundary;
    }
    return isInside ? pointInside : pointOutside;
}

}  // namespace

bool isPointOnEdge(Point2 const& a, Point2 const& b, Point2 const& point, double tolerance) {
    Vector2 const edge = b - a;
    double const length = edge.length();
    if (length == 0.0)
        return equivalent(a, point, tolerance);
    Vector2 const along = edge / length;
    Vector2 const across(along.y, -along.x);
    Vector2 const offset = point - a;
    return std::abs(dot(across, offset)) < tolerance &&
           Range1d(0.0, length).contains(dot(along, offset), tolerance);
}

void isPointInPolygon(Point2 const& point, ko::vector<Point2> const& vertices,
                      pointPolygonRelation& relation, double tolerance) {
    relation = pointOutside;
    if (!vertices.empty())
        relation =
            relationTo(vertices.data(), vertices.data() + vertices.size() - 1, point, tolerance);
}

void intersectPointWithPolygon(Point2 const& point, Polyline2d const& polygon,
                               pointPolygonRelation& relation, double tolerance) {
    relation = polygon.getBoundingBox().contains(point, tolerance)
                   ? detail::relationTo(detail::Outline(polygon), point, tolerance)
                   : pointOutside;
}

namespace detail {

Outline::Outline(Polyline2d const& polygon) : box(polygon.getBoundingBox()) {
    int const numVertices = polygon.getNumVertices();
    bool const isOpen = numVertices > 0 && !polygon.getClosed();
    points.reserve(static_cast<std::size_t>(numVertices) + 1);
    for (int i = 0; i < numVertices; ++i)
        points.push_back(polygon.getVertex(i));
    if (isOpen)
        points.push_back(polygon.getFirstVertex());
}

double Outline::area() const {
    double twice = 0.0;
    for (std::size_t i = 0; i < numEdges(); ++i)
        twice += cross(points[i] - points[0], points[i + 1] - points[0]);
    return 0.5 * twice;
}

pointPolygonRelation relationTo(Outline const& outline, Point2 const& point, double tolerance) {
    pointPolygonRelation relation = pointOutside;
    if (outline.box.contains(point, tolerance))
        isPointInPolygon(point, outline.points, relation, tolerance);
    return relation;
}

}  // namespace detail

}  // namespace koGeom
