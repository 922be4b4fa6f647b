#pragma once

#include "Session.h"
#include "reports.h"
#include "toolkit/FileOutcome.h"
#include "toolkit/meshHoles.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <CLI/CLI.hpp>
#include <array>
#include <optional>
#include <string>
#include <vector>

namespace app {

/// What the subcommands that edit a mesh have in common.

/// The positional IN and OUT.
void addInputAndOutput(CLI::App& command, std::string& input, std::string& output);

/// Throws Failure unless the output can be written and leaves standard output to the report.
void requireOutput(Session const& session, std::string const& output);

/// Throws Failure where the mesh and a second input (`what` it is, say "curve") cannot both be read, or where the
/// output would replace the second input.
void requireSecondInput(std::string const& input, std::string const& second,
                        std::string const& output, std::string const& what);

/// Throws the outcome of reading a second input (a curve, a selection) as a Failure.
void throwIfFailed(trimora::FileOutcome const& outcome, std::string const& path);

/// The triangles of an option: "all", or those of a file. Throws Failure, also where there are none; `purpose` says what for.
koGeom::BitVector selectedTriangles(Session const& session, std::string const& selection,
                                    std::string const& input, koGeom::CompactMesh const& mesh,
                                    std::string const& purpose);

/// What an edit refused to do.
struct Refusal {
    std::string file;
    std::string text;  ///< empty: nothing was refused
    std::optional<std::array<double, 3>> problemPoint;
    bool isNonfinite = false;  ///< for NaN or infinite coordinates, which an option leaves out
};

/// Throws a Failure with code 5 unless the text is empty. With --json an object on standard output tells the place.
void throwIfRefused(Session const& session, Refusal const& refusal);

/// The same when the result holds NaN or infinite coordinates and the mesh, as it was read, did not.
void requireFloatRange(Session const& session, std::string const& input,
                       trimora::ReadReport const& report, koGeom::CompactMesh const& result);

/// The borders of a mesh, as a phase of the run with its caption. Throws Failure.
std::vector<trimora::MeshHole> holesOf(Session& session, std::string const& input,
                                       koGeom::CompactMesh const& mesh, char const* caption);

/// Ends the run with what it came to: the object with --json, else the text; printReport tells where that goes.
void finishWith(Session& session, Json const& json, std::string const& text,
                std::string const& output = {});

/// A part of a mesh in a file of its own.
struct StoredPart {
    std::string path;
    int vertices;
    int triangles;
};

struct StoredParts {
    std::vector<StoredPart> parts;
    std::vector<std::string> others;  ///< of the same form: an earlier run's, left where they are
};

enum class PartNumbers {
    Plain,  ///< part-1.obj
    Padded  ///< part-001.obj, with as many digits as the last one needs
};

/// Writes each mesh to a file of its own: "part.obj" gives part-1.obj, part-2.obj and so on, which replace what stood there, but
/// never the input: all or none, see writeMeshes. Throws Failure.
StoredParts storeParts(Session& session, std::string const& input, std::string const& output,
                       std::vector<koGeom::CompactMesh> const& meshes, PartNumbers numbers);

/// One object a part.
Json toJson(StoredParts const& stored);

/// On files of an earlier run, if there are any.
std::vector<std::string> warningsOf(StoredParts const& stored);

}  // namespace app
