#pragma once

#include "toolkit/MeshFormat.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include <cmath>
#include <cstring>
#include <string>

/// What any mesh of triangles promises when it is written and read back, in whichever format.
namespace formats {

/// Equal bits, but that a NaN is a NaN: a text file keeps no payload.
inline bool areSameFloats(float const* a, float const* b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (std::memcmp(&a[i], &b[i], sizeof(float)) != 0 &&
            !(std::isnan(a[i]) && std::isnan(b[i])))
            return false;
    return true;
}

/// Whether a set of the first mesh is in the second one, at all vertices that triangles use.
inline bool isSetKept(koGeom::CompactMesh const& before, koGeom::CompactMesh const& after,
                      koString::CString const& name) {
    koGeom::MeshAttributes const* const first = before.getAttributes(name);
    koGeom::MeshAttributes const* const second = after.getAttributes(name);
    if (first == nullptr)
        return true;
    if (second == nullptr || second->dimension != first->dimension)
        return false;
    int const dimension = first->dimension;
    for (int i = 0; i < 3 * before.getNumTriangles(); ++i) {
        int const at = dimension * before.getTrianglesRaw()[i];
        if (!areSameFloats(first->asFloat() + at, second->asFloat() + at,
                           static_cast<std::size_t>(dimension)))
            return false;
    }
    return true;
}

/// Whether every triangle has the same corners, place by place.
inline bool areCornersKept(koGeom::CompactMesh const& before, koGeom::CompactMesh const& after) {
    for (int i = 0; i < 3 * before.getNumTriangles(); ++i)
        if (!areSameFloats(before.getVerticesRaw() + 3 * before.getTrianglesRaw()[i],
                           after.getVerticesRaw() + 3 * after.getTrianglesRaw()[i], 3))
            return false;
    return true;
}

/// Whether vertices and triangles have kept their numbers; formats whose triangles have corners of their own cannot promise it.
inline bool areNumbersKept(koGeom::CompactMesh const& before, koGeom::CompactMesh const& after) {
    return before.getNumVertices() == after.getNumVertices() &&
           areSameFloats(before.getVerticesRaw(), after.getVerticesRaw(),
                         3 * static_cast<std::size_t>(before.getNumVertices())) &&
           (before.getNumTriangles() == 0 ||
            std::memcmp(before.getTrianglesRaw(), after.getTrianglesRaw(),
                        3 * sizeof(int) * static_cast<std::size_t>(before.getNumTriangles())) == 0);
}

/// Writes a mesh to the path and reads it back: the same floats in the same order, and the vertex sets that the format holds.
///
/// after      out: what was read; as it was when writing or reading was refused
/// refusal    out: why it was not written, or not read; empty otherwise
/// returns    empty, or what got lost
inline std::string faultOfRoundTrip(koGeom::CompactMesh const& mesh,
                                    trimora::MeshFormat const& format, std::string const& path,
                                    trimora::WriteOptions options, koGeom::CompactMesh& after,
                                    std::string& refusal) {
    options.format = format.name;
    auto const written = trimora::writeMesh(path, mesh, options);
    refusal = written.message;
    if (!written)
        return refusal.empty() ? "a refusal without a message" : "";
    trimora::ReadReport report;
    trimora::ReadOptions readOptions;
    readOptions.format = format.name;
    koGeom::CompactMesh read;
    auto const outcome = trimora::readMesh(path, read, report, readOptions);
    if (!outcome)
        return "what was written cannot be read: " + outcome.message;
    bool const keepsNumbers = format.name != "stl";
    // A text file's NaN is a problem of the file, as nobody writes it on purpose.
    if (report.numProblems > report.nonfiniteVertices)
        return "what was written has a problem: " + report.problems.front().text;
    if (report.isShifted())
        return "floats were read with a shift";
    if (read.getNumTriangles() != mesh.getNumTriangles() || !areCornersKept(mesh, read))
        return "a triangle is not where it was";
    if (keepsNumbers && !areNumbersKept(mesh, read))
        return "vertices or triangles have other numbers";
    if ((format.holds & trimora::HoldsTextureCoordinates) != 0 && keepsNumbers &&
        !isSetKept(mesh, read, koGeom::PointMesh::UVsName))
        return "texture coordinates got lost";
    if ((format.holds & trimora::HoldsColours) != 0 && keepsNumbers &&
        !isSetKept(mesh, read, koGeom::PointMesh::ColoursName))
        return "colours got lost";
    if ((format.holds & trimora::HoldsScalars) != 0 && keepsNumbers &&
        !isSetKept(mesh, read, koString::CString("quality")))
        return "a named set got lost";
    after = std::move(read);
    return "";
}

}  // namespace formats
