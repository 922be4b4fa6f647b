#pragma once

#include "Session.h"
#include "toolkit/ReadReport.h"
#include "toolkit/polylines.h"
#include "toolkit/readMesh.h"
#include "toolkit/writeMesh.h"

#include "trimora/contract/koGeom/CompactMesh.h"

#include <string>
#include <vector>

namespace app {

/// Bytes of memory a triangle (with its share of vertices) takes at the peak of each job, the mesh itself included; a quarter or
/// more above what was measured on a scan of 10 million triangles and on a soup (docs/reliability.md).
inline constexpr double infoBytesPerTriangle = 100.0;
inline constexpr double weldBytesPerTriangle = 250.0;
inline constexpr double curvatureBytesPerTriangle = 250.0;
inline constexpr double measureBytesPerTriangle = 150.0;
inline constexpr double measureBytesPerComponent = 5000.0;  ///< where each is measured
inline constexpr double deviationBytesPerTriangle = 200.0;  ///< of both meshes
inline constexpr double collarBytesPerTriangle = 250.0;
inline constexpr double collarBytesPerSample = 2500.0;
inline constexpr double checkBytesPerTriangle = 350.0;
inline constexpr double doctorBytesPerTriangle = 500.0;
inline constexpr double repairBytesPerTriangle = 500.0;
inline constexpr double reduceBytesPerTriangle = 400.0;
inline constexpr double collapseBytesPerTriangle = 800.0;
inline constexpr double cutBytesPerTriangle = 600.0;
inline constexpr double extrudeBytesPerTriangle = 1000.0;
inline constexpr double fillBytesPerTriangle = 700.0;      ///< of the result
inline constexpr double triangulationBytesPerPair = 23.0;  ///< of corners of the longest hole
inline constexpr double flattenBytesPerTriangle = 900.0;
inline constexpr double stitchBytesPerTriangle = 700.0;
inline constexpr double stitchBytesPerSample = 400.0;   ///< a fifth of the distance apart
inline constexpr double mergeBytesPerTriangle = 150.0;  ///< of all inputs
inline constexpr double splitBytesPerTriangle = 150.0;
inline constexpr double splitBytesPerPart = 2000.0;
inline constexpr double stripsBytesPerTriangle = 450.0;  ///< where every point is a vertex
inline constexpr double smoothBytesPerTriangle = 350.0;
inline constexpr double offsetBytesPerTriangle = 900.0;
inline constexpr double silhouetteBytesPerTriangle = 250.0;
inline constexpr double verifyBytesPerTriangle = 600.0;
inline constexpr double subdivideBytesPerQuad = 500.0;  ///< of the result

struct LoadedMesh {
    std::string path;
    koGeom::CompactMesh mesh;
    trimora::ReadReport report;
};

/// Reads the mesh and makes sure that the job fits into memory. Of the options the format and the weld are the caller's. The shift
/// of the first mesh of a run becomes that of all others. Throws Failure.
void loadMesh(Session& session, std::string const& path, double bytesPerTriangle,
              LoadedMesh& loaded, trimora::ReadOptions options = {});

/// Writes the mesh with the shift of the run put back, and warns of what the format does not hold. Throws Failure.
void storeMesh(Session& session, std::string const& path, koGeom::CompactMesh const& mesh,
               trimora::WriteOptions const& chosen = {});

/// Writes several meshes, all or none. Throws Failure.
void storeMeshes(Session& session, std::vector<std::string> const& paths,
                 std::vector<koGeom::CompactMesh> const& meshes);

/// Writes polylines, which OBJ and PLY files hold. Throws Failure.
void storePolylines(Session& session, std::string const& path,
                    std::vector<trimora::Polyline> const& polylines);

/// Throws Failure with code 4 when the output could not be written whatever the work brings: no format of that name, no such
/// folder. Asked before the work begins.
void requireWritableOutput(std::string const& outputPath, std::string const& format = {});

/// The same for outputs that are no meshes: a name, and a folder that is there.
void requireOutputFolder(std::string const& outputPath);

/// The same for outputs of lines: a name that ends in .obj or .ply, or '-'.
void requireLineOutput(std::string const& outputPath);

/// Throws Failure with code 2 where the report and the output would both go to standard output.
void requireSeparateOutputs(Session const& session, std::string const& outputPath);

/// The output as a person would call it.
std::string nameOfOutput(std::string const& path);

/// Prints text to standard output. Throws Failure when it cannot be written whole.
void printOut(std::string const& text);

/// As printOut, for reports that --quiet leaves out; when the mesh itself goes to standard output they go to standard error.
void printReport(Session const& session, std::string const& text,
                 std::string const& outputPath = {});

}  // namespace app
