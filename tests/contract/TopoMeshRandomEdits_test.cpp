#include "support/builders.h"
#include "support/topoEdits.h"

#include <cstdlib>
#include <doctest/doctest.h>
#include <functional>
#include <string>
#include <vector>

// Long sequences of edits, each drawn at random: valid ones must do what they promise, invalid ones nothing, and the
// mesh must be sound after every step. A sequence that fails is shortened to the steps that matter and printed as a
// literal, ready to become a case of TopoMeshEdits_test.cpp.

using namespace topoEdits;

namespace {

std::vector<Step> drawSteps(std::uint64_t seed, int count) {
    support::Random random(seed);
    std::vector<Step> steps;
    for (int i = 0; i < count; ++i) {
        auto const draw = [&random] { return static_cast<unsigned>(random.index(1 << 20)); };
        steps.push_back({static_cast<Kind>(random.index(NumKinds)), draw(), draw(), draw()});
    }
    return steps;
}

/// Leaves out steps, in ever shorter stretches, for as long as the rest still fails.
std::vector<Step> shrunk(std::function<void(koGeom::TopoMesh&)> const& filler,
                         std::vector<Step> steps) {
    for (std::size_t length = steps.size() / 2; length >= 1; length /= 2) {
        for (std::size_t at = 0; at + length <= steps.size();) {
            std::vector<Step> fewer = steps;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(at),
                        fewer.begin() + static_cast<std::ptrdiff_t>(at + length));
            if (runSteps(filler, fewer).empty())
                at += length;
            else
                steps = fewer;
        }
    }
    return steps;
}

std::string literalOf(std::vector<Step> const& steps) {
    std::string text;
    for (Step const& s : steps)
        text += std::string("{") + kindNames[s.kind] + ", " + std::to_string(s.a) + ", " +
                std::to_string(s.b) + ", " + std::to_string(s.c) + "}, ";
    return text;
}

int numSeeds() {
    char const* const asked = std::getenv("TRIMORA_SEEDS");
    return asked != nullptr ? std::atoi(asked) : 3;
}

}  // namespace

TEST_CASE("staysSoundUnderLongSequencesOfRandomEdits") {
    std::vector<int> done(NumKinds);
    for (Start const& start : starts()) {
        for (int seed = 1; seed <= numSeeds(); ++seed) {
            std::vector<Step> const steps = drawSteps(static_cast<std::uint64_t>(seed), 250);
            std::string const fault = runSteps(start.fill, steps, &done);
            if (fault.empty())
                continue;
            std::vector<Step> const few = shrunk(start.fill, steps);
            FAIL(start.name << ", seed " << seed << ": " << fault << "; shrunk to "
                            << literalOf(few) << " with " << runSteps(start.fill, few));
        }
    }
    // The draw must reach the inside of every operation, not only its guards.
    for (int kind = 0; kind < NumKinds; ++kind) {
        INFO(kindNames[kind]);
        CHECK(done[static_cast<std::size_t>(kind)] >= 10);
    }
}
