#pragma once

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koLinear/lines.h"

namespace koGeom::detail {

/// A point of a polyline with its parameter.
struct PolylinePlace {
    Point point;
    double parameter;
};

/// One segment of a polyline, as the line that it lies on.
struct PolylineSegment {
    Polyline::vertex const& start;
    Polyline::vertex const& end;
    ParamLine line;

    PolylineSegment(Polyline const& polyline, int i)
        : start(polyline.getVertex(i)), end(polyline.getVertex(i + 1)), line(start, Point(end)) {}

    /// The place at a fraction of the way; beyond an end exactly that end.
    PolylinePlace placeAt(double fraction) const {
        if (fraction < 0.0)
            return {start, start.parameter};
        if (fraction > 1.0)
            return {end, end.parameter};
        return {line.eval(fraction), parameterAt(fraction)};
    }
    double parameterAt(double fraction) const {
        return start.parameter + fraction * (end.parameter - start.parameter);
    }
};

}  // namespace koGeom::detail
