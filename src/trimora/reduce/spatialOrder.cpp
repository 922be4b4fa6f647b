#include "trimora/reduce/detail/spatialOrder.h"

#include "trimora/contract/koUtil/Ordering.h"

#include <algorithm>
#include <cstdint>

namespace koGeom::detail {

namespace {

constexpr double cellsOfAxis = 1024.0;

/// Moves the ten low bits three places apart.
std::uint32_t spread(std::uint32_t bits) {
    bits = (bits | bits << 16) & 0x030000FFu;
    bits = (bits | bits << 8) & 0x0300F00Fu;
    bits = (bits | bits << 4) & 0x030C30C3u;
    return (bits | bits << 2) & 0x09249249u;
}

/// The cell of a coordinate, 0 to 1023, its bits spread.
class Axis {
public:
    Axis(BoundingBox const& box, int axis)
        : low_(box.min(axis)), scale_(cellsOfAxis / (static_cast<double>(box.max(axis)) - low_)) {}

    std::uint32_t bitsOf(double value) const {
        double const cell = (value - low_) * scale_;
        return cell > 0.0 ? spread(static_cast<std::uint32_t>(std::min(cell, cellsOfAxis - 1.0)))
                          : 0u;
    }

private:
    double low_;
    double scale_;
};

}  // namespace

void sortSpatially(std::vector<Point> const& points, BoundingBox const& box,
                   std::vector<int>& listed) {
    Axis const x(box, 0);
    Axis const y(box, 1);
    Axis const z(box, 2);
    std::vector<std::uint32_t> keys(listed.size());
    for (std::size_t i = 0; i < listed.size(); ++i) {
        Point const& p = points[static_cast<std::size_t>(listed[i])];
        keys[i] = x.bitsOf(p.x) | y.bitsOf(p.y) << 1 | z.bitsOf(p.z) << 2;
    }
    koUtil::Ordering order;
    order.sort(keys.data(), keys.data() + keys.size());
    std::vector<int> const before = listed;
    for (std::size_t i = 0; i < listed.size(); ++i)
        listed[i] = before[static_cast<std::size_t>(order[static_cast<long long>(i)])];
}

}  // namespace koGeom::detail
