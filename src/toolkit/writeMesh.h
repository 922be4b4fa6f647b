#pragma once

#include "toolkit/FileOutcome.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
#include "trimora/export.h"

#include <array>
#include <string>
#include <vector>

namespace trimora {

struct WriteOptions {
    std::string format;              ///< name of a format; empty takes it from the path's extension
    bool textureCoordinates = true;  ///< write them when the mesh has them
    bool normals = true;  ///< write them when the mesh has them and they were not merely computed
    bool colours = true;  ///< write them when the mesh has the set "colours"
    bool vertexSets = true;  ///< write the other named sets where the format holds them

    enum class Encoding { Usual, Text, LittleEndian, BigEndian };
    Encoding encoding =
        Encoding::Usual;  ///< of formats that have several; binary, little endian, is usual
    std::array<double, 3> shift = {
        0.0, 0.0, 0.0};   ///< added to every coordinate in double precision, see ReadReport::shift
    std::string name;     ///< of the solid or mesh, where the format holds one
    std::string comment;  ///< goes to the head of the file, one comment line for each of its lines

    koUtil::Progress* progress = nullptr;  ///< not owned; cancelled: no output is left
};

/// Writes a mesh file.
///
/// Numbers are the shortest decimals that read back to the same floats. OBJ: vertices, texture coordinates, normals,
/// then the triangles, or the mesh's polygons when it has no triangles; lines end in a line feed, without blanks.
///
/// path        '-' is standard output. A file is written beside its final place and renamed when it is complete, so
///             that an existing one is never half overwritten; a symbolic link is followed; what is no plain file
///             (a pipe, a device) is written directly
/// mesh        refused where it has a fault, see faultOfMesh: no file names vertices that it does not hold
/// returns     done, or what went wrong; then an existing file is untouched and no other one is left behind
/// cost        linear; numbers are formatted on the shared pool; some 20 MB of scratch
TRIMORA_API FileOutcome writeMesh(std::string const& path, koGeom::CompactMesh const& mesh,
                                  WriteOptions const& options = {});

/// Writes several mesh files, all or none: each is filled beside its place, and when all are complete they are put in
/// place, in order.
///
/// paths       one a mesh, all different; else as for writeMesh
/// returns     done, or what went wrong; then no file has changed. Only where the system refuses a renaming in the middle do those
///             before it stand, and the message names them
TRIMORA_API FileOutcome writeMeshes(std::vector<std::string> const& paths,
                                    std::vector<koGeom::CompactMesh> const& meshes,
                                    WriteOptions const& options = {});

}  // namespace trimora
