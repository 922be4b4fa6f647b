// Edits of a half-edge mesh, chosen by bytes: after each one the independent checker of the tests goes over the whole mesh.

#include "fuzzMesh.h"
#include "support/topoEdits.h"

namespace {

constexpr std::size_t maxSteps = 60;

std::vector<topoEdits::Step> stepsFrom(fuzz::Bytes& bytes) {
    std::vector<topoEdits::Step> steps;
    while (bytes.left() > 0 && steps.size() < maxSteps) {
        auto const kind = static_cast<topoEdits::Kind>(bytes.index(topoEdits::NumKinds));
        auto const draw = [&bytes] { return static_cast<unsigned>(bytes.next16()); };
        unsigned const a = draw(), b = draw();
        steps.push_back({kind, a, b, draw()});
    }
    return steps;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::vector<topoEdits::Start> const starts = topoEdits::starts();
    fuzz::Bytes bytes(data, size);
    topoEdits::Start const& start =
        starts[static_cast<std::size_t>(bytes.index(static_cast<int>(starts.size())))];
    std::string const fault = topoEdits::runSteps(start.fill, stepsFrom(bytes));
    fuzz::require(fault.empty(), (start.name + ": " + fault).c_str());
    return 0;
}
