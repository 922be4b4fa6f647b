#include "trimora/assembly/polygonalPartition.h"

#include "trimora/assembly/meshVertSubsetMembership.h"
#include "trimora/connectivity/MeshTriAdjTris.h"
#include "trimora/contract/koGeom/ArrayOfSets.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Remap.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <utility>

// First the triangles of each polygon are brought together, list by list; a place kept for each triangle finds it in its list.
// Then, if anything was moved, each list falls into the parts that hang together.

namespace koGeom {

namespace {

using SubsetList = ko::list<ko::Reference<MeshSubset>>;

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

/// The indices that are sent to each number below rangeSize, ascending.
ArrayOfSets invertRemap(Remap const& remap, int rangeSize) {
    ko::vector<int> pairs;
    pairs.reserve(2 * at(remap.getDomainSize()));
    for (int i = 0; i < remap.getDomainSize(); ++i) {
        pairs.push_back(remap(i));
        pairs.push_back(i);
    }
    ArrayOfSets sets;
    sets.assignFromPairs(rangeSize, remap.getDomainSize(), pairs.data());
    return sets;
}

/// The triangles of each subset, which can move to another one. A triangle moves once at most, so only those that have not moved
/// need a place: that of the first mention in the list of the subset that counts for them.
class TriangleLists {
public:
    TriangleLists(CompactMesh const& mesh, SubsetList const& subsets);

    int subsetOf(int triangle) const { return subsetOf_(triangle); }
    void move(int triangle, int keeper);
    ko::vector<ko::vector<int>> const& lists() const { return lists_; }

private:
    Remap subsetOf_;
    ko::vector<ko::vector<int>> lists_;
    ko::vector<int> places_;
};

TriangleLists::TriangleLists(CompactMesh const& mesh, SubsetList const& subsets)
    : lists_(subsets.size()), places_(at(mesh.getNumTriangles()), -1) {
    meshTriSubsetMembership(mesh, subsets, subsetOf_);
    int position = 0;
    for (ko::Reference<MeshSubset> const& subset : subsets) {
        if (subset)
            lists_[at(position)].assign(subset->triangles,
                                        subset->triangles + subset->numTriangles);
        for (int k = 0; subset && k < subset->numTriangles; ++k) {
            int const triangle = subset->triangles[k];
            if (subsetOf(triangle) == position && places_[at(triangle)] < 0)
                places_[at(triangle)] = k;
        }
        ++position;
    }
}

void TriangleLists::move(int triangle, int keeper) {
    int const from = subsetOf(triangle);
    ko::vector<int>& list = lists_[at(from)];
    int const place = places_[at(triangle)];
    int const last = list.back();
    list[at(place)] = last;
    list.pop_back();
    if (subsetOf(last) == from)
        places_[at(last)] = std::min(places_[at(last)], place);
    lists_[at(keeper)].push_back(triangle);
}

/// Moves all triangles of a polygon to the first of its subsets; false when they are in one, or in none.
bool bringTogether(int const* triangles, int numTriangles, TriangleLists& lists) {
    ko::vector<std::pair<int, int>> found;  // subset, triangle
    for (int k = 0; k < numTriangles; ++k) {
        int const subset = lists.subsetOf(triangles[k]);
        if (subset >= 0)
            found.emplace_back(subset, triangles[k]);
    }
    std::sort(found.begin(), found.end());
    if (found.empty() || found.front().first == found.back().first)
        return false;
    int const keeper = found.front().first;
    for (auto const& [subset, triangle] : found)
        if (subset != keeper)
            lists.move(triangle, keeper);
    return true;
}

/// Splits lists of triangles into the parts that hang together. What is marked with a list's number needs no clearing for the next.
class PartWalk {
public:
    PartWalk(CompactMesh const& mesh, MeshTriAdjTris const& adjacent)
        : triangles_(mesh.getTriangles()),
          adjacent_(adjacent),
          listOf_(at(mesh.getNumTriangles()), -1),
          visitedIn_(at(mesh.getNumTriangles()), -1),
          partOf_(at(mesh.getNumVertices()), -1) {}

    void append(ko::vector<int> const& list, int number, SubsetList& parts);

private:
    ko::vector<int> walk(int first, int number);
    ko::Reference<MeshSubset> subsetOf(ko::vector<int> const& part);

    MeshTriangle const* triangles_;
    MeshTriAdjTris const& adjacent_;
    ko::vector<int> listOf_;     // the last list that held the triangle
    ko::vector<int> visitedIn_;  // the last list whose walk came to it
    ko::vector<int> partOf_;     // the last part that used the vertex
    int numParts_ = 0;
};

void PartWalk::append(ko::vector<int> const& list, int number, SubsetList& parts) {
    for (int const triangle : list)
        listOf_[at(triangle)] = number;
    for (int const first : list)
        if (visitedIn_[at(first)] != number)
            parts.push_back(subsetOf(walk(first, number)));
}

/// The part is its own queue: what is marked as it is entered comes out in that order.
ko::vector<int> PartWalk::walk(int first, int number) {
    ko::vector<int> part{first};
    visitedIn_[at(first)] = number;
    for (std::size_t head = 0; head < part.size(); ++head) {
        int const triangle = part[head];
        int const* const neighbours = adjacent_.triIndices(triangle);
        for (int k = 0; k < adjacent_.numTris(triangle); ++k) {
            std::size_t const neighbour = at(neighbours[k]);
            if (visitedIn_[neighbour] == number || listOf_[neighbour] != number)
                continue;
            visitedIn_[neighbour] = number;
            part.push_back(neighbours[k]);
        }
    }
    return part;
}

ko::Reference<MeshSubset> PartWalk::subsetOf(ko::vector<int> const& part) {
    ko::vector<int> vertices;
    for (int const triangle : part) {
        for (int const v : triangles_[triangle].vertices) {
            if (partOf_[at(v)] != numParts_)
                vertices.push_back(v);
            partOf_[at(v)] = numParts_;
        }
    }
    ++numParts_;
    std::sort(vertices.begin(), vertices.end());
    return new MeshSubset(static_cast<int>(vertices.size()), vertices.data(),
                          static_cast<int>(part.size()), part.data());
}

}  // namespace

SubsetList polygonalPartition(CompactMesh const& mesh, Remap const& trianglePolygons,
                              MeshTriAdjTris const& adjacent, SubsetList const& subsets) {
    assert(detail::isTableOf(adjacent, mesh) && detail::areSubsetsOf(subsets, mesh));
    TriangleLists lists(mesh, subsets);
    ArrayOfSets const polygons = invertRemap(trianglePolygons, mesh.getNumPolys());
    bool isChanged = false;
    for (int p = 0; p < polygons.getNumSets(); ++p)
        isChanged = bringTogether(polygons.getSet(p), polygons.getSetSize(p), lists) || isChanged;
    if (!isChanged)
        return subsets;

    SubsetList parts;
    PartWalk walk(mesh, adjacent);
    int number = 0;
    for (ko::vector<int> const& list : lists.lists())
        walk.append(list, number++, parts);
    return parts;
}

}  // namespace koGeom
