#include "toolkit/writeMesh.h"

#include "toolkit/MeshFormat.h"
#include "toolkit/detail/files.h"

#include <new>

namespace trimora {

FileOutcome writeMesh(std::string const& path, koGeom::CompactMesh const& mesh,
                      WriteOptions const& options) {
    FileOutcome outcome;
    MeshFormat const* const format = findMeshFormat(path, options.format, outcome);
    if (format == nullptr)
        return outcome;
    try {
        OutputFile file;
        outcome = file.open(path);
        if (outcome)
            outcome = format->write(file, mesh, options);
        return outcome ? file.commit() : outcome;
    } catch (std::bad_alloc const&) {
        return FileOutcome::failed(FileOutcome::Failure::Limit,
                                   path + ": memory does not suffice to write it; free some");
    }
}

}  // namespace trimora
