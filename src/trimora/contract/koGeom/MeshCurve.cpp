#include "trimora/contract/koGeom/MeshCurve.h"

namespace koGeom {

MeshCurve::MeshCurve(std::deque<MeshCoord> const& curvePoints, bool isClosed)
    : points(curvePoints), closed(isClosed) {}

MeshCurve::~MeshCurve() = default;

}  // namespace koGeom
