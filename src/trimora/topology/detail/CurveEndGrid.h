#pragma once

#include "trimora/contract/koLinear/vectors.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

namespace koGeom::detail {

/// Finds numbered places that may be `equivalent` to a point within the tolerance, in constant time each: cells of twice
/// the tolerance, so that the reach of a point meets at most eight.
class CurveEndGrid {
public:
    /// extent   the largest absolute coordinate of the finite places, which bounds the number of cells
    CurveEndGrid(double tolerance, double extent)
        : reach_(tolerance * (1.0 + slack) + extent * slack),
          cell_(std::max(2.0 * reach_, extent * finest)) {}

    /// Places that are not finite are equivalent to nothing and are left out.
    void add(koLinear::Point const& place, int number) {
        if (isFinite(place))
            numbers_[{cellOf(place.x), cellOf(place.y), cellOf(place.z)}].push_back(number);
    }

    /// The numbers of all places that may be near, ascending, each once; too many rather than too few.
    std::vector<int> nearby(koLinear::Point const& place) const {
        std::vector<int> found;
        if (!isFinite(place))
            return found;
        for (double x : cellsOf(place.x))
            for (double y : cellsOf(place.y))
                for (double z : cellsOf(place.z)) {
                    auto const at = numbers_.find({x, y, z});
                    if (at != numbers_.end())
                        found.insert(found.end(), at->second.begin(), at->second.end());
                }
        std::sort(found.begin(), found.end());
        found.erase(std::unique(found.begin(), found.end()), found.end());
        return found;
    }

private:
    struct Cell {
        double x, y, z;
        bool operator==(Cell const&) const = default;
    };
    struct Hash {
        std::size_t operator()(Cell const& cell) const {
            std::uint64_t hash = 0;
            for (double const coordinate : {cell.x, cell.y, cell.z}) {
                std::uint64_t bits;
                std::memcpy(&bits, &coordinate, sizeof bits);
                hash = (hash ^ bits) * 0x9e3779b97f4a7c15u;
                hash ^= hash >> 29;
            }
            return static_cast<std::size_t>(hash);
        }
    };
    /// The cells that a stretch meets: one or two.
    struct Pair {
        double first, last;
        double const* begin() const { return &first; }
        double const* end() const { return &first + (first == last ? 1 : 2); }
    };

    static bool isFinite(koLinear::Point const& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    }
    /// The number of a cell, exact as a double; all places share one cell when there is no sensible size.
    double cellOf(double coordinate) const {
        bool const divides = cell_ > 0.0 && std::isfinite(cell_);
        return divides ? std::floor(coordinate / cell_) + 0.0 : 0.0;
    }
    Pair cellsOf(double coordinate) const {
        return {cellOf(coordinate - reach_), cellOf(coordinate + reach_)};
    }

    static constexpr double slack = 1e-14;   ///< for the rounding of differences
    static constexpr double finest = 1e-12;  ///< numbers of cells stay exact

    double reach_;
    double cell_;
    std::unordered_map<Cell, std::vector<int>, Hash> numbers_;
};

}  // namespace koGeom::detail
