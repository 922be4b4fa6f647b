// What holds for every step, whatever it does.

#include "steps.h"
#include "support/checks.h"
#include "support/topoBuilders.h"
#include "toolkit/meshInvariants.h"

#include "trimora/contract/koGeom/TopoMesh.h"

#include <cmath>
#include <cstring>

namespace proof {

using koGeom::CompactMesh;

namespace {

/// Half-edges are made and walked for meshes up to this size.
constexpr int mostTrianglesAsHalfEdges = 20'000;

bool isSameBitForBit(CompactMesh const& a, CompactMesh const& b) {
    auto const areSame = [](void const* first, void const* second, std::size_t numBytes) {
        return numBytes == 0 || std::memcmp(first, second, numBytes) == 0;
    };
    auto const bytes = [](int count) { return 12 * static_cast<std::size_t>(count); };
    return a.getNumVertices() == b.getNumVertices() && a.getNumTriangles() == b.getNumTriangles() &&
           areSame(a.getVerticesRaw(), b.getVerticesRaw(), bytes(a.getNumVertices())) &&
           areSame(a.getTrianglesRaw(), b.getTrianglesRaw(), bytes(a.getNumTriangles()));
}

/// Of a mesh with a fault of its own, which nothing may take: only a refusal will do.
std::string runOnFaulty(Step const& step, State& state, std::string const& fault) {
    if (step.trusts)
        return "left out: " + fault;
    CompactMesh const before = state.mesh;
    std::string refusal;
    try {
        refusal = step.run(state);
    } catch (std::invalid_argument const& refused) {  // of functions without an outcome
        refusal = refused.what();
    }
    require(!refusal.empty(), "took a mesh in which " + fault);
    require(isSameBitForBit(before, state.mesh), "a refusal changed the mesh");
    return refusal;
}

/// What an independent walk over the half-edges says, which looks at all that the checks of the tests know.
std::string halfEdgeFault(CompactMesh const& mesh) {
    if (mesh.getNumTriangles() == 0 || mesh.getNumTriangles() > mostTrianglesAsHalfEdges)
        return {};
    koGeom::TopoMesh topoMesh;
    support::fill(topoMesh, mesh);
    return support::faultOf(topoMesh);
}

std::string faultAfterStep(Step const& step, trimora::MeshState const& before, State const& state,
                           int notices) {
    std::string fault = support::faultOf(state.mesh);
    if (!fault.empty())
        return fault;
    trimora::Expectation expected;
    bool const isEdit = step.effect == Effect::Edits || step.effect == Effect::EditsOften;
    expected.severalNotices = step.effect == Effect::EditsOften;
    if (isEdit)
        expected.notices = notices;
    auto const violation = trimora::checkInvariants(before, state.mesh, expected);
    return violation ? violation.text : halfEdgeFault(state.mesh);
}

}  // namespace

std::string runStep(Step const& step, State& state) {
    if (std::string const fault = support::faultOf(state.mesh); !fault.empty())
        return runOnFaulty(step, state, fault);
    auto const depth = trimora::depthFor(state.mesh);
    trimora::MeshState const before = trimora::stateOf(state.mesh, depth);
    trimora::NoticeRecorder notices(state.mesh);
    std::string const refusal = step.run(state);
    std::string const fault = faultAfterStep(step, before, state, notices.count());
    require(fault.empty(), fault);
    if (!refusal.empty() || step.effect == Effect::Reports) {
        require(trimora::stateOf(state.mesh, depth).isSameAs(before),
                "a mesh that was to stay has changed" +
                    (refusal.empty() ? "" : ", though refused: " + refusal));
        require(notices.count() == 0, "a notice was sent of a mesh that stayed");
    }
    return refusal;
}

std::uint64_t hashOf(CompactMesh const& mesh) {
    std::uint64_t hash = 0xcbf29ce484222325u;
    auto const add = [&hash](std::uint32_t word) {
        for (int i = 0; i < 4; ++i) {
            hash = (hash ^ (word & 0xff)) * 0x100000001b3u;
            word >>= 8;
        }
    };
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i) {
        float const value = mesh.getVerticesRaw()[i];
        std::uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        add(std::isnan(value) ? 0x7fc00000u : bits);
    }
    for (int i = 0; i < 3 * mesh.getNumTriangles(); ++i)
        add(static_cast<std::uint32_t>(mesh.getTrianglesRaw()[i]));
    return hash;
}

}  // namespace proof
