// A lattice mesh with all its holes filled, by the toolkit or by the library alone: what was there stays but for fins, what
// is told adds up, and what could not be filled leaves no trace.

#include "fuzzMesh.h"
#include "support/builders.h"
#include "support/oracles.h"
#include "toolkit/meshHoleFilling.h"

#include "trimora/connectivity/MeshBoundaries.h"
#include "trimora/connectivity/SimpleMeshCache.h"

#include <algorithm>
#include <iterator>
#include <vector>

using koGeom::CompactMesh;

namespace {

/// Triangles, by position, that one mesh has and the other has not.
std::ptrdiff_t numMissing(CompactMesh const& before, CompactMesh const& after) {
    auto const first = support::positionTriples(before);
    auto const second = support::positionTriples(after);
    std::vector<decltype(support::positionTriples(before))::value_type> missing;
    std::set_difference(first.begin(), first.end(), second.begin(), second.end(),
                        std::back_inserter(missing));
    return static_cast<std::ptrdiff_t>(missing.size());
}

void fillByToolkit(CompactMesh& mesh, koGeom::HoleQuality quality, bool isHard) {
    CompactMesh const before = mesh;
    trimora::FillOptions options;
    options.quality = quality;
    options.maxTriangles = 3000;
    koUtil::Progress progress;
    auto const holes = trimora::findHoles(mesh, progress).holes;
    auto const chosen = trimora::chooseHoles(holes, {trimora::HoleChoice::Kind::All, {}, 0.0});
    auto const outcome = trimora::fillHoles(mesh, holes, chosen, options, progress);
    fuzz::requireValid(mesh);
    int triangles = 0;
    int vertices = 0;
    int fins = 0;
    for (trimora::FilledHole const& hole : outcome.holes) {
        triangles += hole.trianglesAdded;
        vertices += hole.verticesAdded;
        fins += hole.finsRemoved;
        fuzz::require(hole.words.empty() == (hole.fate == trimora::HoleFate::Filled),
                      "a refusal without words");
    }
    fuzz::require(before.getNumTriangles() + triangles == mesh.getNumTriangles() &&
                      before.getNumVertices() + vertices == mesh.getNumVertices(),
                  "what is told does not add up");
    if (outcome.count(trimora::HoleFate::Filled) == 0)
        fuzz::require(fuzz::isSame(mesh, before), "changed without a hole filled");
    else if (!isHard)  // NaN is in no set
        fuzz::require(numMissing(before, mesh) <= fins, "triangles are gone");
}

void fillByLibrary(CompactMesh& mesh, koGeom::HoleQuality quality) {
    CompactMesh const before = mesh;
    koGeom::SimpleMeshCache cache;
    auto const boundaries = cache.getBoundaries(mesh);
    ko::list<int> holes;
    for (int i = 0; i < boundaries->size(); ++i)
        holes.push_back(i);
    koUtil::Progress progress;
    int const numFilled =
        koGeom::meshHoleFill(mesh, *cache.getAdjTris(mesh), *cache.getAdjVertices(mesh),
                             *boundaries, holes, quality, progress);
    fuzz::requireValid(mesh);
    fuzz::require(numFilled >= 0 && numFilled <= boundaries->size(), "a count out of range");
    fuzz::require(numFilled > 0 || fuzz::isSame(mesh, before), "changed without a hole filled");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    int const flags = bytes.next();
    auto const quality = static_cast<koGeom::HoleQuality>(flags % 3);
    bool const isHard = (flags & 64) != 0;
    CompactMesh mesh = fuzz::latticeMesh(bytes, isHard);
    if ((flags & 128) != 0 && !isHard)
        fillByLibrary(mesh, quality);
    else
        fillByToolkit(mesh, quality, isHard);
    return 0;
}
