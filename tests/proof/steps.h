#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace proof {

/// What a pipeline hands from step to step.
struct State {
    koGeom::CompactMesh mesh;
    koGeom::CompactMesh original;  ///< the mesh before the first step
    std::string folder;            ///< for files, there for this run alone
    koUtil::Progress progress;     ///< nobody cancels
};

/// A rule that does not hold: the run ends.
struct Broken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline void require(bool holds, std::string const& rule) {
    if (!holds)
        throw Broken(rule);
}

enum class Effect {
    Reports,     ///< leaves the mesh as it is, and sends nothing
    Edits,       ///< sends one notice if anything changed, else none
    EditsOften,  ///< sends one or more if anything changed
    Replaces     ///< puts another mesh in its place
};

/// One operation, as a caller of the toolkit would ask for it, and the rules of its own that its result is held to.
struct Step {
    std::string_view name;
    Effect effect;
    /// Calls functions of the core, which trust their caller: passed over for meshes with indices out of range.
    bool trusts;
    /// Returns why it was refused, or nothing; throws Broken.
    std::string (*run)(State& state);
};

std::span<Step const> steps();
Step const& findStep(std::string_view name);

/// Runs a step under the rules that hold for all: a refusal has words and leaves no trace, indices stay in range and sets in step, no new
/// NaN comes up, notices are sent as promised.
///
/// returns   why it was refused, or nothing; throws Broken
std::string runStep(Step const& step, State& state);

/// The 64-bit FNV hash of positions and triangles; all NaN are one.
std::uint64_t hashOf(koGeom::CompactMesh const& mesh);

}  // namespace proof
