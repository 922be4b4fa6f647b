#include "toolkit/detail/chartPacking.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace trimora {

namespace {

// Between boxes, since textures blur into their neighbours: of the square's side, and of the mean box's.
constexpr double largestGap = 0.005;
constexpr double relativeGap = 0.05;

/// The extent of the shelves along v when they are so wide.
double shelve(std::vector<ChartBox>& boxes, std::vector<std::size_t> const& order, double width,
              double gap) {
    double u = 0.0;
    double v = 0.0;
    double shelfHeight = 0.0;
    for (std::size_t const i : order) {
        ChartBox& box = boxes[i];
        if (u > 0.0 && u + box.width > width) {
            v += shelfHeight + gap;
            u = 0.0;
            shelfHeight = 0.0;
        }
        box.u = u;
        box.v = v;
        u += box.width + gap;
        shelfHeight = std::max(shelfHeight, box.height);
    }
    return v + shelfHeight;
}

}  // namespace

double packCharts(std::vector<ChartBox>& boxes) {
    std::vector<std::size_t> order(boxes.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), [&boxes](std::size_t a, std::size_t b) {
        return boxes[a].height > boxes[b].height;
    });
    double area = 0.0;
    double widest = 0.0;
    for (ChartBox const& box : boxes) {
        area += box.width * box.height;
        widest = std::max(widest, box.width);
    }
    // The narrowest shelves whose height fits, by small steps.
    auto const count = static_cast<double>(boxes.size());
    double const gap =
        count > 1.0 ? std::min(largestGap, relativeGap / std::sqrt(count)) * std::sqrt(area) : 0.0;
    double side = std::max(widest, std::sqrt(area));
    constexpr double step = 1.02;
    while (shelve(boxes, order, side, gap) > side)
        side *= step;
    double tight = 0.0;
    for (ChartBox const& box : boxes)
        tight = std::max({tight, box.u + box.width, box.v + box.height});
    return tight;
}

}  // namespace trimora
