#include "editing.h"

#include "files.h"
#include "toolkit/elementSelection.h"
#include "toolkit/meshCounts.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>

namespace app {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t leastPadding = 3;

std::string pathOfPart(fs::path const& output, std::string const& digits) {
    fs::path path = output;
    path.replace_filename(output.stem().string() + "-" + digits + output.extension().string());
    return path.string();
}

/// The digits of each part's name, by the number of parts.
std::vector<std::string> digitsOfParts(std::size_t count, PartNumbers numbers) {
    std::size_t const width =
        numbers == PartNumbers::Padded ? std::max(leastPadding, std::to_string(count).size()) : 1;
    std::vector<std::string> all;
    for (std::size_t number = 1; number <= count; ++number) {
        std::string const digits = std::to_string(number);
        all.push_back(std::string(width - std::min(width, digits.size()), '0') + digits);
    }
    return all;
}

/// The digits in the name of what may be a part of the output; empty when it is none.
std::string digitsIn(fs::path const& path, fs::path const& output, PartNumbers numbers) {
    std::string const name = path.stem().string();
    std::string const start = output.stem().string() + "-";
    if (path.extension() != output.extension() || name.compare(0, start.size(), start) != 0)
        return {};
    std::string digits = name.substr(start.size());
    bool const isOfForm = numbers == PartNumbers::Padded ? digits.size() >= leastPadding
                                                         : !digits.empty() && digits[0] != '0';
    bool const isNumber =
        std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
    return isOfForm && isNumber ? digits : std::string();
}

/// Files that look like parts of the output and are none of the given ones.
std::vector<std::string> otherParts(fs::path const& output, std::vector<std::string> const& written,
                                    PartNumbers numbers) {
    fs::path const folder = output.has_parent_path() ? output.parent_path() : fs::path(".");
    std::set<std::string> const own(written.begin(), written.end());
    std::vector<std::string> found;
    std::error_code ignored;
    for (fs::directory_iterator file(folder, ignored), end; file != end; file.increment(ignored)) {
        std::string const digits = digitsIn(file->path(), output, numbers);
        if (!digits.empty() && own.count(digits) == 0)
            found.push_back(digits);
    }
    std::sort(found.begin(), found.end(), [](std::string const& a, std::string const& b) {
        return a.size() != b.size() ? a.size() < b.size() : a < b;  // as numbers
    });
    for (std::string& digits : found)
        digits = pathOfPart(output, digits);
    return found;
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
        throw Failure{Refused,
                      path + ": is the input, which a part would replace; choose another name",
                      path};
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
                      outcome.message + (isLimit ? " (--max-memory)" : ""),
                      path,
                      {},
                      {},
                      isLimit ? Failure::Cause::Memory : Failure::Cause::OfCode};
}

koGeom::BitVector selectedTriangles(Session const& session, std::string const& selection,
                                    std::string const& input, koGeom::CompactMesh const& mesh,
                                    std::string const& purpose) {
    koGeom::BitVector triangles(mesh.getNumTriangles());
    if (selection == "all")
        triangles.setAllBits();
    else
        throwIfFailed(trimora::readTriangleSelection(selection, mesh.getNumTriangles(), triangles,
                                                     session.maxBytes()),
                      selection);
    if (triangles.count == 0)
        throwIfRefused(session, {input, "holds no triangles to " + purpose, {}});
    return triangles;
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

std::vector<trimora::MeshHole> holesOf(Session& session, std::string const& input,
                                       koGeom::CompactMesh const& mesh, char const* caption) {
    session.beginPhase(caption, true);
    trimora::HolesOutcome found = trimora::findHoles(mesh, session.progress());
    session.throwIfCancelled();
    throwIfRefused(session, {input, found.refusal, found.problemPoint});
    return std::move(found.holes);
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
                       std::vector<koGeom::CompactMesh> const& meshes, PartNumbers numbers) {
    std::vector<std::string> const digits = digitsOfParts(meshes.size(), numbers);
    std::vector<std::string> paths;
    for (std::string const& each : digits)
        paths.push_back(pathOfPart(output, each));
    for (std::string const& path : paths)
        requirePart(path, input);
    storeMeshes(session, paths, meshes);
    StoredParts stored;
    for (std::size_t i = 0; i < meshes.size(); ++i)
        stored.parts.push_back({paths[i], meshes[i].getNumVertices(), meshes[i].getNumTriangles()});
    stored.others = otherParts(output, digits, numbers);
    return stored;
}

Json toJson(StoredParts const& stored) {
    Json json = Json::array();
    for (StoredPart const& part : stored.parts)
        json.push_back(
            {{"output", part.path}, {"vertices", part.vertices}, {"triangles", part.triangles}});
    return json;
}

std::vector<std::string> warningsOf(StoredParts const& stored) {
    if (stored.others.empty())
        return {};
    return {trimora::countInWords(std::int64_t(stored.others.size()), "file") +
            " of the same form from an earlier run stayed: " + stored.others.front() +
            (stored.others.size() > 1 ? " to " + stored.others.back() : "")};
}

}  // namespace app
