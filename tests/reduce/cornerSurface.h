#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

/// Surfaces as nothing but the corners of their faces, and what kind of surface those make: independent of all half-edges.
namespace corners {

using Corners = std::array<std::uint32_t, 3>;

/// Pieces, border loops and V - E + F of a surface that is given by nothing but the corners of its faces; {-1} when it has a
/// broken face, two faces on the same corners, an edge that is not run once or twice to and fro, or a vertex of several fans.
inline std::array<int, 3> kindOf(std::vector<Corners> const& faces) {
    std::array<int, 3> const broken = {-1, -1, -1};
    std::map<std::array<std::uint32_t, 2>, std::uint32_t> opposite;  // by edge, the third corner
    std::map<std::uint32_t, int> numFacesAt;
    std::set<std::set<std::uint32_t>> seen;
    for (Corners const& f : faces) {
        if (!seen.insert({f[0], f[1], f[2]}).second ||
            std::set<std::uint32_t>{f[0], f[1], f[2]}.size() != 3)
            return broken;
        for (std::size_t k = 0; k < 3; ++k) {
            if (!opposite.insert({{f[k], f[(k + 1) % 3]}, f[(k + 2) % 3]}).second)
                return broken;
            ++numFacesAt[f[k]];
        }
    }
    std::map<std::uint32_t, std::uint32_t> nextOnBorder;
    std::map<std::uint32_t, std::uint32_t> firstOf;  // by vertex: where its fan begins
    std::map<std::uint32_t, std::uint32_t> piece;
    std::function<std::uint32_t(std::uint32_t)> const rootOf = [&](std::uint32_t v) {
        return piece[v] == v ? v : piece[v] = rootOf(piece[v]);
    };
    for (auto const& [v, count] : numFacesAt)
        piece[v] = v;
    int numEdges = 0;
    for (auto const& [edge, third] : opposite) {
        bool const isBorder = opposite.count({edge[1], edge[0]}) == 0;
        if (isBorder)
            nextOnBorder[edge[0]] = edge[1];
        if (isBorder || firstOf.count(edge[0]) == 0)
            firstOf[edge[0]] = edge[1];
        piece[rootOf(edge[0])] = rootOf(edge[1]);
        numEdges += isBorder || edge[0] < edge[1] ? 1 : 0;
    }
    int numPieces = 0;
    for (auto const& [v, count] : numFacesAt) {
        numPieces += rootOf(v) == v ? 1 : 0;
        int numMet = 0;
        for (std::uint32_t rim = firstOf[v]; numMet <= count; ++numMet) {
            auto const face = opposite.find({v, rim});
            if (face == opposite.end() || (numMet > 0 && rim == firstOf[v]))
                break;
            rim = face->second;
        }
        if (numMet != count)
            return broken;
    }
    int numLoops = 0;
    while (!nextOnBorder.empty()) {
        ++numLoops;
        auto at = nextOnBorder.begin();
        while (at != nextOnBorder.end()) {
            std::uint32_t const next = at->second;
            nextOnBorder.erase(at);
            at = nextOnBorder.find(next);
        }
    }
    int const euler =
        static_cast<int>(numFacesAt.size()) - numEdges + static_cast<int>(faces.size());
    return {numPieces, numLoops, euler};
}

/// What is left when b becomes a.
inline std::vector<Corners> collapsed(std::vector<Corners> faces, std::uint32_t a,
                                      std::uint32_t b) {
    std::vector<Corners> left;
    for (Corners f : faces) {
        std::replace(f.begin(), f.end(), b, a);
        if (f[0] != f[1] && f[1] != f[2] && f[2] != f[0])
            left.push_back(f);
    }
    return left;
}

}  // namespace corners
