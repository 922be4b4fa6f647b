#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koUtil/ThreadPool.h"

#include <functional>
#include <string>
#include <vector>

/// Shared checkers: each is independent of the code it checks.
namespace support {

/// Empty when every triangle, line, strip and polygon index lies in range and the arrays agree with the counts; else
/// the first fault in words.
std::string faultOf(koGeom::CompactMesh const& mesh);

/// Empty when the half-edge mesh is consistent (links, twins, rings, vertex edges, boundary walks, counts, lists);
/// else the first fault in words. Walks links only, calls no query of the mesh but its heads.
std::string faultOf(koGeom::TopoMesh const& mesh);

/// Counts the modification signals of one mesh while it lives.
class ModificationCounter {
public:
    explicit ModificationCounter(koGeom::PointMesh& mesh);
    ~ModificationCounter();
    ModificationCounter(ModificationCounter const&) = delete;
    ModificationCounter& operator=(ModificationCounter const&) = delete;

    int total() const { return static_cast<int>(types_.size()); }
    /// Type of the i-th modification received.
    koGeom::MeshModification::Type type(int i) const {
        return types_.at(static_cast<std::size_t>(i));
    }

private:
    void received(koGeom::EntityModification& modification);

    koGeom::PointMesh& mesh_;
    koRTB::Connection* connection_ = nullptr;
    std::vector<koGeom::MeshModification::Type> types_;
};

/// Collects the lines of the debug channel while it lives.
class DebugCapture {
public:
    DebugCapture();
    ~DebugCapture();
    std::string const& text() const { return text_; }

private:
    std::string text_;
};

/// Runs `body` with shared pools of 1, 2, 3 and 7 threads, the count as its argument; the default pool is back afterwards.
void withPools(std::function<void(int numThreads)> const& body);

}  // namespace support
