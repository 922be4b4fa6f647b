#include "editing.h"

#include "files.h"
#include "toolkit/meshCounts.h"
#include "toolkit/meshParts.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <utility>

namespace app {

namespace {

namespace fs = std::filesystem;

std::string pathOfPart(fs::path const& output, std::size_t number) {
    fs::path path = output;
    path.replace_filename(output.stem().string() + "-" + std::to_string(number) +
                          output.extension().string());
    return path.string();
}

/// The number in the name of a part of the output, or 0.
std::size_t numberOfPart(fs::path const& output, fs::path const& path) {
    std::string const name = path.stem().string();
    std::string const start = output.stem().string() + "-";
    std::size_t number = 0;
    if (name.size() <= start.size() || name.compare(0, start.size(), start) != 0)
        return 0;
    std::from_chars(name.data() + start.size(), name.data() + name.size(), number);
    return fs::path(pathOfPart(output, number)).filename() == path.filename() ? number : 0;
}

std::vector<std::string> partsBeyond(fs::path const& output, std::size_t last) {
    fs::path const folder = output.has_parent_path() ? output.parent_path() : fs::path(".");
    std::vector<std::pair<std::size_t, std::string>> found;
    std::error_code ignored;
    for (fs::directory_iterator file(folder, ignored), end; file != end; file.increment(ignored)) {
        std::size_t const number = numberOfPart(output, file->path());
        if (number > last)
            found.emplace_back(number, pathOfPart(output, number));
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> paths;
    paths.reserve(found.size());
    for (auto& [number, path] : found)
        paths.push_back(std::move(path));
    return paths;
}

bool isSameFile(std::string const& a, std::string const& b) {
    std::error_code ignored;
    return a != "-" && b != "-" && fs::equivalent(a, b, ignored);
}

void requirePart(std::string const& path, std::string const& input) {
    requireWritableOutput(path);
    std::error_code ignored;
    if (fs::is_directory(path, ignored))
        throw Failure{CannotWrite, path + ": is a folder; move it away or choose another name"};
    if (isSameFile(path, input))
        throw Failure{
            Refused,
            path + ": is the input, which a part would replace; choose another name for OUT", path};
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

void requireSecondInput(std::string const& input, std::string const& second,
                        std::string const& output, std::string const& what) {
    if (input == "-" && second == "-")
        throw Failure{UsageError, "the mesh and the " + what +
                                      " cannot both come from standard input; name a file for one "
                                      "of them"};
    if (second.empty())
        throw Failure{UsageError,
                      "the " + what + " has no name; name a file, or - for standard input"};
    if (isSameFile(second, output))
        throw Failure{UsageError, output + ": is the " + what +
                                      ", which the output would replace; choose another name"};
}

void throwIfFailed(trimora::FileOutcome const& outcome, std::string const& path) {
    bool const isLimit = outcome.failure == trimora::FileOutcome::Failure::Limit;
    if (!outcome)
        throw Failure{isLimit ? Refused : CannotRead,
                      outcome.message + (isLimit ? " (--max-memory)" : ""), path};
}

void throwIfRefused(Session const&, Refusal const& refusal) {
    if (refusal.text.empty())
        return;
    throw Failure{Refused,
                  refusal.file + ": " + refusal.text +
                      (refusal.isNonfinite ? " (--drop-nonfinite)" : ""),
                  refusal.file, refusal.problemPoint};
}

void requireFloatRange(Session const& session, std::string const& input,
                       trimora::ReadReport const& report, koGeom::CompactMesh const& result) {
    if (report.nonfiniteVertices == 0 && trimora::numNonfiniteVertices(result) > 0)
        throwIfRefused(session, {input,
                                 "the result leaves the range of floats, 3.4e38; scale the mesh "
                                 "down first",
                                 {}});
}

void finishWith(Session& session, Json const& json, std::string const& text,
                std::string const& output) {
    session.finish();
    if (session.options().json)
        printOut(toText(json));
    else
        printReport(session, text, output);
}

StoredParts storeParts(Session& session, std::string const& input, std::string const& output,
                       koGeom::CompactMesh const& mesh) {
    std::vector<koGeom::CompactMesh> const meshes = trimora::splitIntoParts(mesh);
    std::vector<std::string> paths;
    for (std::size_t number = 1; number <= meshes.size(); ++number)
        paths.push_back(pathOfPart(output, number));
    for (std::string const& path : paths)
        requirePart(path, input);
    storeMeshes(session, paths, meshes);
    StoredParts stored;
    for (std::size_t i = 0; i < meshes.size(); ++i)
        stored.parts.push_back({paths[i], meshes[i].getNumVertices(), meshes[i].getNumTriangles()});
    stored.others = partsBeyond(output, stored.parts.size());
    return stored;
}

}  // namespace app
