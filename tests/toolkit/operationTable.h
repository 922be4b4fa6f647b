#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// All operations of the toolkit behind one signature, for tests of what they have in common.
namespace operations {

struct Result {
    std::string refusal;  ///< the sentence, of an outcome or of std::invalid_argument
    std::optional<std::array<double, 3>> place;
    bool cancelled = false;
    bool tellsPlaces = false;  ///< the outcome has a field for the place of a refusal
    bool isThrown = false;     ///< refused by std::invalid_argument
};

/// An operation with all that it needs but the mesh.
using Run = std::function<Result(koGeom::CompactMesh& mesh, koUtil::Progress& progress)>;

struct Operation {
    std::string name;
    bool edits;  ///< the mesh itself; else it gets a const one
    /// What stays of the mesh when it is cancelled: nothing is changed, or any state is left that is valid.
    bool isWholeOrNothing;
    std::function<koGeom::CompactMesh()> sample;  ///< a small mesh on which it has something to do
    /// Finds in a sound mesh what goes with it: holes, curves, selections.
    std::function<Run(koGeom::CompactMesh const& sound)> prepare;
    /// A run takes a quarter of a second whatever the mesh: tests of each question and so on try few of them.
    bool isSlow = false;
};

/// The table, in a fixed order.
std::vector<Operation> const& all();

/// Runs; std::invalid_argument becomes a refusal.
Result outcomeOf(Run const& run, koGeom::CompactMesh& mesh, koUtil::Progress& progress);

}  // namespace operations
