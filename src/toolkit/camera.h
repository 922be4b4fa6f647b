#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <optional>
#include <string>

namespace trimora {

/// Which axis of the mesh's coordinates points up in pictures.
enum class UpAxis { Y, Z };

/// From where a mesh is looked at, in degrees.
struct View {
    double azimuth =
        30.0;  ///< 0 is the front, 90 the mesh's right side as it is seen on the right from the front
    double elevation = 20.0;  ///< -90 to 90; 90 is from above
};

/// front, back, left, right, top, bottom, iso, or "azimuth,elevation"; nothing for a text that is none of these.
TRIMORA_API std::optional<View> parseView(std::string const& text);

/// A perspective camera. Pixels count from the upper left corner of the picture: pixel (i, j) covers [i, i + 1) x [j, j + 1).
///
/// Depths are distances from the eye along `forward`; a ray's parameter is its depth.
struct Camera {
    koLinear::Point eye;
    koLinear::Vector
        right;  ///< right, down and forward are of unit length and right-handed in this order
    koLinear::Vector down;
    koLinear::Vector forward;
    koLinear::Vector up;   ///< of the world, not of the picture
    double focal = 1.0;    ///< pixels that a unit spans at depth 1
    double centreX = 0.5;  ///< where the axis meets the picture
    double centreY = 0.5;
    int width = 1;
    int height = 1;
    double nearest = 0.0;  ///< what is less deep is not seen; above 0

    /// The way through a place of the picture, as long as makes its depth 1.
    koLinear::Vector ray(double x, double y) const {
        return right * ((x - centreX) / focal) + down * ((y - centreY) / focal) + forward;
    }

    /// A point as x and y of the picture times its depth, less the centre's, and its depth.
    koLinear::Vector project(koLinear::Point const& point) const {
        koLinear::Vector const way = point - eye;
        return {focal * dot(way, right), focal * dot(way, down), dot(way, forward)};
    }
};

/// The camera that sees all of a box as large as possible.
///
/// box       valid and finite; a single point will do
/// width     of the picture, 1 or more; height likewise
/// margin    what is left free on each side, of the shorter one; 0 to below 0.5
/// angle     30 degrees across the shorter side
/// cost      none to speak of: the distance and the shift that fit are found in closed form
TRIMORA_API Camera fitCamera(koGeom::BoundingBox const& box, View const& view, UpAxis up, int width,
                             int height, double margin = 0.035);

}  // namespace trimora
