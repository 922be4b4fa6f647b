#include "trimora/reduce/detail/NeighbourLists.h"

#include "trimora/contract/koOS/largePages.h"

#include <algorithm>
#include <utility>

namespace koGeom {

NeighbourLists::NeighbourLists(TopoMeshTriangles const& links) : links_(links) {
    koOS::resizeInLargePages(lists_, links.numVertices());
    for (Index face = 0; face < links.numHalfEdges() / 4; ++face) {
        for (Index h = 4 * face; h < 4 * face + 3; ++h) {
            append(lists_[links.origin(h)], links.end(h));
            if (links.opposite(h) == TopoMeshTriangles::none)
                append(lists_[links.end(h)], links.origin(h));
        }
    }
    isSimple_ = findSimple();
}

bool NeighbourLists::findSimple() const {
    std::vector<Index> sorted;
    for (Index v = 0; v < lists_.size(); ++v) {
        sorted.clear();
        forEach(v, [&sorted](Index neighbour) { sorted.push_back(neighbour); });
        std::sort(sorted.begin(), sorted.end());
        if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
            return false;
    }
    return true;
}

bool NeighbourLists::areJoined(Index a, Index b) const {
    if (size(a) > size(b))
        std::swap(a, b);
    bool found = false;
    forEach(a, [&found, b](Index neighbour) { found |= neighbour == b; });
    return found;
}

void NeighbourLists::append(List& list, Index vertex) {
    list.isCrowded |= list.count == maxListed;
    if (!list.isCrowded)
        list.items[list.count] = vertex;
    ++list.count;
}

/// Removes one of the items that are this vertex.
void NeighbourLists::remove(List& list, Index vertex) {
    --list.count;
    if (!list.isCrowded)
        *std::find(list.items, list.items + list.count, vertex) = list.items[list.count];
}

void NeighbourLists::join(Index kept, Index gone) {
    remove(lists_[kept], gone);
    forEach(gone, [&](Index neighbour) {
        if (neighbour == kept)
            return;
        append(lists_[kept], neighbour);
        List& list = lists_[neighbour];
        if (!list.isCrowded)
            *std::find(list.items, list.items + list.count - 1, gone) = kept;
    });
    lists_[gone].count = 0;
}

void NeighbourLists::separate(Index a, Index b) {
    remove(lists_[a], b);
    remove(lists_[b], a);
}

}  // namespace koGeom
