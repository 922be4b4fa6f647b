#include "trimora/repair/detail/VoxelHubs.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <utility>

namespace koGeom {

namespace {

bool holds(int const* corners, int vertex) {
    return corners[0] == vertex || corners[1] == vertex || corners[2] == vertex;
}

int const* cornersOf(int const* triangles, int triangle) {
    return triangles + 3 * static_cast<std::ptrdiff_t>(triangle);
}

// A vertex in more than half of the triangles is more than a sixth of their corners: with six counters, each new vertex that
// finds none free takes one off them all, it is still among those counted at the end.
class FrequentVertices {
public:
    void add(int vertex) {
        for (Counter& counter : counters_) {
            if (counter.count > 0 && counter.vertex == vertex) {
                ++counter.count;
                return;
            }
        }
        for (Counter& counter : counters_) {
            if (counter.count == 0) {
                counter = {vertex, 1};
                return;
            }
        }
        for (Counter& counter : counters_)
            --counter.count;
    }

    template <class Visit>
    void forEach(Visit visit) const {
        for (Counter const& counter : counters_) {
            if (counter.count > 0)
                visit(counter.vertex);
        }
    }

private:
    struct Counter {
        int vertex = -1;
        int count = 0;
    };
    std::array<Counter, 6> counters_;
};

}  // namespace

VoxelHubs::VoxelHubs(OctreeTris const& tris, int const* triangles) {
    int const numVoxels = tris.getData().getNumSets();
    for (int voxel = 0; voxel < numVoxels; ++voxel) {
        if (tris.numTris(voxel) >= crowd)
            addVoxel(voxel, tris.firstTri(voxel), tris.numTris(voxel), triangles);
    }
}

void VoxelHubs::addVoxel(int voxel, int const* members, int numMembers, int const* triangles) {
    FrequentVertices frequent;
    for (int i = 0; i < numMembers; ++i) {
        int const* const corners = cornersOf(triangles, members[i]);
        for (int k = 0; k < 3; ++k)
            frequent.add(corners[k]);
    }
    Hub hub{-1, {}};
    std::ptrdiff_t most = numMembers / 2;
    frequent.forEach([&](int vertex) {
        std::ptrdiff_t const count =
            std::count_if(members, members + numMembers, [&](int triangle) {
                return holds(cornersOf(triangles, triangle), vertex);
            });
        if (count > most) {
            most = count;
            hub.vertex = vertex;
        }
    });
    if (hub.vertex < 0)
        return;
    std::copy_if(members, members + numMembers, std::back_inserter(hub.others),
                 [&](int triangle) { return !holds(cornersOf(triangles, triangle), hub.vertex); });
    hubs_.emplace(voxel, std::move(hub));
}

}  // namespace koGeom
