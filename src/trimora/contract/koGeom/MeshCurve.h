#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/export.h"

#include <deque>

namespace koGeom {

/// A curve on a mesh: its points in order.
class TRIMORA_API MeshCurve : public ko::ReferenceCount {
public:
    std::deque<MeshCoord> points;
    bool closed;  // the last point is joined to the first

    MeshCurve(std::deque<MeshCoord> const& points, bool closed);
    ~MeshCurve() override;
};

}  // namespace koGeom
