// A lattice mesh through repairAll, with every choice of tests: it ends, what it calls repaired is clean by a count of its own,
// and a second repair finds nothing to do.

#include "fuzzMesh.h"
#include "support/builders.h"
#include "support/surfaceOracle.h"

#include "trimora/assembly/meshCompact.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/repair/MeshCharacteristics.h"
#include "trimora/repair/MeshRepair.h"

#include <string>
#include <vector>

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

    std::string const fault = support::surfaceFaults(mesh).inWords();
    fuzz::require(fault.empty(), fault.c_str());
    std::vector<int> const triangles = support::trianglesOf(mesh);
    MeshRepair again(mesh);
    choice.applyTo(again);
    fuzz::require(!again.repairAll(&fullyRepaired) && fullyRepaired &&
                      support::trianglesOf(mesh) == triangles,
                  "a second repair finds something to do");
    return 0;
}
