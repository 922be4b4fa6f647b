#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace planar {

/// Empty when these are n - 2 triangles wound as a polygon of n points that use each of its edges once and each inner one twice,
/// in opposite directions; three indices a triangle.
inline std::string triangulationFault(std::vector<int> const& triangles, int n) {
    if (triangles.size() != 3 * static_cast<std::size_t>(n - 2))
        return "wrong number";
    std::map<std::pair<int, int>, int> uses;
    for (std::size_t t = 0; t < triangles.size(); t += 3)
        for (std::size_t k = 0; k < 3; ++k)
            ++uses[{triangles[t + k], triangles[t + (k + 1) % 3]}];
    for (auto const& [edge, count] : uses) {
        bool const isSide = (edge.first + 1) % n == edge.second;
        if (count != 1 || isSide == (uses.count({edge.second, edge.first}) != 0))
            return std::to_string(edge.first) + " to " + std::to_string(edge.second);
    }
    return "";
}

}  // namespace planar
