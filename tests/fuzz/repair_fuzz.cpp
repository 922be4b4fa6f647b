// A lattice mesh through repairAll, with every choice of tests: it ends, what it calls repaired is clean by a count of its own,
// and a second repair finds nothing to do.

#include "fuzzMesh.h"
#include "support/builders.h"
#include "support/oracles.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/MeshCharacteristics.h"
#include "trimora/repair/MeshRepair.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <set>

using namespace koGeom;

namespace {

struct Choice {
    bool intersections;
    bool angles;
    double minAngle;

    void applyTo(MeshRepair& repair) const {
        repair.checkSelfIntersection(intersections);
        repair.checkGoodAngles(angles);
        repair.setMinGoodAngle(minAngle);
    }
};

bool passesTests(CompactMesh const& mesh, Choice const& choice) {
    MeshCharacteristics tests(mesh);
    return tests.checkGoodTriangles() && tests.checkManifold() && tests.checkOriented() &&
           (!choice.intersections || tests.checkNonIntersecting()) &&
           (!choice.angles || tests.checkGoodAngles(choice.minAngle));
}

bool samePosition(CompactMesh const& mesh, int a, int b) {
    MeshVertex const& p = mesh.getVertices()[a];
    MeshVertex const& q = mesh.getVertices()[b];
    return p.x == q.x && p.y == q.y && p.z == q.z;
}

void requireGoodTriangles(CompactMesh const& mesh) {
    std::set<std::array<int, 3>> seen;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        std::array<int, 3> sorted = {corners[0], corners[1], corners[2]};
        std::sort(sorted.begin(), sorted.end());
        fuzz::require(seen.insert(sorted).second, "a duplicate triangle is left");
        for (int k = 0; k < 3; ++k)
            fuzz::require(corners[k] != corners[(k + 1) % 3] &&
                              !samePosition(mesh, corners[k], corners[(k + 1) % 3]),
                          "a degenerate triangle is left");
    }
}

/// Each edge has one triangle, or two that run it in opposite directions.
void requireOrientedEdges(CompactMesh const& mesh) {
    std::set<std::array<int, 2>> directed;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k)
            fuzz::require(directed.insert({corners[k], corners[(k + 1) % 3]}).second,
                          "an edge is run twice the same way");
    }
    for (auto const& [edge, triangles] : support::edgeTable(mesh))
        fuzz::require(triangles.size() <= 2, "a non-manifold edge is left");
}

/// The triangles around each vertex hang together through edges at it.
void requireSingleFans(CompactMesh const& mesh) {
    std::map<int, std::map<int, std::set<int>>>
        links;  // vertex, corner beside it, corners beside that
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        MeshTriangle const& corners = mesh.getTriangles()[t];
        for (int k = 0; k < 3; ++k) {
            int const a = corners[(k + 1) % 3], b = corners[(k + 2) % 3];
            links[corners[k]][a].insert(b);
            links[corners[k]][b].insert(a);
        }
    }
    for (auto& [vertex, ring] : links) {
        std::set<int> reached = {ring.begin()->first};
        std::vector<int> open = {ring.begin()->first};
        while (!open.empty()) {
            int const corner = open.back();
            open.pop_back();
            for (int const other : ring[corner])
                if (reached.insert(other).second)
                    open.push_back(other);
        }
        fuzz::require(reached.size() == ring.size(), "a non-manifold vertex is left");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    double const angles[] = {1.5707963267948966, 0.0, 15.0, 90.0};
    Choice const choice = {(flags & 1) != 0, (flags & 2) != 0, angles[flags >> 2 & 3]};
    CompactMesh mesh = fuzz::latticeMesh(bytes, (flags & 16) != 0);
    if ((flags & 32) != 0) {
        koUtil::Progress progress;
        meshCompact(mesh, progress);
        fuzz::requireValid(mesh);
    }

    std::vector<int> const before = support::trianglesOf(mesh);
    MeshRepair repair(mesh);
    choice.applyTo(repair);
    bool fullyRepaired = false;
    bool const changed = repair.repairAll(&fullyRepaired);
    fuzz::requireValid(mesh);
    fuzz::require(changed || support::trianglesOf(mesh) == before, "changed without saying so");
    fuzz::require(fullyRepaired == passesTests(mesh, choice), "fullyRepaired is wrong");
    fuzz::require(!repair.canRepair() && !repair.repairAll(nullptr), "it goes on after its end");
    if (!fullyRepaired)
        return 0;

    requireGoodTriangles(mesh);
    requireOrientedEdges(mesh);
    requireSingleFans(mesh);
    std::vector<int> const triangles = support::trianglesOf(mesh);
    MeshRepair again(mesh);
    choice.applyTo(again);
    fuzz::require(!again.repairAll(&fullyRepaired) && fullyRepaired &&
                      support::trianglesOf(mesh) == triangles,
                  "a second repair finds something to do");
    return 0;
}
