#include "trimora/planar/polylineTransform.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koLinear/matrices.h"

namespace koGeom {

void polylineTransform(Polyline& polyline, AffineMatrix const& matrix) {
    int const numVertices = polyline.getNumVertices();
    for (int i = 0; i < numVertices; ++i) {
        Polyline::vertex& v = polyline.getVertex(i);
        v = {v * matrix, v.parameter};
    }
    polyline.modified();
}

}  // namespace koGeom
