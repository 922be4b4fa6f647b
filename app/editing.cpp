#include "editing.h"

#include "files.h"
#include "toolkit/meshParts.h"

#include <filesystem>

namespace app {

namespace {

std::string pathOfPart(std::filesystem::path const& output, std::size_t number) {
    std::filesystem::path path = output;
    path.replace_filename(output.stem().string() + "-" + std::to_string(number) +
                          output.extension().string());
    return path.string();
}

}  // namespace

void addInputAndOutput(CLI::App& command, std::string& input, std::string& output) {
    command.add_option("IN", input, "mesh file, or - for standard input")->required();
    command.add_option("OUT", output, "mesh file, or - for standard output")->required();
}

void requireOutput(Session const& session, std::string const& output) {
    requireSeparateOutputs(session, output);
    requireWritableOutput(output);
}

void throwIfFailed(trimora::FileOutcome const& outcome) {
    bool const isLimit = outcome.failure == trimora::FileOutcome::Failure::Limit;
    if (!outcome)
        throw Failure{isLimit ? Refused : CannotRead,
                      outcome.message + (isLimit ? " (--max-memory)" : "")};
}

std::vector<StoredPart> storeParts(Session& session, std::string const& output,
                                   koGeom::CompactMesh const& mesh) {
    std::vector<koGeom::CompactMesh> const meshes = trimora::splitIntoParts(mesh);
    std::vector<StoredPart> parts;
    try {
        for (koGeom::CompactMesh const& part : meshes) {
            std::string const path = pathOfPart(output, parts.size() + 1);
            storeMesh(session, path, part);
            parts.push_back({path, part.getNumVertices(), part.getNumTriangles()});
        }
    } catch (Failure const&) {
        for (StoredPart const& part : parts) {
            std::error_code ignored;
            std::filesystem::remove(part.path, ignored);
        }
        throw;
    }
    return parts;
}

}  // namespace app
