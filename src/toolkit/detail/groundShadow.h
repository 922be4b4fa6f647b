#pragma once

#include "toolkit/camera.h"

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"

#include <vector>

namespace trimora {

/// The soft shadow that a mesh throws on a level floor: a map of the floor round it, made once by packets of rays towards a broad
/// lamp and the sky, and read for each pixel.
///
/// cost       2^16 places of 16 packets each, on the shared pool, whatever the picture's size; an octree of the mesh
/// accuracy   the map's cells are about a hundredth of the diagonal wide; it fades out at its border
/// threads    the map does not depend on their number; reading is safe from any thread
class GroundShadow {
public:
    /// mesh       not kept
    /// box        of what of the mesh can be drawn; valid
    /// floor      along the camera's up
    /// lamp       of unit length, towards it
    /// progress   polled; when it was cancelled the map is not whole
    GroundShadow(koGeom::CompactMesh const& mesh, koGeom::BoundingBox const& box, double floor,
                 Camera const& camera, koLinear::Vector const& lamp, koUtil::Progress& progress);

    /// What part of the light does not reach the floor where a ray of the camera meets it, 0 to 1; 0 where it does not.
    ///
    /// ray   as Camera::ray
    float darkness(koLinear::Vector const& ray) const;

private:
    void softenMap();

    Camera camera_;
    koLinear::Point corner_;           // of the map, on the floor
    koLinear::Vector across_, along_;  // the map's axes, of unit length
    double cell_;                      // its width
    std::vector<float> map_;           // rows along `across_`
};

}  // namespace trimora
