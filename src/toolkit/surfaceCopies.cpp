// Triangles with the same corners once welded make a group. A part is a copy when each of its triangles has another one in its
// group that is of an original; parts are asked from the last to the first, so that the first stays.

#include "toolkit/detail/surfaceCopies.h"

#include "trimora/connectivity/meshComponents.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace trimora {

namespace {

using koGeom::CompactMesh;

std::size_t at(int i) {
    return static_cast<std::size_t>(i);
}

class CopySearch {
public:
    CopySearch(CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris,
               koGeom::Remap const& weld)
        : mesh_(mesh), adjTris_(adjTris) {
        group(weld);
    }

    SurfaceCopies run();

private:
    void group(koGeom::Remap const& weld);
    void gatherParts();
    bool isCopy(std::vector<int> const& part);

    CompactMesh const& mesh_;
    koGeom::MeshAdjTris const& adjTris_;
    std::vector<int> groupOf_;  // of each triangle
    std::vector<int> sizes_;    // of the groups: triangles that are left
    std::vector<std::vector<int>> parts_;
};

void CopySearch::group(koGeom::Remap const& weld) {
    std::vector<std::array<int, 4>> keys;  // welded corners, and the triangle
    keys.reserve(at(mesh_.getNumTriangles()));
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        koGeom::MeshTriangle const& c = mesh_.getTriangles()[t];
        std::array<int, 4> key = {weld(c[0]), weld(c[1]), weld(c[2]), t};
        std::sort(key.begin(), key.begin() + 3);
        keys.push_back(key);
    }
    std::sort(keys.begin(), keys.end());
    groupOf_.resize(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (i == 0 || !std::equal(keys[i].begin(), keys[i].begin() + 3, keys[i - 1].begin()))
            sizes_.push_back(0);
        ++sizes_.back();
        groupOf_[at(keys[i][3])] = static_cast<int>(sizes_.size()) - 1;
    }
}

SurfaceCopies CopySearch::run() {
    SurfaceCopies copies;
    if (sizes_.size() == groupOf_.size())
        return copies;
    gatherParts();
    for (auto part = parts_.rbegin(); part != parts_.rend(); ++part)
        if (isCopy(*part)) {
            for (int const t : *part)
                --sizes_[at(groupOf_[at(t)])];
            copies.ofParts.insert(copies.ofParts.end(), part->begin(), part->end());
        }
    std::sort(copies.ofParts.begin(), copies.ofParts.end());
    std::vector<char> isMet(sizes_.size(), 0);
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        if (std::binary_search(copies.ofParts.begin(), copies.ofParts.end(), t))
            continue;
        char& wasMet = isMet[at(groupOf_[at(t)])];
        if (wasMet != 0)
            copies.touching.push_back(t);
        wasMet = 1;
    }
    return copies;
}

void CopySearch::gatherParts() {
    koGeom::Array<int> componentOf;
    parts_.resize(at(koGeom::meshComponents(mesh_, adjTris_, &componentOf)));
    for (int t = 0; t < mesh_.getNumTriangles(); ++t)
        parts_[at(componentOf[mesh_.getTriangles()[t][0]])].push_back(t);
}

/// Whether triangles of other parts are left in the groups of all of its own.
bool CopySearch::isCopy(std::vector<int> const& part) {
    if (std::any_of(part.begin(), part.end(),
                    [this](int t) { return sizes_[at(groupOf_[at(t)])] < 2; }))
        return false;
    std::vector<int> groups;
    for (int const t : part)
        groups.push_back(groupOf_[at(t)]);
    std::sort(groups.begin(), groups.end());
    for (auto group = groups.begin(); group != groups.end();) {
        auto const end = std::upper_bound(group, groups.end(), *group);
        if (sizes_[at(*group)] <= end - group)
            return false;
        group = end;
    }
    return true;
}

}  // namespace

SurfaceCopies findSurfaceCopies(CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris,
                                koGeom::Remap const& weld) {
    return CopySearch(mesh, adjTris, weld).run();
}

}  // namespace trimora
