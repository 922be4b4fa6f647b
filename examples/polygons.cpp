// What a lamp lights of a room, and what the lit part has in common with a carpet: a sector cut with a polygon, and two
// polygons with each other. The points of a raster are coloured by where they lie.

#include "svg.h"

#include "trimora/trimora.h"

#include <cmath>
#include <cstdio>

namespace {

using namespace koGeom;

Polyline2d polygonOf(ko::vector<Point2> const& corners) {
    Polyline2d polygon;
    for (Point2 const& corner : corners)
        polygon.appendVertex(corner);
    polygon.appendVertex(corners.front());
    return polygon;
}

ko::vector<Point2> cornersOf(Polyline2d const& polygon) {
    ko::vector<Point2> corners;
    for (int i = 0; i < polygon.getNumVertices(); ++i)
        corners.push_back(polygon.getVertex(i));
    return corners;
}

double areaOf(Polyline2d const& polygon) {
    double twice = 0.0;
    for (int i = 0; i + 1 < polygon.getNumVertices(); ++i)
        twice +=
            cross(polygon.getVertex(i) - Point2::origin, polygon.getVertex(i + 1) - Point2::origin);
    return 0.5 * std::abs(twice);
}

/// Dots over the room, those on the carpet in red; returns how many that are.
int drawRaster(Svg& picture, Polyline2d const& room, Polyline2d const& carpet) {
    Range2d const& box = room.getBoundingBox();
    int numOnCarpet = 0;
    for (double y = box.lower.y; y <= box.upper.y; y += 0.25)
        for (double x = box.lower.x; x <= box.upper.x; x += 0.25) {
            pointPolygonRelation toRoom = pointOutside;
            pointPolygonRelation toCarpet = pointOutside;
            intersectPointWithPolygon({x, y}, room, toRoom, 1e-6);
            intersectPointWithPolygon({x, y}, carpet, toCarpet, 1e-6);
            if (toRoom != pointInside)
                continue;
            numOnCarpet += toCarpet == pointInside;
            picture.circle(Point2(x, y), 1.5, toCarpet == pointInside ? "#c33" : "#999");
        }
    return numOnCarpet;
}

}  // namespace

int main(int argc, char** argv) {
    Polyline2d const room = polygonOf({{0, 0}, {7, 0}, {9, 3}, {8, 6}, {3, 7}, {0, 5}});
    Polyline2d const carpet = polygonOf({{3, 1}, {6, 1.5}, {6.5, 4}, {4, 5}, {2.5, 3}});
    Point2 const lamp(1.0, 1.5);

    Polyline2d lit;
    ESectorPolygonIntersection sectorStatus = sectorInvalid;
    isSectorPolygonIntersect(lamp, Vector2(5, 0.5), Vector2(4, 2.5), room, sectorStatus, lit, 1e-6);
    Polyline2d litCarpet;
    EPolygonsIntersection status = polygonsInvalid;
    intersectPolygons(lit, carpet, status, litCarpet, 1e-6);
    if (sectorStatus != sectorPolygonOverlapping || status != polygonsOverlapping)
        return 1;

    Svg picture(room.getBoundingBox());
    picture.polygon(cornersOf(room), "#f4f4f4", "black", 2.0);
    picture.polygon(cornersOf(lit), "#ffe9a8");
    picture.polygon(cornersOf(carpet), "none", "#c33");
    picture.polygon(cornersOf(litCarpet), "#f5a35b", "#c33", 2.0);
    int const numOnCarpet = drawRaster(picture, room, carpet);
    picture.circle(lamp, 5.0, "#e0a000");
    std::printf("%.2f of %.2f square metres of carpet are lit; %d raster points lie on it\n",
                areaOf(litCarpet), areaOf(carpet), numOnCarpet);
    return picture.write(argc > 1 ? argv[1] : "polygons.svg") ? 0 : 1;
}
