#include "toolkit/detail/openEdges.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshAdjTris;
using koGeom::MeshBoundaries;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

EdgeKey keyOf(CompactMesh const& mesh, int from, int to) {
    auto const& p = mesh.getVertices()[from];
    auto const& q = mesh.getVertices()[to];
    return {{p.x, p.y, p.z, q.x, q.y, q.z}};
}

}  // namespace

bool EdgeKey::operator==(EdgeKey const& other) const {
    return std::memcmp(ends, other.ends, sizeof ends) == 0;
}

std::size_t EdgeKeyHash::operator()(EdgeKey const& key) const {
    std::uint64_t hash = 0;
    for (float const end : key.ends) {
        std::uint32_t bits;
        std::memcpy(&bits, &end, sizeof bits);
        hash = (hash ^ bits) * 0x9e3779b97f4a7c15u;
        hash ^= hash >> 29;
    }
    return static_cast<std::size_t>(hash);
}

std::vector<EdgeKey> keysOf(CompactMesh const& mesh, std::vector<int> const& loop) {
    std::vector<EdgeKey> keys;
    for (std::size_t i = 0; i < loop.size(); ++i)
        keys.push_back(keyOf(mesh, loop[i], loop[(i + 1) % loop.size()]));
    return keys;
}

OpenEdges::OpenEdges(CompactMesh const& mesh, MeshAdjTris const& adjTris)
    : loops_(findBorderLoops(mesh, adjTris)) {
    for (std::size_t i = 0; i < loops_.size(); ++i) {
        for (EdgeKey const& key : keysOf(mesh, loops_[i].vertices))
            loopsOf_[key].push_back(static_cast<int>(i));
    }
}

int OpenEdges::find(std::vector<EdgeKey> const& keys) const {
    auto const found = loopsOf_.find(keys.front());
    if (found == loopsOf_.end())
        return -1;
    for (int const loop : found->second) {
        auto const isThere = [&](EdgeKey const& key) {
            auto const other = loopsOf_.find(key);
            return other != loopsOf_.end() &&
                   std::count(other->second.begin(), other->second.end(), loop) > 0;
        };
        if (loops_[at(loop)].vertices.size() == keys.size() &&
            std::all_of(keys.begin(), keys.end(), isThere))
            return loop;
    }
    return -1;
}

MeshBoundaries OpenEdges::asBoundaries() const {
    koGeom::MeshSequence sequence;
    std::size_t numPoints = 0;
    for (BorderLoop const& loop : loops_)
        numPoints += loop.vertices.size();
    sequence.points.setSize(static_cast<int>(numPoints));
    sequence.lengths.setSize(static_cast<int>(loops_.size()));
    int place = 0;
    for (std::size_t i = 0; i < loops_.size(); ++i) {
        sequence.lengths[static_cast<int>(i)] = static_cast<int>(loops_[i].vertices.size());
        for (int const vertex : loops_[i].vertices)
            sequence.points[place++] = vertex;
    }
    return MeshBoundaries(sequence);
}

}  // namespace trimora
