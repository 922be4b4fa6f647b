#pragma once

#include "support/builders.h"

#include "trimora/contract/koGeom/Polyline.h"

/// Polylines of points, with the parameters 0, 1, 2, ...
namespace planarTest {

using Points = ko::vector<koGeom::Point>;

inline koGeom::Polyline polylineOf(Points const& points) {
    ko::vector<koGeom::Polyline::vertex> vertices;
    for (koGeom::Point const& p : points)
        vertices.emplace_back(p, static_cast<double>(vertices.size()));
    return {static_cast<int>(vertices.size()), vertices.data()};
}

inline Points pointsOf(koGeom::Polyline const& polyline) {
    Points points;
    for (int i = 0; i < polyline.getNumVertices(); ++i)
        points.push_back(polyline.getVertex(i));
    return points;
}

/// A walk whose steps are up to 1 long on each axis.
inline Points randomWalk(support::Random& random, int numPoints) {
    Points points;
    koGeom::Point at;
    for (int i = 0; i < numPoints; ++i) {
        points.push_back(at);
        at +=
            koGeom::Vector(random.real(-1.0, 1.0), random.real(-1.0, 1.0), random.real(-1.0, 1.0));
    }
    return points;
}

/// A point of a coarse lattice, so that coincidence is common.
inline koGeom::Point latticePoint(support::Random& random, int side) {
    return {static_cast<double>(random.index(side)), static_cast<double>(random.index(side)),
            static_cast<double>(random.index(side))};
}

}  // namespace planarTest
