#include "toolkit/writeMesh.h"

#include "toolkit/MeshFormat.h"
#include "toolkit/detail/files.h"
#include "toolkit/pendingOutput.h"
#include "toolkit/surfaceFault.h"

#include <deque>
#include <new>

namespace trimora {

namespace {

using koGeom::CompactMesh;

FileOutcome checkForm(std::string const& path, MeshFormat const& format,
                      WriteOptions::Encoding encoding) {
    using Encoding = WriteOptions::Encoding;
    auto const lacks = [&](Encoding asked, MeshForm form) {
        return encoding == asked && (format.forms & form) == 0;
    };
    char const* const form = lacks(Encoding::Text, TextForm)                   ? "text"
                             : lacks(Encoding::LittleEndian, LittleEndianForm) ? "binary"
                             : lacks(Encoding::BigEndian, BigEndianForm)       ? "big-endian"
                                                                               : nullptr;
    return form == nullptr ? FileOutcome::done()
                           : FileOutcome::failed(FileOutcome::Failure::Unsupported,
                                                 path + ": " + std::string(format.name) +
                                                     " files have no " + form + " form");
}

FileOutcome fill(OutputFile& file, std::string const& path, CompactMesh const& mesh,
                 WriteOptions const& options) {
    FileOutcome outcome;
    MeshFormat const* const format = findWritableFormat(path, options.format, outcome);
    if (format == nullptr)
        return outcome;
    outcome = checkForm(path, *format, options.encoding);
    if (!outcome)
        return outcome;
    if (SurfaceFault const fault = faultOfMesh(mesh))
        return FileOutcome::failed(FileOutcome::Failure::Unsupported,
                                   path + ": not written, since " + fault.text);
    outcome = file.open(path);
    return outcome ? format->write(file, mesh, options) : outcome;
}

FileOutcome outOfMemory(std::string const& path) {
    return FileOutcome::failed(FileOutcome::Failure::Limit,
                               path + ": memory does not suffice to write it; free some");
}

/// Fills and closes one file of several.
FileOutcome fillOne(OutputFile& file, std::string const& path, CompactMesh const& mesh,
                    WriteOptions options, double share) {
    koUtil::Progress part;
    if (options.progress != nullptr) {
        options.progress->subPhase(share, part);
        options.progress = &part;
    }
    FileOutcome const filled = fill(file, path, mesh, options);
    return filled ? file.close() : filled;
}

std::string namesOf(std::vector<std::string> const& paths, std::size_t count) {
    std::string names;
    for (std::size_t i = 0; i < count; ++i)
        names += (i > 0 ? ", " : "") + paths[i];
    return names;
}

FileOutcome putInPlace(std::deque<OutputFile>& files, std::vector<std::string> const& paths) {
    if (!claimPendingOutputs())
        return FileOutcome::failed(FileOutcome::Failure::Cancelled,
                                   paths.front() + ": discarded, since the run ends");
    for (std::size_t i = 0; i < files.size(); ++i) {
        FileOutcome outcome = files[i].putInPlace();
        if (outcome)
            continue;
        if (i > 0)
            outcome.message += "; put in place before it: " + namesOf(paths, i);
        return outcome;
    }
    return FileOutcome::done();
}

}  // namespace

FileOutcome writeMesh(std::string const& path, CompactMesh const& mesh,
                      WriteOptions const& options) {
    try {
        OutputFile file;
        FileOutcome const outcome = fill(file, path, mesh, options);
        return outcome ? file.commit() : outcome;
    } catch (std::bad_alloc const&) {
        return outOfMemory(path);
    }
}

FileOutcome writeMeshes(std::vector<std::string> const& paths,
                        std::vector<CompactMesh> const& meshes, WriteOptions const& options) {
    if (paths.empty())
        return FileOutcome::done();
    std::deque<OutputFile> files;
    try {
        for (std::size_t i = 0; i < paths.size(); ++i) {
            FileOutcome const outcome = fillOne(files.emplace_back(), paths[i], meshes[i], options,
                                                1.0 / double(paths.size()));
            if (outcome)
                continue;
            discardPendingOutputs();  // in one step: whoever ends the process meanwhile leaves none either
            return outcome;
        }
        return putInPlace(files, paths);
    } catch (std::bad_alloc const&) {
        discardPendingOutputs();
        return outOfMemory(paths[files.empty() ? 0 : files.size() - 1]);
    }
}

}  // namespace trimora
