#include "toolkit/readMesh.h"

#include "toolkit/MeshFormat.h"
#include "toolkit/detail/files.h"

#include <new>
#include <stdexcept>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshModification;

/// Bytes of a file that the memory limit leaves room for; 0 is no limit.
std::uint64_t maxFileSize(ReadOptions const& options) {
    return options.maxMemory == 0
               ? 0
               : std::max<std::uint64_t>(options.maxMemory / readMemoryPerByte, 1);
}

FileOutcome readInto(CompactMesh& mesh, MeshFormat const& format, InputFile const& file,
                     ReadReport& report, ReadOptions const& options) {
    CompactMesh fresh;
    FileOutcome const outcome = format.read(file, fresh, report, options);
    if (!outcome)
        return outcome;

    mesh.swap(fresh);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    modification.normalsModified();
    modification.uvsModified();
    mesh.modified(modification);
    return outcome;
}

/// Opens the input by `open` and reads it; what memory cannot hold is an outcome like others.
template <class Open>
FileOutcome readFrom(std::string const& name, Open open, CompactMesh& mesh, ReadReport& report,
                     ReadOptions const& options) {
    report = ReadReport();
    FileOutcome outcome;
    MeshFormat const* const format = findMeshFormat(name, options.format, outcome);
    if (format == nullptr)
        return outcome;
    report.format = format->name;
    try {
        InputFile file;
        outcome = open(file);
        return outcome ? readInto(mesh, *format, file, report, options) : outcome;
    } catch (std::bad_alloc const&) {
    } catch (std::length_error const&) {
    }
    return FileOutcome::failed(
        FileOutcome::Failure::Limit,
        name + ": memory does not suffice to read it; free some or split the file");
}

}  // namespace

FileOutcome readMesh(std::string const& path, CompactMesh& mesh, ReadReport& report,
                     ReadOptions const& options) {
    auto const open = [&](InputFile& file) { return file.open(path, maxFileSize(options)); };
    return readFrom(path, open, mesh, report, options);
}

FileOutcome readMeshText(std::string_view text, std::string const& name, CompactMesh& mesh,
                         ReadReport& report, ReadOptions const& options) {
    auto const open = [&](InputFile& file) {
        return file.openText(text, name, maxFileSize(options));
    };
    return readFrom(name, open, mesh, report, options);
}

}  // namespace trimora
