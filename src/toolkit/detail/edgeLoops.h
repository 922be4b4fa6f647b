#pragma once

#include <utility>
#include <vector>

namespace trimora {

/// Puts edges together to loops that pass through no vertex twice, whatever way they run. What is left over, chains with ends, is
/// dropped.
///
/// edges   by their vertices, each once
/// order   by the lowest vertex, which each loop begins with; the neighbour that follows is the lower one
/// cost    O(n log n)
std::vector<std::vector<int>> joinEdgesToLoops(std::vector<std::pair<int, int>> const& edges);

}  // namespace trimora
