#pragma once

#include "Session.h"
#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace app {

/// What the subcommands that edit a mesh have in common.

/// The positional IN and OUT.
void addInputAndOutput(CLI::App& command, std::string& input, std::string& output);

/// Throws Failure unless the output can be written and leaves standard output to the report.
void requireOutput(Session const& session, std::string const& output);

/// Throws the outcome of reading a second input (a curve, a selection) as a Failure.
void throwIfFailed(trimora::FileOutcome const& outcome);

/// A component of a mesh in a file of its own.
struct StoredPart {
    std::string path;
    int vertices;
    int triangles;
};

/// Writes each component of a mesh to a file of its own: "part.obj" gives part-1.obj, part-2.obj and so on. When one
/// cannot be written, or the run is cancelled, those before it are taken away again. Throws Failure.
std::vector<StoredPart> storeParts(Session& session, std::string const& output,
                                   koGeom::CompactMesh const& mesh);

}  // namespace app
