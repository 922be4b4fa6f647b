#include "files.h"

#include "handOver.h"
#include "reports.h"
#include "toolkit/MeshFormat.h"
#include "toolkit/meshCounts.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace app {

namespace {

using trimora::FileOutcome;

ExitCode codeOf(FileOutcome::Failure failure) {
    switch (failure) {
    case FileOutcome::Failure::None:
        return Done;
    case FileOutcome::Failure::Limit:
        return Refused;
    case FileOutcome::Failure::Unwritable:
        return CannotWrite;
    case FileOutcome::Failure::Cancelled:
        return Cancelled;
    case FileOutcome::Failure::Unreadable:
    case FileOutcome::Failure::Unsupported:
        break;
    }
    return CannotRead;
}

Failure::Cause causeOf(FileOutcome const& outcome) {
    return outcome.failure == FileOutcome::Failure::Limit ? Failure::Cause::Memory
                                                          : Failure::Cause::OfCode;
}

// The toolkit names its own limit; here it has an option.
std::string messageOf(FileOutcome const& outcome) {
    bool const isLimit = outcome.failure == FileOutcome::Failure::Limit;
    return outcome.message + (isLimit ? " (--max-memory)" : "");
}

void refuseFolder(std::string const& path, ExitCode code) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        throw Failure{code, path + ": is a folder; name a mesh file in it"};
}

/// What a reader says of a mesh that most work on it should know: each as a line, without the file's name.
std::vector<std::string> warningsOf(trimora::ReadReport const& report, bool dropsNonfinite) {
    using trimora::countInWords;
    std::vector<std::string> warnings;
    if (report.badCountAt() >= 0)
        warnings.push_back("makes no sense from byte " + std::to_string(report.badCountAt()) +
                           " on: read were " + onOneLine(report.cutShortInWords()) +
                           "; write it anew");
    else if (!report.cutShort.empty())
        warnings.push_back("is cut short: it holds " + onOneLine(report.cutShortInWords()) +
                           "; copy it again or write it anew");
    for (std::string const& doubt : report.doubts)
        warnings.push_back(onOneLine(doubt));
    if (report.incompleteVertices > 0)
        warnings.push_back(
            countInWords(report.incompleteVertices, "vertex lacks", "vertices lack") +
            " a coordinate, which is 0 here, or has one that is no number");
    if (report.nonfiniteVertices > 0 && !dropsNonfinite)
        warnings.push_back(countInWords(report.nonfiniteVertices, "vertex is", "vertices are") +
                           " NaN or infinite; --drop-nonfinite leaves the faces there out");
    if (report.dropped.total() > 0)
        warnings.push_back(std::to_string(report.dropped.total()) + " of " +
                           countInWords(report.faces, "face") + " could not be used");
    if (warnings.empty() && report.numProblems > 0)
        warnings.push_back(problemsInWords(report));
    if (report.triangles == 0)
        warnings.push_back("holds no triangles");
    return warnings;
}

void warnOfReading(Session& session, LoadedMesh const& loaded) {
    trimora::ReadReport const& report = loaded.report;
    if (session.options().quiet)
        return;
    std::string const name = loaded.path == "-" ? "standard input" : loaded.path;
    for (std::string const& note : report.notes)
        session.tell("trimora: note: " + name + ": " + onOneLine(note) + "\n");
    if (report.isShifted() && !session.hasShift())
        session.tell("trimora: note: " + name + ": lies so far from the origin that " +
                     shiftInWords(report.shift) +
                     " is taken off its coordinates here: places in reports, but for doctor's, and "
                     "in options are "
                     "relative to that, and files are written with it\n");
    for (std::string const& warning : warningsOf(report, session.options().dropNonfinite))
        session.tell("trimora: warning: " + name + ": " + warning + "\n");
}

/// What a file of the format does not hold of the mesh, and how far it rounds.
void warnOfWriting(Session& session, std::string const& path, koGeom::CompactMesh const& mesh,
                   trimora::WriteOptions const& options) {
    FileOutcome outcome;
    trimora::MeshFormat const* const format =
        trimora::findWritableFormat(path, options.format, outcome);
    if (session.options().quiet || format == nullptr)
        return;  // writing will tell
    std::string const start = "trimora: warning: " + nameOfOutput(path) + ": ";
    std::string const name(format->name);
    std::string lost;
    for (std::string const& content : trimora::contentLostIn(*format, mesh, options))
        lost += (lost.empty() ? "" : ", ") + onOneLine(content);
    if (!lost.empty())
        session.tell(start + name + " files do not hold: " + lost + "\n");
    bool const isShifted = session.shift() != std::array<double, 3>{};
    if (isShifted && !trimora::keepsShift(*format, options))
        session.tell(start + "coordinates so far from the origin are rounded to floats in it; " +
                     "write a text form, obj or ply to keep their digits\n");
}

void requireRoom(Session const& session, double bytesPerTriangle, LoadedMesh const& loaded) {
    double const triangles = loaded.mesh.getNumTriangles();
    double const vertices = loaded.mesh.getNumVertices();
    session.requireMemory(bytesPerTriangle * std::max(triangles, 0.5 * vertices), loaded.path);
}

trimora::WriteOptions beginWriting(Session& session) {
    session.beginPhase("writing", true);
    trimora::WriteOptions options;
    options.progress = &session.progress();
    options.shift = session.shift();
    return options;
}

void throwIfUnwritten(Session const& session, FileOutcome const& outcome, std::string const& path) {
    if (outcome)
        return;  // a mesh that stands is no cancelled one, whatever came meanwhile
    session.throwIfCancelled();
    bool const unsupported = outcome.failure == FileOutcome::Failure::Unsupported;
    throw Failure{unsupported ? CannotWrite : codeOf(outcome.failure),
                  outcome.message,
                  path,
                  {},
                  {},
                  causeOf(outcome)};
}

}  // namespace

void loadMesh(Session& session, std::string const& path, double bytesPerTriangle,
              LoadedMesh& loaded, trimora::ReadOptions options) {
    loaded.path = path;
    if (HandOver* const stage = HandOver::current(); stage != nullptr && stage->offersMesh()) {
        stage->take(loaded);
        return requireRoom(session, bytesPerTriangle, loaded);
    }
    refuseFolder(path, CannotRead);
    session.beginPhase("reading", true);
    if (session.hasShift())
        options.shift = session.shift();
    options.dropNonfinite = session.options().dropNonfinite;
    options.maxMemory = session.maxBytes();
    options.progress = &session.progress();
    FileOutcome const outcome = trimora::readMesh(path, loaded.mesh, loaded.report, options);
    session.throwIfCancelled();
    if (!outcome)
        throw Failure{codeOf(outcome.failure), messageOf(outcome), path, {}, {}, causeOf(outcome)};
    warnOfReading(session, loaded);
    session.keepShift(loaded.report.shift);
    requireRoom(session, bytesPerTriangle, loaded);
}

void storeMesh(Session& session, std::string const& path, koGeom::CompactMesh const& mesh,
               trimora::WriteOptions const& chosen) {
    if (HandOver* const stage = HandOver::current(); stage != nullptr)
        return stage->leave(mesh, chosen);
    refuseFolder(path, CannotWrite);
    trimora::WriteOptions options = chosen;
    options.progress = beginWriting(session).progress;
    options.shift = session.shift();
    throwIfUnwritten(session, trimora::writeMesh(path, mesh, options), path);
    warnOfWriting(session, path, mesh, options);
}

void storeMeshes(Session& session, std::vector<std::string> const& paths,
                 std::vector<koGeom::CompactMesh> const& meshes) {
    trimora::WriteOptions const options = beginWriting(session);
    throwIfUnwritten(session, trimora::writeMeshes(paths, meshes, options), {});
}

void storePolylines(Session& session, std::string const& path,
                    std::vector<trimora::Polyline> const& polylines) {
    session.beginPhase("writing", true);  // in the grace of a late Ctrl-C it ends whole
    if (FileOutcome const outcome = trimora::writePolylines(path, polylines, session.shift());
        !outcome)
        throw Failure{CannotWrite, outcome.message, path};
}

void requireWritableOutput(std::string const& outputPath, std::string const& format) {
    requireOutputFolder(outputPath);
    FileOutcome outcome;
    if (trimora::findWritableFormat(outputPath, format, outcome) == nullptr)
        throw Failure{CannotWrite, outcome.message};
}

void requireOutputFolder(std::string const& outputPath) {
    if (outputPath.empty())
        throw Failure{CannotWrite, "the output has no name; name a file, or - for standard output"};
    std::filesystem::path const folder = std::filesystem::path(outputPath).parent_path();
    std::error_code ignored;
    if (!folder.empty() && !std::filesystem::is_directory(folder, ignored))
        throw Failure{CannotWrite,
                      outputPath + ": there is no folder " + folder.string() + "; make it first"};
}

void requireLineOutput(std::string const& outputPath) {
    requireOutputFolder(outputPath);
    std::string extension = std::filesystem::path(outputPath).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (outputPath != "-" && extension != ".obj" && extension != ".ply")
        throw Failure{CannotWrite, outputPath +
                                       ": lines are written as OBJ or PLY; choose a name that ends "
                                       "in .obj or .ply"};
}

void requireSeparateOutputs(Session const& session, std::string const& outputPath) {
    if (session.options().json && outputPath == "-")
        throw Failure{
            UsageError,
            "--json and the output both go to standard output; name a file for one of them"};
}

std::string nameOfOutput(std::string const& path) {
    if (HandOver const* const stage = HandOver::current(); stage != nullptr)
        return stage->target();
    return path == "-" ? "standard output" : path;
}

void printOut(std::string const& text) {
    if (HandOver* const stage = HandOver::current(); stage != nullptr)
        return stage->print(text);
    bool const written =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (!written)
        throw Failure{CannotWrite, "standard output: cannot be written: " +
                                       std::generic_category().message(errno) +
                                       "; check where it goes and the space left"};
}

void printReport(Session const& session, std::string const& text, std::string const& outputPath) {
    if (session.options().quiet)
        return;
    if (outputPath == "-" && HandOver::current() == nullptr)
        std::fputs(text.c_str(), stderr);
    else
        printOut(text);
}

}  // namespace app
