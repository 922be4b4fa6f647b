#include "toolkit/readMesh.h"

#include "toolkit/MeshFormat.h"
#include "toolkit/detail/files.h"
#include "toolkit/detail/readLimits.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <stdexcept>

namespace trimora {

namespace {

using koGeom::CompactMesh;
using koGeom::MeshModification;

/// One modification that keeps all that the mesh has.
void tellOfNewFaces(CompactMesh& mesh) {
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    for (int i = 1; i < mesh.getNumAttributes(); ++i)
        modification.vertexAttribsModified(mesh.getAttributes(i)->getName());
    modification.polysModified();
    modification.linesModified();
    mesh.modified(modification);
}

FileOutcome readInto(CompactMesh& mesh, MeshFormat const& format, InputFile const& file,
                     ReadReport& report, ReadOptions const& options) {
    CompactMesh fresh;
    FileOutcome const outcome = format.read(file, fresh, report, options);
    if (!outcome)
        return outcome;

    mesh.swap(fresh);
    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    for (int i = 1; i < mesh.getNumAttributes(); ++i)
        modification.vertexAttribsModified(mesh.getAttributes(i)->getName());
    mesh.modified(modification);
    return outcome;
}

/// Opens the input by `open` and reads it; what memory cannot hold is an outcome like others.
template <class Open>
FileOutcome readFrom(std::string const& name, Open open, CompactMesh& mesh, ReadReport& report,
                     ReadOptions const& options) {
    report = ReadReport();
    try {
        InputFile file;
        FileOutcome outcome = open(file);
        if (outcome && file.size() == 0)
            outcome = FileOutcome::failed(
                FileOutcome::Failure::Unsupported,
                file.name() + ": is empty; check whether it was written and copied whole");
        if (!outcome)
            return outcome;
        report.bytes = static_cast<std::int64_t>(file.size());
        MeshFormat const* const format =
            recogniseMeshFormat(file, name, options.format, report, outcome);
        if (format == nullptr)
            return outcome;
        report.format = format->name;
        return readInto(mesh, *format, file, report, options);
    } catch (std::bad_alloc const&) {
    } catch (std::length_error const&) {
    }
    return FileOutcome::failed(
        FileOutcome::Failure::Limit,
        name + ": memory does not suffice to read it; free some or split the file");
}

}  // namespace

std::string ReadReport::cutShortInWords() const {
    std::string text;
    for (CutShort const& kind : cutShort)
        text += (text.empty() ? "" : ", ") + std::to_string(kind.whole) + " of " +
                (kind.announced < 0 ? "more than " + std::to_string(kind.whole)
                                    : std::to_string(kind.announced)) +
                " " + kind.elements;
    return text;
}

std::int64_t ReadReport::badCountAt() const {
    for (CutShort const& kind : cutShort)
        if (kind.badCountAt >= 0)
            return kind.badCountAt;
    return -1;
}

FileOutcome readMesh(std::string const& path, CompactMesh& mesh, ReadReport& report,
                     ReadOptions const& options) {
    auto const open = [&](InputFile& file) { return file.open(path, maxTextSize(options)); };
    return readFrom(path, open, mesh, report, options);
}

FileOutcome readMeshText(std::string_view text, std::string const& name, CompactMesh& mesh,
                         ReadReport& report, ReadOptions const& options) {
    auto const open = [&](InputFile& file) { return file.openText(text, name); };
    return readFrom(name, open, mesh, report, options);
}

void restorePolygons(CompactMesh& mesh, ReadReport const& report) {
    std::vector<int> const& polygonOf = report.trianglePolygon;
    if (polygonOf.empty() || polygonOf.size() != static_cast<std::size_t>(mesh.getNumTriangles()))
        return;
    int const numPolygons = polygonOf.back() + 1;
    int const* const triangles = mesh.getTrianglesRaw();
    mesh.polys.resize(mesh.getNumTriangles() + 2 * numPolygons, numPolygons);
    int* point = mesh.polys.points.data();
    int* const lengths = mesh.polys.lengths.data();
    int former = -1;
    for (std::size_t t = 0; t < polygonOf.size(); ++t) {
        int const* const corners = triangles + 3 * t;
        if (polygonOf[t] != former) {
            former = polygonOf[t];
            point = std::copy_n(corners, 2, point);
            lengths[former] = 2;
        }
        *point++ = corners[2];
        ++lengths[former];
    }
    mesh.resizeTriangleArray(0);
    tellOfNewFaces(mesh);
}

}  // namespace trimora
