#include "trimora/planar/PolylineBBoxCache.h"

#include "trimora/contract/koGeom/Polyline.h"

namespace koGeom {

Range3d const& PolylineBBoxCache::getSegmentBBox(int i) {
    static Range3d const none;
    if (boxes.empty() && polyline != nullptr)
        build();
    auto const index = static_cast<std::size_t>(i);
    return index < boxes.size() ? boxes[index] : none;
}

void PolylineBBoxCache::build() {
    int const numSegments = polyline->getNumVertices() - 1;
    if (numSegments < 1)
        return;
    boxes.resize(static_cast<std::size_t>(numSegments));
    for (int k = 0; k < numSegments; ++k) {
        Range3d& box = boxes[static_cast<std::size_t>(k)];
        box.set(polyline->getVertex(k));
        box.include(polyline->getVertex(k + 1));
    }
}

}  // namespace koGeom
