#include "trimora/connectivity/triNormal.h"

#include "trimora/connectivity/detail/triangleNormal.h"

namespace koGeom {

Normal triNormal(Point const& a, Point const& b, Point const& c) {
    return detail::triangleNormal(a, b, c);
}

Normal meshTriNormal(float const* vertices, int const* triangle) {
    return detail::triangleNormal(vertices, triangle);
}

}  // namespace koGeom
