#include "trimora/assembly/pointPolygonIntersect2D.h"

#include <algorithm>

namespace koGeom {

namespace {

// Where the edge cannot meet the ray that runs to the right of the point.
bool isPassedOver(float px, float py, float const* start, float const* end) {
    bool const isAbove = start[1] > py && end[1] > py;
    bool const isBelow = start[1] < py && end[1] < py;
    bool const isLeft = px > start[0] && px > end[0];
    return isAbove || isBelow || isLeft;
}

bool isCrossed(float px, float py, float const* start, float const* end) {
    float const t = (py - start[1]) / (end[1] - start[1]);
    return t >= 0.0f && t < 1.0f && (end[0] - start[0]) * t - (px - start[0]) >= 0.0f;
}

}  // namespace

bool pointPolygonIntersect2D(float const* const point, float const (*const pairs)[2], int n) {
    if (n < 3)
        return false;
    float const px = point[0];
    float const py = point[1];
    bool isInside = false;
    for (int i = 0; i < n; ++i) {
        float const* const start = pairs[i];
        float const* const end = pairs[i + 1];
        if (isPassedOver(px, py, start, end))
            continue;
        if (start[1] != end[1]) {
            isInside ^= isCrossed(px, py, start, end);
            continue;
        }
        if (px >= std::min(start[0], end[0]) && px <= std::max(start[0], end[0]))
            return true;
    }
    return isInside;
}

}  // namespace koGeom
