#pragma once

#include "outOfMemory.h"
#include "support/builders.h"
#include "support/checks.h"
#include "toolkit/meshInvariants.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <doctest/doctest.h>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Tables of calls of the core, for tests of what becomes of them when memory runs out.
namespace coreCalls {

using koGeom::CompactMesh;

/// An entry point with a mesh on which it has something to do.
struct MeshCall {
    std::string name;
    std::function<CompactMesh()> sample;
    std::function<void(CompactMesh&)> run;
};

inline CompactMesh ball() {
    return support::sphere(1);
}
inline CompactMesh holedBall() {
    return support::holed(support::sphere(1), 0.85, 2);
}
inline CompactMesh twoBalls() {
    return support::joined(ball(), ball(), 0.7f);
}
inline CompactMesh field() {
    return support::grid(3, 3);
}
inline CompactMesh bowTies() {
    return support::joined(support::bowTie(), support::threeOnAnEdge(), 5.0f);
}
inline CompactMesh twoStrips() {
    CompactMesh const strip = support::grid(5, 1);
    return support::joined(strip, strip, 0.0f, 1.05f, 0.0f);
}

/// Selects the first triangles and as many vertices.
inline void select(CompactMesh& mesh, int count) {
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    mesh.getSelectedTriangles().resize(mesh.getNumTriangles());
    for (int i = 0; i < count; ++i) {
        mesh.getSelectedTriangles().setBit(i);
        mesh.getSelectedVertices().setBit(i);
    }
}

/// Each allocation of each call fails; the mesh has to be valid, and the same where the calls only look at it.
inline void tryMeshes(std::vector<MeshCall> const& calls, bool areEdits) {
    outOfMemory::OneThread const oneThread;
    exhaustion::Tally tally("calls", "allocations");
    for (MeshCall const& call : calls) {
        CAPTURE(call.name);
        CompactMesh const sample = call.sample();
        outOfMemory::failEverywhere(tally, [&] {
            auto const mesh = std::make_shared<CompactMesh>(sample);
            return outOfMemory::Trial{[mesh, &call] { call.run(*mesh); },
                                      [mesh, &sample, areEdits](bool) {
                                          CHECK(support::faultOf(*mesh) == "");
                                          CHECK(trimora::faultOfMesh(*mesh).text == "");
                                          if (!areEdits)
                                              CHECK(support::trianglesOf(*mesh) ==
                                                    support::trianglesOf(sample));
                                      }};
        });
    }
}

}  // namespace coreCalls
