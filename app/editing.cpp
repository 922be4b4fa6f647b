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
    std::vector<std::string> newPaths;
    for (std::size_t number = 1; number <= meshes.size(); ++number) {
        std::string const path = pathOfPart(output, number);
        requireWritableOutput(path);
        if (std::filesystem::is_directory(path))
            throw Failure{CannotWrite, path + ": is a folder; move it away or choose another name"};
    }
    try {
        for (koGeom::CompactMesh const& part : meshes) {
            std::string const path = pathOfPart(output, parts.size() + 1);
            bool const isNew = !std::filesystem::exists(path);
            storeMesh(session, path, part);
            if (isNew)
                newPaths.push_back(path);
            parts.push_back({path, part.getNumVertices(), part.getNumTriangles()});
        }
    } catch (Failure const&) {
        // What stood in a file's place before is gone; the part that replaced it is better than nothing.
        for (std::string const& path : newPaths) {
            std::error_code ignored;
            std::filesystem::remove(path, ignored);
        }
        throw;
    }
    return parts;
}

}  // namespace app
