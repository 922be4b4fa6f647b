#pragma once

#include "Session.h"
#include "toolkit/meshCheck.h"
#include "toolkit/renderMesh.h"

#include <string>
#include <vector>

namespace app {

/// Bytes that a picture takes with its mesh, for each triangle and pixel; see trimora::renderMeshes. Measured: triangles that share
/// vertices take 125, those with vertices of their own 230, 270 with curvature, and 130 more with a shadow; a pixel takes 42.
inline constexpr double renderBytesPerTriangle = 280.0;
inline constexpr double shadowBytesPerTriangle = 150.0;
inline constexpr double renderBytesPerPixel = 45.0;

/// Throws Failure when a file of that name could not be written, or is none of a picture; and where the report and the picture
/// would both go to standard output.
void requirePictureOutput(Session const& session, std::string const& path);

/// How findings are shown: from the default view, with a shadow.
trimora::RenderOptions findingsLook();

/// Draws the meshes of a file. Throws Failure when that is refused or cancelled, or does not fit into memory.
trimora::Picture drawPicture(Session& session, std::string const& file,
                             std::vector<trimora::RenderPanel> const& panels,
                             trimora::RenderOptions const& options);

/// Writes a picture. Throws Failure.
void storePicture(Session& session, std::string const& path, trimora::Picture const& picture);

/// A copy of a mesh with its defects, for a picture.
struct DefectView {
    koGeom::CompactMesh mesh;
    trimora::SurfacePaint paint;
};

/// Checks a copy and paints what was found. Throws Failure when that was cancelled or refused.
///
/// weld   the copy exactly, by positions alone, and say so in the key: in triangles that do not share vertices every edge would be
///        a border
void viewDefects(Session& session, std::string const& file, koGeom::CompactMesh const& mesh,
                 trimora::CheckOptions options, bool weld, DefectView& view);

}  // namespace app
