#pragma once

#include "files.h"

#include <string>

namespace app {

struct CarriedMesh {
    LoadedMesh loaded;
    bool isOfStage = false;         ///< left by one, not read from a file
    trimora::WriteOptions writing;  ///< as the stage that left it would write it
};

/// The mesh on its way through a pipe of tasks. While a stage is at work, loadMesh and storeMesh take the mesh from here and
/// leave it here instead of in files, and what the stage prints is kept. One at a time in the process, as the session is.
class HandOver {
public:
    enum class Purpose {
        Probe,   ///< only what comes before the reading: taking the mesh throws Probed
        Report,  ///< the stage gets a copy
        Change   ///< the stage gets the mesh and leaves another
    };
    /// The stage has come to where it would read, and found no fault with its options.
    struct Probed {};

    /// `target` is where the stage's mesh goes, as a person would call it; `mesh` has to outlive this object.
    HandOver(CarriedMesh& mesh, Purpose purpose, std::string target);
    ~HandOver();
    HandOver(HandOver const&) = delete;
    HandOver& operator=(HandOver const&) = delete;

    /// The one of the stage at work; null outside of a pipe.
    static HandOver* current();

    /// False once the stage has its mesh: what it reads further comes from files.
    bool offersMesh() const { return !isTaken_; }
    void take(LoadedMesh& loaded);

    /// What is left is read by the next stage as a file of it would be, but for names of vertex sets and the like that not all formats
    /// hold: polygons are cut into fans, computed normals are dropped.
    void leave(koGeom::CompactMesh const& mesh, trimora::WriteOptions const& writing);
    bool wasLeft() const { return isLeft_; }

    std::string const& target() const { return target_; }

    void print(std::string const& text) { printed_ += text; }
    std::string const& printed() const { return printed_; }

private:
    CarriedMesh& mesh_;
    Purpose purpose_;
    std::string target_;
    std::string printed_;
    bool isTaken_ = false;
    bool isLeft_ = false;
};

}  // namespace app
